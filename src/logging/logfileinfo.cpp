#include "logfileinfo.h"

#include "logfilemanagerdefault.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace iconfoundry {

namespace {

#if defined(__APPLE__)
constexpr int kNoAttribute = ENOATTR;
#else
constexpr int kNoAttribute = ENODATA;
#endif

bool isUnsupported(int error)
{
    return error == ENOTSUP || error == EOPNOTSUPP;
}

std::string folderOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

std::string lastComponent(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Writes value to path through a temporary file in the same folder, so a reader sees the old
// sidecar or the new one, never a part of one. errno tells why it failed.
bool writeAtomically(LogFileSystem& fs, const std::string& path, const std::string& value)
{
    static std::atomic<unsigned> counter{0};
    const std::string temporary =
        path + ".tmp." + std::to_string(::getpid()) + "." + std::to_string(counter.fetch_add(1));
    const int fd = fs.open(temporary, O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (fd < 0)
        return false;
    bool ok = true;
    std::size_t done = 0;
    while (ok && done < value.size()) {
        const ssize_t written = fs.write(fd, value.data() + done, value.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            if (written == 0)
                errno = EIO;
            ok = false;
        } else {
            done += std::size_t(written);
        }
    }
    if (ok && fs.fsync(fd) != 0)
        ok = false;
    int error = ok ? 0 : errno;
    if (fs.close(fd) != 0 && ok) {
        ok = false;
        error = errno;
    }
    if (ok && fs.rename(temporary, path) != 0) {
        ok = false;
        error = errno;
    }
    if (!ok) {
        fs.unlink(temporary);
        errno = error;
    }
    return ok;
}

std::optional<std::string> readSmallFile(LogFileSystem& fs, const std::string& path)
{
    const int fd = fs.open(path, O_RDONLY, 0);
    if (fd < 0)
        return std::nullopt;
    std::string content;
    char buffer[256];
    for (;;) {
        const ssize_t got = fs.read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            fs.close(fd);
            return std::nullopt;
        }
        if (got == 0)
            break;
        content.append(buffer, std::size_t(got));
        // Sidecars hold a few bytes; anything large is not one of ours.
        if (content.size() > 4096) {
            fs.close(fd);
            return std::nullopt;
        }
    }
    fs.close(fd);
    return content;
}

const char* const kSidecarAttributes[] = {LogFileInfo::kArchivedAttributeName,
                                          LogFileInfo::kCreatedAttributeName};

std::string formatTime(const std::optional<LogFileInfo::Clock::time_point>& time)
{
    if (!time)
        return "(unknown)";
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(time->time_since_epoch()).count();
    return std::to_string(ns) + " ns";
}

} // namespace

std::shared_ptr<LogFileInfo> LogFileInfo::logFileWithPath(const std::string& filePath,
                                                          std::shared_ptr<LogFileSystem> fileSystem)
{
    return std::make_shared<LogFileInfo>(filePath, std::move(fileSystem));
}

LogFileInfo::LogFileInfo(std::string filePath, std::shared_ptr<LogFileSystem> fileSystem)
    : filePath_(std::move(filePath)),
      fileSystem_(fileSystem ? std::move(fileSystem) : LogFileSystem::standard())
{
}

const std::string& LogFileInfo::fileName()
{
    if (!fileName_)
        fileName_ = lastComponent(filePath_);
    return *fileName_;
}

const std::optional<LogFileStat>& LogFileInfo::fileAttributes()
{
    if (!attributesRead_) {
        LogFileStat st;
        if (fileSystem_->stat(filePath_, &st) == 0)
            fileAttributes_ = st;
        else
            fileAttributes_.reset();
        attributesRead_ = true;
    }
    return fileAttributes_;
}

std::optional<LogFileInfo::Clock::time_point> LogFileInfo::creationDate()
{
    if (creationDateRead_)
        return creationDate_;
    creationDateRead_ = true;
    creationDate_.reset();
    const auto& attributes = fileAttributes();
    if (attributes && attributes->birthTime) {
        creationDate_ = attributes->birthTime;
        return creationDate_;
    }
    if (const auto stored = extendedAttributeValue(kCreatedAttributeName)) {
        long long nanoseconds = 0;
        const char* end = stored->data() + stored->size();
        const auto parsed = std::from_chars(stored->data(), end, nanoseconds);
        if (parsed.ec == std::errc() && parsed.ptr == end && !stored->empty()) {
            creationDate_ =
                logging_detail::timeSinceEpoch(nanoseconds / 1000000000, nanoseconds % 1000000000);
            return creationDate_;
        }
    }
    if (const auto named = dateFromFileName(fileName())) {
        creationDate_ = named;
        return creationDate_;
    }
    if (attributes)
        creationDate_ = attributes->modificationTime;
    return creationDate_;
}

std::optional<LogFileInfo::Clock::time_point> LogFileInfo::modificationDate()
{
    const auto& attributes = fileAttributes();
    if (!attributes)
        return std::nullopt;
    return attributes->modificationTime;
}

std::uint64_t LogFileInfo::fileSize()
{
    if (fileSize_ && *fileSize_ != 0)
        return *fileSize_;
    // A size of 0 is read again: the file may have been written to since.
    if (fileSize_)
        attributesRead_ = false;
    const auto& attributes = fileAttributes();
    fileSize_ = attributes ? attributes->size : 0;
    return *fileSize_;
}

double LogFileInfo::age()
{
    const auto created = creationDate();
    if (!created)
        return 0;
    return std::chrono::duration<double>(fileSystem_->now() - *created).count();
}

bool LogFileInfo::isArchived()
{
    return hasExtendedAttributeWithName(kArchivedAttributeName);
}

void LogFileInfo::setIsArchived(bool archived)
{
    if (archived)
        addExtendedAttributeWithName(kArchivedAttributeName);
    else
        removeExtendedAttributeWithName(kArchivedAttributeName);
}

void LogFileInfo::renameFile(const std::string& newFileName)
{
    if (newFileName == fileName())
        return;
    const std::string newPath = folderOf(filePath_) + "/" + newFileName;
    LogFileStat existing;
    if (fileSystem_->stat(newPath, &existing) == 0 && fileSystem_->unlink(newPath) != 0) {
        logging_detail::reportToStandardError("LogFileInfo: Error deleting archive (" + newPath +
                                              "): " + logging_detail::errorText(errno));
    }
    if (fileSystem_->rename(filePath_, newPath) != 0) {
        logging_detail::reportToStandardError("LogFileInfo: Error renaming file (" + filePath_ +
                                              "): " + logging_detail::errorText(errno));
    } else {
        // Attributes kept in sidecars follow the file.
        LogFileInfo::removeSidecars(*fileSystem_, newPath);
        for (const char* attribute : kSidecarAttributes) {
            const std::string from = sidecarPath(filePath_, attribute);
            LogFileStat st;
            if (fileSystem_->stat(from, &st) == 0)
                fileSystem_->rename(from, sidecarPath(newPath, attribute));
        }
    }
    filePath_ = newPath;
    reset();
}

bool LogFileInfo::hasExtendedAttributeWithName(const std::string& name)
{
    std::string value;
    if (fileSystem_->getXattr(filePath_, name, &value) == 0)
        return true;
    LogFileStat st;
    return fileSystem_->stat(sidecarPath(filePath_, name), &st) == 0;
}

bool LogFileInfo::addExtendedAttributeWithName(const std::string& name, const std::string& value)
{
    if (fileSystem_->setXattr(filePath_, name, value) == 0)
        return true;
    int error = errno;
    if (isUnsupported(error)) {
        // Only a file that exists gets a sidecar; the mark would otherwise land on a later file
        // that happens to get the same name.
        LogFileStat st;
        if (fileSystem_->stat(filePath_, &st) != 0) {
            error = errno;
        } else {
            const std::string sidecar = sidecarPath(filePath_, name);
            if (fileSystem_->createDirectories(folderOf(sidecar)) == 0 &&
                writeAtomically(*fileSystem_, sidecar, value))
                return true;
            error = errno;
        }
    }
    logging_detail::reportToStandardError("LogFileInfo: setxattr(" + name + ", " + filePath_ +
                                          "): error = " + logging_detail::errorText(error));
    return false;
}

bool LogFileInfo::removeExtendedAttributeWithName(const std::string& name)
{
    bool ok = true;
    if (fileSystem_->removeXattr(filePath_, name) != 0) {
        const int error = errno;
        if (error != kNoAttribute && !isUnsupported(error)) {
            logging_detail::reportToStandardError("LogFileInfo: removexattr(" + name + ", " + filePath_ +
                                                  "): error = " + logging_detail::errorText(error));
            ok = false;
        }
    }
    if (fileSystem_->unlink(sidecarPath(filePath_, name)) != 0 && errno != ENOENT && errno != ENOTDIR) {
        const int error = errno;
        logging_detail::reportToStandardError("LogFileInfo: removexattr(" + name + ", " + filePath_ +
                                              "): error = " + logging_detail::errorText(error));
        ok = false;
    }
    return ok;
}

std::optional<std::string> LogFileInfo::extendedAttributeValue(const std::string& name)
{
    std::string value;
    if (fileSystem_->getXattr(filePath_, name, &value) == 0)
        return value;
    return readSmallFile(*fileSystem_, sidecarPath(filePath_, name));
}

void LogFileInfo::reset()
{
    fileName_.reset();
    attributesRead_ = false;
    fileAttributes_.reset();
    creationDateRead_ = false;
    creationDate_.reset();
    fileSize_.reset();
}

namespace {

// Later dates first; a file without a date sorts last.
int reverseCompareDates(std::optional<LogFileInfo::Clock::time_point> mine,
                        std::optional<LogFileInfo::Clock::time_point> theirs)
{
    const auto a = mine.value_or(LogFileInfo::Clock::time_point::min());
    const auto b = theirs.value_or(LogFileInfo::Clock::time_point::min());
    return a > b ? -1 : (a < b ? 1 : 0);
}

} // namespace

int LogFileInfo::reverseCompareByCreationDate(LogFileInfo& other)
{
    return reverseCompareDates(creationDate(), other.creationDate());
}

int LogFileInfo::reverseCompareByModificationDate(LogFileInfo& other)
{
    return reverseCompareDates(modificationDate(), other.modificationDate());
}

std::string LogFileInfo::description()
{
    return "<LogFileInfo: filePath: " + filePath_ + ", fileName: " + fileName() +
           ", creationDate: " + formatTime(creationDate()) +
           ", modificationDate: " + formatTime(modificationDate()) +
           ", fileSize: " + std::to_string(fileSize()) + ", age: " + std::to_string(age()) +
           ", isArchived: " + (isArchived() ? "yes" : "no") + ">";
}

std::string LogFileInfo::sidecarPath(const std::string& filePath, const std::string& attributeName)
{
    return folderOf(filePath) + "/" + kSidecarFolderName + "/" + lastComponent(filePath) + "#" +
           attributeName;
}

void LogFileInfo::removeSidecars(LogFileSystem& fileSystem, const std::string& filePath)
{
    for (const char* attribute : kSidecarAttributes)
        fileSystem.unlink(sidecarPath(filePath, attribute));
}

std::optional<LogFileInfo::Clock::time_point> LogFileInfo::dateFromFileName(const std::string& fileName)
{
    constexpr std::string_view extension = ".log";
    constexpr std::size_t dateLength = 16; // "yyyy-MM-dd HH-mm"
    if (fileName.size() < extension.size() ||
        fileName.compare(fileName.size() - extension.size(), extension.size(), extension) != 0)
        return std::nullopt;
    const std::string stem = fileName.substr(0, fileName.size() - extension.size());
    const auto dateAtEnd = [](const std::string& text) -> std::optional<Clock::time_point> {
        if (text.size() < dateLength + 1 || text[text.size() - dateLength - 1] != ' ')
            return std::nullopt;
        return LogFileManagerDefault::parseLogFileDate(text.substr(text.size() - dateLength));
    };
    if (const auto date = dateAtEnd(stem))
        return date;
    // "... 14-07 2.log": the last piece is the clash counter.
    const auto blank = stem.rfind(' ');
    if (blank == std::string::npos)
        return std::nullopt;
    return dateAtEnd(stem.substr(0, blank));
}

} // namespace iconfoundry
