#pragma once

#include "iconset/image.h"

#include <QObject>
#include <QStringList>
#include <memory>

class QMenu;
class QMenuBar;

namespace iconfoundry {

class ContentsJSONProcessor;
class FileLogger;
class ImageProcessor;
class MainWindowController;
class MessagesScreenWindowController;
class PadScreenWindowController;
class PhoneScreenWindowController;

// The application's delegate: configures logging, owns the long-lived services and the main
// window controller, trims the Edit menu, mirrors the current source image and answers the
// desktop's requests to open files.
//
// - Create it after the QApplication; it filters the application's events for file-open
//   requests and ends its run on QCoreApplication::aboutToQuit (applicationWillTerminate()).
// - Owns the processors and the main window controller for the life of the process; the
//   controller is created on first access and never recreated. The processors outlive the
//   controller, which holds them by plain pointer.
// - Owns the three preview window controllers, each created by its show action on first use and
//   kept for the rest of the run.
// - Main thread only.
class AppDelegate : public QObject
{
    Q_OBJECT

public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // The start-up sequence, once: loggers (system log, console, rolling files), processors, the
    // main window (shown), the Edit menu, the observer of new source images.
    void applicationDidFinishLaunching();
    // Removes this delegate's observers.
    void applicationWillTerminate();
    // Closing the last window quits.
    bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }
    // Loads path into the main window exactly as loadImageWithContentsOfURL() does and answers
    // its result. Used for files given on the command line or handed over by the desktop.
    bool applicationOpenFile(const QString& path);
    // After launch: opens the first file named in arguments (arguments[0] is the program). With
    // none named the window stays empty and this returns false.
    bool openInitialDocument(const QStringList& arguments);

    // Observer of NewSourceImageNotification: keeps the notification's image.
    void newSourceImage(const ImagePtr& image);

    // Menu actions of the Window menu: create the preview on first use, hand it the current
    // source image (also when there is none) and show it.
    void showPhoneScreenWindow();
    void showPadScreenWindow();
    void showMessagesScreenWindow();
    // The Window menu with the three preview actions, named after them; found by its object name
    // "menuWindow" when the main window's layout has one, else added to the menu bar.
    QMenu* installWindowMenu(QMenuBar* menuBar);

    MainWindowController* mainWindowController();
    // The preview controllers; null until first shown.
    PhoneScreenWindowController* phoneScreenWindowController() const
    {
        return phoneScreenWindowController_.get();
    }
    PadScreenWindowController* padScreenWindowController() const { return padScreenWindowController_.get(); }
    MessagesScreenWindowController* messagesScreenWindowController() const
    {
        return messagesScreenWindowController_.get();
    }
    ImagePtr sourceImage() const { return sourceImage_; }
    void setSourceImage(const ImagePtr& image) { sourceImage_ = image; }
    ImageProcessor* imageProcessor() const { return imageProcessor_.get(); }
    ContentsJSONProcessor* contentsJSONProcessor() const { return contentsJSONProcessor_.get(); }
    const std::shared_ptr<FileLogger>& fileLogger() const { return fileLogger_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::shared_ptr<FileLogger> fileLogger_;
    std::unique_ptr<ContentsJSONProcessor> contentsJSONProcessor_;
    std::unique_ptr<ImageProcessor> imageProcessor_;
    // Declared last so it goes first: it points at the processors.
    std::unique_ptr<MainWindowController> mainWindowController_;
    std::unique_ptr<PhoneScreenWindowController> phoneScreenWindowController_;
    std::unique_ptr<PadScreenWindowController> padScreenWindowController_;
    std::unique_ptr<MessagesScreenWindowController> messagesScreenWindowController_;
    ImagePtr sourceImage_;
};

} // namespace iconfoundry
