#include "mainwindow/pasteboardreader.h"

#include <QFileInfo>
#include <QMimeData>
#include <QMimeDatabase>
#include <QSet>

namespace iconfoundry {

namespace {

// MIME types of the formats the decoder reads.
const QSet<QString>& readableImageMimeTypes()
{
    static const QSet<QString> types{QStringLiteral("image/png"), QStringLiteral("image/jpeg"),
                                     QStringLiteral("image/tiff"), QStringLiteral("image/webp"),
                                     QStringLiteral("image/svg+xml")};
    return types;
}

} // namespace

QList<QUrl> PasteboardReader::readableImageFileURLs(const QMimeData* data)
{
    QList<QUrl> urls;
    if (!data || !data->hasUrls())
        return urls;
    const QMimeDatabase database;
    const QList<QUrl> candidates = data->urls();
    for (const QUrl& url : candidates) {
        if (!url.isLocalFile())
            continue;
        const QFileInfo info(url.toLocalFile());
        if (!info.isFile() || !info.isReadable())
            continue;
        if (readableImageMimeTypes().contains(
                database.mimeTypeForFile(info, QMimeDatabase::MatchContent).name()))
            urls.append(url);
    }
    return urls;
}

bool PasteboardReader::canReadImageData(const QMimeData* data)
{
    if (!data)
        return false;
    if (data->hasImage())
        return true;
    const QStringList formats = data->formats();
    for (const QString& format : formats) {
        if (readableImageMimeTypes().contains(format))
            return true;
    }
    return false;
}

bool PasteboardReader::canPaste(const QMimeData* data)
{
    return !readableImageFileURLs(data).isEmpty() || canReadImageData(data);
}

} // namespace iconfoundry
