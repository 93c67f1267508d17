#include "app/cli.h"

#include "app/generatecommand.h"
#include "iconset/imageprocessor.h"
#include "logging/consolelogger.h"
#include "logging/log.h"
#include "platform/bundle.h"
#include "platform/texts.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <QTextStream>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace iconfoundry {

namespace {

enum ExitCode
{
    Success = 0,
    Failure = 1,
    Usage = 2
};

struct Command
{
    const char* name;
    const char* arguments;
    const char* summary;
    int (*run)(const QStringList& arguments);
};

int runList(const QStringList& arguments);
int runHelp(const QStringList& arguments);
int runVersion(const QStringList& arguments);

// Every command of the front end; the first argument picks one.
const Command kCommands[] = {
    {"list", "[--json]", "print the icon categories and, under each, its sizes", runList},
    {"generate", "SOURCE [--xcode DIR | --out DIR] [--android DIR] [--web DIR] [options]",
     "write the icon files (and Contents.json) of an icon set", GenerateCommand::run},
    {"--help", "", "print this help (also -h)", runHelp},
    {"-h", nullptr, nullptr, runHelp},
    {"--version", "", "print the version", runVersion},
};

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream& err()
{
    static QTextStream stream(stderr);
    return stream;
}

const Command* findCommand(const char* name)
{
    for (const Command& command : kCommands) {
        if (std::strcmp(command.name, name) == 0)
            return &command;
    }
    return nullptr;
}

QString scaleText(const ImageSize& size)
{
    // A size without a scale is a single-size slot, drawn once at 1x.
    if (size.scale() == 0)
        return QStringLiteral("single");
    return QStringLiteral("@%1x").arg(size.scale());
}

QString pointsText(const ImageSize& size)
{
    if (size.width() == size.height())
        return QStringLiteral("%1 pt").arg(size.width());
    return QStringLiteral("%1x%2 pt").arg(size.width()).arg(size.height());
}

QString pixelsText(const ImageSize& size)
{
    const QSize pixels = size.pixelSize();
    return QStringLiteral("%1x%2 px").arg(pixels.width()).arg(pixels.height());
}

// The slot's idiom, platform, role, subtype and appearance: what tells apart entries of one file name.
QString slotText(const ImageSize& size)
{
    QStringList parts;
    for (const auto& part : {size.idiom(), size.platform(), size.role(), size.subtype(), size.appearance()}) {
        if (part)
            parts.append(*part);
    }
    return parts.join(QLatin1Char(' '));
}

QList<ImageSize> sizesOf(const ImageCategory& category, const QList<ImageSize>& sizes)
{
    QList<ImageSize> result;
    for (const ImageSize& size : sizes) {
        if (size.hasCategoryId(category.categoryId()))
            result.append(size);
    }
    return result;
}

QJsonObject sizeJson(const ImageSize& size)
{
    QJsonObject json;
    json.insert(QStringLiteral("filename"), size.fileName().value_or(QString()));
    if (size.idiom())
        json.insert(QStringLiteral("idiom"), *size.idiom());
    if (size.platform())
        json.insert(QStringLiteral("platform"), *size.platform());
    if (size.appearance())
        json.insert(QStringLiteral("appearance"), *size.appearance());
    json.insert(QStringLiteral("width"), size.width());
    json.insert(QStringLiteral("height"), size.height());
    json.insert(QStringLiteral("scale"), size.scale());
    if (size.cropAspect() != 0)
        json.insert(QStringLiteral("cropAspect"), size.cropAspect());
    if (size.role())
        json.insert(QStringLiteral("role"), *size.role());
    if (size.subtype())
        json.insert(QStringLiteral("subtype"), *size.subtype());
    const QSize pixels = size.pixelSize();
    json.insert(QStringLiteral("pixelWidth"), pixels.width());
    json.insert(QStringLiteral("pixelHeight"), pixels.height());
    json.insert(QStringLiteral("description"), size.description().trimmed());
    return json;
}

int runList(const QStringList& arguments)
{
    bool json = false;
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--json")) {
            json = true;
        } else {
            err() << "iconfoundry list: unknown option '" << argument << "'\n"
                  << "usage: iconfoundry list [--json]\n";
            return Usage;
        }
    }

    ImageProcessor processor;
    const QList<ImageCategory>& categories = processor.allImageCategories();
    const QList<ImageSize>& sizes = processor.allImageSizes();
    if (categories.isEmpty() || sizes.isEmpty()) {
        err() << "iconfoundry list: the icon catalogue could not be read from " << Bundle::resourceDirectory()
              << " (set ICONFOUNDRY_LOG_CONSOLE=1 to see why)\n";
        return Failure;
    }

    if (json) {
        QJsonArray list;
        for (const ImageCategory& category : categories) {
            QJsonObject entry;
            entry.insert(QStringLiteral("id"), category.categoryId());
            entry.insert(QStringLiteral("name"), category.name().value_or(QString()));
            entry.insert(QStringLiteral("idiom"), category.idiom().value_or(QString()));
            QJsonArray sizeList;
            for (const ImageSize& size : sizesOf(category, sizes))
                sizeList.append(sizeJson(size));
            entry.insert(QStringLiteral("sizes"), sizeList);
            list.append(entry);
        }
        QJsonObject document;
        document.insert(QStringLiteral("categories"), list);
        out() << QJsonDocument(document).toJson(QJsonDocument::Indented);
        return Success;
    }

    qsizetype nameWidth = 0;
    for (const ImageSize& size : sizes)
        nameWidth = std::max(nameWidth, size.fileName().value_or(QString()).size());
    for (const ImageCategory& category : categories) {
        out() << category.name().value_or(QStringLiteral("(no name)")) << " (" << category.categoryId();
        if (category.idiom())
            out() << ", " << *category.idiom();
        out() << ")\n";
        const QList<ImageSize> own = sizesOf(category, sizes);
        if (own.isEmpty())
            out() << "  (no sizes)\n";
        for (const ImageSize& size : own) {
            out() << "  " << size.fileName().value_or(QString()).leftJustified(nameWidth) << "  "
                  << pointsText(size).rightJustified(14) << "  " << scaleText(size).leftJustified(6) << "  "
                  << pixelsText(size).rightJustified(12) << "  " << slotText(size) << '\n';
        }
    }
    return Success;
}

int runHelp(const QStringList&)
{
    out() << "Usage: iconfoundry [FILE]\n"
             "       start the application (opening FILE if given)\n";
    for (const Command& command : kCommands) {
        if (!command.summary)
            continue;
        const QString call = QStringLiteral("iconfoundry %1 %2")
                                 .arg(QLatin1String(command.name), QLatin1String(command.arguments));
        out() << "   or: " << call.trimmed() << "\n       " << command.summary << '\n';
    }
    out() << '\n' << GenerateCommand::helpText();
    out() << "\nSet ICONFOUNDRY_LOG_CONSOLE=1 to see the log on standard error.\n";
    return Success;
}

int runVersion(const QStringList&)
{
    out() << "iconfoundry " << Bundle::shortVersion() << " (build " << Bundle::buildNumber() << ")\n";
    return Success;
}

// Letters added, dropped, changed or swapped with a neighbour to turn a into b.
int editDistance(const QString& a, const QString& b)
{
    const qsizetype n = a.size(), m = b.size();
    std::vector<std::vector<int>> d(n + 1, std::vector<int>(m + 1));
    for (qsizetype i = 0; i <= n; ++i)
        d[i][0] = int(i);
    for (qsizetype j = 0; j <= m; ++j)
        d[0][j] = int(j);
    for (qsizetype i = 1; i <= n; ++i) {
        for (qsizetype j = 1; j <= m; ++j) {
            const int change = a.at(i - 1) == b.at(j - 1) ? 0 : 1;
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && a.at(i - 1) == b.at(j - 2) && a.at(i - 2) == b.at(j - 1))
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    }
    return d[n][m];
}

// A file the window should open: one that exists, or a name with a folder or an extension, which
// a user means as a file even when it is missing (the window then says it cannot be opened).
bool namesFile(const QString& argument)
{
    return argument.contains(QLatin1Char('/')) || !QFileInfo(argument).suffix().isEmpty() ||
           QFileInfo::exists(argument);
}

void addConsoleLoggerIfAsked()
{
    const QByteArray wanted = qgetenv("ICONFOUNDRY_LOG_CONSOLE");
    if (!wanted.isEmpty() && wanted != "0")
        Log::addLogger(ConsoleLogger::sharedInstance());
}

} // namespace

bool isCommandLineInvocation(int argc, char** argv)
{
    if (argc < 2 || !argv || !argv[1])
        return false;
    if (findCommand(argv[1]))
        return true;
    const QString first = QString::fromLocal8Bit(argv[1]);
    if (first.isEmpty())
        return false;
    // Options belong to Qt ("-platform", "-style") unless they are a slip of ours ("--verison").
    if (first.startsWith(QLatin1Char('-')))
        return !closestCommand(first).isEmpty();
    return !namesFile(first);
}

QString closestCommand(const QString& word)
{
    constexpr int kFarthest = 2;
    const QString typed = word.toLower();
    QString best;
    int bestDistance = kFarthest + 1;
    for (const Command& command : kCommands) {
        if (!command.summary)
            continue; // an alias, suggested under its full name
        const QString name = QString::fromLatin1(command.name);
        const int distance = editDistance(typed, name);
        if (distance < bestDistance) {
            best = name;
            bestDistance = distance;
        }
    }
    return best;
}

QString missingDisplayReason(int argc, char** argv)
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
    QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    bool displayArgument = false;
    for (int i = 1; i + 1 < argc; ++i) {
        const QByteArray option = argv[i];
        if (option == "-platform" || option == "--platform")
            platform = argv[i + 1];
        else if (option == "-display" || option == "--display")
            displayArgument = true;
    }
    // Other platforms (offscreen, wayland, vnc, a list to fall back on) report their own problems;
    // X11, the default, aborts the process without a display.
    const QByteArray name = platform.split(':').constFirst();
    if (!name.isEmpty() && name != "xcb")
        return {};
    if (displayArgument || !qgetenv("DISPLAY").isEmpty())
        return {};
    if (name.isEmpty() && !qgetenv("WAYLAND_DISPLAY").isEmpty())
        return {};
    return QStringLiteral("no display to show the window on (%1 not set); 'iconfoundry generate' "
                          "works without one, or set QT_QPA_PLATFORM=offscreen")
        .arg(name.isEmpty() ? QStringLiteral("DISPLAY and WAYLAND_DISPLAY are")
                            : QStringLiteral("DISPLAY is"));
#else
    Q_UNUSED(argc);
    Q_UNUSED(argv);
    return {};
#endif
}

int runCommandLine(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("iconfoundry"));
    QCoreApplication::setApplicationVersion(Bundle::shortVersion());
    addConsoleLoggerIfAsked();

    const QStringList arguments = QCoreApplication::arguments().mid(2);
    const Command* command = argc >= 2 ? findCommand(argv[1]) : nullptr;
    // generate installs them itself, while its source is being decoded on another thread.
    if (!command || command->run != GenerateCommand::run)
        Texts::installTranslations();
    int code = Usage;
    if (command) {
        code = command->run(arguments);
    } else {
        const QString typed = argc >= 2 ? QString::fromLocal8Bit(argv[1]) : QString();
        const QString meant = closestCommand(typed);
        err() << "iconfoundry: '" << typed << "' is "
              << (meant.isEmpty() ? QStringLiteral("neither a command nor an existing file.")
                                  : QStringLiteral("not a command; did you mean '%1'?").arg(meant))
              << " See 'iconfoundry --help'.\n";
    }
    out().flush();
    err().flush();
    Log::flushLog();
    return code;
}

} // namespace iconfoundry
