#pragma once

#include "logging/abstractlogger.h"
#include "logging/log.h"
#include "logging/logmessage.h"

#include <QStringList>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

using namespace iconfoundry;

using namespace std::chrono_literals;

// Permits a test hands out, one at a time or for good; a waiter gives up after a timeout.
class Gate
{
public:
    void open(int permits = 1)
    {
        std::lock_guard lock(mutex_); // notify under the lock: a waiter may destroy the gate at once
        permits_ += permits;
        changed_.notify_all();
    }
    void openForGood() { open(1 << 30); }
    bool pass(std::chrono::milliseconds timeout = 10s)
    {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, timeout, [this] { return permits_ > 0; }))
            return false;
        --permits_;
        return true;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int permits_ = 0;
};

// Records every message it is given. The hooks run on the logger's own queue: beforeRecording
// inside logMessage() (to hold the logger back or make it slow), onFlush inside flush(). Only a
// logger made as buffering answers respondsToFlush().
class CountingLogger : public AbstractLogger
{
public:
    explicit CountingLogger(std::string name = "test.counting", bool buffering = false)
        : AbstractLogger(std::move(name)), buffering_(buffering)
    {
    }

    std::function<void(const LogMessage&)> beforeRecording;
    std::function<void()> onFlush;
    std::atomic<int> entered{0}, added{0}, removed{0}, flushes{0};
    std::atomic<bool> hooksOnOwnQueue{true};

    void logMessage(const LogMessage& message) override
    {
        hookRan(entered);
        if (beforeRecording)
            beforeRecording(message);
        std::lock_guard lock(mutex_);
        messages_.push_back(message);
    }
    void didAddLogger() override { hookRan(added); }
    void willRemoveLogger() override { hookRan(removed); }
    bool respondsToFlush() const override { return buffering_; }
    void flush() override
    {
        if (onFlush)
            onFlush();
        hookRan(flushes);
    }

    std::vector<LogMessage> messages() const
    {
        std::lock_guard lock(mutex_);
        return messages_;
    }
    std::size_t count() const { return messages().size(); }
    QStringList texts() const
    {
        QStringList result;
        for (const LogMessage& m : messages())
            result << QString::fromStdString(m.message());
        return result;
    }

private:
    void hookRan(std::atomic<int>& counter)
    {
        if (!isOnInternalLoggerQueue())
            hooksOnOwnQueue = false;
        ++counter;
    }
    const bool buffering_;
    mutable std::mutex mutex_;
    std::vector<LogMessage> messages_;
};

// Makes a CountingLogger and registers it, with a level if one is given.
inline std::shared_ptr<CountingLogger> addCountingLogger(std::string name = "test.counting",
                                                         std::optional<unsigned> level = std::nullopt,
                                                         bool buffering = false)
{
    auto logger = std::make_shared<CountingLogger>(std::move(name), buffering);
    if (level)
        Log::addLogger(logger, *level);
    else
        Log::addLogger(logger);
    return logger;
}
