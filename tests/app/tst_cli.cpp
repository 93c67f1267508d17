#include "app/cli.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

// Runs the built executable; environment entries "NAME=value" are added, "NAME=" removes NAME.
Run runIconFoundry(const QStringList& arguments, const QStringList& environment = {})
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("ICONFOUNDRY_RESOURCE_DIR"));
    env.remove(QStringLiteral("ICONFOUNDRY_LOG_CONSOLE"));
    for (const QString& entry : environment) {
        const QString name = entry.section(QLatin1Char('='), 0, 0);
        const QString value = entry.section(QLatin1Char('='), 1);
        if (value.isEmpty())
            env.remove(name);
        else
            env.insert(name, value);
    }
    process.setProcessEnvironment(env);
    process.start(
        QDir(qEnvironmentVariable("ICONFOUNDRY_BINARY_DIR")).filePath(QStringLiteral("iconfoundry")),
        arguments);
    Run run;
    if (!process.waitForFinished(60000))
        return run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

private slots:
    void recognisesCommands_data();
    void recognisesCommands();
    void listsTheCatalogue();
    void listsTheCatalogueAsJson();
    void reportsProblems_data();
    void reportsProblems();
};

void TestCli::recognisesCommands_data()
{
    QTest::addColumn<QList<QByteArray>>("arguments");
    QTest::addColumn<bool>("expected");
    QTest::newRow("no arguments") << QList<QByteArray>{"iconfoundry"} << false;
    QTest::newRow("list") << QList<QByteArray>{"iconfoundry", "list", "--json"} << true;
    QTest::newRow("generate") << QList<QByteArray>{"iconfoundry", "generate", "a.png"} << true;
    QTest::newRow("--help") << QList<QByteArray>{"iconfoundry", "--help"} << true;
    QTest::newRow("-h") << QList<QByteArray>{"iconfoundry", "-h"} << true;
    QTest::newRow("--version") << QList<QByteArray>{"iconfoundry", "--version"} << true;
    QTest::newRow("a file to open") << QList<QByteArray>{"iconfoundry", "/tmp/list"} << false;
    QTest::newRow("a file named like nothing")
        << QList<QByteArray>{"iconfoundry", "icon.png", "list"} << false;
    QTest::newRow("other case") << QList<QByteArray>{"iconfoundry", "List"} << false;
    QTest::newRow("empty argument") << QList<QByteArray>{"iconfoundry", ""} << false;
    QTest::newRow("qt option") << QList<QByteArray>{"iconfoundry", "-platform", "offscreen"} << false;
}

void TestCli::recognisesCommands()
{
    QFETCH(QList<QByteArray>, arguments);
    std::vector<char*> argv;
    for (QByteArray& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    QTEST(isCommandLineInvocation(int(arguments.size()), argv.data()), "expected");
}

void TestCli::listsTheCatalogue()
{
    const Run run = runIconFoundry({QStringLiteral("list")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QString());
    const QStringList lines = run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    // 10 category headings and 68 sizes.
    QCOMPARE(lines.size(), 78);
    QCOMPARE(lines.first(), QStringLiteral("iPhone (101, iphone)"));
    const QRegularExpression pad(
        QStringLiteral("^  AppIcon-83\\.5@2x\\.png +83\\.5 pt +@2x +167x167 px +ipad$"));
    QVERIFY(!lines.filter(pad).isEmpty());
    const QRegularExpression single(
        QStringLiteral("^  AppIcon-Single-1024\\.png +1024 pt +single +1024x1024 px +"
                       "universal ios$"));
    QVERIFY(!lines.filter(single).isEmpty());
    const QRegularExpression messages(
        QStringLiteral("^  Messages-60x45@3x\\.png +60x45 pt +@3x +180x135 px"));
    QVERIFY(!lines.filter(messages).isEmpty());
}

void TestCli::listsTheCatalogueAsJson()
{
    const Run run = runIconFoundry({QStringLiteral("list"), QStringLiteral("--json")});
    QCOMPARE(run.exitCode, 0);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(run.out.toUtf8(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    const QJsonArray categories = document.object().value("categories").toArray();
    QCOMPARE(categories.size(), 10);

    QMap<qint64, int> counts;
    QJsonObject pad835;
    for (const QJsonValue& category : categories) {
        const QJsonArray sizes = category.toObject().value("sizes").toArray();
        counts[category.toObject().value("id").toInteger()] = int(sizes.size());
        for (const QJsonValue& size : sizes) {
            if (size.toObject().value("filename").toString() == QLatin1String("AppIcon-83.5@2x.png"))
                pad835 = size.toObject();
        }
    }
    const QMap<qint64, int> expected{{101, 8}, {102, 3},  {111, 9},  {112, 4}, {121, 1},
                                     {131, 1}, {201, 10}, {301, 17}, {401, 2}, {501, 13}};
    QCOMPARE(counts, expected);
    QCOMPARE(pad835.value("width").toDouble(), 83.5);
    QCOMPARE(pad835.value("scale").toDouble(), 2.0);
    QCOMPARE(pad835.value("pixelWidth").toInt(), 167);
    QCOMPARE(pad835.value("idiom").toString(), QStringLiteral("ipad"));
    QCOMPARE(pad835.value("description").toString(), QStringLiteral("iPad 84pt (@2x)"));
}

void TestCli::reportsProblems_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("resources"); // "": the build's own, "empty", "broken sizes"
    QTest::addColumn<bool>("console");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("stdoutPattern");
    QTest::addColumn<QString>("stderrPattern");

    QTest::newRow("version") << QStringList{"--version"} << "" << false << 0
                             << "^iconfoundry \\d+\\.\\d+\\.\\d+ \\(build \\d+\\)\\n$"
                             << "^$";
    QTest::newRow("help") << QStringList{"--help"} << "" << false << 0 << "iconfoundry list \\[--json\\]"
                          << "^$";
    QTest::newRow("short help") << QStringList{"-h"} << "" << false << 0 << "iconfoundry --version"
                                << "^$";
    QTest::newRow("unknown option") << QStringList{"list", "--xml"} << "" << false << 2 << "^$"
                                    << "unknown option '--xml'";
    QTest::newRow("no catalogue") << QStringList{"list"} << "empty" << false << 1 << "^$"
                                  << "catalogue could not be read";
    QTest::newRow("no catalogue, logged") << QStringList{"list", "--json"} << "empty" << true << 1 << "^$"
                                          << "ERROR: File not found in bundle: ImageCategories\\.plist\\n";
    QTest::newRow("broken sizes, logged")
        << QStringList{"list"} << "broken sizes" << true << 1 << "^$"
        << "Error reading data from file '[^']*ImageSizes\\.plist', error = '[^']+'";
    QTest::newRow("nothing logged by default") << QStringList{"list"} << "broken sizes" << false << 1 << "^$"
                                               << "^iconfoundry list: [^\\n]*\\n$";
}

void TestCli::reportsProblems()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, resources);
    QFETCH(bool, console);
    QFETCH(int, exitCode);
    QFETCH(QString, stdoutPattern);
    QFETCH(QString, stderrPattern);

    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    QStringList environment;
    if (!resources.isEmpty()) {
        environment.append(QStringLiteral("ICONFOUNDRY_RESOURCE_DIR=") + folder.path());
        if (resources == QLatin1String("broken sizes")) {
            const QString shipped = QDir(qEnvironmentVariable("ICONFOUNDRY_BINARY_DIR"))
                                        .filePath("resources/ImageCategories.plist");
            QVERIFY(QFile::copy(shipped, folder.filePath("ImageCategories.plist")));
            QFile sizes(folder.filePath("ImageSizes.plist"));
            QVERIFY(sizes.open(QIODevice::WriteOnly));
            sizes.write("<plist><array><dict><key>size</key>");
        }
    }
    if (console)
        environment.append(QStringLiteral("ICONFOUNDRY_LOG_CONSOLE=1"));

    const Run run = runIconFoundry(arguments, environment);
    QCOMPARE(run.exitCode, exitCode);
    QVERIFY2(QRegularExpression(stdoutPattern).match(run.out).hasMatch(), qPrintable(run.out));
    QVERIFY2(QRegularExpression(stderrPattern).match(run.err).hasMatch(), qPrintable(run.err));
    // Each failure is logged once.
    QVERIFY(run.err.count(QLatin1String("File not found in bundle: ImageCategories.plist")) <= 1);
}

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
