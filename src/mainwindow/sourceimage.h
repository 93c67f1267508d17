#pragma once

#include "iconset/image.h"

namespace iconfoundry {

// Receives images that have no file behind them (a drop, a paste). The main window controller
// implements it; the image view calls it.
class SourceImage
{
public:
    virtual ~SourceImage() = default;
    virtual void setSourceImage(const ImagePtr& image) = 0;
};

} // namespace iconfoundry
