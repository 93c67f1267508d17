#pragma once

#include "iconset/image.h"

namespace iconfoundry {

// Images for the dark and tinted icon slots, and the check that decides whether opaque icons
// change the artwork.
class AppearanceImages
{
public:
    // The grey image the system tints: each pixel's luminance (Rec. 709 weights, 54:183:19 of
    // 256), its alpha kept. Vectors are drawn at tintedSide pixels first, the largest icon.
    static ImagePtr tinted(const Image& source);
    // True when some pixel is not fully opaque, so laying the image over a background colour
    // shows that colour. Vectors are judged drawn at 256 pixels a side.
    static bool hasTransparency(const Image& source);

    static constexpr int tintedSide = 1024;
};

} // namespace iconfoundry
