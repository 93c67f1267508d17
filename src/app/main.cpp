#include "app/cli.h"
#include "app/windowmain.h"
#include "logging/log.h"

#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QString>
#include <cstdio>
#include <cstdlib>
#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using namespace iconfoundry;

namespace {

// Ends the process once a command is done. Its output and the log are flushed first; what is
// skipped is the teardown of the libraries' global objects and the freeing of memory that the
// kernel takes back anyway, a few milliseconds of a job that may take a hundred. Sanitizer builds
// exit normally, so that leaks are still looked for.
[[noreturn]] void exitAfterCommand(int code)
{
#if defined(__SANITIZE_ADDRESS__) || !defined(Q_OS_UNIX)
    std::exit(code);
#else
    Log::flushLog();
    std::fflush(nullptr);
    _exit(code);
#endif
}

// The window module: the file the environment names, else lib/iconfoundry beside the folder of
// the running executable (the same in the build tree and an installed tree). No application
// object exists yet to ask for that folder.
QString windowModulePath(const char* argv0)
{
    const QString chosen = qEnvironmentVariable(WindowModule::pathVariable);
    if (!chosen.isEmpty())
        return chosen;
    QString executable = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    if (executable.isEmpty())
        executable = QFileInfo(QString::fromLocal8Bit(argv0)).absoluteFilePath();
    return QDir::cleanPath(QFileInfo(executable).absolutePath() + QStringLiteral("/../lib/iconfoundry/") +
                           QLatin1String(WindowModule::fileName));
}

// Loads the window module and runs the application in it. Every symbol is resolved at load, so a
// module that does not fit this executable fails here with the loader's message; its symbols are
// made global for the announcement windows, which it loads in turn and which use its code.
int runWindowApplication(int argc, char** argv)
{
    QLibrary module(windowModulePath(argv[0]));
    module.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::ExportExternalSymbolsHint);
    const auto run = reinterpret_cast<WindowModule::Run>(module.resolve(WindowModule::runFunctionName));
    if (!run) {
        std::fprintf(stderr, "iconfoundry: cannot load the windows: %s\n", qPrintable(module.errorString()));
        return 1;
    }
    return run(argc, argv);
}

} // namespace

int main(int argc, char** argv)
{
    if (isCommandLineInvocation(argc, argv))
        exitAfterCommand(runCommandLine(argc, argv));
    // Qt aborts when it finds no display; say so in one line instead.
    if (const QString reason = missingDisplayReason(argc, argv); !reason.isEmpty()) {
        std::fprintf(stderr, "iconfoundry: %s\n", qPrintable(reason));
        return 1;
    }
    return runWindowApplication(argc, argv);
}
