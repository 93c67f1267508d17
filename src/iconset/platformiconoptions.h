#pragma once

#include "iconset/image.h"

#include <QColor>

namespace iconfoundry {

// What the Android and web icon sets are drawn from besides the source image.
struct PlatformIconOptions
{
    // Under the artwork of the icons that are opaque or have a layer behind them (Android's
    // background layer, launcher and store icons, maskable and Apple touch icons).
    QColor background = QColor(255, 255, 255);
    // Takes the colour's place when set: stretched over the whole canvas (a square image is meant).
    ImagePtr backgroundImage;
    // The shape of Android's themed icon; the source when null. Only its alpha counts.
    ImagePtr monochrome;
    // Room left on every side of the artwork, in percent of the canvas side (0 to under 50).
    double paddingPercent = 0;
    // Whether the sources lose their fully transparent border before they are placed.
    bool trim = false;
};

} // namespace iconfoundry
