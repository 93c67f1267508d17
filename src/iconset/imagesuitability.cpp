#include "iconset/imagesuitability.h"

namespace iconfoundry {

bool ImageSuitability::hasProperShape(const Image& image)
{
    const QSizeF shape = image.hasVector() ? image.size() : QSizeF(image.pixelSize());
    if (shape.width() == shape.height())
        return true;
    // Exact in doubles for every integral side up to 2^50, which covers any pixel size.
    return shape.height() > 0 && shape.width() * 3 == shape.height() * 4;
}

bool ImageSuitability::isLargeEnough(const Image& image)
{
    if (image.hasVector())
        return true;
    const QSize pixels = image.pixelSize();
    return pixels.width() >= MinimumPixelWidth && pixels.height() >= MinimumPixelHeight;
}

} // namespace iconfoundry
