#pragma once

#include "iconset/image.h"

#include <QList>
#include <QObject>
#include <QStringList>
#include <QUrl>
#include <QVariantList>
#include <memory>
#include <optional>

class QAction;
class QMenu;
class QMenuBar;

namespace iconfoundry {

class AboutWindowController;
class AnnouncementService;
class AnnouncementWindows;
class ContentsJSONProcessor;
class FileLogger;
class ImageProcessor;
class Logger;
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
// - Owns the announcement service and the announcement windows, which are loaded on first access
//   and kept. The feed loads in the background at launch; launch never waits for
//   it, and the web engine starts only when an announcement window is first shown.
// - Main thread only.
class AppDelegate : public QObject
{
    Q_OBJECT

public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // The start-up sequence, once: loggers (system log, console, rolling files), the announcement
    // service, processors, the main window (shown), the Edit menu and the Help menu, the observer
    // of new source images, and last the announcement load, not waited for.
    virtual void applicationDidFinishLaunching();
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
    // Menu action of the Help menu: the announcement history.
    void showAnnouncementsWindow();
    // The end of the launch's announcement load, on the main thread: with a count above 0, the
    // service's choice (if any) is shown in the announcement window.
    void announcementsDidLoad(qint64 count);

    // The Help menu: About, the home page and the Share submenu with its seven actions, each
    // action named after its operation ("shareViaEmail:"); found by its object name "menuHelp"
    // when the layout has one, else added to the menu bar. Subclasses add their items with
    // addHelpMenuItems().
    QMenu* installHelpMenu(QMenuBar* menuBar);

    // The share menu: each action hands a fresh shareItems() to the sharing service of its name.
    void shareViaEmail();
    void shareViaMessages();
    void shareViaFacebook();
    void shareViaLinkedIn();
    void shareViaSinaWeibo();
    void shareViaTencentWeibo();
    void shareViaTwitter();
    // False only for a share action whose service is unknown here or cannot share at all; every
    // other item is enabled. Items are recognised by their object name.
    bool validateMenuItem(const QAction* item) const;
    // The share text ("Share.Text"), the "ShareAppImage" picture, and appURL() when there is one.
    QVariantList shareItems() const;
    // The link the share menu carries; none in the base delegate.
    virtual std::optional<QUrl> appURL() const { return std::nullopt; }

    // The maker's home page, opened through the workspace seam (nothing when the address does not
    // parse).
    void showHomePage();
    static QString homePageAddress();
    // The About window, created on first use.
    void showAboutWindow();
    AboutWindowController* aboutWindowController() const { return aboutWindowController_.get(); }

    // The log files, newest first, as file URLs; absent (never empty) when there are none or no
    // file logger yet.
    std::optional<QList<QUrl>> logURLs() const;
    // "v2.1 (7)", "v2.1" without a build, "" without a short version.
    QString versionString() const;
    static QString versionString(const QString& shortVersion, const QString& build);

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
    AnnouncementService* announcementService() const { return announcementService_.get(); }
    // The announcement windows, loaded with their module on first access and kept for the run;
    // null when the module cannot be loaded.
    AnnouncementWindows* announcementWindows();
    ImagePtr sourceImage() const { return sourceImage_; }
    void setSourceImage(const ImagePtr& image) { sourceImage_ = image; }
    ImageProcessor* imageProcessor() const { return imageProcessor_.get(); }
    ContentsJSONProcessor* contentsJSONProcessor() const { return contentsJSONProcessor_.get(); }
    const std::shared_ptr<FileLogger>& fileLogger() const { return fileLogger_; }
    // The logger added first at launch: the system log's shared instance unless replaced before
    // launch (tests hand in one that keeps its lines, so that a test run writes nothing to the
    // system journal).
    const std::shared_ptr<Logger>& systemLogger() const { return systemLogger_; }
    void setSystemLogger(std::shared_ptr<Logger> logger) { systemLogger_ = std::move(logger); }

    // Replaces the feed address of the "Environment" resource when set and not empty.
    static constexpr char AnnouncementsURLVariable[] = "ICONFOUNDRY_ANNOUNCEMENTS_URL";

signals:
    // After announcementsDidLoad() has handled a finished load.
    void announcementsLoaded(qint64 count);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    virtual void addHelpMenuItems(QMenu*) {}
    void share(const char* serviceName) const;

private:
    std::shared_ptr<Logger> systemLogger_;
    std::shared_ptr<FileLogger> fileLogger_;
    std::unique_ptr<AnnouncementService> announcementService_;
    std::unique_ptr<ContentsJSONProcessor> contentsJSONProcessor_;
    std::unique_ptr<ImageProcessor> imageProcessor_;
    // Declared last so it goes first: it points at the processors.
    std::unique_ptr<MainWindowController> mainWindowController_;
    std::unique_ptr<PhoneScreenWindowController> phoneScreenWindowController_;
    std::unique_ptr<PadScreenWindowController> padScreenWindowController_;
    std::unique_ptr<MessagesScreenWindowController> messagesScreenWindowController_;
    std::unique_ptr<AboutWindowController> aboutWindowController_;
    // Declared after the service they point at, so they go first.
    std::unique_ptr<AnnouncementWindows> announcementWindows_;
    ImagePtr sourceImage_;
};

} // namespace iconfoundry
