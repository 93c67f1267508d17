#include "mainwindow/dragdropimageview.h"

#include "mainwindow/pasteboardreader.h"
#include "mainwindow/sourceimage.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace iconfoundry {

namespace {

constexpr int kFrameMargin = 6;  // between the widget's edge and the drop zone
constexpr int kImageMargin = 20; // between the drop zone and the image
constexpr qreal kCornerRadius = 10;
constexpr int kCheckerSquare = 8;
constexpr qreal kHighlightInset = 4;
constexpr qreal kHighlightRadius = 4;
constexpr qreal kHighlightWidth = 2;
constexpr int kDragImageSide = 32;

bool canMakeImage(const QMimeData* data)
{
    return !PasteboardReader::readableImageFileURLs(data).isEmpty() ||
           PasteboardReader::canReadImageData(data);
}

QBrush checkerboardBrush(const QPalette& palette)
{
    // Two quiet greys that stay recognisable in light and dark themes.
    const bool dark = palette.color(QPalette::Window).lightness() < 128;
    const QColor light = dark ? QColor(0x5a, 0x5a, 0x5a) : QColor(0xff, 0xff, 0xff);
    const QColor shade = dark ? QColor(0x46, 0x46, 0x46) : QColor(0xe4, 0xe4, 0xe4);
    QPixmap tile(2 * kCheckerSquare, 2 * kCheckerSquare);
    tile.fill(light);
    QPainter painter(&tile);
    painter.fillRect(0, 0, kCheckerSquare, kCheckerSquare, shade);
    painter.fillRect(kCheckerSquare, kCheckerSquare, kCheckerSquare, kCheckerSquare, shade);
    return QBrush(tile);
}

} // namespace

DragDropImageView::DragDropImageView(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    setAcceptDrops(true);
}

void DragDropImageView::setImage(const ImagePtr& image)
{
    if (image == image_)
        return;
    image_ = image;
    scaled_ = QPixmap();
    scaledFor_ = QSize();
    update();
}

QSize DragDropImageView::sizeHint() const
{
    return {520, 520};
}

QSize DragDropImageView::minimumSizeHint() const
{
    return {280, 280};
}

QRect DragDropImageView::drawingArea() const
{
    return rect().adjusted(kFrameMargin, kFrameMargin, -kFrameMargin, -kFrameMargin);
}

QRect DragDropImageView::imageRect() const
{
    if (!image_)
        return {};
    QSizeF size = image_->size();
    if (size.isEmpty())
        size = image_->pixelSize();
    const QRect area = drawingArea().adjusted(kImageMargin, kImageMargin, -kImageMargin, -kImageMargin);
    if (size.isEmpty() || area.isEmpty())
        return {};
    // Scaled to fit, keeping the aspect ratio, up or down.
    const QSize fitted = size.scaled(QSizeF(area.size()), Qt::KeepAspectRatio).toSize().expandedTo({1, 1});
    QRect target(QPoint(), fitted);
    target.moveCenter(area.center());
    return target;
}

const QPixmap& DragDropImageView::scaledPixmap(const QSize& size)
{
    const qreal ratio = devicePixelRatioF();
    const QSize pixels = (QSizeF(size) * ratio).toSize();
    if (scaled_.isNull() || scaledFor_ != pixels) {
        const QImage bitmap = image_ ? image_->bitmap() : QImage();
        scaled_ =
            bitmap.isNull()
                ? QPixmap()
                : QPixmap::fromImage(bitmap.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        scaled_.setDevicePixelRatio(ratio);
        scaledFor_ = pixels;
    }
    return scaled_;
}

void DragDropImageView::paintContents()
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);

    const QRectF zone = QRectF(drawingArea()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath zonePath;
    zonePath.addRoundedRect(zone, kCornerRadius, kCornerRadius);
    painter.fillPath(zonePath, palette().color(QPalette::Base));

    QColor border = palette().color(QPalette::Mid);
    if (!image_) {
        // The empty look: a dashed outline that says "drop something here".
        QPen pen(border, 1.5, Qt::DashLine);
        pen.setDashPattern({6, 4});
        painter.setPen(pen);
        painter.drawPath(zonePath);
        return;
    }
    painter.setPen(QPen(border, 1));
    painter.drawPath(zonePath);

    const QRect target = imageRect();
    if (target.isEmpty())
        return;
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(target, checkerboardBrush(palette()));
    painter.drawPixmap(target.topLeft(), scaledPixmap(target.size()));
}

void DragDropImageView::paintEvent(QPaintEvent*)
{
    paintContents();
    if (!highlight_)
        return;
    // Drawn last, over the image, so it shows whatever the view holds.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(Qt::gray), kHighlightWidth));
    painter.setBrush(Qt::NoBrush);
    const QRectF outline =
        QRectF(rect()).adjusted(kHighlightInset, kHighlightInset, -kHighlightInset, -kHighlightInset);
    painter.drawRoundedRect(outline, kHighlightRadius, kHighlightRadius);
}

void DragDropImageView::setHighlight(bool highlight)
{
    if (highlight_ == highlight)
        return;
    highlight_ = highlight;
    update();
}

void DragDropImageView::dragEnterEvent(QDragEnterEvent* event)
{
    const Qt::DropActions offered =
        canMakeImage(event->mimeData()) ? event->possibleActions() : Qt::DropActions();
    if (!(offered & Qt::CopyAction)) {
        event->ignore();
        return;
    }
    setHighlight(true);
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void DragDropImageView::dragMoveEvent(QDragMoveEvent* event)
{
    if (!highlight_) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void DragDropImageView::dragLeaveEvent(QDragLeaveEvent* event)
{
    setHighlight(false);
    event->accept();
}

void DragDropImageView::dropEvent(QDropEvent* event)
{
    setHighlight(false);
    // The drop is taken in every case: a refused drop would make the desktop animate the image
    // flying back, which says nothing about why.
    event->setDropAction(Qt::CopyAction);
    event->accept();
    if (event->source() == this || !controller_)
        return;
    Error error;
    const ImagePtr image = PasteboardReader::readImage(event->mimeData(), &error);
    if (!image) {
        emit dropFailed(error.localizedDescription);
        return;
    }
    controller_->setSourceImage(image);
}

void DragDropImageView::mousePressEvent(QMouseEvent* event)
{
    // A click in an inactive window may start a drag at once: the press is not swallowed.
    pressedOnImage_ = event->button() == Qt::LeftButton && image_;
    pressPosition_ = event->position().toPoint();
    QWidget::mousePressEvent(event);
}

void DragDropImageView::mouseMoveEvent(QMouseEvent* event)
{
    if (!pressedOnImage_ || !(event->buttons() & Qt::LeftButton) ||
        (event->position().toPoint() - pressPosition_).manhattanLength() <
            QApplication::startDragDistance()) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    pressedOnImage_ = false;
    startDrag();
}

void DragDropImageView::startDrag()
{
    if (!draggingSource_ || !image_)
        return;
    QMimeData* data = draggingSource_->mimeDataForDrag();
    if (!data)
        return;
    auto* drag = new QDrag(this);
    drag->setMimeData(data);
    // A small picture of the image under the mouse, centred on it.
    const QImage bitmap = image_->bitmap();
    if (!bitmap.isNull()) {
        const qreal ratio = devicePixelRatioF();
        QPixmap picture = QPixmap::fromImage(bitmap.scaled(QSize(kDragImageSide, kDragImageSide) * ratio,
                                                           Qt::KeepAspectRatio, Qt::SmoothTransformation));
        picture.setDevicePixelRatio(ratio);
        drag->setPixmap(picture);
        drag->setHotSpot(QPoint(kDragImageSide / 2, kDragImageSide / 2));
    }
    drag->exec(draggingSource_->sourceOperationMask(), Qt::CopyAction);
}

void DragDropImageView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        update();
    QWidget::changeEvent(event);
}

} // namespace iconfoundry
