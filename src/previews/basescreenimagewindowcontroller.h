#pragma once

#include "iconset/image.h"
#include "previews/iconscreendefinition.h"

#include <QList>
#include <QObject>
#include <QRectF>
#include <QSizeF>
#include <QVariant>
#include <memory>
#include <optional>

class QAbstractButton;
class QButtonGroup;
class QWidget;

namespace iconfoundry {

class PreviewImageView;

// A home-screen preview: the current source icon placed on one slot of a screen mock-up.
//
// - Each subclass names its layout (a .ui with the views "backgroundImageView",
//   "appIconImageView", "watchIconImageView", the button group "segmentedControl" of buttons
//   "segment0", "segment1", ... and the button "nextButton") and its screen-definition file.
// - The window is built on first access of window(); windowDidLoad() then loads the screens,
//   shows the icon on a random slot and starts following NewSourceImageNotification, which it
//   keeps doing until the controller is destroyed.
// - The selected segment indexes iconScreenDefinitions(); while it does not name a loaded
//   screen (no definitions, say) every refresh and action does nothing.
// - The current slot index is one value for the whole process, shared by every preview window.
// - Main thread only, also for the notification: the main window posts on the main thread.
class BaseScreenImageWindowController : public QObject
{
    Q_OBJECT

public:
    ~BaseScreenImageWindowController() override;

    // The name of the window's layout.
    virtual QString windowNibName() const = 0;
    QWidget* window();
    bool isWindowLoaded() const { return window_ != nullptr; }
    void showWindow();

    void refreshView();
    void refreshBackgroundImage();
    void refreshIconImage();
    void randomIconLocation();
    void refreshIconLocation();
    void nextButtonClicked();
    void segmentedControlValueChanged();
    void newSourceImage(const ImagePtr& image);

    // Replaces iconScreenDefinitions() with the screens of the bundle's FILENAME.plist; empty,
    // after the failure is logged, when the file cannot be read.
    void loadDefinitionsFromFileName(const QString& fileName);
    // The root of the bundle's NAME.plist, or absent after logging why.
    static std::optional<QVariant> loadPlist(const QString& name);

    // The part of image that a slot of `size` shows (see cropRectangle()); image itself when its
    // proportions already match or it has no pixels.
    static ImagePtr croppedImage(const ImagePtr& image, QSizeF size);
    // The cut, in pixels, that croppedImage() takes from a bitmap of `pixels` for a slot of `size`.
    // A wide slot keeps the full width; a tall one keeps the full height and spreads the width by
    // the slot's proportion, reaching outside the bitmap on both sides (the cut then clips it).
    static QRectF cropRectangle(QSize pixels, QSizeF size);

    const QList<IconScreenDefinition>& iconScreenDefinitions() const { return iconScreenDefinitions_; }
    const ImagePtr& sourceImage() const { return sourceImage_; }
    // Only stores the image; the next refresh shows it.
    void setSourceImage(const ImagePtr& image) { sourceImage_ = image; }

    PreviewImageView* appIconImageView() const { return appIconImageView_; }
    PreviewImageView* watchIconImageView() const { return watchIconImageView_; }
    PreviewImageView* backgroundImageView() const { return backgroundImageView_; }
    QButtonGroup* segmentedControl() const { return segmentedControl_; }
    QAbstractButton* nextButton() const { return nextButton_; }
    // The checked segment's index, -1 when none is checked.
    int selectedSegment() const;

    static quint32 currentSlotIndex();
    static void setCurrentSlotIndex(quint32 index);

protected:
    BaseScreenImageWindowController() = default;
    // Subclasses load their definitions, then call this.
    virtual void windowDidLoad();
    // Builds the window from the subclass's layout.
    virtual std::unique_ptr<QWidget> loadWindow() = 0;

private:
    // The selected screen, or null when the selection names none.
    const IconScreenDefinition* selectedScreen() const;
    // Places view on slot, measuring y upward from the bottom of the background view.
    void placeView(PreviewImageView* view, const IconDefinition& slot) const;
    void connectOutlets();

    std::unique_ptr<QWidget> window_;
    QList<IconScreenDefinition> iconScreenDefinitions_;
    ImagePtr sourceImage_;
    PreviewImageView* appIconImageView_ = nullptr;
    PreviewImageView* watchIconImageView_ = nullptr;
    PreviewImageView* backgroundImageView_ = nullptr;
    QButtonGroup* segmentedControl_ = nullptr;
    QAbstractButton* nextButton_ = nullptr;
};

} // namespace iconfoundry
