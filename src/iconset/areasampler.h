#pragma once

#include <QImage>
#include <QRectF>
#include <QSize>
#include <vector>

namespace iconfoundry {

// Exact area averaging of one premultiplied 8-bit bitmap (Format_ARGB32_Premultiplied or
// Format_RGBA8888_Premultiplied) to several smaller sizes in one pass over its rows.
//
// Each target pixel is the mean of the source area it covers: every source pixel is weighted by
// the exact fraction of it inside that area, fractional rectangle edges included. Working on
// premultiplied values keeps the invisible colour of transparent pixels out of the edges of
// shapes. A request reads only the pixels its rectangle touches, so a cut never takes colour
// from its surroundings, and its result does not depend on the other requests or on how many
// threads share the work.
//
// How: for every source row, running sums of each channel along the part of the row the requests
// span turn the width of a target pixel into two look-ups, the partial pixels at either end added
// by their covered fraction. The row's sums go, weighted by how much of the row a target row
// covers, into the (at most two) target rows it touches. So a row costs in proportion to the
// target widths, not to the source width times the number of sizes, and the source is read once.
//
// Thread-safe: only reads the source.
class AreaSampler
{
public:
    struct Request
    {
        QRectF source; // in source pixels; fractions allowed; clipped to the source
        QSize target;
    };

    // Whether a request can be sampled: a target of at least one pixel that is nowhere larger than
    // the (clipped) rectangle. Growing is not area sampling's job.
    static bool canSample(const QImage& source, const Request& request);

    // One image per request, in the source's format; a null image for a request that cannot be
    // sampled or whose result cannot be allocated. The rows of the targets are shared out among
    // `threads` threads, the calling one included.
    static std::vector<QImage> sample(const QImage& source, const std::vector<Request>& requests,
                                      int threads = 1);
};

} // namespace iconfoundry
