#include "helper_logfiles.h"
#include "logging/filelogger.h"
#include "logging/log.h"
#include "logging/logfileformatterdefault.h"
#include "logging/logfileinfo.h"
#include "logging/logfilemanagerdefault.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>
#include <cstdlib>
#include <ctime>
#include <future>
#include <map>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>

using namespace std::chrono_literals;

namespace {

const std::string kApp = "co.velmora.IconFoundry";
// 2024-03-05 14:07:09 UTC
constexpr long long kMarch5 = 1709647629;

QStringList toQt(const std::vector<std::string>& list)
{
    QStringList out;
    for (const auto& s : list)
        out << QString::fromStdString(s);
    return out;
}

// A formatter that hands back the message text as it is, or drops it.
class PassThroughFormatter : public LogFormatter
{
public:
    explicit PassThroughFormatter(bool drop = false) : drop_(drop) {}
    std::optional<std::string> formatLogMessage(const LogMessage& message) override
    {
        if (drop_)
            return std::nullopt;
        return message.message();
    }

private:
    bool drop_;
};

class TimeZone
{
public:
    explicit TimeZone(const char* tz)
    {
        if (const char* old = std::getenv("TZ"))
            saved_ = old;
        ::setenv("TZ", tz, 1);
        ::tzset();
    }
    ~TimeZone()
    {
        if (saved_)
            ::setenv("TZ", saved_->c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }

private:
    std::optional<std::string> saved_;
};

class Environment
{
public:
    void set(const char* name, const char* value)
    {
        if (!saved_.count(name)) {
            const char* old = std::getenv(name);
            saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
        }
        if (value)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~Environment()
    {
        for (const auto& [name, value] : saved_) {
            if (value)
                ::setenv(name.c_str(), value->c_str(), 1);
            else
                ::unsetenv(name.c_str());
        }
    }

private:
    std::map<std::string, std::optional<std::string>> saved_;
};

bool hasRealXattr(const std::string& path, const char* name)
{
    return ::getxattr(path.c_str(), name, nullptr, 0) >= 0;
}

} // namespace

class TestFileLogger : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void defaultLogsDirectory_data();
    void defaultLogsDirectory();
    void fileNamesAndClashSuffixes_data();
    void fileNamesAndClashSuffixes();
    void isLogFile_data();
    void isLogFile();
    void unparseableNamesAreNeitherListedNorDeleted();
    void lineFormat_data();
    void lineFormat();
    void lineEndings_data();
    void lineEndings();
    void rollsAtMaximumFileSize_data();
    void rollsAtMaximumFileSize();
    void rollsWhenFileGoesAwayFromOutside_data();
    void rollsWhenFileGoesAwayFromOutside();
    void deletesOldestBeyondCount();
    void loweredLimitWaitsForNextNewFile();
    void deletesByQuota_data();
    void deletesByQuota();
    void reuseAcrossLaunches_data();
    void reuseAcrossLaunches();
    void archivedMarkSurvivesRestart_data();
    void archivedMarkSurvivesRestart();
    void creationDateSources_data();
    void creationDateSources();
    void rollsByAgeOnTimer();
    void settersRollAtOnce_data();
    void settersRollAtOnce();
    void fullDiskLeavesCompleteLinesAndReportsTenTimes();
    void folderThatCannotBeCreated();
    void failedRenames();
    void renameFileMovesSidecars();
    void manyThreadsLoseNothingAndKeepOrder();

private:
    std::string logs() const { return dir_->path().toStdString() + "/Logs"; }
    std::unique_ptr<QTemporaryDir> dir_;
};

void TestFileLogger::initTestCase()
{
    // Until the application names itself, files are named after the process.
    QCOMPARE(QString::fromStdString(LogFileManagerDefault::applicationName()),
             QString("logging_tst_filelogger"));
    LogFileManagerDefault::setApplicationName(kApp);
}

void TestFileLogger::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    logging_detail::resetFileLoggerWriteFailureCount();
}

void TestFileLogger::cleanup()
{
    dir_.reset();
}

void TestFileLogger::defaultLogsDirectory_data()
{
    QTest::addColumn<QString>("xdgStateHome");
    QTest::addColumn<bool>("xdgSet");
    QTest::addColumn<QString>("expected");

    QTest::newRow("state home set") << "/var/state" << true << "/var/state/logging_tst_filelogger/Logs";
    QTest::newRow("state home with slash")
        << "/var/state/" << true << "/var/state/logging_tst_filelogger/Logs";
    QTest::newRow("state home unset")
        << "" << false << "/home/tester/.local/state/logging_tst_filelogger/Logs";
    QTest::newRow("state home empty")
        << "" << true << "/home/tester/.local/state/logging_tst_filelogger/Logs";
    QTest::newRow("state home relative")
        << "state" << true << "/home/tester/.local/state/logging_tst_filelogger/Logs";
}

void TestFileLogger::defaultLogsDirectory()
{
    QFETCH(QString, xdgStateHome);
    QFETCH(bool, xdgSet);
    QFETCH(QString, expected);
    Environment env;
    env.set("HOME", "/home/tester");
    env.set("XDG_STATE_HOME", xdgSet ? xdgStateHome.toUtf8().constData() : nullptr);
    QCOMPARE(QString::fromStdString(LogFileManagerDefault::defaultLogsDirectory()), expected);
}

void TestFileLogger::fileNamesAndClashSuffixes_data()
{
    QTest::addColumn<qlonglong>("utcSeconds");
    QTest::addColumn<QString>("occupied"); // a folder entry that is in the way, if any
    QTest::addColumn<int>("count");
    QTest::addColumn<QStringList>("expectedNewestFirst");

    const QString m = QString::fromStdString(kApp) + " 2024-03-05 14-07";
    QTest::newRow("first of a minute") << qlonglong(kMarch5) << "" << 1 << QStringList{m + ".log"};
    QTest::newRow("three in one minute")
        << qlonglong(kMarch5) << "" << 3 << QStringList{m + " 3.log", m + " 2.log", m + ".log"};
    QTest::newRow("name taken by a folder")
        << qlonglong(kMarch5) << m + ".log" << 1 << QStringList{m + " 2.log"};
    QTest::newRow("last second of a year")
        << qlonglong(1704067199) << "" << 1
        << QStringList{QString::fromStdString(kApp) + " 2023-12-31 23-59.log"};
    QTest::newRow("leap day midnight")
        << qlonglong(1709164800) << "" << 2
        << QStringList{QString::fromStdString(kApp) + " 2024-02-29 00-00 2.log",
                       QString::fromStdString(kApp) + " 2024-02-29 00-00.log"};
}

void TestFileLogger::fileNamesAndClashSuffixes()
{
    QFETCH(qlonglong, utcSeconds);
    QFETCH(QString, occupied);
    QFETCH(int, count);
    QFETCH(QStringList, expectedNewestFirst);

    // The folder is made, with its parents, the first time it is asked for.
    const std::string folder = dir_->path().toStdString() + "/deep/er/Logs";
    auto fs = std::make_shared<TestFileSystem>();
    fs->hideBirthTime = true; // every file gets the same creation time: the names decide the order
    fs->setNow(::utcSeconds(utcSeconds));
    LogFileManagerDefault manager(folder, fs);
    QCOMPARE(QString::fromStdString(manager.logsDirectory()), QString::fromStdString(folder));
    QVERIFY(fileExists(folder));
    if (!occupied.isEmpty())
        QCOMPARE(::mkdir((folder + "/" + occupied.toStdString()).c_str(), 0755), 0);

    for (int i = 0; i < count; ++i)
        QVERIFY(manager.createNewLogFile().has_value());
    QCOMPARE(toQt(manager.sortedLogFileNames()), expectedNewestFirst);
}

void TestFileLogger::isLogFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("expected");

    const QString app = QString::fromStdString(kApp);
    QTest::newRow("plain") << app + " 2024-03-05 14-07.log" << true;
    QTest::newRow("clash counter") << app + " 2024-03-05 14-07 2.log" << true;
    QTest::newRow("two-digit counter") << app + " 2024-03-05 14-07 12.log" << true;
    QTest::newRow("leap day") << app + " 2024-02-29 23-59.log" << true;
    QTest::newRow("no leap day in 2023") << app + " 2023-02-29 10-00.log" << false;
    QTest::newRow("month 13") << app + " 2024-13-05 14-07.log" << false;
    QTest::newRow("April 31") << app + " 2024-04-31 14-07.log" << false;
    QTest::newRow("hour 24") << app + " 2024-03-05 24-00.log" << false;
    QTest::newRow("minute 60") << app + " 2024-03-05 14-60.log" << false;
    QTest::newRow("colon in time") << app + " 2024-03-05 14:07.log" << false;
    QTest::newRow("words instead of date") << app + " not a date at all.log" << false;
    QTest::newRow("too short") << app + " 2024-03-05.log" << false;
    QTest::newRow("prefix only") << app + ".log" << false;
    QTest::newRow("two blanks after prefix") << app + "  2024-03-05 14-07.log" << false;
    QTest::newRow("five pieces") << app + " 2024-03-05 14-07 2 3.log" << false;
    QTest::newRow("other program") << "com.example.Other 2024-03-05 14-07.log" << false;
    QTest::newRow("longer name with our prefix") << app + "Pro 2024-03-05 14-07.log" << false;
    QTest::newRow("text extension") << app + " 2024-03-05 14-07.txt" << false;
    QTest::newRow("compressed") << app + " 2024-03-05 14-07.log.gz" << false;
    QTest::newRow("sidecar folder") << QString(LogFileInfo::kSidecarFolderName) << false;
    QTest::newRow("empty") << "" << false;
}

void TestFileLogger::isLogFile()
{
    QFETCH(QString, name);
    QFETCH(bool, expected);
    LogFileManagerDefault manager(logs());
    QCOMPARE(manager.isLogFile(name.toStdString()), expected);
}

void TestFileLogger::unparseableNamesAreNeitherListedNorDeleted()
{
    auto fs = std::make_shared<TestFileSystem>();
    fs->setNow(::utcSeconds(kMarch5));
    LogFileManagerDefault manager(logs(), fs);
    const std::vector<std::string> strangers = {kApp + " 2024-13-45 99-99.log", kApp + " some notes here.log",
                                                "other 2024-03-05 14-07.log"};
    for (const auto& name : strangers)
        writeWholeFile(manager.logsDirectory() + "/" + name, "keep me");
    manager.setMaximumNumberOfLogFiles(1);
    for (int i = 0; i < 3; ++i) {
        fs->advance(1min);
        QVERIFY(manager.createNewLogFile().has_value());
    }
    QCOMPARE(toQt(manager.sortedLogFileNames()),
             QStringList{QString::fromStdString(kApp) + " 2024-03-05 14-10.log"});
    for (const auto& name : strangers)
        QCOMPARE(readWholeFile(logs() + "/" + name), std::string("keep me"));
}

void TestFileLogger::lineFormat_data()
{
    QTest::addColumn<QString>("timeZone");
    QTest::addColumn<qlonglong>("epochMilliseconds");
    QTest::addColumn<int>("extraMicroseconds");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("UTC") << "UTC0" << qlonglong(1709647629123) << 0 << "hello"
                         << "2024/03/05 14:07:09:123  hello";
    QTest::newRow("five and a half hours east") << "IST-5:30" << qlonglong(1709627829123) << 0 << "hello"
                                                << "2024/03/05 14:07:09:123  hello";
    QTest::newRow("five hours west") << "EST5" << qlonglong(1709665629123) << 0 << "hello"
                                     << "2024/03/05 14:07:09:123  hello";
    QTest::newRow("thirteen and three quarters east")
        << "<+1345>-13:45" << qlonglong(1709598129123) << 0 << "hello"
        << "2024/03/05 14:07:09:123  hello";
    QTest::newRow("whole second") << "UTC0" << qlonglong(1709647629000) << 0 << "x"
                                  << "2024/03/05 14:07:09:000  x";
    QTest::newRow("last millisecond") << "UTC0" << qlonglong(1709647629999) << 0 << "x"
                                      << "2024/03/05 14:07:09:999  x";
    QTest::newRow("fraction of a millisecond is cut") << "UTC0" << qlonglong(1709647629123) << 900 << "x"
                                                      << "2024/03/05 14:07:09:123  x";
    QTest::newRow("before 1970") << "UTC0" << qlonglong(-500) << 0 << "x"
                                 << "1969/12/31 23:59:59:500  x";
    QTest::newRow("percent signs kept") << "UTC0" << qlonglong(1709647629123) << 0 << "100% %s %n"
                                        << "2024/03/05 14:07:09:123  100% %s %n";
    QTest::newRow("empty message") << "UTC0" << qlonglong(1709647629123) << 0 << ""
                                   << "2024/03/05 14:07:09:123  ";
    QTest::newRow("UTF-8") << "UTC0" << qlonglong(1709647629123) << 0 << QString::fromUtf8("Grüße, 世界")
                           << QString::fromUtf8("2024/03/05 14:07:09:123  Grüße, 世界");
}

void TestFileLogger::lineFormat()
{
    QFETCH(QString, timeZone);
    QFETCH(qlonglong, epochMilliseconds);
    QFETCH(int, extraMicroseconds);
    QFETCH(QString, message);
    QFETCH(QString, expected);

    TimeZone tz(timeZone.toUtf8().constData());
    const auto timestamp = LogMessage::Clock::time_point(std::chrono::milliseconds(epochMilliseconds) +
                                                         std::chrono::microseconds(extraMicroseconds));
    LogFileFormatterDefault formatter;
    const auto line = formatter.formatLogMessage(makeMessage(message.toStdString(), timestamp));
    QVERIFY(line.has_value());
    QCOMPARE(QString::fromStdString(*line), expected);

    // Through the logger, the line gets exactly one line feed.
    auto logger = std::make_shared<FileLogger>(std::make_shared<LogFileManagerDefault>(logs()));
    const LogMessage record = makeMessage(message.toStdString(), timestamp);
    logger->loggerQueue()->sync([&] { logger->logMessage(record); });
    const auto paths = logger->logFileManager()->sortedLogFilePaths();
    QCOMPARE(paths.size(), std::size_t(1));
    QCOMPARE(QString::fromStdString(readWholeFile(paths[0])), expected + "\n");
}

void TestFileLogger::lineEndings_data()
{
    QTest::addColumn<QString>("formatter"); // "default", "none", "pass", "drop"
    QTest::addColumn<bool>("appendNewline");
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<QString>("expectedContent");
    QTest::addColumn<bool>("expectFile");

    QTest::newRow("bare message gets a line feed") << "none" << true << QStringList{"a", "b"} << "a\nb\n"
                                                   << true;
    QTest::newRow("bare message keeps its own") << "none" << true << QStringList{"a\n"} << "a\n" << true;
    QTest::newRow("bare message ignores the switch") << "none" << false << QStringList{"a"} << "a\n" << true;
    QTest::newRow("empty bare message") << "none" << true << QStringList{""} << "\n" << true;
    QTest::newRow("two line feeds stay two") << "none" << true << QStringList{"a\n\n"} << "a\n\n" << true;
    QTest::newRow("formatter output gets one") << "pass" << true << QStringList{"a"} << "a\n" << true;
    QTest::newRow("formatter output as is") << "pass" << false << QStringList{"a", "b"} << "ab" << true;
    QTest::newRow("formatter output keeps its own") << "pass" << true << QStringList{"a\n"} << "a\n" << true;
    QTest::newRow("dropped by formatter") << "drop" << true << QStringList{"a"} << "" << false;
}

void TestFileLogger::lineEndings()
{
    QFETCH(QString, formatter);
    QFETCH(bool, appendNewline);
    QFETCH(QStringList, messages);
    QFETCH(QString, expectedContent);
    QFETCH(bool, expectFile);

    auto logger = std::make_shared<FileLogger>(std::make_shared<LogFileManagerDefault>(logs()));
    if (formatter == "none")
        logger->setLogFormatter(nullptr);
    else if (formatter == "pass")
        logger->setLogFormatter(std::make_shared<PassThroughFormatter>());
    else if (formatter == "drop")
        logger->setLogFormatter(std::make_shared<PassThroughFormatter>(true));
    logger->setAutomaticallyAppendNewlineForCustomFormatters(appendNewline);
    settle(*logger);
    for (const QString& m : messages)
        logDirect(*logger, m.toStdString());

    const auto paths = logger->logFileManager()->sortedLogFilePaths();
    QCOMPARE(paths.size(), std::size_t(expectFile ? 1 : 0));
    if (expectFile)
        QCOMPARE(QString::fromStdString(readWholeFile(paths[0])), expectedContent);
}

void TestFileLogger::rollsAtMaximumFileSize_data()
{
    QTest::addColumn<int>("lastLineLength"); // after 1023 lines of 1024 bytes
    QTest::addColumn<bool>("rolledRightAway");
    QTest::addColumn<qlonglong>("firstFileSize");
    QTest::addColumn<QString>("secondFile");

    QTest::newRow("reaches 1048576 exactly") << 1024 << true << qlonglong(1048576) << "next\nafter\n";
    QTest::newRow("one byte short") << 1023 << false << qlonglong(1048575 + 5) << "after\n";
    QTest::newRow("one byte over") << 1025 << true << qlonglong(1048577) << "next\nafter\n";
}

void TestFileLogger::rollsAtMaximumFileSize()
{
    QFETCH(int, lastLineLength);
    QFETCH(bool, rolledRightAway);
    QFETCH(qlonglong, firstFileSize);
    QFETCH(QString, secondFile);

    auto manager = std::make_shared<CountingLogFileManager>(logs());
    auto logger = std::make_shared<FileLogger>(manager);
    QCOMPARE(logger->maximumFileSize(), std::uint64_t(1048576));
    logger->setLogFormatter(nullptr); // bare lines: every byte is ours to count
    settle(*logger);

    const std::string line(1023, 'x'); // plus the line feed: 1024 bytes
    logger->loggerQueue()->sync([&] {
        for (int i = 0; i < 1023; ++i)
            logger->logMessage(makeMessage(line));
        logger->logMessage(makeMessage(std::string(std::size_t(lastLineLength - 1), 'y')));
    });
    QCOMPARE(manager->rolls.load(), rolledRightAway ? 1 : 0);
    const auto first = manager->sortedLogFilePaths();
    QCOMPARE(first.size(), std::size_t(1));

    // The next message goes to a new file if the limit was reached, else it tips the file over.
    logDirect(*logger, "next");
    QCOMPARE(manager->rolls.load(), 1);
    logDirect(*logger, "after");

    const auto infos = manager->sortedLogFileInfos();
    QCOMPARE(infos.size(), std::size_t(2));
    QCOMPARE(infos.back()->filePath(), first[0]);
    QCOMPARE(qlonglong(infos.back()->fileSize()), firstFileSize);
    QVERIFY(infos.back()->isArchived());
    QVERIFY(!infos.front()->isArchived());
    QCOMPARE(QString::fromStdString(readWholeFile(infos.front()->filePath())), secondFile);
    // Asked from another thread, the logger names the file it is writing.
    QCOMPARE(logger->currentLogFileInfo()->filePath(), infos.front()->filePath());
}

void TestFileLogger::rollsWhenFileGoesAwayFromOutside_data()
{
    QTest::addColumn<QString>("how"); // "delete", "rename", "move out"
    QTest::newRow("deleted") << "delete";
    QTest::newRow("renamed in the folder") << "rename";
    QTest::newRow("moved to another folder") << "move out";
}

void TestFileLogger::rollsWhenFileGoesAwayFromOutside()
{
    QFETCH(QString, how);
    auto manager = std::make_shared<CountingLogFileManager>(logs());
    auto logger = std::make_shared<FileLogger>(manager);
    logger->setLogFormatter(nullptr);
    settle(*logger);

    logDirect(*logger, "before");
    const auto paths = manager->sortedLogFilePaths();
    QCOMPARE(paths.size(), std::size_t(1));
    const std::string original = paths[0];
    std::string movedTo;
    if (how == "delete") {
        QCOMPARE(::unlink(original.c_str()), 0);
    } else {
        movedTo = how == "rename" ? logs() + "/renamed.txt" : dir_->path().toStdString() + "/elsewhere.log";
        QCOMPARE(::rename(original.c_str(), movedTo.c_str()), 0);
    }
    // The watcher rolls without waiting for another message.
    QTRY_COMPARE_WITH_TIMEOUT(manager->rolls.load(), 1, 5000);

    logDirect(*logger, "after");
    const auto now = manager->sortedLogFilePaths();
    QCOMPARE(now.size(), std::size_t(1));
    QCOMPARE(readWholeFile(now[0]), std::string("after\n"));
    QVERIFY(!LogFileInfo(now[0]).isArchived());
    if (!movedTo.empty()) {
        QCOMPARE(readWholeFile(movedTo), std::string("before\n"));
        // A file that left its place is not marked: it is no longer ours.
        QVERIFY(!hasRealXattr(movedTo, LogFileInfo::kArchivedAttributeName));
    }
    QCOMPARE(manager->rolls.load(), 1);
}

void TestFileLogger::deletesOldestBeyondCount()
{
    auto fs = std::make_shared<TestFileSystem>();
    fs->setNow(::utcSeconds(kMarch5));
    LogFileManagerDefault manager(logs(), fs);
    manager.setMaximumNumberOfLogFiles(7);
    for (int i = 0; i < 8; ++i) {
        QVERIFY(manager.createNewLogFile().has_value());
        fs->advance(1min);
    }
    const QString p = QString::fromStdString(kApp) + " 2024-03-05 14-";
    QCOMPARE(toQt(manager.sortedLogFileNames()),
             (QStringList{p + "14.log", p + "13.log", p + "12.log", p + "11.log", p + "10.log", p + "09.log",
                          p + "08.log"}));
    QVERIFY(!fileExists(logs() + "/" + kApp + " 2024-03-05 14-07.log"));
}

void TestFileLogger::loweredLimitWaitsForNextNewFile()
{
    auto fs = std::make_shared<TestFileSystem>();
    fs->setNow(::utcSeconds(kMarch5));
    LogFileManagerDefault manager(logs(), fs);
    QCOMPARE(manager.maximumNumberOfLogFiles(), 5ul);
    QCOMPARE(manager.logFilesDiskQuota(), std::uint64_t(20971520));
    for (int i = 0; i < 5; ++i) {
        QVERIFY(manager.createNewLogFile().has_value());
        fs->advance(1min);
    }
    manager.setMaximumNumberOfLogFiles(2);
    manager.setLogFilesDiskQuota(1);
    QCOMPARE(manager.sortedLogFilePaths().size(), std::size_t(5));

    QVERIFY(manager.createNewLogFile().has_value());
    const QString p = QString::fromStdString(kApp) + " 2024-03-05 14-";
    QCOMPARE(toQt(manager.sortedLogFileNames()), (QStringList{p + "12.log", p + "11.log"}));
}

void TestFileLogger::deletesByQuota_data()
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
    QTest::newRow("no limits") << QList<int>{100, 100} << false << 0 << 0 << 2;
    QTest::newRow("count only") << QList<int>{1, 1, 1} << false << 1 << 0 << 1;
}

void TestFileLogger::deletesByQuota()
{
    QFETCH(QList<int>, sizesNewestFirst);
    QFETCH(bool, newestArchived);
    QFETCH(int, maximumCount);
    QFETCH(int, quota);
    QFETCH(int, kept);

    auto fs = std::make_shared<TestFileSystem>();
    fs->hideBirthTime = true;
    fs->setNow(::utcSeconds(kMarch5));
    LogFileManagerDefault manager(logs(), fs);
    manager.setMaximumNumberOfLogFiles(0);
    manager.setLogFilesDiskQuota(0);
    std::vector<std::string> oldestFirst;
    for (qsizetype i = sizesNewestFirst.size() - 1; i >= 0; --i) {
        const auto path = manager.createNewLogFile();
        QVERIFY(path.has_value());
        writeWholeFile(*path, std::string(std::size_t(sizesNewestFirst[i]), 'z'));
        oldestFirst.push_back(*path);
        fs->advance(10s);
    }
    if (newestArchived)
        LogFileInfo(oldestFirst.back(), fs).setIsArchived(true);
    manager.setMaximumNumberOfLogFiles(unsigned(maximumCount));
    manager.setLogFilesDiskQuota(std::uint64_t(quota));
    manager.deleteOldLogFiles();

    const std::vector<std::string> expected(oldestFirst.rbegin(), oldestFirst.rbegin() + kept);
    QCOMPARE(toQt(manager.sortedLogFilePaths()), toQt(expected));
}

void TestFileLogger::reuseAcrossLaunches_data()
{
    QTest::addColumn<QString>("previous"); // state the first launch leaves the newest file in
    QTest::addColumn<bool>("doNotReuse");
    QTest::addColumn<qlonglong>("secondsLater");
    QTest::addColumn<bool>("sameFile");
    QTest::addColumn<bool>("oldArchived");

    QTest::newRow("fresh file goes on") << "open" << false << qlonglong(3600) << true << false;
    QTest::newRow("doNotReuseLogFiles starts anew") << "open" << true << qlonglong(60) << false << false;
    QTest::newRow("almost a day old goes on") << "open" << false << qlonglong(86399) << true << false;
    QTest::newRow("a day old is archived") << "open" << false << qlonglong(86400) << false << true;
    QTest::newRow("full is archived") << "full" << false << qlonglong(60) << false << true;
    QTest::newRow("archived is left alone") << "archived" << false << qlonglong(60) << false << true;
}

void TestFileLogger::reuseAcrossLaunches()
{
    QFETCH(QString, previous);
    QFETCH(bool, doNotReuse);
    QFETCH(qlonglong, secondsLater);
    QFETCH(bool, sameFile);
    QFETCH(bool, oldArchived);

    auto fs = std::make_shared<TestFileSystem>();
    fs->hideBirthTime = true;
    fs->setNow(::utcSeconds(kMarch5));
    std::string firstPath;
    {
        auto manager = std::make_shared<CountingLogFileManager>(logs(), fs);
        auto logger = std::make_shared<FileLogger>(manager);
        logger->setLogFormatter(nullptr);
        settle(*logger);
        logDirect(*logger, previous == "full" ? std::string(99, 'f') : std::string("first launch"));
        if (previous == "archived") {
            // The block runs after the roll, off the logger's queue.
            std::promise<bool> rolled;
            logger->rollLogFileWithCompletionBlock(
                [&rolled, manager] { rolled.set_value(manager->rolls.load() == 1); });
            auto done = rolled.get_future();
            QCOMPARE(done.wait_for(5s), std::future_status::ready);
            QVERIFY(done.get());
        }
        settle(*logger);
        firstPath = manager->sortedLogFilePaths().at(0);
    } // the first launch ends without archiving its file

    fs->advance(std::chrono::seconds(secondsLater));
    auto manager = std::make_shared<CountingLogFileManager>(logs(), fs);
    auto logger = std::make_shared<FileLogger>(manager);
    logger->setLogFormatter(nullptr);
    logger->setDoNotReuseLogFiles(doNotReuse);
    if (previous == "full")
        logger->setMaximumFileSize(100);
    settle(*logger);
    logDirect(*logger, "second launch");

    const auto paths = manager->sortedLogFilePaths();
    QCOMPARE(paths.size(), std::size_t(sameFile ? 1 : 2));
    QCOMPARE(paths.back(), firstPath);
    QCOMPARE(LogFileInfo(firstPath, fs).isArchived(), oldArchived);
    if (sameFile) {
        QCOMPARE(readWholeFile(firstPath), std::string("first launch\nsecond launch\n"));
    } else {
        QCOMPARE(readWholeFile(paths.front()), std::string("second launch\n"));
        QVERIFY(!LogFileInfo(paths.front(), fs).isArchived());
    }
    QCOMPARE(manager->archivedAtStart.load(), (oldArchived && previous != "archived") ? 1 : 0);
}

void TestFileLogger::archivedMarkSurvivesRestart_data()
{
    QTest::addColumn<bool>("noExtendedAttributes");
    QTest::addColumn<bool>("hideBirthTime");

    QTest::newRow("extended attributes") << false << false;
    QTest::newRow("no extended attributes") << true << false;
    QTest::newRow("neither attributes nor birth times") << true << true;
}

void TestFileLogger::archivedMarkSurvivesRestart()
{
    QFETCH(bool, noExtendedAttributes);
    QFETCH(bool, hideBirthTime);

    const auto makeFs = [&] {
        auto fs = std::make_shared<TestFileSystem>();
        fs->noExtendedAttributes = noExtendedAttributes;
        fs->hideBirthTime = hideBirthTime;
        return fs;
    };
    StandardErrorCapture errors;
    std::string firstPath;
    {
        auto fs = makeFs();
        auto manager = std::make_shared<LogFileManagerDefault>(logs(), fs);
        auto logger = std::make_shared<FileLogger>(manager);
        logDirect(*logger, "one");
        firstPath = manager->sortedLogFilePaths().at(0);
        logger->rollLogFile();
        settle(*logger);
        logDirect(*logger, "two"); // a second file, newer than the first
    }
    const std::string sidecar = LogFileInfo::sidecarPath(firstPath, LogFileInfo::kArchivedAttributeName);
    QCOMPARE(fileExists(sidecar), noExtendedAttributes);
    QCOMPARE(hasRealXattr(firstPath, LogFileInfo::kArchivedAttributeName), !noExtendedAttributes);

    // A new process: fresh objects, same folder.
    auto fs = makeFs();
    LogFileManagerDefault manager(logs(), fs);
    const auto infos = manager.sortedLogFileInfos();
    QCOMPARE(infos.size(), std::size_t(2));
    QCOMPARE(infos[1]->filePath(), firstPath);
    QVERIFY(infos[1]->isArchived());
    QVERIFY(!infos[0]->isArchived());

    infos[1]->setIsArchived(false);
    QVERIFY(!infos[1]->isArchived());
    QVERIFY(!fileExists(sidecar));
    infos[1]->setIsArchived(true);
    QVERIFY(infos[1]->isArchived());

    // Deleting a log file takes its sidecars along.
    manager.setMaximumNumberOfLogFiles(1);
    manager.deleteOldLogFiles();
    QVERIFY(!fileExists(firstPath));
    QVERIFY(!fileExists(sidecar));
    QVERIFY(!fileExists(LogFileInfo::sidecarPath(firstPath, LogFileInfo::kCreatedAttributeName)));
    errors.restore();
    QCOMPARE(QString::fromStdString(errors.text()), QString());
}

void TestFileLogger::creationDateSources_data()
{
    QTest::addColumn<bool>("hideBirthTime");
    QTest::addColumn<bool>("noExtendedAttributes");
    QTest::addColumn<bool>("madeByHand");
    QTest::addColumn<qlonglong>("expectedUtcSeconds"); // -1: the real time of creation

    QTest::newRow("birth time") << false << false << false << qlonglong(-1);
    QTest::newRow("stored creation time") << true << false << false << qlonglong(kMarch5);
    QTest::newRow("stored in a sidecar") << true << true << false << qlonglong(kMarch5);
    QTest::newRow("minute from the name") << true << false << true << qlonglong(1709647620);
}

void TestFileLogger::creationDateSources()
{
    QFETCH(bool, hideBirthTime);
    QFETCH(bool, noExtendedAttributes);
    QFETCH(bool, madeByHand);
    QFETCH(qlonglong, expectedUtcSeconds);

    auto fs = std::make_shared<TestFileSystem>();
    fs->hideBirthTime = hideBirthTime;
    fs->noExtendedAttributes = noExtendedAttributes;
    if (expectedUtcSeconds >= 0)
        fs->setNow(::utcSeconds(kMarch5));
    LogFileManagerDefault manager(logs(), fs);
    const auto before = std::chrono::system_clock::now();
    std::string path;
    if (madeByHand) {
        path = manager.logsDirectory() + "/" + kApp + " 2024-03-05 14-07 2.log";
        writeWholeFile(path, "");
    } else {
        path = manager.createNewLogFile().value();
    }
    const auto after = std::chrono::system_clock::now();

    fs->advance(90s);
    LogFileInfo info(path, fs);
    const auto created = info.creationDate();
    QVERIFY(created.has_value());
    if (expectedUtcSeconds < 0) {
        // Birth times come from a coarse kernel clock: allow it one tick before our reading.
        QVERIFY(*created >= before - 20ms);
        QVERIFY(*created <= after + 20ms);
    } else {
        QCOMPARE(
            qlonglong(std::chrono::duration_cast<std::chrono::seconds>(created->time_since_epoch()).count()),
            expectedUtcSeconds);
        QCOMPARE(info.age(), 90.0 + double(kMarch5 - expectedUtcSeconds));
    }
}

void TestFileLogger::rollsByAgeOnTimer()
{
    auto manager = std::make_shared<CountingLogFileManager>(logs());
    auto logger = std::make_shared<FileLogger>(manager);
    logger->setLogFormatter(nullptr);
    logger->setRollingFrequency(0.3);
    settle(*logger);
    QCOMPARE(logger->rollingFrequency(), 0.3);

    QElapsedTimer clock;
    clock.start();
    logDirect(*logger, "one");
    const auto first = manager->sortedLogFilePaths();
    QCOMPARE(first.size(), std::size_t(1));
    // Real time is the subject here: the timer must fire by itself.
    QTRY_COMPARE_WITH_TIMEOUT(manager->rolls.load(), 1, 5000);
    QVERIFY2(clock.elapsed() >= 250, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(LogFileInfo(first[0]).isArchived());

    logDirect(*logger, "two");
    const auto now = manager->sortedLogFilePaths();
    QCOMPARE(now.size(), std::size_t(2));
    QCOMPARE(readWholeFile(now[0]), std::string("two\n"));
    logger->setRollingFrequency(0); // no more timers
    settle(*logger);
}

void TestFileLogger::settersRollAtOnce_data()
{
    QTest::addColumn<QString>("setter");
    QTest::addColumn<double>("value");
    QTest::addColumn<bool>("rolls");

    // The file is 100 s old and 12 bytes long.
    QTest::newRow("frequency below age") << "frequency" << 50.0 << true;
    QTest::newRow("frequency equal to age") << "frequency" << 100.0 << true;
    QTest::newRow("frequency above age") << "frequency" << 101.0 << false;
    QTest::newRow("frequency off") << "frequency" << 0.0 << false;
    QTest::newRow("size below") << "size" << 11.0 << true;
    QTest::newRow("size equal") << "size" << 12.0 << true;
    QTest::newRow("size above") << "size" << 13.0 << false;
    QTest::newRow("size off") << "size" << 0.0 << false;
}

void TestFileLogger::settersRollAtOnce()
{
    QFETCH(QString, setter);
    QFETCH(double, value);
    QFETCH(bool, rolls);

    auto fs = std::make_shared<TestFileSystem>();
    fs->hideBirthTime = true;
    fs->setNow(::utcSeconds(kMarch5));
    auto manager = std::make_shared<CountingLogFileManager>(logs(), fs);
    auto logger = std::make_shared<FileLogger>(manager);
    logger->setLogFormatter(nullptr);
    settle(*logger);
    logDirect(*logger, "hello world"); // 11 bytes and the line feed
    fs->advance(100s);
    if (setter == "frequency")
        logger->setRollingFrequency(value);
    else
        logger->setMaximumFileSize(std::uint64_t(value));
    settle(*logger);
    QCOMPARE(manager->rolls.load(), rolls ? 1 : 0);
}

void TestFileLogger::fullDiskLeavesCompleteLinesAndReportsTenTimes()
{
    auto fs = std::make_shared<TestFileSystem>();
    auto manager = std::make_shared<LogFileManagerDefault>(logs(), fs);
    auto logger = std::make_shared<FileLogger>(manager);
    logger->setLogFormatter(nullptr);
    settle(*logger);
    logDirect(*logger, "fits");
    const std::string path = manager->sortedLogFilePaths().at(0);

    StandardErrorCapture errors;
    fs->writeBudget = 3; // the next line gets three bytes in, then the disk is full
    for (int i = 0; i < 13; ++i)
        logDirect(*logger, "does not fit " + std::to_string(i));
    errors.restore();

    QCOMPARE(readWholeFile(path), std::string("fits\n"));
    const auto lines = errors.lines();
    const std::string failure = "FileLogger.logMessage: write(" + path + "): No space left on device";
    std::vector<std::string> expected(10, failure);
    expected.push_back("FileLogger.logMessage: Too many exceptions -- will not log any more of them.");
    QCOMPARE(toQt(lines), toQt(expected));

    // Space comes back: logging simply goes on in the same file.
    fs->writeBudget = -1;
    logDirect(*logger, "again");
    QCOMPARE(readWholeFile(path), std::string("fits\nagain\n"));
}

void TestFileLogger::folderThatCannotBeCreated()
{
    const std::string blocker = dir_->path().toStdString() + "/a-file";
    writeWholeFile(blocker, "not a folder");
    StandardErrorCapture errors;
    auto manager = std::make_shared<LogFileManagerDefault>(blocker + "/Logs");
    auto logger = std::make_shared<FileLogger>(manager);
    for (int i = 0; i < 3; ++i)
        logDirect(*logger, "nowhere to go");
    QVERIFY(!manager->createNewLogFile().has_value());
    QVERIFY(manager->sortedLogFilePaths().empty());
    errors.restore();
    QCOMPARE(toQt(errors.lines()),
             QStringList{QString::fromStdString("LogFileManagerDefault: Error creating logsDirectory: " +
                                                blocker + "/Logs: Not a directory")});
}

void TestFileLogger::failedRenames()
{
    auto fs = std::make_shared<TestFileSystem>();
    fs->noExtendedAttributes = true;
    fs->failRenames = true;
    LogFileManagerDefault manager(logs(), fs);
    const std::string path = manager.createNewLogFile().value();

    StandardErrorCapture errors;
    LogFileInfo info(path, fs);
    info.setIsArchived(true);
    QVERIFY(!info.isArchived());
    info.renameFile("renamed.log");
    errors.restore();

    // The sidecar could not be put in place, and no temporary file is left behind.
    std::vector<std::string> left;
    fs->listDirectory(logs() + "/" + LogFileInfo::kSidecarFolderName, &left);
    QCOMPARE(toQt(left), QStringList());
    QCOMPARE(info.filePath(), logs() + "/renamed.log");
    QVERIFY(fileExists(path));
    QCOMPARE(toQt(errors.lines()),
             (QStringList{QString::fromStdString("LogFileInfo: setxattr(" +
                                                 std::string(LogFileInfo::kArchivedAttributeName) + ", " +
                                                 path + "): error = Input/output error"),
                          QString::fromStdString("LogFileInfo: Error renaming file (" + path +
                                                 "): Input/output error")}));
}

void TestFileLogger::renameFileMovesSidecars()
{
    auto fs = std::make_shared<TestFileSystem>();
    fs->noExtendedAttributes = true;
    LogFileManagerDefault manager(logs(), fs);
    const std::string path = manager.createNewLogFile().value();
    writeWholeFile(logs() + "/target.log", "in the way");

    StandardErrorCapture errors;
    LogFileInfo info(path, fs);
    info.setIsArchived(true);
    info.renameFile("target.log");
    QCOMPARE(info.fileName(), std::string("target.log"));
    QVERIFY(info.isArchived());
    QVERIFY(!fileExists(path));
    QVERIFY(!fileExists(LogFileInfo::sidecarPath(path, LogFileInfo::kArchivedAttributeName)));
    QCOMPARE(readWholeFile(logs() + "/target.log"), std::string());
    // Removing a mark that is not there is not an error.
    info.removeExtendedAttributeWithName("user.never.set");
    LogFileInfo(logs() + "/target.log").removeExtendedAttributeWithName("user.never.set");
    errors.restore();
    QCOMPARE(QString::fromStdString(errors.text()), QString());
}

void TestFileLogger::manyThreadsLoseNothingAndKeepOrder()
{
    constexpr int kThreads = 8;
    constexpr int kPerThread = 12500;

    auto manager = std::make_shared<LogFileManagerDefault>(logs());
    manager->setMaximumNumberOfLogFiles(100000);
    manager->setLogFilesDiskQuota(0);
    auto logger = std::make_shared<FileLogger>(manager);
    logger->setMaximumFileSize(256 * 1024);
    Log::addLogger(logger);

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kPerThread; ++i)
                Log::log(true, LogLevelVerbose, LogFlagInfo, 0, __FILE__, "worker", __LINE__, nullptr,
                         "t%d %d", t, i);
        });
    }
    for (auto& thread : threads)
        thread.join();
    Log::flushLog();
    Log::removeLogger(logger);
    settle(*logger);

    auto paths = manager->sortedLogFilePaths();
    QVERIFY2(paths.size() >= 5, qPrintable(QString::number(paths.size())));
    std::reverse(paths.begin(), paths.end()); // oldest first
    std::vector<int> next(kThreads, 0);
    int total = 0;
    for (const auto& path : paths) {
        const std::string content = readWholeFile(path);
        std::size_t start = 0;
        while (start < content.size()) {
            const auto end = content.find('\n', start);
            QVERIFY(end != std::string::npos);
            // "yyyy/MM/dd HH:mm:ss:SSS  t<thread> <index>"
            const std::string line = content.substr(start, end - start);
            start = end + 1;
            int t = -1;
            int i = -1;
            QVERIFY2(line.size() > 25 && std::sscanf(line.c_str() + 25, "t%d %d", &t, &i) == 2, line.c_str());
            QVERIFY(t >= 0 && t < kThreads);
            QVERIFY2(
                i == next[std::size_t(t)],
                qPrintable(QString("thread %1: %2 after %3").arg(t).arg(i).arg(next[std::size_t(t)] - 1)));
            ++next[std::size_t(t)];
            ++total;
        }
        QVERIFY(LogFileInfo(path).isArchived()); // removing the logger rolled the last one too
    }
    QCOMPARE(total, kThreads * kPerThread);
}

QTEST_GUILESS_MAIN(TestFileLogger)
#include "tst_filelogger.moc"
