#include "mainwindow/appearancewells.h"

#include "platform/texts.h"

#include <QGridLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QToolButton>

namespace iconfoundry {

namespace {

constexpr int kWellSide = 44;

// A checkerboard under the picture: transparent parts must look transparent, not white.
QPixmap wellPicture(const QImage& picture, const QColor& colour, const QString& emptyText, const QFont& font)
{
    const qreal ratio = 2;
    QPixmap pixmap(QSize(kWellSide, kWellSide) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF frame(0.5, 0.5, kWellSide - 1, kWellSide - 1);
    QPainterPath clip;
    clip.addRoundedRect(frame, 7, 7);
    painter.setClipPath(clip);
    if (colour.isValid()) {
        painter.fillRect(frame, colour);
    } else if (!picture.isNull()) {
        for (int y = 0; y < kWellSide; y += 6)
            for (int x = 0; x < kWellSide; x += 6)
                painter.fillRect(x, y, 6, 6,
                                 ((x + y) / 6) % 2 ? QColor(222, 222, 222) : QColor(250, 250, 250));
        painter.drawImage(frame, picture);
    } else {
        painter.setPen(QColor(140, 140, 140));
        painter.setFont(font);
        painter.drawText(frame, Qt::AlignCenter | Qt::TextWordWrap, emptyText);
    }
    painter.setClipping(false);
    painter.setPen(
        QPen(QColor(150, 150, 150), 1, picture.isNull() && !colour.isValid() ? Qt::DashLine : Qt::SolidLine));
    painter.drawRoundedRect(frame, 7, 7);
    return pixmap;
}

} // namespace

AppearanceWells::AppearanceWells(QWidget* parent) : QWidget(parent)
{
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(2);
    dark_ = addWell(0, Texts::text("MainWindow.Wells.Dark"), Texts::text("MainWindow.Wells.Dark.ToolTip"));
    tinted_ =
        addWell(1, Texts::text("MainWindow.Wells.Tinted"), Texts::text("MainWindow.Wells.Tinted.ToolTip"));
    background_ = addWell(2, Texts::text("MainWindow.Wells.Background"), QString());
    grid->setColumnStretch(3, 1);

    connect(dark_, &QToolButton::clicked, this, &AppearanceWells::chooseDarkImage);
    connect(tinted_, &QToolButton::clicked, this, &AppearanceWells::chooseTintedImage);
    connect(background_, &QToolButton::clicked, this, &AppearanceWells::chooseBackgroundColour);
    // Clearing is rarer than choosing: it lives in the well's context menu and the Icon menu.
    for (auto [well, clear] : {std::pair{dark_, &AppearanceWells::clearDarkImage},
                               std::pair{tinted_, &AppearanceWells::clearTintedImage}}) {
        well->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(well, &QWidget::customContextMenuRequested, this, [this, well, clear](const QPoint& at) {
            QMenu menu;
            menu.addAction(Texts::text("MainWindow.Wells.Clear"), this, clear);
            menu.exec(well->mapToGlobal(at));
        });
    }
    setDarkImage(nullptr);
    setTintedImage(nullptr);
    setBackgroundColour(Qt::white);
}

QToolButton* AppearanceWells::addWell(int column, const QString& caption, const QString& toolTip)
{
    auto* grid = static_cast<QGridLayout*>(layout());
    auto* well = new QToolButton(this);
    well->setAutoRaise(true);
    well->setIconSize(QSize(kWellSide, kWellSide));
    well->setToolTip(toolTip);
    well->setAccessibleName(caption);
    auto* label = new QLabel(caption, this);
    label->setAlignment(Qt::AlignHCenter);
    QFont small = label->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    label->setFont(small);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    label->setPalette(palette);
    grid->addWidget(well, 0, column, Qt::AlignHCenter);
    grid->addWidget(label, 1, column, Qt::AlignHCenter);
    return well;
}

void AppearanceWells::showImage(QToolButton* well, const ImagePtr& image, const QString& emptyText)
{
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.75);
    const QImage picture = image ? image->bitmap() : QImage();
    well->setIcon(QIcon(wellPicture(picture, QColor(), emptyText, small)));
}

void AppearanceWells::setDarkImage(const ImagePtr& image)
{
    showImage(dark_, image, Texts::text("MainWindow.Wells.Dark.Empty"));
}

void AppearanceWells::setTintedImage(const ImagePtr& image)
{
    showImage(tinted_, image, Texts::text("MainWindow.Wells.Tinted.Empty"));
}

void AppearanceWells::setBackgroundColour(const QColor& colour)
{
    background_->setIcon(QIcon(wellPicture(QImage(), colour, QString(), font())));
    background_->setToolTip(Texts::text("MainWindow.Wells.Background.ToolTip").arg(colour.name()));
}

} // namespace iconfoundry
