#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace iconfoundry {

namespace logging_detail {
struct DispatcherAccess;
}

// One log statement, immutable after construction. Copying duplicates every field.
class LogMessage
{
public:
    using Clock = std::chrono::system_clock;

    enum Option : int
    {
        CopyFile = 1,
        CopyFunction = 2
    };

    LogMessage(std::string message, unsigned level, unsigned flag, long context, std::string file,
               std::string function, unsigned line, const void* tag = nullptr, int options = 0,
               std::optional<Clock::time_point> timestamp = std::nullopt);

    const std::string& message() const { return message_; }
    unsigned level() const { return level_; }
    unsigned flag() const { return flag_; }
    long context() const { return context_; }
    const std::string& file() const { return file_; }
    // Last path component of file() without its extension (from the last dot).
    const std::string& fileName() const { return fileName_; }
    const std::string& function() const { return function_; }
    unsigned line() const { return line_; }
    const void* tag() const { return tag_; }
    int options() const { return options_; }
    Clock::time_point timestamp() const { return timestamp_; }
    // The kernel thread id of the creating thread, in decimal.
    const std::string& threadID() const { return threadID_; }
    const std::string& threadName() const { return threadName_; }
    // Label of the DispatchQueue the record was created on, empty elsewhere.
    const std::string& queueLabel() const { return queueLabel_; }

    static std::string fileNameFromPath(const std::string& path);

    // A record of a LOG_* statement. prettyFunction is the compiler's __PRETTY_FUNCTION__ and
    // lives as long as the program: the record keeps only the pointer, and the dispatcher fills
    // in function() from it, once per function, on the logging queue before any logger sees it.
    static LogMessage fromStatement(std::string message, unsigned level, unsigned flag, std::string file,
                                    const char* prettyFunction, unsigned line);
    // The compiler's full name of the statement's function, for records made by fromStatement().
    const char* prettyFunction() const { return prettyFunction_; }

private:
    friend struct logging_detail::DispatcherAccess;

    std::string message_;
    unsigned level_;
    unsigned flag_;
    long context_;
    std::string file_;
    std::string fileName_;
    std::string function_;
    unsigned line_;
    const void* tag_;
    int options_;
    Clock::time_point timestamp_;
    std::string threadID_;
    std::string threadName_;
    std::string queueLabel_;
    const char* prettyFunction_ = nullptr;
};

namespace logging_detail {
// The dispatcher's one change to a record: the short function name, before delivery.
struct DispatcherAccess
{
    static void setFunction(LogMessage& message, const std::string& function)
    {
        message.function_ = function;
    }
};
} // namespace logging_detail

} // namespace iconfoundry
