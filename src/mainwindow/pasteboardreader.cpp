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

ImagePtr PasteboardReader::readImageData(const QMimeData* data, Error* error)
{
    Error failure{Image::errorDomain(), Image::NotAnImage, QStringLiteral("There is no image to paste.")};
    if (data) {
        const QStringList formats = data->formats();
        for (const QString& format : formats) {
            if (!readableImageMimeTypes().contains(format))
                continue;
            if (ImagePtr image = Image::fromData(data->data(format), &failure))
                return image;
        }
        if (data->hasImage()) {
            const QImage bitmap = qvariant_cast<QImage>(data->imageData());
            if (!bitmap.isNull())
                return Image::fromQImage(bitmap);
        }
    }
    if (error)
        *error = failure;
    return nullptr;
}

ImagePtr PasteboardReader::readImage(const QMimeData* data, Error* error)
{
    const QList<QUrl> urls = readableImageFileURLs(data);
    if (!urls.isEmpty())
        return Image::fromFile(urls.first().toLocalFile(), error);
    return readImageData(data, error);
}

} // namespace iconfoundry
