#include "common/testsupport.h"
#include "helper_iconcatalogue.h"
#include "helper_scriptedalerts.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "mainwindow/appearancewells.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"

#include <QAction>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMainWindow>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

using namespace iconfoundry;

namespace {

const QString kInstructions = QStringLiteral("Choose the app icon set in your Xcode project.");
const int kFillItsSlots = Alert::FirstButtonReturn;

QStringList entryFileNames(const QString& folder)
{
    QFile file(QDir(folder).filePath(QStringLiteral("Contents.json")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList names;
    const QJsonArray images = QJsonDocument::fromJson(file.readAll()).object().value("images").toArray();
    for (const QJsonValue& image : images)
        names.append(image.toObject().value("filename").toString());
    return names;
}

// The PNG colour type in the file's header: 2 is RGB, 6 RGB with alpha.
int pngColourType(const QString& path)
{
    const QByteArray bytes = test::readFile(path);
    return bytes.size() > 25 ? int(quint8(bytes[25])) : -1;
}

QList<int> rgba(const QColor& colour)
{
    return {colour.red(), colour.green(), colour.blue(), colour.alpha()};
}

// 1024 pixels, the left half transparent, the right half green.
QString halfTransparent(const QString& path)
{
    QImage image(1024, 1024, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    for (int y = 0; y < 1024; ++y)
        for (int x = 512; x < 1024; ++x)
            image.setPixelColor(x, y, QColor(0, 255, 0));
    image.setDotsPerMeterX(2835);
    image.setDotsPerMeterY(2835);
    return image.save(path, "PNG") ? path : QString();
}

} // namespace

// Saving into the icon sets projects hold, with the shipped catalogue, and the wells for the dark
// and tinted images and the background colour.
class TestIconSetSaves : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void savesIntoProjectSets_data();
    void savesIntoProjectSets();
    void appStoreIconIsOpaqueOverTheChosenColour();
    void brokenContentsJSONWritesNothing();
    void backgroundColourIsKept_data();
    void backgroundColourIsKept();
    void appearanceImagesFromTheMenu();

private:
    QString path(const QString& name) const { return dir_->filePath(name); }
    // Opens a 1024-pixel image of colour, or the file at imagePath.
    void open(const QString& imagePath)
    {
        QVERIFY(controller_->openDocumentWithContentsOfURL(QUrl::fromLocalFile(imagePath)));
        QTRY_VERIFY(controller_->hasImage());
    }

    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    ImageProcessor processor_;
    ContentsJSONProcessor json_{&processor_};
    std::unique_ptr<MainWindowController> controller_;
};

void TestIconSetSaves::init()
{
    controller_.reset();
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    defaults_->setSaveToXcodeAlertSuppression(true);
    controller_ = std::make_unique<MainWindowController>(defaults_.get());
    controller_->setImageProcessor(&processor_);
    controller_->setContentsJSONProcessor(&json_);
    QVERIFY(processor_.allImageSizes().size() > 80);
}

void TestIconSetSaves::savesIntoProjectSets_data()
{
    QTest::addColumn<QString>("fixture"); // under tests/data/projects
    QTest::addColumn<QList<qint64>>("ticked");
    QTest::addColumn<bool>("filesThere"); // the files the set names are there before
    QTest::addColumn<QList<int>>("answers");
    QTest::addColumn<QStringList>("asked");
    QTest::addColumn<QStringList>("fileNames"); // of the entries afterwards
    QTest::addColumn<QString>("status");        // %1: the icon set's folder

    const QList<qint64> defaults{101, 111, 121};
    QTest::newRow("Flutter set: its names, nothing orphaned, nothing asked about its files")
        << "flutter-runner.appiconset" << defaults << true << QList<int>{kFillItsSlots}
        << QStringList{"This icon set already has 19 slots."}
        << QStringList{"Icon-App-20x20@2x.png",    "Icon-App-20x20@3x.png", "Icon-App-29x29@1x.png",
                       "Icon-App-29x29@2x.png",    "Icon-App-29x29@3x.png", "Icon-App-40x40@2x.png",
                       "Icon-App-40x40@3x.png",    "Icon-App-60x60@2x.png", "Icon-App-60x60@3x.png",
                       "Icon-App-20x20@1x.png",    "Icon-App-20x20@2x.png", "Icon-App-29x29@1x.png",
                       "Icon-App-29x29@2x.png",    "Icon-App-40x40@1x.png", "Icon-App-40x40@2x.png",
                       "Icon-App-76x76@1x.png",    "Icon-App-76x76@2x.png", "Icon-App-83.5x83.5@2x.png",
                       "Icon-App-1024x1024@1x.png"}
        << "Filled the 19 slots of the icon set in %1: 15 files, 15 of them refreshed.";
    QTest::newRow("React Native set, only iPhone ticked")
        << "react-native.appiconset" << QList<qint64>{101} << true << QList<int>{kFillItsSlots}
        << QStringList{"This icon set already has 9 slots."}
        << QStringList{"Icon-40.png",  "Icon-60.png",  "Icon-58.png",  "Icon-87.png",  "Icon-80.png",
                       "Icon-120.png", "Icon-120.png", "Icon-180.png", "Icon-1024.png"}
        << "Filled the 9 slots of the icon set in %1: 8 files, 8 of them refreshed.";
    QTest::newRow("React Native set, nothing ticked: its slots without a question")
        << "react-native.appiconset" << QList<qint64>{} << true << QList<int>{} << QStringList{}
        << QStringList{"Icon-40.png",  "Icon-60.png",  "Icon-58.png",  "Icon-87.png",  "Icon-80.png",
                       "Icon-120.png", "Icon-120.png", "Icon-180.png", "Icon-1024.png"}
        << "Filled the 9 slots of the icon set in %1: 8 files, 8 of them refreshed.";
    QTest::newRow("Xcode 13 set with the same slots as ticked: no question")
        << "xcode13-per-size.appiconset" << defaults << false << QList<int>{} << QStringList{}
        << QStringList{"AppIcon-20@2x.png",   "AppIcon-20@3x.png", "AppIcon-29@2x.png", "AppIcon-29@3x.png",
                       "AppIcon-40@2x.png",   "AppIcon-40@3x.png", "AppIcon-60@2x.png", "AppIcon-60@3x.png",
                       "AppIcon-20.png",      "AppIcon-20@2x.png", "AppIcon-29.png",    "AppIcon-29@2x.png",
                       "AppIcon-40.png",      "AppIcon-40@2x.png", "AppIcon-76.png",    "AppIcon-76@2x.png",
                       "AppIcon-83.5@2x.png", "AppIcon-1024.png"}
        << "Filled the 18 slots of the icon set in %1: 15 files, 0 of them refreshed.";
    QTest::newRow("current Xcode template: dark image chosen, tinted from the source")
        << "xcode16-single-size.appiconset" << defaults << false << QList<int>{kFillItsSlots}
        << QStringList{"This icon set already has 3 slots."}
        << QStringList{"AppIcon-Single-1024.png", "AppIcon-Single-1024-Dark.png",
                       "AppIcon-Single-1024-Tinted.png"}
        << "Filled the 3 slots of the icon set in %1: 3 files, 0 of them refreshed.";
}

void TestIconSetSaves::savesIntoProjectSets()
{
    QFETCH(QString, fixture);
    QFETCH(QList<qint64>, ticked);
    QFETCH(bool, filesThere);
    QFETCH(QList<int>, answers);
    QFETCH(QStringList, asked);
    QFETCH(QStringList, fileNames);
    QFETCH(QString, status);

    const QString iconSet = path(QStringLiteral("Runner/Assets.xcassets/AppIcon.appiconset"));
    QVERIFY(QDir().mkpath(iconSet));
    QVERIFY(QFile::copy(test::testData("projects/" + fixture + "/Contents.json"),
                        QDir(iconSet).filePath("Contents.json")));
    if (filesThere)
        for (const QString& name : fileNames)
            QVERIFY(!writeImage(QDir(iconSet).filePath(name), 2, 2).isEmpty());
    open(writeImage(path(QStringLiteral("source.png")), 1024, 1024, QColor(0, 255, 0)));
    controller_->setSelectedImageCategores(categoriesWithIds(ticked));
    controller_->setDarkImage(Image::fromQImage([] {
        QImage dark(1024, 1024, QImage::Format_ARGB32);
        dark.fill(QColor(200, 30, 30));
        return dark;
    }()));

    ScopedAlertPresenter alerts;
    alerts->answers = answers;
    ScopedPanelPresenter panel;
    panel->response = OpenPanelOptions::OKResponse;
    panel->urls = {QUrl::fromLocalFile(iconSet)};
    controller_->saveDocumentToXcode();
    QTRY_VERIFY(!controller_->isWriting());

    QCOMPARE(messages(alerts->alerts), asked);
    QCOMPARE(entryFileNames(iconSet), fileNames);
    QStringList unique = fileNames;
    unique.removeDuplicates();
    unique.sort();
    QCOMPARE(QDir(iconSet).entryList({"*.png"}, QDir::Files, QDir::Name), unique);
    for (const QString& name : unique)
        QVERIFY2(QImageReader(QDir(iconSet).filePath(name)).size().width() > 2, qPrintable(name));
    QCOMPARE(controller_->window()->statusBar()->currentMessage(), status.arg(iconSet));
    QCOMPARE(controller_->xcodeIconSetURL(), QUrl::fromLocalFile(iconSet));
    if (fixture.startsWith("xcode16")) {
        const auto at = [&](const QString& name) {
            return QImage(QDir(iconSet).filePath(name)).pixelColor(500, 500);
        };
        QCOMPARE(rgba(at("AppIcon-Single-1024.png")), (QList<int>{0, 255, 0, 255}));
        QCOMPARE(rgba(at("AppIcon-Single-1024-Dark.png")), (QList<int>{200, 30, 30, 255}));
        // Green's luminance: 183 x 255 / 256 = 182.
        QCOMPARE(rgba(at("AppIcon-Single-1024-Tinted.png")), (QList<int>{182, 182, 182, 255}));
    }

    // Save repeats it without a question and changes nothing else.
    const QByteArray contents = test::readFile(QDir(iconSet).filePath("Contents.json"));
    controller_->saveDocument();
    QTRY_VERIFY(!controller_->isWriting());
    QCOMPARE(alerts->alerts.size(), asked.size());
    QCOMPARE(test::readFile(QDir(iconSet).filePath("Contents.json")), contents);
    QCOMPARE(QDir(iconSet).entryList({"*.png"}, QDir::Files, QDir::Name), unique);
}

// The App Store icon has no alpha: the transparent half shows the chosen colour, and the status
// bar says so.
void TestIconSetSaves::appStoreIconIsOpaqueOverTheChosenColour()
{
    open(halfTransparent(path(QStringLiteral("half.png"))));
    controller_->setSelectedImageCategores(categoriesWithIds({121}));
    ScopedColourPanelPresenter colours;
    colours->chosen = true;
    colours->colour = QColor(10, 20, 30);
    controller_->chooseBackgroundColour();

    const QString iconSet = path(QStringLiteral("AppIcon.appiconset"));
    QVERIFY(QDir().mkpath(iconSet));
    ScopedAlertPresenter alerts;
    ScopedPanelPresenter panel;
    panel->response = OpenPanelOptions::OKResponse;
    panel->urls = {QUrl::fromLocalFile(iconSet)};
    controller_->saveDocumentToXcode();
    QTRY_VERIFY(!controller_->isWriting());

    QVERIFY(alerts->alerts.isEmpty());
    const QString file = QDir(iconSet).filePath("AppIcon-1024.png");
    QCOMPARE(pngColourType(file), 2);
    const QImage written(file);
    QVERIFY(!written.hasAlphaChannel());
    QCOMPARE(rgba(written.pixelColor(100, 512)), (QList<int>{10, 20, 30, 255}));
    QCOMPARE(rgba(written.pixelColor(900, 512)), (QList<int>{0, 255, 0, 255}));
    const QString status = controller_->window()->statusBar()->currentMessage();
    QVERIFY2(status.startsWith(QStringLiteral("Saved 1 icon files and Contents.json to %1. Transparent parts "
                                              "lie over #0a141e in: ")
                                   .arg(iconSet)),
             qPrintable(status));
}

// A Contents.json that cannot be merged into is reported before any icon is written; Retry reads
// it again.
void TestIconSetSaves::brokenContentsJSONWritesNothing()
{
    open(writeImage(path(QStringLiteral("source.png")), 1024, 1024, QColor(0, 255, 0)));
    controller_->setSelectedImageCategores(categoriesWithIds({121}));
    const QString iconSet = path(QStringLiteral("AppIcon.appiconset"));
    QVERIFY(QDir().mkpath(iconSet));
    QFile file(QDir(iconSet).filePath("Contents.json"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("{\"images\": [") > 0);
    file.close();

    ScopedAlertPresenter alerts;
    alerts->answers = {Alert::FirstButtonReturn, Alert::SecondButtonReturn}; // Retry, then Cancel
    ScopedPanelPresenter panel;
    panel->response = OpenPanelOptions::OKResponse;
    panel->urls = {QUrl::fromLocalFile(iconSet)};
    controller_->saveDocumentToXcode();
    QTRY_VERIFY(!controller_->isWriting());

    QCOMPARE(messages(alerts->alerts),
             (QStringList{"Contents.json could not be saved.", "Contents.json could not be saved."}));
    QCOMPARE(alerts->alerts.first().style, Alert::Style::Critical);
    QCOMPARE(alerts->alerts.first().buttonTitles, (QStringList{"Retry", "Cancel"}));
    QCOMPARE(namesIn(iconSet), QStringList{"Contents.json"});
    QVERIFY(controller_->xcodeIconSetURL().isEmpty());
}

void TestIconSetSaves::backgroundColourIsKept_data()
{
    QTest::addColumn<bool>("chosen");
    QTest::addColumn<QColor>("answer");
    QTest::addColumn<QString>("stored"); // in the settings afterwards
    QTest::addColumn<QColor>("kept");    // by a window made afterwards

    QTest::newRow("chosen") << true << QColor(10, 20, 30) << "#0a141e" << QColor(10, 20, 30);
    QTest::newRow("cancelled: white stays") << false << QColor(10, 20, 30) << "" << QColor(255, 255, 255);
    // The icons must be opaque, so is what lies under them.
    QTest::newRow("translucent: made opaque")
        << true << QColor(255, 0, 0, 128) << "#ff0000" << QColor(255, 0, 0);
}

void TestIconSetSaves::backgroundColourIsKept()
{
    QFETCH(bool, chosen);
    QFETCH(QColor, answer);
    QFETCH(QString, stored);
    QFETCH(QColor, kept);

    ScopedColourPanelPresenter colours;
    colours->chosen = chosen;
    colours->colour = answer;
    controller_->chooseBackgroundColourAction()->trigger();

    QCOMPARE(colours->begun.size(), 1);
    QCOMPARE(colours->begun.first().initialColour, QColor(255, 255, 255));
    QCOMPARE(Defaults(path(QStringLiteral("settings.ini"))).iconBackgroundColour(), stored);
    MainWindowController again(defaults_.get());
    QCOMPARE(again.backgroundColour(), kept);
    QVERIFY(controller_->appearanceWells()->backgroundWell()->toolTip().startsWith(kept.name()));
}

void TestIconSetSaves::appearanceImagesFromTheMenu()
{
    const QString dark = writeImage(path(QStringLiteral("dark.png")), 64, 64, QColor(20, 20, 20));
    const QString tinted = writeImage(path(QStringLiteral("tinted.png")), 64, 64, QColor(90, 90, 90));
    const QString broken = path(QStringLiteral("broken.png"));
    QFile file(broken);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("not a picture") > 0);
    file.close();

    ScopedPanelPresenter panel;
    panel->response = OpenPanelOptions::OKResponse;
    QVERIFY(!controller_->clearDarkImageAction()->isEnabled() || !controller_->darkImage());
    panel->urls = {QUrl::fromLocalFile(dark)};
    controller_->chooseDarkImageAction()->trigger();
    QCOMPARE(rgba(colorOf(controller_->darkImage())), (QList<int>{20, 20, 20, 255}));
    QVERIFY(controller_->clearDarkImageAction()->isEnabled());
    QVERIFY(!controller_->tintedFromSourceAction()->isEnabled());

    panel->urls = {QUrl::fromLocalFile(tinted)};
    controller_->chooseTintedImageAction()->trigger();
    QCOMPARE(rgba(colorOf(controller_->tintedImage())), (QList<int>{90, 90, 90, 255}));
    QVERIFY(controller_->tintedFromSourceAction()->isEnabled());
    QCOMPARE(panel->begun.last().title, QStringLiteral("Choose the Image for the Tinted Icons"));

    // A file that does not decode changes nothing and says why.
    panel->urls = {QUrl::fromLocalFile(broken)};
    controller_->chooseDarkImageAction()->trigger();
    QCOMPARE(rgba(colorOf(controller_->darkImage())), (QList<int>{20, 20, 20, 255}));
    QVERIFY(
        controller_->window()->statusBar()->currentMessage().startsWith("“broken.png” could not be opened"));

    controller_->tintedFromSourceAction()->trigger();
    QVERIFY(!controller_->tintedImage());
    controller_->clearDarkImageAction()->trigger();
    QVERIFY(!controller_->darkImage());
    QVERIFY(!controller_->clearDarkImageAction()->isEnabled());
    QCOMPARE(panel->begun.size(), 3);
}

QTEST_MAIN(TestIconSetSaves)
#include "tst_iconsetsaves.moc"
