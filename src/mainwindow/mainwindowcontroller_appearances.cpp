// The images of the dark and tinted icon slots and the background colour of the opaque icons:
// their wells, their menu and their panels.
#include "logging/log.h"
#include "mainwindow/appearancewells.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"
#include "platform/texts.h"
#include "ui/panels.h"
#include "ui_mainwindowcontroller.h"

#include <QAction>
#include <QFileInfo>
#include <QMainWindow>
#include <QMenu>
#include <QPointer>

namespace iconfoundry {

void MainWindowController::createAppearanceMenu()
{
    // In the File menu, between opening the source and saving: they are more of what a save
    // draws from. A menu of their own would move the Window menu the user knows.
    QMenu* menu = ui_->menuFile;
    QAction* before = ui_->actionSaveDocument;
    const auto add = [this, menu, before](const QString& text, void (MainWindowController::*slot)()) {
        auto* action = new QAction(text, menu);
        connect(action, &QAction::triggered, this, slot);
        menu->insertAction(before, action);
        return action;
    };
    chooseDarkImageAction_ =
        add(Texts::text("Menu.File.ChooseDarkImage"), &MainWindowController::chooseDarkImage);
    clearDarkImageAction_ =
        add(Texts::text("Menu.File.ClearDarkImage"), &MainWindowController::clearDarkImage);
    chooseTintedImageAction_ =
        add(Texts::text("Menu.File.ChooseTintedImage"), &MainWindowController::chooseTintedImage);
    tintedFromSourceAction_ =
        add(Texts::text("Menu.File.TintedFromSource"), &MainWindowController::useTintedFromSource);
    chooseBackgroundColourAction_ =
        add(Texts::text("Menu.File.BackgroundColour"), &MainWindowController::chooseBackgroundColour);
    menu->insertSeparator(before);
}

void MainWindowController::setDarkImage(const ImagePtr& image)
{
    darkImage_ = image;
    if (appearanceWells_)
        appearanceWells_->setDarkImage(image);
    validateMenuItems();
}

void MainWindowController::setTintedImage(const ImagePtr& image)
{
    tintedImage_ = image;
    if (appearanceWells_)
        appearanceWells_->setTintedImage(image);
    validateMenuItems();
}

void MainWindowController::setBackgroundColour(const QColor& colour)
{
    if (!colour.isValid())
        return;
    // Only an opaque colour can lie under an opaque icon.
    backgroundColour_ = colour.toRgb();
    backgroundColour_.setAlpha(255);
    defaults_.setIconBackgroundColour(backgroundColour_.name(QColor::HexRgb));
    if (appearanceWells_)
        appearanceWells_->setBackgroundColour(backgroundColour_);
}

void MainWindowController::chooseDarkImage()
{
    QPointer<MainWindowController> self(this);
    chooseAppearanceImage(Texts::text("OpenImage.Panel.DarkTitle"), [self](const ImagePtr& image) {
        if (self)
            self->setDarkImage(image);
    });
}

void MainWindowController::chooseTintedImage()
{
    QPointer<MainWindowController> self(this);
    chooseAppearanceImage(Texts::text("OpenImage.Panel.TintedTitle"), [self](const ImagePtr& image) {
        if (self)
            self->setTintedImage(image);
    });
}

void MainWindowController::chooseAppearanceImage(const QString& title,
                                                 std::function<void(const ImagePtr&)> chosen)
{
    OpenPanelOptions options;
    options.allowedFileTypes = PanelPresenter::readableImageFileTypes();
    options.allowedFileTypesDescription = Texts::text("OpenImage.Panel.FileTypes");
    options.title = title;
    options.parent = window();
    QPointer<MainWindowController> self(this);
    PanelPresenter::shared().beginOpenPanel(options, [self, chosen](int response, const QList<QUrl>& urls) {
        if (!self || response != OpenPanelOptions::OKResponse || urls.size() != 1)
            return;
        const QString path = urls.first().toLocalFile();
        Error error;
        const ImagePtr image = Image::fromFile(path, &error);
        if (!image) {
            LOG_ERROR("Not using '%s': %s", qUtf8Printable(path), qUtf8Printable(error.localizedDescription));
            self->showStatusMessage(Texts::text("MainWindow.Status.Unreadable")
                                        .arg(QFileInfo(path).fileName(), error.localizedDescription));
            return;
        }
        chosen(image);
    });
}

void MainWindowController::chooseBackgroundColour()
{
    ColourPanelOptions options;
    options.initialColour = backgroundColour_;
    options.title = Texts::text("ColourPanel.Background.Title");
    options.parent = window();
    QPointer<MainWindowController> self(this);
    ColourPanelPresenter::shared().beginColourPanel(options, [self](bool chosen, const QColor& colour) {
        if (self && chosen)
            self->setBackgroundColour(colour);
    });
}

} // namespace iconfoundry
