#pragma once

#include "iconset/image.h"

namespace iconfoundry {

// The two questions asked of every source image, by the window (which lets the user decide) and
// by the command line (which warns and goes on): is its shape right, and is it large enough.
class ImageSuitability
{
public:
    // Below these a bitmap loses detail in the largest icons. Asymmetric on purpose: 1024 x 768
    // landscape art passes, a 1000-pixel square does not.
    static constexpr int MinimumPixelWidth = 1024;
    static constexpr int MinimumPixelHeight = 768;

    // Square, or landscape 4:3 (the messages icons are cut from art of that shape). Judged on
    // pixels, so a file's stated resolution cannot turn 4:3 art into a question; a vector has no
    // pixels of its own and is judged on its nominal size.
    static bool hasProperShape(const Image& image);
    // Vectors are drawn afresh at every icon's size, so only bitmaps can be too small.
    static bool isLargeEnough(const Image& image);
};

} // namespace iconfoundry
