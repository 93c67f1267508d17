#pragma once

#include "platform/error.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QRect>
#include <QRectF>
#include <QSizeF>
#include <memory>
#include <vector>

class QIODevice;

namespace iconfoundry {

class Image;
class SvgDocument;
using ImagePtr = std::shared_ptr<Image>;

// A source or rendered image: one or more bitmap representations plus a nominal size in points
// (pixels x 72 / dpi), and for SVG sources the vector, which draws crisply at any size.
// Shared by pointer. Not thread-safe for writers: imageWithSize() and imageMaskedByImage() change
// the receiver's nominal size. Every const member may run on several threads at once.
//
// Decoding refuses images above kMaxSide pixels a side or kMaxPixels pixels in all, before any
// pixel is decoded, so a hostile header cannot make the process allocate gigabytes; the same
// limits apply to rendered sizes. The decoders' own allocation limit is raised to fit them
// (QImageReader::setAllocationLimit, process-wide) and stays as the second line of defence.
class Image
{
public:
    // Error codes of errorDomain().
    enum ErrorCode
    {
        FileUnreadable = 1, // the file cannot be opened or read
        NotAnImage = 2,     // no decoder recognises the data
        Corrupt = 3,        // a decoder recognised it but failed (damaged or truncated data)
        ZeroSize = 4,       // an empty file or an image without pixels
        TooLarge = 5,       // beyond kMaxSide / kMaxPixels
    };
    static constexpr int kMaxSide = 16384;
    static constexpr qint64 kMaxPixels = 8192LL * 8192; // 256 MiB as 8-bit RGBA
    static QString errorDomain();

    // Decodes PNG, JPEG, TIFF, WebP or SVG. Returns nullptr and fills error for anything that is
    // not a usable image (unreadable, corrupt, empty, zero-sized or too large to decode safely).
    static ImagePtr fromFile(const QString& path, Error* error = nullptr);
    static ImagePtr fromData(const QByteArray& data, Error* error = nullptr);
    // Whether the file starts like a bitmap (PNG, JPEG, WebP, TIFF, GIF). Only such a source may be
    // decoded on another thread than the one that draws it: a vector source keeps a drawing
    // process that belongs to the thread that opened it.
    static bool isBitmapFile(const QString& path);
    // Wraps a bitmap; the nominal size comes from its resolution (72 dpi when it has none).
    static ImagePtr fromQImage(const QImage& bitmap);

    QSizeF size() const { return size_; }
    void setSize(QSizeF size) { size_ = size; }
    const QList<QImage>& representations() const { return representations_; }
    // Pixel size of the first bitmap representation; empty when there is none.
    QSize pixelSize() const;
    // The first bitmap representation (ARGB32 premultiplied), for display and pasteboard.
    QImage bitmap() const;
    bool hasVector() const { return vector_ != nullptr; }

    // Image operations used by the renderer and the previews (described in imageutil.cpp).
    ImagePtr imageInRect(const QRectF& rect) const;
    ImagePtr imageWithSize(QSizeF size);
    ImagePtr imageMaskedByImage(const ImagePtr& mask);
    QImage unscaledBitmapImageRep() const;

    // imageWithSize() without its side effect: the receiver keeps its nominal size, so several
    // threads may render one source at once.
    ImagePtr renderedAtSize(QSizeF size) const;

    // Several cuts drawn at once: for each, the bitmap of imageInRect(rect) drawn at `size`
    // (unscaledBitmapImageRep() of renderedAtSize(), with the same pixels, though here as
    // Format_ARGB32_Premultiplied), or a null image for a cut this does not draw: a vector
    // source, a size larger than its cut, an empty one. The caller draws those one at a time.
    // One pass over the bitmap serves every size, on up to `threads` threads.
    struct Cut
    {
        QRectF rect; // null: the whole image
        QSizeF size;
    };
    std::vector<QImage> shrunkenCuts(const std::vector<Cut>& cuts, int threads) const;

private:
    // The receiver drawn to fill exactly `pixels` (ARGB32 premultiplied), from the vector when
    // there is one, else resampled from the bitmap; null when there is nothing to draw.
    QImage drawnAtPixelSize(QSize pixels) const;
    static ImagePtr fromDevice(QIODevice* device, const QString& name, Error* error);
    static ImagePtr fromSvg(const QByteArray& data, const QString& name, Error* error);
    void setBitmap(QImage bitmap);

    QSizeF size_;
    QList<QImage> representations_;
    std::shared_ptr<const SvgDocument> vector_; // null for bitmap sources
    QRectF vectorCrop_; // part of the document the image shows, in its pixels at its intrinsic size
};

} // namespace iconfoundry
