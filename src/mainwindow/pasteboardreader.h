#pragma once

#include "iconset/image.h"

#include <QList>
#include <QUrl>

class QMimeData;

namespace iconfoundry {

// Answers what the clipboard (or a drag) can give the main window: the URLs of local image
// files the program reads, or image data. Reading only, no side effects; any thread that may
// touch the QMimeData.
class PasteboardReader
{
public:
    // The local files among data's URLs whose contents are an image type the program reads
    // (judged by content, so a text file named .png does not count), in their order.
    static QList<QUrl> readableImageFileURLs(const QMimeData* data);
    // True when data holds image data (a bitmap or an encoded image of a readable type).
    static bool canReadImageData(const QMimeData* data);
    // The enabling rule of Paste: an image file URL or image data.
    static bool canPaste(const QMimeData* data);
    // Decodes data's image data: the encoded bytes of a readable type when there are some (they
    // keep the image's resolution), else the bitmap. nullptr with error when there is none or it
    // does not decode.
    static ImagePtr readImageData(const QMimeData* data, Error* error = nullptr);
    // The image a drop of data gives: its first readable image file, else its image data.
    static ImagePtr readImage(const QMimeData* data, Error* error = nullptr);
};

} // namespace iconfoundry
