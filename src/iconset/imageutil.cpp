// The four image operations the renderer and the previews are built on:
//
// imageInRect(rect)       The rectangle (pixels of the first bitmap) made integral - origin
//                         rounded down, far edges rounded up - and clipped to the bitmap; the
//                         pixels inside become a new image whose nominal size equals its pixel
//                         size. The cut shares the receiver's pixels (no copy).
// imageWithSize(size)     Sets the receiver's own nominal size to `size` (kept on purpose: callers
//                         rely on it) and returns the whole receiver drawn into a new image of
//                         that nominal size, replacing every destination pixel (copy
//                         compositing), with high-quality resampling on premultiplied pixels -
//                         or from the vector, for SVG sources, so small sizes stay crisp.
// imageMaskedByImage(m)   imageWithSize(m's size), then m drawn over it with destination-in:
//                         the result keeps its colour where m is opaque, scaled by m's alpha.
// unscaledBitmapImageRep  An RGBA bitmap (premultiplied, 72 dpi) of exactly the nominal size
//                         truncated toward zero (83.5 -> 83), starting fully transparent and
//                         holding the receiver scaled to fill it.
#include "iconset/areasampler.h"
#include "iconset/image.h"

#include <QPainter>
#include <cmath>

namespace iconfoundry {

namespace {

constexpr int kDotsPerMeterAt72Dpi = 2835; // 72 / 0.0254

// Nominal size truncated toward zero; empty for anything not positive, not finite or beyond the
// pixel limits.
QSize truncatedPixelSize(QSizeF size)
{
    const double w = size.width(), h = size.height();
    if (!std::isfinite(w) || !std::isfinite(h) || w < 1 || h < 1 || w >= Image::kMaxSide + 1.0 ||
        h >= Image::kMaxSide + 1.0)
        return {};
    const QSize pixels(int(std::trunc(w)), int(std::trunc(h)));
    if (qint64(pixels.width()) * pixels.height() > Image::kMaxPixels)
        return {};
    return pixels;
}

// The rectangle made integral (origin rounded down, far edges rounded up) and clipped to bounds;
// empty when nothing is left or the rectangle is not finite.
QRect integralCut(const QRectF& rect, QSize bounds)
{
    const QRectF r = rect.normalized();
    if (bounds.isEmpty() || !std::isfinite(r.x()) || !std::isfinite(r.y()) || !std::isfinite(r.width()) ||
        !std::isfinite(r.height()))
        return {};
    const double left = std::clamp(std::floor(r.left()), 0.0, double(bounds.width()));
    const double top = std::clamp(std::floor(r.top()), 0.0, double(bounds.height()));
    const double right = std::clamp(std::ceil(r.right()), 0.0, double(bounds.width()));
    const double bottom = std::clamp(std::ceil(r.bottom()), 0.0, double(bounds.height()));
    return QRect(int(left), int(top), int(right - left), int(bottom - top));
}

void releaseImage(void* image)
{
    delete static_cast<QImage*>(image);
}

// The pixels of `cut` inside `source`, sharing its memory (read-only; writing detaches).
QImage viewOf(const QImage& source, const QRect& cut)
{
    if (source.depth() != 32)
        return source.copy(cut);
    auto* keep = new QImage(source);
    return QImage(keep->constScanLine(cut.y()) + qsizetype(cut.x()) * 4, cut.width(), cut.height(),
                  keep->bytesPerLine(), keep->format(), releaseImage, keep);
}

} // namespace

ImagePtr Image::imageInRect(const QRectF& rect) const
{
    auto result = std::make_shared<Image>();
    result->size_ = QSizeF(0, 0); // what an empty cut leaves
    const QSize bounds = pixelSize();
    const QRect cut = integralCut(rect, bounds);
    if (cut.isEmpty())
        return result;

    result->representations_ = {viewOf(representations_.front(), cut)};
    result->size_ = QSizeF(cut.size());
    if (hasVector()) {
        // The same cut of the vector: the bitmap shows vectorCrop_ stretched over its pixels.
        const QRectF base = vectorCrop_;
        const double sx = base.width() / bounds.width();
        const double sy = base.height() / bounds.height();
        result->vector_ = vector_;
        result->vectorCrop_ =
            QRectF(base.x() + cut.x() * sx, base.y() + cut.y() * sy, cut.width() * sx, cut.height() * sy);
    }
    return result;
}

ImagePtr Image::imageWithSize(QSizeF size)
{
    size_ = size;
    return renderedAtSize(size);
}

ImagePtr Image::renderedAtSize(QSizeF size) const
{
    auto result = std::make_shared<Image>();
    result->size_ = size;
    const QSize pixels = truncatedPixelSize(size);
    if (pixels.isEmpty())
        return result;
    QImage drawn = drawnAtPixelSize(pixels);
    if (!drawn.isNull())
        result->setBitmap(std::move(drawn));
    if (hasVector()) {
        result->vector_ = vector_;
        result->vectorCrop_ = vectorCrop_;
    }
    return result;
}

std::vector<QImage> Image::shrunkenCuts(const std::vector<Cut>& cuts, int threads) const
{
    std::vector<QImage> results(cuts.size());
    if (hasVector() || representations_.isEmpty())
        return results;
    const QImage source = bitmap();
    std::vector<AreaSampler::Request> requests;
    std::vector<size_t> asked;
    for (size_t i = 0; i < cuts.size(); ++i) {
        const QRect cut = cuts[i].rect.isNull() ? source.rect() : integralCut(cuts[i].rect, source.size());
        const AreaSampler::Request request{QRectF(cut), truncatedPixelSize(cuts[i].size)};
        if (!cut.isEmpty() && AreaSampler::canSample(source, request)) {
            requests.push_back(request);
            asked.push_back(i);
        }
    }
    std::vector<QImage> sampled = AreaSampler::sample(source, requests, threads);
    for (size_t k = 0; k < asked.size(); ++k) {
        sampled[k].setDotsPerMeterX(kDotsPerMeterAt72Dpi);
        sampled[k].setDotsPerMeterY(kDotsPerMeterAt72Dpi);
        results[asked[k]] = std::move(sampled[k]);
    }
    return results;
}

ImagePtr Image::imageMaskedByImage(const ImagePtr& mask)
{
    if (!mask)
        return nullptr;
    ImagePtr result = imageWithSize(mask->size());
    const QSize pixels = result->pixelSize();
    if (pixels.isEmpty())
        return result;
    QImage masked = result->representations_.front();
    const QImage alpha = mask->drawnAtPixelSize(pixels);
    if (!alpha.isNull()) {
        QPainter painter(&masked);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        painter.drawImage(0, 0, alpha);
    }
    // The mask is not part of the vector, so the result is a bitmap only.
    result->vector_.reset();
    result->vectorCrop_ = QRectF();
    result->setBitmap(std::move(masked));
    return result;
}

QImage Image::unscaledBitmapImageRep() const
{
    const QSize pixels = truncatedPixelSize(size_);
    if (pixels.isEmpty())
        return {};
    QImage drawn = pixelSize() == pixels ? representations_.front() : drawnAtPixelSize(pixels);
    QImage result;
    if (drawn.isNull()) {
        // Nothing to draw: the fresh, fully transparent bitmap is the result.
        result = QImage(pixels, QImage::Format_RGBA8888_Premultiplied);
        if (result.isNull())
            return {};
        result.fill(Qt::transparent);
    } else {
        result = drawn.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    }
    result.setDotsPerMeterX(kDotsPerMeterAt72Dpi);
    result.setDotsPerMeterY(kDotsPerMeterAt72Dpi);
    return result;
}

} // namespace iconfoundry
