#pragma once

// What the tests of every folder need alike: fixtures, environment changes that are undone, and a
// logger that records what reached it. Helpers of one folder stay in that folder's helper_*.h.

#include "logging/log.h"
#include "logging/logger.h"
#include "logging/logmessage.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

namespace iconfoundry::test {

// A file under tests/data (CTest points ICONFOUNDRY_TEST_DATA there).
inline QString testData(const QString& name)
{
    return QDir(qEnvironmentVariable("ICONFOUNDRY_TEST_DATA")).filePath(name);
}

// Every byte of a file; empty when it cannot be read.
inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Sets an environment variable (or removes it, given std::nullopt) for the life of the object and
// then puts back what was there before, so that no test leaves its setting to the ones after it.
// TZ is re-read by the C library on both changes.
class ScopedEnvironmentVariable
{
public:
    ScopedEnvironmentVariable(const char* name, const std::optional<QByteArray>& value)
        : name_(name),
          previous_(qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt)
    {
        apply(value);
    }
    ~ScopedEnvironmentVariable() { apply(previous_); }
    ScopedEnvironmentVariable(const ScopedEnvironmentVariable&) = delete;
    ScopedEnvironmentVariable& operator=(const ScopedEnvironmentVariable&) = delete;

private:
    void apply(const std::optional<QByteArray>& value)
    {
        if (value)
            qputenv(name_.constData(), *value);
        else
            qunsetenv(name_.constData());
        if (name_ == "TZ")
            ::tzset();
    }
    QByteArray name_;
    std::optional<QByteArray> previous_;
};

// Records every message it is given: flag, function and text. Loggers run on the logging
// queues, so access is locked.
class RecordingLogger : public Logger
{
public:
    void logMessage(const LogMessage& message) override
    {
        std::lock_guard lock(mutex_);
        lines_.push_back({message.flag(), message.function(), QString::fromStdString(message.message())});
    }

    // The texts logged with flag (and from function, if given), after everything logged so far
    // was delivered.
    QStringList texts(unsigned flag, const char* function = nullptr)
    {
        Log::flushLog();
        std::lock_guard lock(mutex_);
        QStringList found;
        for (const auto& [lineFlag, lineFunction, text] : lines_) {
            if (lineFlag == flag && (!function || lineFunction == function))
                found.append(text);
        }
        return found;
    }

    // The texts delivered so far with flag that contain every one of parts; does not wait, so a
    // test can poll it with QTRY_.
    QStringList linesWith(unsigned flag, const QStringList& parts)
    {
        std::lock_guard lock(mutex_);
        QStringList found;
        for (const auto& [lineFlag, lineFunction, text] : lines_) {
            if (lineFlag == flag && std::all_of(parts.begin(), parts.end(),
                                                [&](const QString& part) { return text.contains(part); }))
                found.append(text);
        }
        return found;
    }

private:
    std::mutex mutex_;
    QList<std::tuple<unsigned, std::string, QString>> lines_;
};

// A RecordingLogger registered with Log for the life of the object.
class ScopedRecordingLogger
{
public:
    ScopedRecordingLogger() { Log::addLogger(logger_); }
    ~ScopedRecordingLogger()
    {
        Log::removeLogger(logger_);
        Log::flushLog();
    }
    ScopedRecordingLogger(const ScopedRecordingLogger&) = delete;
    ScopedRecordingLogger& operator=(const ScopedRecordingLogger&) = delete;
    RecordingLogger* operator->() const { return logger_.get(); }
    const std::shared_ptr<RecordingLogger>& logger() const { return logger_; }

private:
    std::shared_ptr<RecordingLogger> logger_ = std::make_shared<RecordingLogger>();
};

} // namespace iconfoundry::test
