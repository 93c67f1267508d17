#include "logfilewatcher.h"

#include <cstdint>

#if defined(__linux__)
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>
#endif

namespace iconfoundry {

std::unique_ptr<LogFileWatcher> LogFileWatcher::start(int fd, const std::string& path, Handler handler)
{
#if defined(__linux__)
    const int inotifyFd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotifyFd < 0)
        return nullptr;
    constexpr std::uint32_t mask = IN_DELETE_SELF | IN_MOVE_SELF | IN_ATTRIB;
    const std::string byDescriptor = "/proc/self/fd/" + std::to_string(fd);
    if (::inotify_add_watch(inotifyFd, byDescriptor.c_str(), mask) < 0 &&
        ::inotify_add_watch(inotifyFd, path.c_str(), mask) < 0) {
        ::close(inotifyFd);
        return nullptr;
    }
    const int stopFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (stopFd < 0) {
        ::close(inotifyFd);
        return nullptr;
    }
    std::unique_ptr<LogFileWatcher> watcher(new LogFileWatcher(inotifyFd, stopFd, std::move(handler)));
    watcher->thread_ = std::thread([w = watcher.get()] { w->run(); });
    return watcher;
#else
    (void)fd;
    (void)path;
    (void)handler;
    return nullptr;
#endif
}

LogFileWatcher::LogFileWatcher(int inotifyFd, int stopFd, Handler handler)
    : inotifyFd_(inotifyFd), stopFd_(stopFd), handler_(std::move(handler))
{
}

LogFileWatcher::~LogFileWatcher()
{
#if defined(__linux__)
    const std::uint64_t one = 1;
    while (::write(stopFd_, &one, sizeof one) < 0 && errno == EINTR) {
    }
    if (thread_.joinable())
        thread_.join();
    ::close(stopFd_);
    ::close(inotifyFd_);
#endif
}

void LogFileWatcher::run()
{
#if defined(__linux__)
    for (;;) {
        pollfd fds[2] = {{inotifyFd_, POLLIN, 0}, {stopFd_, POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (fds[1].revents)
            return;
        if (!(fds[0].revents & POLLIN))
            continue;
        alignas(inotify_event) char buffer[4096];
        unsigned events = 0;
        for (;;) {
            const ssize_t got = ::read(inotifyFd_, buffer, sizeof buffer);
            if (got <= 0)
                break;
            for (ssize_t at = 0; at + ssize_t(sizeof(inotify_event)) <= got;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                if (event->mask & IN_DELETE_SELF)
                    events |= Deleted;
                if (event->mask & IN_MOVE_SELF)
                    events |= Renamed;
                // A lost queue may have held anything: let the handler look at the file.
                if (event->mask & (IN_ATTRIB | IN_Q_OVERFLOW | IN_IGNORED))
                    events |= AttributesChanged;
                at += ssize_t(sizeof(inotify_event) + event->len);
            }
        }
        if (events)
            handler_(events);
    }
#endif
}

} // namespace iconfoundry
