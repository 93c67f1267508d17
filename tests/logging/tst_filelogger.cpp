#include "common/testsupport.h"
#include "helper_logfiles.h"
#include "logging/logfileformatterdefault.h"
#include "logging/logfileinfo.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>
#include <ctime>
#include <future>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>

using namespace iconfoundry;

namespace {

const std::string kApp = "co.velmora.IconFoundry";
const QString kAppQt = QString::fromStdString(kApp);
constexpr long long kMarch5 = 1709647629; // 2024-03-05 14:07:09 UTC

// A file layer whose clock stands still; without birth times the stored creation time, taken from
// that clock, decides the order of files.
std::shared_ptr<TestFileSystem> fixedClock(bool hideBirthTime = true, long long utcSeconds = kMarch5)
{
    auto fs = std::make_shared<TestFileSystem>();
    fs->hideBirthTime = hideBirthTime;
    fs->setNow(LogFileSystem::Clock::time_point(std::chrono::seconds(utcSeconds)));
    return fs;
}

// Hands back the message text as it is, or drops it.
class PassThroughFormatter : public LogFormatter
{
public:
    explicit PassThroughFormatter(bool drop) : drop_(drop) {}
    std::optional<std::string> formatLogMessage(const LogMessage& message) override
    {
        return drop_ ? std::nullopt : std::optional<std::string>(message.message());
    }

private:
    bool drop_;
};

bool isMarkedArchived(const std::string& path)
{
    return ::getxattr(path.c_str(), LogFileInfo::kArchivedAttributeName, nullptr, 0) >= 0;
}

} // namespace

class TestFileLogger : public QObject
{
    Q_OBJECT

    std::string logs() const { return dir_->path().toStdString() + "/Logs"; }
    std::unique_ptr<QTemporaryDir> dir_;
    std::optional<test::ScopedEnvironmentVariable> timeZone_;

private slots:
    void initTestCase()
    {
        // Until the application names itself, files are named after the process.
        QCOMPARE(LogFileManagerDefault::applicationName(), std::string("logging_tst_filelogger"));
        LogFileManagerDefault::setApplicationName(kApp);
    }

    void init()
    {
        // File names and dates are UTC: a far-off local zone makes a slip into local time show.
        timeZone_.emplace("TZ", QByteArray("<+1345>-13:45"));
        dir_ = std::make_unique<QTemporaryDir>();
        QVERIFY(dir_->isValid());
        logging_detail::resetFileLoggerWriteFailureCount();
    }

    void cleanup()
    {
        dir_.reset();
        timeZone_.reset();
    }

    void defaultLogsDirectory_data()
    {
        QTest::addColumn<QByteArray>("stateHome"); // "unset": not in the environment
        QTest::addColumn<QString>("expected");

        const QString underHome = "/home/tester/.local/state/logging_tst_filelogger/Logs";
        QTest::newRow("set") << QByteArray("/var/state/") << "/var/state/logging_tst_filelogger/Logs";
        QTest::newRow("unset") << QByteArray("unset") << underHome;
        QTest::newRow("relative") << QByteArray("state") << underHome;
    }

    void defaultLogsDirectory()
    {
        QFETCH(QByteArray, stateHome);
        QFETCH(QString, expected);
        const test::ScopedEnvironmentVariable home("HOME", QByteArray("/home/tester"));
        const test::ScopedEnvironmentVariable state(
            "XDG_STATE_HOME", stateHome == "unset" ? std::nullopt : std::optional(stateHome));
        QCOMPARE(QString::fromStdString(LogFileManagerDefault::defaultLogsDirectory()), expected);
    }

    void fileNamesAndClashSuffixes_data()
    {
        QTest::addColumn<qlonglong>("utcSeconds");
        QTest::addColumn<QString>("occupied");    // a folder in the way, if any
        QTest::addColumn<QStringList>("planted"); // log files made by hand, dated by their names only
        QTest::addColumn<QStringList>("expectedNewestFirst");

        const QString m = kAppQt + " 2024-03-05 14-07";
        QTest::newRow("three in one minute")
            << kMarch5 << QString() << QStringList() << QStringList{m + " 3.log", m + " 2.log", m + ".log"};
        QTest::newRow("name taken by a folder")
            << kMarch5 << m + ".log" << QStringList() << QStringList{m + " 2.log"};
        QTest::newRow("last second of a year") << qlonglong(1704067199) << QString() << QStringList()
                                               << QStringList{kAppQt + " 2023-12-31 23-59.log"};
        QTest::newRow("leap day midnight") << qlonglong(1709164800) << QString() << QStringList()
                                           << QStringList{kAppQt + " 2024-02-29 00-00.log"};
        const QString future = kAppQt + " 9999-12-31 23-59.log", past = kAppQt + " 1000-01-01 00-00.log";
        QTest::newRow("names dated beyond the clock's range")
            << kMarch5 << QString() << QStringList{past, future} << QStringList{future, m + ".log", past};
    }

    void fileNamesAndClashSuffixes()
    {
        QFETCH(qlonglong, utcSeconds);
        QFETCH(QString, occupied);
        QFETCH(QStringList, planted);
        QFETCH(QStringList, expectedNewestFirst);

        // The folder is made, with its parents, the first time it is asked for.
        const std::string folder = dir_->path().toStdString() + "/deep/er/Logs";
        auto fs = fixedClock(true, utcSeconds); // one creation time for all: the names decide the order
        LogFileManagerDefault manager(folder, fs);
        if (!occupied.isEmpty())
            QCOMPARE(::mkdir((manager.logsDirectory() + "/" + occupied.toStdString()).c_str(), 0755), 0);
        for (const QString& name : planted)
            writeWholeFile(manager.logsDirectory() + "/" + name.toStdString(), "");
        for (int i = planted.size(); i < expectedNewestFirst.size(); ++i)
            QVERIFY(manager.createNewLogFile().has_value());
        QCOMPARE(toQt(manager.sortedLogFileNames()), expectedNewestFirst);
    }

    void logFileDateFormatter_data()
    {
        QTest::addColumn<qlonglong>("utcSeconds"); // the start of a minute
        QTest::addColumn<QString>("text");

        QTest::newRow("a March afternoon") << qlonglong(1709647620) << "2024-03-05 14-07";
        QTest::newRow("epoch") << qlonglong(0) << "1970-01-01 00-00";
        QTest::newRow("leap day midnight") << qlonglong(1709164800) << "2024-02-29 00-00";
        QTest::newRow("last minute of a year") << qlonglong(1704067140) << "2023-12-31 23-59";
    }

    void logFileDateFormatter()
    {
        QFETCH(qlonglong, utcSeconds);
        QFETCH(QString, text);

        // One per thread, kept for the thread's life.
        const LogFileDateFormatter& formatter = LogFileManagerDefault::logFileDateFormatter();
        QCOMPARE(&LogFileManagerDefault::logFileDateFormatter(), &formatter);
        bool otherThreadHasItsOwn = false;
        std::thread([&] {
            otherThreadHasItsOwn = &LogFileManagerDefault::logFileDateFormatter() != &formatter;
        }).join();
        QVERIFY(otherThreadHasItsOwn);
        QCOMPARE(QString(LogFileDateFormatter::kDateFormat), QString("yyyy'-'MM'-'dd' 'HH'-'mm'"));

        const auto minute = LogFileDateFormatter::Clock::time_point(std::chrono::seconds(utcSeconds));
        QCOMPARE(QString::fromStdString(formatter.stringFromDate(minute + 59s + 999ms)), text);
        QVERIFY(formatter.dateFromString(text.toStdString()) == minute);
        QVERIFY(!formatter.dateFromString(text.toStdString() + " ").has_value());
    }

    void lineFormat_data()
    {
        QTest::addColumn<qlonglong>("epochMicroseconds");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("expected"); // in local time, 13:45 east of UTC

        QTest::newRow("plain") << 1709647629123000LL << "hello" << QString("2024/03/06 03:52:09:123  hello");
        QTest::newRow("percent signs")
            << 1709647629123000LL << "100% %s %n" << QString("2024/03/06 03:52:09:123  100% %s %n");
        QTest::newRow("fraction of a millisecond is cut")
            << 1709647629999900LL << "" << QString("2024/03/06 03:52:09:999  ");
        QTest::newRow("before 1970") << -500000LL << "x" << QString("1970/01/01 13:44:59:500  x");
        QTest::newRow("UTF-8") << 1709647629123000LL << QString::fromUtf8("Grüße, 世界")
                               << QString::fromUtf8("2024/03/06 03:52:09:123  Grüße, 世界");
    }

    void lineFormat()
    {
        QFETCH(qlonglong, epochMicroseconds);
        QFETCH(QString, message);
        QFETCH(QString, expected);
        const auto time = LogMessage::Clock::time_point(std::chrono::microseconds(epochMicroseconds));
        const auto line =
            LogFileFormatterDefault().formatLogMessage(makeMessage(message.toStdString(), time));
        QCOMPARE(QString::fromStdString(line.value()), expected);
    }

    void lineEndings_data()
    {
        QTest::addColumn<QString>("formatter"); // "default", "none", "pass" or "drop"
        QTest::addColumn<bool>("appendNewline");
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<QString>("expected"); // empty: no file at all

        QTest::newRow("bare messages get one unless they end with one")
            << "none" << false << QStringList{"a", "", "b\n", "c\n\n"} << "a\n\nb\nc\n\n";
        QTest::newRow("formatter output gets one") << "pass" << true << QStringList{"a", "b\n"} << "a\nb\n";
        QTest::newRow("formatter output as is") << "pass" << false << QStringList{"a", "b"} << "ab";
        QTest::newRow("default formatter output gets one") // at 13:45 east of UTC
            << "default" << true << QStringList{"a"} << "2024/03/06 03:52:09:123  a\n";
        QTest::newRow("dropped by formatter") << "drop" << true << QStringList{"a"} << "";
    }

    void lineEndings()
    {
        QFETCH(QString, formatter);
        QFETCH(bool, appendNewline);
        QFETCH(QStringList, messages);
        QFETCH(QString, expected);

        LoggerRig rig(logs());
        if (formatter == "default")
            rig.logger->setLogFormatter(std::make_shared<LogFileFormatterDefault>());
        else if (formatter != "none")
            rig.logger->setLogFormatter(std::make_shared<PassThroughFormatter>(formatter == "drop"));
        rig.logger->setAutomaticallyAppendNewlineForCustomFormatters(appendNewline);
        settle(*rig.logger);
        for (const QString& m : messages)
            rig.log(m.toStdString());
        const auto paths = rig.paths();
        QCOMPARE(paths.size(), std::size_t(expected.isEmpty() ? 0 : 1));
        if (!paths.empty())
            QCOMPARE(QString::fromStdString(readWholeFile(paths[0])), expected);
    }

    void rollsAtMaximumFileSize_data()
    {
        QTest::addColumn<int>("lastLineLength");    // after 1023 lines of 1024 bytes
        QTest::addColumn<int>("appendedElsewhere"); // before the last line, by another process
        QTest::addColumn<qlonglong>("firstFileSize");
        QTest::addColumn<QString>("secondFile");

        QTest::newRow("reaches 1048576 exactly") << 1024 << 0 << qlonglong(1048576) << "next\nafter\n";
        QTest::newRow("one byte short") << 1023 << 0 << qlonglong(1048575 + 5) << "after\n";
        QTest::newRow("one byte over") << 1025 << 0 << qlonglong(1048577) << "next\nafter\n";
        QTest::newRow("another writer's byte counts") << 1023 << 1 << qlonglong(1048576) << "next\nafter\n";
    }

    void rollsAtMaximumFileSize()
    {
        QFETCH(int, lastLineLength);
        QFETCH(int, appendedElsewhere);
        QFETCH(qlonglong, firstFileSize);
        QFETCH(QString, secondFile);

        LoggerRig rig(logs());             // the default limit: 1048576 bytes
        const std::string line(1023, 'x'); // and the line feed: 1024 bytes
        rig.logger->loggerQueue()->sync([&] {
            for (int i = 0; i < 1023; ++i)
                rig.logger->logMessage(makeMessage(line));
            QFile other(QString::fromStdString(rig.paths().at(0)));
            QVERIFY(other.open(QIODevice::Append) && other.write(QByteArray(appendedElsewhere, 'o')) >= 0);
            other.close();
            rig.logger->logMessage(makeMessage(std::string(std::size_t(lastLineLength - 1), 'y')));
        });
        QCOMPARE(rig.manager->rolls.load(), lastLineLength + appendedElsewhere >= 1024 ? 1 : 0);
        const std::string first = rig.paths().at(0);

        // The next message goes to a new file if the limit was reached, else it tips the file over.
        rig.log("next");
        QCOMPARE(rig.manager->rolls.load(), 1);
        rig.log("after");

        const auto infos = rig.manager->sortedLogFileInfos();
        QCOMPARE(infos.size(), std::size_t(2));
        QCOMPARE(infos.back()->filePath(), first);
        QCOMPARE(qlonglong(infos.back()->fileSize()), firstFileSize);
        QVERIFY(infos.back()->isArchived() && !infos.front()->isArchived());
        QCOMPARE(QString::fromStdString(readWholeFile(infos.front()->filePath())), secondFile);
        // Asked from another thread, the logger names the file it is writing.
        QCOMPARE(rig.logger->currentLogFileInfo()->filePath(), infos.front()->filePath());
    }

    void rollsWithoutWaitingForAMessage_data()
    {
        QTest::addColumn<QString>("cause");
        QTest::addColumn<QString>("movedTo"); // relative to the temporary folder
        QTest::newRow("deleted") << "delete" << QString();
        QTest::newRow("renamed in the folder") << "rename" << QString("Logs/renamed.txt");
        QTest::newRow("moved to another folder") << "rename" << QString("elsewhere.log");
        QTest::newRow("0.3 s old") << "age" << QString();
        QTest::newRow("size limit lowered to its size") << "size" << QString();
    }

    void rollsWithoutWaitingForAMessage()
    {
        QFETCH(QString, cause);
        QFETCH(QString, movedTo);

        LoggerRig rig(logs());
        QElapsedTimer clock;
        clock.start();
        rig.log("before");
        const std::string first = rig.paths().at(0);
        const std::string target =
            movedTo.isEmpty() ? first : dir_->path().toStdString() + "/" + movedTo.toStdString();
        if (cause == "delete")
            QCOMPARE(::unlink(first.c_str()), 0);
        else if (cause == "rename")
            QCOMPARE(::rename(first.c_str(), target.c_str()), 0);
        else if (cause == "age") // the setters apply to the open file: the age by a timer...
            rig.logger->setRollingFrequency(0.3);
        else
            rig.logger->setMaximumFileSize(7); // ...the size at once
        // The file watcher or the age timer rolls by itself; real time is the subject here.
        QTRY_COMPARE_WITH_TIMEOUT(rig.manager->rolls.load(), 1, 5000);
        if (cause == "age")
            QVERIFY2(clock.elapsed() >= 250, qPrintable(QString::number(clock.elapsed())));

        rig.log("after");
        const auto paths = rig.paths();
        const bool staysInPlace = cause == "age" || cause == "size";
        QCOMPARE(paths.size(), std::size_t(staysInPlace ? 2 : 1));
        QCOMPARE(readWholeFile(paths[0]), std::string("after\n"));
        if (cause != "delete") {
            QCOMPARE(readWholeFile(target), std::string("before\n"));
            // A file that left its place is no longer ours and is not marked.
            QCOMPARE(isMarkedArchived(target), staysInPlace);
        }
        if (cause != "age") { // else the new file's own age timer may have fired by now
            QVERIFY(!LogFileInfo(paths[0]).isArchived());
            QCOMPARE(rig.manager->rolls.load(), 1);
        }
    }

    void countLimitAppliesWhenAFileIsCreated()
    {
        auto fs = fixedClock();
        LogFileManagerDefault manager(logs(), fs);
        // Names that are not ours, or carry no valid date, are neither listed nor deleted.
        QStringList strangers;
        for (const char* name :
             {"APP 2023-02-29 10-00.log", "APP 2024-13-05 14-07.log", "APP 2024-04-31 14-07.log",
              "APP 2024-03-05 24-00.log", "APP 2024-03-05 14-60.log", "APP 2024-03-05 14:07.log",
              "APP 2024-03-05.log", "APP.log", "APP notes.log", "APP  2024-03-05 14-07.log",
              "APP 2024-03-05 14-07 2 3.log", "other 2024-03-05 14-07.log", "APPPro 2024-03-05 14-07.log",
              "APP 2024-03-05 14-07.log.gz", "APP 2024-03-05 14-07.txt"})
            strangers << QString(name).replace("APP", kAppQt);
        for (const QString& name : strangers)
            writeWholeFile(manager.logsDirectory() + "/" + name.toStdString(), "keep me");
        manager.setMaximumNumberOfLogFiles(7);
        for (int i = 0; i < 8; ++i) {
            QVERIFY(manager.createNewLogFile().has_value());
            fs->advance(1min);
        }
        const QString p = kAppQt + " 2024-03-05 14-";
        QCOMPARE(toQt(manager.sortedLogFileNames()),
                 (QStringList{p + "14.log", p + "13.log", p + "12.log", p + "11.log", p + "10.log",
                              p + "09.log", p + "08.log"}));

        // Lowered limits delete nothing until the next new file.
        manager.setMaximumNumberOfLogFiles(2);
        manager.setLogFilesDiskQuota(1);
        QCOMPARE(manager.sortedLogFilePaths().size(), std::size_t(7));
        QVERIFY(manager.createNewLogFile().has_value());
        QCOMPARE(toQt(manager.sortedLogFileNames()), (QStringList{p + "15.log", p + "14.log"}));
        for (const QString& name : strangers)
            QCOMPARE(readWholeFile(logs() + "/" + name.toStdString()), std::string("keep me"));
    }

    void deletesByQuota_data()
    {
        QTest::addColumn<QList<int>>("sizesNewestFirst");
        QTest::addColumn<bool>("newestArchived");
        QTest::addColumn<int>("maximumCount");
        QTest::addColumn<int>("quota");
        QTest::addColumn<int>("kept");

        QTest::newRow("total equal to quota") << QList<int>{10, 10, 10} << false << 0 << 30 << 3;
        QTest::newRow("third file crosses") << QList<int>{10, 10, 11} << false << 0 << 30 << 2;
        QTest::newRow("newest alone over, being written") << QList<int>{40, 10} << false << 0 << 30 << 1;
        QTest::newRow("newest alone over, archived") << QList<int>{40, 10} << true << 0 << 30 << 0;
        QTest::newRow("count stricter than quota") << QList<int>{10, 10, 10, 10} << false << 2 << 35 << 2;
        QTest::newRow("quota stricter than count") << QList<int>{10, 20, 30, 5} << false << 3 << 25 << 1;
        QTest::newRow("quota index equals count") << QList<int>{10, 10, 10} << false << 2 << 25 << 2;
    }

    void deletesByQuota()
    {
        QFETCH(QList<int>, sizesNewestFirst);
        QFETCH(bool, newestArchived);
        QFETCH(int, maximumCount);
        QFETCH(int, quota);
        QFETCH(int, kept);

        auto fs = fixedClock();
        LogFileManagerDefault manager(logs(), fs);
        manager.setMaximumNumberOfLogFiles(0);
        manager.setLogFilesDiskQuota(0);
        std::vector<std::string> newestFirst;
        for (auto size = sizesNewestFirst.crbegin(); size != sizesNewestFirst.crend(); ++size) {
            newestFirst.insert(newestFirst.begin(), manager.createNewLogFile().value());
            writeWholeFile(newestFirst.front(), std::string(std::size_t(*size), 'z'));
            fs->advance(10s);
        }
        LogFileInfo(newestFirst.front(), fs).setIsArchived(newestArchived);
        manager.setMaximumNumberOfLogFiles(unsigned(maximumCount));
        manager.setLogFilesDiskQuota(std::uint64_t(quota));
        manager.deleteOldLogFiles();
        newestFirst.resize(std::size_t(kept));
        QCOMPARE(toQt(manager.sortedLogFilePaths()), toQt(newestFirst));
    }

    void reuseAcrossLaunches_data()
    {
        QTest::addColumn<QString>("previous"); // state the first launch leaves the newest file in
        QTest::addColumn<bool>("doNotReuse");
        QTest::addColumn<qlonglong>("secondsLater");
        QTest::addColumn<bool>("sameFile");
        QTest::addColumn<bool>("oldArchived");

        QTest::newRow("doNotReuseLogFiles starts anew") << "open" << true << qlonglong(60) << false << false;
        QTest::newRow("almost a day old goes on") << "open" << false << qlonglong(86399) << true << false;
        QTest::newRow("a day old is archived") << "open" << false << qlonglong(86400) << false << true;
        QTest::newRow("full is archived") << "full" << false << qlonglong(60) << false << true;
        QTest::newRow("archived is left alone") << "archived" << false << qlonglong(60) << false << true;
    }

    void reuseAcrossLaunches()
    {
        QFETCH(QString, previous);
        QFETCH(bool, doNotReuse);
        QFETCH(qlonglong, secondsLater);
        QFETCH(bool, sameFile);
        QFETCH(bool, oldArchived);

        auto fs = fixedClock();
        std::string firstPath;
        {
            LoggerRig first(logs(), fs);
            first.log(previous == "full" ? std::string(99, 'f') : std::string("first launch"));
            if (previous == "archived")
                first.logger->rollLogFile();
            settle(*first.logger);
            firstPath = first.paths().at(0);
        } // the first launch ends without archiving its file

        fs->advance(std::chrono::seconds(secondsLater));
        LoggerRig second(logs(), fs);
        second.logger->setDoNotReuseLogFiles(doNotReuse);
        if (previous == "full")
            second.logger->setMaximumFileSize(100);
        settle(*second.logger);
        second.log("second launch");

        const auto paths = second.paths();
        QCOMPARE(paths.size(), std::size_t(sameFile ? 1 : 2));
        QCOMPARE(paths.back(), firstPath);
        QCOMPARE(LogFileInfo(firstPath, fs).isArchived(), oldArchived);
        QCOMPARE(readWholeFile(paths.front()),
                 std::string(sameFile ? "first launch\nsecond launch\n" : "second launch\n"));
        QVERIFY(!LogFileInfo(paths.front(), fs).isArchived());
        QCOMPARE(second.manager->archivedAtStart.load(), (oldArchived && previous != "archived") ? 1 : 0);
    }

    void archivedMarkSurvivesRestart_data()
    {
        QTest::addColumn<bool>("noExtendedAttributes");
        QTest::addColumn<bool>("hideBirthTime");

        QTest::newRow("extended attributes") << false << false;
        QTest::newRow("no extended attributes") << true << false;
        QTest::newRow("neither attributes nor birth times") << true << true;
    }

    void archivedMarkSurvivesRestart()
    {
        QFETCH(bool, noExtendedAttributes);
        QFETCH(bool, hideBirthTime);

        auto fs = fixedClock(hideBirthTime);
        fs->noExtendedAttributes = noExtendedAttributes;
        StandardErrorCapture errors;
        std::string firstPath;
        {
            LoggerRig rig(logs(), fs);
            rig.log("one");
            firstPath = rig.paths().at(0);
            std::promise<int> rolls;
            rig.logger->rollLogFileWithCompletionBlock([&] { rolls.set_value(rig.manager->rolls); });
            auto rolled = rolls.get_future();
            QVERIFY(rolled.wait_for(5s) == std::future_status::ready && rolled.get() == 1); // after the roll
            fs->advance(1min);
            rig.log("two"); // a second file, newer than the first
        }
        const std::string sidecar = LogFileInfo::sidecarPath(firstPath, LogFileInfo::kArchivedAttributeName);
        QCOMPARE(fileExists(sidecar), noExtendedAttributes);
        QCOMPARE(isMarkedArchived(firstPath), !noExtendedAttributes);

        // A new process: fresh objects, same folder.
        LogFileManagerDefault manager(logs(), fs);
        const auto infos = manager.sortedLogFileInfos();
        QCOMPARE(infos.size(), std::size_t(2));
        QCOMPARE(infos[1]->filePath(), firstPath);
        QVERIFY(infos[1]->isArchived() && !infos[0]->isArchived());

        // Deleting a log file takes its sidecars along.
        manager.setMaximumNumberOfLogFiles(1);
        manager.deleteOldLogFiles();
        QVERIFY(!fileExists(firstPath) && !fileExists(sidecar));
        QVERIFY(!fileExists(LogFileInfo::sidecarPath(firstPath, LogFileInfo::kCreatedAttributeName)));
        QCOMPARE(errors.takeLines(), QStringList());
    }

    void creationDateSources_data()
    {
        QTest::addColumn<bool>("noExtendedAttributes");
        QTest::addColumn<bool>("madeByHand");
        QTest::addColumn<double>("expectedAge"); // the clock stands 90 s after the file was made

        QTest::newRow("stored in an extended attribute") << false << false << 90.0;
        QTest::newRow("stored in a sidecar") << true << false << 90.0;
        QTest::newRow("minute from the name") << false << true << 99.0;
    }

    void creationDateSources()
    {
        QFETCH(bool, noExtendedAttributes);
        QFETCH(bool, madeByHand);
        QFETCH(double, expectedAge);

        auto fs = fixedClock(); // and no birth times
        fs->noExtendedAttributes = noExtendedAttributes;
        LogFileManagerDefault manager(logs(), fs);
        std::string path = manager.logsDirectory() + "/" + kApp + " 2024-03-05 14-07 2.log";
        if (madeByHand)
            writeWholeFile(path, "");
        else
            path = manager.createNewLogFile().value();
        fs->advance(90s);
        QCOMPARE(LogFileInfo(path, fs).age(), expectedAge);
    }

    void fullDiskLeavesCompleteLinesAndReportsTenTimes()
    {
        auto fs = std::make_shared<TestFileSystem>();
        LoggerRig rig(logs(), fs);
        rig.log("fits");
        const std::string path = rig.paths().at(0);

        writeWholeFile(path, "fits\nanother process\n"); // shares the file; its line must survive
        StandardErrorCapture errors;
        fs->writeBudget = 3; // the next line gets three bytes in, then the disk is full
        for (int i = 0; i < 13; ++i)
            rig.log("does not fit " + std::to_string(i));
        const QStringList reported = errors.takeLines();
        QCOMPARE(readWholeFile(path), std::string("fits\nanother process\n"));
        QStringList expected(10, QString::fromStdString("FileLogger.logMessage: write(" + path +
                                                        "): No space left on device"));
        expected << "FileLogger.logMessage: Too many exceptions -- will not log any more of them.";
        QCOMPARE(reported, expected);

        // Space comes back: logging simply goes on in the same file.
        fs->writeBudget = -1;
        rig.log("again");
        QCOMPARE(readWholeFile(path), std::string("fits\nanother process\nagain\n"));
    }

    void folderThatCannotBeCreated()
    {
        const std::string blocker = dir_->path().toStdString() + "/a-file";
        writeWholeFile(blocker, "not a folder");
        StandardErrorCapture errors;
        LoggerRig rig(blocker + "/Logs");
        for (int i = 0; i < 3; ++i)
            rig.log("nowhere to go");
        QVERIFY(rig.paths().empty());
        QCOMPARE(errors.takeLines(),
                 QStringList{QString::fromStdString("LogFileManagerDefault: Error creating logsDirectory: " +
                                                    blocker + "/Logs: Not a directory")});
    }

    void manyThreadsLoseNothingAndKeepOrder()
    {
        constexpr int kThreads = 8;
        constexpr int kPerThread = 12500; // 100,000 in all, over several rolls

        auto manager = std::make_shared<LogFileManagerDefault>(logs());
        manager->setMaximumNumberOfLogFiles(0);
        auto logger = std::make_shared<FileLogger>(manager);
        logger->setMaximumFileSize(256 * 1024);
        Log::addLogger(logger);
        {
            std::vector<std::jthread> threads;
            for (int t = 0; t < kThreads; ++t)
                threads.emplace_back([t] {
                    for (int i = 0; i < kPerThread; ++i)
                        LOG_INFO("t%d %d", t, i);
                });
        } // joined here
        Log::flushLog();
        Log::removeLogger(logger);
        settle(*logger);

        auto paths = manager->sortedLogFilePaths();
        QVERIFY2(paths.size() >= 5, qPrintable(QString::number(paths.size())));
        std::vector<int> next(kThreads, 0);
        int total = 0;
        for (auto path = paths.crbegin(); path != paths.crend(); ++path) { // oldest first
            QList<QByteArray> lines = QByteArray::fromStdString(readWholeFile(*path)).split('\n');
            QCOMPARE(lines.takeLast(), QByteArray()); // no partial line at the end
            for (const QByteArray& line : lines) {
                // "yyyy/MM/dd HH:mm:ss:SSS  t<thread> <index>"
                int t = -1, i = -1;
                QVERIFY2(line.size() > 25 && std::sscanf(line.constData() + 25, "t%d %d", &t, &i) == 2 &&
                             t >= 0 && t < kThreads && i == next[std::size_t(t)]++,
                         line.constData());
                ++total;
            }
            QVERIFY(LogFileInfo(*path).isArchived()); // removing the logger rolled the last one too
        }
        QCOMPARE(total, kThreads * kPerThread);
    }
};

QTEST_GUILESS_MAIN(TestFileLogger)
#include "tst_filelogger.moc"
