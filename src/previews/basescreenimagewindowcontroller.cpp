#include "previews/basescreenimagewindowcontroller.h"

#include "iconset/sourceimagenotificationcenter.h"
#include "logging/log.h"
#include "platform/propertylist.h"
#include "previews/previewimageview.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QRandomGenerator>
#include <QWidget>
#include <cmath>

namespace iconfoundry {

namespace {

// One slot index for every preview window, so a screen switch in one window and a refresh in
// another draw from the same place.
quint32 gCurrentSlotIndex = 0;

// Height over width in tenths, truncated: deliberately coarse, so proportions that differ only
// slightly count as equal. Absent when undefined (no size).
std::optional<int> ratioInTenths(double width, double height)
{
    const double ratio = height / width * 10;
    if (!std::isfinite(ratio))
        return std::nullopt;
    return int(std::trunc(ratio));
}

} // namespace

BaseScreenImageWindowController::~BaseScreenImageWindowController()
{
    SourceImageNotificationCenter::defaultCenter().removeObserver(this);
}

QWidget* BaseScreenImageWindowController::window()
{
    if (!window_) {
        window_ = loadWindow();
        connectOutlets();
        windowDidLoad();
    }
    return window_.get();
}

void BaseScreenImageWindowController::showWindow()
{
    QWidget* shown = window();
    shown->show();
    shown->raise();
    shown->activateWindow();
}

void BaseScreenImageWindowController::connectOutlets()
{
    backgroundImageView_ = window_->findChild<PreviewImageView*>(QStringLiteral("backgroundImageView"));
    appIconImageView_ = window_->findChild<PreviewImageView*>(QStringLiteral("appIconImageView"));
    watchIconImageView_ = window_->findChild<PreviewImageView*>(QStringLiteral("watchIconImageView"));
    segmentedControl_ = window_->findChild<QButtonGroup*>(QStringLiteral("segmentedControl"));
    nextButton_ = window_->findChild<QAbstractButton*>(QStringLiteral("nextButton"));

    if (segmentedControl_) {
        // Designer numbers grouped buttons -2, -3, ...; a segment's id is its index instead,
        // taken from its name, so the layout's order of children does not matter.
        const QList<QAbstractButton*> segments = segmentedControl_->buttons();
        for (QAbstractButton* segment : segments) {
            bool ok = false;
            const int index = segment->objectName().mid(int(qstrlen("segment"))).toInt(&ok);
            segmentedControl_->setId(segment, ok ? index : -1);
        }
        connect(segmentedControl_, &QButtonGroup::idClicked, this,
                [this] { segmentedControlValueChanged(); });
    }
    if (nextButton_)
        connect(nextButton_, &QAbstractButton::clicked, this, [this] { nextButtonClicked(); });
    if (!backgroundImageView_ || !appIconImageView_ || !watchIconImageView_ || !segmentedControl_)
        LOG_ERROR("The layout %s lacks a view the preview needs", qUtf8Printable(windowNibName()));
}

void BaseScreenImageWindowController::windowDidLoad()
{
    refreshView();
    // The background stays as the layout drew it (screen 0's) until the user picks a screen.
    SourceImageNotificationCenter::defaultCenter().addObserver(
        this, [this](const ImagePtr& image) { newSourceImage(image); });
}

int BaseScreenImageWindowController::selectedSegment() const
{
    return segmentedControl_ ? segmentedControl_->checkedId() : -1;
}

const IconScreenDefinition* BaseScreenImageWindowController::selectedScreen() const
{
    const int index = selectedSegment();
    if (index < 0 || index >= iconScreenDefinitions_.size())
        return nullptr;
    return &iconScreenDefinitions_.at(index);
}

void BaseScreenImageWindowController::refreshView()
{
    // The image is chosen for the slot index left from before, then a new slot is drawn: every
    // slot of a screen has the same size, so the image fits whichever comes.
    refreshIconImage();
    randomIconLocation();
    refreshIconLocation();
}

void BaseScreenImageWindowController::refreshBackgroundImage()
{
    const IconScreenDefinition* screen = selectedScreen();
    if (!screen || !backgroundImageView_)
        return;
    backgroundImageView_->setImage(PreviewImageView::imageNamed(screen->backgroundImageName()));
}

void BaseScreenImageWindowController::refreshIconImage()
{
    const IconScreenDefinition* screen = selectedScreen();
    if (!screen)
        return;
    if (screen->watchIconLocations() && watchIconImageView_)
        watchIconImageView_->setImage(sourceImage_);

    const QList<IconDefinition> places = screen->appIconLocations().value_or(QList<IconDefinition>());
    if (places.isEmpty()) {
        LOG_ERROR("The screen '%s' has no app icon slot", qUtf8Printable(screen->title()));
        return;
    }
    const IconDefinition& slot =
        places.at(gCurrentSlotIndex < quint32(places.size()) ? gCurrentSlotIndex : 0);
    const std::optional<int> slotRatio = ratioInTenths(slot.width, slot.height);
    const std::optional<int> sourceRatio =
        sourceImage_ ? ratioInTenths(sourceImage_->size().width(), sourceImage_->size().height())
                     : std::nullopt;
    const bool uncropped = slotRatio == 10 || (slotRatio && slotRatio == sourceRatio);
    if (appIconImageView_)
        appIconImageView_->setImage(uncropped ? sourceImage_
                                              : croppedImage(sourceImage_, QSizeF(slot.width, slot.height)));
}

void BaseScreenImageWindowController::randomIconLocation()
{
    const IconScreenDefinition* screen = selectedScreen();
    if (!screen)
        return;
    // The same slot may come twice in a row; the user has next for moving on.
    const quint32 count = quint32(screen->appIconLocations().value_or(QList<IconDefinition>()).size());
    gCurrentSlotIndex = count == 0 ? 0 : QRandomGenerator::global()->bounded(count);
}

void BaseScreenImageWindowController::placeView(PreviewImageView* view, const IconDefinition& slot) const
{
    // Slots are measured from the bottom of the background upward; widgets from the top down.
    // Only y follows the background; x is the window's own, so backgrounds sit at x = 0.
    double bottom = window_->height();
    if (backgroundImageView_)
        bottom = backgroundImageView_->geometry().bottom() + 1;
    const QRectF frame(slot.origin.x(), bottom - slot.origin.y() - slot.height, slot.width, slot.height);
    view->setGeometry(frame.toRect());
    view->setCornerRadius(slot.cornerRadius);
    view->raise();
}

void BaseScreenImageWindowController::refreshIconLocation()
{
    const IconScreenDefinition* screen = selectedScreen();
    if (!screen)
        return;
    const QList<IconDefinition> places = screen->appIconLocations().value_or(QList<IconDefinition>());
    if (gCurrentSlotIndex >= quint32(places.size())) {
        LOG_ERROR("Slot %u is not on the screen '%s' of %lld places", unsigned(gCurrentSlotIndex),
                  qUtf8Printable(screen->title()), static_cast<long long>(places.size()));
        return;
    }
    if (appIconImageView_)
        placeView(appIconImageView_, places.at(gCurrentSlotIndex));

    if (!watchIconImageView_)
        return;
    // The watch icon has one place per screen: its group's first slot.
    const auto& watchSlots = screen->watchIconLocations();
    if (watchSlots && !watchSlots->isEmpty()) {
        placeView(watchIconImageView_, watchSlots->first());
        watchIconImageView_->show();
    } else {
        watchIconImageView_->hide();
    }
}

void BaseScreenImageWindowController::nextButtonClicked()
{
    if (const IconScreenDefinition* screen = selectedScreen()) {
        const quint32 count = quint32(screen->appIconLocations().value_or(QList<IconDefinition>()).size());
        ++gCurrentSlotIndex;
        if (gCurrentSlotIndex >= count)
            gCurrentSlotIndex = 0;
    }
    refreshIconLocation();
}

void BaseScreenImageWindowController::segmentedControlValueChanged()
{
    refreshBackgroundImage();
    refreshView();
}

void BaseScreenImageWindowController::newSourceImage(const ImagePtr& image)
{
    setSourceImage(image);
    refreshView();
}

void BaseScreenImageWindowController::loadDefinitionsFromFileName(const QString& fileName)
{
    const std::optional<QVariant> root = loadPlist(fileName);
    const QVariantList screens = root ? root->toList() : QVariantList();
    QList<IconScreenDefinition> definitions;
    definitions.reserve(screens.size());
    for (const QVariant& screen : screens)
        definitions.append(IconScreenDefinition(screen.toMap()));
    iconScreenDefinitions_ = std::move(definitions);
}

std::optional<QVariant> BaseScreenImageWindowController::loadPlist(const QString& name)
{
    QString failure;
    auto root = PropertyList::readResource(name, &failure);
    if (!root)
        LOG_ERROR("%s", qUtf8Printable(failure));
    return root;
}

QRectF BaseScreenImageWindowController::cropRectangle(QSize pixels, QSizeF size)
{
    const double W = pixels.width(), H = pixels.height();
    const double t = size.height() / size.width();
    if (t < 1)
        return QRectF(0, (H - t * H) * 0.5, W, t * H);
    // Kept as it always was: the width is spread by t, not divided, so the cut reaches outside
    // the bitmap and the clipping leaves the whole width.
    return QRectF((W - t * W) * 0.5, 0, t * W, H);
}

ImagePtr BaseScreenImageWindowController::croppedImage(const ImagePtr& image, QSizeF size)
{
    if (!image || image->representations().isEmpty())
        return image;
    const QSize pixels = image->representations().front().size();
    const double t = size.height() / size.width();
    if (double(pixels.height()) / double(pixels.width()) == t)
        return image;
    return image->imageInRect(cropRectangle(pixels, size));
}

quint32 BaseScreenImageWindowController::currentSlotIndex()
{
    return gCurrentSlotIndex;
}

void BaseScreenImageWindowController::setCurrentSlotIndex(quint32 index)
{
    gCurrentSlotIndex = index;
}

} // namespace iconfoundry
