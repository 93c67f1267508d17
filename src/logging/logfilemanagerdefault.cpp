#include "logfilemanagerdefault.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <pwd.h>
#include <string_view>
#include <unistd.h>

namespace iconfoundry {

namespace {

// Set once at start-up and read by every logger thread, also while the process exits: a name,
// once published, is never freed or changed in place, so no reader can see it torn or destroyed.
std::atomic<const std::string*> applicationNameValue{nullptr};

std::string processName()
{
#if defined(__APPLE__)
    const char* name = ::getprogname();
#elif defined(__GLIBC__)
    const char* name = program_invocation_short_name;
#else
    const char* name = nullptr;
#endif
    return name ? std::string(name) : std::string();
}

std::string homeFolder()
{
    if (const char* home = std::getenv("HOME"); home && *home == '/')
        return home;
    struct passwd entry;
    struct passwd* result = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &result) == 0 && result && result->pw_dir &&
        result->pw_dir[0] == '/')
        return result->pw_dir;
    return {};
}

std::string temporaryFolder()
{
    if (const char* tmp = std::getenv("TMPDIR"); tmp && *tmp == '/')
        return tmp;
    return "/tmp";
}

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

bool isLeapYear(int year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysInMonth(int year, int month)
{
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

// The clash counter of a log file name, 1 for the first file of a minute; for ordering files whose
// creation dates are equal.
unsigned long clashCounter(const std::string& fileName)
{
    if (fileName.size() < 5)
        return 1;
    const std::string stem = fileName.substr(0, fileName.size() - 4);
    const auto blank = stem.rfind(' ');
    if (blank == std::string::npos || blank + 1 >= stem.size() || stem.size() - blank - 1 > 9 ||
        stem.find_first_not_of("0123456789", blank + 1) != std::string::npos)
        return 1;
    return std::stoul(stem.substr(blank + 1));
}

} // namespace

LogFileManagerDefault::LogFileManagerDefault(std::optional<std::string> logsDirectory,
                                             std::shared_ptr<LogFileSystem> fileSystem)
    : logsDirectory_(withoutTrailingSlashes(
          logsDirectory && !logsDirectory->empty() ? *logsDirectory : defaultLogsDirectory())),
      fileSystem_(fileSystem ? std::move(fileSystem) : LogFileSystem::standard())
{
}

std::string LogFileManagerDefault::defaultLogsDirectory()
{
    std::string name = processName();
    if (name.empty())
        name = "UnnamedApp";
    const std::string home = homeFolder();
#if defined(__APPLE__)
    if (home.empty())
        return temporaryFolder() + "/Logs/" + name;
    return home + "/Library/Logs/" + name;
#else
    std::string state;
    if (const char* xdg = std::getenv("XDG_STATE_HOME"); xdg && *xdg == '/')
        state = withoutTrailingSlashes(xdg);
    else if (!home.empty())
        state = home + "/.local/state";
    else
        state = temporaryFolder();
    return state + "/" + name + "/Logs";
#endif
}

std::string LogFileManagerDefault::logsDirectory()
{
    LogFileStat st;
    if (fileSystem_->stat(logsDirectory_, &st) == 0 && st.isDirectory)
        return logsDirectory_;
    if (fileSystem_->createDirectories(logsDirectory_) == 0) {
        directoryErrorReported_ = false;
    } else {
        const int error = errno;
        if (!directoryErrorReported_.exchange(true)) {
            logging_detail::reportToStandardError("LogFileManagerDefault: Error creating logsDirectory: " +
                                                  logsDirectory_ + ": " + logging_detail::errorText(error));
        }
    }
    return logsDirectory_;
}

bool LogFileManagerDefault::isLogFile(const std::string& fileName) const
{
    constexpr std::string_view extension = ".log";
    const std::string prefix = applicationName();
    if (fileName.size() < prefix.size() + extension.size())
        return false;
    if (fileName.compare(0, prefix.size(), prefix) != 0)
        return false;
    if (fileName.compare(fileName.size() - extension.size(), extension.size(), extension) != 0)
        return false;
    const std::string middle =
        fileName.substr(prefix.size(), fileName.size() - prefix.size() - extension.size());
    if (middle.size() < 17)
        return false;
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (;;) {
        const auto blank = middle.find(' ', start);
        pieces.push_back(
            middle.substr(start, blank == std::string::npos ? std::string::npos : blank - start));
        if (blank == std::string::npos)
            break;
        start = blank + 1;
    }
    // The first piece is what follows the prefix before the first blank: empty for our files, a
    // longer name's tail ("Pro") for another program whose name starts with ours.
    if ((pieces.size() != 3 && pieces.size() != 4) || !pieces[0].empty())
        return false;
    return logFileDateFormatter().dateFromString(pieces[1] + " " + pieces[2]).has_value();
}

std::vector<std::string> LogFileManagerDefault::unsortedLogFilePaths()
{
    const std::string folder = logsDirectory();
    std::vector<std::string> names;
    if (fileSystem_->listDirectory(folder, &names) != 0)
        return {};
    std::vector<std::string> paths;
    for (const auto& name : names) {
        if (!isLogFile(name))
            continue;
        // A folder or a device that happens to have a log file's name is not one.
        LogFileStat st;
        const std::string path = folder + "/" + name;
        if (fileSystem_->stat(path, &st) == 0 && st.isRegularFile)
            paths.push_back(path);
    }
    return paths;
}

std::vector<std::string> LogFileManagerDefault::unsortedLogFileNames()
{
    std::vector<std::string> names;
    for (const auto& path : unsortedLogFilePaths())
        names.push_back(path.substr(path.rfind('/') + 1));
    return names;
}

std::vector<std::shared_ptr<LogFileInfo>> LogFileManagerDefault::unsortedLogFileInfos()
{
    std::vector<std::shared_ptr<LogFileInfo>> infos;
    for (const auto& path : unsortedLogFilePaths())
        infos.push_back(LogFileInfo::logFileWithPath(path, fileSystem_));
    return infos;
}

std::vector<std::string> LogFileManagerDefault::sortedLogFilePaths()
{
    std::vector<std::string> paths;
    for (const auto& info : sortedLogFileInfos())
        paths.push_back(info->filePath());
    return paths;
}

std::vector<std::string> LogFileManagerDefault::sortedLogFileNames()
{
    std::vector<std::string> names;
    for (const auto& info : sortedLogFileInfos())
        names.push_back(info->fileName());
    return names;
}

std::vector<std::shared_ptr<LogFileInfo>> LogFileManagerDefault::sortedLogFileInfos()
{
    auto infos = unsortedLogFileInfos();
    // Creation dates can tie (coarse file-system clocks, or a minute-precision name as the only
    // source); then the later minute in the name and the higher clash counter are newer.
    std::stable_sort(infos.begin(), infos.end(), [](const auto& a, const auto& b) {
        const int byDate = a->reverseCompareByCreationDate(*b);
        if (byDate != 0)
            return byDate < 0;
        const auto nameDateA = LogFileInfo::dateFromFileName(a->fileName());
        const auto nameDateB = LogFileInfo::dateFromFileName(b->fileName());
        if (nameDateA != nameDateB)
            return nameDateA > nameDateB;
        const auto counterA = clashCounter(a->fileName());
        const auto counterB = clashCounter(b->fileName());
        if (counterA != counterB)
            return counterA > counterB;
        return a->fileName() > b->fileName();
    });
    return infos;
}

std::string LogFileManagerDefault::newLogFileName() const
{
    return applicationName() + " " + logFileDateFormatter().stringFromDate(fileSystem_->now()) + ".log";
}

std::optional<std::string> LogFileManagerDefault::createNewLogFile()
{
    const std::string folder = logsDirectory();
    const std::string firstName = newLogFileName();
    const std::string stem = firstName.substr(0, firstName.size() - 4);
    for (unsigned long counter = 1; counter < 1000000; ++counter) {
        const std::string name = counter == 1 ? firstName : stem + " " + std::to_string(counter) + ".log";
        const std::string path = folder + "/" + name;
        // O_EXCL makes "is the name free" and "take it" one step.
        const int fd = fileSystem_->open(path, O_WRONLY | O_CREAT | O_EXCL, 0644);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            return std::nullopt;
        }
        fileSystem_->close(fd);
        // Sidecars left behind by an earlier file of this name (deleted from outside) are stale.
        LogFileInfo::removeSidecars(*fileSystem_, path);
        LogFileStat st;
        if (fileSystem_->stat(path, &st) == 0 && !st.birthTime) {
            const auto created =
                std::chrono::duration_cast<std::chrono::nanoseconds>(fileSystem_->now().time_since_epoch())
                    .count();
            LogFileInfo(path, fileSystem_)
                .addExtendedAttributeWithName(LogFileInfo::kCreatedAttributeName, std::to_string(created));
        }
        deleteOldLogFiles();
        return path;
    }
    return std::nullopt;
}

void LogFileManagerDefault::deleteOldLogFiles()
{
    const auto infos = sortedLogFileInfos();
    const unsigned long maximumCount = maximumNumberOfLogFiles_;
    const std::uint64_t quota = logFilesDiskQuota_;

    std::optional<std::size_t> quotaIndex;
    if (quota > 0) {
        std::uint64_t total = 0;
        for (std::size_t i = 0; i < infos.size(); ++i) {
            total += infos[i]->fileSize();
            if (total > quota) {
                quotaIndex = i;
                break;
            }
        }
    }

    std::size_t firstToDelete;
    if (maximumCount > 0 && (!quotaIndex || *quotaIndex >= maximumCount)) {
        firstToDelete = maximumCount;
    } else if (!quotaIndex) {
        return;
    } else {
        firstToDelete = *quotaIndex;
        // The newest file alone over the quota is still kept while it is being written.
        if (firstToDelete == 0 && !infos.empty() && !infos[0]->isArchived())
            firstToDelete = 1;
    }

    for (std::size_t i = firstToDelete; i < infos.size(); ++i) {
        // Errors are ignored: the next new file tries again.
        fileSystem_->unlink(infos[i]->filePath());
        LogFileInfo::removeSidecars(*fileSystem_, infos[i]->filePath());
    }
}

std::string LogFileManagerDefault::applicationName()
{
    if (const std::string* name = applicationNameValue.load(std::memory_order_acquire))
        return *name;
    const std::string* computed = new std::string(processName());
    const std::string* expected = nullptr;
    if (!applicationNameValue.compare_exchange_strong(expected, computed, std::memory_order_acq_rel)) {
        delete computed; // another thread was first and nobody has seen ours
        return *expected;
    }
    return *computed;
}

void LogFileManagerDefault::setApplicationName(std::string name)
{
    // A replaced name stays allocated, and listed so that it does not count as a leak: a reader
    // may still be copying it.
    static auto* const replaced = new std::vector<const std::string*>;
    static auto* const replacedMutex = new std::mutex;
    const std::string* previous =
        applicationNameValue.exchange(new std::string(std::move(name)), std::memory_order_acq_rel);
    if (previous) {
        std::lock_guard lock(*replacedMutex);
        replaced->push_back(previous);
    }
}

const LogFileDateFormatter& LogFileManagerDefault::logFileDateFormatter()
{
    // Trivially destructible, so a thread that logs while the process exits still finds its own.
    thread_local const LogFileDateFormatter formatter;
    return formatter;
}

std::string LogFileManagerDefault::logFileDateString(Clock::time_point time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
    const std::time_t t = static_cast<std::time_t>(seconds);
    std::tm utc{};
    if (!::gmtime_r(&t, &utc))
        return "0000-00-00 00-00";
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d-%02d", utc.tm_year + 1900, utc.tm_mon + 1,
                  utc.tm_mday, utc.tm_hour, utc.tm_min);
    return buffer;
}

std::optional<LogFileManagerDefault::Clock::time_point>
LogFileManagerDefault::parseLogFileDate(const std::string& text)
{
    // Exactly "yyyy-MM-dd HH-mm", every field in range.
    static const char pattern[] = "dddd-dd-dd dd-dd";
    if (text.size() != sizeof pattern - 1)
        return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (pattern[i] == 'd' ? (text[i] < '0' || text[i] > '9') : text[i] != pattern[i])
            return std::nullopt;
    }
    const auto number = [&](std::size_t at, std::size_t length) {
        int value = 0;
        for (std::size_t i = at; i < at + length; ++i)
            value = value * 10 + (text[i] - '0');
        return value;
    };
    const int year = number(0, 4), month = number(5, 2), day = number(8, 2);
    const int hour = number(11, 2), minute = number(14, 2);
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 || minute > 59)
        return std::nullopt;
    std::tm utc{};
    utc.tm_year = year - 1900;
    utc.tm_mon = month - 1;
    utc.tm_mday = day;
    utc.tm_hour = hour;
    utc.tm_min = minute;
    return logging_detail::timeSinceEpoch(std::int64_t(::timegm(&utc)));
}

std::string LogFileDateFormatter::stringFromDate(Clock::time_point time) const
{
    return LogFileManagerDefault::logFileDateString(time);
}

std::optional<LogFileDateFormatter::Clock::time_point>
LogFileDateFormatter::dateFromString(const std::string& text) const
{
    return LogFileManagerDefault::parseLogFileDate(text);
}

} // namespace iconfoundry
