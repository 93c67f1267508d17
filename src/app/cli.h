#pragma once

#include <QString>

namespace iconfoundry {

// The headless front end: `iconfoundry list`, `--help`, `--version` (and `generate`, which lives
// in its own file). Output goes to standard output, errors to standard error; nothing here needs
// a display.
//
// Exit codes: 0 success, 1 the command failed (e.g. an empty catalogue), 2 bad usage.

// True when the first argument is for the command-line front end: a command ("list",
// "generate", "--help", "-h", "--version") or a word that can only be a mistyped one, which
// runCommandLine() refuses as bad usage. Anything that names a file (an existing one, or a name
// with a folder or an extension), an empty argument and options such as Qt's "-platform" start
// the window application instead.
bool isCommandLineInvocation(int argc, char** argv);

// The command `word` most likely stands for (case ignored, at most two letters added, dropped,
// changed or swapped), or an empty string when none is that close.
QString closestCommand(const QString& word);

// Empty when the window application can find a display; otherwise one line saying why not.
// Looks at the "-platform" argument and at QT_QPA_PLATFORM, WAYLAND_DISPLAY and DISPLAY, so
// that a missing display is reported before Qt would abort on it.
QString missingDisplayReason(int argc, char** argv);

// Creates the QCoreApplication and runs the command named by the first argument.
int runCommandLine(int argc, char** argv);

} // namespace iconfoundry
