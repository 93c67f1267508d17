#pragma once

#include "logging/filelogger.h"
#include "logging/log.h"
#include "logging/logfilemanagerdefault.h"
#include "logging/logfilesystem.h"
#include "logging/logmessage.h"

#include <QFile>
#include <QStringList>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

using namespace iconfoundry;

using namespace std::chrono_literals;

// A file layer with switches for the failures a real disk can produce, and a clock a test can set.
class TestFileSystem : public LogFileSystem
{
public:
    std::atomic<bool> hideBirthTime{false};        // statx leaves STATX_BTIME out
    std::atomic<bool> noExtendedAttributes{false}; // xattr calls fail with ENOTSUP
    // Bytes the disk still takes; a write beyond it is cut short, the next fails with ENOSPC.
    // Negative: unlimited.
    std::atomic<long long> writeBudget{-1};

    void setNow(Clock::time_point time) { fixedNow_ = time.time_since_epoch().count(); }
    void advance(Clock::duration by) { fixedNow_ += by.count(); }
    Clock::time_point now() const override
    {
        const auto fixed = fixedNow_.load();
        return fixed == kRealTime ? LogFileSystem::now() : Clock::time_point(Clock::duration(fixed));
    }

    ssize_t write(int fd, const void* data, std::size_t size) override
    {
        const long long budget = writeBudget;
        if (budget < 0)
            return LogFileSystem::write(fd, data, size);
        if (budget == 0)
            return fail(ENOSPC);
        const ssize_t written =
            LogFileSystem::write(fd, data, std::min<std::size_t>(size, std::size_t(budget)));
        if (written > 0)
            writeBudget -= written;
        return written;
    }
    int stat(const std::string& path, LogFileStat* result) override
    {
        return dropBirthTime(LogFileSystem::stat(path, result), result);
    }
    int fstat(int fd, LogFileStat* result) override
    {
        return dropBirthTime(LogFileSystem::fstat(fd, result), result);
    }
    int setXattr(const std::string& path, const std::string& name, const std::string& value) override
    {
        return noExtendedAttributes ? fail(ENOTSUP) : LogFileSystem::setXattr(path, name, value);
    }
    int getXattr(const std::string& path, const std::string& name, std::string* value) override
    {
        return noExtendedAttributes ? fail(ENOTSUP) : LogFileSystem::getXattr(path, name, value);
    }
    int removeXattr(const std::string& path, const std::string& name) override
    {
        return noExtendedAttributes ? fail(ENOTSUP) : LogFileSystem::removeXattr(path, name);
    }

private:
    static constexpr Clock::rep kRealTime = std::numeric_limits<Clock::rep>::min();
    static int fail(int error)
    {
        errno = error;
        return -1;
    }
    int dropBirthTime(int rc, LogFileStat* result)
    {
        if (rc == 0 && hideBirthTime)
            result->birthTime.reset();
        return rc;
    }
    std::atomic<Clock::rep> fixedNow_{kRealTime};
};

// A manager that counts what the logger tells it.
class CountingLogFileManager : public LogFileManagerDefault
{
public:
    using LogFileManagerDefault::LogFileManagerDefault;
    std::atomic<int> rolls{0}, archivedAtStart{0};
    void didArchiveLogFile(const std::string&) override { ++archivedAtStart; }
    void didRollAndArchiveLogFile(const std::string&) override { ++rolls; }
};

// Sends standard error to an unlinked file until takeLines() hands back what arrived.
class StandardErrorCapture
{
public:
    StandardErrorCapture()
    {
        std::fflush(stderr);
        char name[] = "/tmp/stderr-capture-XXXXXX";
        capture_ = ::mkstemp(name);
        ::unlink(name);
        saved_ = ::dup(STDERR_FILENO);
        ::dup2(capture_, STDERR_FILENO);
    }
    ~StandardErrorCapture() { takeLines(); }
    QStringList takeLines()
    {
        if (saved_ < 0)
            return {};
        std::fflush(stderr);
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
        saved_ = -1;
        QByteArray all;
        char buffer[4096];
        for (ssize_t got; (got = ::pread(capture_, buffer, sizeof buffer, off_t(all.size()))) > 0;)
            all.append(buffer, got);
        ::close(capture_);
        return QString::fromUtf8(all).split('\n', Qt::SkipEmptyParts);
    }

private:
    int capture_ = -1;
    int saved_ = -1;
};

// A message made at 2024-03-05 14:07:09.123 UTC unless told otherwise.
inline LogMessage makeMessage(std::string text,
                              LogMessage::Clock::time_point timestamp =
                                  LogMessage::Clock::time_point(std::chrono::milliseconds(1709647629123)))
{
    return LogMessage(std::move(text), LogLevelAll, LogFlagInfo, 0, "/src/test.cpp", "test", 1, nullptr, 0,
                      timestamp);
}

// Lets everything already submitted to the logging queue and the logger's queue finish.
inline void settle(FileLogger& logger)
{
    Log::loggingQueue().sync([] {});
    logger.loggerQueue()->sync([] {});
}

// A file logger that writes bare messages (every byte is the test's to count), with a counting
// manager over the given file layer.
struct LoggerRig
{
    explicit LoggerRig(const std::string& folder, std::shared_ptr<LogFileSystem> fs = {})
        : manager(std::make_shared<CountingLogFileManager>(folder, std::move(fs))),
          logger(std::make_shared<FileLogger>(manager))
    {
        logger->setLogFormatter(nullptr);
        settle(*logger);
    }
    // Hands one message to the logger on its own queue, the way the dispatcher does.
    void log(const std::string& text)
    {
        const LogMessage message = makeMessage(text);
        logger->loggerQueue()->sync([&] { logger->logMessage(message); });
    }
    std::vector<std::string> paths() const { return manager->sortedLogFilePaths(); }

    std::shared_ptr<CountingLogFileManager> manager;
    std::shared_ptr<FileLogger> logger;
};

inline std::string readWholeFile(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

inline void writeWholeFile(const std::string& path, const std::string& content)
{
    QFile file(QString::fromStdString(path));
    if (file.open(QIODevice::WriteOnly))
        file.write(content.data(), qint64(content.size()));
}

inline bool fileExists(const std::string& path)
{
    return ::access(path.c_str(), F_OK) == 0;
}

inline QStringList toQt(const std::vector<std::string>& list)
{
    QStringList out;
    for (const auto& s : list)
        out << QString::fromStdString(s);
    return out;
}
