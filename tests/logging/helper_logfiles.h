#pragma once

#include "logging/filelogger.h"
#include "logging/log.h"
#include "logging/logfilemanagerdefault.h"
#include "logging/logfilesystem.h"
#include "logging/logmessage.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

// A file layer with switches for the failures a real disk can produce, and a clock a test can set.
class TestFileSystem : public LogFileSystem
{
public:
    // The file system keeps no birth times (statx leaves STATX_BTIME out).
    std::atomic<bool> hideBirthTime{false};
    // Extended attributes are refused with ENOTSUP, as on file systems without them.
    std::atomic<bool> noExtendedAttributes{false};
    // Every rename fails with EIO.
    std::atomic<bool> failRenames{false};
    // Bytes the disk still takes; writes beyond it are cut short and then fail with ENOSPC.
    // Negative: unlimited.
    std::atomic<long long> writeBudget{-1};

    std::atomic<int> setXattrCalls{0};

    void setNow(Clock::time_point time) { fixedNow_ = time.time_since_epoch().count(); }
    void advance(Clock::duration by) { fixedNow_ += by.count(); }
    Clock::time_point now() const override
    {
        const auto fixed = fixedNow_.load();
        return fixed == kRealTime ? LogFileSystem::now() : Clock::time_point(Clock::duration(fixed));
    }

    ssize_t write(int fd, const void* data, std::size_t size) override
    {
        long long budget = writeBudget;
        if (budget < 0)
            return LogFileSystem::write(fd, data, size);
        if (budget == 0) {
            errno = ENOSPC;
            return -1;
        }
        const std::size_t allowed = std::min<std::size_t>(size, std::size_t(budget));
        const ssize_t written = LogFileSystem::write(fd, data, allowed);
        if (written > 0)
            writeBudget -= written;
        return written;
    }
    int rename(const std::string& from, const std::string& to) override
    {
        if (failRenames) {
            errno = EIO;
            return -1;
        }
        return LogFileSystem::rename(from, to);
    }
    int stat(const std::string& path, LogFileStat* result) override
    {
        const int rc = LogFileSystem::stat(path, result);
        if (rc == 0 && hideBirthTime)
            result->birthTime.reset();
        return rc;
    }
    int fstat(int fd, LogFileStat* result) override
    {
        const int rc = LogFileSystem::fstat(fd, result);
        if (rc == 0 && hideBirthTime)
            result->birthTime.reset();
        return rc;
    }
    int setXattr(const std::string& path, const std::string& name, const std::string& value) override
    {
        ++setXattrCalls;
        if (noExtendedAttributes)
            return unsupported();
        return LogFileSystem::setXattr(path, name, value);
    }
    int getXattr(const std::string& path, const std::string& name, std::string* value) override
    {
        if (noExtendedAttributes)
            return unsupported();
        return LogFileSystem::getXattr(path, name, value);
    }
    int removeXattr(const std::string& path, const std::string& name) override
    {
        if (noExtendedAttributes)
            return unsupported();
        return LogFileSystem::removeXattr(path, name);
    }

private:
    static constexpr Clock::rep kRealTime = std::numeric_limits<Clock::rep>::min();
    static int unsupported()
    {
        errno = ENOTSUP;
        return -1;
    }
    std::atomic<Clock::rep> fixedNow_{kRealTime};
};

// A manager that counts what the logger tells it.
class CountingLogFileManager : public LogFileManagerDefault
{
public:
    using LogFileManagerDefault::LogFileManagerDefault;

    std::atomic<int> rolls{0};
    std::atomic<int> archivedAtStart{0};

    void didArchiveLogFile(const std::string&) override { ++archivedAtStart; }
    void didRollAndArchiveLogFile(const std::string&) override { ++rolls; }
};

// Sends standard error to a file for as long as it lives; text() returns what arrived.
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
    ~StandardErrorCapture() { restore(); }
    void restore()
    {
        if (saved_ < 0)
            return;
        std::fflush(stderr);
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
        saved_ = -1;
    }
    std::string text() const
    {
        std::string out;
        char buffer[4096];
        off_t at = 0;
        for (;;) {
            const ssize_t got = ::pread(capture_, buffer, sizeof buffer, at);
            if (got <= 0)
                break;
            out.append(buffer, std::size_t(got));
            at += got;
        }
        return out;
    }
    std::vector<std::string> lines() const
    {
        std::vector<std::string> result;
        const std::string all = text();
        std::size_t start = 0;
        while (start < all.size()) {
            const auto end = all.find('\n', start);
            result.push_back(all.substr(start, end == std::string::npos ? std::string::npos : end - start));
            if (end == std::string::npos)
                break;
            start = end + 1;
        }
        return result;
    }

private:
    int capture_ = -1;
    int saved_ = -1;
};

// Lets everything already submitted to the logging queue and the logger's queue finish.
inline void settle(FileLogger& logger)
{
    Log::loggingQueue().sync([] {});
    logger.loggerQueue()->sync([] {});
}

inline LogMessage makeMessage(std::string text,
                              LogMessage::Clock::time_point timestamp = LogMessage::Clock::now())
{
    return LogMessage(std::move(text), LogLevelAll, LogFlagInfo, 0, "/src/test.cpp", "test", 1, nullptr, 0,
                      timestamp);
}

// Hands one message to the logger on its own queue, the way the dispatcher does.
inline void logDirect(FileLogger& logger, const std::string& text)
{
    const LogMessage message = makeMessage(text);
    logger.loggerQueue()->sync([&] { logger.logMessage(message); });
}

inline std::string readWholeFile(const std::string& path)
{
    std::string out;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return out;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got <= 0)
            break;
        out.append(buffer, std::size_t(got));
    }
    ::close(fd);
    return out;
}

inline bool fileExists(const std::string& path)
{
    return ::access(path.c_str(), F_OK) == 0;
}

inline void writeWholeFile(const std::string& path, const std::string& content)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    if (!content.empty() && ::write(fd, content.data(), content.size()) < 0) {
    }
    ::close(fd);
}

inline LogFileSystem::Clock::time_point utcSeconds(long long seconds)
{
    return LogFileSystem::Clock::time_point(std::chrono::seconds(seconds));
}
