#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>
#include <functional>

class QNetworkAccessManager;

namespace iconfoundry {

// The process's one network access manager, for every request the application makes.
QNetworkAccessManager& networkAccessManager();

// Sends reports (feedback, crash reports, the launch report) as one HTTP POST of
// multipart/form-data, in the background, with a time-out. Main thread only; the completion runs
// on the main thread, once.
class MultipartUpload
{
public:
    struct Part
    {
        QString name;     // form field name
        QString fileName; // empty for a plain text field
        QByteArray contentType;
        QByteArray body;
    };
    using Completion = std::function<void(bool sent, const QString& errorDescription)>;

    static constexpr int kDefaultTimeoutMilliseconds = 30000;

    // A 2xx answer counts as sent; anything else (refused, time-out, other status) does not.
    static void post(const QUrl& url, const QList<Part>& parts, Completion completion,
                     int timeoutMilliseconds = kDefaultTimeoutMilliseconds);

    // A text field, and a file attached under its own name (nothing when it cannot be read).
    static Part textPart(const QString& name, const QString& text);
    static QList<Part> fileParts(const QString& name, const QList<QUrl>& files);
};

} // namespace iconfoundry
