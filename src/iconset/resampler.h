#pragma once

#include <QImage>
#include <QRectF>
#include <QSize>

namespace iconfoundry {

// Resampling of premultiplied 8-bit bitmaps (Format_ARGB32_Premultiplied or
// Format_RGBA8888_Premultiplied; other formats are converted to ARGB32_Premultiplied first). The
// result has the format of the (converted) source.
//
// Working on premultiplied values is what keeps transparent pixels from bleeding their (invisible)
// colour into the edge of a shape: a fully transparent pixel contributes nothing to a mix.
// Every result keeps the premultiplied invariant (no colour channel above alpha).
//
// Stateless and thread-safe: each call works on its own buffers and only reads the source.
class Resampler
{
public:
    enum class Filter
    {
        // Area averaging along an axis that shrinks, Mitchell-Netravali cubic along one that grows.
        Automatic,
        // Each target pixel is the exact area-weighted mean of the source pixels it covers
        // (AreaSampler when neither axis grows).
        Area,
        // Linear (tent) filter, widened when shrinking.
        Triangle,
        // Mitchell-Netravali cubic (B = C = 1/3), widened when shrinking.
        Mitchell,
        // Lanczos with three lobes, widened when shrinking.
        Lanczos3,
    };

    // Scales the part of source inside sourceRect (source pixel units; fractions allowed; clipped
    // to the source) so that it fills a bitmap of target pixels. Returns a null image when the
    // target or the clipped rectangle is empty or the target cannot be allocated. The whole source
    // at its own size comes back shared, not copied.
    static QImage scaled(const QImage& source, const QRectF& sourceRect, QSize target,
                         Filter filter = Filter::Automatic);
    static QImage scaled(const QImage& source, QSize target, Filter filter = Filter::Automatic)
    {
        return scaled(source, QRectF(QPointF(0, 0), QSizeF(source.size())), target, filter);
    }

    // Byte offset of alpha inside one pixel of a premultiplied format above.
    static int alphaOffset(QImage::Format format);
};

} // namespace iconfoundry
