#include "dispatchqueue.h"
#include "log.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <exception>
#include <poll.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <thread>

namespace iconfoundry {

// What a dying process can still do for its log.
//
// Delivering and flushing takes locks and memory, which a signal handler must not touch: the
// thread that crashed may hold the very lock the flush needs. So the handler does only what is
// safe in a handler: it wakes a thread kept waiting for this since installation (sem_post), polls
// an atomic for the flush to finish (poll() as the sleep), and gives up after a bounded time. The
// flush itself runs on that thread as ordinary code. If it gets stuck on a lock the crashed thread
// holds, or on the crashed thread itself, the bound still lets the process die. A crash on a
// logging queue does not wait at all: every delivery waits for that queue.
//
// Then the signal's default disposition is restored and the signal raised again, so the process
// ends the way it would have (exit status, core dump). std::terminate flushes the same way and
// then hands over to the previous terminate handler.

namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

enum FlushState : int
{
    Idle,
    Requested,
    Done
};

// All trivially destructible, so they are intact for as long as any thread runs.
sem_t flushRequest;
std::atomic<int> flushState{Idle};
std::atomic<int> flushTimeoutMilliseconds{2000};
std::atomic<bool> installed{false};
std::terminate_handler previousTerminateHandler = nullptr;

static_assert(std::atomic<int>::is_always_lock_free, "signal handlers need lock-free atomics");

void flusherThread()
{
    while (::sem_wait(&flushRequest) != 0) {
        // EINTR: a signal arrived while waiting; go on waiting.
    }
    Log::flushLog();
    flushState.store(Done, std::memory_order_release);
}

// Async-signal-safe.
void flushAndWait()
{
    if (Log::isOnAnyLoggingQueue())
        return;
    int expected = Idle;
    if (flushState.compare_exchange_strong(expected, Requested))
        ::sem_post(&flushRequest);
    constexpr int step = 10;
    for (int waited = 0; waited < flushTimeoutMilliseconds.load(std::memory_order_relaxed); waited += step) {
        if (flushState.load(std::memory_order_acquire) == Done)
            return;
        ::poll(nullptr, 0, step);
    }
}

void onFatalSignal(int signal, siginfo_t*, void*)
{
    const int savedErrno = errno;
    flushAndWait();
    struct sigaction fallback = {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    ::sigaction(signal, &fallback, nullptr);
    errno = savedErrno;
    // The signal is blocked while its handler runs: it arrives, now with the default action, as
    // soon as the handler returns. A fault that was not raised would simply happen again.
    ::raise(signal);
}

void onTerminate()
{
    flushAndWait();
    if (previousTerminateHandler)
        previousTerminateHandler();
    std::abort();
}

// A stack overflow leaves no stack for the handler, so the installing thread gets a spare one.
void installAlternateStack()
{
    constexpr std::size_t size = 64 * 1024;
    void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return;
    stack_t stack = {};
    stack.ss_sp = memory;
    stack.ss_size = size;
    if (::sigaltstack(&stack, nullptr) != 0)
        ::munmap(memory, size);
}

} // namespace

void Log::installFatalSignalFlush(int timeoutMilliseconds)
{
    flushTimeoutMilliseconds.store(timeoutMilliseconds < 0 ? 0 : timeoutMilliseconds);
    if (installed.exchange(true))
        return;
    if (::sem_init(&flushRequest, 0, 0) != 0)
        return;
    loggingQueue(); // the dispatcher exists before anything can go wrong
    std::thread(flusherThread).detach();
    installAlternateStack();
    struct sigaction action = {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (int signal : kFatalSignals)
        ::sigaction(signal, &action, nullptr);
    previousTerminateHandler = std::set_terminate(onTerminate);
}

} // namespace iconfoundry
