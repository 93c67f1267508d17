#include "mainwindow/helper_capturinglogger.h"
#include "platform/bundle.h"
#include "previews/basescreenimagewindowcontroller.h"
#include "previews/iconscreendefinition.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;

Q_DECLARE_METATYPE(std::optional<QList<IconDefinition>>)

namespace {

QVariantMap group(const QVariantMap& numbers, const QVariantList& xs, const QVariantList& ys)
{
    QVariantMap result = numbers;
    result.insert(QStringLiteral("Locations"),
                  QVariantMap{{QStringLiteral("X"), xs}, {QStringLiteral("Y"), ys}});
    return result;
}

IconDefinition slot(double width, double height, double radius, double x, double y)
{
    return IconDefinition{width, height, radius, QPointF(x, y)};
}

QString fixtures()
{
    return qEnvironmentVariable("ICONFOUNDRY_TEST_DATA") + QStringLiteral("/previews");
}

} // namespace

class TestScreenDefinitions : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { Bundle::setResourceDirectory(QString()); }

    void expandsIconGroups_data();
    void expandsIconGroups();
    void readsScreens_data();
    void readsScreens();
    void archiveKeepsOnlyNames_data();
    void archiveKeepsOnlyNames();
    void loadPlistLogsWhy_data();
    void loadPlistLogsWhy();
    void cropRectangle_data();
    void cropRectangle();
};

void TestScreenDefinitions::expandsIconGroups_data()
{
    QTest::addColumn<QVariant>("group");
    QTest::addColumn<std::optional<QList<IconDefinition>>>("expected");

    const QVariantList x10 = {10}, y20 = {20};
    QTest::newRow("size wins over width and height")
        << QVariant(group({{"Size", 60}, {"Width", 40}, {"Height", 30}, {"CornerRadius", 13}}, x10, y20))
        << std::optional(QList{slot(60, 60, 13, 10, 20)});
    QTest::newRow("size 0 uses width and height")
        << QVariant(group({{"Size", 0}, {"Width", 40}, {"Height", 30}}, x10, y20))
        << std::optional(QList{slot(40, 30, 0, 10, 20)});
    QTest::newRow("negative size uses width and height")
        << QVariant(group({{"Size", -5}, {"Width", 40}, {"Height", 30}}, x10, y20))
        << std::optional(QList{slot(40, 30, 0, 10, 20)});
    QTest::newRow("absent size uses width and height")
        << QVariant(group({{"Width", 40}, {"Height", 30}, {"CornerRadius", 6.5}}, x10, y20))
        << std::optional(QList{slot(40, 30, 6.5, 10, 20)});
    QTest::newRow("six slots, rows outside, columns inside")
        << QVariant(group({{"Size", 60}}, {10, 20, 30}, {100, 200}))
        << std::optional(QList{slot(60, 60, 0, 10, 100), slot(60, 60, 0, 20, 100), slot(60, 60, 0, 30, 100),
                               slot(60, 60, 0, 10, 200), slot(60, 60, 0, 20, 200), slot(60, 60, 0, 30, 200)});
    // 0.1 at single precision is 0.100000001490116..., 1e40 is beyond a float and reads as 0.
    QTest::newRow("numbers read as 32-bit floats")
        << QVariant(group({{"Size", 57.1}, {"CornerRadius", 1e40}}, {0.1}, {QStringLiteral("12")}))
        << std::optional(
               QList{slot(57.09999847412109375, 57.09999847412109375, 0, 0.100000001490116119384765625, 12)});
    QTest::newRow("empty X") << QVariant(group({{"Size", 60}}, {}, {100, 200}))
                             << std::optional(QList<IconDefinition>());
    QTest::newRow("empty Y") << QVariant(group({{"Size", 60}}, {10, 20}, {}))
                             << std::optional(QList<IconDefinition>());
    QTest::newRow("no Locations") << QVariant(QVariantMap{{"Size", 60}})
                                  << std::optional(QList<IconDefinition>());
    QTest::newRow("not a dictionary")
        << QVariant(QStringLiteral("AppIcon")) << std::optional(QList<IconDefinition>());
    QTest::newRow("absent group") << QVariant() << std::optional<QList<IconDefinition>>();
}

void TestScreenDefinitions::expandsIconGroups()
{
    QFETCH(QVariant, group);
    QFETCH(std::optional<QList<IconDefinition>>, expected);
    const auto places = IconScreenDefinition::iconLocationsFromDictionary(group);
    QCOMPARE(places.has_value(), expected.has_value());
    if (!expected)
        return;
    QCOMPARE(places->size(), expected->size());
    for (qsizetype i = 0; i < places->size(); ++i) {
        QCOMPARE(places->at(i).width, expected->at(i).width);
        QCOMPARE(places->at(i).height, expected->at(i).height);
        QCOMPARE(places->at(i).cornerRadius, expected->at(i).cornerRadius);
        QCOMPARE(places->at(i).origin, expected->at(i).origin);
    }
}

void TestScreenDefinitions::readsScreens_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QStringList>("titles");
    QTest::addColumn<QStringList>("backgrounds");
    QTest::addColumn<QList<int>>("appSlots");
    QTest::addColumn<QList<int>>("watchSlots"); // -1: no watch icon

    QTest::newRow("phone") << "PhoneScreenDefinitions" << QStringList{"Grid", "Six"}
                           << QStringList{"grid", "six"} << QList{24, 6} << QList{2, -1};
    QTest::newRow("pad") << "PadScreenDefinitions" << QStringList{"Three", "Four by three"}
                         << QStringList{"three", "four-by-three"} << QList{3, 1} << QList{-1, -1};
    QTest::newRow("missing file") << "NoScreenDefinitions" << QStringList() << QStringList() << QList<int>()
                                  << QList<int>();
}

void TestScreenDefinitions::readsScreens()
{
    QFETCH(QString, fileName);
    QFETCH(QStringList, titles);
    QFETCH(QStringList, backgrounds);
    QFETCH(QList<int>, appSlots);
    QFETCH(QList<int>, watchSlots);
    Bundle::setResourceDirectory(fixtures());

    const std::optional<QVariant> root = BaseScreenImageWindowController::loadPlist(fileName);
    QCOMPARE(root.has_value(), !titles.isEmpty());
    QList<IconScreenDefinition> screens;
    for (const QVariant& screen : root.value_or(QVariant()).toList())
        screens.append(IconScreenDefinition(screen.toMap()));
    QCOMPARE(screens.size(), titles.size());
    for (qsizetype i = 0; i < screens.size(); ++i) {
        QCOMPARE(screens[i].title(), titles[i]);
        QCOMPARE(screens[i].backgroundImageName(), backgrounds[i]);
        QCOMPARE(screens[i].appIconLocations()->size(), appSlots[i]);
        QCOMPARE(screens[i].watchIconLocations().has_value(), watchSlots[i] >= 0);
        if (watchSlots[i] >= 0)
            QCOMPARE(screens[i].watchIconLocations()->size(), watchSlots[i]);
    }
}

void TestScreenDefinitions::archiveKeepsOnlyNames_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("background");
    QTest::newRow("names") << "Dark"
                           << "previews/PhoneDark";
    QTest::newRow("empty names") << ""
                                 << "";
    QTest::newRow("unicode") << "Écran ☾"
                             << "fond d’écran";
}

void TestScreenDefinitions::archiveKeepsOnlyNames()
{
    QFETCH(QString, title);
    QFETCH(QString, background);
    const QVariantMap places = group({{"Size", 60}}, {10}, {20});
    const IconScreenDefinition screen(QVariantMap{
        {"Title", title}, {"BackgroundImageName", background}, {"AppIcon", places}, {"WatchIcon", places}});
    QVERIFY(screen.appIconLocations() && screen.watchIconLocations());

    const auto copy = IconScreenDefinition::unarchive(screen.archive());
    QVERIFY(copy);
    QCOMPARE(copy->title(), title);
    QCOMPARE(copy->backgroundImageName(), background);
    QVERIFY(!copy->appIconLocations());
    QVERIFY(!copy->watchIconLocations());

    // Foreign and damaged archives are refused, not half-read.
    QVERIFY(!IconScreenDefinition::unarchive(screen.archive().chopped(1)));
    QVERIFY(!IconScreenDefinition::unarchive(QByteArray("Title=Dark")));
}

void TestScreenDefinitions::loadPlistLogsWhy_data()
{
    QTest::addColumn<QByteArray>("contents"); // empty: no file
    QTest::addColumn<QString>("line");        // %1: the file's path

    QTest::newRow("missing") << QByteArray()
                             << "ERROR: File not found in bundle: PhoneScreenDefinitions.plist";
    QTest::newRow("garbage") << QByteArray("<plist><array><dict>")
                             << "Error reading data from file '%1', error = '";
    QTest::newRow("binary header only")
        << QByteArray("bplist00") << "Error reading data from file '%1', error = '";
}

void TestScreenDefinitions::loadPlistLogsWhy()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, line);
    QTemporaryDir bundle;
    const QString path = bundle.filePath(QStringLiteral("PhoneScreenDefinitions.plist"));
    if (!contents.isEmpty()) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }
    Bundle::setResourceDirectory(bundle.path());

    ScopedCapturingLogger logger;
    QVERIFY(!BaseScreenImageWindowController::loadPlist(QStringLiteral("PhoneScreenDefinitions")));
    // Errors are logged synchronously: the line is there when loadPlist returns.
    QCOMPARE(logger.linesWith(LogFlagError, {line.arg(path)}).size(), 1);
}

void TestScreenDefinitions::cropRectangle_data()
{
    QTest::addColumn<QSize>("pixels");
    QTest::addColumn<QSizeF>("slot");
    QTest::addColumn<QRectF>("expected");

    // 55 / 74 = 0.7432432..., the cut is centred vertically.
    QTest::newRow("74 x 55 slot, square source")
        << QSize(100, 100) << QSizeF(74, 55) << QRectF(0, 12.837837837837839, 100, 74.32432432432432);
    // The tall branch spreads the width: t = 2 gives x = -W/2 and width 2W.
    QTest::newRow("50 x 100 slot, square source")
        << QSize(100, 100) << QSizeF(50, 100) << QRectF(-50, 0, 200, 100);
    QTest::newRow("square slot") << QSize(64, 32) << QSizeF(60, 60) << QRectF(0, 0, 64, 32);
    QTest::newRow("40 x 30 slot, 1024 x 768 source")
        << QSize(1024, 768) << QSizeF(40, 30) << QRectF(0, 96, 1024, 576);
}

void TestScreenDefinitions::cropRectangle()
{
    QFETCH(QSize, pixels);
    QFETCH(QSizeF, slot);
    QFETCH(QRectF, expected);
    const QRectF cut = BaseScreenImageWindowController::cropRectangle(pixels, slot);
    QCOMPARE(cut.x(), expected.x());
    QCOMPARE(cut.y(), expected.y());
    QCOMPARE(cut.width(), expected.width());
    QCOMPARE(cut.height(), expected.height());
}

QTEST_GUILESS_MAIN(TestScreenDefinitions)
#include "tst_screendefinitions.moc"
