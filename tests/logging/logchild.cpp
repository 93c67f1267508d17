// A program the logging tests start to see what happens to a log when the process ends:
//
//   logchild exit FOLDER      threads log while main() returns
//   logchild MODE FOLDER N    N messages, then the process dies; MODE is abort, segfault or
//                             terminate, or unguarded-abort to die without the fatal-signal flush
//
// The log goes to a file logger writing into FOLDER, named as the application names its files. A
// second logger takes a few milliseconds per message, as a slow disk would, so that most
// messages are still in flight when the process dies.

#include "logging/abstractlogger.h"
#include "logging/consolelogger.h"
#include "logging/filelogger.h"
#include "logging/log.h"
#include "logging/logfilemanagerdefault.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

namespace iconfoundry {
namespace {

class SlowLogger : public AbstractLogger
{
public:
    void logMessage(const LogMessage&) override { std::this_thread::sleep_for(std::chrono::milliseconds(2)); }
};

std::shared_ptr<LogFileManager> addLoggers(const std::string& folder, std::uint64_t maximumFileSize)
{
    LogFileManagerDefault::setApplicationName("co.velmora.IconFoundry");
    auto manager = std::make_shared<LogFileManagerDefault>(folder);
    manager->setMaximumNumberOfLogFiles(0);
    auto fileLogger = std::make_shared<FileLogger>(manager);
    fileLogger->setMaximumFileSize(maximumFileSize);
    Log::addLogger(fileLogger);
    return manager;
}

// Threads that log until the process is gone, with files rolling all the while.
int logWhileExiting(const std::string& folder)
{
    const auto manager = addLoggers(folder, 2048);
    const int devNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    Log::addLogger(std::make_shared<ConsoleLogger>(devNull));
    for (int t = 0; t < 4; ++t) {
        std::thread([t] {
            for (long i = 0;; ++i) {
                if (i % 64 == 0)
                    LOG_ERROR("thread %d: error %ld", t, i);
                else
                    LOG_INFO("thread %d: message %ld", t, i);
            }
        }).detach();
    }
    // Return once the files have rolled a few times: then the threads are in full swing, and the
    // file logger is busy naming new files.
    for (int waited = 0; waited < 30000 && manager->unsortedLogFileNames().size() < 3; waited += 10)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return 0;
}

[[noreturn]] void segfault()
{
    // A real fault: a write to a page that allows none.
    void* page = ::mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    *static_cast<volatile int*>(page) = 1;
    std::abort();
}

int logThenDie(const std::string& mode, const std::string& folder, int count)
{
    addLoggers(folder, 0);
    Log::addLogger(std::make_shared<SlowLogger>());
    if (mode != "unguarded-abort")
        Log::installFatalSignalFlush(10000);
    for (int i = 0; i < count; ++i)
        LOG_INFO("message %d", i);
    if (mode == "segfault")
        segfault();
    if (mode == "terminate")
        std::terminate();
    std::abort();
}

} // namespace
} // namespace iconfoundry

int main(int argc, char** argv)
{
    if (argc == 3 && std::strcmp(argv[1], "exit") == 0)
        return iconfoundry::logWhileExiting(argv[2]);
    if (argc == 4)
        return iconfoundry::logThenDie(argv[1], argv[2], std::atoi(argv[3]));
    std::fprintf(stderr, "usage: logchild exit FOLDER | logchild MODE FOLDER COUNT\n");
    return 2;
}
