#include "app/crashreport.h"
#include "app/helper_httpserver.h"
#include "app/issuescontroller.h"
#include "common/testsupport.h"
#include "mainwindow/helper_scriptedalerts.h"
#include "platform/texts.h"

#include <QApplication>
#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using namespace iconfoundry::test;

// Called only through its address, so that a report can point into it.
[[gnu::noinline]] int markerFunctionForSymbols(int value)
{
    return value * 3 + 1;
}

namespace {

QString binary()
{
    return QDir(qEnvironmentVariable("ICONFOUNDRY_BINARY_DIR")).filePath(QStringLiteral("iconfoundry"));
}

QProcessEnvironment appEnvironment(const QString& home, const QString& crashKind)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("ICONFOUNDRY_RESOURCE_DIR"));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("ICONFOUNDRY_LOG_JOURNAL"), QStringLiteral("0"));
    // In a sanitizer build the program's own handler must see the fault, not AddressSanitizer's.
    const QString sanitizer = env.value(QStringLiteral("ASAN_OPTIONS"));
    env.insert(QStringLiteral("ASAN_OPTIONS"), sanitizer.isEmpty()
                                                   ? QStringLiteral("handle_segv=0")
                                                   : sanitizer + QStringLiteral(":handle_segv=0"));
    env.insert(QStringLiteral("XDG_STATE_HOME"), home + QStringLiteral("/state"));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/config"));
    if (crashKind.isEmpty())
        env.remove(QStringLiteral("ICONFOUNDRY_TEST_CRASH"));
    else
        env.insert(QStringLiteral("ICONFOUNDRY_TEST_CRASH"), crashKind);
    return env;
}

// Every line of every log file under folder.
QString allLogText(const QString& folder)
{
    QString text;
    for (QDirIterator it(folder, {QStringLiteral("*.log")}, QDir::Files); it.hasNext();)
        text += QString::fromUtf8(readFile(it.next()));
    return text;
}

QString writeReport(const QString& folder, const QString& name, const QByteArray& contents)
{
    QDir().mkpath(folder);
    const QString path = QDir(folder).filePath(name);
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(contents);
    return path;
}

// A report of a crash in this very process, in markerFunctionForSymbols.
QByteArray reportOfThisProcess(qint64 time)
{
    const auto pc = quint64(reinterpret_cast<quintptr>(&markerFunctionForSymbols)) + 4;
    return "IconFoundry crash report\nversion: 2.10 (31)\ntime: " + QByteArray::number(time) +
           "\npid: 4242\nsignal: 11\ncode: 1\naddress: 0x10\nthread: 4243 worker\npc: 0x" +
           QByteArray::number(pc, 16) + "\nframes:\n0x1234\n0x" + QByteArray::number(pc, 16) + "\nmaps:\n" +
           readFile(QStringLiteral("/proc/self/maps")) + "end\n";
}

class FixedInfoDelegate : public IssuesControllerDelegate
{
public:
    QString additionalIssueInfoForController(IssuesController* controller) override
    {
        controller->setLogURLs(logs);
        return QStringLiteral("No image loaded.");
    }
    std::optional<QList<QUrl>> logs;
};

} // namespace

class TestCrashReports : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Texts::installTranslations(); }

    void realCrashIsOfferedAtNextLaunch_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("signal");
        QTest::addColumn<QString>("function");
        QTest::addColumn<QString>("reason");
        QTest::newRow("null pointer") << "segv"
                                      << "SIGSEGV"
                                      << "writeThroughNullPointer()"
                                      << "";
        QTest::newRow("abort") << "abort"
                               << "SIGABRT"
                               << "CrashHandler::crashDeliberately("
                               << "";
        QTest::newRow("uncaught exception") << "terminate"
                                            << "SIGABRT"
                                            << "throwUncaught()"
                                            << "Reason: uncaught exception: deliberate uncaught exception";
        QTest::newRow("Qt fatal message") << "qfatal"
                                          << "SIGABRT"
                                          << "CrashHandler::crashDeliberately("
                                          << "Reason: Qt fatal message: deliberate fatal message";
    }

    // The real application crashes; the next launch offers the report with a backtrace in
    // function names and the log lines written just before the crash; it is never offered again.
    void realCrashIsOfferedAtNextLaunch()
    {
        QFETCH(QString, kind);
        QFETCH(QString, signal);
        QFETCH(QString, function);
        QFETCH(QString, reason);
        QTemporaryDir home;
        const QString reports = home.filePath(QStringLiteral("state/iconfoundry/CrashReports"));
        const QString logs = home.filePath(QStringLiteral("state/iconfoundry/Logs"));

        QProcess crashing;
        crashing.setProcessEnvironment(appEnvironment(home.path(), kind));
        crashing.start(binary(), {});
        QVERIFY(crashing.waitForFinished(60000));
        QCOMPARE(crashing.exitStatus(), QProcess::CrashExit);
        QCOMPARE(QDir(reports).entryList({QStringLiteral("*.crash")}, QDir::Files).size(), 1);

        QProcess next;
        next.setProcessEnvironment(appEnvironment(home.path(), {}));
        next.start(binary(), {});
        QVERIFY(next.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(allLogText(logs).contains(QLatin1String("Offering crash report")), 60000);
        next.terminate();
        next.waitForFinished(30000);

        const QString log = allLogText(logs);
        const QString offer = log.mid(log.indexOf(QLatin1String("Offering crash report")));
        QVERIFY2(offer.contains(QStringLiteral("Signal: ") + signal), qPrintable(offer));
        QVERIFY2(offer.contains(function), qPrintable(offer));
#ifdef ICONFOUNDRY_TESTS_HAVE_LINE_INFO
        QVERIFY2(offer.contains(QLatin1String("crashhandler.cpp:")), qPrintable(offer));
        QVERIFY2(offer.contains(QLatin1String("main (main.cpp:")), qPrintable(offer));
#else
        QVERIFY2(offer.contains(QLatin1String("main")), qPrintable(offer));
#endif
        QVERIFY2(offer.contains(QLatin1String("Version: 0.1.0 (1)")), qPrintable(offer));
        QVERIFY2(offer.contains(QLatin1String("Thread: ")), qPrintable(offer));
        QVERIFY2(offer.contains(reason), qPrintable(offer));
        QVERIFY2(offer.contains(QLatin1String("Application state: No image loaded.")), qPrintable(offer));
        QVERIFY2(
            offer.contains(QStringLiteral("Last log lines:")) &&
                offer.contains(QStringLiteral("Crashing on purpose (%1) to test crash reports").arg(kind)),
            qPrintable(offer));

        // Offered once: the file is marked, and another look finds nothing.
        QCOMPARE(QDir(reports).entryList({QStringLiteral("*.crash")}, QDir::Files).size(), 0);
        QCOMPARE(QDir(reports).entryList({QStringLiteral("*.offered")}, QDir::Files).size(), 1);
        IssuesController again;
        again.setReportsDirectory(reports);
        QCOMPARE(again.reportUnhandledIssuesIfExists(true), 0);
    }

    void notAReport_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("other first line") << QByteArray("Some crash report\nframes:\n0x10\nend\n");
        QTest::newRow("no frames") << QByteArray(
            "IconFoundry crash report\nsignal: 11\nframes:\nmaps:\nend\n");
        QTest::newRow("frames not numbers") << QByteArray("IconFoundry crash report\nframes:\nzz\n-\nend\n");
    }

    void notAReport()
    {
        QFETCH(QByteArray, contents);
        QTemporaryDir folder;
        QVERIFY(!CrashReport::read(writeReport(folder.path(), QStringLiteral("crash-1-1.crash"), contents)));
    }

    // Addresses of this process become its function, file and line; the frames before the
    // program counter (the handler's own) are left out; unknown addresses stay numbers.
    void symbolicatesThisProcess()
    {
        QTemporaryDir folder;
        const auto report = CrashReport::read(
            writeReport(folder.path(), QStringLiteral("crash-1-1.crash"), reportOfThisProcess(1700000000)));
        QVERIFY(report);
        QCOMPARE(report->signal, 11);
        QCOMPARE(report->threadId, 4243);
        QCOMPARE(report->threadName, QStringLiteral("worker"));
        QCOMPARE(report->version, QStringLiteral("2.10 (31)"));
        QCOMPARE(report->faultAddress, quint64(0x10));
        QCOMPARE(report->frames.size(), 1);
        QCOMPARE(report->frames.first().function, QStringLiteral("markerFunctionForSymbols(int)"));
#ifdef ICONFOUNDRY_TESTS_HAVE_LINE_INFO
        QVERIFY2(report->frames.first().sourceFile.endsWith(QLatin1String("tst_crashreports.cpp")),
                 qPrintable(report->frames.first().sourceFile));
        QVERIFY(report->symbolicatedBacktrace().startsWith(
            QLatin1String("#0   markerFunctionForSymbols(int) (tst_crashreports.cpp:")));
#endif
        QCOMPARE(report->frames.first().module, QStringLiteral("app_tst_crashreports"));
        QVERIFY(report->text().startsWith(
            QLatin1String("Signal: SIGSEGV (code 1, address 0x10)\nTime: 2023-11-14T22:13:20Z\n")));
        QCOMPARE(markerFunctionForSymbols(2), 7);
    }

    // A module rebuilt after the crash (another file at the same path) is not looked up: its
    // names would be wrong.
    void replacedModuleIsNotResolved()
    {
        QByteArray report = reportOfThisProcess(1700000000);
        const QByteArray self = QFile::encodeName(QCoreApplication::applicationFilePath());
        QByteArray maps;
        for (QByteArray line : report.split('\n')) {
            if (line.endsWith(self)) {
                QList<QByteArray> fields = line.simplified().split(' ');
                fields[4] = QByteArray::number(fields.at(4).toULongLong() + 1);
                line = fields.join(' ');
            }
            maps += line + '\n';
        }
        QTemporaryDir folder;
        const auto read =
            CrashReport::read(writeReport(folder.path(), QStringLiteral("crash-1-1.crash"), maps));
        QVERIFY(read);
        QCOMPARE(read->frames.size(), 1);
        QCOMPARE(read->frames.first().function, QString());
        QCOMPARE(read->frames.first().module, QStringLiteral("app_tst_crashreports"));
        QCOMPARE(read->changedModules, QStringList{QStringLiteral("app_tst_crashreports")});
        QVERIFY(read->text().endsWith(
            QLatin1String("\nNot resolved, replaced since the crash: app_tst_crashreports")));
    }

    void offersEachReportOnce_data()
    {
        QTest::addColumn<bool>("withEndpoint");
        QTest::addColumn<QStringList>("buttons");
        QTest::newRow("no endpoint: save or dismiss") << false << QStringList{"Save Report…", "Dismiss"};
        QTest::newRow("endpoint: send, save or dismiss")
            << true << QStringList{"Send Report", "Save Report…", "Dismiss"};
    }

    void offersEachReportOnce()
    {
        QFETCH(bool, withEndpoint);
        QFETCH(QStringList, buttons);
        QTemporaryDir folder;
        writeReport(folder.path(), QStringLiteral("crash-1700000000-1.crash"),
                    reportOfThisProcess(1700000000));
        writeReport(folder.path(), QStringLiteral("crash-1700000100-2.crash"), "not a report");
        ScopedPresenter<ScriptedAlertPresenter, AlertPresenter> alerts;
        alerts->answers = {Alert::FirstButtonReturn + (withEndpoint ? 2 : 1)}; // dismiss
        IssuesController controller;
        controller.setReportsDirectory(folder.path());
        controller.setLogsDirectory(folder.filePath(QStringLiteral("none")));
        controller.setEndpoint(withEndpoint ? QUrl(QStringLiteral("http://127.0.0.1:9/")) : QUrl());

        QCOMPARE(controller.reportUnhandledIssuesIfExists(true), 1);
        QTRY_COMPARE(alerts->alerts.size(), 1);
        QCOMPARE(alerts->alerts.first().buttonTitles, buttons);
        QCOMPARE(alerts->alerts.first().messageText,
                 QStringLiteral("IconFoundry quit unexpectedly the last time it ran."));
        QVERIFY(alerts->alerts.first().informativeText.contains(
            QLatin1String("SIGSEGV in markerFunctionForSymbols(int)")));
        QVERIFY(alerts->alerts.first().detailedText.contains(
            QLatin1String("#0   markerFunctionForSymbols(int)")));

        QCOMPARE(controller.reportUnhandledIssuesIfExists(true), 0);
        QTest::qWait(0);
        QCOMPARE(alerts->alerts.size(), 1);
        QCOMPARE(QDir(folder.path()).entryList({QStringLiteral("*.offered")}).size(), 2);
    }

    // Send: one multipart POST with the report (and the delegate's line) and the log files.
    void sendsToEndpoint()
    {
        QTemporaryDir folder;
        writeReport(folder.path(), QStringLiteral("crash-1700000000-1.crash"),
                    reportOfThisProcess(1700000000));
        const QString logFile =
            writeReport(folder.path(), QStringLiteral("app 2023-11-14 22-00.log"), "line one\nline two\n");
        {
            QFile file(logFile); // last written at the crash
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(1700000000),
                                     QFileDevice::FileModificationTime));
        }
        TestHttpServer server;
        ScopedPresenter<ScriptedAlertPresenter, AlertPresenter> alerts;
        alerts->answers = {Alert::FirstButtonReturn};
        FixedInfoDelegate delegate;
        delegate.logs = QList<QUrl>{QUrl::fromLocalFile(logFile)};
        IssuesController controller;
        controller.setDelegate(&delegate);
        controller.setReportsDirectory(folder.path());
        controller.setLogsDirectory(folder.path());
        controller.setEndpoint(server.url(QStringLiteral("/reports")));
        ScopedRecordingLogger log;

        QCOMPARE(controller.reportUnhandledIssuesIfExists(true), 1);
        QTRY_COMPARE(server.requests.size(), 1);
        const TestHttpServer::Request& request = server.requests.first();
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.path, QByteArray("/reports"));
        QVERIFY(request.headers.value("content-type").startsWith("multipart/form-data; boundary="));
        QVERIFY(request.body.contains("name=\"report\""));
        QVERIFY(request.body.contains("Signal: SIGSEGV"));
        QVERIFY(request.body.contains("Application state: No image loaded."));
        QVERIFY(request.body.contains("Last log lines:\nline one\nline two"));
        QVERIFY(request.body.contains(
            "name=\"version\"\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n2.10 (31)"));
        QVERIFY(request.body.contains("filename=\"app 2023-11-14 22-00.log\""));
        QVERIFY(request.body.contains(
            "name=\"info\"\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nNo image loaded."));
        QTRY_COMPARE(log->linesWith(LogFlagInfo, {"Crash report 'crash-1700000000-1.crash' sent"}).size(), 1);
    }

    // The log lines are those of the file being written at the crash, not of a later run.
    void logLinesBeforeCrash()
    {
        QTemporaryDir folder;
        QStringList crashedRun;
        for (int i = 1; i <= 25; ++i)
            crashedRun << QStringLiteral("crashed run line %1").arg(i);
        const QString before =
            writeReport(folder.path(), QStringLiteral("a.log"), crashedRun.join(QLatin1Char('\n')).toUtf8());
        const QString after = writeReport(folder.path(), QStringLiteral("b.log"), "later run\n");
        for (const auto& [path, seconds] : {std::pair{before, 1700000000}, std::pair{after, 1700000500}}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(
                file.setFileTime(QDateTime::fromSecsSinceEpoch(seconds), QFileDevice::FileModificationTime));
        }
        IssuesController controller;
        controller.setLogsDirectory(folder.path());
        CrashReport report;
        report.time = 1700000000;
        const QStringList lines = controller.logLinesBeforeCrash(report);
        QCOMPARE(lines.size(), 20);
        QCOMPARE(lines.first(), QStringLiteral("crashed run line 6"));
        QCOMPARE(lines.last(), QStringLiteral("crashed run line 25"));
        report.time = 1600000000; // older than every file: none of them
        QCOMPARE(controller.logLinesBeforeCrash(report), QStringList());
    }
};

QTEST_MAIN(TestCrashReports)
#include "tst_crashreports.moc"
