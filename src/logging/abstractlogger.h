#pragma once

#include "logger.h"

#include <memory>
#include <mutex>
#include <string>

namespace iconfoundry {

namespace logging_detail {
struct LoggerLife;
}

// Base of every logger: owns the formatter and the logger's serial queue. Concrete loggers only
// write (logMessage) and flush.
//
// The logger's name is the one given at construction, else its class name. The queue is made on
// first use, labelled with that name; setLoggerQueue() puts another one in its place, which must
// happen before the logger is added: the dispatcher keeps the queue it was given at addLogger().
//
// The formatter getter must not be called on the logging queue or on this logger's queue; it
// reads through both. The setter applies the change on the logging queue and then on this
// logger's queue, so a change never lands in the middle of a message. Subclasses read
// formatter_ directly inside logMessage(), where they are on their own queue.
class AbstractLogger : public Logger
{
public:
    explicit AbstractLogger(const std::string& name = {});
    ~AbstractLogger() override;

    void logMessage(const LogMessage& message) override;
    std::shared_ptr<LogFormatter> logFormatter() const override;
    void setLogFormatter(std::shared_ptr<LogFormatter> formatter) override;
    std::shared_ptr<DispatchQueue> loggerQueue() const override;
    std::string loggerName() const override;

    bool isOnGlobalLoggingQueue() const;
    bool isOnInternalLoggerQueue() const;
    // A null queue is ignored.
    void setLoggerQueue(std::shared_ptr<DispatchQueue> queue);

protected:
    std::shared_ptr<LogFormatter> formatter_;

private:
    std::string name_;
    mutable std::mutex queueMutex_;
    mutable std::shared_ptr<DispatchQueue> loggerQueue_;
    // Lets queued formatter changes find out that the logger is gone.
    std::shared_ptr<logging_detail::LoggerLife> life_;
};

} // namespace iconfoundry
