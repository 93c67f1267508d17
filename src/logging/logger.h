#pragma once

#include <memory>
#include <optional>
#include <string>

namespace iconfoundry {

class DispatchQueue;
class LogMessage;
class Logger;

// Turns a message into the text a logger writes. Returning std::nullopt drops the message for
// that logger only.
class LogFormatter
{
public:
    virtual ~LogFormatter() = default;
    virtual std::optional<std::string> formatLogMessage(const LogMessage& message) = 0;
    virtual void didAddToLogger(Logger&) {}
    virtual void willRemoveFromLogger(Logger&) {}
};

// A destination for log messages. The dispatcher calls every member below on the logger's own
// serial queue, so implementations need no locks of their own.
class Logger
{
public:
    virtual ~Logger() = default;

    virtual void logMessage(const LogMessage& message) = 0;

    virtual std::shared_ptr<LogFormatter> logFormatter() const { return nullptr; }
    virtual void setLogFormatter(std::shared_ptr<LogFormatter>) {}

    virtual void didAddLogger() {}
    virtual void willRemoveLogger() {}

    // Loggers that buffer answer true and write their buffers out in flush().
    virtual bool respondsToFlush() const { return false; }
    virtual void flush() {}

    // The queue the dispatcher should use for this logger; nullptr lets it create one.
    virtual std::shared_ptr<DispatchQueue> loggerQueue() const { return nullptr; }
    // The class name, without the project namespace ("ConsoleLogger"); the dispatcher labels the
    // queue it makes for the logger with it.
    virtual std::string loggerName() const;
};

namespace logging_detail {
// "iconfoundry::ConsoleLogger" -> "ConsoleLogger"; other names are left alone.
void dropProjectNamespace(std::string& name);
} // namespace logging_detail

} // namespace iconfoundry
