#include "log.h"

#include "dispatchqueue.h"
#include "logger.h"
#include "loggernode.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <semaphore>
#include <string_view>
#include <unistd.h>
#include <unordered_map>

namespace iconfoundry {

namespace {

constexpr std::ptrdiff_t kMaxMessagesInFlight = 1000;

} // namespace

// Process-wide dispatcher state. Created on first use and never destroyed, so that statements
// and the exit-time flush still work while static objects are being torn down.
struct LogState
{
    std::vector<LoggerNode> nodes; // touched only on the logging queue
    DispatchQueue queue{"gludisko"};
    DispatchGroup group;
    std::counting_semaphore<kMaxMessagesInFlight> inFlight{kMaxMessagesInFlight};
    unsigned processorCount = 1;
    // Short function names by the address of the statement's __PRETTY_FUNCTION__, which is unique
    // per function and lives as long as the program. Touched only on the logging queue.
    std::unordered_map<const char*, std::string> functionNames;

    // The levels of loggers whose addLogger() has not reached the logging queue yet; together
    // with the nodes' levels they make Log::admittedFlags_.
    std::mutex levelsMutex;
    std::vector<unsigned> pendingLevels;

    LogState()
    {
        nodes.reserve(4);
        const long online = sysconf(_SC_NPROCESSORS_ONLN);
        processorCount = online < 2 ? 1u : static_cast<unsigned>(online);
        queue.markAsLoggingQueue();
    }

    // Call with levelsMutex held.
    void publishAdmittedFlags()
    {
        unsigned flags = 0;
        for (unsigned level : pendingLevels)
            flags |= level;
        for (const LoggerNode& node : nodes)
            flags |= node.level;
        Log::admittedFlags_.store(flags, std::memory_order_relaxed);
    }
};

namespace {

void flushAtExit()
{
    Log::flushLog();
}

// Set once the state exists: until then nothing has been queued, so there is nothing to flush.
std::atomic<bool> stateCreated{false};

LogState& state()
{
    static LogState* const s = [] {
        auto* created = new LogState;
        std::atexit(flushAtExit);
        stateCreated.store(true, std::memory_order_release);
        return created;
    }();
    return *s;
}

// Runs on the logging queue. `counted` tells whether the message holds a place in the in-flight
// bound.
void ltLog(LogMessage& message, bool counted)
{
    LogState& s = state();
    if (const char* pretty = message.prettyFunction()) {
        auto [it, inserted] = s.functionNames.try_emplace(pretty);
        if (inserted)
            it->second = Log::functionName(pretty);
        logging_detail::DispatcherAccess::setFunction(message, it->second);
    }
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
    if (counted)
        s.inFlight.release();
}

void queueLogMessage(LogMessage message, bool asynchronous)
{
    LogState& s = state();
    if (Log::isOnAnyLoggingQueue()) {
        // Waiting here could wait for this very thread: the logging queue may be waiting for this
        // logger to finish the current message, and every place in the bound may be taken by
        // messages queued behind it. So no place is taken and nothing is waited for.
        s.queue.async([message = std::move(message)]() mutable { ltLog(message, false); });
        return;
    }
    // The bound is taken on the caller's thread, before queueing, whatever the mode.
    s.inFlight.acquire();
    if (asynchronous) {
        s.queue.async([message = std::move(message)]() mutable { ltLog(message, true); });
    } else {
        s.queue.sync([&message] { ltLog(message, true); });
    }
}

void ltAddLogger(const std::shared_ptr<Logger>& logger, unsigned level)
{
    LogState& s = state();
    std::shared_ptr<DispatchQueue> queue = logger->loggerQueue();
    if (!queue)
        queue = std::make_shared<DispatchQueue>(logger->loggerName());
    queue->markAsLoggingQueue();
    {
        std::lock_guard lock(s.levelsMutex);
        s.nodes.push_back(LoggerNode::nodeWithLogger(logger, queue, level));
        if (auto it = std::find(s.pendingLevels.begin(), s.pendingLevels.end(), level);
            it != s.pendingLevels.end())
            s.pendingLevels.erase(it);
        s.publishAdmittedFlags();
    }
    queue->async([logger] { logger->didAddLogger(); });
}

void ltRemoveLogger(const std::shared_ptr<Logger>& logger)
{
    LogState& s = state();
    auto it = std::find_if(s.nodes.begin(), s.nodes.end(),
                           [&](const LoggerNode& node) { return node.logger == logger; });
    if (it == s.nodes.end())
        return;
    it->loggerQueue->async([logger = it->logger] { logger->willRemoveLogger(); });
    std::lock_guard lock(s.levelsMutex);
    s.nodes.erase(it);
    s.publishAdmittedFlags();
}

void ltRemoveAllLoggers()
{
    LogState& s = state();
    for (const LoggerNode& node : s.nodes)
        node.loggerQueue->async([logger = node.logger] { logger->willRemoveLogger(); });
    std::lock_guard lock(s.levelsMutex);
    s.nodes.clear();
    s.publishAdmittedFlags();
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

// The list of classes with a level of their own. Filled during static initialisation, so it is
// created on first use, and never destroyed.
struct ClassRegistry
{
    std::mutex mutex;
    std::vector<LogRegisteredClass> classes;
};

ClassRegistry& classRegistry()
{
    static ClassRegistry* const registry = new ClassRegistry;
    return *registry;
}

std::optional<LogRegisteredClass> registeredClassWithName(const std::string& name)
{
    ClassRegistry& registry = classRegistry();
    std::lock_guard lock(registry.mutex);
    for (const LogRegisteredClass& entry : registry.classes) {
        if (name == entry.name)
            return entry;
    }
    return std::nullopt;
}

bool isIdentifierChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Position of the "operator" keyword that names an operator function, or npos.
std::string::size_type findOperatorKeyword(const std::string& name)
{
    constexpr std::string_view keyword = "operator";
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

std::optional<std::string> formatText(const char* format, va_list args)
{
    char small[512];
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (length < 0)
        return std::nullopt; // an encoding error: nothing sensible to log
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
    return text;
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
    LogState& s = state();
    {
        // Admitted from now on, so that statements made right after this call are not dropped
        // before the logger reaches the logging queue.
        std::lock_guard lock(s.levelsMutex);
        s.pendingLevels.push_back(level);
        s.publishAdmittedFlags();
    }
    s.queue.async([logger = std::move(logger), level] { ltAddLogger(logger, level); });
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
    if (!format || !isAdmitted(flag))
        return;
    if (auto text = formatText(format, args))
        log(asynchronous, std::move(*text), level, flag, context, file, function, line, tag);
}

void Log::log(bool asynchronous, std::string message, unsigned level, unsigned flag, long context,
              const char* file, const char* function, unsigned line, const void* tag)
{
    if (!isAdmitted(flag))
        return;
    LogMessage record(std::move(message), level, flag, context, file ? file : "", function ? function : "",
                      line, tag, 0);
    queueLogMessage(std::move(record), asynchronous);
}

void Log::log(bool asynchronous, LogMessage message)
{
    if (!isAdmitted(message.flag()))
        return;
    queueLogMessage(std::move(message), asynchronous);
}

void Log::logStatement(bool asynchronous, unsigned level, unsigned flag, const char* file,
                       const char* prettyFunction, unsigned line, const char* format, ...)
{
    if (!format || !isAdmitted(flag))
        return;
    va_list args;
    va_start(args, format);
    auto text = formatText(format, args);
    va_end(args);
    if (text)
        queueLogMessage(
            LogMessage::fromStatement(std::move(*text), level, flag, file ? file : "", prettyFunction, line),
            asynchronous);
}

void Log::flushLog()
{
    // A quiet command that never logged starts no logging thread just to flush nothing.
    if (!stateCreated.load(std::memory_order_acquire))
        return;
    LogState& s = state();
    if (isOnAnyLoggingQueue()) {
        // Waiting could wait for this very thread; the flush happens behind what is queued.
        s.queue.async([] { ltFlush(); });
        return;
    }
    s.queue.sync([] { ltFlush(); });
}

DispatchQueue& Log::loggingQueue()
{
    return state().queue;
}

bool Log::isOnGlobalLoggingQueue()
{
    return state().queue.isCurrent();
}

bool Log::isOnAnyLoggingQueue()
{
    const DispatchQueue* current = DispatchQueue::current();
    return current && current->isLoggingQueue();
}

bool Log::registerClass(LogRegisteredClass entry)
{
    if (!entry.name || !entry.logLevel || !entry.setLogLevel)
        return false;
    ClassRegistry& registry = classRegistry();
    std::lock_guard lock(registry.mutex);
    registry.classes.push_back(entry);
    return true;
}

std::vector<LogRegisteredClass> Log::registeredClasses()
{
    ClassRegistry& registry = classRegistry();
    std::vector<LogRegisteredClass> classes;
    {
        std::lock_guard lock(registry.mutex);
        classes = registry.classes;
    }
    std::sort(classes.begin(), classes.end(), [](const LogRegisteredClass& a, const LogRegisteredClass& b) {
        return std::string_view(a.name) < std::string_view(b.name);
    });
    return classes;
}

std::vector<std::string> Log::registeredClassNames()
{
    std::vector<std::string> names;
    for (const LogRegisteredClass& entry : registeredClasses())
        names.emplace_back(entry.name);
    return names;
}

unsigned Log::levelForClassWithName(const std::string& name)
{
    const auto entry = registeredClassWithName(name);
    return entry ? entry->logLevel() : LogLevelAll;
}

void Log::setLevelForClassWithName(const std::string& name, unsigned level)
{
    if (const auto entry = registeredClassWithName(name))
        entry->setLogLevel(level);
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
    logging_detail::dropProjectNamespace(name);
    return name.empty() ? std::string(prettyFunction) : name;
}

} // namespace iconfoundry
