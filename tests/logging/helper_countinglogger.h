#pragma once

#include "logging/abstractlogger.h"
#include "logging/logmessage.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

using namespace std::chrono_literals;

// Permits that a test hands out one by one to let a blocked logger go on.
class Gate
{
public:
    void open(int permits = 1)
    {
        {
            std::lock_guard lock(mutex_);
            permits_ += permits;
        }
        changed_.notify_all();
    }
    void openForGood()
    {
        {
            std::lock_guard lock(mutex_);
            forGood_ = true;
        }
        changed_.notify_all();
    }
    // Takes a permit; false when none came within the timeout.
    bool pass(std::chrono::milliseconds timeout = 10s)
    {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, timeout, [this] { return forGood_ || permits_ > 0; }))
            return false;
        if (!forGood_)
            --permits_;
        return true;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int permits_ = 0;
    bool forGood_ = false;
};

// A flag that one thread raises and others wait for, with a timeout.
class Signal
{
public:
    void raise()
    {
        // Notify under the lock: a waiter may destroy the Signal as soon as it sees the flag.
        std::lock_guard lock(mutex_);
        raised_ = true;
        changed_.notify_all();
    }
    bool isRaised()
    {
        std::lock_guard lock(mutex_);
        return raised_;
    }
    bool wait(std::chrono::milliseconds timeout)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [this] { return raised_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool raised_ = false;
};

// Records every message it is given. An optional hook runs first, inside logMessage(), on the
// logger's queue: tests use it to hold the logger back or to make it slow.
class CountingLogger : public AbstractLogger
{
public:
    explicit CountingLogger(std::string name = "test.counting") : AbstractLogger(std::move(name)) {}

    std::function<void(const LogMessage&)> beforeRecording;
    std::atomic<int> entered{0};
    std::atomic<int> didAddCount{0};
    std::atomic<int> willRemoveCount{0};
    std::atomic<bool> hooksOnOwnQueue{true};

    void logMessage(const LogMessage& message) override
    {
        if (!isOnInternalLoggerQueue())
            hooksOnOwnQueue = false;
        ++entered;
        if (beforeRecording)
            beforeRecording(message);
        {
            std::lock_guard lock(mutex_);
            messages_.push_back(message);
        }
        changed_.notify_all();
    }
    void didAddLogger() override
    {
        if (!isOnInternalLoggerQueue())
            hooksOnOwnQueue = false;
        ++didAddCount;
    }
    void willRemoveLogger() override
    {
        if (!isOnInternalLoggerQueue())
            hooksOnOwnQueue = false;
        ++willRemoveCount;
    }

    std::size_t count() const
    {
        std::lock_guard lock(mutex_);
        return messages_.size();
    }
    std::vector<LogMessage> messages() const
    {
        std::lock_guard lock(mutex_);
        return messages_;
    }
    std::vector<unsigned> flags() const
    {
        std::lock_guard lock(mutex_);
        std::vector<unsigned> result;
        for (const LogMessage& m : messages_)
            result.push_back(m.flag());
        return result;
    }
    bool waitForCount(std::size_t wanted, std::chrono::milliseconds timeout = 10s)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return messages_.size() >= wanted; });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<LogMessage> messages_;
};

// A logger that buffers, as far as the dispatcher can tell: it answers respondsToFlush() as told
// and runs a hook inside flush().
class FlushingLogger : public CountingLogger
{
public:
    explicit FlushingLogger(bool respondsToFlush)
        : CountingLogger("test.flushing"), responds_(respondsToFlush)
    {
    }

    std::function<void()> onFlush;
    std::atomic<int> flushCount{0};
    std::atomic<bool> flushOnOwnQueue{true};

    bool respondsToFlush() const override { return responds_; }
    void flush() override
    {
        if (!isOnInternalLoggerQueue())
            flushOnOwnQueue = false;
        if (onFlush)
            onFlush();
        ++flushCount;
    }

private:
    bool responds_;
};
