#include "log.h"

#include "dispatchqueue.h"
#include "logger.h"
#include "loggernode.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <semaphore>
#include <string_view>
#include <unistd.h>

namespace iconfoundry {

namespace {

constexpr std::ptrdiff_t kMaxMessagesInFlight = 1000;

// Process-wide dispatcher state. Created on first use and never destroyed, so that statements
// and the exit-time flush still work while static objects are being torn down.
struct LogState
{
    std::vector<LoggerNode> nodes; // touched only on the logging queue
    DispatchQueue queue{"gludisko"};
    DispatchGroup group;
    std::counting_semaphore<kMaxMessagesInFlight> inFlight{kMaxMessagesInFlight};
    unsigned processorCount = 1;

    LogState()
    {
        nodes.reserve(4);
        const long online = sysconf(_SC_NPROCESSORS_ONLN);
        processorCount = online < 2 ? 1u : static_cast<unsigned>(online);
    }
};

void flushAtExit()
{
    Log::flushLog();
}

LogState& state()
{
    static LogState* const s = [] {
        auto* created = new LogState;
        std::atexit(flushAtExit);
        return created;
    }();
    return *s;
}

// Runs on the logging queue.
void ltLog(const LogMessage& message)
{
    LogState& s = state();
    if (s.processorCount < 2) {
        for (const LoggerNode& node : s.nodes) {
            if (message.flag() & node.level)
                node.loggerQueue->sync([&] { node.logger->logMessage(message); });
        }
    } else {
        // Loggers write in parallel; the next message starts only when all of them are done,
        // so `message` outlives every task that refers to it.
        for (const LoggerNode& node : s.nodes) {
            if (message.flag() & node.level)
                s.group.async(*node.loggerQueue,
                              [&message, logger = node.logger.get()] { logger->logMessage(message); });
        }
        s.group.wait();
    }
    s.inFlight.release();
}

void queueLogMessage(LogMessage message, bool asynchronous)
{
    LogState& s = state();
    // The bound is taken on the caller's thread, before queueing, whatever the mode.
    s.inFlight.acquire();
    if (asynchronous) {
        s.queue.async([message = std::move(message)] { ltLog(message); });
    } else {
        s.queue.sync([&message] { ltLog(message); });
    }
}

void ltAddLogger(const std::shared_ptr<Logger>& logger, unsigned level)
{
    std::shared_ptr<DispatchQueue> queue = logger->loggerQueue();
    if (!queue)
        queue = std::make_shared<DispatchQueue>(logger->loggerName());
    state().nodes.push_back(LoggerNode::nodeWithLogger(logger, queue, level));
    queue->async([logger] { logger->didAddLogger(); });
}

void ltRemoveLogger(const std::shared_ptr<Logger>& logger)
{
    auto& nodes = state().nodes;
    auto it = std::find_if(nodes.begin(), nodes.end(),
                           [&](const LoggerNode& node) { return node.logger == logger; });
    if (it == nodes.end())
        return;
    it->loggerQueue->async([logger = it->logger] { logger->willRemoveLogger(); });
    nodes.erase(it);
}

void ltRemoveAllLoggers()
{
    auto& nodes = state().nodes;
    for (const LoggerNode& node : nodes)
        node.loggerQueue->async([logger = node.logger] { logger->willRemoveLogger(); });
    nodes.clear();
}

void ltFlush()
{
    LogState& s = state();
    for (const LoggerNode& node : s.nodes) {
        if (node.logger->respondsToFlush())
            s.group.async(*node.loggerQueue, [logger = node.logger.get()] { logger->flush(); });
    }
    s.group.wait();
}

bool isIdentifierChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Position of the "operator" keyword that names an operator function, or npos.
std::string::size_type findOperatorKeyword(const std::string& name)
{
    static const std::string keyword = "operator";
    auto pos = name.rfind(keyword);
    while (pos != std::string::npos) {
        const bool startsWord = pos == 0 || !isIdentifierChar(name[pos - 1]);
        const auto after = pos + keyword.size();
        const bool endsWord = after >= name.size() || !isIdentifierChar(name[after]);
        if (startsWord && endsWord)
            return pos;
        if (pos == 0)
            break;
        pos = name.rfind(keyword, pos - 1);
    }
    return std::string::npos;
}

// Start of the qualified name that ends at `end`, skipping back over template arguments and
// stopping at the blank that separates it from the return type.
std::string::size_type qualifiedNameStart(const std::string& text, std::string::size_type end)
{
    int angle = 0;
    int paren = 0;
    for (auto i = end; i > 0; --i) {
        const char c = text[i - 1];
        if (c == '>')
            ++angle;
        else if (c == '<')
            --angle;
        else if (c == ')')
            ++paren;
        else if (c == '(')
            --paren;
        else if (c == ' ' && angle <= 0 && paren <= 0)
            return i;
    }
    return 0;
}

} // namespace

void Log::addLogger(std::shared_ptr<Logger> logger)
{
    addLogger(std::move(logger), LogLevelAll);
}

void Log::addLogger(std::shared_ptr<Logger> logger, unsigned level)
{
    if (!logger)
        return;
    state().queue.async([logger = std::move(logger), level] { ltAddLogger(logger, level); });
}

void Log::removeLogger(const std::shared_ptr<Logger>& logger)
{
    if (!logger)
        return;
    state().queue.async([logger] { ltRemoveLogger(logger); });
}

void Log::removeAllLoggers()
{
    state().queue.async([] { ltRemoveAllLoggers(); });
}

std::vector<std::shared_ptr<Logger>> Log::allLoggers()
{
    std::vector<std::shared_ptr<Logger>> loggers;
    state().queue.sync([&] {
        for (const LoggerNode& node : state().nodes)
            loggers.push_back(node.logger);
    });
    return loggers;
}

void Log::log(bool asynchronous, unsigned level, unsigned flag, long context, const char* file,
              const char* function, unsigned line, const void* tag, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    logv(asynchronous, level, flag, context, file, function, line, tag, format, args);
    va_end(args);
}

void Log::logv(bool asynchronous, unsigned level, unsigned flag, long context, const char* file,
               const char* function, unsigned line, const void* tag, const char* format, va_list args)
{
    if (!format)
        return;
    char small[512];
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (length < 0)
        return; // an encoding error: nothing sensible to log
    std::string text;
    if (static_cast<size_t>(length) < sizeof small) {
        text.assign(small, static_cast<size_t>(length));
    } else {
        text.resize(static_cast<size_t>(length) + 1);
        va_copy(copy, args);
        std::vsnprintf(text.data(), text.size(), format, copy);
        va_end(copy);
        text.resize(static_cast<size_t>(length));
    }
    log(asynchronous, std::move(text), level, flag, context, file, function, line, tag);
}

void Log::log(bool asynchronous, std::string message, unsigned level, unsigned flag, long context,
              const char* file, const char* function, unsigned line, const void* tag)
{
    LogMessage record(std::move(message), level, flag, context, file ? file : "", function ? function : "",
                      line, tag, 0);
    queueLogMessage(std::move(record), asynchronous);
}

void Log::log(bool asynchronous, LogMessage message)
{
    queueLogMessage(std::move(message), asynchronous);
}

void Log::flushLog()
{
    state().queue.sync([] { ltFlush(); });
}

DispatchQueue& Log::loggingQueue()
{
    return state().queue;
}

bool Log::isOnGlobalLoggingQueue()
{
    return state().queue.isCurrent();
}

std::string Log::functionName(const char* prettyFunction)
{
    if (!prettyFunction)
        return {};
    std::string text = prettyFunction;

    // "[with T = int]" follows the signature of template code.
    if (const auto with = text.find(" [with "); with != std::string::npos)
        text.erase(with);
    // A lambda is named after the function that holds it.
    for (const char* marker : {"::<lambda", "::(anonymous class)", "::(lambda"}) {
        if (const auto pos = text.find(marker); pos != std::string::npos)
            text.erase(pos);
    }

    // Drop the parameter list and whatever qualifiers follow it.
    const auto close = text.rfind(')');
    if (close != std::string::npos) {
        int depth = 0;
        for (auto i = close + 1; i > 0; --i) {
            const char c = text[i - 1];
            if (c == ')') {
                ++depth;
            } else if (c == '(' && --depth == 0) {
                text.erase(i - 1);
                break;
            }
        }
    }
    while (!text.empty() && text.back() == ' ')
        text.pop_back();

    std::string name;
    if (const auto op = findOperatorKeyword(text); op != std::string::npos) {
        // Operator names hold blanks and unbalanced angle brackets ("operator bool", "operator<").
        name = text.substr(qualifiedNameStart(text, op));
    } else {
        name = text.substr(qualifiedNameStart(text, text.size()));
        // Explicit template arguments of a function template ("g<double>").
        if (!name.empty() && name.back() == '>') {
            int depth = 0;
            for (auto i = name.size(); i > 0; --i) {
                const char c = name[i - 1];
                if (c == '>') {
                    ++depth;
                } else if (c == '<' && --depth == 0) {
                    name.erase(i - 1);
                    break;
                }
            }
        }
    }
    // Every class of ours lives in the project namespace; it says nothing in a log line.
    static constexpr std::string_view projectPrefix = "iconfoundry::";
    if (name.compare(0, projectPrefix.size(), projectPrefix) == 0)
        name.erase(0, projectPrefix.size());
    return name.empty() ? std::string(prettyFunction) : name;
}

} // namespace iconfoundry
