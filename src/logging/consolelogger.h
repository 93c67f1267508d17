#pragma once

#include "abstractlogger.h"

#include <memory>
#include <string>

namespace iconfoundry {

// Writes each message to standard error as one line, with a single gathered write so that lines
// from several processes or threads never interleave mid-line.
//
// Without a formatter a line is
//   "2024-05-01 13:45:07:123 iconfoundry[4711:4712] text"
// (local time with milliseconds, process name, process id, the first 8 characters of the thread
// id); with a formatter it is the formatter's text alone. Like every logger it is driven on its
// own queue only, so it holds no locks.
class ConsoleLogger : public AbstractLogger
{
public:
    // The instance the application registers.
    static std::shared_ptr<ConsoleLogger> sharedInstance();

    // A console logger on another descriptor (tests write into a pipe). The descriptor is not
    // owned and must outlive the logger.
    explicit ConsoleLogger(int fd);

    void logMessage(const LogMessage& message) override;

    // Colours are never enabled by this application; kept for the line format's sake.
    bool colorsEnabled() const { return colorsEnabled_; }
    bool automaticallyAppendNewlineForCustomFormatters() const
    {
        return automaticallyAppendNewlineForCustomFormatters_;
    }
    void setAutomaticallyAppendNewlineForCustomFormatters(bool append)
    {
        automaticallyAppendNewlineForCustomFormatters_ = append;
    }

private:
    int fd_;
    std::string processName_;
    std::string processID_;
    bool colorsEnabled_ = false;
    bool automaticallyAppendNewlineForCustomFormatters_ = true;
};

} // namespace iconfoundry
