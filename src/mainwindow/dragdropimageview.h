#pragma once

#include "iconset/image.h"

#include <QPixmap>
#include <QWidget>

class QMimeData;

namespace iconfoundry {

class SourceImage;

// The object that offers the icons when the user drags out of the view: the main window
// controller. Linux file managers take no promised files, so the source hands out file URLs
// whose files it is writing, and reading the URLs waits until they are written.
class DraggingSource
{
public:
    virtual ~DraggingSource() = default;
    // The data of a drag out of the view (owned by the caller), or nullptr for no drag.
    virtual QMimeData* mimeDataForDrag() = 0;
    // What the source allows: a copy, inside or outside the application.
    virtual Qt::DropActions sourceOperationMask() const { return Qt::CopyAction; }
};

// The main window's image area. Shows the image scaled to fit, centred, over a checkerboard so
// transparent parts read as transparent; without an image it draws an empty drop zone (the
// window puts its instructions on top).
//
// Drops: a drag that offers a copy of an image file or image data highlights the view (a grey
// rounded outline just inside its edge) and, when dropped, is handed to controller() through
// SourceImage::setSourceImage(), never stored here directly. A drop of what cannot be decoded
// is reported through dropFailed(). The view's own drags are not taken back.
// Drags out: pressing on a shown image and moving starts a copy drag of draggingSource()'s data.
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
    // Offers the data of drags out of the view; not owned.
    DraggingSource* draggingSource() const { return draggingSource_; }
    void setDraggingSource(DraggingSource* source) { draggingSource_ = source; }

    // True while an acceptable drag hovers over the view.
    bool isHighlighted() const { return highlight_; }

    // Where the image is drawn, in widget coordinates; empty without an image.
    QRect imageRect() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    // A drop brought something that is not a readable image; why says what went wrong.
    void dropFailed(const QString& why);

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QRect drawingArea() const;
    const QPixmap& scaledPixmap(const QSize& size);
    void paintContents();
    void setHighlight(bool highlight);
    void startDrag();

    ImagePtr image_;
    SourceImage* controller_ = nullptr;
    DraggingSource* draggingSource_ = nullptr;
    bool highlight_ = false;
    QPoint pressPosition_;
    bool pressedOnImage_ = false;
    QPixmap scaled_;
    QSize scaledFor_;
};

} // namespace iconfoundry
