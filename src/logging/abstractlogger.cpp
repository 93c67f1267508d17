#include "abstractlogger.h"

#include "dispatchqueue.h"
#include "log.h"

#include <mutex>

namespace iconfoundry {

namespace logging_detail {
// Queued formatter changes hold this instead of the logger: the logger is not necessarily owned
// by a shared_ptr, and a change queued just before its destruction must find nothing to touch.
struct LoggerLife
{
    std::mutex mutex;
    AbstractLogger* logger = nullptr;
};
} // namespace logging_detail

AbstractLogger::AbstractLogger(const std::string& name)
    : name_(name), life_(std::make_shared<logging_detail::LoggerLife>())
{
    life_->logger = this;
}

AbstractLogger::~AbstractLogger()
{
    std::lock_guard lock(life_->mutex);
    life_->logger = nullptr;
}

void AbstractLogger::logMessage(const LogMessage&) {}

std::shared_ptr<DispatchQueue> AbstractLogger::loggerQueue() const
{
    std::lock_guard lock(queueMutex_);
    if (!loggerQueue_) {
        // Made here rather than in the constructor, where the class name is not known yet.
        loggerQueue_ = std::make_shared<DispatchQueue>(loggerName());
        loggerQueue_->markAsLoggingQueue();
    }
    return loggerQueue_;
}

void AbstractLogger::setLoggerQueue(std::shared_ptr<DispatchQueue> queue)
{
    if (!queue)
        return;
    queue->markAsLoggingQueue();
    std::lock_guard lock(queueMutex_);
    loggerQueue_ = std::move(queue);
}

std::string AbstractLogger::loggerName() const
{
    return name_.empty() ? Logger::loggerName() : name_;
}

std::shared_ptr<LogFormatter> AbstractLogger::logFormatter() const
{
    // Reading through both queues orders the read after every change already submitted.
    if (isOnInternalLoggerQueue())
        return formatter_;
    std::shared_ptr<LogFormatter> result;
    auto read = [&, queue = loggerQueue()] { queue->sync([&] { result = formatter_; }); };
    if (isOnGlobalLoggingQueue())
        read();
    else
        Log::loggingQueue().sync(read);
    return result;
}

void AbstractLogger::setLogFormatter(std::shared_ptr<LogFormatter> formatter)
{
    Log::loggingQueue().async([life = life_, queue = loggerQueue(), formatter = std::move(formatter)] {
        queue->async([life, formatter] {
            std::lock_guard lock(life->mutex);
            AbstractLogger* self = life->logger;
            if (!self || self->formatter_ == formatter)
                return;
            if (self->formatter_)
                self->formatter_->willRemoveFromLogger(*self);
            self->formatter_ = formatter;
            if (formatter)
                formatter->didAddToLogger(*self);
        });
    });
}

bool AbstractLogger::isOnGlobalLoggingQueue() const
{
    return Log::isOnGlobalLoggingQueue();
}

bool AbstractLogger::isOnInternalLoggerQueue() const
{
    const DispatchQueue* current = DispatchQueue::current();
    return current && current == loggerQueue().get();
}

} // namespace iconfoundry
