#include "logmessage.h"

#include "dispatchqueue.h"

#include <pthread.h>
#include <unistd.h>

namespace iconfoundry {

namespace {
std::string currentThreadName()
{
    // Linux thread names are at most 15 characters plus the terminator.
    char name[64] = {};
    if (pthread_getname_np(pthread_self(), name, sizeof name) != 0)
        return {};
    return name;
}
} // namespace

LogMessage::LogMessage(std::string message, unsigned level, unsigned flag, long context, std::string file,
                       std::string function, unsigned line, const void* tag, int options,
                       std::optional<Clock::time_point> timestamp)
    : message_(std::move(message)), level_(level), flag_(flag), context_(context), file_(std::move(file)),
      fileName_(fileNameFromPath(file_)), function_(std::move(function)), line_(line), tag_(tag),
      options_(options), timestamp_(timestamp.value_or(Clock::now())),
      threadID_(std::to_string(static_cast<unsigned long long>(gettid()))), threadName_(currentThreadName())
{
    if (const DispatchQueue* queue = DispatchQueue::current())
        queueLabel_ = queue->label();
}

LogMessage LogMessage::fromStatement(std::string message, unsigned level, unsigned flag, std::string file,
                                     const char* prettyFunction, unsigned line)
{
    LogMessage record(std::move(message), level, flag, 0, std::move(file), {}, line);
    record.prettyFunction_ = prettyFunction;
    return record;
}

std::string LogMessage::fileNameFromPath(const std::string& path)
{
    const auto slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const auto dot = name.rfind('.');
    if (dot != std::string::npos)
        name.erase(dot);
    return name;
}

} // namespace iconfoundry
