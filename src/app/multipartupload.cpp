#include "app/multipartupload.h"

#include <QFile>
#include <QFileInfo>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace iconfoundry {

QNetworkAccessManager& networkAccessManager()
{
    static auto* manager = new QNetworkAccessManager; // lives until exit, like the application
    return *manager;
}

void MultipartUpload::post(const QUrl& url, const QList<Part>& parts, Completion completion,
                           int timeoutMilliseconds)
{
    auto* multiPart = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    for (const Part& part : parts) {
        QHttpPart http;
        QString disposition = QStringLiteral("form-data; name=\"%1\"").arg(part.name);
        if (!part.fileName.isEmpty())
            disposition +=
                QStringLiteral("; filename=\"%1\"").arg(QString(part.fileName).remove(QLatin1Char('"')));
        http.setHeader(QNetworkRequest::ContentDispositionHeader, disposition);
        if (!part.contentType.isEmpty())
            http.setHeader(QNetworkRequest::ContentTypeHeader, part.contentType);
        http.setBody(part.body);
        multiPart->append(http);
    }
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMilliseconds);
    QNetworkReply* reply = networkAccessManager().post(request, multiPart);
    multiPart->setParent(reply);
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, completion = std::move(completion)] {
        reply->deleteLater();
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const bool sent = reply->error() == QNetworkReply::NoError && status >= 200 && status < 300;
        if (completion)
            completion(sent, sent ? QString() : reply->errorString());
    });
}

MultipartUpload::Part MultipartUpload::textPart(const QString& name, const QString& text)
{
    return Part{name, {}, "text/plain; charset=utf-8", text.toUtf8()};
}

QList<MultipartUpload::Part> MultipartUpload::fileParts(const QString& name, const QList<QUrl>& files)
{
    QList<Part> parts;
    for (const QUrl& url : files) {
        QFile file(url.toLocalFile());
        if (file.open(QIODevice::ReadOnly))
            parts.append(Part{name, QFileInfo(file).fileName(), "text/plain", file.readAll()});
    }
    return parts;
}

} // namespace iconfoundry
