// How the log fares when the process ends: normally while threads still log, and by a fatal
// signal or std::terminate. The process under test is logchild (tests/logging/logchild.cpp).

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>

namespace {

struct ChildRun
{
    QProcess::ExitStatus status = QProcess::NormalExit;
    int code = -1; // the exit code, or the signal for a crash
    QByteArray standardError;
};

ChildRun runChild(const QStringList& arguments)
{
    QProcess child;
    child.setProgram(QStringLiteral(ICONFOUNDRY_LOGCHILD_PATH));
    child.setArguments(arguments);
    child.start();
    ChildRun run;
    if (!child.waitForFinished(60000)) {
        child.kill();
        child.waitForFinished();
        run.standardError = "did not finish";
        return run;
    }
    run.status = child.exitStatus();
    run.code = child.exitCode();
    run.standardError = child.readAllStandardError();
    return run;
}

QStringList logFileNames(const QString& folder)
{
    return QDir(folder).entryList({QStringLiteral("*.log")}, QDir::Files, QDir::Name);
}

// The lines of every log file, oldest file first, without the timestamps.
QStringList loggedTexts(const QString& folder)
{
    QStringList texts;
    for (const QString& name : logFileNames(folder)) {
        QFile file(QDir(folder).filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray& line : file.readAll().split('\n')) {
            const int separator = line.indexOf("  "); // "2024/03/05 14:07:09:123  text"
            if (separator >= 0)
                texts << QString::fromUtf8(line.mid(separator + 2));
        }
    }
    return texts;
}

} // namespace

class TestLogProcess : public QObject
{
    Q_OBJECT

private slots:
    void threadsLogWhileTheProcessExits_data()
    {
        // Several runs: what goes wrong at exit depends on where each thread happens to be.
        QTest::addColumn<int>("runs");
        QTest::newRow("five exits") << 5;
    }

    void threadsLogWhileTheProcessExits()
    {
        QFETCH(int, runs);
        for (int run = 0; run < runs; ++run) {
            QTemporaryDir folder;
            QVERIFY(folder.isValid());
            const ChildRun child = runChild({QStringLiteral("exit"), folder.path()});
            // A sanitizer report goes to standard error; AddressSanitizer also fails the exit code.
            QCOMPARE(child.standardError, QByteArray());
            QCOMPARE(child.status, QProcess::NormalExit);
            QCOMPARE(child.code, 0);
            const QStringList names = logFileNames(folder.path());
            QVERIFY2(names.size() >= 2, "the files were meant to roll while the threads logged");
            for (const QString& name : names)
                QVERIFY2(name.startsWith(QLatin1String("co.velmora.IconFoundry 20")), qPrintable(name));
        }
    }

    void whatIsInFlightReachesTheFileWhenTheProcessDies_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<int>("signal");
        QTest::addColumn<bool>("allDelivered");

        QTest::newRow("abort") << "abort" << SIGABRT << true;
        QTest::newRow("segmentation fault") << "segfault" << SIGSEGV << true;
        QTest::newRow("std::terminate") << "terminate" << SIGABRT << true;
        // Without the flush most messages are still queued when the process dies: this row shows
        // that the others test something.
        QTest::newRow("abort without the flush") << "unguarded-abort" << SIGABRT << false;
    }

    void whatIsInFlightReachesTheFileWhenTheProcessDies()
    {
        QFETCH(QString, mode);
        QFETCH(int, signal);
        QFETCH(bool, allDelivered);

        constexpr int count = 300; // at 2 ms each, far more than the process lives after logging
        QTemporaryDir folder;
        QVERIFY(folder.isValid());
        const ChildRun child = runChild({mode, folder.path(), QString::number(count)});
        QCOMPARE(child.status, QProcess::CrashExit);
        QCOMPARE(child.code, signal);

        const QStringList texts = loggedTexts(folder.path());
        if (allDelivered) {
            QStringList expected;
            for (int i = 0; i < count; ++i)
                expected << QStringLiteral("message %1").arg(i);
            QCOMPARE(texts, expected);
        } else {
            QVERIFY2(texts.size() < count, qPrintable(QString::number(texts.size())));
        }
    }
};

QTEST_GUILESS_MAIN(TestLogProcess)
#include "tst_logprocess.moc"
