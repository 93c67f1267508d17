#pragma once

#include "logfiledateformatter.h"
#include "logfilemanager.h"

#include <atomic>
#include <chrono>

namespace iconfoundry {

// The standard log-file manager: one folder per program, files named after the application and
// the UTC minute of their creation, the oldest deleted beyond a count and a disk quota.
//
// - File names: "<applicationName> yyyy-MM-dd HH-mm.log" (UTC); when that name is taken,
//   " 2", " 3", ... go before ".log". Other names in the folder are ignored, never deleted.
// - The folder is created, with its parents, whenever logsDirectory() is read and it is missing.
// - deleteOldLogFiles() runs after every createNewLogFile(); the limit setters only store, so a
//   lowered limit first deletes files when the next file is created. This is deliberate: a
//   changed setting never deletes logs behind the user's back in the middle of a run.
// - All members may be called from any thread; each thread formats dates with its own
//   logFileDateFormatter().
class LogFileManagerDefault : public LogFileManager
{
public:
    using Clock = std::chrono::system_clock;

    static constexpr unsigned long kDefaultMaximumNumberOfLogFiles = 5;
    static constexpr std::uint64_t kDefaultLogFilesDiskQuota = 20971520; // 20 MiB

    // Without a folder the default one is used.
    explicit LogFileManagerDefault(std::optional<std::string> logsDirectory = std::nullopt,
                                   std::shared_ptr<LogFileSystem> fileSystem = {});

    // Linux: ${XDG_STATE_HOME:-~/.local/state}/<process name>/Logs; macOS:
    // ~/Library/Logs/<process name>; the temporary folder stands in for a missing home.
    static std::string defaultLogsDirectory();

    unsigned long maximumNumberOfLogFiles() const override { return maximumNumberOfLogFiles_; }
    void setMaximumNumberOfLogFiles(unsigned long count) override { maximumNumberOfLogFiles_ = count; }
    std::uint64_t logFilesDiskQuota() const override { return logFilesDiskQuota_; }
    void setLogFilesDiskQuota(std::uint64_t bytes) override { logFilesDiskQuota_ = bytes; }

    std::string logsDirectory() override;
    bool isLogFile(const std::string& fileName) const;

    std::vector<std::string> unsortedLogFilePaths() override;
    std::vector<std::string> unsortedLogFileNames() override;
    std::vector<std::shared_ptr<LogFileInfo>> unsortedLogFileInfos() override;
    std::vector<std::string> sortedLogFilePaths() override;
    std::vector<std::string> sortedLogFileNames() override;
    std::vector<std::shared_ptr<LogFileInfo>> sortedLogFileInfos() override;

    // "<applicationName> <UTC minute of now>.log", without clash suffix.
    std::string newLogFileName() const;
    std::optional<std::string> createNewLogFile() override;
    void deleteOldLogFiles();

    std::shared_ptr<LogFileSystem> fileSystem() const override { return fileSystem_; }

    // The process-wide prefix of log file names. The application sets its identifier once at
    // start-up, before any logger runs ("co.velmora.IconFoundry"); until then it is the process
    // name.
    static std::string applicationName();
    static void setApplicationName(std::string name);

    // The calling thread's formatter of file-name dates.
    static const LogFileDateFormatter& logFileDateFormatter();
    // The file-name date, "yyyy-MM-dd HH-mm" in UTC, and its strict inverse.
    static std::string logFileDateString(Clock::time_point time);
    static std::optional<Clock::time_point> parseLogFileDate(const std::string& text);

private:
    const std::string logsDirectory_;
    const std::shared_ptr<LogFileSystem> fileSystem_;
    std::atomic<unsigned long> maximumNumberOfLogFiles_{kDefaultMaximumNumberOfLogFiles};
    std::atomic<std::uint64_t> logFilesDiskQuota_{kDefaultLogFilesDiskQuota};
    // One report per failure streak, so a broken folder does not flood standard error.
    std::atomic<bool> directoryErrorReported_{false};
};

} // namespace iconfoundry
