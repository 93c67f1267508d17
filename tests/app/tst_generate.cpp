#include "common/testsupport.h"
#include "helper_projectfolders.h"
#include "helper_runiconfoundry.h"

#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using namespace iconfoundry::test;

namespace {

bool copyFolder(const QString& from, const QString& to)
{
    bool copied = QDir().mkpath(to);
    for (const QString& name : QDir(from).entryList(QDir::Files))
        copied = copied && QFile::copy(QDir(from).filePath(name), QDir(to).filePath(name));
    return copied;
}

// "83.5x83.5" and "2x" -> the pixel size the slot promises: points times scale, truncated; no
// scale is 1x.
QSize promisedPixels(const QJsonObject& entry)
{
    const QStringList sides = entry.value("size").toString().split(QLatin1Char('x'));
    const double scale = entry.value("scale").toString(QStringLiteral("1x")).chopped(1).toDouble();
    return sides.size() == 2 ? QSize(int(sides[0].toDouble() * scale), int(sides[1].toDouble() * scale))
                             : QSize();
}

// The slots App Store Connect wants without alpha: the marketing icons and the default-appearance
// iOS and watchOS single sizes.
bool mustBeOpaque(const QJsonObject& entry)
{
    const QString idiom = entry.value("idiom").toString();
    const QJsonValue platform = entry.value("platform");
    return idiom == QLatin1String("ios-marketing") || idiom == QLatin1String("watch-marketing") ||
           (idiom == QLatin1String("universal") &&
            (platform == QJsonValue("ios") || platform == QJsonValue("watchos")) &&
            !entry.contains("scale") && !entry.contains("appearances"));
}

// Xcode's layout: two blanks of indent per level, "key" : value, keys of each object in order.
QString notXcodeLayout(const QByteArray& text)
{
    if (!text.startsWith("{\n") || !text.endsWith("\n}\n"))
        return QStringLiteral("not one object ending in a line feed");
    QMap<int, QByteArray> lastKey; // by indent
    static const QRegularExpression member(QStringLiteral("^( *)\"([^\"]*)\" : "));
    for (const QByteArray& line : text.split('\n')) {
        const int indent = int(line.size() - QByteArray(line).replace(' ', "").size() == 0
                                   ? 0
                                   : line.indexOf(QByteArray(line).trimmed()));
        if (line.contains('\t') || indent % 2 != 0)
            return QStringLiteral("bad indent: ") + QString::fromUtf8(line);
        const QRegularExpressionMatch match = member.match(QString::fromUtf8(line));
        if (match.hasMatch()) {
            const QByteArray key = match.captured(2).toUtf8();
            if (lastKey.contains(indent) && !(lastKey.value(indent) < key))
                return QStringLiteral("keys out of order at: ") + QString::fromUtf8(line);
            lastKey.insert(indent, key);
        } else if (line.trimmed().startsWith('}') || line.trimmed().startsWith('{')) {
            // A new object: the keys of deeper objects start over.
            for (auto it = lastKey.begin(); it != lastKey.end();)
                it = it.key() > indent ? lastKey.erase(it) : std::next(it);
        }
    }
    return {};
}

} // namespace

class TestGenerate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void intoXcodeIconSet();
    void reportsWhatItWrote();
    void svgWithoutDisplay();
    void badInput_data();
    void badInput();
    void warnsAboutTheSource_data();
    void warnsAboutTheSource();
    void realProjects_data();
    void realProjects();
    void appearancesAndOpaqueIcons();
    void emptyFolderOfAnotherName();

private:
    QTemporaryDir inputs_;
    QString source_;
};

void TestGenerate::initTestCase()
{
    QVERIFY(inputs_.isValid());
    QImage image(1024, 1024, QImage::Format_ARGB32);
    image.fill(QColor(20, 60, 200));
    source_ = inputs_.filePath(QStringLiteral("icon.png"));
    QVERIFY(image.save(source_));
}

void TestGenerate::intoXcodeIconSet()
{
    QTemporaryDir project;
    QVERIFY(project.isValid());
    // Blanks, non-ASCII and a "%2F" a file manager may leave in a name: none of them may change
    // where a file goes.
    const QString iconSet =
        project.filePath(QStringLiteral("My App %2F \u00fc/Assets.xcassets/AppIcon.appiconset"));
    QVERIFY(copyFolder(testData(QStringLiteral("AppIcon.appiconset")), iconSet));
    // A file the set does not name, under the name its empty iPhone 20@2x slot gets: listed,
    // nothing written.
    QVERIFY(QFile::copy(testData("blue-20x10-no-dpi.png"), QDir(iconSet).filePath("AppIcon-20@2x.png")));
    const QMap<QString, QByteArray> before = snapshot(project.path());
    Run run = runIconFoundry({"generate", source_, "--xcode", iconSet});
    QCOMPARE(run.exitCode, 8);
    for (const QString& listed : {QDir(iconSet).filePath("AppIcon-20@2x.png"), QString("--force")})
        QVERIFY2(run.err.contains(listed), qPrintable(run.err));
    QCOMPARE(snapshot(project.path()), before);

    // The files the set names (AppIcon-20.png, Icon-180.png, mac-16.png, mac-32.png) are its own:
    // refreshed without --force.
    QVERIFY(QFile::remove(QDir(iconSet).filePath("AppIcon-20@2x.png")));
    run = runIconFoundry({"generate", source_, "--xcode", iconSet});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));

    const QMap<QString, QByteArray> written = snapshot(iconSet);
    const QByteArray text = written.value(QStringLiteral("Contents.json"));
    const QJsonArray images = QJsonDocument::fromJson(text).object().value("images").toArray();
    // The set decides: its 13 slots are filled, none added.
    QCOMPARE(images.size(), 13);
    QStringList names;
    for (const QJsonValue& value : images) {
        const QJsonObject entry = value.toObject();
        const QString name = entry.value("filename").toString();
        QVERIFY2(!name.isEmpty(), qPrintable(QJsonDocument(entry).toJson()));
        const QImage icon(QDir(iconSet).filePath(name));
        QVERIFY2(!icon.isNull(), qPrintable(name));
        QCOMPARE(icon.size(), promisedPixels(entry));
        names.append(name);
    }
    QCOMPARE(names, (QStringList{"AppIcon-20@2x.png", "AppIcon-20@3x.png", "AppIcon-29@2x.png",
                                 "AppIcon-29@3x.png", "AppIcon-40@2x.png", "AppIcon-40@3x.png",
                                 "AppIcon-60@2x.png", "Icon-180.png", "AppIcon-20.png", "AppIcon-1024.png",
                                 "mac-16.png", "mac-32.png", "AppIcon-Watch-24@2x.png"}));

    // Xcode's own layout, and running again changes nothing in it.
    QVERIFY(text.startsWith("{\n  \"images\" : [\n    {\n      \"filename\" : \"AppIcon-20@2x.png\",\n"));
    QVERIFY(text.endsWith("  \"properties\" : {\n    \"pre-rendered\" : true\n  }\n}\n"));
    QCOMPARE(runIconFoundry({"generate", source_, "--xcode", iconSet, "--quiet"}).exitCode, 0);
    QCOMPARE(snapshot(iconSet), written);
    // No temporary files left behind.
    for (const QString& name : written.keys())
        QVERIFY2(name.endsWith(".png") || name == QLatin1String("Contents.json"), qPrintable(name));
}

void TestGenerate::reportsWhatItWrote()
{
    QTemporaryDir out;
    QVERIFY(out.isValid());
    Run run = runIconFoundry({"generate", source_, "--out", out.path(), "-c", "121"});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QStringLiteral("Wrote 1 file in %1\n").arg(out.path()));
    QCOMPARE(run.err, QString()); // not a terminal: no progress

    run = runIconFoundry({"generate", source_, "--out", out.path(), "-c", "ipad", "--category", "APP STORE",
                          "--category", "111", "--json", "--force"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    const QJsonObject report = QJsonDocument::fromJson(run.out.toUtf8()).object();
    QCOMPARE(report.value("exitCode"), QJsonValue(0));
    QCOMPARE(report.value("errors").toArray(), QJsonArray());
    QCOMPARE(report.value("categories").toArray().size(), 2); // iPad named twice counts once
    QCOMPARE(report.value("replaced").toObject().value("files").toArray(), QJsonArray{"AppIcon-1024.png"});

    // File names and pixel sizes written down from the catalogue's iPad and App Store rows.
    const QList<QPair<QString, int>> expected = {
        {"AppIcon-20.png", 20},     {"AppIcon-20@2x.png", 40},  {"AppIcon-29.png", 29},
        {"AppIcon-29@2x.png", 58},  {"AppIcon-40.png", 40},     {"AppIcon-40@2x.png", 80},
        {"AppIcon-76.png", 76},     {"AppIcon-76@2x.png", 152}, {"AppIcon-83.5@2x.png", 167},
        {"AppIcon-1024.png", 1024},
    };
    const QJsonArray files = report.value("files").toArray();
    QCOMPARE(files.size(), expected.size());
    for (qsizetype i = 0; i < expected.size(); ++i) {
        const QJsonObject entry = files.at(i).toObject();
        const auto& [name, side] = expected[i];
        QCOMPARE(entry.value("filename").toString(), name);
        QCOMPARE(entry.value("pixelWidth").toInt(), side);
        QCOMPARE(entry.value("pixelHeight").toInt(), side);
        QCOMPARE(entry.value("replaced"), QJsonValue(name == QLatin1String("AppIcon-1024.png")));
        QCOMPARE(QImage(out.filePath(name)).size(), QSize(side, side));
    }
    // --out writes no Contents.json.
    QCOMPARE(QDir(out.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(), 10);

    run = runIconFoundry({"generate", source_, "--out", out.path(), "-c", "121", "--force", "--quiet"});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out + run.err, QString());
}

// Text, a rounded clip and a drop-shadow filter, drawn without any display and compared with
// librsvg's own command at the same size.
void TestGenerate::svgWithoutDisplay()
{
    QTemporaryDir out;
    QVERIFY(out.isValid());
    const Run run =
        runIconFoundry({"generate", testData("clipped-shadow-text.svg"), "--out", out.path(), "-c", "mac"},
                       {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    // A Mac icon keeps its alpha.
    const QImage icon = QImage(out.filePath("AppIcon-Mac-512@2x.png")).convertToFormat(QImage::Format_ARGB32);
    QCOMPARE(icon.size(), QSize(1024, 1024));

    QCOMPARE(qAlpha(icon.pixel(70, 70)), 0); // cut away by the rounded clip
    // Within 2 per channel: the filter works in linear RGB and rounds on the way back.
    const auto near = [](QRgb a, QRgb b) {
        return std::abs(qRed(a) - qRed(b)) <= 2 && std::abs(qGreen(a) - qGreen(b)) <= 2 &&
               std::abs(qBlue(a) - qBlue(b)) <= 2 && qAlpha(a) == qAlpha(b);
    };
    QVERIFY(near(icon.pixel(512, 300), qRgb(0xff, 0xd2, 0x3f))); // the circle
    QVERIFY(near(icon.pixel(100, 512), qRgb(0x2a, 0x6f, 0xdb))); // the background
    QVERIFY(qBlue(icon.pixel(512, 690)) < 0xdb - 20);            // the shadow under the circle
    int white = 0;
    for (int y = 720; y < 860; ++y)
        for (int x = 380; x < 650; ++x)
            white += icon.pixel(x, y) == qRgb(255, 255, 255);
    QVERIFY2(white > 2000, qPrintable(QString::number(white))); // the text

    QProcess reference;
    reference.start("rsvg-convert", {"-w", "1024", "-h", "1024", "-o", out.filePath("reference.png"),
                                     testData("clipped-shadow-text.svg")});
    QVERIFY2(reference.waitForFinished(60000) && reference.exitCode() == 0,
             "rsvg-convert (librsvg2-bin) is needed");
    const QImage expected = QImage(out.filePath("reference.png")).convertToFormat(QImage::Format_ARGB32);
    QCOMPARE(expected.size(), icon.size());
    int worst = 0;
    for (int y = 0; y < 1024; ++y)
        for (int x = 0; x < 1024; ++x) {
            const QRgb a = icon.pixel(x, y), b = expected.pixel(x, y);
            if (qAlpha(a) == 0 && qAlpha(b) == 0)
                continue;
            worst = std::max({worst, std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                              std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))});
        }
    QVERIFY2(worst <= 2, qPrintable(QString::number(worst)));
}

void TestGenerate::badInput_data()
{
    // Split at spaces; {src} the source, {text} a text file, {dir} the folder.
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    // "NAME=FIXTURE": a copy of FIXTURE in the folder; "NAME/": a folder; "NAME|": a named pipe
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("message");

    QTest::newRow("no source") << "--out {dir}" << 2 << QString() << "no source image";
    QTest::newRow("two sources") << "{src} {src} --out {dir}" << 2 << QString() << "one source";
    QTest::newRow("unknown option") << "{src} --out {dir} --frobnicate" << 2 << QString() << "frobnicate";
    QTest::newRow("no folder") << "{src}" << 2 << QString() << "--xcode DIR";
    QTest::newRow("two folders") << "{src} --out {dir} --xcode {dir}" << 2 << QString() << "--xcode DIR";
    QTest::newRow("option without value") << "{src} --out" << 2 << QString() << "out";
    QTest::newRow("missing source") << "{dir}/nothing.png --out {dir}" << 3 << QString() << "does not exist";
    QTest::newRow("undecodable source") << "{text} --out {dir}" << 3 << QString() << "not-an-image.png";
    QTest::newRow("source is a folder") << "{dir} --out {dir}" << 3 << QString() << "source image";
    QTest::newRow("unknown category name") << "{src} --out {dir} -c Toaster" << 4 << QString() << "'Toaster'";
    QTest::newRow("unknown category id") << "{src} --out {dir} -c iPad -c 999" << 4 << QString() << "'999'";
    QTest::newRow("missing folder") << "{src} --xcode {dir}/Missing.appiconset" << 5 << QString()
                                    << "does not exist";
    QTest::newRow("folder is a file")
        << "{src} --xcode {dir}/AppIcon.appiconset" << 6 << "AppIcon.appiconset=not-an-image.png"
        << "is a file";
    QTest::newRow("folder takes no new files")
        << "{src} --out /proc/self" << 6 << QString() << "cannot write";
    QTest::newRow("truncated Contents.json")
        << "{src} --xcode {dir} --force" << 7 << "Contents.json=contents-truncated.json"
        << "not valid JSON";
    QTest::newRow("Contents.json with an array root")
        << "{src} --xcode {dir} --force" << 7 << "Contents.json=contents-array-root.json"
        << "top level";
    QTest::newRow("Contents.json nested too deep")
        << "{src} --xcode {dir} --force" << 7 << "Contents.json=contents-nested-300-deep.json"
        << "deeper";
    QTest::newRow("non-UTF-8 Contents.json")
        << "{src} --xcode {dir}" << 7 << "Contents.json=contents-latin1-filename.json"
        << "not UTF-8";
    QTest::newRow("Contents.json with two images lists")
        << "{src} --xcode {dir} --force" << 7 << "Contents.json=contents-duplicate-images-key.json"
        << "the key \"images\" twice";
    // Refused at once: nobody ever writes into the pipe.
    QTest::newRow("Contents.json is a named pipe") << "{src} --xcode {dir} --force" << 7 << "Contents.json|"
                                                   << "is a named pipe";
    QTest::newRow("existing file without --force")
        << "{src} --out {dir} -c 121" << 8 << "AppIcon-1024.png=blue-20x10-no-dpi.png"
        << "AppIcon-1024.png";
    QTest::newRow("slot naming a file outside the set, without --force")
        << "{src} --xcode {dir} -c iphone" << 8 << "Contents.json=contents-filename-outside-set.json"
        << "iPhone 60pt (@2x)";
    QTest::newRow("an asset catalogue is no icon set")
        << "{src} --xcode {dir}/../Assets.xcassets" << 2 << QString() << "ends in .appiconset";
    QTest::newRow("a project folder is no icon set")
        << "{src} --xcode {dir}/.." << 2 << QString() << "ends in .appiconset";
    QTest::newRow("background not a colour")
        << "{src} --out {dir} --background nocolour" << 2 << QString() << "'nocolour'";
    QTest::newRow("background not opaque")
        << "{src} --out {dir} --background #80ff0000" << 2 << QString() << "opaque colour";
    QTest::newRow("missing dark image")
        << "{src} --out {dir} --dark {dir}/dark.png" << 3 << QString() << "the dark image";
    QTest::newRow("undecodable tinted image")
        << "{src} --out {dir} --tinted {text}" << 3 << QString() << "the tinted image";
    QTest::newRow("folder in the way of an icon")
        << "{src} --out {dir} -c 121 --force" << 9 << "AppIcon-1024.png/"
        << "AppIcon-1024.png";
    // Contents.json is staged while the icons are written: it must go when an icon cannot be written.
    QTest::newRow("folder in the way of an icon in an icon set")
        << "{src} --xcode {dir} -c 121 --force" << 9 << "AppIcon-1024.png/" << "AppIcon-1024.png";
}

void TestGenerate::badInput()
{
    QFETCH(QString, arguments);
    QFETCH(QString, setup);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    QTemporaryDir temporary;
    QVERIFY(temporary.isValid());
    // An icon-set folder, as --xcode wants.
    const QDir dir(temporary.filePath(QStringLiteral("Icons.appiconset")));
    QVERIFY(dir.mkpath(QStringLiteral(".")));
    const QString target = dir.filePath(setup.section(QLatin1Char('='), 0, 0));
    if (setup.endsWith(QLatin1Char('/')))
        QVERIFY(QDir().mkpath(target));
    else if (setup.endsWith(QLatin1Char('|')))
        QCOMPARE(::mkfifo(QFile::encodeName(target.chopped(1)).constData(), 0600), 0);
    else if (!setup.isEmpty())
        QVERIFY(QFile::copy(testData(setup.section(QLatin1Char('='), 1)), target));
    const QMap<QString, QByteArray> before = snapshot(temporary.path());

    QStringList command{"generate"};
    for (QString argument : arguments.split(QLatin1Char(' '))) {
        argument.replace("{src}", source_);
        argument.replace("{text}", testData("not-an-image.png"));
        argument.replace("{dir}", dir.path());
        command.append(argument);
    }
    for (const bool json : {false, true}) {
        QStringList call = command;
        if (json)
            call.insert(1, QStringLiteral("--json"));
        const Run run = runIconFoundry(call);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(run.err.startsWith("iconfoundry generate: "), qPrintable(run.err));
        QVERIFY2(run.err.contains(message), qPrintable(run.err));
        if (json) {
            const QJsonObject report = QJsonDocument::fromJson(run.out.toUtf8()).object();
            QCOMPARE(report.value("exitCode").toInt(), exitCode);
            QCOMPARE(report.value("errors").toArray().size(), 1);
        } else {
            QCOMPARE(run.out, QString());
        }
        QCOMPARE(snapshot(temporary.path()), before);
    }
}

// The window's two questions become warnings: the icons are still written, into a folder that
// --out makes when it is missing.
void TestGenerate::warnsAboutTheSource_data()
{
    QTest::addColumn<QSize>("pixels");
    QTest::addColumn<bool>("vector");
    QTest::addColumn<QStringList>("warnings"); // a phrase of each warning, in order

    const QString shape = QStringLiteral("neither square nor 4:3"), small = QStringLiteral("only");
    QTest::newRow("1024 square") << QSize(1024, 1024) << false << QStringList{};
    QTest::newRow("1024 x 768 landscape") << QSize(1024, 768) << false << QStringList{};
    QTest::newRow("1200 x 800 is stretched") << QSize(1200, 800) << false << QStringList{shape};
    QTest::newRow("100 square is blown up") << QSize(100, 100) << false << QStringList{small};
    QTest::newRow("768 x 1024 portrait: both") << QSize(768, 1024) << false << QStringList{shape, small};
    QTest::newRow("SVG of 64 px is drawn at every size") << QSize(64, 64) << true << QStringList{};
    QTest::newRow("SVG 300 x 100 is stretched") << QSize(300, 100) << true << QStringList{shape};
}

void TestGenerate::warnsAboutTheSource()
{
    QFETCH(QSize, pixels);
    QFETCH(bool, vector);
    QFETCH(QStringList, warnings);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QString source;
    if (vector) {
        source = dir.filePath(QStringLiteral("art.svg"));
        QFile file(source);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QStringLiteral("<svg xmlns='http://www.w3.org/2000/svg' width='%1' height='%2'>"
                                  "<rect width='%1' height='%2' fill='#2040c0'/></svg>")
                       .arg(pixels.width())
                       .arg(pixels.height())
                       .toUtf8());
    } else {
        source = dir.filePath(QStringLiteral("art.png"));
        QImage image(pixels, QImage::Format_ARGB32);
        image.fill(QColor(20, 60, 200));
        QVERIFY(image.save(source));
    }
    const QString out = dir.filePath(QStringLiteral("made/for/icons"));

    Run run = runIconFoundry({"generate", source, "--out", out, "-c", "121"});
    QCOMPARE(run.exitCode, 0);
    const QStringList lines = run.err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), warnings.size());
    for (qsizetype i = 0; i < lines.size(); ++i) {
        QVERIFY2(lines[i].startsWith(QStringLiteral("iconfoundry generate: warning: ")),
                 qPrintable(lines[i]));
        QVERIFY2(lines[i].contains(warnings[i]), qPrintable(lines[i]));
    }
    QCOMPARE(QImage(QDir(out).filePath(QStringLiteral("AppIcon-1024.png"))).size(), QSize(1024, 1024));

    // Quiet says nothing; the report still lists the warnings.
    run = runIconFoundry({"generate", source, "--out", out, "-c", "121", "--force", "--quiet", "--json"});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QString());
    QCOMPARE(QJsonDocument::fromJson(run.out.toUtf8()).object().value("warnings").toArray().size(),
             warnings.size());
}

// Icon sets as projects hold them. Every slot is filled, nothing is added, the set's own file
// names stay, no file is left that the set does not name, and a second run changes nothing.
void TestGenerate::realProjects_data()
{
    QTest::addColumn<QString>("fixture"); // under tests/data/projects
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("filesThere");       // the files the set names are there before the run
    QTest::addColumn<QStringList>("fileNames"); // of the entries afterwards, in order

    const QStringList single{"AppIcon-Single-1024.png", "AppIcon-Single-1024-Dark.png",
                             "AppIcon-Single-1024-Tinted.png"};
    QTest::newRow("Xcode 16 template: single size, dark, tinted")
        << "xcode16-single-size.appiconset" << QStringList() << false << single;
    QTest::newRow("Xcode 16 template with a dark image and a derived tinted one")
        << "xcode16-single-size.appiconset" << QStringList{"--dark", "{dark}", "--tinted", "auto"} << false
        << single;
    QTest::newRow("Xcode 13 template: per size, no files")
        << "xcode13-per-size.appiconset" << QStringList() << false
        << QStringList{"AppIcon-20@2x.png",   "AppIcon-20@3x.png", "AppIcon-29@2x.png", "AppIcon-29@3x.png",
                       "AppIcon-40@2x.png",   "AppIcon-40@3x.png", "AppIcon-60@2x.png", "AppIcon-60@3x.png",
                       "AppIcon-20.png",      "AppIcon-20@2x.png", "AppIcon-29.png",    "AppIcon-29@2x.png",
                       "AppIcon-40.png",      "AppIcon-40@2x.png", "AppIcon-76.png",    "AppIcon-76@2x.png",
                       "AppIcon-83.5@2x.png", "AppIcon-1024.png"};
    QTest::newRow("Flutter runner set with its own names")
        << "flutter-runner.appiconset" << QStringList() << true
        << QStringList{"Icon-App-20x20@2x.png",    "Icon-App-20x20@3x.png", "Icon-App-29x29@1x.png",
                       "Icon-App-29x29@2x.png",    "Icon-App-29x29@3x.png", "Icon-App-40x40@2x.png",
                       "Icon-App-40x40@3x.png",    "Icon-App-60x60@2x.png", "Icon-App-60x60@3x.png",
                       "Icon-App-20x20@1x.png",    "Icon-App-20x20@2x.png", "Icon-App-29x29@1x.png",
                       "Icon-App-29x29@2x.png",    "Icon-App-40x40@1x.png", "Icon-App-40x40@2x.png",
                       "Icon-App-76x76@1x.png",    "Icon-App-76x76@2x.png", "Icon-App-83.5x83.5@2x.png",
                       "Icon-App-1024x1024@1x.png"};
    QTest::newRow("React Native set named by pixels, one file for two slots")
        << "react-native.appiconset" << QStringList() << true
        << QStringList{"Icon-40.png",  "Icon-60.png",  "Icon-58.png",  "Icon-87.png",  "Icon-80.png",
                       "Icon-120.png", "Icon-120.png", "Icon-180.png", "Icon-1024.png"};
}

void TestGenerate::realProjects()
{
    QFETCH(QString, fixture);
    QFETCH(QStringList, options);
    QFETCH(bool, filesThere);
    QFETCH(QStringList, fileNames);

    QTemporaryDir project;
    QVERIFY(project.isValid());
    const QString iconSet = project.filePath(QStringLiteral("Assets.xcassets/AppIcon.appiconset"));
    QVERIFY(copyFolder(testData(QStringLiteral("projects/") + fixture), iconSet));
    if (filesThere) {
        // The template's own pictures: 2 x 2 placeholders that must all be replaced.
        QImage placeholder(2, 2, QImage::Format_ARGB32);
        placeholder.fill(Qt::red);
        for (const QString& name : fileNames)
            QVERIFY(placeholder.save(QDir(iconSet).filePath(name)));
    }
    QImage dark(1024, 1024, QImage::Format_ARGB32);
    dark.fill(QColor(200, 30, 30));
    const QString darkPath = project.filePath(QStringLiteral("dark.png"));
    QVERIFY(dark.save(darkPath));
    QStringList arguments{"generate", source_, "--xcode", iconSet, "--quiet"};
    for (const QString& option : options)
        arguments.append(option == QLatin1String("{dark}") ? darkPath : option);

    const Run run = runIconFoundry(arguments);
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    const QMap<QString, QByteArray> written = snapshot(iconSet);
    const QByteArray text = written.value(QStringLiteral("Contents.json"));
    const QString layout = notXcodeLayout(text);
    QVERIFY2(layout.isEmpty(), qPrintable(layout));
    const QJsonArray images = QJsonDocument::fromJson(text).object().value("images").toArray();
    QStringList names;
    for (const QJsonValue& value : images) {
        const QJsonObject entry = value.toObject();
        const QString name = entry.value("filename").toString();
        names.append(name);
        const QString path = QDir(iconSet).filePath(name);
        QCOMPARE(QImage(path).size(), promisedPixels(entry));
        QVERIFY2(pngColourType(path) == (mustBeOpaque(entry) ? 2 : 6), qPrintable(name));
    }
    QCOMPARE(names, fileNames);
    // No orphans: the PNG files in the folder are exactly those the set names.
    QStringList onDisk = QDir(iconSet).entryList({"*.png"}, QDir::Files, QDir::Name);
    QStringList named = QStringList(names).mid(0);
    named.removeDuplicates();
    named.sort();
    QCOMPARE(onDisk, named);

    const Run again = runIconFoundry(arguments);
    QVERIFY2(again.exitCode == 0, qPrintable(again.err));
    QCOMPARE(snapshot(iconSet), written);
}

// The App Store icons are laid over the background colour and lose their alpha; the dark icon
// comes from its own image, the tinted one is the source in greys; both keep their alpha.
void TestGenerate::appearancesAndOpaqueIcons()
{
    QTemporaryDir project;
    QVERIFY(project.isValid());
    const QString iconSet = project.filePath(QStringLiteral("Assets.xcassets/AppIcon.appiconset"));
    QVERIFY(copyFolder(testData(QStringLiteral("projects/xcode16-single-size.appiconset")), iconSet));
    // Left half transparent, right half blue.
    QImage art(1024, 1024, QImage::Format_ARGB32);
    art.fill(Qt::transparent);
    for (int y = 0; y < 1024; ++y)
        for (int x = 512; x < 1024; ++x)
            art.setPixel(x, y, qRgb(20, 60, 200));
    QImage dark(1024, 1024, QImage::Format_ARGB32);
    dark.fill(QColor(200, 30, 30, 128));
    const QString artPath = project.filePath("art.png"), darkPath = project.filePath("dark.png");
    QVERIFY(art.save(artPath));
    QVERIFY(dark.save(darkPath));

    const Run run = runIconFoundry({"generate", artPath, "--xcode", iconSet, "--dark", darkPath, "--tinted",
                                    "auto", "--background", "#336699"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    const QStringList warnings = run.err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings[0].contains("transparent pixels") && warnings[0].contains("#336699") &&
                 warnings[0].contains("1024pt"),
             qPrintable(warnings[0]));

    const QString main = QDir(iconSet).filePath("AppIcon-Single-1024.png");
    QCOMPARE(pngColourType(main), 2);
    const QImage icon(main);
    QCOMPARE(icon.pixel(100, 512), qRgb(0x33, 0x66, 0x99));
    QCOMPARE(icon.pixel(900, 512), qRgb(20, 60, 200));

    const QImage darkIcon =
        QImage(QDir(iconSet).filePath("AppIcon-Single-1024-Dark.png")).convertToFormat(QImage::Format_ARGB32);
    // Half-transparent red, within the rounding of premultiplied alpha.
    const QRgb darkPixel = darkIcon.pixel(512, 512);
    QCOMPARE(qAlpha(darkPixel), 128);
    QVERIFY2(std::abs(qRed(darkPixel) - 200) <= 1 && std::abs(qGreen(darkPixel) - 30) <= 1,
             qPrintable(QString::number(darkPixel, 16)));
    // (54 x 20 + 183 x 60 + 19 x 200 + 128) / 256 = 62, the weights of 0.2126, 0.7152, 0.0722.
    const QImage tinted = QImage(QDir(iconSet).filePath("AppIcon-Single-1024-Tinted.png"))
                              .convertToFormat(QImage::Format_ARGB32);
    QCOMPARE(tinted.pixel(900, 512), qRgba(62, 62, 62, 255));
    QCOMPARE(qAlpha(tinted.pixel(100, 512)), 0);
}

// An empty folder not named *.appiconset is filled with a warning; once it holds something, the
// name is required again, as for an asset catalogue.
void TestGenerate::emptyFolderOfAnotherName()
{
    QTemporaryDir temporary;
    QVERIFY(temporary.isValid());
    const QString folder = temporary.filePath(QStringLiteral("icons"));
    QVERIFY(QDir().mkpath(folder));

    Run run = runIconFoundry({"generate", source_, "--xcode", folder, "-c", "121"});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.err.startsWith(
                 QStringLiteral("iconfoundry generate: warning: '%1' is not named *.appiconset").arg(folder)),
             qPrintable(run.err));
    QCOMPARE(QDir(folder).entryList(QDir::Files), (QStringList{"AppIcon-1024.png", "Contents.json"}));

    run = runIconFoundry({"generate", source_, "--xcode", folder, "-c", "121"});
    QCOMPARE(run.exitCode, 2);
    QVERIFY2(run.err.contains(QStringLiteral("ends in .appiconset")), qPrintable(run.err));
}

QTEST_GUILESS_MAIN(TestGenerate)
#include "tst_generate.moc"
