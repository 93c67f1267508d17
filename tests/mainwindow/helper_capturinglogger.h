#pragma once

#include "logging/log.h"
#include "logging/logger.h"
#include "logging/logmessage.h"

#include <QStringList>
#include <algorithm>
#include <memory>
#include <mutex>

using namespace iconfoundry;

// Registers a logger with Log for the life of the object that keeps every message (text and
// flag), so a test can wait for a line with QTRY_. Thread-safe: loggers run on the logging queues.
class ScopedCapturingLogger
{
public:
    ScopedCapturingLogger() { Log::addLogger(capture_); }
    ~ScopedCapturingLogger()
    {
        Log::removeLogger(capture_);
        Log::flushLog();
    }

    // The lines logged with flag that contain every one of parts.
    QStringList linesWith(unsigned flag, const QStringList& parts) const
    {
        std::lock_guard lock(capture_->mutex);
        QStringList found;
        for (const auto& [lineFlag, line] : capture_->lines) {
            if (lineFlag == flag && std::all_of(parts.begin(), parts.end(),
                                                [&](const QString& part) { return line.contains(part); }))
                found.append(line);
        }
        return found;
    }

private:
    struct Capture : Logger
    {
        std::mutex mutex;
        QList<std::pair<unsigned, QString>> lines;
        void logMessage(const LogMessage& message) override
        {
            std::lock_guard lock(mutex);
            lines.append({message.flag(), QString::fromStdString(message.message())});
        }
    };
    std::shared_ptr<Capture> capture_ = std::make_shared<Capture>();
};
