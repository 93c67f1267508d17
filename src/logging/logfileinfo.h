#pragma once

#include "logfilesystem.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace iconfoundry {

// One log file on disk.
//
// The file name, attributes, dates and size are read lazily and cached until reset(); a cached size
// of 0 counts as unknown and is read again, because a file that is being written starts empty.
// age() and isArchived() are worked out afresh on every call. An instance is not thread-safe: use
// it from one thread at a time (the manager hands out fresh instances on every listing).
//
// Extended attributes. The archived mark is the attribute kArchivedAttributeName with an empty
// value. Where the file system refuses extended attributes (ENOTSUP), each attribute is kept in a
// sidecar file instead, "<folder>/.iconfoundry-attributes/<file name>#<attribute name>", holding
// the value and written atomically (temporary file, then rename), so the mark survives a restart.
// An attribute counts as present when either form exists, and removing it removes both.
//
// Creation date. The file system's birth time (statx) where it records one; otherwise the
// attribute kCreatedAttributeName (nanoseconds since 1970, written by the manager when it creates
// a file); otherwise the UTC minute in the file's name; otherwise the modification date. So the
// age rule and the newest-first order hold on every file system.
class LogFileInfo
{
public:
    using Clock = std::chrono::system_clock;

#if defined(__APPLE__)
    static constexpr const char* kArchivedAttributeName = "iconfoundry.log.archived";
    static constexpr const char* kCreatedAttributeName = "iconfoundry.log.created";
#else
    static constexpr const char* kArchivedAttributeName = "user.iconfoundry.log.archived";
    static constexpr const char* kCreatedAttributeName = "user.iconfoundry.log.created";
#endif
    // The hidden folder, beside the log files, that stands in for missing extended attributes.
    static constexpr const char* kSidecarFolderName = ".iconfoundry-attributes";

    static std::shared_ptr<LogFileInfo> logFileWithPath(const std::string& filePath,
                                                        std::shared_ptr<LogFileSystem> fileSystem = {});
    explicit LogFileInfo(std::string filePath, std::shared_ptr<LogFileSystem> fileSystem = {});

    const std::string& filePath() const
    {
        return filePath_;
    }
    const std::string& fileName();
    // Absent when the file cannot be examined (it does not exist, for instance).
    const std::optional<LogFileStat>& fileAttributes();
    std::optional<Clock::time_point> creationDate();
    std::optional<Clock::time_point> modificationDate();
    std::uint64_t fileSize();
    // Seconds since creationDate(); 0 when that is unknown.
    double age();

    bool isArchived();
    void setIsArchived(bool archived);

    // Renames the file within its folder (a bare name). Failures are reported to standard error,
    // and the new path is taken whatever happened.
    void renameFile(const std::string& newFileName);

    bool hasExtendedAttributeWithName(const std::string& name);
    // Failures are reported to standard error; the result tells whether the attribute is set.
    bool addExtendedAttributeWithName(const std::string& name, const std::string& value = {});
    // Removing an absent attribute is not a failure.
    bool removeExtendedAttributeWithName(const std::string& name);
    // The attribute's value, from the extended attribute or its sidecar; absent when unset.
    std::optional<std::string> extendedAttributeValue(const std::string& name);

    void reset();

    bool operator==(const LogFileInfo& other) const
    {
        return filePath_ == other.filePath_;
    }

    // Later date first: -1 when this file is newer than the other, 1 when older, 0 when equal.
    int reverseCompareByCreationDate(LogFileInfo& other);
    int reverseCompareByModificationDate(LogFileInfo& other);

    std::string description();

    const std::shared_ptr<LogFileSystem>& fileSystem() const
    {
        return fileSystem_;
    }

    // The sidecar files that may stand for attributes of the log file at filePath.
    static std::string sidecarPath(const std::string& filePath, const std::string& attributeName);
    // Deletes every sidecar of the log file at filePath (missing ones are fine).
    static void removeSidecars(LogFileSystem& fileSystem, const std::string& filePath);
    // The UTC minute encoded in a log file name ("... 2024-03-05 14-07.log", "... 14-07 2.log").
    static std::optional<Clock::time_point> dateFromFileName(const std::string& fileName);

private:
    std::string filePath_;
    std::shared_ptr<LogFileSystem> fileSystem_;

    std::optional<std::string> fileName_;
    bool attributesRead_ = false;
    std::optional<LogFileStat> fileAttributes_;
    bool creationDateRead_ = false;
    std::optional<Clock::time_point> creationDate_;
    std::optional<std::uint64_t> fileSize_;
};

} // namespace iconfoundry
