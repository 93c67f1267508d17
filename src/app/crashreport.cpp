#include "app/crashreport.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStringList>
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <sys/stat.h>

namespace iconfoundry {

namespace {

constexpr qint64 kMaximumReportSize = 16 * 1024 * 1024;

quint64 parseHex(const QString& text, bool* ok = nullptr)
{
    QString digits = text.trimmed();
    if (digits.startsWith(QLatin1String("0x")))
        digits = digits.mid(2);
    return digits.toULongLong(ok, 16);
}

QString demangled(const char* name)
{
    int status = -1;
    char* readable = abi::__cxa_demangle(name, nullptr, nullptr, &status);
    if (status != 0 || !readable)
        return QString::fromUtf8(name);
    QString result = QString::fromUtf8(readable);
    std::free(readable);
    return result;
}

// One file-backed mapping of the crashed process.
struct Mapping
{
    quint64 start = 0;
    quint64 end = 0;
    quint64 offset = 0;
    quint64 inode = 0;
    QString path;
};

} // namespace

std::optional<CrashReport> CrashReport::read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaximumReportSize)
        return std::nullopt;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    if (lines.isEmpty() || lines.first() != QLatin1String("IconFoundry crash report"))
        return std::nullopt;

    CrashReport report;
    report.path = path;
    enum
    {
        Header,
        Frames,
        Maps
    } section = Header;
    QList<quint64> addresses;
    QString maps;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QString& line = lines.at(i);
        if (line == QLatin1String("frames:")) {
            section = Frames;
            continue;
        }
        if (line == QLatin1String("maps:")) {
            section = Maps;
            continue;
        }
        if (line == QLatin1String("end"))
            break;
        if (section == Frames) {
            bool ok = false;
            const quint64 address = parseHex(line, &ok);
            if (ok)
                addresses.append(address);
            continue;
        }
        if (section == Maps) {
            maps += line + QLatin1Char('\n');
            continue;
        }
        const qsizetype colon = line.indexOf(QLatin1String(": "));
        if (colon < 0)
            continue;
        const QString key = line.left(colon);
        const QString value = line.mid(colon + 2);
        if (key == QLatin1String("version"))
            report.version = value;
        else if (key == QLatin1String("time"))
            report.time = value.toLongLong();
        else if (key == QLatin1String("pid"))
            report.pid = value.toLongLong();
        else if (key == QLatin1String("signal"))
            report.signal = value.toInt();
        else if (key == QLatin1String("code"))
            report.code = value.toInt();
        else if (key == QLatin1String("address"))
            report.faultAddress = parseHex(value);
        else if (key == QLatin1String("thread")) {
            report.threadId = value.section(QLatin1Char(' '), 0, 0).toLongLong();
            report.threadName = value.section(QLatin1Char(' '), 1);
        } else if (key == QLatin1String("reason"))
            report.reason = value;
        else if (key == QLatin1String("pc"))
            report.programCounter = parseHex(value);
    }
    if (addresses.isEmpty())
        return std::nullopt;

    // The walk starts inside the handler that wrote the report; the interrupted code begins at
    // the frame whose address is the program counter of the signal.
    const qsizetype first = report.programCounter ? addresses.indexOf(report.programCounter) : -1;
    for (qsizetype i = first < 0 ? 0 : first; i < addresses.size(); ++i)
        report.frames.append(Frame{addresses.at(i), {}, 0, {}, {}, 0});
    report.symbolicate(maps);
    return report;
}

void CrashReport::symbolicate(const QString& maps)
{
    QList<Mapping> mappings;
    // Where each file's first byte was loaded: its load bias.
    QHash<QString, quint64> bias;
    for (const QString& line : maps.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const QStringList fields = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (fields.size() < 6 || !fields.at(5).startsWith(QLatin1Char('/')) || fields.size() > 6)
            continue; // anonymous, special ("[stack]") or deleted ("... (deleted)") mappings
        Mapping mapping;
        mapping.start = parseHex(fields.at(0).section(QLatin1Char('-'), 0, 0));
        mapping.end = parseHex(fields.at(0).section(QLatin1Char('-'), 1, 1));
        mapping.offset = parseHex(fields.at(2));
        mapping.inode = fields.at(4).toULongLong();
        mapping.path = fields.at(5);
        mappings.append(mapping);
        if (mapping.offset == 0 && !bias.contains(mapping.path))
            bias.insert(mapping.path, mapping.start);
    }

    static char* debuginfoPath = nullptr;
    Dwfl_Callbacks callbacks = {};
    callbacks.find_elf = dwfl_build_id_find_elf;
    callbacks.find_debuginfo = dwfl_standard_find_debuginfo;
    callbacks.section_address = dwfl_offline_section_address;
    callbacks.debuginfo_path = &debuginfoPath;
    Dwfl* dwfl = dwfl_begin(&callbacks);
    if (dwfl) {
        dwfl_report_begin(dwfl);
        for (auto it = bias.cbegin(); it != bias.cend(); ++it) {
            const QByteArray file = it.key().toLocal8Bit();
            // A file replaced since the crash (a new build, an update) would give wrong names:
            // its addresses stay numbers.
            const auto mapped = std::find_if(mappings.cbegin(), mappings.cend(),
                                             [&](const Mapping& m) { return m.path == it.key(); });
            struct stat status = {};
            if (::stat(file.constData(), &status) != 0 || quint64(status.st_ino) != mapped->inode) {
                changedModules.append(QFileInfo(it.key()).fileName());
                continue;
            }
            const QByteArray name = QFileInfo(it.key()).fileName().toLocal8Bit();
            dwfl_report_elf(dwfl, name.constData(), file.constData(), -1, it.value(), false);
        }
        dwfl_report_end(dwfl, nullptr, nullptr);
    }

    for (qsizetype i = 0; i < frames.size(); ++i) {
        Frame& frame = frames[i];
        for (const Mapping& mapping : mappings) {
            if (frame.address >= mapping.start && frame.address < mapping.end) {
                frame.module = QFileInfo(mapping.path).fileName();
                frame.moduleOffset = frame.address - bias.value(mapping.path, mapping.start);
                break;
            }
        }
        if (!dwfl)
            continue;
        // Every frame but the interrupted one holds a return address, which is already the next
        // instruction: look up the call before it.
        const bool interrupted = i == 0 && frame.address == programCounter;
        const Dwarf_Addr address = interrupted ? frame.address : frame.address - 1;
        Dwfl_Module* module = dwfl_addrmodule(dwfl, address);
        if (!module)
            continue;
        if (const char* symbol = dwfl_module_addrname(module, address))
            frame.function = demangled(symbol);
        if (Dwfl_Line* line = dwfl_module_getsrc(module, address)) {
            int lineNumber = 0;
            if (const char* source = dwfl_lineinfo(line, nullptr, &lineNumber, nullptr, nullptr, nullptr)) {
                frame.sourceFile = QString::fromUtf8(source);
                frame.sourceLine = lineNumber;
            }
        }
    }
    if (dwfl)
        dwfl_end(dwfl);
}

QString CrashReport::signalName(int signal)
{
    switch (signal) {
    case SIGSEGV:
        return QStringLiteral("SIGSEGV");
    case SIGBUS:
        return QStringLiteral("SIGBUS");
    case SIGILL:
        return QStringLiteral("SIGILL");
    case SIGFPE:
        return QStringLiteral("SIGFPE");
    case SIGABRT:
        return QStringLiteral("SIGABRT");
    default:
        return QStringLiteral("signal %1").arg(signal);
    }
}

QString CrashReport::symbolicatedBacktrace() const
{
    QStringList lines;
    for (qsizetype i = 0; i < frames.size(); ++i) {
        const Frame& frame = frames.at(i);
        QString line = QStringLiteral("#%1  ").arg(i).leftJustified(5);
        line += frame.function.isEmpty() ? QStringLiteral("0x%1").arg(frame.address, 0, 16) : frame.function;
        if (!frame.sourceFile.isEmpty())
            line +=
                QStringLiteral(" (%1:%2)").arg(QFileInfo(frame.sourceFile).fileName()).arg(frame.sourceLine);
        if (!frame.module.isEmpty())
            line += QStringLiteral("  [%1+0x%2]").arg(frame.module).arg(frame.moduleOffset, 0, 16);
        lines.append(line);
    }
    return lines.join(QLatin1Char('\n'));
}

QString CrashReport::text() const
{
    QStringList lines;
    lines << QStringLiteral("Signal: %1 (code %2, address 0x%3)")
                 .arg(signalName(signal))
                 .arg(code)
                 .arg(faultAddress, 0, 16);
    if (!reason.isEmpty())
        lines << QStringLiteral("Reason: %1").arg(reason);
    lines
        << QStringLiteral("Time: %1").arg(QDateTime::fromSecsSinceEpoch(time, Qt::UTC).toString(Qt::ISODate));
    lines << QStringLiteral("Version: %1").arg(version);
    lines << QStringLiteral("Thread: %1 (%2)").arg(threadId).arg(threadName);
    lines << QString() << QStringLiteral("Backtrace:") << symbolicatedBacktrace();
    if (!changedModules.isEmpty())
        lines << QStringLiteral("Not resolved, replaced since the crash: %1")
                     .arg(changedModules.join(QStringLiteral(", ")));
    return lines.join(QLatin1Char('\n'));
}

} // namespace iconfoundry
