#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace iconfoundry {

// Watches one open file for being deleted, renamed or having its attributes changed, and calls a
// handler from its own thread with what happened. The handler must not block: the file logger
// only posts a task to its queue from it, and that task decides what the event means.
//
// On Linux this is inotify on the open descriptor (through /proc/self/fd, so the watch is on the
// very file that was opened even if its name changed in between). Deleting a file that is still
// open only drops its link count (IN_ATTRIB); IN_DELETE_SELF would wait for the last close, so the
// handler receives AttributesChanged and checks the link count itself. Elsewhere start() returns
// nullptr and no watch is kept.
//
// Destroying the watcher stops its thread and waits for it; the handler is not called afterwards.
class LogFileWatcher
{
public:
    enum Event : unsigned
    {
        Deleted = 1u << 0,
        Renamed = 1u << 1,
        AttributesChanged = 1u << 2,
    };
    using Handler = std::function<void(unsigned events)>;

    static std::unique_ptr<LogFileWatcher> start(int fd, const std::string& path, Handler handler);
    ~LogFileWatcher();

    LogFileWatcher(const LogFileWatcher&) = delete;
    LogFileWatcher& operator=(const LogFileWatcher&) = delete;

private:
    LogFileWatcher(int inotifyFd, int stopFd, Handler handler);
    void run();

    int inotifyFd_;
    int stopFd_;
    Handler handler_;
    std::thread thread_;
};

} // namespace iconfoundry
