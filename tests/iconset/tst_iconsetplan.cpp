#include "helper_iconset.h"
#include "iconset/defaultcategories.h"
#include "iconset/iconsetplan.h"
#include "iconset/imageprocessor.h"

#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using namespace helper;

namespace {

// Copies the fixture's Contents.json into folder; nothing for an empty name.
bool copyFixture(const QString& fixture, const QString& folder)
{
    if (fixture.isEmpty())
        return true;
    return QFile::copy(testData(QStringLiteral("projects/%1/Contents.json").arg(fixture)),
                       QDir(folder).filePath(QStringLiteral("Contents.json")));
}

bool writePlaceholder(const QString& path)
{
    QImage placeholder(2, 2, QImage::Format_ARGB32);
    placeholder.fill(Qt::red);
    return placeholder.save(path);
}

} // namespace

class TestIconSetPlan : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The shipped catalogue: the plan is about how real sets meet it.
        QVERIFY(processor_.allImageSizes().size() > 80);
    }

    void plansASave_data()
    {
        QTest::addColumn<QString>("fixture");    // under tests/data/projects; empty: no Contents.json
        QTest::addColumn<QString>("categories"); // asked for; empty: the set decides
        QTest::addColumn<bool>("filesThere");    // the files the plan writes exist before
        QTest::addColumn<QStringList>("stray");  // other files in the folder
        QTest::addColumn<bool>("fromIconSet");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QList<int>>("groups"); // sizes drawn from the main, dark and tinted images
        QTest::addColumn<int>("opaque");
        QTest::addColumn<QStringList>("replaced"); // files that need the user's word
        QTest::addColumn<int>("refreshed");
        QTest::addColumn<bool>("sameAsDefaults"); // fills the slots of iPhone, iPad and App Store

        const QStringList perSize{"AppIcon-20@2x.png", "AppIcon-20@3x.png",   "AppIcon-29@2x.png",
                                  "AppIcon-29@3x.png", "AppIcon-40@2x.png",   "AppIcon-40@3x.png",
                                  "AppIcon-60@2x.png", "AppIcon-60@3x.png",   "AppIcon-20.png",
                                  "AppIcon-29.png",    "AppIcon-40.png",      "AppIcon-76.png",
                                  "AppIcon-76@2x.png", "AppIcon-83.5@2x.png", "AppIcon-1024.png"};
        const QStringList single{"AppIcon-Single-1024.png", "AppIcon-Single-1024-Dark.png",
                                 "AppIcon-Single-1024-Tinted.png"};
        QTest::newRow("current Xcode template: single size, dark, tinted")
            << "xcode16-single-size.appiconset"
            << "" << false << QStringList{} << true << single << QList<int>{1, 1, 1} << 1 << QStringList{}
            << 0 << false;
        QTest::newRow("Xcode 13 template: per size, no files")
            << "xcode13-per-size.appiconset"
            << "" << false << QStringList{} << true << perSize << QList<int>{18, 0, 0} << 1 << QStringList{}
            << 0 << true;
        // 19 slots in 15 files; one more slot than iPhone has (29 pt @1x).
        QTest::newRow("Flutter set keeps its names and refreshes its files")
            << "flutter-runner.appiconset"
            << "" << true << QStringList{"AppIcon-20@2x.png"} << true
            << QStringList{"Icon-App-20x20@2x.png", "Icon-App-20x20@3x.png",     "Icon-App-29x29@1x.png",
                           "Icon-App-29x29@2x.png", "Icon-App-29x29@3x.png",     "Icon-App-40x40@2x.png",
                           "Icon-App-40x40@3x.png", "Icon-App-60x60@2x.png",     "Icon-App-60x60@3x.png",
                           "Icon-App-20x20@1x.png", "Icon-App-40x40@1x.png",     "Icon-App-76x76@1x.png",
                           "Icon-App-76x76@2x.png", "Icon-App-83.5x83.5@2x.png", "Icon-App-1024x1024@1x.png"}
            << QList<int>{19, 0, 0} << 1 << QStringList{} << 15 << false;
        QTest::newRow("React Native set: one file for two slots")
            << "react-native.appiconset"
            << "" << true << QStringList{} << true
            << QStringList{"Icon-40.png", "Icon-60.png",  "Icon-58.png",  "Icon-87.png",
                           "Icon-80.png", "Icon-120.png", "Icon-180.png", "Icon-1024.png"}
            << QList<int>{9, 0, 0} << 1 << QStringList{} << 8 << false;
        QTest::newRow("new set: the fallback categories")
            << ""
            << "" << false << QStringList{} << false << perSize << QList<int>{18, 0, 0} << 1 << QStringList{}
            << 0 << true;
        QTest::newRow("new set over files of ours: they need the user's word")
            << ""
            << "" << true << QStringList{} << false << perSize << QList<int>{18, 0, 0} << 1 << perSize << 0
            << true;
        QTest::newRow("categories asked for win over the set's slots")
            << "xcode16-single-size.appiconset"
            << "132" << false << QStringList{} << false << single << QList<int>{1, 1, 1} << 1 << QStringList{}
            << 0 << false;
        // The Flutter set's 1024 slot is the App Store's: the name stays even when asked by category.
        QTest::newRow("names kept for categories too")
            << "flutter-runner.appiconset"
            << "121" << false << QStringList{} << false << QStringList{"Icon-App-1024x1024@1x.png"}
            << QList<int>{1, 0, 0} << 1 << QStringList{} << 0 << false;
    }

    void plansASave()
    {
        QFETCH(QString, fixture);
        QFETCH(QString, categories);
        QFETCH(bool, filesThere);
        QFETCH(QStringList, stray);
        QFETCH(bool, fromIconSet);
        QFETCH(QStringList, files);
        QFETCH(QList<int>, groups);
        QFETCH(int, opaque);
        QFETCH(QStringList, replaced);
        QFETCH(int, refreshed);
        QFETCH(bool, sameAsDefaults);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString iconSet = dir.filePath(QStringLiteral("AppIcon.appiconset"));
        QVERIFY(QDir().mkpath(iconSet));
        QVERIFY(copyFixture(fixture, iconSet));
        if (filesThere)
            for (const QString& name : files)
                QVERIFY(writePlaceholder(QDir(iconSet).filePath(name)));
        for (const QString& name : stray)
            QVERIFY(writePlaceholder(QDir(iconSet).filePath(name)));
        const QList<ImageCategory> defaults =
            DefaultCategories::fromCatalogue(processor_.allImageCategories());

        IconSetPlan plan;
        Error error;
        QVERIFY(IconSetPlan::make(processor_, iconSet, true, helper::categories(categories), defaults, plan,
                                  &error));
        QCOMPARE(plan.slotsFrom() == IconSetPlan::SlotsFrom::IconSet, fromIconSet);
        QCOMPARE(plan.categories().isEmpty(), fromIconSet);
        QCOMPARE(plan.files(), files);
        QCOMPARE((QList<int>{int(plan.mainSizes().size()), int(plan.darkSizes().size()),
                             int(plan.tintedSizes().size())}),
                 groups);
        QCOMPARE(plan.opaqueSlots().size(), opaque);
        QCOMPARE(plan.existingFiles(), replaced);
        QCOMPARE(plan.refreshedFiles().size(), refreshed);
        QVERIFY(plan.takenSlots().isEmpty());
        QVERIFY(plan.skipped().isEmpty());

        IconSetPlan byDefaults;
        QVERIFY(IconSetPlan::make(processor_, dir.filePath(QStringLiteral("elsewhere")), false, defaults, {},
                                  byDefaults));
        QCOMPARE(plan.fillsSameSlots(byDefaults), sameAsDefaults);
        QCOMPARE(byDefaults.fillsSameSlots(plan), sameAsDefaults);
    }

    void refusesABrokenContentsJSON()
    {
        QTemporaryDir dir;
        QFile file(dir.filePath(QStringLiteral("Contents.json")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("{\"images\": [") > 0);
        file.close();
        IconSetPlan plan;
        Error error;
        QVERIFY(
            !IconSetPlan::make(processor_, dir.path(), true, {}, helper::categories("121"), plan, &error));
        QVERIFY(!error.localizedDescription.isEmpty());
        QVERIFY(plan.sizes().isEmpty());
        // A plain folder does not read it.
        QVERIFY(
            IconSetPlan::make(processor_, dir.path(), false, {}, helper::categories("121"), plan, &error));
        QCOMPARE(plan.files(), QStringList{"AppIcon-1024.png"});
    }

    // Each appearance from its image: without a dark image the main one, without a tinted one the
    // main one in greys; the single size of the default look is opaque, over the background.
    void drawsEachAppearanceFromItsImage_data()
    {
        QTest::addColumn<bool>("darkGiven");
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("hasAlpha");
        QTest::addColumn<QColor>("left");  // at (100, 512): transparent in the source
        QTest::addColumn<QColor>("right"); // at (900, 512): green (0, 255, 0) in the source

        const QColor clear(0, 0, 0, 0);
        QTest::newRow("default look: over the background, no alpha")
            << false << "AppIcon-Single-1024.png" << false << QColor(10, 20, 30) << QColor(0, 255, 0);
        QTest::newRow("dark without a dark image: the source")
            << false << "AppIcon-Single-1024-Dark.png" << true << clear << QColor(0, 255, 0);
        QTest::newRow("dark image given")
            << true << "AppIcon-Single-1024-Dark.png" << true << QColor(200, 30, 30) << QColor(200, 30, 30);
        // Green's luminance: 183 x 255 / 256 = 182.
        QTest::newRow("tinted: the source in greys")
            << false << "AppIcon-Single-1024-Tinted.png" << true << clear << QColor(182, 182, 182);
    }

    void drawsEachAppearanceFromItsImage()
    {
        QFETCH(bool, darkGiven);
        QFETCH(QString, file);
        QFETCH(bool, hasAlpha);
        QFETCH(QColor, left);
        QFETCH(QColor, right);

        QTemporaryDir dir;
        QVERIFY(copyFixture(QStringLiteral("xcode16-single-size.appiconset"), dir.path()));
        QImage source(1024, 1024, QImage::Format_ARGB32);
        source.fill(Qt::transparent);
        for (int y = 0; y < 1024; ++y)
            for (int x = 512; x < 1024; ++x)
                source.setPixelColor(x, y, QColor(0, 255, 0));
        QImage dark(1024, 1024, QImage::Format_ARGB32);
        dark.fill(QColor(200, 30, 30));

        IconSetPlan plan;
        QVERIFY(IconSetPlan::make(processor_, dir.path(), true, {}, {}, plan));
        IconSetPlan::Sources sources{Image::fromQImage(source), darkGiven ? Image::fromQImage(dark) : nullptr,
                                     nullptr};
        QVERIFY(plan.completeSources(sources));
        ImageProcessor processor;
        processor.setAllImageSizes(processor_.allImageSizes());
        processor.setBackgroundColour(QColor(10, 20, 30));
        Error error;
        QVERIFY2(plan.write(processor, sources, &error), qPrintable(error.localizedDescription));

        const QImage written(dir.filePath(file));
        QCOMPARE(written.size(), QSize(1024, 1024));
        QCOMPARE(written.hasAlphaChannel(), hasAlpha);
        const auto rgba = [](const QColor& c) { return QList<int>{c.red(), c.green(), c.blue(), c.alpha()}; };
        const QColor atLeft = written.pixelColor(100, 512), atRight = written.pixelColor(900, 512);
        if (left.alpha() == 0)
            QCOMPARE(atLeft.alpha(), 0);
        else
            QCOMPARE(rgba(atLeft), rgba(left));
        QCOMPARE(rgba(atRight), rgba(right));
    }

private:
    ImageProcessor processor_;
};

QTEST_MAIN(TestIconSetPlan)
#include "tst_iconsetplan.moc"
