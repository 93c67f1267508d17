#include "consolelogger.h"

#include "logmessage.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <sys/uio.h>
#include <unistd.h>

namespace iconfoundry {

namespace {
// Writes every byte of the vector, resuming after short writes and signals.
void writeAll(int fd, iovec* iov, int count)
{
    while (count > 0) {
        const ssize_t written = ::writev(fd, iov, count);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return; // nowhere left to report to
        }
        auto left = static_cast<size_t>(written);
        while (count > 0 && left >= iov->iov_len) {
            left -= iov->iov_len;
            ++iov;
            --count;
        }
        if (count > 0) {
            iov->iov_base = static_cast<char*>(iov->iov_base) + left;
            iov->iov_len -= left;
        }
    }
}

iovec part(const char* data, size_t length)
{
    return iovec{const_cast<char*>(data), length};
}

iovec part(const std::string& text)
{
    return part(text.data(), text.size());
}
} // namespace

std::shared_ptr<ConsoleLogger> ConsoleLogger::sharedInstance()
{
    // Never destroyed: threads may still log through it while the process exits.
    static const auto* const instance =
        new std::shared_ptr<ConsoleLogger>(std::make_shared<ConsoleLogger>(STDERR_FILENO));
    return *instance;
}

ConsoleLogger::ConsoleLogger(int fd)
    : AbstractLogger("gludisko.ttyLogger"), fd_(fd), processName_(program_invocation_short_name),
      processID_(std::to_string(::getpid()))
{
    if (processName_.empty())
        processName_ = "<UnnamedApp>";
}

void ConsoleLogger::logMessage(const LogMessage& message)
{
    static const char newline = '\n';
    if (formatter_) {
        const auto text = formatter_->formatLogMessage(message);
        if (!text)
            return;
        iovec iov[2] = {part(*text), part(&newline, 1)};
        writeAll(fd_, iov, automaticallyAppendNewlineForCustomFormatters_ ? 2 : 1);
        return;
    }

    using namespace std::chrono;
    const auto since = message.timestamp().time_since_epoch();
    const auto seconds = floor<std::chrono::seconds>(since);
    const int milliseconds =
        static_cast<int>(duration_cast<std::chrono::milliseconds>(since - seconds).count());
    const std::time_t time = static_cast<std::time_t>(seconds.count());
    std::tm local{};
    localtime_r(&time, &local);
    char stamp[64];
    const int stampLength =
        std::snprintf(stamp, sizeof stamp, "%04ld-%02ld-%02ld %02ld:%02ld:%02ld:%03d",
                      static_cast<long>(local.tm_year) + 1900, static_cast<long>(local.tm_mon) + 1,
                      static_cast<long>(local.tm_mday), static_cast<long>(local.tm_hour),
                      static_cast<long>(local.tm_min), static_cast<long>(local.tm_sec), milliseconds);
    const std::string& threadID = message.threadID();

    iovec iov[] = {
        part(stamp, stampLength > 0 ? static_cast<size_t>(stampLength) : 0),
        part(" ", 1),
        part(processName_),
        part("[", 1),
        part(processID_),
        part(":", 1),
        part(threadID.data(), std::min<size_t>(threadID.size(), 8)),
        part("] ", 2),
        part(message.message()),
        part(&newline, 1),
    };
    writeAll(fd_, iov, static_cast<int>(std::size(iov)));
}

} // namespace iconfoundry
