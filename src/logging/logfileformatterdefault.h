#pragma once

#include "logger.h"
#include "logmessage.h"

#include <functional>
#include <optional>
#include <string>

namespace iconfoundry {

// The file logger's line: the message's timestamp as "yyyy/MM/dd HH:mm:ss:SSS" in local time, two
// blanks, the message text. The logger appends the line feed.
//
// The default date text comes from localtime_r and strftime plus the milliseconds (truncated, not
// rounded), which are safe on any thread; so unlike date-formatter objects nothing has to be cached
// per thread. A given date formatter is used as it is, and must itself be thread-safe if the
// formatter is shared between loggers.
class LogFileFormatterDefault : public LogFormatter
{
public:
    using DateFormatter = std::function<std::string(LogMessage::Clock::time_point)>;

    LogFileFormatterDefault();
    explicit LogFileFormatterDefault(DateFormatter dateFormatter);

    std::optional<std::string> formatLogMessage(const LogMessage& message) override;

    // "yyyy/MM/dd HH:mm:ss:SSS" in the local time zone.
    static std::string defaultDateText(LogMessage::Clock::time_point time);

private:
    DateFormatter dateFormatter_;
};

} // namespace iconfoundry
