#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace iconfoundry {

namespace logging_detail {
struct QueueState;
}

// A serial queue on its own std::thread: tasks run one at a time, in submission order.
//
// - async() never blocks; sync() blocks until the task ran (and runs it inline when called from
//   the queue itself, where waiting would deadlock).
// - after() schedules a one-shot task at a point in time; the returned handle cancels it.
// - isCurrent() tells whether the calling thread is this queue's thread; current() returns the
//   queue the calling thread belongs to, or nullptr.
// Destroying a queue runs the tasks already submitted, drops pending timers and joins the thread.
class DispatchQueue
{
public:
    using Clock = std::chrono::steady_clock;

    class Timer
    {
    public:
        Timer() = default;
        void cancel();
        bool isValid() const { return static_cast<bool>(cancelled_); }

    private:
        friend class DispatchQueue;
        std::shared_ptr<bool> cancelled_;
    };

    explicit DispatchQueue(std::string label = {});
    ~DispatchQueue();
    DispatchQueue(const DispatchQueue&) = delete;
    DispatchQueue& operator=(const DispatchQueue&) = delete;

    void async(std::function<void()> task);
    void sync(const std::function<void()>& task);
    Timer after(Clock::time_point when, std::function<void()> task);

    bool isCurrent() const;
    const std::string& label() const { return label_; }

    // The logging queue and every logger's queue are marked, so that a statement made on one of
    // them knows not to wait for the logging core.
    void markAsLoggingQueue() { loggingQueue_.store(true, std::memory_order_relaxed); }
    bool isLoggingQueue() const { return loggingQueue_.load(std::memory_order_relaxed); }

    static DispatchQueue* current();

private:
    std::string label_;
    std::atomic<bool> loggingQueue_{false};
    std::unique_ptr<logging_detail::QueueState> state_;
};

// Counts outstanding work submitted to queues; wait() returns when all of it has finished.
class DispatchGroup
{
public:
    DispatchGroup();
    ~DispatchGroup();
    void async(DispatchQueue& queue, std::function<void()> task);
    void wait();

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace iconfoundry
