#include "iconset/iconartwork.h"

#include <QThread>
#include <algorithm>
#include <cmath>

namespace iconfoundry {

namespace {

// The smallest rectangle that holds every pixel with alpha above 0; null when there is none.
QRect visibleBounds(const QImage& pixels)
{
    int left = pixels.width(), right = -1, top = pixels.height(), bottom = -1;
    for (int y = 0; y < pixels.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(pixels.constScanLine(y));
        int first = 0;
        while (first < pixels.width() && qAlpha(row[first]) == 0)
            ++first;
        if (first == pixels.width())
            continue;
        int last = pixels.width() - 1;
        while (qAlpha(row[last]) == 0)
            --last;
        left = std::min(left, first);
        right = std::max(right, last);
        top = std::min(top, y);
        bottom = y;
    }
    return right < 0 ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
}

// The farthest pixel corner from the centre of the area, over the visible pixels inside it. Per
// row only the outermost visible pixels can be farthest.
double reachOf(const QImage& pixels, const QRect& area)
{
    const double cx = area.x() + area.width() / 2.0;
    const double cy = area.y() + area.height() / 2.0;
    double farthest = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(pixels.constScanLine(y));
        int first = area.left();
        while (first <= area.right() && qAlpha(row[first]) == 0)
            ++first;
        if (first > area.right())
            continue;
        int last = area.right();
        while (qAlpha(row[last]) == 0)
            --last;
        const double dy = std::max(std::abs(y - cy), std::abs(y + 1 - cy));
        const double dx = std::max({std::abs(first - cx), std::abs(last + 1 - cx)});
        farthest = std::max(farthest, std::hypot(dx, dy));
    }
    return farthest;
}

} // namespace

IconArtwork IconArtwork::fromImage(const ImagePtr& source, bool trim)
{
    IconArtwork artwork;
    if (!source || source->pixelSize().isEmpty())
        return artwork;
    const QImage pixels = source->bitmap();
    QRect area = pixels.rect();
    if (trim) {
        const QRect visible = visibleBounds(pixels);
        if (!visible.isNull() && visible != area) {
            area = visible;
            artwork.image_ = source->imageInRect(QRectF(area));
        }
    }
    if (!artwork.image_)
        artwork.image_ = source;
    artwork.pixels_ = area.size();
    artwork.reach_ = reachOf(pixels, area);
    return artwork;
}

std::vector<QImage> IconArtwork::drawn(const std::vector<QSize>& sizes) const
{
    std::vector<QImage> result(sizes.size());
    if (!image_)
        return result;
    std::vector<Image::Cut> cuts;
    for (const QSize& size : sizes)
        cuts.push_back({QRectF(), QSizeF(size)});
    result = image_->shrunkenCuts(cuts, QThread::idealThreadCount());
    for (size_t i = 0; i < sizes.size(); ++i) {
        if (!result[i].isNull() || sizes[i].isEmpty())
            continue;
        const ImagePtr drawn = image_->renderedAtSize(QSizeF(sizes[i]));
        if (drawn)
            result[i] = drawn->unscaledBitmapImageRep().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    }
    return result;
}

} // namespace iconfoundry
