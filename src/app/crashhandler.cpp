#include "app/crashhandler.h"

#include "logging/logfilemanagerdefault.h"

#include <QDir>
#include <QString>
#include <QtGlobal>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <execinfo.h>
#include <fcntl.h>
#include <stdexcept>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

namespace iconfoundry {

namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr int kMaximumFrames = 128;

// Everything the handler reads is plain storage filled before it can run, so it stays intact for
// as long as any thread does.
char reportsDirectory[1024];
char versionLine[256];
// Why the process is about to abort, when it knows: set in ordinary code by the terminate and Qt
// message handlers just before they abort, read by the signal handler.
char reason[2048];
std::atomic<bool> handling{false};
std::atomic<bool> installed{false};
struct sigaction previousActions[NSIG];
std::terminate_handler previousTerminateHandler = nullptr;
QtMessageHandler previousMessageHandler = nullptr;

void copyBounded(char* target, std::size_t size, const char* source)
{
    std::strncpy(target, source, size - 1);
    target[size - 1] = '\0';
}

// A buffered writer onto a file descriptor that formats numbers itself: printf and friends may
// allocate or lock, which a signal handler must not.
class SignalSafeWriter
{
public:
    explicit SignalSafeWriter(int fd) : fd_(fd) {}
    ~SignalSafeWriter() { flush(); }

    SignalSafeWriter& text(const char* s)
    {
        while (*s)
            put(*s++);
        return *this;
    }
    SignalSafeWriter& bytes(const char* s, std::size_t n)
    {
        for (std::size_t i = 0; i < n; ++i)
            put(s[i]);
        return *this;
    }
    SignalSafeWriter& decimal(unsigned long long value)
    {
        char digits[24];
        int n = 0;
        do {
            digits[n++] = char('0' + value % 10);
            value /= 10;
        } while (value);
        while (n)
            put(digits[--n]);
        return *this;
    }
    SignalSafeWriter& hex(unsigned long long value)
    {
        text("0x");
        char digits[20];
        int n = 0;
        do {
            digits[n++] = "0123456789abcdef"[value & 0xf];
            value >>= 4;
        } while (value);
        while (n)
            put(digits[--n]);
        return *this;
    }
    SignalSafeWriter& line() { return text("\n"); }

    void flush()
    {
        const char* p = buffer_;
        while (used_ > 0) {
            const ssize_t written = ::write(fd_, p, used_);
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                break;
            p += written;
            used_ -= std::size_t(written);
        }
        used_ = 0;
    }

private:
    void put(char c)
    {
        if (used_ == sizeof buffer_)
            flush();
        buffer_[used_++] = c;
    }
    int fd_;
    char buffer_[4096];
    std::size_t used_ = 0;
};

// Appends the whole of a small /proc file.
void copyFile(SignalSafeWriter& out, const char* path)
{
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    char chunk[4096];
    for (;;) {
        const ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        out.bytes(chunk, std::size_t(n));
    }
    ::close(fd);
}

// Builds "<directory>/<prefix><seconds>-<pid><suffix>" without formatting functions.
void reportPath(char* target, std::size_t size, const char* prefix, long long seconds, long pid,
                const char* suffix)
{
    char numbers[64];
    std::size_t n = 0;
    auto decimal = [&](unsigned long long value) {
        char digits[24];
        int d = 0;
        do {
            digits[d++] = char('0' + value % 10);
            value /= 10;
        } while (value);
        while (d && n < sizeof numbers - 1)
            numbers[n++] = digits[--d];
    };
    decimal((unsigned long long)seconds);
    numbers[n++] = '-';
    decimal((unsigned long)pid);
    numbers[n] = '\0';
    target[0] = '\0';
    for (const char* part : {static_cast<const char*>(reportsDirectory), "/", prefix,
                             static_cast<const char*>(numbers), suffix}) {
        const std::size_t used = std::strlen(target);
        copyBounded(target + used, size - used, part);
    }
}

unsigned long long programCounter(void* context)
{
    if (!context)
        return 0;
    const auto* uc = static_cast<const ucontext_t*>(context);
#if defined(__x86_64__)
    return (unsigned long long)uc->uc_mcontext.gregs[REG_RIP];
#elif defined(__aarch64__)
    return (unsigned long long)uc->uc_mcontext.pc;
#else
    (void)uc;
    return 0;
#endif
}

void writeReport(int signal, const siginfo_t* info, void* context)
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const long pid = long(::getpid());
    const long tid = long(::syscall(SYS_gettid));
    char temporaryPath[1200];
    char finalPath[1200];
    reportPath(temporaryPath, sizeof temporaryPath, ".crash-", now.tv_sec, pid, ".tmp");
    reportPath(finalPath, sizeof finalPath, "crash-", now.tv_sec, pid, ".crash");

    const int fd = ::open(temporaryPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    {
        SignalSafeWriter out(fd);
        out.text("IconFoundry crash report").line();
        out.text("version: ").text(versionLine).line();
        out.text("time: ").decimal((unsigned long long)now.tv_sec).line();
        out.text("pid: ").decimal((unsigned long)pid).line();
        out.text("signal: ").decimal((unsigned)signal).line();
        if (info) {
            out.text("code: ").decimal((unsigned)info->si_code).line();
            out.text("address: ").hex((unsigned long long)info->si_addr).line();
        }
        out.text("thread: ").decimal((unsigned long)tid).text(" ");
        copyFile(out, "/proc/thread-self/comm"); // ends in a newline
        if (reason[0])
            out.text("reason: ").text(reason).line();
        out.text("pc: ").hex(programCounter(context)).line();

        void* frames[kMaximumFrames];
        const int count = ::backtrace(frames, kMaximumFrames);
        out.text("frames:").line();
        for (int i = 0; i < count; ++i)
            out.hex((unsigned long long)frames[i]).line();
        // Where every module was loaded: the next launch turns addresses into names with it.
        out.text("maps:").line();
        copyFile(out, "/proc/self/maps");
        out.text("end").line();
    }
    ::close(fd);
    ::rename(temporaryPath, finalPath);
}

// Hands the signal to whoever had it before, else dies of it.
void passOn(int signal, siginfo_t* info, void* context)
{
    const struct sigaction& previous = previousActions[signal];
    if ((previous.sa_flags & SA_SIGINFO) && previous.sa_sigaction) {
        previous.sa_sigaction(signal, info, context);
        return;
    }
    if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
        return;
    }
    struct sigaction fallback = {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    ::sigaction(signal, &fallback, nullptr);
    // Blocked while this handler runs; delivered with the default action as soon as it returns.
    ::raise(signal);
}

void onFatalSignal(int signal, siginfo_t* info, void* context)
{
    const int savedErrno = errno;
    // A second crash while writing (or in another thread) only passes on.
    if (!handling.exchange(true))
        writeReport(signal, info, context);
    errno = savedErrno;
    passOn(signal, info, context);
}

void onTerminate()
{
    // Ordinary code still: the exception can be looked at before the abort.
    if (std::exception_ptr current = std::current_exception()) {
        try {
            std::rethrow_exception(current);
        } catch (const std::exception& e) {
            std::snprintf(reason, sizeof reason, "uncaught exception: %s", e.what());
        } catch (...) {
            copyBounded(reason, sizeof reason, "uncaught exception of unknown type");
        }
    } else {
        copyBounded(reason, sizeof reason, "std::terminate called");
    }
    if (previousTerminateHandler)
        previousTerminateHandler();
    std::abort();
}

void onQtMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtFatalMsg)
        std::snprintf(reason, sizeof reason, "Qt fatal message: %s", message.toUtf8().constData());
    if (previousMessageHandler)
        previousMessageHandler(type, context, message);
    else
        std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
}

// Exempt from the undefined-behaviour sanitizer, which would stop at the store and exit instead
// of letting the fault happen that this is for.
[[gnu::noinline, gnu::no_sanitize("undefined")]] void writeThroughNullPointer()
{
    // Both volatile: the compiler may neither see the null nor drop a store nobody reads.
    volatile int* volatile target = nullptr;
    *target = 42;
}

[[gnu::noinline]] void throwUncaught()
{
    throw std::runtime_error("deliberate uncaught exception");
}

// Nothing may leave a noexcept function: the exception reaches std::terminate.
[[gnu::noinline]] void callWithoutCatching(void (*function)()) noexcept
{
    function();
}

} // namespace

void CrashHandler::install(const std::string& directory, const std::string& version)
{
    QDir().mkpath(QString::fromStdString(directory));
    copyBounded(reportsDirectory, sizeof reportsDirectory, directory.c_str());
    copyBounded(versionLine, sizeof versionLine, version.c_str());
    if (installed.exchange(true))
        return;
    // The first backtrace() loads the unwinder, which allocates; do it here, not in the handler.
    void* warmUp[4];
    ::backtrace(warmUp, 4);

    struct sigaction action = {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (int signal : kFatalSignals)
        ::sigaction(signal, &action, &previousActions[signal]);
    previousTerminateHandler = std::set_terminate(onTerminate);
    previousMessageHandler = qInstallMessageHandler(onQtMessage);
}

std::string CrashHandler::defaultReportsDirectory()
{
    std::string logs = LogFileManagerDefault::defaultLogsDirectory();
    const std::size_t slash = logs.find_last_of('/');
    return (slash == std::string::npos ? logs : logs.substr(0, slash)) + "/CrashReports";
}

void CrashHandler::crashDeliberately(const std::string& kind)
{
    if (kind == "segv")
        writeThroughNullPointer();
    else if (kind == "abort")
        std::abort();
    else if (kind == "terminate")
        callWithoutCatching(throwUncaught);
    else if (kind == "qfatal")
        qFatal("deliberate fatal message");
}

} // namespace iconfoundry
