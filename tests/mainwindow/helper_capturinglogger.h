#pragma once

#include "logging/log.h"
#include "logging/logger.h"
#include "logging/logmessage.h"

#include <QString>
#include <QStringList>
#include <memory>
#include <mutex>

// Collects every logged message (text and flag) so a test can wait for a line with QTRY_.
// Registered with Log for the life of the object.
class CapturingLogger : public Logger
{
public:
    void logMessage(const LogMessage& message) override
    {
        std::lock_guard lock(mutex_);
        lines_.append(QString::fromStdString(message.message()));
        flags_.append(message.flag());
    }

    QStringList lines() const
    {
        std::lock_guard lock(mutex_);
        return lines_;
    }

    // The lines logged with flag that contain every one of parts.
    QStringList linesWith(unsigned flag, const QStringList& parts) const
    {
        std::lock_guard lock(mutex_);
        QStringList found;
        for (qsizetype i = 0; i < lines_.size(); ++i) {
            if (flags_.at(i) != flag)
                continue;
            bool all = true;
            for (const QString& part : parts)
                all = all && lines_.at(i).contains(part);
            if (all)
                found.append(lines_.at(i));
        }
        return found;
    }

    void clear()
    {
        std::lock_guard lock(mutex_);
        lines_.clear();
        flags_.clear();
    }

private:
    mutable std::mutex mutex_;
    QStringList lines_;
    QList<unsigned> flags_;
};

class ScopedCapturingLogger
{
public:
    ScopedCapturingLogger() : logger_(std::make_shared<CapturingLogger>()) { Log::addLogger(logger_); }
    ~ScopedCapturingLogger()
    {
        Log::removeLogger(logger_);
        Log::flushLog();
    }
    CapturingLogger* operator->() const { return logger_.get(); }

private:
    std::shared_ptr<CapturingLogger> logger_;
};
