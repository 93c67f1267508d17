#include "common/testsupport.h"
#include "helper_projectfolders.h"
#include "helper_runiconfoundry.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>
#include <QtEndian>

using namespace iconfoundry::test;

namespace {

// What Android Studio writes for an adaptive icon made of bitmap layers and a colour.
const QByteArray kAdaptiveIcon =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<adaptive-icon xmlns:android=\"http://schemas.android.com/apk/res/android\">\n"
    "    <background android:drawable=\"@color/ic_launcher_background\"/>\n"
    "    <foreground android:drawable=\"@mipmap/ic_launcher_foreground\"/>\n"
    "    <monochrome android:drawable=\"@mipmap/ic_launcher_monochrome\"/>\n"
    "</adaptive-icon>\n";

QByteArray backgroundColour(const char* hex)
{
    return QByteArray("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<resources>\n"
                      "    <color name=\"ic_launcher_background\">") +
           hex + "</color>\n</resources>\n";
}

bool wellFormed(const QByteArray& xml)
{
    QXmlStreamReader reader(xml);
    while (!reader.atEnd())
        reader.readNext();
    return !reader.hasError();
}

// The sides of an ICO file's entries, read off its directory.
QList<int> icoSides(const QByteArray& ico)
{
    QList<int> sides;
    if (ico.size() < 6 || qFromLittleEndian<quint16>(ico.constData() + 2) != 1)
        return sides;
    const int count = qFromLittleEndian<quint16>(ico.constData() + 4);
    for (int i = 0; i < count && 6 + 16 * (i + 1) <= ico.size(); ++i)
        sides.append(quint8(ico[6 + 16 * i]));
    return sides;
}

bool placeholder(const QString& path, int side)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(QColor(220, 40, 40));
    return QDir().mkpath(QFileInfo(path).path()) && image.save(path);
}

} // namespace

class TestGeneratePlatforms : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void flutterAndroidProject();
    void flutterWebProject();
    void besideAppleIconsWithAReport();
    void appleOptionsWithoutAppleIcons();
    void xmlOfTheProjectNeedsForce();
    void backgroundImageTrimAndPadding();
    void badInput_data();
    void badInput();

private:
    QTemporaryDir inputs_;
    QString source_;
};

void TestGeneratePlatforms::initTestCase()
{
    QVERIFY(inputs_.isValid());
    // A round mark on a transparent square, so the themed icon has a shape.
    QImage image(1024, 1024, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(20, 60, 200));
    painter.drawEllipse(QRectF(112, 112, 800, 800));
    painter.end();
    source_ = inputs_.filePath(QStringLiteral("icon.png"));
    QVERIFY(image.save(source_));
}

// A new Flutter project's res folder: its launcher icons are refreshed without --force, the
// adaptive icon is added, everything else is left as it was, and a second run changes nothing.
void TestGeneratePlatforms::flutterAndroidProject()
{

    QTemporaryDir project;
    QVERIFY(project.isValid());
    const QString main = project.filePath(QStringLiteral("android/app/src/main"));
    const QString res = main + QStringLiteral("/res");
    QVERIFY(copyTree(testData(QStringLiteral("projects/flutter-android-res")), res));
    for (const auto& [density, legacy] :
         {std::pair{"mdpi", 48}, {"hdpi", 72}, {"xhdpi", 96}, {"xxhdpi", 144}, {"xxxhdpi", 192}})
        QVERIFY(placeholder(res + QStringLiteral("/mipmap-%1/ic_launcher.png").arg(QLatin1String(density)),
                            legacy));
    const QMap<QString, QByteArray> before = snapshot(res);

    const Run run = runIconFoundry({"generate", source_, "--android", res});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    QCOMPARE(run.out, QStringLiteral("Wrote 24 of 24 Android files in %1\n").arg(res));
    QVERIFY2(run.err.isEmpty(), qPrintable(run.err));

    // Every image at its size, opaque where the launcher or the store wants it.
    const struct
    {
        const char* name;
        int legacy;
        int layer;
    } densities[] = {{"mdpi", 48, 108},
                     {"hdpi", 72, 162},
                     {"xhdpi", 96, 216},
                     {"xxhdpi", 144, 324},
                     {"xxxhdpi", 192, 432}};
    const auto check = [&](const QString& file, int side, int colourType) {
        const QString path = QDir(main).filePath(file);
        return QImage(path).size() == QSize(side, side) && pngColourType(path) == colourType;
    };
    for (const auto& d : densities) {
        const QString folder = QStringLiteral("res/mipmap-%1/").arg(QLatin1String(d.name));
        QVERIFY2(check(folder + "ic_launcher.png", d.legacy, 2), d.name);
        QVERIFY2(check(folder + "ic_launcher_round.png", d.legacy, 6), d.name);
        QVERIFY2(check(folder + "ic_launcher_foreground.png", d.layer, 6), d.name);
        QVERIFY2(check(folder + "ic_launcher_monochrome.png", d.layer, 6), d.name);
    }
    QVERIFY(check("ic_launcher-playstore.png", 512, 2));
    QVERIFY(QFileInfo(QDir(main).filePath("ic_launcher-playstore.png")).size() <= 1024 * 1024);
    const QString path = QDir(main).filePath("res/mipmap-xxxhdpi/ic_launcher_foreground.png");

    const QMap<QString, QByteArray> after = snapshot(res);
    QCOMPARE(after.value("mipmap-anydpi-v26/ic_launcher.xml"), kAdaptiveIcon);
    QCOMPARE(after.value("mipmap-anydpi-v26/ic_launcher_round.xml"), kAdaptiveIcon);
    QCOMPARE(after.value("values/ic_launcher_background.xml"), backgroundColour("#FFFFFF"));
    for (const char* xml : {"mipmap-anydpi-v26/ic_launcher.xml", "values/ic_launcher_background.xml"})
        QVERIFY(wellFormed(after.value(xml)));
    // The project's own files are untouched; ours are all there is besides them.
    QStringList added;
    for (auto it = after.begin(); it != after.end(); ++it) {
        if (before.contains(it.key()) && !it.key().endsWith(QLatin1String("ic_launcher.png")))
            QVERIFY2(before.value(it.key()) == it.value(), qPrintable(it.key()));
        else if (!before.contains(it.key()) && !QFileInfo(QDir(res).filePath(it.key())).isDir())
            added.append(it.key());
    }
    QCOMPARE(added.size(), 20 - 5 + 3); // PNGs in the mipmap folders, less those there, and XML
    QCOMPARE(QDir(main).entryList(QDir::Files), QStringList{"ic_launcher-playstore.png"});

    const QDateTime written = QFileInfo(path).lastModified();
    const Run again = runIconFoundry({"generate", source_, "--android", res});
    QVERIFY2(again.exitCode == 0, qPrintable(again.err));
    QCOMPARE(again.out, QStringLiteral("The 24 Android files in %1 are up to date\n").arg(res));
    QCOMPARE(snapshot(res), after);
    QCOMPARE(QFileInfo(path).lastModified(), written);
}

// A new Flutter web project: the manifest's own icon names are filled, its other keys kept in
// their order, favicon.ico and the touch icon added; a second run changes nothing.
void TestGeneratePlatforms::flutterWebProject()
{
    QTemporaryDir project;
    QVERIFY(project.isValid());
    const QString web = project.filePath(QStringLiteral("web"));
    QVERIFY(copyTree(testData(QStringLiteral("projects/flutter-web")), web));
    QVERIFY(placeholder(web + "/favicon.png", 16));
    for (const auto& [name, side] : {std::pair{"Icon-192.png", 192},
                                     {"Icon-512.png", 512},
                                     {"Icon-maskable-192.png", 192},
                                     {"Icon-maskable-512.png", 512}})
        QVERIFY(placeholder(web + "/icons/" + name, side));
    const QMap<QString, QByteArray> before = snapshot(web);

    const Run run = runIconFoundry({"generate", source_, "--web", web, "--background", "#0175C2"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    QCOMPARE(run.out, QStringLiteral("Wrote 7 of 7 web files in %1\n").arg(web));

    const QMap<QString, QByteArray> after = snapshot(web);
    QCOMPARE(after.value("manifest.json"), readFile(testData("projects/flutter-web-manifest-merged.json")));
    QCOMPARE(after.value("index.html"), before.value("index.html"));
    QCOMPARE(after.value("favicon.png"), before.value("favicon.png"));
    QCOMPARE(icoSides(after.value("favicon.ico")), (QList<int>{16, 32, 48}));
    const struct
    {
        const char* name;
        int side;
        int colourType;
    } files[] = {{"apple-touch-icon.png", 180, 2},
                 {"icons/Icon-192.png", 192, 6},
                 {"icons/Icon-512.png", 512, 6},
                 {"icons/Icon-maskable-192.png", 192, 2},
                 {"icons/Icon-maskable-512.png", 512, 2}};
    for (const auto& f : files) {
        QCOMPARE(QImage(QDir(web).filePath(f.name)).size(), QSize(f.side, f.side));
        QVERIFY2(pngColourType(QDir(web).filePath(f.name)) == f.colourType, f.name);
    }
    // The maskable icon's corner shows the background; the artwork keeps to the middle.
    const QImage maskable(QDir(web).filePath("icons/Icon-maskable-512.png"));
    QCOMPARE(maskable.pixelColor(0, 0), QColor(0x01, 0x75, 0xC2));
    QCOMPARE(after.keys().size(), before.keys().size() + 2); // favicon.ico, apple-touch-icon.png

    const Run again = runIconFoundry({"generate", source_, "--web", web, "--background", "#0175C2"});
    QVERIFY2(again.exitCode == 0, qPrintable(again.err));
    QCOMPARE(snapshot(web), after);
}

void TestGeneratePlatforms::besideAppleIconsWithAReport()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const Run run =
        runIconFoundry({"generate", source_, "--out", dir.filePath("apple"), "-c", "121", "--android",
                        dir.filePath("android-res"), "--web", dir.filePath("site"), "--json"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    const QJsonObject report = QJsonDocument::fromJson(run.out.toUtf8()).object();
    QCOMPARE(report.value("exitCode").toInt(), 0);
    QCOMPARE(report.value("files").toArray().size(), 1); // the App Store icon
    const QJsonArray android = report.value("android").toObject().value("files").toArray();
    const QJsonArray web = report.value("web").toObject().value("files").toArray();
    QCOMPARE(android.size(), 24);
    QCOMPARE(web.size(), 7);
    QCOMPARE(android.at(0).toObject(), (QJsonObject{{"filename", "mipmap-mdpi/ic_launcher.png"},
                                                    {"pixelWidth", 48},
                                                    {"pixelHeight", 48},
                                                    {"state", "new"}}));
    // Outside a folder named res the Play Store icon stays inside.
    QCOMPARE(android.at(20).toObject().value("filename").toString(),
             QStringLiteral("ic_launcher-playstore.png"));
    QCOMPARE(web.at(6).toObject(), (QJsonObject{{"filename", "manifest.webmanifest"}, {"state", "new"}}));
    QVERIFY(QFileInfo::exists(dir.filePath("apple/AppIcon-1024.png")));
    QVERIFY(QFileInfo::exists(dir.filePath("android-res/ic_launcher-playstore.png")));
    QVERIFY(QFileInfo::exists(dir.filePath("site/manifest.webmanifest")));
}

// Options of the Apple icons alone are named in a warning, not silently dropped.
void TestGeneratePlatforms::appleOptionsWithoutAppleIcons()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const Run run = runIconFoundry({"generate", source_, "--web", dir.path(), "-c", "iPhone", "--json"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    QCOMPARE(
        QJsonDocument::fromJson(run.out.toUtf8()).object().value("warnings").toArray(),
        QJsonArray{"--category, --dark and --tinted are for the Apple icons of --xcode or --out, which are "
                   "not asked for; they are not used."});
}

// An adaptive icon of the project's own (Android Studio's vector template) is not replaced without
// --force, and nothing at all is written then; the template's colour file is ours to refresh.
void TestGeneratePlatforms::xmlOfTheProjectNeedsForce()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString res = dir.filePath("res");
    const QByteArray theirs = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                              "<adaptive-icon xmlns:android=\"http://schemas.android.com/apk/res/android\">\n"
                              "    <background android:drawable=\"@drawable/ic_launcher_background\" />\n"
                              "    <foreground android:drawable=\"@drawable/ic_launcher_foreground\" />\n"
                              "    <monochrome android:drawable=\"@drawable/ic_launcher_foreground\" />\n"
                              "</adaptive-icon>";
    // An older template's colours file that names the background colour too.
    const QByteArray colours = "<resources>\n    <color name=\"ic_launcher_background\">#FFFFFF</color>\n"
                               "    <color name=\"accent\">#FF4081</color>\n</resources>\n";
    QVERIFY(QDir().mkpath(res + "/mipmap-anydpi-v26") && QDir().mkpath(res + "/values"));
    for (const auto& [name, text] : {std::pair{"/mipmap-anydpi-v26/ic_launcher.xml", theirs},
                                     {"/values/ic_launcher_background.xml", backgroundColour("#FFFFFF")},
                                     {"/values/colors.xml", colours}}) {
        QFile file(res + name);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }
    const QMap<QString, QByteArray> before = snapshot(dir.path());

    const Run refused = runIconFoundry({"generate", source_, "--android", res, "--background", "#3ddc84"});
    QCOMPARE(refused.exitCode, 8);
    QCOMPARE(refused.err,
             QStringLiteral("iconfoundry generate: nothing written; these would be replaced (use "
                            "--force to replace them):\n  file %1/mipmap-anydpi-v26/ic_launcher.xml\n")
                 .arg(res));
    QCOMPARE(snapshot(dir.path()), before);

    const Run forced =
        runIconFoundry({"generate", source_, "--android", res, "--background", "#3ddc84", "-f"});
    QVERIFY2(forced.exitCode == 0, qPrintable(forced.err));
    QCOMPARE(forced.err,
             QStringLiteral("iconfoundry generate: warning: values/colors.xml defines the colour "
                            "ic_launcher_background as well, which values/ic_launcher_background.xml "
                            "now holds; remove it from one of them, or the build refuses the "
                            "duplicate.\n"));
    QCOMPARE(readFile(res + "/values/colors.xml"), colours);
    QCOMPARE(readFile(res + "/mipmap-anydpi-v26/ic_launcher.xml"), kAdaptiveIcon);
    QCOMPARE(readFile(res + "/values/ic_launcher_background.xml"), backgroundColour("#3DDC84"));
    const QImage legacy(res + "/mipmap-mdpi/ic_launcher.png");
    QCOMPARE(legacy.pixelColor(0, 0), QColor(0x3d, 0xdc, 0x84));
}

void TestGeneratePlatforms::backgroundImageTrimAndPadding()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QImage backdrop(64, 64, QImage::Format_RGB32);
    backdrop.fill(QColor(250, 200, 0));
    QVERIFY(backdrop.save(dir.filePath("back.png")));
    const QString res = dir.filePath("out");
    const Run run = runIconFoundry({"generate", source_, "--android", res, "--background-image",
                                    dir.filePath("back.png"), "--trim", "--padding", "25", "--quiet"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    QVERIFY(!QFileInfo::exists(res + "/values/ic_launcher_background.xml"));
    QVERIFY(readFile(res + "/mipmap-anydpi-v26/ic_launcher.xml")
                .contains("<background android:drawable=\"@mipmap/ic_launcher_background\"/>"));
    const QImage layer(res + "/mipmap-xxxhdpi/ic_launcher_background.png");
    QCOMPARE(layer.size(), QSize(432, 432));
    QCOMPARE(layer.pixelColor(216, 216), QColor(250, 200, 0));
    // Trimmed to the 800 disc, a quarter of 512 left on each side: 256 across, from 128.
    const QImage store(res + "/ic_launcher-playstore.png");
    QCOMPARE(store.pixelColor(126, 256), QColor(250, 200, 0));
    QCOMPARE(store.pixelColor(130, 256), QColor(20, 60, 200));
    QCOMPARE(store.pixelColor(381, 256), QColor(20, 60, 200));
    QCOMPARE(store.pixelColor(385, 256), QColor(250, 200, 0));
}

void TestGeneratePlatforms::badInput_data()
{
    QTest::addColumn<QStringList>("arguments"); // {src}, {dir}
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("no folder at all") << QStringList{"{src}"} << 2 << "--android DIR";
    QTest::newRow("empty folder") << QStringList{"{src}", "--web", ""} << 2 << "must not be empty";
    QTest::newRow("--android twice") << QStringList{"{src}", "--android", "{dir}/a", "--android", "{dir}/b"}
                                     << 2 << "once each";
    QTest::newRow("padding of half") << QStringList{"{src}", "--web", "{dir}", "--padding", "50"} << 2
                                     << "'50'";
    QTest::newRow("padding not a number")
        << QStringList{"{src}", "--web", "{dir}", "--padding", "ten"} << 2 << "'ten'";
    QTest::newRow("missing monochrome image")
        << QStringList{"{src}", "--android", "{dir}", "--monochrome", "{dir}/none.png"} << 3
        << "monochrome image";
    QTest::newRow("android folder is a file")
        << QStringList{"{src}", "--android", "{src}"} << 6 << "is a file";
    QTest::newRow("web folder takes no files")
        << QStringList{"{src}", "--web", "/proc/self"} << 6 << "cannot write";
    QTest::newRow("broken manifest") << QStringList{"{src}", "--web", "{dir}/broken"} << 7 << "manifest.json";
    QTest::newRow("manifest icons not an array")
        << QStringList{"{src}", "--web", "{dir}/object"} << 7 << "not an array";
}

void TestGeneratePlatforms::badInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    for (const auto& [folder, text] :
         {std::pair{"broken", QByteArray("{\"name\": ")}, {"object", QByteArray("{\"icons\": {}}")}}) {
        QVERIFY(QDir().mkpath(dir.filePath(folder)));
        QFile file(dir.filePath(folder) + "/manifest.json");
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }
    const QMap<QString, QByteArray> before = snapshot(dir.path());
    QStringList command{"generate"};
    for (QString argument : arguments)
        command.append(argument.replace("{src}", source_).replace("{dir}", dir.path()));
    const Run run = runIconFoundry(command);
    QCOMPARE(run.exitCode, exitCode);
    QVERIFY2(run.err.contains(message), qPrintable(run.err));
    QCOMPARE(snapshot(dir.path()), before);
}

QTEST_GUILESS_MAIN(TestGeneratePlatforms)
#include "tst_generateplatforms.moc"
