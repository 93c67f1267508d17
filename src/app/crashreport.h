#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

namespace iconfoundry {

// A crash report written by CrashHandler, read back at a later launch, with its addresses turned
// into function names, source files and lines from the modules' symbol tables and debug
// information (through libdw). Reading works on any thread.
class CrashReport
{
public:
    struct Frame
    {
        quint64 address = 0;
        QString module;           // file name of the module, empty when the address is in none
        quint64 moduleOffset = 0; // address - where the module was loaded
        QString function;         // demangled; empty when no symbol covers the address
        QString sourceFile;       // empty without line information
        int sourceLine = 0;
    };

    // Parses the report at path; nullopt when it is not one (wrong first line, no frames).
    static std::optional<CrashReport> read(const QString& path);

    QString path;
    QString version;
    qint64 time = 0; // seconds since 1970, UTC
    qint64 pid = 0;
    int signal = 0;
    int code = 0;
    quint64 faultAddress = 0;
    qint64 threadId = 0;
    QString threadName;
    QString reason;
    quint64 programCounter = 0;
    // The stack from the crashing frame outwards; the frames of the handler that wrote the report
    // are left out.
    QList<Frame> frames;
    // Modules whose file was replaced after the crash (a new build): their names are not looked up.
    QStringList changedModules;

    // "SIGSEGV" and so on; "signal N" for others.
    static QString signalName(int signal);
    // One frame per line: "#0  function (file:line)  [module+0xoffset]".
    QString symbolicatedBacktrace() const;
    // The whole report for a person: what happened, when, in which thread and version, and the
    // backtrace.
    QString text() const;

private:
    void symbolicate(const QString& maps);
};

} // namespace iconfoundry
