#include "app/appdelegate.h"

#include "announcementfeed/announcementservice.h"
#include "app/aboutwindowcontroller.h"
#include "app/announcementwindowsmodule.h"
#include "app/editmenutrimmer.h"
#include "app/sharingservice.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "iconset/sourceimagenotificationcenter.h"
#include "logging/consolelogger.h"
#include "logging/filelogger.h"
#include "logging/log.h"
#include "logging/logfilemanagerdefault.h"
#include "logging/systemlogger.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/bundle.h"
#include "platform/error.h"
#include "platform/texts.h"
#include "previews/messagesscreenwindowcontroller.h"
#include "previews/padscreenwindowcontroller.h"
#include "previews/phonescreenwindowcontroller.h"
#include "ui/alerts.h"
#include "ui/workspace.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QFileOpenEvent>
#include <QImage>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <QWindow>

namespace iconfoundry {

namespace {

constexpr double kLogRollingFrequencySeconds = 86400; // one file per day
constexpr unsigned long kMaximumNumberOfLogFiles = 7; // a week of logs
// How often a loaded announcement looks again whether the main window is on screen yet.
constexpr int kAnnouncementRetryMilliseconds = 50;

// Creates the preview controller on first use; every show hands over the current image, so a
// window reopened after the image changed while it was closed shows the new one.
template <typename Controller>
void showPreview(std::unique_ptr<Controller>& controller, const ImagePtr& sourceImage)
{
    if (!controller)
        controller = std::make_unique<Controller>();
    controller->setSourceImage(sourceImage);
    controller->showWindow();
}

// The share actions, by the name their menu items carry, with the service each asks for.
struct ShareAction
{
    const char* name;
    const char* service;
    const char* text;
    void (AppDelegate::*perform)();
};

const ShareAction kShareActions[] = {
    {"shareViaEmail:", SharingService::ComposeEmail, "Menu.Share.Email", &AppDelegate::shareViaEmail},
    {"shareViaMessages:", SharingService::ComposeMessage, "Menu.Share.Messages",
     &AppDelegate::shareViaMessages},
    {"shareViaFacebook:", SharingService::PostOnFacebook, "Menu.Share.Facebook",
     &AppDelegate::shareViaFacebook},
    {"shareViaLinkedIn:", SharingService::PostOnLinkedIn, "Menu.Share.LinkedIn",
     &AppDelegate::shareViaLinkedIn},
    {"shareViaSinaWeibo:", SharingService::PostOnSinaWeibo, "Menu.Share.SinaWeibo",
     &AppDelegate::shareViaSinaWeibo},
    {"shareViaTencentWeibo:", SharingService::PostOnTencentWeibo, "Menu.Share.TencentWeibo",
     &AppDelegate::shareViaTencentWeibo},
    {"shareViaTwitter:", SharingService::PostOnTwitter, "Menu.Share.Twitter", &AppDelegate::shareViaTwitter},
};

} // namespace

AppDelegate::AppDelegate(QObject* parent) : QObject(parent), systemLogger_(SystemLogger::sharedInstance())
{
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        app->setQuitOnLastWindowClosed(applicationShouldTerminateAfterLastWindowClosed());
        app->installEventFilter(this);
        connect(app, &QCoreApplication::aboutToQuit, this, &AppDelegate::applicationWillTerminate);
    }
}

AppDelegate::~AppDelegate()
{
    SourceImageNotificationCenter::defaultCenter().removeObserver(this);
}

void AppDelegate::applicationDidFinishLaunching()
{
    // Loggers first, each admitting every level, so that everything after them is logged.
    // The file names' prefix is set once, before any logger runs.
    LogFileManagerDefault::setApplicationName(Bundle::bundleIdentifier().toStdString());
    // ICONFOUNDRY_LOG_JOURNAL=0 keeps a run out of the system journal (the tests that start the
    // program set it).
    if (qgetenv("ICONFOUNDRY_LOG_JOURNAL") != "0")
        Log::addLogger(systemLogger_);
    Log::addLogger(ConsoleLogger::sharedInstance());
    auto logFileManager = std::make_shared<LogFileManagerDefault>();
    fileLogger_ = std::make_shared<FileLogger>(logFileManager);
    fileLogger_->setRollingFrequency(kLogRollingFrequencySeconds);
    logFileManager->setMaximumNumberOfLogFiles(kMaximumNumberOfLogFiles);
    Log::addLogger(fileLogger_);
    // From here on a crash still gets what was logged before it into the file.
    Log::installFatalSignalFlush();

    announcementService_ = std::make_unique<AnnouncementService>();

    // The processors. The catalogue loads on first use, so start-up does not wait for it.
    contentsJSONProcessor_ = std::make_unique<ContentsJSONProcessor>();
    imageProcessor_ = std::make_unique<ImageProcessor>();
    contentsJSONProcessor_->setImageProcessor(imageProcessor_.get());

    // The main window.
    MainWindowController* controller = mainWindowController();
    controller->setContentsJSONProcessor(contentsJSONProcessor_.get());
    controller->setImageProcessor(imageProcessor_.get());
    controller->showWindow();

    // The Edit menu, and the Window menu that opens the previews.
    EditMenuTrimmer::trimEditMenu(controller->window()->menuBar());
    installWindowMenu(controller->window()->menuBar());
    installHelpMenu(controller->window()->menuBar());

    // Mirror every accepted source image.
    SourceImageNotificationCenter::defaultCenter().addObserver(
        this, [this](const ImagePtr& image) { newSourceImage(image); });

    // The launch announcement: the feed loads on the thread pool and start-up goes on at once.
    announcementService_->setAppVersion(Bundle::shortVersion());
    announcementService_->loadEnvironmentDataFromPath(
        Bundle::pathForResource(QStringLiteral("Environment"), QStringLiteral("plist")));
    if (const QString address = qEnvironmentVariable(AnnouncementsURLVariable); !address.isEmpty()) {
        QVariantMap environment = announcementService_->environmentData();
        environment.insert(QString::fromLatin1(AnnouncementService::AnnouncementsURLKey), address);
        announcementService_->setEnvironmentData(environment);
    }
    QPointer<AppDelegate> self(this);
    announcementService_->loadDataWithCompletionHandler([self](qint64 count, const std::optional<Error>&) {
        // The choice marks the announcement seen in the user defaults and the window is a widget:
        // both belong to the main thread, so the whole answer is handled there. A delegate gone by
        // then drops it.
        QCoreApplication* app = QCoreApplication::instance();
        if (!app)
            return;
        QMetaObject::invokeMethod(
            app,
            [self, count] {
                if (self)
                    self->announcementsDidLoad(count);
            },
            Qt::QueuedConnection);
    });
}

void AppDelegate::announcementsDidLoad(qint64 count)
{
    // Starting the web engine takes the main thread for a while: the main window goes on screen
    // first, so a quick feed never delays it.
    QWidget* main = mainWindowController_ ? mainWindowController_->window() : nullptr;
    if (main && main->isVisible() && !(main->windowHandle() && main->windowHandle()->isExposed())) {
        QTimer::singleShot(kAnnouncementRetryMilliseconds, this,
                           [this, count] { announcementsDidLoad(count); });
        return;
    }
    if (count > 0) {
        if (AnnouncementPtr next = announcementService_->nextAnnouncementToDisplay()) {
            if (AnnouncementWindows* windows = announcementWindows())
                windows->showAnnouncement(next);
        }
    }
    emit announcementsLoaded(count);
}

AnnouncementWindows* AppDelegate::announcementWindows()
{
    if (!announcementWindows_)
        announcementWindows_ = AnnouncementWindowsModule::createWindows(announcementService_.get(), nullptr);
    return announcementWindows_.get();
}

void AppDelegate::showAnnouncementsWindow()
{
    Error error;
    if (!announcementWindows_)
        announcementWindows_ = AnnouncementWindowsModule::createWindows(announcementService_.get(), &error);
    if (announcementWindows_) {
        announcementWindows_->showHistory();
        return;
    }
    // Asked for from the menu, so the user hears why nothing opens; a launch announcement that
    // cannot be shown is only logged.
    Alert alert;
    alert.messageText = Texts::text("Alert.AnnouncementsUnavailable.Title");
    alert.informativeText = error.localizedDescription;
    beginAlert(alert, [](int, const Alert&) {});
}

void AppDelegate::applicationWillTerminate()
{
    SourceImageNotificationCenter::defaultCenter().removeObserver(this);
}

bool AppDelegate::applicationOpenFile(const QString& path)
{
    return mainWindowController()->loadImageWithContentsOfURL(
        QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()));
}

bool AppDelegate::openInitialDocument(const QStringList& arguments)
{
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument.isEmpty() || argument.startsWith(QLatin1Char('-')))
            continue;
        const QUrl url(argument);
        return applicationOpenFile(url.isLocalFile() ? url.toLocalFile() : argument);
    }
    // No file: the window starts empty, showing how to bring an image in.
    return false;
}

void AppDelegate::newSourceImage(const ImagePtr& image)
{
    setSourceImage(image);
}

void AppDelegate::showPhoneScreenWindow()
{
    showPreview(phoneScreenWindowController_, sourceImage_);
}

void AppDelegate::showPadScreenWindow()
{
    showPreview(padScreenWindowController_, sourceImage_);
}

void AppDelegate::showMessagesScreenWindow()
{
    showPreview(messagesScreenWindowController_, sourceImage_);
}

QMenu* AppDelegate::installWindowMenu(QMenuBar* menuBar)
{
    if (!menuBar)
        return nullptr;
    auto* menu = menuBar->findChild<QMenu*>(QStringLiteral("menuWindow"));
    if (!menu) {
        menu = menuBar->addMenu(Texts::text("Menu.Window"));
        menu->setObjectName(QStringLiteral("menuWindow"));
    }
    const struct
    {
        const char* name;
        const char* text;
        void (AppDelegate::*show)();
    } items[] = {
        {"showPhoneScreenWindow", "Menu.Window.PhonePreview", &AppDelegate::showPhoneScreenWindow},
        {"showPadScreenWindow", "Menu.Window.PadPreview", &AppDelegate::showPadScreenWindow},
        {"showMessagesScreenWindow", "Menu.Window.MessagesPreview", &AppDelegate::showMessagesScreenWindow},
    };
    for (const auto& item : items) {
        QAction* action = menu->addAction(Texts::text(item.text));
        action->setObjectName(QString::fromLatin1(item.name));
        connect(action, &QAction::triggered, this, item.show);
    }
    return menu;
}

QMenu* AppDelegate::installHelpMenu(QMenuBar* menuBar)
{
    if (!menuBar)
        return nullptr;
    auto* menu = menuBar->findChild<QMenu*>(QStringLiteral("menuHelp"));
    if (!menu) {
        menu = menuBar->addMenu(Texts::text("Menu.Help"));
        menu->setObjectName(QStringLiteral("menuHelp"));
    }
    QAction* about = menu->addAction(Texts::text("Menu.Help.About"));
    about->setObjectName(QStringLiteral("showAboutWindow:"));
    about->setMenuRole(QAction::AboutRole);
    connect(about, &QAction::triggered, this, &AppDelegate::showAboutWindow);
    QAction* home = menu->addAction(Texts::text("Menu.Help.HomePage"));
    home->setObjectName(QStringLiteral("showHomePage:"));
    connect(home, &QAction::triggered, this, &AppDelegate::showHomePage);
    QAction* announcements = menu->addAction(Texts::text("Menu.Help.Announcements"));
    announcements->setObjectName(QStringLiteral("showAnnouncementsWindow"));
    connect(announcements, &QAction::triggered, this, &AppDelegate::showAnnouncementsWindow);
    addHelpMenuItems(menu);

    menu->addSeparator();
    QMenu* shareMenu = menu->addMenu(Texts::text("Menu.Share"));
    shareMenu->setObjectName(QStringLiteral("menuShare"));
    for (const ShareAction& share : kShareActions) {
        QAction* action = shareMenu->addAction(Texts::text(share.text));
        action->setObjectName(QString::fromLatin1(share.name));
        connect(action, &QAction::triggered, this, share.perform);
    }
    // Validated every time the menu opens, as the desktop may have changed meanwhile.
    auto validate = [this, shareMenu] {
        for (QAction* action : shareMenu->actions())
            action->setEnabled(validateMenuItem(action));
    };
    validate();
    connect(shareMenu, &QMenu::aboutToShow, this, validate);
    return menu;
}

void AppDelegate::share(const char* serviceName) const
{
    if (SharingService* service = SharingService::sharingServiceNamed(QString::fromLatin1(serviceName)))
        service->performWithItems(shareItems());
}

void AppDelegate::shareViaEmail()
{
    share(SharingService::ComposeEmail);
}

void AppDelegate::shareViaMessages()
{
    share(SharingService::ComposeMessage);
}

void AppDelegate::shareViaFacebook()
{
    share(SharingService::PostOnFacebook);
}

void AppDelegate::shareViaLinkedIn()
{
    share(SharingService::PostOnLinkedIn);
}

void AppDelegate::shareViaSinaWeibo()
{
    share(SharingService::PostOnSinaWeibo);
}

void AppDelegate::shareViaTencentWeibo()
{
    share(SharingService::PostOnTencentWeibo);
}

void AppDelegate::shareViaTwitter()
{
    share(SharingService::PostOnTwitter);
}

bool AppDelegate::validateMenuItem(const QAction* item) const
{
    const QString name = item ? item->objectName() : QString();
    for (const ShareAction& share : kShareActions) {
        if (name == QLatin1String(share.name)) {
            const SharingService* service =
                SharingService::sharingServiceNamed(QString::fromLatin1(share.service));
            return service && service->canPerformWithItems({});
        }
    }
    return true;
}

QVariantList AppDelegate::shareItems() const
{
    QVariantList items{
        Texts::text("Share.Text"),
        QImage(Bundle::pathForResource(QStringLiteral("images/ShareAppImage"), QStringLiteral("png")))};
    if (const std::optional<QUrl> url = appURL())
        items.append(*url);
    return items;
}

QString AppDelegate::homePageAddress()
{
    return QStringLiteral("https://velmora.co/iconfoundry/");
}

void AppDelegate::showHomePage()
{
    const QUrl url(homePageAddress(), QUrl::StrictMode);
    if (url.isValid())
        Workspace::shared().openURL(url);
}

void AppDelegate::showAboutWindow()
{
    if (!aboutWindowController_)
        aboutWindowController_ = std::make_unique<AboutWindowController>(versionString());
    aboutWindowController_->showWindow();
}

std::optional<QList<QUrl>> AppDelegate::logURLs() const
{
    if (!fileLogger_)
        return std::nullopt;
    QList<QUrl> urls;
    for (const std::string& path : fileLogger_->logFileManager()->sortedLogFilePaths()) {
        const QUrl url = QUrl::fromLocalFile(QString::fromStdString(path));
        if (url.isValid() && !path.empty())
            urls.append(url);
    }
    if (urls.isEmpty())
        return std::nullopt;
    return urls;
}

QString AppDelegate::versionString() const
{
    return versionString(Bundle::shortVersion(), Bundle::buildNumber());
}

QString AppDelegate::versionString(const QString& shortVersion, const QString& build)
{
    if (shortVersion.isEmpty())
        return {};
    if (build.isEmpty())
        return QStringLiteral("v%1").arg(shortVersion);
    return QStringLiteral("v%1 (%2)").arg(shortVersion, build);
}

MainWindowController* AppDelegate::mainWindowController()
{
    if (!mainWindowController_)
        mainWindowController_ = std::make_unique<MainWindowController>();
    return mainWindowController_.get();
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FileOpen && watched == QCoreApplication::instance()) {
        const auto* open = static_cast<QFileOpenEvent*>(event);
        const QString path = open->file().isEmpty() ? open->url().toLocalFile() : open->file();
        if (!path.isEmpty()) {
            applicationOpenFile(path);
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace iconfoundry
