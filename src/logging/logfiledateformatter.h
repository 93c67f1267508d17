#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace iconfoundry {

// The date in log file names, "yyyy-MM-dd HH-mm" in UTC whatever the local zone, and its strict
// inverse. LogFileManagerDefault::logFileDateFormatter() hands out one per thread.
class LogFileDateFormatter
{
public:
    using Clock = std::chrono::system_clock;

    // The pattern, in the notation of date-format patterns.
    static constexpr const char* kDateFormat = "yyyy'-'MM'-'dd' 'HH'-'mm'";

    std::string stringFromDate(Clock::time_point time) const;
    // Only exactly "yyyy-MM-dd HH-mm" with every field in range.
    std::optional<Clock::time_point> dateFromString(const std::string& text) const;
};

} // namespace iconfoundry
