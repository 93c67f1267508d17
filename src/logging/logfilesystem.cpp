#include "logfilesystem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace iconfoundry {

namespace {

LogFileSystem::Clock::time_point timePoint(std::int64_t seconds, std::int64_t nanoseconds)
{
    return logging_detail::timeSinceEpoch(seconds, nanoseconds);
}

#if defined(__linux__)
void fill(const struct statx& stx, LogFileStat* result)
{
    *result = LogFileStat{};
    result->size = stx.stx_size;
    if (stx.stx_mask & STATX_BTIME)
        result->birthTime = timePoint(stx.stx_btime.tv_sec, stx.stx_btime.tv_nsec);
    result->modificationTime = timePoint(stx.stx_mtime.tv_sec, stx.stx_mtime.tv_nsec);
    result->linkCount = stx.stx_nlink;
    result->device = (std::uint64_t(stx.stx_dev_major) << 32) | stx.stx_dev_minor;
    result->inode = stx.stx_ino;
    result->isRegularFile = S_ISREG(stx.stx_mode);
    result->isDirectory = S_ISDIR(stx.stx_mode);
}
#else
void fill(const struct stat& st, LogFileStat* result)
{
    *result = LogFileStat{};
    result->size = std::uint64_t(st.st_size);
#if defined(__APPLE__)
    result->birthTime = timePoint(st.st_birthtimespec.tv_sec, st.st_birthtimespec.tv_nsec);
    result->modificationTime = timePoint(st.st_mtimespec.tv_sec, st.st_mtimespec.tv_nsec);
#else
    result->modificationTime = timePoint(st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
#endif
    result->linkCount = std::uint64_t(st.st_nlink);
    result->device = std::uint64_t(st.st_dev);
    result->inode = std::uint64_t(st.st_ino);
    result->isRegularFile = S_ISREG(st.st_mode);
    result->isDirectory = S_ISDIR(st.st_mode);
}
#endif

} // namespace

std::chrono::system_clock::time_point logging_detail::timeSinceEpoch(std::int64_t seconds,
                                                                     std::int64_t nanoseconds)
{
    using namespace std::chrono;
    constexpr std::int64_t limit = std::int64_t(1) << 62; // nanoseconds
    constexpr std::int64_t limitSeconds = limit / 1000000000;
    std::int64_t total;
    if (seconds >= limitSeconds)
        total = limit;
    else if (seconds <= -limitSeconds)
        total = -limit;
    else
        total = std::clamp(seconds * 1000000000 + nanoseconds % 1000000000, -limit, limit);
    return system_clock::time_point(duration_cast<system_clock::duration>(std::chrono::nanoseconds(total)));
}

void logging_detail::reportToStandardError(const std::string& text)
{
    std::string line = text;
    line += '\n';
    const char* data = line.data();
    std::size_t left = line.size();
    while (left > 0) {
        const ssize_t written = ::write(STDERR_FILENO, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        data += written;
        left -= std::size_t(written);
    }
}

std::string logging_detail::errorText(int error)
{
    char buffer[256];
    // GNU strerror_r may return a static string instead of filling the buffer.
#if defined(__GLIBC__) && defined(_GNU_SOURCE)
    return ::strerror_r(error, buffer, sizeof buffer);
#else
    if (::strerror_r(error, buffer, sizeof buffer) != 0)
        return "error " + std::to_string(error);
    return buffer;
#endif
}

std::shared_ptr<LogFileSystem> LogFileSystem::standard()
{
    // Never destroyed: file loggers may still write through it while the process exits.
    static const auto* const instance = new std::shared_ptr<LogFileSystem>(std::make_shared<LogFileSystem>());
    return *instance;
}

LogFileSystem::Clock::time_point LogFileSystem::now() const
{
    return Clock::now();
}

int LogFileSystem::open(const std::string& path, int flags, mode_t mode)
{
    int fd;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

ssize_t LogFileSystem::read(int fd, void* data, std::size_t size)
{
    return ::read(fd, data, size);
}

ssize_t LogFileSystem::write(int fd, const void* data, std::size_t size)
{
    return ::write(fd, data, size);
}

int LogFileSystem::fsync(int fd)
{
    return ::fsync(fd);
}

int LogFileSystem::close(int fd)
{
    return ::close(fd);
}

off_t LogFileSystem::seekToEnd(int fd)
{
    return ::lseek(fd, 0, SEEK_END);
}

int LogFileSystem::truncate(int fd, off_t size)
{
    return ::ftruncate(fd, size);
}

int LogFileSystem::rename(const std::string& from, const std::string& to)
{
    return ::rename(from.c_str(), to.c_str());
}

int LogFileSystem::unlink(const std::string& path)
{
    return ::unlink(path.c_str());
}

int LogFileSystem::stat(const std::string& path, LogFileStat* result)
{
#if defined(__linux__)
    struct statx stx;
    if (::statx(AT_FDCWD, path.c_str(), AT_STATX_SYNC_AS_STAT, STATX_BASIC_STATS | STATX_BTIME, &stx) != 0)
        return -1;
    fill(stx, result);
#else
    struct stat st;
    if (::stat(path.c_str(), &st) != 0)
        return -1;
    fill(st, result);
#endif
    return 0;
}

int LogFileSystem::fstat(int fd, LogFileStat* result)
{
#if defined(__linux__)
    struct statx stx;
    if (::statx(fd, "", AT_EMPTY_PATH | AT_STATX_SYNC_AS_STAT, STATX_BASIC_STATS | STATX_BTIME, &stx) != 0)
        return -1;
    fill(stx, result);
#else
    struct stat st;
    if (::fstat(fd, &st) != 0)
        return -1;
    fill(st, result);
#endif
    return 0;
}

int LogFileSystem::setXattr(const std::string& path, const std::string& name, const std::string& value)
{
#if defined(__APPLE__)
    return ::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0, 0);
#else
    return ::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0);
#endif
}

int LogFileSystem::getXattr(const std::string& path, const std::string& name, std::string* value)
{
    for (int attempt = 0; attempt < 4; ++attempt) {
#if defined(__APPLE__)
        const ssize_t size = ::getxattr(path.c_str(), name.c_str(), nullptr, 0, 0, 0);
#else
        const ssize_t size = ::getxattr(path.c_str(), name.c_str(), nullptr, 0);
#endif
        if (size < 0)
            return -1;
        std::string buffer(std::size_t(size), '\0');
#if defined(__APPLE__)
        const ssize_t read = ::getxattr(path.c_str(), name.c_str(), buffer.data(), buffer.size(), 0, 0);
#else
        const ssize_t read = ::getxattr(path.c_str(), name.c_str(), buffer.data(), buffer.size());
#endif
        if (read >= 0) {
            buffer.resize(std::size_t(read));
            if (value)
                *value = std::move(buffer);
            return 0;
        }
        // The value grew between the two calls: ask again.
        if (errno != ERANGE)
            return -1;
    }
    return -1;
}

int LogFileSystem::removeXattr(const std::string& path, const std::string& name)
{
#if defined(__APPLE__)
    return ::removexattr(path.c_str(), name.c_str(), 0);
#else
    return ::removexattr(path.c_str(), name.c_str());
#endif
}

int LogFileSystem::listDirectory(const std::string& path, std::vector<std::string>* names)
{
    DIR* dir = ::opendir(path.c_str());
    if (!dir)
        return -1;
    names->clear();
    errno = 0;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names->push_back(name);
    }
    const int readError = errno;
    ::closedir(dir);
    if (readError != 0) {
        errno = readError;
        return -1;
    }
    return 0;
}

int LogFileSystem::createDirectories(const std::string& path, mode_t mode)
{
    if (path.empty()) {
        errno = ENOENT;
        return -1;
    }
    // Walk down from the root, creating what is missing; a folder made by someone else in the
    // meantime is fine.
    std::size_t position = 0;
    while (position != std::string::npos) {
        position = path.find('/', position + 1);
        const std::string prefix = path.substr(0, position);
        if (prefix.empty() || prefix == "/")
            continue;
        if (::mkdir(prefix.c_str(), mode) != 0 && errno != EEXIST)
            return -1;
    }
    struct stat st;
    if (::stat(path.c_str(), &st) != 0)
        return -1;
    if (!S_ISDIR(st.st_mode)) {
        errno = ENOTDIR;
        return -1;
    }
    return 0;
}

} // namespace iconfoundry
