#include "systemlogger.h"

#include "logflags.h"
#include "logmessage.h"

#include <string>
#include <unistd.h>

#ifdef ICONFOUNDRY_HAVE_JOURNAL
// The source location of the statement is in the message; the journal's own would name this file.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>
#else
#include <syslog.h>
#endif

namespace iconfoundry {

namespace {
const char* processName()
{
    const char* name = program_invocation_short_name;
    return name && *name ? name : "<UnnamedApp>";
}
} // namespace

std::shared_ptr<SystemLogger> SystemLogger::sharedInstance()
{
    // Not make_shared: the constructor is private so that no second instance can exist.
    // Never destroyed: threads may still log through it while the process exits.
    static const auto* const instance = new std::shared_ptr<SystemLogger>(new SystemLogger);
    return *instance;
}

SystemLogger::SystemLogger() : AbstractLogger("gludisko.aslLogger")
{
#ifndef ICONFOUNDRY_HAVE_JOURNAL
    openlog(processName(), LOG_PID, LOG_USER);
#endif
}

SystemLogger::~SystemLogger()
{
#ifndef ICONFOUNDRY_HAVE_JOURNAL
    closelog();
#endif
}

int SystemLogger::priorityForFlag(unsigned flag)
{
    switch (flag) {
    case LogFlagError:
        return 2;
    case LogFlagWarning:
        return 3;
    case LogFlagInfo:
        return 4;
    default:
        return 5;
    }
}

void SystemLogger::logMessage(const LogMessage& message)
{
    if (message.fileName() == "SystemLogCapture")
        return;
    std::string text;
    if (formatter_) {
        auto formatted = formatter_->formatLogMessage(message);
        if (!formatted)
            return;
        text = std::move(*formatted);
    } else {
        text = message.message();
    }
    const int priority = priorityForFlag(message.flag());
#ifdef ICONFOUNDRY_HAVE_JOURNAL
    // READUID keeps the record to this user; APPLOG marks the records this program sent.
    sd_journal_send("MESSAGE=%s", text.c_str(), "PRIORITY=%d", priority, "LEVEL=%d", priority, "READUID=%u",
                    static_cast<unsigned>(::geteuid()), "APPLOG=1", "SYSLOG_IDENTIFIER=%s", processName(),
                    nullptr);
#else
    syslog(priority, "%s", text.c_str());
#endif
}

} // namespace iconfoundry
