// Runs the built `iconfoundry generate` the way a user does and looks at what it leaves on disk.
#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

namespace {

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

QString dataPath(const QString& name)
{
    return QDir(qEnvironmentVariable("ICONFOUNDRY_TEST_DATA")).filePath(name);
}

bool copyFolder(const QString& from, const QString& to)
{
    if (!QDir().mkpath(to))
        return false;
    for (const QString& name : QDir(from).entryList(QDir::Files)) {
        if (!QFile::copy(QDir(from).filePath(name), QDir(to).filePath(name)))
            return false;
    }
    return true;
}

// Every file and folder under root with a digest of its bytes: equal snapshots mean nothing
// was written, replaced or left behind.
QMap<QString, QByteArray> snapshot(const QString& root)
{
    QMap<QString, QByteArray> entries;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QByteArray digest = "folder";
        if (it.fileInfo().isFile()) {
            QFile file(path);
            if (file.open(QIODevice::ReadOnly))
                digest = QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex();
        }
        entries.insert(QDir(root).relativeFilePath(path), digest);
    }
    return entries;
}

// "83.5x83.5" and "2x" -> the pixel size the slot promises (points x scale, truncated; no scale
// is 1x).
QSize promisedPixels(const QJsonObject& entry)
{
    const QStringList sides = entry.value("size").toString().split(QLatin1Char('x'));
    const QString scaleText = entry.value("scale").toString();
    const double scale = scaleText.isEmpty() ? 1.0 : scaleText.chopped(1).toDouble();
    if (sides.size() != 2)
        return {};
    return QSize(int(std::trunc(sides[0].toDouble() * scale)), int(std::trunc(sides[1].toDouble() * scale)));
}

} // namespace

class TestGenerate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void intoXcodeIconSet();
    void categoriesByNameWithReport();
    void summaryAndQuiet();
    void helpDocumentsExitCodes();
    void badInput_data();
    void badInput();

private:
    Run iconfoundry(const QStringList& arguments);

    QString binary_;
    QTemporaryDir inputs_;
    QString source_;
};

void TestGenerate::initTestCase()
{
    binary_ = QDir(qEnvironmentVariable("ICONFOUNDRY_BINARY_DIR")).filePath(QStringLiteral("iconfoundry"));
    QVERIFY2(QFileInfo(binary_).isExecutable(), qPrintable(binary_));
    QVERIFY(QFileInfo(dataPath(QStringLiteral("AppIcon.appiconset/Contents.json"))).isFile());
    QVERIFY(inputs_.isValid());

    // A 1024-pixel source with a gradient and a disc, so that scaling has something to do.
    QImage image(1024, 1024, QImage::Format_ARGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, 1024, 1024);
    gradient.setColorAt(0, QColor(20, 60, 200));
    gradient.setColorAt(1, QColor(240, 140, 20));
    painter.fillRect(image.rect(), gradient);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QPointF(512, 512), 300, 300);
    painter.end();
    source_ = inputs_.filePath(QStringLiteral("icon.png"));
    QVERIFY(image.save(source_));

    QFile text(inputs_.filePath(QStringLiteral("not-an-image.png")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("This is a text file with a picture's name.\n");
}

Run TestGenerate::iconfoundry(const QStringList& arguments)
{
    QProcess process;
    process.start(binary_, arguments);
    Run run;
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

void TestGenerate::intoXcodeIconSet()
{
    QTemporaryDir project;
    QVERIFY(project.isValid());
    const QString iconSet = project.filePath(QStringLiteral("MyApp/Assets.xcassets/AppIcon.appiconset"));
    QVERIFY(copyFolder(dataPath(QStringLiteral("AppIcon.appiconset")), iconSet));
    const QMap<QString, QByteArray> before = snapshot(project.path());

    // A stale AppIcon-20.png and a slot held by Icon-180.png: listed, nothing written.
    Run run = iconfoundry({"generate", source_, "--xcode", iconSet});
    QCOMPARE(run.exitCode, 8);
    QVERIFY2(run.err.contains(QDir(iconSet).filePath("AppIcon-20.png")), qPrintable(run.err));
    QVERIFY2(run.err.contains("iPhone 60pt (@3x)"), qPrintable(run.err));
    QVERIFY2(run.err.contains("--force"), qPrintable(run.err));
    QCOMPARE(snapshot(project.path()), before);

    run = iconfoundry({"generate", source_, "--xcode", iconSet, "--force"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));

    QFile file(QDir(iconSet).filePath("Contents.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    const QJsonObject root = QJsonDocument::fromJson(text).object();
    const QJsonArray images = root.value("images").toArray();
    // 13 entries of the fixture; of the 18 default sizes, 10 found their slot and 8 iPad sizes
    // were appended.
    QCOMPARE(images.size(), 21);
    QCOMPARE(root.value("properties").toObject().value("pre-rendered"), QJsonValue(true));
    QCOMPARE(root.value("info").toObject().value("author"), QJsonValue("xcode"));
    QCOMPARE(images.at(0).toObject().value("filename"), QJsonValue("AppIcon-20@2x.png"));
    QCOMPARE(images.at(7).toObject().value("filename"), QJsonValue("AppIcon-60@3x.png"));
    QCOMPARE(images.at(12).toObject().value("role"), QJsonValue("notificationCenter"));

    int checked = 0;
    for (const QJsonValue& value : images) {
        const QJsonObject entry = value.toObject();
        const QString idiom = entry.value("idiom").toString();
        const QString name = entry.value("filename").toString();
        if (idiom == QLatin1String("watch")) {
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
    run = iconfoundry({"generate", source_, "--xcode", iconSet, "--force", "--quiet"});
    QCOMPARE(run.exitCode, 0);
    file.close();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), text);
    // No temporary files left behind.
    for (const QString& name : QDir(iconSet).entryList(QDir::Files | QDir::Hidden))
        QVERIFY2(name.endsWith(".png") || name == QLatin1String("Contents.json"), qPrintable(name));
}

void TestGenerate::categoriesByNameWithReport()
{
    QTemporaryDir out;
    QVERIFY(out.isValid());
    const Run run = iconfoundry({"generate", source_, "--out", out.path(), "-c", "ipad", "--category",
                                 "APP STORE", "--category", "111", "--json"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    QJsonParseError error;
    const QJsonObject report = QJsonDocument::fromJson(run.out.toUtf8(), &error).object();
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(report.value("exitCode"), QJsonValue(0));
    QCOMPARE(report.value("errors").toArray(), QJsonArray());
    QCOMPARE(report.value("categories").toArray().size(), 2); // iPad named twice counts once

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
        QCOMPARE(entry.value("filename").toString(), expected[i].first);
        QCOMPARE(entry.value("pixelWidth").toInt(), expected[i].second);
        QCOMPARE(entry.value("pixelHeight").toInt(), expected[i].second);
        QCOMPARE(entry.value("replaced"), QJsonValue(false));
        QCOMPARE(QImage(out.filePath(expected[i].first)).size(),
                 QSize(expected[i].second, expected[i].second));
    }
    // --out writes no Contents.json.
    QCOMPARE(QDir(out.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(), 10);
}

void TestGenerate::summaryAndQuiet()
{
    QTemporaryDir out;
    QVERIFY(out.isValid());
    Run run = iconfoundry({"generate", source_, "--out", out.path(), "-c", "121"});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QStringLiteral("Wrote 1 file in %1\n").arg(out.path()));
    QCOMPARE(run.err, QString()); // not a terminal: no progress

    run = iconfoundry({"generate", source_, "--out", out.path(), "-c", "121", "--force", "--quiet"});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QString());
    QCOMPARE(run.err, QString());

    run = iconfoundry({"generate", source_, "--out", out.path(), "-c", "121", "--force", "--json"});
    QCOMPARE(run.exitCode, 0);
    const QJsonObject report = QJsonDocument::fromJson(run.out.toUtf8()).object();
    QCOMPARE(report.value("files").toArray().at(0).toObject().value("replaced"), QJsonValue(true));
    QCOMPARE(report.value("replaced").toObject().value("files").toArray(), QJsonArray{"AppIcon-1024.png"});
}

void TestGenerate::helpDocumentsExitCodes()
{
    const Run run = iconfoundry({"generate", "--help"});
    QCOMPARE(run.exitCode, 0);
    for (const char* line : {"Exit codes:", "  2  bad options", "  3  the source image",
                             "  4  unknown category", "  5  the folder does not exist",
                             "  6  the folder is a file", "  7  the folder's Contents.json is broken",
                             "  8  files or Contents.json slots", "  9  writing a file failed"})
        QVERIFY2(run.out.contains(QLatin1String(line)), line);
    const Run general = iconfoundry({"--help"});
    QCOMPARE(general.exitCode, 0);
    QVERIFY2(general.out.contains("iconfoundry generate"), qPrintable(general.out));
    QVERIFY2(general.out.contains("Exit codes"), qPrintable(general.out));
}

void TestGenerate::badInput_data()
{
    QTest::addColumn<QStringList>("arguments"); // {src} source, {text} a text file, {dir} the folder
    QTest::addColumn<QString>("setup");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("no source") << QStringList{"--out", "{dir}"} << "" << 2 << "no source image";
    QTest::newRow("two sources") << QStringList{"{src}", "{src}", "--out", "{dir}"} << "" << 2
                                 << "one source";
    QTest::newRow("unknown option") << QStringList{"{src}", "--out", "{dir}", "--frobnicate"} << "" << 2
                                    << "frobnicate";
    QTest::newRow("no folder") << QStringList{"{src}"} << "" << 2 << "--xcode DIR";
    QTest::newRow("two folders") << QStringList{"{src}", "--out", "{dir}", "--xcode", "{dir}"} << "" << 2
                                 << "--xcode DIR";
    QTest::newRow("option without value") << QStringList{"{src}", "--out"} << "" << 2 << "out";
    QTest::newRow("missing source") << QStringList{"{dir}/nothing.png", "--out", "{dir}"} << "" << 3
                                    << "does not exist";
    QTest::newRow("undecodable source")
        << QStringList{"{text}", "--out", "{dir}"} << "" << 3 << "not-an-image.png";
    QTest::newRow("source is a folder")
        << QStringList{"{dir}", "--out", "{dir}"} << "" << 3 << "source image";
    QTest::newRow("unknown category name")
        << QStringList{"{src}", "--out", "{dir}", "-c", "Toaster"} << "" << 4 << "'Toaster'";
    QTest::newRow("unknown category id")
        << QStringList{"{src}", "--out", "{dir}", "-c", "iPad", "-c", "999"} << "" << 4 << "'999'";
    QTest::newRow("missing folder") << QStringList{"{src}", "--xcode", "{dir}/Missing.appiconset"} << "" << 5
                                    << "does not exist";
    QTest::newRow("folder is a file") << QStringList{"{src}", "--xcode", "{dir}/AppIcon.appiconset"}
                                      << "file-named-folder" << 6 << "is a file";
    QTest::newRow("folder takes no new files")
        << QStringList{"{src}", "--out", "/proc/self"} << "" << 6 << "cannot write";
    QTest::newRow("truncated Contents.json") << QStringList{"{src}", "--xcode", "{dir}", "--force"}
                                             << "contents-truncated.json" << 7 << "not valid JSON";
    QTest::newRow("Contents.json with an array root") << QStringList{"{src}", "--xcode", "{dir}", "--force"}
                                                      << "contents-array-root.json" << 7 << "top level";
    QTest::newRow("non-UTF-8 Contents.json")
        << QStringList{"{src}", "--xcode", "{dir}"} << "contents-latin1-filename.json" << 7 << "not UTF-8";
    QTest::newRow("existing file without --force")
        << QStringList{"{src}", "--out", "{dir}", "-c", "App Store"} << "existing-icon" << 8
        << "AppIcon-1024.png";
    QTest::newRow("slot of another file without --force")
        << QStringList{"{src}", "--xcode", "{dir}", "-c", "iphone"}
        << "contents-slots-held-by-other-files.json" << 8 << "iPhone 60pt (@2x)";
    QTest::newRow("folder in the way of an icon")
        << QStringList{"{src}", "--out", "{dir}", "-c", "121", "--force"} << "folder-named-icon" << 9
        << "AppIcon-1024.png";
}

void TestGenerate::badInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, setup);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    if (setup == QLatin1String("file-named-folder")) {
        QFile file(dir.filePath("AppIcon.appiconset"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("a file where the icon set should be\n");
    } else if (setup == QLatin1String("existing-icon")) {
        QImage old(8, 8, QImage::Format_ARGB32);
        old.fill(Qt::red);
        QVERIFY(old.save(dir.filePath("AppIcon-1024.png")));
    } else if (setup == QLatin1String("folder-named-icon")) {
        QVERIFY(QDir().mkpath(dir.filePath("AppIcon-1024.png")));
    } else if (setup.endsWith(QLatin1String(".json"))) {
        QVERIFY(QFile::copy(dataPath(setup), dir.filePath("Contents.json")));
    }
    const QMap<QString, QByteArray> before = snapshot(dir.path());

    QStringList command{"generate"};
    for (QString argument : arguments) {
        argument.replace("{src}", source_);
        argument.replace("{text}", inputs_.filePath("not-an-image.png"));
        argument.replace("{dir}", dir.path());
        command.append(argument);
    }
    for (const bool json : {false, true}) {
        QStringList call = command;
        if (json)
            call.insert(1, QStringLiteral("--json"));
        const Run run = iconfoundry(call);
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

QTEST_GUILESS_MAIN(TestGenerate)
#include "tst_generate.moc"
