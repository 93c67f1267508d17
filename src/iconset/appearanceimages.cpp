#include "iconset/appearanceimages.h"

namespace iconfoundry {

namespace {

// The pixels to look at: the bitmap, or the vector drawn at side x side.
QImage pixelsOf(const Image& source, int side)
{
    if (!source.hasVector())
        return source.bitmap();
    const ImagePtr drawn = source.renderedAtSize(QSizeF(side, side));
    return drawn ? drawn->unscaledBitmapImageRep() : QImage();
}

} // namespace

ImagePtr AppearanceImages::tinted(const Image& source)
{
    QImage pixels = pixelsOf(source, tintedSide).convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (pixels.isNull())
        return nullptr;
    for (int y = 0; y < pixels.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(pixels.scanLine(y));
        for (int x = 0; x < pixels.width(); ++x) {
            const QRgb p = row[x];
            // Premultiplied channels stay premultiplied: the weights add up to one.
            const int grey = (54 * qRed(p) + 183 * qGreen(p) + 19 * qBlue(p) + 128) >> 8;
            row[x] = qRgba(grey, grey, grey, qAlpha(p));
        }
    }
    ImagePtr image = Image::fromQImage(pixels);
    if (image)
        image->setSize(source.hasVector() ? QSizeF(tintedSide, tintedSide) : source.size());
    return image;
}

bool AppearanceImages::hasTransparency(const Image& source)
{
    const QImage pixels = pixelsOf(source, 256);
    if (pixels.isNull() || !pixels.hasAlphaChannel())
        return false;
    const QImage argb = pixels.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < argb.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
        for (int x = 0; x < argb.width(); ++x)
            if (qAlpha(row[x]) != 255)
                return true;
    }
    return false;
}

} // namespace iconfoundry
