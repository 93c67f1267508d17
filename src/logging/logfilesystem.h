#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace iconfoundry {

// What the file system reports about one file.
struct LogFileStat
{
    std::uint64_t size = 0;
    // Absent where the file system does not record when a file was born.
    std::optional<std::chrono::system_clock::time_point> birthTime;
    std::chrono::system_clock::time_point modificationTime;
    std::uint64_t linkCount = 0;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool isRegularFile = false;
    bool isDirectory = false;
};

// The file system and the wall clock as the file logger and the log-file manager see them.
//
// Every call is a thin wrapper over one POSIX call and reports failure the POSIX way: -1 (or an
// empty result) with errno set. The class holds no state, so one instance may be shared by any
// number of threads. Tests derive from it to inject failures (a rename that fails, a file system
// without extended attributes or without birth times, a full disk) and to fix the clock.
class LogFileSystem
{
public:
    using Clock = std::chrono::system_clock;

    virtual ~LogFileSystem() = default;

    // The instance used when none is given.
    static std::shared_ptr<LogFileSystem> standard();

    virtual Clock::time_point now() const;

    virtual int open(const std::string& path, int flags, mode_t mode = 0644);
    virtual ssize_t read(int fd, void* data, std::size_t size);
    virtual ssize_t write(int fd, const void* data, std::size_t size);
    virtual int fsync(int fd);
    virtual int close(int fd);
    virtual off_t seekToEnd(int fd);
    virtual int truncate(int fd, off_t size);

    virtual int rename(const std::string& from, const std::string& to);
    virtual int unlink(const std::string& path);
    virtual int stat(const std::string& path, LogFileStat* result);
    virtual int fstat(int fd, LogFileStat* result);

    // Extended attributes. getXattr fails with ENODATA when the attribute is absent; all three
    // fail with ENOTSUP where the file system keeps no extended attributes.
    virtual int setXattr(const std::string& path, const std::string& name, const std::string& value);
    virtual int getXattr(const std::string& path, const std::string& name, std::string* value);
    virtual int removeXattr(const std::string& path, const std::string& name);

    // Names in a folder, without "." and "..", in the order the file system gives them.
    virtual int listDirectory(const std::string& path, std::vector<std::string>* names);
    // mkdir -p: succeeds when the folder exists afterwards.
    virtual int createDirectories(const std::string& path, mode_t mode = 0755);
};

namespace logging_detail {
// The time seconds + nanoseconds after 1970, held within 2^62 ns (about 146 years) of 1970. Dates
// from file names, attributes and file times are not ours to trust; held in this range, their
// differences and sums with any real date or period never overflow the clock's 64-bit count.
std::chrono::system_clock::time_point timeSinceEpoch(std::int64_t seconds, std::int64_t nanoseconds = 0);
// Writes one line to standard error in a single write. The file logger's own failures go here and
// never through the logging core, so they cannot recurse.
void reportToStandardError(const std::string& text);
// strerror() that is safe to call from any thread.
std::string errorText(int error);
} // namespace logging_detail

} // namespace iconfoundry
