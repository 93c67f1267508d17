#pragma once

#include "logflags.h"
#include "logmessage.h"

#include <cstdarg>
#include <memory>
#include <string>
#include <vector>

namespace iconfoundry {

class DispatchQueue;
class Logger;

// The process-wide dispatcher. Every statement becomes a LogMessage that is handed to each
// registered logger whose level admits its flag.
//
// 1. Formatting happens on the caller's thread, before anything is queued.
// 2. At most 1000 messages are in flight; the caller of the 1001st blocks until one is delivered.
// 3. Messages are delivered one at a time, in order, on the serial logging queue. Each logger
//    runs on its own serial queue; with two or more processors loggers write in parallel and the
//    next message starts only when every logger finished the current one.
// 4. A synchronous statement returns only after every admitting logger has written it.
// 5. Registration changes are ordered with the messages on the logging queue.
// 6. flushLog() waits until every logger that buffers has flushed; it also runs at process exit.
// Never call flushLog() or a synchronous statement from a logger's own queue.
class Log
{
public:
    static void addLogger(std::shared_ptr<Logger> logger);
    static void addLogger(std::shared_ptr<Logger> logger, unsigned level);
    static void removeLogger(const std::shared_ptr<Logger>& logger);
    static void removeAllLoggers();
    static std::vector<std::shared_ptr<Logger>> allLoggers();

    static void log(bool asynchronous, unsigned level, unsigned flag, long context, const char* file,
                    const char* function, unsigned line, const void* tag, const char* format, ...)
        __attribute__((format(printf, 9, 10)));
    static void logv(bool asynchronous, unsigned level, unsigned flag, long context, const char* file,
                     const char* function, unsigned line, const void* tag, const char* format, va_list args)
        __attribute__((format(printf, 9, 0)));
    static void log(bool asynchronous, std::string message, unsigned level, unsigned flag, long context,
                    const char* file, const char* function, unsigned line, const void* tag);
    static void log(bool asynchronous, LogMessage message);

    static void flushLog();
    static DispatchQueue& loggingQueue();
    static bool isOnGlobalLoggingQueue();

    // "bool ImageProcessor::loadData(const QString&)" -> "ImageProcessor::loadData". A lambda's
    // statements are named after the function that holds the lambda.
    static std::string functionName(const char* prettyFunction);
};

#define IF_LOG_MAYBE(async, flag, format, ...)                                                       \
    do {                                                                                             \
        if (::iconfoundry::kProgramLogLevel & (flag)) {                                                             \
            static const std::string ifLogFunction_ = ::iconfoundry::Log::functionName(__PRETTY_FUNCTION__);      \
            ::iconfoundry::Log::log(async, ::iconfoundry::kProgramLogLevel, flag, 0, __FILE__, ifLogFunction_.c_str(), __LINE__, \
                       nullptr, format __VA_OPT__(, ) __VA_ARGS__);                                  \
        }                                                                                            \
    } while (0)

// printf-style statements. Pass Qt strings with qUtf8Printable(). Errors are synchronous, the
// others asynchronous.
#define LOG_ERROR(format, ...) IF_LOG_MAYBE(false, ::iconfoundry::LogFlagError, format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_WARN(format, ...) IF_LOG_MAYBE(true, ::iconfoundry::LogFlagWarning, format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_INFO(format, ...) IF_LOG_MAYBE(true, ::iconfoundry::LogFlagInfo, format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_DEBUG(format, ...) IF_LOG_MAYBE(true, ::iconfoundry::LogFlagDebug, format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_VERBOSE(format, ...) IF_LOG_MAYBE(true, ::iconfoundry::LogFlagVerbose, format __VA_OPT__(, ) __VA_ARGS__)

} // namespace iconfoundry
