#include "app/appdelegate.h"

#include "app/editmenutrimmer.h"
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

#include <QApplication>
#include <QFileInfo>
#include <QFileOpenEvent>
#include <QMainWindow>
#include <QMenuBar>
#include <QUrl>

namespace iconfoundry {

namespace {

constexpr double kLogRollingFrequencySeconds = 86400; // one file per day
constexpr unsigned long kMaximumNumberOfLogFiles = 7; // a week of logs

} // namespace

AppDelegate::AppDelegate(QObject* parent) : QObject(parent)
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
    Log::addLogger(SystemLogger::sharedInstance());
    Log::addLogger(ConsoleLogger::sharedInstance());
    LogFileManagerDefault::setApplicationName(Bundle::bundleIdentifier().toStdString());
    auto logFileManager = std::make_shared<LogFileManagerDefault>();
    fileLogger_ = std::make_shared<FileLogger>(logFileManager);
    fileLogger_->setRollingFrequency(kLogRollingFrequencySeconds);
    logFileManager->setMaximumNumberOfLogFiles(kMaximumNumberOfLogFiles);
    Log::addLogger(fileLogger_);

    // The announcement service is created here, between the loggers and the processors, once
    // announcements are part of the application.

    // The processors. The catalogue loads on first use, so start-up does not wait for it.
    contentsJSONProcessor_ = std::make_unique<ContentsJSONProcessor>();
    imageProcessor_ = std::make_unique<ImageProcessor>();
    contentsJSONProcessor_->setImageProcessor(imageProcessor_.get());

    // The main window.
    MainWindowController* controller = mainWindowController();
    controller->setContentsJSONProcessor(contentsJSONProcessor_.get());
    controller->setImageProcessor(imageProcessor_.get());
    controller->showWindow();

    // The Edit menu.
    EditMenuTrimmer::trimEditMenu(controller->window()->menuBar());

    // Mirror every accepted source image.
    SourceImageNotificationCenter::defaultCenter().addObserver(
        this, [this](const ImagePtr& image) { newSourceImage(image); });

    // The launch announcement check starts here, without being waited for, once announcements
    // are part of the application.
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
