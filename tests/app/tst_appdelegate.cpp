#include "app/appdelegate.h"
#include "app/editmenutrimmer.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "logging/consolelogger.h"
#include "logging/filelogger.h"
#include "logging/logfilemanagerdefault.h"
#include "logging/systemlogger.h"
#include "mainwindow/helper_capturinglogger.h"
#include "mainwindow/helper_scriptedalerts.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"
#include "platform/notificationcenter.h"
#include "platform/notificationcenterconstants.h"

#include <QApplication>
#include <QFileOpenEvent>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Builds a menu from a compact description: "-" is a separator, anything else an action with
// that object name.
QMenu* buildMenu(QMenuBar* bar, const QString& title, const QStringList& items)
{
    QMenu* menu = bar->addMenu(title);
    for (const QString& item : items) {
        if (item == QLatin1String("-"))
            menu->addSeparator();
        else
            menu->addAction(item)->setObjectName(item);
    }
    return menu;
}

QStringList describe(const QMenu* menu)
{
    QStringList items;
    for (const QAction* action : menu->actions())
        items.append(action->isSeparator() ? QStringLiteral("-") : action->objectName());
    return items;
}

QString writeImage(const QString& path, int side, QColor color)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(color);
    return image.save(path, "PNG") ? path : QString();
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
    void leavesOtherMenusAlone();
    void startsUpInOrder();
    void mirrorsTheSourceImageUntilTermination();
    void opensFiles_data();
    void opensFiles();
    void opensFilesHandedOverByTheDesktop();
    void opensTheSampleWithoutArguments();

private:
    QTemporaryDir dir_;
    std::unique_ptr<AppDelegate> delegate_;
};

void TestAppDelegate::initTestCase()
{
    QVERIFY(dir_.isValid());
    // Log files and settings of this run stay in the temporary folder.
    qputenv("XDG_STATE_HOME", QFile::encodeName(dir_.filePath(QStringLiteral("state"))));
    Defaults::setStandardUserDefaults(
        std::make_unique<Defaults>(dir_.filePath(QStringLiteral("settings.ini"))));
}

void TestAppDelegate::cleanupTestCase()
{
    if (delegate_)
        delegate_->applicationWillTerminate();
    delegate_.reset();
    Log::flushLog();
    Log::removeAllLoggers();
    Defaults::setStandardUserDefaults(nullptr);
}

void TestAppDelegate::trimsTheEditMenu_data()
{
    QTest::addColumn<QStringList>("items");
    QTest::addColumn<QStringList>("expected");

    const QString palette = QString::fromLatin1(EditMenuTrimmer::CharacterPaletteAction);
    const QString dictation = QString::fromLatin1(EditMenuTrimmer::DictationAction);
    const QStringList base{QStringLiteral("copy:"), QStringLiteral("paste:")};

    QTest::newRow("separator, dictation, palette: all three go")
        << base + QStringList{"-", dictation, palette} << base;
    QTest::newRow("dictation then separator: only the separator")
        << base + QStringList{dictation, "-"} << base + QStringList{dictation};
    QTest::newRow("palette alone") << base + QStringList{palette} << base;
    QTest::newRow("dictation alone") << base + QStringList{dictation} << base;
    QTest::newRow("separator alone") << base + QStringList{"-"} << base;
    QTest::newRow("two separators: one goes") << base + QStringList{"-", "-"} << base + QStringList{"-"};
    QTest::newRow("palette twice: one goes")
        << base + QStringList{palette, palette} << base + QStringList{palette};
    QTest::newRow("palette before dictation: only the palette checked first")
        << base + QStringList{palette, dictation} << base + QStringList{palette};
    QTest::newRow("palette in the middle stays")
        << QStringList{palette, "copy:"} << QStringList{palette, "copy:"};
    QTest::newRow("nothing to trim") << base << base;
    QTest::newRow("empty menu") << QStringList{} << QStringList{};
    QTest::newRow("only the three") << QStringList{"-", dictation, palette} << QStringList{};
    QTest::newRow("names without the colon are other actions")
        << base + QStringList{QStringLiteral("startDictation"), QStringLiteral("orderFrontCharacterPalette")}
        << base + QStringList{QStringLiteral("startDictation"), QStringLiteral("orderFrontCharacterPalette")};
}

void TestAppDelegate::trimsTheEditMenu()
{
    QFETCH(QStringList, items);
    QFETCH(QStringList, expected);

    QMenuBar bar;
    QMenu* file =
        buildMenu(&bar, QStringLiteral("&File"), {QStringLiteral("-"), QStringLiteral("startDictation:")});
    QMenu* edit = buildMenu(&bar, QStringLiteral("&Edit"), items);
    QCOMPARE(EditMenuTrimmer::editMenu(&bar), edit);

    EditMenuTrimmer::trimEditMenu(&bar);
    QCOMPARE(describe(edit), expected);
    QCOMPARE(describe(file), (QStringList{QStringLiteral("-"), QStringLiteral("startDictation:")}));
}

void TestAppDelegate::leavesOtherMenusAlone()
{
    QMenuBar bar;
    const QStringList items{QStringLiteral("-"), QStringLiteral("startDictation:"),
                            QStringLiteral("orderFrontCharacterPalette:")};
    QMenu* editing = buildMenu(&bar, QStringLiteral("Editing"), items);
    QMenu* literal = buildMenu(&bar, QStringLiteral("&&Edit"), items);
    QCOMPARE(EditMenuTrimmer::editMenu(&bar), nullptr);
    QCOMPARE(EditMenuTrimmer::trimEditMenu(&bar), 0);
    QCOMPARE(describe(editing), items);
    QCOMPARE(describe(literal), items);
    QCOMPARE(EditMenuTrimmer::trimEditMenu(nullptr), 0);
}

void TestAppDelegate::startsUpInOrder()
{
    ScopedAlertPresenter alerts;
    Log::removeAllLoggers();
    delegate_ = std::make_unique<AppDelegate>();
    QVERIFY(qApp->quitOnLastWindowClosed());
    delegate_->applicationDidFinishLaunching();

    const auto loggers = Log::allLoggers();
    QCOMPARE(loggers.size(), size_t(3));
    QVERIFY(std::dynamic_pointer_cast<SystemLogger>(loggers.at(0)));
    QVERIFY(std::dynamic_pointer_cast<ConsoleLogger>(loggers.at(1)));
    QCOMPARE(loggers.at(2), std::static_pointer_cast<Logger>(delegate_->fileLogger()));
    QCOMPARE(delegate_->fileLogger()->rollingFrequency(), 86400.0);
    QCOMPARE(delegate_->fileLogger()->maximumFileSize(), std::uint64_t(1048576));
    QCOMPARE(delegate_->fileLogger()->logFileManager()->maximumNumberOfLogFiles(), 7ul);
    QCOMPARE(delegate_->fileLogger()->logFileManager()->logFilesDiskQuota(), std::uint64_t(20971520));
    QCOMPARE(LogFileManagerDefault::applicationName(), std::string("co.velmora.IconFoundry"));

    MainWindowController* controller = delegate_->mainWindowController();
    QCOMPARE(delegate_->mainWindowController(), controller);
    QCOMPARE(controller->imageProcessor(), delegate_->imageProcessor());
    QCOMPARE(controller->contentsJSONProcessor(), delegate_->contentsJSONProcessor());
    QCOMPARE(delegate_->contentsJSONProcessor()->imageProcessor(), delegate_->imageProcessor());
    QVERIFY(controller->window()->isVisible());
    QVERIFY(alerts->alerts.isEmpty());
}

void TestAppDelegate::mirrorsTheSourceImageUntilTermination()
{
    QVERIFY(delegate_);
    const ImagePtr first = Image::fromQImage(QImage(4, 4, QImage::Format_ARGB32));
    NotificationCenter::defaultCenter().post(QString::fromLatin1(NewSourceImageNotification), first, nullptr);
    QCOMPARE(delegate_->sourceImage(), first);
    // Any sender counts.
    const ImagePtr second = Image::fromQImage(QImage(8, 8, QImage::Format_ARGB32));
    NotificationCenter::defaultCenter().post(QString::fromLatin1(NewSourceImageNotification), second, this);
    QCOMPARE(delegate_->sourceImage(), second);
    // Other notifications are not mirrored.
    NotificationCenter::defaultCenter().post(QStringLiteral("SomethingElse"), first, nullptr);
    QCOMPARE(delegate_->sourceImage(), second);
}

void TestAppDelegate::opensFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("decodes");
    QTest::newRow("an image") << QStringLiteral("blue.png") << true;
    QTest::newRow("a name that is not ASCII") << QStringLiteral("Ícone ✓.png") << true;
    QTest::newRow("not an image") << QStringLiteral("notes.png") << false;
    QTest::newRow("missing") << QStringLiteral("missing.png") << false;
}

void TestAppDelegate::opensFiles()
{
    QFETCH(QString, name);
    QFETCH(bool, decodes);
    QVERIFY(delegate_);
    ScopedAlertPresenter alerts;
    MainWindowController* controller = delegate_->mainWindowController();
    const QString before = writeImage(dir_.filePath(QStringLiteral("before.png")), 1024, Qt::red);
    QVERIFY(delegate_->applicationOpenFile(before));
    const ImagePtr previous = controller->sourceImage();

    const QString file = dir_.filePath(name);
    if (name == QLatin1String("notes.png")) {
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write("words") > 0);
    } else if (name != QLatin1String("missing.png")) {
        QVERIFY(!writeImage(file, 1024, Qt::blue).isEmpty());
    }

    QCOMPARE(delegate_->applicationOpenFile(file), decodes);
    if (decodes) {
        QVERIFY(controller->sourceImage() != previous);
        QCOMPARE(controller->sourceImage()->bitmap().pixelColor(0, 0), QColor(Qt::blue));
        QCOMPARE(delegate_->sourceImage(), controller->sourceImage());
    } else {
        QCOMPARE(controller->sourceImage(), previous);
    }
    // A file handed over is loaded and watched, not recorded as the opened document.
    QVERIFY(controller->currentImageFileURL().isEmpty());
    QVERIFY(alerts->alerts.isEmpty());
}

void TestAppDelegate::opensFilesHandedOverByTheDesktop()
{
    QVERIFY(delegate_);
    const QString file = writeImage(dir_.filePath(QStringLiteral("handed over.png")), 1024, Qt::green);
    QFileOpenEvent event(file);
    QCoreApplication::sendEvent(qApp, &event);
    QCOMPARE(delegate_->sourceImage()->bitmap().pixelColor(0, 0), QColor(Qt::green));
}

void TestAppDelegate::opensTheSampleWithoutArguments()
{
    QVERIFY(delegate_);
    ScopedAlertPresenter alerts;
    MainWindowController* controller = delegate_->mainWindowController();
    controller->newDocument();

    QVERIFY(delegate_->openInitialDocument({QStringLiteral("iconfoundry")}));
    QVERIFY(controller->hasImage());
    QCOMPARE(controller->sourceImage()->pixelSize(), QSize(1024, 1024));
    QVERIFY(alerts->alerts.isEmpty());

    // A file argument wins over the sample; options are skipped.
    const QString file = writeImage(dir_.filePath(QStringLiteral("argument.png")), 1024, Qt::cyan);
    QVERIFY(
        delegate_->openInitialDocument({QStringLiteral("iconfoundry"), QStringLiteral("--verbose"), file}));
    QCOMPARE(controller->sourceImage()->bitmap().pixelColor(0, 0), QColor(Qt::cyan));
    QVERIFY(!delegate_->openInitialDocument(
        {QStringLiteral("iconfoundry"), dir_.filePath(QStringLiteral("nope.png"))}));
    QCOMPARE(controller->sourceImage()->bitmap().pixelColor(0, 0), QColor(Qt::cyan));
}

QTEST_MAIN(TestAppDelegate)
#include "tst_appdelegate.moc"
