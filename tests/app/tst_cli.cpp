#include "app/cli.h"
#include "common/testsupport.h"
#include "helper_runiconfoundry.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using namespace iconfoundry::test;

class TestCli : public QObject
{
    Q_OBJECT

private slots:
    void recognisesCommands_data();
    void recognisesCommands();
    void suggestsTheClosestCommand_data();
    void suggestsTheClosestCommand();
    void listsTheCatalogue();
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
    QTest::newRow("missing image") << QList<QByteArray>{"iconfoundry", "nope.png"} << false;
    QTest::newRow("hidden file") << QList<QByteArray>{"iconfoundry", ".icon"} << false;
    QTest::newRow("relative folder") << QList<QByteArray>{"iconfoundry", "art/icon"} << false;
    QTest::newRow("existing file without extension") << QList<QByteArray>{"iconfoundry", "lsit"} << false;
    QTest::newRow("mistyped command") << QList<QByteArray>{"iconfoundry", "genrate", "icon.png"} << true;
    QTest::newRow("other case") << QList<QByteArray>{"iconfoundry", "List"} << true;
    QTest::newRow("a word that is no file") << QList<QByteArray>{"iconfoundry", "icon"} << true;
    QTest::newRow("mistyped option") << QList<QByteArray>{"iconfoundry", "--verison"} << true;
    QTest::newRow("empty argument") << QList<QByteArray>{"iconfoundry", ""} << false;
    QTest::newRow("qt option") << QList<QByteArray>{"iconfoundry", "-platform", "offscreen"} << false;
    QTest::newRow("session option") << QList<QByteArray>{"iconfoundry", "-session", "1a2b"} << false;
    QTest::newRow("other option") << QList<QByteArray>{"iconfoundry", "--verbose"} << false;
}

void TestCli::recognisesCommands()
{
    QFETCH(QList<QByteArray>, arguments);
    std::vector<char*> argv;
    for (QByteArray& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    // Bare names are looked up in the current folder, which holds a file named "lsit" for this.
    QTemporaryDir folder;
    QVERIFY(QFile(folder.filePath("lsit")).open(QIODevice::WriteOnly));
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const bool recognised = isCommandLineInvocation(int(arguments.size()), argv.data());
    QVERIFY(QDir::setCurrent(previous));
    QTEST(recognised, "expected");
}

void TestCli::suggestsTheClosestCommand_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("suggested");
    QTest::newRow("letter dropped") << "genrate"
                                    << "generate";
    QTest::newRow("letter added") << "generated"
                                  << "generate";
    QTest::newRow("letters swapped") << "lsit"
                                     << "list";
    QTest::newRow("letter changed") << "lust"
                                    << "list";
    QTest::newRow("two letters dropped") << "ls"
                                         << "list";
    QTest::newRow("capitals") << "GENERATE"
                              << "generate";
    QTest::newRow("help") << "--hepl"
                          << "--help";
    QTest::newRow("version, one dash") << "-version"
                                       << "--version";
    QTest::newRow("three letters off") << "gen"
                                       << "";
    QTest::newRow("unrelated") << "icon"
                               << "";
    QTest::newRow("short alias is not suggested") << "-j"
                                                  << "";
    QTest::newRow("empty") << ""
                           << "";
}

void TestCli::suggestsTheClosestCommand()
{
    QFETCH(QString, typed);
    QTEST(closestCommand(typed), "suggested");
}

void TestCli::listsTheCatalogue()
{
    Run run = runIconFoundry({QStringLiteral("list")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QString());
    const QStringList lines = run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    // 13 category headings and 88 sizes: 85 rows, one of them listed under three categories.
    QCOMPARE(lines.size(), 101);
    QCOMPARE(lines.first(), QStringLiteral("iPhone (101, iphone)"));
    for (const char* size :
         {"^  AppIcon-83\\.5@2x\\.png +83\\.5 pt +@2x +167x167 px +ipad$",
          "^  AppIcon-Single-1024\\.png +1024 pt +single +1024x1024 px +universal ios$",
          "^  AppIcon-Single-1024-Tinted\\.png +1024 pt +single +1024x1024 px +universal ios tinted$",
          "^  AppIcon-Watch-Single-1024\\.png +1024 pt +single +1024x1024 px +universal watchos$",
          "^  Messages-60x45@3x\\.png +60x45 pt +@3x +180x135 px"})
        QVERIFY2(!lines.filter(QRegularExpression(QLatin1String(size))).isEmpty(), size);

    run = runIconFoundry({QStringLiteral("list"), QStringLiteral("--json")});
    QCOMPARE(run.exitCode, 0);
    QMap<qint64, int> counts;
    QJsonObject pad835;
    const QJsonDocument document = QJsonDocument::fromJson(run.out.toUtf8());
    for (const QJsonValue& category : document.object().value("categories").toArray()) {
        const QJsonArray sizes = category.toObject().value("sizes").toArray();
        counts[category.toObject().value("id").toInteger()] = int(sizes.size());
        for (const QJsonValue& size : sizes) {
            // The pad's, listed before the all-sizes layout's of the same file.
            if (pad835.isEmpty() && size.toObject().value("filename") == QJsonValue("AppIcon-83.5@2x.png"))
                pad835 = size.toObject();
        }
    }
    const QMap<qint64, int> expected{{101, 8},  {102, 3},  {111, 9},  {112, 4}, {121, 1}, {131, 1}, {132, 3},
                                     {133, 16}, {201, 10}, {301, 17}, {302, 1}, {401, 2}, {501, 13}};
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
    // "empty": no resources; "broken sizes": a truncated sizes list; with "console" the log goes
    // to standard error; "no display": DISPLAY, WAYLAND_DISPLAY and QT_QPA_PLATFORM empty;
    // "missing window module" and "text as window module": ICONFOUNDRY_WINDOW_MODULE names a file
    // that is not there, or one that is no module.
    QTest::addColumn<QString>("resources");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("stdoutPattern");
    QTest::addColumn<QString>("stderrPattern");

    const QString nothing = QStringLiteral("^$");
    const QString own; // the build's own resources
    QTest::newRow("version") << QStringList{"--version"} << own << 0
                             << "^iconfoundry \\d+\\.\\d+\\.\\d+ \\(build \\d+\\)\\n$" << nothing;
    QTest::newRow("help")
        << QStringList{"--help"} << own << 0
        << "iconfoundry list \\[--json\\][\\s\\S]*iconfoundry generate[\\s\\S]*\\nExit codes:\\n"
        << nothing;
    QTest::newRow("short help") << QStringList{"-h"} << own << 0 << "iconfoundry --version" << nothing;
    QTest::newRow("generate help documents exit codes")
        << QStringList{"generate", "--help"} << own << 0
        << "\\nExit codes:\\n  0  success\\n  1  the icon catalogue[^\\n]*\\n  2  bad options[^\\n]*\\n"
           "  3  the source image[^\\n]*\\n  4  unknown category\\n  5  the folder does not exist\\n"
           "  6  the folder is a file[^\\n]*\\n  7  the folder's Contents\\.json or the web manifest is "
           "broken[^\\n]*\\n"
           "  8  files or Contents\\.json slots[^\\n]*\\n  9  writing a file failed\\n"
        << nothing;
    QTest::newRow("unknown option") << QStringList{"list", "--xml"} << own << 2 << nothing
                                    << "unknown option '--xml'";
    QTest::newRow("no catalogue") << QStringList{"list"} << "empty" << 1 << nothing
                                  << "catalogue could not be read";
    QTest::newRow("no catalogue, logged") << QStringList{"list", "--json"} << "empty console" << 1 << nothing
                                          << "ERROR: File not found in bundle: ImageCategories\\.plist\\n";
    QTest::newRow("broken sizes, logged")
        << QStringList{"list"} << "broken sizes console" << 1 << nothing
        << "Error reading data from file '[^']*ImageSizes\\.plist', error = '[^']+'";
    QTest::newRow("mistyped command")
        << QStringList{"genrate", "icon.png", "--out", "."} << own << 2 << nothing
        << "^iconfoundry: 'genrate' is not a command; did you mean 'generate'\\? See 'iconfoundry "
           "--help'\\.\\n$";
    QTest::newRow("mistyped option")
        << QStringList{"--verison"} << own << 2 << nothing
        << "^iconfoundry: '--verison' is not a command; did you mean '--version'\\?";
    QTest::newRow("word that is neither command nor file")
        << QStringList{"icon"} << own << 2 << nothing
        << "^iconfoundry: 'icon' is neither a command nor an existing file\\. See 'iconfoundry "
           "--help'\\.\\n$";
    QTest::newRow("no display") << QStringList{} << "no display" << 1 << nothing
                                << "^iconfoundry: no display to show the window on \\(DISPLAY and "
                                   "WAYLAND_DISPLAY are not set\\)[^\\n]*\\n$";
    QTest::newRow("no display, file named")
        << QStringList{"icon.png"} << "no display" << 1 << nothing << "^iconfoundry: no display[^\\n]*\\n$";
    QTest::newRow("no display for X11")
        << QStringList{"-platform", "xcb"} << "no display" << 1 << nothing
        << "^iconfoundry: no display to show the window on \\(DISPLAY is not set\\)[^\\n]*\\n$";
    QTest::newRow("missing window module")
        << QStringList{} << "missing window module" << 1 << nothing
        << "^iconfoundry: cannot load the windows: [^\\n]*missing-window\\.so[^\\n]*\\n$";
    QTest::newRow("text as window module")
        << QStringList{"icon.png"} << "text as window module" << 1 << nothing
        << "^iconfoundry: cannot load the windows: [^\\n]*window\\.txt[^\\n]*\\n$";
    QTest::newRow("nothing logged by default")
        << QStringList{"list"} << "broken sizes" << 1 << nothing << "^iconfoundry list: [^\\n]*\\n$";
}

void TestCli::reportsProblems()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, resources);
    QFETCH(int, exitCode);
    QFETCH(QString, stdoutPattern);
    QFETCH(QString, stderrPattern);

    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    QStringList environment;
    if (resources == QLatin1String("no display"))
        environment << "DISPLAY="
                    << "WAYLAND_DISPLAY="
                    << "QT_QPA_PLATFORM=";
    else if (resources == QLatin1String("missing window module"))
        environment.append(QStringLiteral("ICONFOUNDRY_WINDOW_MODULE=") + folder.filePath("missing-window.so"));
    else if (resources == QLatin1String("text as window module"))
        environment.append(QStringLiteral("ICONFOUNDRY_WINDOW_MODULE=") + testData("window.txt"));
    else if (!resources.isEmpty())
        environment.append(QStringLiteral("ICONFOUNDRY_RESOURCE_DIR=") + folder.path());
    if (resources.contains(QLatin1String("console")))
        environment.append(QStringLiteral("ICONFOUNDRY_LOG_CONSOLE=1"));
    if (resources.startsWith(QLatin1String("broken sizes"))) {
        QVERIFY(QFile::copy(QFileInfo(iconFoundryBinary()).dir().filePath("resources/ImageCategories.plist"),
                            folder.filePath("ImageCategories.plist")));
        QVERIFY(QFile::copy(testData("sizes-truncated.plist"), folder.filePath("ImageSizes.plist")));
    }

    const Run run = runIconFoundry(arguments, environment);
    QCOMPARE(run.exitCode, exitCode);
    QVERIFY2(QRegularExpression(stdoutPattern).match(run.out).hasMatch(), qPrintable(run.out));
    QVERIFY2(QRegularExpression(stderrPattern).match(run.err).hasMatch(), qPrintable(run.err));
    // Each failure is logged once.
    QVERIFY(run.err.count(QLatin1String("File not found in bundle: ImageCategories.plist")) <= 1);
}

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
