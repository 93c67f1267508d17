#include "logfileformatterdefault.h"

#include <cstdio>
#include <ctime>

namespace iconfoundry {

LogFileFormatterDefault::LogFileFormatterDefault() : dateFormatter_(&LogFileFormatterDefault::defaultDateText)
{
}

LogFileFormatterDefault::LogFileFormatterDefault(DateFormatter dateFormatter)
    : dateFormatter_(dateFormatter ? std::move(dateFormatter) : DateFormatter(&defaultDateText))
{
}

std::optional<std::string> LogFileFormatterDefault::formatLogMessage(const LogMessage& message)
{
    std::string line = dateFormatter_(message.timestamp());
    line += "  ";
    line += message.message();
    return line;
}

std::string LogFileFormatterDefault::defaultDateText(LogMessage::Clock::time_point time)
{
    using namespace std::chrono;
    // floor, so times before 1970 still get their milliseconds counted forward from the second.
    const auto wholeSeconds = floor<seconds>(time);
    const auto milliseconds = duration_cast<std::chrono::milliseconds>(time - wholeSeconds).count();
    const std::time_t t = static_cast<std::time_t>(wholeSeconds.time_since_epoch().count());
    std::tm local{};
    if (!::localtime_r(&t, &local))
        return "0000/00/00 00:00:00:000";
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d/%02d/%02d %02d:%02d:%02d:%03d", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(milliseconds));
    return buffer;
}

} // namespace iconfoundry
