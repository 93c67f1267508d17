#pragma once

#include "abstractlogger.h"

#include <memory>

namespace iconfoundry {

// Sends each message to the system log: the systemd journal where it is available, syslog(3)
// otherwise. There is one instance per process (sharedInstance()); it cannot be constructed
// otherwise. Messages whose file name is "SystemLogCapture" came from the system log in the first
// place and are not sent back. Runs on its own queue only, so it holds no locks.
class SystemLogger : public AbstractLogger
{
public:
    static std::shared_ptr<SystemLogger> sharedInstance();
    ~SystemLogger() override;

    void logMessage(const LogMessage& message) override;

    // Error 2 (critical), Warning 3 (error), Info 4 (warning), any other flag 5 (notice).
    static int priorityForFlag(unsigned flag);

private:
    SystemLogger();
};

} // namespace iconfoundry
