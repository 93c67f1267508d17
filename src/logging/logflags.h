#pragma once

namespace iconfoundry {

// Flags mark one message; levels are masks of admitted flags. A message passes a gate when
// (flag & level) != 0.
enum LogFlag : unsigned
{
    LogFlagError = 1u << 0,
    LogFlagWarning = 1u << 1,
    LogFlagInfo = 1u << 2,
    LogFlagDebug = 1u << 3,
    LogFlagVerbose = 1u << 4,
};

enum LogLevel : unsigned
{
    LogLevelOff = 0,
    LogLevelError = LogFlagError,
    LogLevelWarning = LogLevelError | LogFlagWarning,
    LogLevelInfo = LogLevelWarning | LogFlagInfo,
    LogLevelDebug = LogLevelInfo | LogFlagDebug,
    LogLevelVerbose = LogLevelDebug | LogFlagVerbose,
    LogLevelAll = ~0u,
};

// One level for the whole program: nothing is filtered at the source.
inline constexpr unsigned kProgramLogLevel = LogLevelVerbose;

} // namespace iconfoundry
