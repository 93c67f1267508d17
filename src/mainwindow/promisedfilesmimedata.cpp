#include "mainwindow/promisedfilesmimedata.h"

#include <QUrl>

namespace iconfoundry {

PromisedFilesMimeData::PromisedFilesMimeData(const QList<QUrl>& urls, std::function<void()> waitUntilWritten)
    : waitUntilWritten_(std::move(waitUntilWritten))
{
    setUrls(urls);
}

QVariant PromisedFilesMimeData::retrieveData(const QString& mimeType, QMetaType type) const
{
    if (waitUntilWritten_) {
        const std::function<void()> wait = std::move(waitUntilWritten_);
        waitUntilWritten_ = nullptr;
        wait();
    }
    return QMimeData::retrieveData(mimeType, type);
}

} // namespace iconfoundry
