#include "common/testsupport.h"
#include "helper_runiconfoundry.h"

#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
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

// Every file and folder under root with its bytes: equal snapshots mean nothing was written,
// replaced or left behind.
QMap<QString, QByteArray> snapshot(const QString& root)
{
    QMap<QString, QByteArray> entries;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        // Only regular files are opened: opening a named pipe would wait for a writer.
        entries.insert(QDir(root).relativeFilePath(file.fileName()),
                       QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly)
                           ? file.readAll()
                           : QByteArray("not a readable file"));
    }
    return entries;
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
    const QMap<QString, QByteArray> before = snapshot(project.path());

    // A stale AppIcon-20.png and a slot held by Icon-180.png: listed, nothing written.
    Run run = runIconFoundry({"generate", source_, "--xcode", iconSet});
    QCOMPARE(run.exitCode, 8);
    for (const QString& listed :
         {QDir(iconSet).filePath("AppIcon-20.png"), QString("iPhone 60pt (@3x)"), QString("--force")})
        QVERIFY2(run.err.contains(listed), qPrintable(run.err));
    QCOMPARE(snapshot(project.path()), before);

    run = runIconFoundry({"generate", source_, "--xcode", iconSet, "--force"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));

    const QMap<QString, QByteArray> written = snapshot(iconSet);
    const QByteArray text = written.value(QStringLiteral("Contents.json"));
    const QJsonArray images = QJsonDocument::fromJson(text).object().value("images").toArray();
    // 13 entries of the fixture; of the 18 default sizes, 10 found their slot and 8 iPad sizes
    // were appended.
    QCOMPARE(images.size(), 21);

    int checked = 0;
    for (const QJsonValue& value : images) {
        const QJsonObject entry = value.toObject();
        const QString name = entry.value("filename").toString();
        if (entry.value("idiom") == QJsonValue("watch")) {
            QVERIFY(name.isEmpty()); // another idiom's empty slot stays empty
            continue;
        }
        QVERIFY2(!name.isEmpty(), qPrintable(QJsonDocument(entry).toJson()));
        const QImage icon(QDir(iconSet).filePath(name));
        QVERIFY2(!icon.isNull(), qPrintable(name));
        QCOMPARE(icon.size(), promisedPixels(entry));
        ++checked;
    }
    QCOMPARE(checked, 20);
    QCOMPARE(QImage(QDir(iconSet).filePath("AppIcon-83.5@2x.png")).size(), QSize(167, 167));

    // Xcode's own layout, and running again changes nothing in it.
    QVERIFY(text.startsWith("{\n  \"images\" : [\n    {\n      \"filename\" : \"AppIcon-20@2x.png\",\n"));
    QVERIFY(text.endsWith("  \"properties\" : {\n    \"pre-rendered\" : true\n  }\n}\n"));
    QCOMPARE(runIconFoundry({"generate", source_, "--xcode", iconSet, "--force", "--quiet"}).exitCode, 0);
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
        runIconFoundry({"generate", testData("clipped-shadow-text.svg"), "--out", out.path(), "-c", "121"},
                       {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    const QImage icon = QImage(out.filePath("AppIcon-1024.png")).convertToFormat(QImage::Format_ARGB32);
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
    QTest::newRow("slot of another file without --force")
        << "{src} --xcode {dir} -c iphone" << 8 << "Contents.json=contents-slots-held-by-other-files.json"
        << "iPhone 60pt (@2x)";
    QTest::newRow("folder in the way of an icon")
        << "{src} --out {dir} -c 121 --force" << 9 << "AppIcon-1024.png/"
        << "AppIcon-1024.png";
}

void TestGenerate::badInput()
{
    QFETCH(QString, arguments);
    QFETCH(QString, setup);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString target = dir.filePath(setup.section(QLatin1Char('='), 0, 0));
    if (setup.endsWith(QLatin1Char('/')))
        QVERIFY(QDir().mkpath(target));
    else if (setup.endsWith(QLatin1Char('|')))
        QCOMPARE(::mkfifo(QFile::encodeName(target.chopped(1)).constData(), 0600), 0);
    else if (!setup.isEmpty())
        QVERIFY(QFile::copy(testData(setup.section(QLatin1Char('='), 1)), target));
    const QMap<QString, QByteArray> before = snapshot(dir.path());

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
        QCOMPARE(snapshot(dir.path()), before);
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

QTEST_GUILESS_MAIN(TestGenerate)
#include "tst_generate.moc"
