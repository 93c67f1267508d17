#include "dispatchqueue.h"

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <pthread.h>
#include <semaphore>
#include <thread>

namespace iconfoundry {

namespace logging_detail {

namespace {
thread_local DispatchQueue* tCurrentQueue = nullptr;

// A task must never take the queue's thread down with it: report and go on.
void runGuarded(const std::function<void()>& task, const std::string& label)
{
    try {
        task();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "DispatchQueue '%s': task threw: %s\n", label.c_str(), e.what());
    } catch (...) {
        std::fprintf(stderr, "DispatchQueue '%s': task threw\n", label.c_str());
    }
}
} // namespace

struct PendingTimer
{
    std::shared_ptr<bool> cancelled;
    std::function<void()> task;
};

// Everything the worker thread touches. The thread holds its own reference, so a queue that is
// destroyed from one of its own tasks (its thread is then detached) leaves nothing dangling.
struct QueueCore
{
    std::string label;
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> tasks;
    std::multimap<DispatchQueue::Clock::time_point, PendingTimer> timers;
    bool stopping = false;
    bool sleeping = false; // the worker waits for work; only then is a wake-up needed
    std::atomic<DispatchQueue*> owner{nullptr};
};

struct QueueState
{
    std::shared_ptr<QueueCore> core;
    std::thread thread;
};

namespace {
bool isCancelled(const std::shared_ptr<bool>& flag)
{
    return std::atomic_ref<bool>(*flag).load(std::memory_order_acquire);
}

void workerLoop(std::shared_ptr<QueueCore> core)
{
    tCurrentQueue = core->owner.load();
    if (!core->label.empty()) {
        // Shows up in debuggers and in LogMessage::threadName(); Linux keeps 15 characters.
        pthread_setname_np(pthread_self(), core->label.substr(0, 15).c_str());
    }
    std::unique_lock lock(core->mutex);
    for (;;) {
        // Timers that are due join the task list in time order, behind what is already queued.
        const auto now = DispatchQueue::Clock::now();
        while (!core->stopping && !core->timers.empty() && core->timers.begin()->first <= now) {
            PendingTimer timer = std::move(core->timers.begin()->second);
            core->timers.erase(core->timers.begin());
            core->tasks.push_back([timer = std::move(timer)] {
                if (!isCancelled(timer.cancelled))
                    timer.task();
            });
        }
        if (!core->tasks.empty()) {
            auto task = std::move(core->tasks.front());
            core->tasks.pop_front();
            lock.unlock();
            runGuarded(task, core->label);
            task = nullptr; // release captures outside the lock, too
            lock.lock();
            continue;
        }
        if (core->stopping)
            break;
        core->sleeping = true;
        if (core->timers.empty())
            core->wake.wait(lock);
        else
            core->wake.wait_until(lock, core->timers.begin()->first);
        core->sleeping = false;
    }
    // Pending timers are dropped; destroy their tasks without holding the lock.
    auto timers = std::move(core->timers);
    lock.unlock();
    timers.clear();
    tCurrentQueue = nullptr;
}
} // namespace

} // namespace logging_detail

using logging_detail::QueueCore;

void DispatchQueue::Timer::cancel()
{
    if (cancelled_)
        std::atomic_ref<bool>(*cancelled_).store(true, std::memory_order_release);
}

DispatchQueue::DispatchQueue(std::string label)
    : label_(std::move(label)), state_(std::make_unique<logging_detail::QueueState>())
{
    auto core = std::make_shared<QueueCore>();
    core->label = label_;
    core->owner.store(this);
    state_->core = core;
    state_->thread = std::thread(logging_detail::workerLoop, core);
}

DispatchQueue::~DispatchQueue()
{
    auto& core = *state_->core;
    {
        std::lock_guard lock(core.mutex);
        core.stopping = true;
    }
    core.wake.notify_all();
    if (state_->thread.get_id() == std::this_thread::get_id()) {
        // Destroyed from one of its own tasks: joining would wait for ourselves. The thread
        // finishes the remaining tasks on its own and then ends.
        logging_detail::tCurrentQueue = nullptr;
        core.owner.store(nullptr);
        state_->thread.detach();
    } else {
        state_->thread.join();
    }
}

void DispatchQueue::async(std::function<void()> task)
{
    if (!task)
        return;
    auto& core = *state_->core;
    bool wake = false;
    {
        std::lock_guard lock(core.mutex);
        core.tasks.push_back(std::move(task));
        wake = core.sleeping;
    }
    if (wake)
        core.wake.notify_one();
}

void DispatchQueue::sync(const std::function<void()>& task)
{
    if (!task)
        return;
    if (isCurrent()) {
        task();
        return;
    }
    std::binary_semaphore done(0);
    async([&] {
        struct Release
        {
            std::binary_semaphore& s;
            ~Release() { s.release(); }
        } release{done};
        task();
    });
    done.acquire();
}

DispatchQueue::Timer DispatchQueue::after(Clock::time_point when, std::function<void()> task)
{
    Timer timer;
    if (!task)
        return timer;
    timer.cancelled_ = std::make_shared<bool>(false);
    auto& core = *state_->core;
    {
        std::lock_guard lock(core.mutex);
        core.timers.emplace(when, logging_detail::PendingTimer{timer.cancelled_, std::move(task)});
    }
    core.wake.notify_one();
    return timer;
}

bool DispatchQueue::isCurrent() const
{
    return logging_detail::tCurrentQueue == this;
}

DispatchQueue* DispatchQueue::current()
{
    return logging_detail::tCurrentQueue;
}

struct DispatchGroup::State
{
    std::mutex mutex;
    std::condition_variable idle;
    long outstanding = 0;
};

DispatchGroup::DispatchGroup() : state_(std::make_shared<State>()) {}

DispatchGroup::~DispatchGroup() = default;

void DispatchGroup::async(DispatchQueue& queue, std::function<void()> task)
{
    {
        std::lock_guard lock(state_->mutex);
        ++state_->outstanding;
    }
    queue.async([state = state_, task = std::move(task)] {
        struct Leave
        {
            State& s;
            ~Leave()
            {
                std::lock_guard lock(s.mutex);
                if (--s.outstanding == 0)
                    s.idle.notify_all();
            }
        } leave{*state};
        if (task)
            task();
    });
}

void DispatchGroup::wait()
{
    std::unique_lock lock(state_->mutex);
    state_->idle.wait(lock, [this] { return state_->outstanding == 0; });
}

} // namespace iconfoundry
