#include "common/testsupport.h"
#include "helper_iconcatalogue.h"
#include "helper_scriptedalerts.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "mainwindow/mainwindowcontroller.h"
#include "mainwindow/platformsetsbox.h"
#include "platform/defaults.h"

#include <QAction>
#include <QCheckBox>
#include <QDirIterator>
#include <QImageReader>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QPainter>
#include <QSettings>
#include <QSpinBox>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using iconfoundry::test::readFile;

namespace {

const QString kFilesExist = QStringLiteral("Some icon files already exist.");
const int kReplace = Alert::FirstButtonReturn;
const int kCancel = Alert::SecondButtonReturn;

// Every file under folder, by its path from there, sorted.
QStringList filesUnder(const QString& folder)
{
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(QDir(folder).relativeFilePath(it.next()));
    files.sort();
    return files;
}

// Path -> bytes of every file under folder.
QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> bytes;
    for (const QString& name : filesUnder(folder))
        bytes.insert(name, readFile(QDir(folder).filePath(name)));
    return bytes;
}

// 1024 x 1024 pixels, transparent but for an opaque red square of 512 in the middle.
QString writeFramedSquare(const QString& path)
{
    QImage image(1024, 1024, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter(&image).fillRect(256, 256, 512, 512, Qt::red);
    image.setDotsPerMeterX(2835);
    image.setDotsPerMeterY(2835);
    return image.save(path, "PNG") ? path : QString();
}

// The smallest rectangle holding every pixel whose alpha is above 0.
QRect visibleBounds(const QImage& image)
{
    QRect bounds;
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < argb.height(); ++y)
        for (int x = 0; x < argb.width(); ++x)
            if (qAlpha(argb.pixel(x, y)) > 0)
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

} // namespace

// Save Android Icons and Save Web Icons in the window, driven headless through the panel and
// alert seams.
class TestPlatformSaves : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void menuCommands();
    void saves_data();
    void saves();
    void webManifestMergedWithTheWindowsBackground();
    void saveAsWritesEverySet();
    void replaceQuestionListsEverySet_data();
    void replaceQuestionListsEverySet();
    void paddingAndTrim_data();
    void paddingAndTrim();
    void choicePersists_data();
    void choicePersists();
    void storedPadding_data();
    void storedPadding();
    void saveToXcodeStaysApple();

private:
    QString path(const QString& name) const { return dir_->filePath(name); }
    // Chooses folder in the panel, answers the alerts and waits for every write to end.
    QList<Alert> save(QAction* action, const QString& folder, const QList<int>& answers)
    {
        ScopedAlertPresenter alerts;
        alerts->answers = answers;
        ScopedPanelPresenter panel;
        panel->response = OpenPanelOptions::OKResponse;
        panel->urls = {QUrl::fromLocalFile(folder)};
        controller_->validateMenuItems(); // as the File menu does when it opens
        action->trigger();
        if (!QTest::qWaitFor([&] { return !controller_->isWriting(); }, 20000))
            qWarning("the write did not end");
        panelTitles_.append(panel->begun.value(0).title);
        return alerts->alerts;
    }

    void tick(bool android, bool web)
    {
        controller_->platformSetsBox()->androidBox()->setChecked(android);
        controller_->platformSetsBox()->webBox()->setChecked(web);
    }
    // Opens a 1024 px image of one colour.
    void open(const char* name, QColor colour)
    {
        QVERIFY(controller_->openDocumentWithContentsOfURL(
            QUrl::fromLocalFile(writeImage(path(name), 1024, 1024, colour))));
    }

    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    ImageProcessor processor_;
    ContentsJSONProcessor json_{&processor_};
    std::unique_ptr<MainWindowController> controller_;
    QStringList panelTitles_;
};

void TestPlatformSaves::init()
{
    controller_.reset();
    panelTitles_.clear();
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    processor_.setAllImageCategories(iconCatalogueCategories());
    processor_.setAllImageSizes(iconCatalogueSizes());
    controller_ = std::make_unique<MainWindowController>(defaults_.get());
    controller_->setImageProcessor(&processor_);
    controller_->setContentsJSONProcessor(&json_);
    controller_->window();
}

void TestPlatformSaves::menuCommands()
{
    const QList<QAction*> actions = controller_->fileMenu()->actions();
    const qsizetype xcode = actions.indexOf(controller_->saveDocumentToXcodeAction());
    QVERIFY(xcode >= 0);
    QCOMPARE(actions.value(xcode + 1), controller_->saveAndroidIconsAction());
    QCOMPARE(actions.value(xcode + 2), controller_->saveWebIconsAction());
    QCOMPARE(controller_->saveAndroidIconsAction()->text(), QStringLiteral("Save An&droid Icons…"));
    QCOMPARE(controller_->saveWebIconsAction()->text(), QStringLiteral("Save &Web Icons…"));
    controller_->validateMenuItems();
    QVERIFY(!controller_->saveAndroidIconsAction()->isEnabled()); // no image yet
    const QString image = writeImage(path("source.png"), 1024, 1024, Qt::green);
    QVERIFY(controller_->openDocumentWithContentsOfURL(QUrl::fromLocalFile(image)));
    controller_->validateMenuItems();
    QVERIFY(controller_->saveAndroidIconsAction()->isEnabled());
    QVERIFY(controller_->saveWebIconsAction()->isEnabled());
}

void TestPlatformSaves::saves_data()
{
    QTest::addColumn<bool>("android");
    QTest::addColumn<QString>("probe"); // a file of the set, and its side
    QTest::addColumn<int>("side");
    QTest::addColumn<qsizetype>("files");

    QTest::newRow("Android") << true << "mipmap-xxxhdpi/ic_launcher_foreground.png" << 432 << qsizetype(24);
    QTest::newRow("web") << false << "icon-512-maskable.png" << 512 << qsizetype(7);
}

// A first save asks nothing; the same image again changes nothing and asks nothing; a new image
// asks before replacing, and Cancel keeps the files.
void TestPlatformSaves::saves()
{
    QFETCH(bool, android);
    QFETCH(QString, probe);
    QFETCH(int, side);
    QFETCH(qsizetype, files);

    QVERIFY(controller_->openDocumentWithContentsOfURL(
        QUrl::fromLocalFile(writeImage(path("green.png"), 1024, 1024, Qt::green))));
    const QString out = path("out");
    QAction* action = android ? controller_->saveAndroidIconsAction() : controller_->saveWebIconsAction();

    QCOMPARE(messages(save(action, out, {})), QStringList{});
    QCOMPARE(panelTitles_.last(), android ? QStringLiteral("Choose the res Folder of Your Android App")
                                          : QStringLiteral("Choose the Folder of Your Web App's Manifest"));
    QCOMPARE(QImageReader(QDir(out).filePath(probe)).size(), QSize(side, side));
    QCOMPARE(controller_->window()->statusBar()->currentMessage(),
             QStringLiteral("Saved %1 icon files to %2.").arg(files).arg(out));
    const QByteArray first = readFile(QDir(out).filePath(probe));

    QCOMPARE(messages(save(action, out, {})), QStringList{});
    QCOMPARE(readFile(QDir(out).filePath(probe)), first);

    QVERIFY(controller_->openDocumentWithContentsOfURL(
        QUrl::fromLocalFile(writeImage(path("blue.png"), 1024, 1024, Qt::blue))));
    const QList<Alert> cancelled = save(action, out, {kCancel});
    QCOMPARE(messages(cancelled), QStringList{kFilesExist});
    QVERIFY(cancelled.first().informativeText.contains(QStringLiteral("\u2022") + probe + "\n"));
    QCOMPARE(readFile(QDir(out).filePath(probe)), first);

    QCOMPARE(messages(save(action, out, {kReplace})), QStringList{kFilesExist});
    QVERIFY(readFile(QDir(out).filePath(probe)) != first);
    QCOMPARE(QImageReader(QDir(out).filePath(probe)).size(), QSize(side, side));
}

void TestPlatformSaves::webManifestMergedWithTheWindowsBackground()
{
    QVERIFY(controller_->openDocumentWithContentsOfURL(
        QUrl::fromLocalFile(writeImage(path("green.png"), 1024, 1024, Qt::green))));
    controller_->setBackgroundColour(QColor(200, 0, 100));
    const QString out = path("site");
    QVERIFY(QDir().mkpath(out));
    QFile manifest(QDir(out).filePath("manifest.json"));
    QVERIFY(manifest.open(QIODevice::WriteOnly) && manifest.write("{\"name\": \"Site\"}") > 0);
    manifest.close();

    QCOMPARE(messages(save(controller_->saveWebIconsAction(), out, {})), QStringList{});
    const QByteArray merged = readFile(QDir(out).filePath("manifest.json"));
    QVERIFY2(merged.startsWith("{\"name\": \"Site\",\n  \"icons\": [\n"), merged.constData());
    QVERIFY(!QFile::exists(QDir(out).filePath("manifest.webmanifest")));
    const QImage maskable(QDir(out).filePath("icon-192-maskable.png"));
    QCOMPARE(maskable.pixelColor(0, 0), QColor(200, 0, 100));
}

// Save As with Android and Web ticked: the Apple files in the folder, the Android set in
// android/res with its Play Store icon beside res, the web set in web; Save then repeats all.
void TestPlatformSaves::saveAsWritesEverySet()
{
    open("green.png", Qt::green);
    controller_->setSelectedImageCategores(categoriesWithIds({101}));
    tick(true, true);
    QCOMPARE(controller_->filesCountLabel()->text(), QStringLiteral("The ticked sets write 33 files."));
    const QString out = path("out");

    QVERIFY(QDir().mkpath(out)); // as the folder panel leaves it
    QCOMPARE(messages(save(controller_->saveDocumentAsAction(), out, {})), QStringList{});
    QStringList expected{"Icon-20@2x.png",
                         "Icon-60@3x.png",
                         "android/ic_launcher-playstore.png",
                         "android/res/mipmap-anydpi-v26/ic_launcher.xml",
                         "android/res/mipmap-anydpi-v26/ic_launcher_round.xml",
                         "android/res/values/ic_launcher_background.xml",
                         "web/apple-touch-icon.png",
                         "web/favicon.ico",
                         "web/icon-192-maskable.png",
                         "web/icon-192.png",
                         "web/icon-512-maskable.png",
                         "web/icon-512.png",
                         "web/manifest.webmanifest"};
    for (const char* density : {"mdpi", "hdpi", "xhdpi", "xxhdpi", "xxxhdpi"})
        for (const char* name :
             {"ic_launcher", "ic_launcher_round", "ic_launcher_foreground", "ic_launcher_monochrome"})
            expected.append(QStringLiteral("android/res/mipmap-%1/%2.png").arg(density, name));
    expected.sort();
    QCOMPARE(filesUnder(out), expected);
    const QList<std::pair<const char*, int>> sides{
        {"Icon-60@3x.png", 180},
        {"android/ic_launcher-playstore.png", 512},
        {"android/res/mipmap-mdpi/ic_launcher.png", 48},
        {"android/res/mipmap-hdpi/ic_launcher_round.png", 72},
        {"android/res/mipmap-xxhdpi/ic_launcher_foreground.png", 324},
        {"android/res/mipmap-xxxhdpi/ic_launcher_monochrome.png", 432},
        {"web/apple-touch-icon.png", 180},
        {"web/icon-192-maskable.png", 192}};
    for (const auto& [name, side] : sides)
        QCOMPARE(QImageReader(QDir(out).filePath(name)).size(), QSize(side, side));
    const QByteArray manifest = readFile(QDir(out).filePath("web/manifest.webmanifest"));
    QVERIFY2(manifest.contains("\"src\": \"icon-512-maskable.png\""), manifest.constData());
    QCOMPARE(controller_->window()->statusBar()->currentMessage(),
             QStringLiteral("Saved 33 icon files to %1.").arg(out));

    // Save writes every set again, without a question.
    const QByteArray green = readFile(QDir(out).filePath("android/ic_launcher-playstore.png"));
    open("blue.png", Qt::blue);
    QCOMPARE(messages(save(controller_->saveDocumentAction(), out, {})), QStringList{});
    QVERIFY(readFile(QDir(out).filePath("android/ic_launcher-playstore.png")) != green);
    QCOMPARE(QImage(QDir(out).filePath("web/icon-192.png")).pixelColor(96, 96), QColor(Qt::blue));
    QCOMPARE(filesUnder(out), expected);
}

void TestPlatformSaves::replaceQuestionListsEverySet_data()
{
    QTest::addColumn<bool>("savedBefore"); // the same sets from another image; else one foreign favicon
    QTest::addColumn<QStringList>("listed");
    QTest::addColumn<int>("count");

    // The monochrome layers of an opaque image are plain squares whatever its colour, the XML
    // stays the same and the manifest is merged: none of them is asked about.
    QTest::newRow("every set there") << true
                                     << QStringList{"Icon-20@2x.png",
                                                    "android/res/mipmap-mdpi/ic_launcher.png",
                                                    "android/res/mipmap-xxxhdpi/ic_launcher_foreground.png",
                                                    "android/ic_launcher-playstore.png",
                                                    "web/favicon.ico",
                                                    "web/icon-512-maskable.png"}
                                     << 2 + 16 + 6;
    QTest::newRow("a favicon there") << false << QStringList{"web/favicon.ico"} << 1;
}

// One question for all sets before anything is written; Cancel leaves the folder as it was.
void TestPlatformSaves::replaceQuestionListsEverySet()
{
    QFETCH(bool, savedBefore);
    QFETCH(QStringList, listed);
    QFETCH(int, count);

    controller_->setSelectedImageCategores(categoriesWithIds({101}));
    tick(true, true);
    const QString out = path("out");
    QVERIFY(QDir().mkpath(out)); // as the folder panel leaves it
    if (savedBefore) {
        open("green.png", Qt::green);
        QCOMPARE(messages(save(controller_->saveDocumentAsAction(), out, {})), QStringList{});
    } else {
        QVERIFY(QDir().mkpath(out + "/web"));
        QFile favicon(out + "/web/favicon.ico");
        QVERIFY(favicon.open(QIODevice::WriteOnly) && favicon.write("not ours") == 8);
    }
    const QMap<QString, QByteArray> before = snapshot(out);
    open("blue.png", Qt::blue);

    const QList<Alert> cancelled = save(controller_->saveDocumentAsAction(), out, {kCancel});
    QCOMPARE(messages(cancelled), QStringList{kFilesExist});
    const QString text = cancelled.first().informativeText;
    QCOMPARE(text.count(QStringLiteral("\u2022")), count);
    for (const QString& name : listed)
        QVERIFY2(text.contains(QStringLiteral("\u2022") + name + "\n"), qPrintable(name + " in " + text));
    QVERIFY(!text.contains(QStringLiteral("manifest")));
    QCOMPARE(snapshot(out), before);
}

void TestPlatformSaves::paddingAndTrim_data()
{
    QTest::addColumn<bool>("saveAs"); // else Save Android Icons
    QTest::addColumn<int>("padding");
    QTest::addColumn<bool>("trim");
    QTest::addColumn<QRect>("bounds"); // of the visible pixels of the 432 px foreground

    // The source's square reaches 256 * sqrt(2) = 362 px from its centre, the canvas' 72 dp square
    // is 288 px and its 66 dp circle 264 px wide. Whole source: the square limits it to 288 px
    // (scale 0.28125), the red part is 144 px; 20 % padding (86.4 px) leaves 115.2, rounded to an
    // even margin: 114 px, red from 28.5 to 85.5. Trimmed: the circle limits the red square to
    // 132 / 362 * 512 = 186 px; with padding (132 - 86.4) / 362 * 512 = 64 px.
    QTest::newRow("save as, whole") << true << 0 << false << QRect(QPoint(144, 144), QPoint(287, 287));
    QTest::newRow("save as, whole, 20%") << true << 20 << false << QRect(QPoint(187, 187), QPoint(244, 244));
    QTest::newRow("save as, trimmed") << true << 0 << true << QRect(QPoint(123, 123), QPoint(308, 308));
    QTest::newRow("save as, trimmed, 20%") << true << 20 << true << QRect(QPoint(184, 184), QPoint(247, 247));
    QTest::newRow("menu, whole, 20%") << false << 20 << false << QRect(QPoint(187, 187), QPoint(244, 244));
    QTest::newRow("menu, trimmed") << false << 0 << true << QRect(QPoint(123, 123), QPoint(308, 308));
}

void TestPlatformSaves::paddingAndTrim()
{
    QFETCH(bool, saveAs);
    QFETCH(int, padding);
    QFETCH(bool, trim);
    QFETCH(QRect, bounds);

    QVERIFY(controller_->openDocumentWithContentsOfURL(
        QUrl::fromLocalFile(writeFramedSquare(path("square.png")))));
    controller_->setSelectedImageCategores({});
    tick(saveAs, false);
    PlatformSetsBox* box = controller_->platformSetsBox();
    QCOMPARE(box->paddingBox()->isEnabled(), saveAs);
    box->paddingBox()->setValue(padding);
    box->trimBox()->setChecked(trim);
    const QString out = path("out");
    QCOMPARE(
        messages(save(saveAs ? controller_->saveDocumentAsAction() : controller_->saveAndroidIconsAction(),
                      out, {})),
        QStringList{});
    const QString foreground =
        QDir(out).filePath(saveAs ? "android/res/mipmap-xxxhdpi/ic_launcher_foreground.png"
                                  : "mipmap-xxxhdpi/ic_launcher_foreground.png");
    const QImage image(foreground);
    QCOMPARE(image.size(), QSize(432, 432));
    QCOMPARE(visibleBounds(image), bounds);

    // Kept for the next launch.
    Defaults stored(path(QStringLiteral("settings.ini")));
    QCOMPARE(stored.platformIconPadding(), padding);
    QCOMPARE(stored.platformIconTrim(), trim);
}

void TestPlatformSaves::choicePersists_data()
{
    QTest::addColumn<bool>("android");
    QTest::addColumn<bool>("web");
    QTest::addColumn<int>("padding");
    QTest::addColumn<bool>("trim");
    QTest::addColumn<QString>("count"); // with iPhone and iPad ticked: 3 Apple files

    QTest::newRow("Android") << true << false << 10 << false << "The ticked sets write 27 files.";
    QTest::newRow("Web") << false << true << 0 << true << "The ticked sets write 10 files.";
    QTest::newRow("both") << true << true << 40 << true << "The ticked sets write 34 files.";
    QTest::newRow("neither") << false << false << 5 << true << "The ticked sets write 3 files.";
}

// The group's choice is stored as it changes and comes back in the next window; its options are
// usable only while one of its sets is ticked.
void TestPlatformSaves::choicePersists()
{
    QFETCH(bool, android);
    QFETCH(bool, web);
    QFETCH(int, padding);
    QFETCH(bool, trim);
    QFETCH(QString, count);

    controller_->setSelectedImageCategores(categoriesWithIds({101, 111}));
    PlatformSetsBox* box = controller_->platformSetsBox();
    // Each value set from its opposite, so that every change is a real one.
    box->setChoice({!android, !web, 40 - padding, !trim});
    box->paddingBox()->setValue(padding);
    box->trimBox()->setChecked(trim);
    tick(android, web);
    QCOMPARE(controller_->filesCountLabel()->text(), count);

    controller_ = std::make_unique<MainWindowController>(defaults_.get());
    controller_->setImageProcessor(&processor_);
    box = controller_->platformSetsBox();
    QCOMPARE(box->androidBox()->isChecked(), android);
    QCOMPARE(box->webBox()->isChecked(), web);
    QCOMPARE(box->paddingBox()->value(), padding);
    QCOMPARE(box->trimBox()->isChecked(), trim);
    QCOMPARE(box->paddingBox()->isEnabled(), android || web);
    QCOMPARE(box->trimBox()->isEnabled(), android || web);
}

void TestPlatformSaves::storedPadding_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<int>("shown");

    QTest::newRow("in range") << QVariant(12) << 12;
    QTest::newRow("the largest") << QVariant(40) << 40;
    QTest::newRow("too large") << QVariant(75) << 0;
    QTest::newRow("negative") << QVariant(-5) << 0;
    QTest::newRow("not a number") << QVariant(QStringLiteral("wide")) << 0;
}

// A settings file edited by hand never gives the spin box a value it cannot hold.
void TestPlatformSaves::storedPadding()
{
    QFETCH(QVariant, stored);
    QFETCH(int, shown);

    controller_.reset();
    defaults_.reset();
    {
        QSettings settings(path(QStringLiteral("settings.ini")), QSettings::IniFormat);
        settings.setValue(Defaults::PlatformIconPaddingKey, stored);
    }
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    controller_ = std::make_unique<MainWindowController>(defaults_.get());
    QCOMPARE(controller_->platformSetsBox()->paddingBox()->value(), shown);
}

// Save to Xcode writes an icon set: nothing of Android or the web goes into it.
void TestPlatformSaves::saveToXcodeStaysApple()
{
    open("green.png", Qt::green);
    controller_->setSelectedImageCategores(categoriesWithIds({101}));
    tick(true, true);
    defaults_->setSaveToXcodeAlertSuppression(true);
    const QString set = path("AppIcon.appiconset");
    QVERIFY(QDir().mkpath(set));

    QCOMPARE(messages(save(controller_->saveDocumentToXcodeAction(), set, {})), QStringList{});
    QCOMPARE(filesUnder(path(".")).filter(QStringLiteral("AppIcon.appiconset/")),
             (QStringList{"AppIcon.appiconset/Contents.json", "AppIcon.appiconset/Icon-20@2x.png",
                          "AppIcon.appiconset/Icon-60@3x.png"}));
    QVERIFY(!QFile::exists(path("android")));
    QVERIFY(!QFile::exists(path("web")));
}

QTEST_MAIN(TestPlatformSaves)
#include "tst_platformsaves.moc"
