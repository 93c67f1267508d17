#include "app/appdelegate.h"
#include "app/editmenutrimmer.h"
#include "common/testsupport.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/sourceimagenotificationcenter.h"
#include "logging/consolelogger.h"
#include "logging/filelogger.h"
#include "logging/log.h"
#include "logging/logfilemanagerdefault.h"
#include "logging/systemlogger.h"
#include "mainwindow/helper_scriptedalerts.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"

#include <QAction>
#include <QApplication>
#include <QFileOpenEvent>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTemporaryDir>
#include <QTest>
#include <unistd.h>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

// Menus in a compact description: "-" is a separator, D the dictation item, P the character
// palette item, any other word an action of that name.
QMenu* buildMenu(QMenuBar* bar, const QString& title, const QString& items)
{
    QMenu* menu = bar->addMenu(title);
    for (const QString& item : items.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QString name = item == QLatin1String("D")   ? QStringLiteral("startDictation:")
                             : item == QLatin1String("P") ? QStringLiteral("orderFrontCharacterPalette:")
                                                          : item;
        QAction* action = menu->addAction(name);
        action->setObjectName(name);
        action->setSeparator(item == QLatin1String("-"));
    }
    return menu;
}

QString describe(const QMenu* menu)
{
    QStringList items;
    for (const QAction* action : menu->actions())
        items.append(action->isSeparator() ? QStringLiteral("-") : action->objectName());
    return items.join(QLatin1Char(' '))
        .replace(QLatin1String("startDictation:"), QLatin1String("D"))
        .replace(QLatin1String("orderFrontCharacterPalette:"), QLatin1String("P"));
}

} // namespace

class TestAppDelegate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void trimsTheEditMenu_data();
    void trimsTheEditMenu();
    void startsUpInOrder();
    void opensFiles_data();
    void opensFiles();
    void announcementsThatCannotBeShown_data();
    void announcementsThatCannotBeShown();

private:
    // A delegate after launch, made by the first test that needs one.
    AppDelegate* launchedDelegate();

    QTemporaryDir dir_;
    std::optional<ScopedEnvironmentVariable> stateHome_;
    std::shared_ptr<RecordingLogger> systemLog_ = std::make_shared<RecordingLogger>();
    std::unique_ptr<AppDelegate> delegate_;
};

void TestAppDelegate::initTestCase()
{
    QVERIFY(dir_.isValid());
    // Log files and settings of this run stay in the temporary folder.
    stateHome_.emplace("XDG_STATE_HOME", QFile::encodeName(dir_.filePath(QStringLiteral("state"))));
    Defaults::setStandardUserDefaults(
        std::make_unique<Defaults>(dir_.filePath(QStringLiteral("settings.ini"))));
}

void TestAppDelegate::cleanupTestCase()
{
    if (delegate_) {
        // After termination the delegate no longer follows the source image.
        const ImagePtr kept = delegate_->sourceImage();
        delegate_->applicationWillTerminate();
        SourceImageNotificationCenter::defaultCenter().post(
            Image::fromQImage(QImage(4, 4, QImage::Format_ARGB32)));
        QCOMPARE(delegate_->sourceImage(), kept);
    }
    delegate_.reset();
    Log::flushLog();
    Log::removeAllLoggers();
    Defaults::setStandardUserDefaults(nullptr);
    stateHome_.reset();
}

AppDelegate* TestAppDelegate::launchedDelegate()
{
    if (!delegate_) {
        Log::removeAllLoggers();
        delegate_ = std::make_unique<AppDelegate>();
        delegate_->setSystemLogger(systemLog_);
        delegate_->applicationDidFinishLaunching();
    }
    return delegate_.get();
}

void TestAppDelegate::trimsTheEditMenu_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("change"); // "items before => items after"

    const QString edit = QStringLiteral("&Edit");
    QTest::newRow("separator, dictation, palette: all three go")
        << edit << "copy: paste: - D P => copy: paste:";
    QTest::newRow("title without a mnemonic") << QStringLiteral("Edit") << "copy: - D P => copy:";
    QTest::newRow("dictation then separator: only the separator") << edit << "copy: D - => copy: D";
    QTest::newRow("dictation alone") << edit << "copy: D => copy:";
    QTest::newRow("two separators: one goes") << edit << "copy: - - => copy: -";
    QTest::newRow("palette twice: one goes") << edit << "copy: P P => copy: P";
    QTest::newRow("palette before dictation: only the palette checked first")
        << edit << "copy: P D => copy: P";
    QTest::newRow("palette in the middle stays") << edit << "P copy: => P copy:";
    QTest::newRow("empty menu") << edit << " => ";
    QTest::newRow("names without the colon are other actions")
        << edit
        << "copy: startDictation orderFrontCharacterPalette => copy: startDictation "
           "orderFrontCharacterPalette";
    QTest::newRow("Editing is not the Edit menu")
        << QStringLiteral("Editing") << "copy: - D P => copy: - D P";
    QTest::newRow("a literal ampersand is not the Edit menu") << QStringLiteral("&&Edit") << "- D P => - D P";
}

void TestAppDelegate::trimsTheEditMenu()
{
    QFETCH(QString, title);
    QFETCH(QString, change);
    const QString before = change.section(QStringLiteral(" => "), 0, 0);
    const QString after = change.section(QStringLiteral(" => "), 1, 1);

    QMenuBar bar;
    QMenu* file = buildMenu(&bar, QStringLiteral("&File"), QStringLiteral("- D"));
    QMenu* menu = buildMenu(&bar, title, before);
    const bool isEdit = title == QLatin1String("&Edit") || title == QLatin1String("Edit");
    QCOMPARE(EditMenuTrimmer::editMenu(&bar), isEdit ? menu : nullptr);

    EditMenuTrimmer::trimEditMenu(&bar);
    QCOMPARE(describe(menu), after);
    QCOMPARE(describe(file), QStringLiteral("- D"));
    QCOMPARE(EditMenuTrimmer::trimEditMenu(nullptr), 0);
}

void TestAppDelegate::startsUpInOrder()
{
    ScopedAlertPresenter alerts;
    // Unless told otherwise the delegate logs to the system log.
    QCOMPARE(AppDelegate().systemLogger(), std::static_pointer_cast<Logger>(SystemLogger::sharedInstance()));
    delegate_.reset();
    launchedDelegate();
    QVERIFY(qApp->quitOnLastWindowClosed());

    const auto loggers = Log::allLoggers();
    QCOMPARE(loggers.size(), size_t(3));
    QCOMPARE(loggers.at(0), std::static_pointer_cast<Logger>(systemLog_));
    QVERIFY(std::dynamic_pointer_cast<ConsoleLogger>(loggers.at(1)));
    const auto fileLogger = delegate_->fileLogger();
    QCOMPARE(loggers.at(2), std::static_pointer_cast<Logger>(fileLogger));
    QCOMPARE(fileLogger->rollingFrequency(), 86400.0);
    QCOMPARE(fileLogger->maximumFileSize(), std::uint64_t(1048576));
    QCOMPARE(fileLogger->logFileManager()->maximumNumberOfLogFiles(), 7ul);
    QCOMPARE(fileLogger->logFileManager()->logFilesDiskQuota(), std::uint64_t(20971520));
    QCOMPARE(LogFileManagerDefault::applicationName(), std::string("co.velmora.IconFoundry"));

    MainWindowController* controller = delegate_->mainWindowController();
    QCOMPARE(controller->imageProcessor(), delegate_->imageProcessor());
    QCOMPARE(controller->contentsJSONProcessor(), delegate_->contentsJSONProcessor());
    QCOMPARE(delegate_->contentsJSONProcessor()->imageProcessor(), delegate_->imageProcessor());
    QVERIFY(controller->window()->isVisible());
    QVERIFY(alerts->alerts.isEmpty());
}

void TestAppDelegate::opensFiles_data()
{
    QTest::addColumn<QString>("how"); // open: asked by name; desktop: a file-open event; argument
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("decodes");
    QTest::newRow("an image") << "open" << QStringLiteral("blue.png") << true;
    QTest::newRow("a name that is not ASCII") << "open" << QStringLiteral("Ícone ✓.png") << true;
    QTest::newRow("not an image") << "open" << QStringLiteral("not-an-image.png") << false;
    QTest::newRow("missing") << "open" << QStringLiteral("missing.png") << false;
    QTest::newRow("handed over by the desktop") << "desktop" << QStringLiteral("handed over.png") << true;
    QTest::newRow("not an image, from the desktop")
        << "desktop" << QStringLiteral("not-an-image.png") << false;
    QTest::newRow("argument after an option") << "argument" << QStringLiteral("argument.png") << true;
    QTest::newRow("missing argument") << "argument" << QStringLiteral("nope.png") << false;
    // With no file named the window stays as it is: empty on a first start.
    QTest::newRow("no file argument: nothing opened") << "argument" << QString() << false;
}

void TestAppDelegate::opensFiles()
{
    QFETCH(QString, how);
    QFETCH(QString, name);
    QFETCH(bool, decodes);
    ScopedAlertPresenter alerts;
    MainWindowController* controller = launchedDelegate()->mainWindowController();
    QVERIFY(
        delegate_->applicationOpenFile(writeImage(dir_.filePath(QStringLiteral("before.png")), 1024, 1024)));
    const ImagePtr previous = controller->sourceImage();
    const QString file = name.isEmpty() ? name
                         : decodes      ? writeImage(dir_.filePath(name), 1024, 1024, Qt::blue)
                                        : testData(name);

    if (how == QLatin1String("desktop")) {
        QFileOpenEvent event(file);
        QVERIFY(QCoreApplication::sendEvent(qApp, &event));
    } else if (how == QLatin1String("argument")) {
        QCOMPARE(delegate_->openInitialDocument(
                     {QStringLiteral("iconfoundry"), QStringLiteral("--verbose"), file}),
                 decodes);
    } else {
        QCOMPARE(delegate_->applicationOpenFile(file), decodes);
    }
    QCOMPARE(controller->sourceImage() != previous, decodes);
    if (!name.isEmpty())
        QCOMPARE(colorOf(controller->sourceImage()), decodes ? QColor(Qt::blue) : QColor(Qt::red));
    QCOMPARE(delegate_->sourceImage(), controller->sourceImage());
    // A file handed over is loaded and watched, not recorded as the opened document.
    QVERIFY(controller->currentImageFileURL().isEmpty());
    QVERIFY(alerts->alerts.isEmpty());
}

void TestAppDelegate::announcementsThatCannotBeShown_data()
{
    QTest::addColumn<bool>("asRoot");
    QTest::addColumn<QString>("because");
    // As root the engine would end the process: the module is not even loaded.
    QTest::newRow("root, sandbox not turned off") << true << QStringLiteral("does not run for the root user");
    QTest::newRow("module missing") << false << QStringLiteral("no-such-module.so");
}

void TestAppDelegate::announcementsThatCannotBeShown()
{
    QFETCH(bool, asRoot);
    QFETCH(QString, because);
    if (asRoot && geteuid() != 0)
        QSKIP("needs to run as root");
    ScopedAlertPresenter alerts;
    ScopedEnvironmentVariable module("ICONFOUNDRY_ANNOUNCEMENTS_MODULE",
                                     QFile::encodeName(dir_.filePath(QStringLiteral("no-such-module.so"))));
    ScopedEnvironmentVariable sandbox("QTWEBENGINE_DISABLE_SANDBOX",
                                      asRoot ? std::nullopt : std::optional(QByteArray("1")));
    QMenuBar* menuBar = launchedDelegate()->mainWindowController()->window()->menuBar();
    auto* action = menuBar->findChild<QAction*>(QStringLiteral("showAnnouncementsWindow"));
    QVERIFY(action);
    action->trigger();
    QCOMPARE(alerts->alerts.size(), 1);
    QCOMPARE(alerts->alerts.first().messageText, QStringLiteral("Announcements cannot be shown."));
    QVERIFY2(alerts->alerts.first().informativeText.contains(because),
             qPrintable(alerts->alerts.first().informativeText));
    QVERIFY(!delegate_->announcementWindows());
}

QTEST_MAIN(TestAppDelegate)
#include "tst_appdelegate.moc"
