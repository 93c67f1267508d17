#pragma once

namespace iconfoundry {

// The headless front end: `iconfoundry list`, `--help`, `--version` (and `generate`, which lives
// in its own file). Output goes to standard output, errors to standard error; nothing here needs
// a display.
//
// Exit codes: 0 success, 1 the command failed (e.g. an empty catalogue), 2 bad usage.

// True when argv names a command-line command (first argument "list", "generate", "--help",
// "-h" or "--version"); otherwise the window application starts.
bool isCommandLineInvocation(int argc, char** argv);

// Creates the QCoreApplication and runs the command named by the first argument.
int runCommandLine(int argc, char** argv);

} // namespace iconfoundry
