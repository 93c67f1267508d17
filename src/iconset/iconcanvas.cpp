#include "iconset/iconcanvas.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace iconfoundry {

namespace {

// The largest whole number of pixels not above `length` that leaves an even remainder of the
// canvas, so the margins on both sides are equal.
int centredLength(double length, int side)
{
    int whole = int(std::floor(std::min(length, double(side)) + 1e-9));
    if ((side - whole) % 2 != 0)
        --whole;
    return std::max(whole, 0);
}

} // namespace

QRect IconCanvas::artworkRect(QSize artwork, double reach, const Frame& frame)
{
    if (artwork.isEmpty() || frame.side <= 0)
        return {};
    const double square = frame.safeSide - 2 * frame.padding;
    double scale = square / std::max(artwork.width(), artwork.height());
    if (frame.safeDiameter > 0 && reach > 0)
        scale = std::min(scale, (frame.safeDiameter / 2 - frame.padding) / reach);
    if (!(scale > 0))
        return {};
    const int width = centredLength(artwork.width() * scale, frame.side);
    const int height = centredLength(artwork.height() * scale, frame.side);
    if (width == 0 || height == 0)
        return {};
    return QRect((frame.side - width) / 2, (frame.side - height) / 2, width, height);
}

QImage IconCanvas::compose(int side, const QImage& backdrop, const QColor& colour, const QImage& artwork,
                           QPoint at, Mask mask)
{
    QImage canvas(side, side, QImage::Format_ARGB32_Premultiplied);
    if (canvas.isNull())
        return canvas;
    canvas.fill(Qt::transparent);
    QPainter painter(&canvas);
    if (!backdrop.isNull())
        painter.drawImage(canvas.rect(), backdrop);
    else if (colour.isValid())
        painter.fillRect(canvas.rect(), colour);
    // Drawn 1:1 at a whole-pixel place: the artwork's pixels are copied, not resampled again.
    if (!artwork.isNull())
        painter.drawImage(at, artwork);
    if (mask == Mask::Circle) {
        QImage circle(side, side, QImage::Format_ARGB32_Premultiplied);
        circle.fill(Qt::transparent);
        QPainter shape(&circle);
        shape.setRenderHint(QPainter::Antialiasing);
        shape.setPen(Qt::NoPen);
        shape.setBrush(Qt::white);
        shape.drawEllipse(QRectF(0, 0, side, side));
        shape.end();
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        painter.drawImage(0, 0, circle);
    }
    painter.end();
    return canvas;
}

QImage IconCanvas::silhouette(const QImage& image)
{
    QImage result = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < result.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(result.scanLine(y));
        for (int x = 0; x < result.width(); ++x) {
            // Premultiplied white is the alpha in every channel.
            const int a = qAlpha(row[x]);
            row[x] = qRgba(a, a, a, a);
        }
    }
    return result;
}

} // namespace iconfoundry
