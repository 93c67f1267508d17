#pragma once

#include "logflags.h"
#include "logmessage.h"

#include <atomic>
#include <concepts>
#include <cstdarg>
#include <memory>
#include <string>
#include <vector>

namespace iconfoundry {

class DispatchQueue;
class Logger;

// A class whose statements have a level of its own: it answers logLevel() and setLogLevel() at
// class level. LOG_REGISTER_CLASS provides both and enters the class in Log's list.
template <typename T>
concept LogLevelClass = requires(unsigned level)
{
    {
        T::logLevel()
        } -> std::convertible_to<unsigned>;
    T::setLogLevel(level);
};

// One entry of Log's list of classes with a level of their own.
struct LogRegisteredClass
{
    const char* name;
    unsigned (*logLevel)();
    void (*setLogLevel)(unsigned);
};

// The process-wide dispatcher. Every statement becomes a LogMessage that is handed to each
// registered logger whose level admits its flag.
//
// 1. A statement whose flag no registered logger admits is dropped before anything is formatted
//    (one atomic read of the union of the registered levels).
// 2. Formatting happens on the caller's thread, before anything is queued.
// 3. At most 1000 messages are in flight; the caller of the 1001st blocks until one is delivered.
// 4. Messages are delivered one at a time, in order, on the serial logging queue. Each logger
//    runs on its own serial queue; with two or more processors loggers write in parallel and the
//    next message starts only when every logger finished the current one.
// 5. A synchronous statement returns only after every admitting logger has written it.
// 6. Registration changes are ordered with the messages on the logging queue.
// 7. flushLog() waits until every logger that buffers has flushed; it also runs at process exit.
// 8. A statement made on the logging queue or on a logger's queue never waits: that queue may be
//    the one the wait is for. It takes no place in the in-flight bound and is always delivered
//    asynchronously, behind what is already queued. flushLog() there only asks for a flush.
// 9. Everything the dispatcher keeps lives until the process ends, so threads that still log
//    while static objects are destroyed at exit find it intact.
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

    // The entry of the LOG_* statements: prettyFunction is the compiler's __PRETTY_FUNCTION__,
    // which lives as long as the program; the short name is derived on the logging queue.
    static void logStatement(bool asynchronous, unsigned level, unsigned flag, const char* file,
                             const char* prettyFunction, unsigned line, const char* format, ...)
        __attribute__((format(printf, 7, 8)));

    // True when some registered logger (or one being added) admits the flag.
    static bool isAdmitted(unsigned flag)
    {
        return (admittedFlags_.load(std::memory_order_relaxed) & flag) != 0;
    }

    static void flushLog();
    static DispatchQueue& loggingQueue();
    static bool isOnGlobalLoggingQueue();
    // True on the logging queue and on every logger's queue.
    static bool isOnAnyLoggingQueue();

    // On SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT and std::terminate, what is in flight is
    // delivered and flushed (waiting at most timeoutMilliseconds) before the process dies the
    // way it would have. Call once, after the loggers are added.
    static void installFatalSignalFlush(int timeoutMilliseconds = 2000);

    // "bool ImageProcessor::loadData(const QString&)" -> "ImageProcessor::loadData". A lambda's
    // statements are named after the function that holds it.
    static std::string functionName(const char* prettyFunction);

    // Classes with a level of their own (LOG_REGISTER_CLASS). A class that is not registered has
    // every bit set and ignores new levels.
    template <typename T> static constexpr bool isRegisteredClass() { return LogLevelClass<T>; }
    static std::vector<LogRegisteredClass> registeredClasses(); // sorted by name
    static std::vector<std::string> registeredClassNames();     // sorted
    template <typename T> static unsigned levelForClass()
    {
        if constexpr (LogLevelClass<T>)
            return T::logLevel();
        else
            return LogLevelAll;
    }
    static unsigned levelForClassWithName(const std::string& name);
    template <typename T> static void setLevelForClass(unsigned level)
    {
        if constexpr (LogLevelClass<T>)
            T::setLogLevel(level);
    }
    static void setLevelForClassWithName(const std::string& name, unsigned level);

    // Used by LOG_REGISTER_CLASS at static initialisation.
    static bool registerClass(LogRegisteredClass entry);

private:
    friend struct LogState;
    // The union of the registered loggers' levels and of those being added. Trivially
    // destructible, so it outlives every thread that may still log at exit.
    inline static std::atomic<unsigned> admittedFlags_{0};
};

// The level of a statement outside a class that registers; inside one, name lookup finds the
// class's own function of this name first.
constexpr unsigned iconfoundryLogStatementLevel() noexcept
{
    return kProgramLogLevel;
}

// Put first in a class body to give the class's statements a level of its own (starting at the
// program-wide level), read and set with logLevel() and setLogLevel() or through Log's per-class
// functions. Like Q_OBJECT, it leaves what follows private. The class must be in namespace
// iconfoundry (or below it).
#define LOG_REGISTER_CLASS(ClassName)                                                                        \
public:                                                                                                      \
    static unsigned logLevel()                                                                               \
    {                                                                                                        \
        return iconfoundryClassLogLevel_.load(std::memory_order_relaxed);                                    \
    }                                                                                                        \
    static void setLogLevel(unsigned level)                                                                  \
    {                                                                                                        \
        iconfoundryClassLogLevel_.store(level, std::memory_order_relaxed);                                   \
    }                                                                                                        \
    static unsigned iconfoundryLogStatementLevel()                                                           \
    {                                                                                                        \
        return logLevel();                                                                                   \
    }                                                                                                        \
                                                                                                             \
private:                                                                                                     \
    inline static std::atomic<unsigned> iconfoundryClassLogLevel_{::iconfoundry::kProgramLogLevel};          \
    [[maybe_unused]] inline static const bool iconfoundryClassRegistered_ =                                  \
        ::iconfoundry::Log::registerClass({#ClassName, &logLevel, &setLogLevel})

// The level is tested first (a constant outside registered classes), then whether any logger
// takes the flag; only then are the arguments evaluated and formatted.
#define IF_LOG_MAYBE(async, flag, format, ...)                                                               \
    do {                                                                                                     \
        const unsigned ifLogLevel_ = iconfoundryLogStatementLevel();                                         \
        if ((ifLogLevel_ & (flag)) && ::iconfoundry::Log::isAdmitted(flag))                                  \
            ::iconfoundry::Log::logStatement(async, ifLogLevel_, flag, __FILE__, __PRETTY_FUNCTION__,        \
                                             __LINE__, format __VA_OPT__(, ) __VA_ARGS__);                   \
    } while (0)

// printf-style statements. Pass Qt strings with qUtf8Printable(). Errors are synchronous, the
// others asynchronous.
#define LOG_ERROR(format, ...)                                                                               \
    IF_LOG_MAYBE(false, ::iconfoundry::LogFlagError, format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_WARN(format, ...)                                                                                \
    IF_LOG_MAYBE(true, ::iconfoundry::LogFlagWarning, format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_INFO(format, ...)                                                                                \
    IF_LOG_MAYBE(true, ::iconfoundry::LogFlagInfo, format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_DEBUG(format, ...)                                                                               \
    IF_LOG_MAYBE(true, ::iconfoundry::LogFlagDebug, format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_VERBOSE(format, ...)                                                                             \
    IF_LOG_MAYBE(true, ::iconfoundry::LogFlagVerbose, format __VA_OPT__(, ) __VA_ARGS__)

} // namespace iconfoundry
