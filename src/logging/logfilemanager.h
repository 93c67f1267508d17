#pragma once

#include "logfileinfo.h"
#include "logfilesystem.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace iconfoundry {

// What a file logger needs from whoever decides where log files live, what they are called and
// when old ones go.
//
// The listing operations may be called from any thread and only read the folder; the file logger
// calls createNewLogFile() and the notifications from its own queue. Sorted lists are newest first
// by creation date.
class LogFileManager
{
public:
    virtual ~LogFileManager() = default;

    // 0 means no limit. A new value takes effect when the next log file is created.
    virtual unsigned long maximumNumberOfLogFiles() const = 0;
    virtual void setMaximumNumberOfLogFiles(unsigned long count) = 0;
    // Bytes; 0 means no limit. A new value takes effect when the next log file is created.
    virtual std::uint64_t logFilesDiskQuota() const = 0;
    virtual void setLogFilesDiskQuota(std::uint64_t bytes) = 0;

    virtual std::string logsDirectory() = 0;

    virtual std::vector<std::string> unsortedLogFilePaths() = 0;
    virtual std::vector<std::string> unsortedLogFileNames() = 0;
    virtual std::vector<std::shared_ptr<LogFileInfo>> unsortedLogFileInfos() = 0;
    virtual std::vector<std::string> sortedLogFilePaths() = 0;
    virtual std::vector<std::string> sortedLogFileNames() = 0;
    virtual std::vector<std::shared_ptr<LogFileInfo>> sortedLogFileInfos() = 0;

    // Creates an empty log file and returns its path; absent when no file could be created.
    virtual std::optional<std::string> createNewLogFile() = 0;

    // The file layer the logger writes through.
    virtual std::shared_ptr<LogFileSystem> fileSystem() const { return LogFileSystem::standard(); }

    // Called on the logger's queue after the logger archived a file it found due at start-up.
    virtual void didArchiveLogFile(const std::string& /*logFilePath*/) {}
    // Called on the logger's queue after the logger rolled the file it was writing.
    virtual void didRollAndArchiveLogFile(const std::string& /*logFilePath*/) {}
};

} // namespace iconfoundry
