#pragma once

#include <string>

namespace iconfoundry {

// Writes a report of a crash of this process into a folder, so that the next launch can offer it
// to the user.
//
// A report is written for SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT, and (through the SIGABRT
// they end in) for std::terminate and Qt's fatal messages, whose text it carries as the reason.
// The handler then passes the signal on to the handler that was installed before it (the logging
// core's flush), so the process still dies the way it would have.
//
// Inside the handler only async-signal-safe calls are made: the folder, file name prefix and
// version line are prepared at installation, the stack is walked by a backtrace() that was
// warmed up at installation, and the module map is copied from /proc/self/maps with read() and
// write(). Names are resolved at the next launch (CrashReport), never in the dying process.
//
// A report is "crash-<seconds since 1970>-<pid>.crash", written under a hidden temporary name
// and renamed when complete, so a reader never sees half a report.
class CrashHandler
{
public:
    // Installs the handlers (once; a second call only changes the folder). Install after the
    // logging core's own fatal-signal flush, so that its flush runs after the report is written.
    static void install(const std::string& reportsDirectory, const std::string& versionLine);

    // The default folder: "CrashReports" beside the log folder, in the user's state folder.
    static std::string defaultReportsDirectory();

    // Kinds of deliberate crash for testing the whole path: "segv", "abort", "terminate",
    // "qfatal". Anything else does nothing and returns.
    static void crashDeliberately(const std::string& kind);
};

} // namespace iconfoundry
