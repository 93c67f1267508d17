#include "previews/previewimageview.h"

#include "platform/bundle.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace iconfoundry {

PreviewImageView::PreviewImageView(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TranslucentBackground);
}

ImagePtr PreviewImageView::imageNamed(const QString& name)
{
    if (name.isEmpty())
        return nullptr;
    const QString base = QStringLiteral("images/") + name;
    for (const char* type : {"svg", "png"}) {
        const QString path = Bundle::pathForResource(base, QString::fromLatin1(type));
        if (!path.isEmpty())
            return Image::fromFile(path);
    }
    return nullptr;
}

void PreviewImageView::setImage(const ImagePtr& image)
{
    image_ = image;
    cache_ = QImage();
    update();
}

void PreviewImageView::setImageName(const QString& name)
{
    imageName_ = name;
    setImage(imageNamed(name));
}

void PreviewImageView::setCornerRadius(double radius)
{
    if (radius == cornerRadius_)
        return;
    cornerRadius_ = radius;
    cache_ = QImage();
    update();
}

QImage PreviewImageView::renderedImage(qreal devicePixelRatio) const
{
    const QSize pixels(int(std::ceil(width() * devicePixelRatio)),
                       int(std::ceil(height() * devicePixelRatio)));
    if (!image_ || pixels.isEmpty() || image_->size().isEmpty())
        return {};
    if (cache_.size() == pixels && cache_.devicePixelRatio() == devicePixelRatio)
        return cache_;

    // Cover the frame: the image's shorter side fills it, the longer one is cut evenly.
    const QSizeF source = image_->size();
    const double scale = std::max(pixels.width() / source.width(), pixels.height() / source.height());
    const QSizeF drawn(std::ceil(source.width() * scale), std::ceil(source.height() * scale));
    const QImage bitmap = image_->renderedAtSize(drawn)->bitmap();
    if (bitmap.isNull())
        return {};

    QImage result(pixels, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.drawImage(
        QPointF((pixels.width() - bitmap.width()) / 2.0, (pixels.height() - bitmap.height()) / 2.0), bitmap);
    if (cornerRadius_ > 0) {
        // Destination-in with an antialiased mask as large as the view gives smooth corners
        // (a clip path would not) and clears everything outside the shape.
        QImage mask(pixels, QImage::Format_ARGB32_Premultiplied);
        mask.fill(Qt::transparent);
        QPainter maskPainter(&mask);
        maskPainter.setRenderHint(QPainter::Antialiasing);
        QPainterPath shape;
        const double radius = cornerRadius_ * devicePixelRatio;
        shape.addRoundedRect(QRectF(QPointF(0, 0), QSizeF(pixels)), radius, radius);
        maskPainter.fillPath(shape, Qt::black);
        maskPainter.end();
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        painter.drawImage(0, 0, mask);
    }
    painter.end();
    result.setDevicePixelRatio(devicePixelRatio);
    cache_ = result;
    return cache_;
}

void PreviewImageView::paintEvent(QPaintEvent*)
{
    const QImage picture = renderedImage(devicePixelRatioF());
    if (picture.isNull())
        return;
    QPainter painter(this);
    painter.drawImage(QRectF(rect()), picture, QRectF(picture.rect()));
}

} // namespace iconfoundry
