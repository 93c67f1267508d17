#pragma once

#include "iconset/image.h"

#include <QPixmap>
#include <QWidget>

namespace iconfoundry {

class SourceImage;

// The main window's image area. Shows the image scaled to fit, centred, over a checkerboard so
// transparent parts read as transparent; without an image it draws an empty drop zone (the
// window puts its instructions on top).
//
// Drops, pastes and drags out of the view arrive with the clipboard work: images that come in
// that way are handed to controller() through SourceImage::setSourceImage(), never stored here
// directly.
//
// The view holds the image by shared pointer and keeps one scaled copy for painting; widgets are
// owned by their Qt parent. Main thread only.
class DragDropImageView : public QWidget
{
    Q_OBJECT

public:
    explicit DragDropImageView(QWidget* parent = nullptr);

    ImagePtr image() const { return image_; }
    void setImage(const ImagePtr& image);

    // Receives images dropped or pasted on the view; not owned.
    SourceImage* controller() const { return controller_; }
    void setController(SourceImage* controller) { controller_ = controller; }

    // Where the image is drawn, in widget coordinates; empty without an image.
    QRect imageRect() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QRect drawingArea() const;
    const QPixmap& scaledPixmap(const QSize& size);

    ImagePtr image_;
    SourceImage* controller_ = nullptr;
    QPixmap scaled_;
    QSize scaledFor_;
};

} // namespace iconfoundry
