#pragma once

#include "iconset/image.h"

#include <QSize>
#include <vector>

namespace iconfoundry {

// The picture that Android and web icons place on their canvases: the source image, optionally
// without its fully transparent border, and how far its visible pixels reach from its centre.
//
// The reach is what lets a round logo fill a round safe zone while a square one is shrunk until
// its corners fit: the artwork is placed by the circle its visible pixels need, not by its
// rectangle. A plain value; its members may be used on several threads at once.
class IconArtwork
{
public:
    IconArtwork() = default;

    // The artwork of source; with trim, without the rows and columns at its edges whose pixels are
    // all fully transparent (an image with no visible pixel is kept whole). Null for a null source
    // or one without pixels.
    static IconArtwork fromImage(const ImagePtr& source, bool trim);

    bool isNull() const { return !image_; }
    const ImagePtr& image() const { return image_; }
    // Pixels of the (trimmed) bitmap.
    QSize pixelSize() const { return pixels_; }
    // The distance from the artwork's centre to the farthest corner of a visible (alpha above 0)
    // pixel, in its pixels: half the diagonal for artwork that fills its rectangle, half the side
    // for a disc that touches the edges. 0 when nothing is visible.
    double reach() const { return reach_; }

    // The artwork stretched to fill each size, premultiplied ARGB32, in the order asked. Shrinking
    // a bitmap is exact area averaging, one pass over its rows for every size; vectors are drawn by
    // their renderer, and sizes above the bitmap's are resampled one at a time. Null images for
    // empty sizes.
    std::vector<QImage> drawn(const std::vector<QSize>& sizes) const;

private:
    ImagePtr image_;
    QSize pixels_;
    double reach_ = 0;
};

} // namespace iconfoundry
