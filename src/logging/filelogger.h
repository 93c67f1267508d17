#pragma once

#include "abstractlogger.h"
#include "dispatchqueue.h"
#include "logfileinfo.h"
#include "logfilemanager.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace iconfoundry {

class LogFileWatcher;
namespace logging_detail {
struct FileLoggerLife;
}

// Writes every message as one line to the current log file and starts a new file when the current
// one is too big, too old, or deleted or renamed from outside.
//
// 1. The text is the formatter's output (a LogFileFormatterDefault from construction) or the bare
//    message; a line feed is appended unless it ends with one already (for formatter output only
//    while automaticallyAppendNewlineForCustomFormatters() is true).
// 2. The first message picks the current file: the manager's newest file if it is not archived,
//    not due for rolling and reuse is allowed, else a new one. A newest file that is due is
//    marked archived on the way.
// 3. The line is written in one write(2) call (looping on short writes); then, if the file has
//    reached maximumFileSize(), it is rolled: synced, closed, marked archived, forgotten. So a file
//    can exceed the limit by one line, and the next message opens a new file.
// 4. A one-shot timer on the logger's queue rolls the file when it becomes rollingFrequency() old,
//    counted from its creation date; a file watcher rolls it when it is deleted or renamed.
// 5. A failed write (disk full, I/O error) cuts the file back to its last complete line and is
//    reported to standard error, at most 10 times per process. Nothing is ever thrown to the
//    logging core, and nothing of the logger's own goes through it.
//
// All file work happens on the logger's serial queue. Setters of maximumFileSize and
// rollingFrequency are applied on the logging queue and then on the logger's queue (so they fall
// between two messages) and check the rolling rules at once; their getters return the value last
// applied. Other members may be called from any thread, but never Log::flushLog() or a synchronous
// statement from within the manager's callbacks, which run on the logger's queue.
//
// The logger need not be owned by a std::shared_ptr: queued work finds out safely when it is gone.
// Destroying it syncs and closes the current file without archiving it, so the next launch goes on
// writing it.
class FileLogger : public AbstractLogger
{
public:
    static constexpr std::uint64_t kDefaultMaximumFileSize = 1048576; // 1 MiB
    static constexpr double kDefaultRollingFrequency = 86400;         // one day, in seconds

    // With a LogFileManagerDefault on the default folder.
    FileLogger();
    explicit FileLogger(std::shared_ptr<LogFileManager> logFileManager);
    ~FileLogger() override;

    // Bytes; 0 means never roll by size.
    std::uint64_t maximumFileSize() const { return maximumFileSize_; }
    void setMaximumFileSize(std::uint64_t bytes);
    // Seconds; 0 or less means never roll by age.
    double rollingFrequency() const { return rollingFrequency_; }
    void setRollingFrequency(double seconds);

    // When true, every launch starts a fresh file instead of going on with the newest one.
    bool doNotReuseLogFiles() const { return doNotReuseLogFiles_; }
    void setDoNotReuseLogFiles(bool value) { doNotReuseLogFiles_ = value; }
    bool automaticallyAppendNewlineForCustomFormatters() const { return automaticallyAppendNewline_; }
    void setAutomaticallyAppendNewlineForCustomFormatters(bool value) { automaticallyAppendNewline_ = value; }

    const std::shared_ptr<LogFileManager>& logFileManager() const { return logFileManager_; }

    // The file being written, chosen (or created) now if there is none; nullptr when no file can be
    // created. Runs on the logger's queue (through the logging queue when called from elsewhere).
    std::shared_ptr<LogFileInfo> currentLogFileInfo();

    // Rolls now; the block, if any, then runs on a thread of its own.
    void rollLogFileWithCompletionBlock(std::function<void()> completionBlock);
    void rollLogFile() { rollLogFileWithCompletionBlock(nullptr); }

    void logMessage(const LogMessage& message) override;
    void willRemoveLogger() override;
    bool respondsToFlush() const override { return true; }
    void flush() override;

private:
    std::shared_ptr<LogFileInfo> currentLogFileInfoOnQueue();
    int currentLogFileHandle();
    bool writeToCurrentFile(int fd, const std::string& bytes);
    void rollLogFileNow();
    void maybeRollLogFileDueToAge();
    void maybeRollLogFileDueToSize();
    void scheduleTimerToRollLogFileDueToAge();
    void handleFileEvent(unsigned long generation, unsigned events);
    // Runs fn on the logging queue and then on the logger's queue, if the logger still exists.
    void applyThroughQueues(std::function<void(FileLogger&)> fn);

    const std::shared_ptr<LogFileManager> logFileManager_;
    const std::shared_ptr<LogFileSystem> fileSystem_;
    std::atomic<std::uint64_t> maximumFileSize_{kDefaultMaximumFileSize};
    std::atomic<double> rollingFrequency_{kDefaultRollingFrequency};
    std::atomic<bool> doNotReuseLogFiles_{false};
    std::atomic<bool> automaticallyAppendNewline_{true};

    // Touched only on the logger's queue (and in the destructor).
    std::shared_ptr<LogFileInfo> currentLogFileInfo_;
    int currentLogFileHandle_ = -1;
    std::uint64_t currentLogFileOffset_ = 0;
    std::unique_ptr<LogFileWatcher> currentLogFileWatcher_;
    unsigned long watcherGeneration_ = 0;
    DispatchQueue::Timer rollingTimer_;

    std::shared_ptr<logging_detail::FileLoggerLife> life_;
};

namespace logging_detail {
// The write-failure reports are counted per process; tests start each case from zero.
void resetFileLoggerWriteFailureCount();
} // namespace logging_detail

} // namespace iconfoundry
