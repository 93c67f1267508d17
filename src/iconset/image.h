#pragma once

#include "platform/error.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QRectF>
#include <QSizeF>
#include <memory>

class Image;
using ImagePtr = std::shared_ptr<Image>;

// A source or rendered image: one or more bitmap representations plus a nominal size in points
// (pixels x 72 / dpi), and for SVG sources the vector, which draws crisply at any size.
// Shared by pointer. Not thread-safe for writers: imageWithSize() and imageMaskedByImage() change
// the receiver's nominal size.
class Image
{
public:
    // Decodes PNG, JPEG, TIFF, WebP or SVG. Returns nullptr and fills error for anything that is
    // not a usable image (unreadable, corrupt, empty, zero-sized or too large to decode safely).
    static ImagePtr fromFile(const QString& path, Error* error = nullptr);
    static ImagePtr fromData(const QByteArray& data, Error* error = nullptr);
    // Wraps a bitmap; the nominal size comes from its resolution (72 dpi when it has none).
    static ImagePtr fromQImage(const QImage& bitmap);

    QSizeF size() const { return size_; }
    void setSize(QSizeF size) { size_ = size; }
    const QList<QImage>& representations() const { return representations_; }
    // Pixel size of the first bitmap representation; empty when there is none.
    QSize pixelSize() const;
    // The first bitmap representation (ARGB32 premultiplied), for display and pasteboard.
    QImage bitmap() const;
    bool hasVector() const { return !vector_.isEmpty(); }

    // Image operations used by the renderer and the previews (described in imageutil.cpp).
    ImagePtr imageInRect(const QRectF& rect) const;
    ImagePtr imageWithSize(QSizeF size);
    ImagePtr imageMaskedByImage(const ImagePtr& mask);
    QImage unscaledBitmapImageRep() const;

private:
    QSizeF size_;
    QList<QImage> representations_;
    QByteArray vector_; // SVG document, empty for bitmap sources
    QRectF vectorCrop_; // part of the vector's view box the image shows; empty = all of it
};
