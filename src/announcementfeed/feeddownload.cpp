#include "announcementfeed/feeddownload.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

namespace iconfoundry {

std::optional<QByteArray> FeedDownload::fetch(const QUrl& url, int timeoutMilliseconds, qint64 maximumBytes,
                                              QString* failure)
{
    auto fail = [failure](const QString& reason) -> std::optional<QByteArray> {
        if (failure)
            *failure = reason;
        return std::nullopt;
    };
    if (!url.isValid() || url.isRelative())
        return fail(QStringLiteral("not an absolute URL"));

    QNetworkAccessManager manager;
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setMaximumRedirectsAllowed(kMaximumRedirects);
    QNetworkReply* reply = manager.get(request);

    QByteArray body;
    QString reason;
    QEventLoop loop;
    // One deadline for the whole transfer: a server that sends a byte now and then must not hold
    // the caller longer than one that sends nothing.
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, [&] {
        reason = QStringLiteral("timed out after %1 ms").arg(timeoutMilliseconds);
        reply->abort();
    });
    auto tooLarge = [&] {
        reason = QStringLiteral("larger than %1 bytes").arg(maximumBytes);
        reply->abort();
    };
    QObject::connect(reply, &QNetworkReply::metaDataChanged, &loop, [&] {
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        if (length.isValid() && length.toLongLong() > maximumBytes && reason.isEmpty())
            tooLarge();
    });
    QObject::connect(reply, &QIODevice::readyRead, &loop, [&] {
        if (!reason.isEmpty())
            return;
        body += reply->read(maximumBytes + 1 - body.size());
        if (body.size() > maximumBytes)
            tooLarge();
    });
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    deadline.start(timeoutMilliseconds);
    if (!reply->isFinished())
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    deadline.stop();

    if (reason.isEmpty() && reply->error() == QNetworkReply::NoError) {
        body += reply->read(maximumBytes + 1 - body.size());
        if (body.size() > maximumBytes)
            reason = QStringLiteral("larger than %1 bytes").arg(maximumBytes);
    }
    if (reason.isEmpty() && reply->error() != QNetworkReply::NoError)
        reason = reply->errorString();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reason.isEmpty() && status >= 400)
        reason = QStringLiteral("HTTP status %1").arg(status);
    delete reply;
    if (!reason.isEmpty())
        return fail(reason);
    return body;
}

} // namespace iconfoundry
