#pragma once

#include <QColor>
#include <QImage>
#include <QRect>
#include <QSize>

namespace iconfoundry {

// Where the artwork of an Android or web icon goes on its square canvas, and the drawing of the
// canvas: backdrop, artwork, mask. Stateless and thread-safe.
class IconCanvas
{
public:
    // The part of a canvas the artwork must stay inside, in pixels of that canvas. Everything is
    // centred on the canvas.
    struct Frame
    {
        int side = 0;            // of the canvas
        double safeSide = 0;     // the square the artwork's rectangle must fit in
        double safeDiameter = 0; // the circle its visible pixels must fit in; 0 for none
        double padding = 0;      // taken from the square and the circle on every side
    };

    // The largest rectangle of the artwork's aspect that fits the safe square and keeps every
    // visible point (reach: as IconArtwork::reach(), in the artwork's pixels) inside the safe
    // circle, both less the padding. Its sides are rounded down to whole pixels that leave the same
    // margin on both sides, so it sits exactly in the middle and no pixel is drawn between two.
    // Empty when nothing fits.
    static QRect artworkRect(QSize artwork, double reach, const Frame& frame);

    enum class Mask
    {
        None,
        Circle // what lies outside the circle inscribed in the canvas becomes transparent
    };

    // A canvas of side pixels: the backdrop (stretched over the whole canvas; none when null) or,
    // without one, the colour (none when invalid), then the artwork at its rectangle's place,
    // then the mask. Premultiplied ARGB32; null when it cannot be allocated.
    static QImage compose(int side, const QImage& backdrop, const QColor& colour, const QImage& artwork,
                          QPoint at, Mask mask = Mask::None);

    // The image in white, its alpha kept: the shape a themed (monochrome) icon is tinted through.
    static QImage silhouette(const QImage& image);
};

} // namespace iconfoundry
