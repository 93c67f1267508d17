#pragma once

#include "iconset/image.h"

#include <QImage>
#include <QWidget>

namespace iconfoundry {

// An image view for the preview windows: draws its image filling its frame (scaled to cover it,
// centred, never distorted) and clipped to a rounded rectangle of cornerRadius points, at the
// pixel density of the screen it is on, so icons and vector backgrounds stay crisp on 2x
// displays. The rendered pixels are cached until the image, size, radius or density change.
//
// imageName names a bundle image (see imageNamed()), so a window layout can give a view its
// first picture. Main thread only.
class PreviewImageView : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString imageName READ imageName WRITE setImageName)
    Q_PROPERTY(double cornerRadius READ cornerRadius WRITE setCornerRadius)

public:
    explicit PreviewImageView(QWidget* parent = nullptr);

    // The bundle image "images/NAME.svg", else "images/NAME.png"; null when there is neither or it
    // cannot be decoded.
    static ImagePtr imageNamed(const QString& name);

    const ImagePtr& image() const { return image_; }
    void setImage(const ImagePtr& image);
    QString imageName() const { return imageName_; }
    void setImageName(const QString& name);
    double cornerRadius() const { return cornerRadius_; }
    void setCornerRadius(double radius);

    // What the view shows, at devicePixelRatio pixels per point; null without an image.
    QImage renderedImage(qreal devicePixelRatio) const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    ImagePtr image_;
    QString imageName_;
    double cornerRadius_ = 0;
    mutable QImage cache_;
};

} // namespace iconfoundry
