#include "filelogger.h"

#include "log.h"
#include "logfileformatterdefault.h"
#include "logfilemanagerdefault.h"
#include "logfilewatcher.h"
#include "logmessage.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <fcntl.h>
#include <mutex>
#include <thread>

namespace iconfoundry {

namespace logging_detail {
// Queued work holds this instead of the logger. The destructor clears the pointer under the
// mutex, and every task holds the mutex while it runs, so no task ever touches a logger that is
// being destroyed.
struct FileLoggerLife
{
    std::mutex mutex;
    FileLogger* logger = nullptr;
};
} // namespace logging_detail

namespace {

constexpr const char* kLoggerName = "gludisko.fileLogger";
constexpr std::uint64_t kMaximumReportedFailures = 10;
// Longer periods than this are as good as never and would overflow the clocks' durations.
constexpr double kLongestRollingFrequency = 100.0 * 365 * 86400;

std::atomic<std::uint64_t> writeFailureCount{0};

void reportWriteFailure(const std::string& description)
{
    const std::uint64_t count = ++writeFailureCount;
    if (count <= kMaximumReportedFailures)
        logging_detail::reportToStandardError("FileLogger.logMessage: " + description);
    if (count == kMaximumReportedFailures)
        logging_detail::reportToStandardError(
            "FileLogger.logMessage: Too many exceptions -- will not log any more of them.");
}

std::function<void()> whileAlive(std::shared_ptr<logging_detail::FileLoggerLife> life,
                                 std::function<void(FileLogger&)> fn)
{
    return [life = std::move(life), fn = std::move(fn)] {
        std::lock_guard lock(life->mutex);
        if (life->logger)
            fn(*life->logger);
    };
}

} // namespace

void logging_detail::resetFileLoggerWriteFailureCount()
{
    writeFailureCount = 0;
}

FileLogger::FileLogger() : FileLogger(nullptr) {}

FileLogger::FileLogger(std::shared_ptr<LogFileManager> logFileManager)
    : AbstractLogger(kLoggerName),
      logFileManager_(logFileManager ? std::move(logFileManager) : std::make_shared<LogFileManagerDefault>()),
      fileSystem_(logFileManager_->fileSystem() ? logFileManager_->fileSystem() : LogFileSystem::standard()),
      life_(std::make_shared<logging_detail::FileLoggerLife>())
{
    formatter_ = std::make_shared<LogFileFormatterDefault>();
    life_->logger = this;
}

FileLogger::~FileLogger()
{
    {
        std::lock_guard lock(life_->mutex);
        life_->logger = nullptr;
    }
    rollingTimer_.cancel();
    currentLogFileWatcher_.reset();
    if (currentLogFileHandle_ >= 0) {
        fileSystem_->fsync(currentLogFileHandle_);
        fileSystem_->close(currentLogFileHandle_);
        currentLogFileHandle_ = -1;
    }
}

void FileLogger::applyThroughQueues(std::function<void(FileLogger&)> fn)
{
    Log::loggingQueue().async([life = life_, queue = loggerQueue(), fn = std::move(fn)] {
        // sync: the logging queue moves on to the next message only once the change is in.
        queue->sync(whileAlive(life, fn));
    });
}

void FileLogger::setMaximumFileSize(std::uint64_t bytes)
{
    applyThroughQueues([bytes](FileLogger& self) {
        self.maximumFileSize_ = bytes;
        self.maybeRollLogFileDueToSize();
    });
}

void FileLogger::setRollingFrequency(double seconds)
{
    applyThroughQueues([seconds](FileLogger& self) {
        self.rollingFrequency_ = seconds;
        self.maybeRollLogFileDueToAge();
    });
}

std::shared_ptr<LogFileInfo> FileLogger::currentLogFileInfo()
{
    if (isOnInternalLoggerQueue())
        return currentLogFileInfoOnQueue();
    std::shared_ptr<LogFileInfo> result;
    auto read = [&] { loggerQueue()->sync([&] { result = currentLogFileInfoOnQueue(); }); };
    if (isOnGlobalLoggingQueue())
        read();
    else
        Log::loggingQueue().sync(read);
    return result;
}

std::shared_ptr<LogFileInfo> FileLogger::currentLogFileInfoOnQueue()
{
    if (currentLogFileInfo_)
        return currentLogFileInfo_;

    const auto infos = logFileManager_->sortedLogFileInfos();
    if (!infos.empty()) {
        const auto& newest = infos.front();
        const std::uint64_t maximumSize = maximumFileSize_;
        const double frequency = rollingFrequency_;
        const bool archived = newest->isArchived();
        const bool isDue = !archived && ((maximumSize > 0 && newest->fileSize() >= maximumSize) ||
                                         (frequency > 0 && newest->age() >= frequency));
        if (!doNotReuseLogFiles_ && !archived && !isDue) {
            currentLogFileInfo_ = newest;
        } else if (isDue) {
            newest->setIsArchived(true);
            logFileManager_->didArchiveLogFile(newest->filePath());
        }
    }
    if (!currentLogFileInfo_) {
        if (const auto path = logFileManager_->createNewLogFile())
            currentLogFileInfo_ = LogFileInfo::logFileWithPath(*path, fileSystem_);
    }
    return currentLogFileInfo_;
}

int FileLogger::currentLogFileHandle()
{
    if (currentLogFileHandle_ >= 0)
        return currentLogFileHandle_;
    // A second attempt covers a file that vanished between being chosen and being opened.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const auto info = currentLogFileInfoOnQueue();
        if (!info)
            return -1;
        const int fd = fileSystem_->open(info->filePath(), O_WRONLY | O_APPEND, 0);
        if (fd < 0) {
            if (errno != ENOENT)
                return -1;
            currentLogFileInfo_.reset();
            continue;
        }
        const off_t end = fileSystem_->seekToEnd(fd);
        currentLogFileHandle_ = fd;
        currentLogFileOffset_ = end < 0 ? 0 : std::uint64_t(end);
        scheduleTimerToRollLogFileDueToAge();

        const unsigned long generation = ++watcherGeneration_;
        std::weak_ptr<DispatchQueue> queue = loggerQueue();
        currentLogFileWatcher_ =
            LogFileWatcher::start(fd, info->filePath(), [life = life_, queue, generation](unsigned events) {
                if (const auto q = queue.lock()) {
                    q->async(whileAlive(life, [generation, events](FileLogger& self) {
                        self.handleFileEvent(generation, events);
                    }));
                }
            });
        // Deleted before the watch was in place: the watch will never report it. Then the file is
        // rolled and the next attempt picks a new one.
        handleFileEvent(generation, LogFileWatcher::AttributesChanged);
        if (currentLogFileHandle_ >= 0)
            return currentLogFileHandle_;
    }
    return -1;
}

void FileLogger::handleFileEvent(unsigned long generation, unsigned events)
{
    if (generation != watcherGeneration_ || currentLogFileHandle_ < 0)
        return;
    bool gone = events & (LogFileWatcher::Deleted | LogFileWatcher::Renamed);
    if (!gone) {
        LogFileStat open;
        if (fileSystem_->fstat(currentLogFileHandle_, &open) == 0 && open.linkCount == 0)
            gone = true;
    }
    if (gone)
        rollLogFileNow();
}

bool FileLogger::writeToCurrentFile(int fd, const std::string& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = fileSystem_->write(fd, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            const int error = written == 0 ? ENOSPC : errno;
            // Leave no half line behind: the next line starts where this one should have. The part
            // sits at the end of the file; what lies before it may be another process's lines.
            if (done > 0) {
                const off_t end = fileSystem_->seekToEnd(fd);
                if (end >= off_t(done))
                    fileSystem_->truncate(fd, end - off_t(done));
            }
            const std::string path = currentLogFileInfo_ ? currentLogFileInfo_->filePath() : std::string();
            reportWriteFailure("write(" + path + "): " + logging_detail::errorText(error));
            return false;
        }
        done += std::size_t(written);
    }
    // The file's end, not our own count: another process may append to the same file (a second
    // instance goes on with the newest file too), and its lines count towards the size limit.
    const off_t end = fileSystem_->seekToEnd(fd);
    currentLogFileOffset_ = end < 0 ? currentLogFileOffset_ + bytes.size() : std::uint64_t(end);
    return true;
}

void FileLogger::logMessage(const LogMessage& message)
{
    try {
        std::optional<std::string> text;
        const bool fromFormatter = formatter_ != nullptr;
        if (fromFormatter)
            text = formatter_->formatLogMessage(message);
        else
            text = message.message();
        if (!text)
            return;
        if (!fromFormatter || automaticallyAppendNewline_) {
            if (text->empty() || text->back() != '\n')
                text->push_back('\n');
        }
        const int fd = currentLogFileHandle();
        if (fd < 0)
            return;
        if (!writeToCurrentFile(fd, *text))
            return;
        maybeRollLogFileDueToSize();
    } catch (const std::exception& e) {
        reportWriteFailure(e.what());
    } catch (...) {
        reportWriteFailure("unknown error");
    }
}

void FileLogger::maybeRollLogFileDueToSize()
{
    const std::uint64_t maximumSize = maximumFileSize_;
    if (maximumSize > 0 && currentLogFileHandle_ >= 0 && currentLogFileOffset_ >= maximumSize)
        rollLogFileNow();
}

void FileLogger::maybeRollLogFileDueToAge()
{
    const double frequency = rollingFrequency_;
    if (frequency > 0 && currentLogFileInfo_ && currentLogFileInfo_->age() >= frequency)
        rollLogFileNow();
    else
        scheduleTimerToRollLogFileDueToAge();
}

void FileLogger::scheduleTimerToRollLogFileDueToAge()
{
    rollingTimer_.cancel();
    rollingTimer_ = {};
    const double frequency = std::min<double>(rollingFrequency_, kLongestRollingFrequency);
    if (!currentLogFileInfo_ || !(frequency > 0))
        return;
    const auto created = currentLogFileInfo_->creationDate();
    if (!created)
        return;
    using namespace std::chrono;
    const auto period = duration_cast<LogFileSystem::Clock::duration>(duration<double>(frequency));
    auto delay = (*created + period) - fileSystem_->now();
    if (delay < delay.zero())
        delay = delay.zero();
    const auto when = DispatchQueue::Clock::now() + duration_cast<DispatchQueue::Clock::duration>(delay);
    rollingTimer_ = loggerQueue()->after(
        when, whileAlive(life_, [](FileLogger& self) { self.maybeRollLogFileDueToAge(); }));
}

void FileLogger::rollLogFileNow()
{
    if (currentLogFileHandle_ < 0)
        return;
    const int fd = currentLogFileHandle_;
    fileSystem_->fsync(fd);
    // Mark only the file we wrote, and only where we wrote it: a file deleted from outside needs no
    // mark, and whatever now sits at a path that was renamed away is not ours.
    LogFileStat open;
    LogFileStat atPath;
    const bool stillThere = currentLogFileInfo_ && fileSystem_->fstat(fd, &open) == 0 && open.linkCount > 0 &&
                            fileSystem_->stat(currentLogFileInfo_->filePath(), &atPath) == 0 &&
                            atPath.inode == open.inode && atPath.device == open.device;
    fileSystem_->close(fd);
    currentLogFileHandle_ = -1;
    currentLogFileOffset_ = 0;
    ++watcherGeneration_;
    currentLogFileWatcher_.reset();
    rollingTimer_.cancel();
    rollingTimer_ = {};
    const auto rolled = std::move(currentLogFileInfo_);
    currentLogFileInfo_.reset();
    if (rolled) {
        if (stillThere)
            rolled->setIsArchived(true);
        logFileManager_->didRollAndArchiveLogFile(rolled->filePath());
    }
}

void FileLogger::rollLogFileWithCompletionBlock(std::function<void()> completionBlock)
{
    auto finish = [](std::function<void()> block) {
        // Off the logger's queue, so the block may log or wait for the logger.
        if (block)
            std::thread(std::move(block)).detach();
    };
    if (isOnInternalLoggerQueue()) {
        rollLogFileNow();
        finish(std::move(completionBlock));
        return;
    }
    Log::loggingQueue().async(
        [life = life_, queue = loggerQueue(), finish, block = std::move(completionBlock)] {
            queue->sync(whileAlive(life, [](FileLogger& self) { self.rollLogFileNow(); }));
            finish(block);
        });
}

void FileLogger::willRemoveLogger()
{
    rollLogFileNow();
}

void FileLogger::flush()
{
    if (currentLogFileHandle_ >= 0)
        fileSystem_->fsync(currentLogFileHandle_);
}

} // namespace iconfoundry
