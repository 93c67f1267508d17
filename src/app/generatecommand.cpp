#include "app/generatecommand.h"

#include "iconset/contentsjsonprocessor.h"
#include "iconset/defaultcategories.h"
#include "iconset/image.h"
#include "iconset/imageprocessor.h"
#include "iconset/imagesuitability.h"
#include "platform/bundle.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryFile>
#include <cstdio>
#ifdef Q_OS_WIN
#include <io.h>
#define isatty _isatty
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace iconfoundry {

namespace {

void write(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

// Collects what happened for the summary line and the --json report.
class Report
{
public:
    bool json = false;
    bool quiet = false;
    QJsonObject object;
    QJsonArray errors;
    QJsonArray warnings;

    // Says what the window would have asked about; the run goes on.
    void warn(const QString& message)
    {
        if (!quiet)
            write(stderr, QStringLiteral("iconfoundry generate: warning: %1\n").arg(message));
        warnings.append(message);
    }

    // Prints the message on standard error, keeps it for the report and returns code.
    int fail(int code, const QString& message)
    {
        write(stderr, QStringLiteral("iconfoundry generate: %1\n").arg(message));
        errors.append(message);
        return finish(code);
    }

    int finish(int code)
    {
        if (json) {
            object.insert(QStringLiteral("exitCode"), code);
            object.insert(QStringLiteral("errors"), errors);
            object.insert(QStringLiteral("warnings"), warnings);
            write(stdout, QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented)));
        }
        return code;
    }
};

// One line that rewrites itself on a terminal: "\r[12/24] AppIcon-60@3x.png".
class Progress
{
public:
    explicit Progress(bool enabled) : enabled_(enabled) {}

    void show(int done, int total, const QString& name)
    {
        if (!enabled_)
            return;
        QString line = QStringLiteral("[%1/%2] %3").arg(done).arg(total).arg(name);
        const qsizetype length = line.size();
        if (length < width_)
            line += QString(width_ - length, QLatin1Char(' '));
        width_ = length;
        write(stderr, QLatin1Char('\r') + line);
    }

    void clear()
    {
        if (!enabled_ || width_ == 0)
            return;
        write(stderr, QLatin1Char('\r') + QString(width_, QLatin1Char(' ')) + QLatin1Char('\r'));
        width_ = 0;
    }

private:
    bool enabled_;
    qsizetype width_ = 0;
};

QString categoryList(const QList<ImageCategory>& catalogue)
{
    QStringList items;
    for (const ImageCategory& category : catalogue)
        items.append(
            QStringLiteral("%1 %2").arg(category.categoryId()).arg(category.name().value_or(QString())));
    return items.join(QStringLiteral(", "));
}

// A category given as its id or as its name (case does not matter).
std::optional<ImageCategory> findCategory(const QString& wanted, const QList<ImageCategory>& catalogue)
{
    bool isNumber = false;
    const qint64 id = wanted.trimmed().toLongLong(&isNumber);
    for (const ImageCategory& category : catalogue) {
        if (isNumber
                ? category.categoryId() == id
                : category.name().value_or(QString()).compare(wanted.trimmed(), Qt::CaseInsensitive) == 0)
            return category;
    }
    return std::nullopt;
}

QJsonObject entryJson(const ImageSize& size)
{
    QJsonObject entry = size.dictionary();
    entry.insert(QStringLiteral("description"), size.description().trimmed());
    return entry;
}

// Whether a new file can be created in the folder: the only reliable test is to create one.
bool folderTakesNewFiles(const QString& folder, QString* reason)
{
    QTemporaryFile probe(QDir(folder).filePath(QStringLiteral(".iconfoundry-probe-XXXXXX")));
    if (!probe.open()) {
        *reason = probe.errorString();
        return false;
    }
    probe.close();
    return true;
}

QString plural(qsizetype count, const char* one, const char* many)
{
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

} // namespace

QString GenerateCommand::helpText()
{
    return QStringLiteral(
        "Usage: iconfoundry generate SOURCE (--xcode DIR | --out DIR) [options]\n"
        "Renders every icon file of the chosen categories from the image SOURCE.\n"
        "\n"
        "  -x, --xcode DIR        write the PNG files into the Xcode icon-set folder DIR\n"
        "                         (e.g. Assets.xcassets/AppIcon.appiconset) and merge their\n"
        "                         entries into its Contents.json; entries of other slots and\n"
        "                         unknown keys are kept\n"
        "  -o, --out DIR          write the PNG files only, into DIR (made when missing)\n"
        "  -c, --category ID|NAME\n"
        "                         an icon category by id or name, any case (repeatable;\n"
        "                         default: iPhone, iPad and App Store; see 'iconfoundry list')\n"
        "  -f, --force            replace existing files and Contents.json slots held by\n"
        "                         other files; without it they are listed and nothing is written\n"
        "  -q, --quiet            no progress, no warnings and no summary line\n"
        "      --json             print a JSON report on standard output (files written with\n"
        "                         their pixel sizes, what is or would be replaced, errors)\n"
        "  -h, --help             print this help\n"
        "\n"
        "Exit codes:\n"
        "  0  success\n"
        "  1  the icon catalogue could not be read\n"
        "  2  bad options or arguments\n"
        "  3  the source image is missing or cannot be decoded\n"
        "  4  unknown category\n"
        "  5  the folder does not exist\n"
        "  6  the folder is a file or does not take new files\n"
        "  7  the folder's Contents.json is broken (it is left as it is)\n"
        "  8  files or Contents.json slots would be replaced; nothing written (use --force)\n"
        "  9  writing a file failed\n");
}

int GenerateCommand::run(const QStringList& arguments)
{
    Report report;
    // Until the options are parsed, a --json anywhere asks for the report of a usage error too.
    report.json = arguments.contains(QLatin1String("--json"));

    QCommandLineParser parser;
    const QCommandLineOption xcodeOption({QStringLiteral("x"), QStringLiteral("xcode")}, QString(),
                                         QStringLiteral("DIR"));
    const QCommandLineOption outOption({QStringLiteral("o"), QStringLiteral("out")}, QString(),
                                       QStringLiteral("DIR"));
    const QCommandLineOption categoryOption({QStringLiteral("c"), QStringLiteral("category")}, QString(),
                                            QStringLiteral("ID|NAME"));
    const QCommandLineOption forceOption(QStringList{QStringLiteral("f"), QStringLiteral("force")});
    const QCommandLineOption quietOption(QStringList{QStringLiteral("q"), QStringLiteral("quiet")});
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    const QCommandLineOption helpOption(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    parser.addOptions(
        {xcodeOption, outOption, categoryOption, forceOption, quietOption, jsonOption, helpOption});
    const auto usage = [&](const QString& message) {
        return report.fail(Usage, message + QStringLiteral("\nSee 'iconfoundry generate --help'."));
    };
    if (!parser.parse(QStringList{QStringLiteral("iconfoundry generate")} + arguments))
        return usage(parser.errorText());
    if (parser.isSet(helpOption)) {
        write(stdout, helpText());
        return Success;
    }
    report.json = parser.isSet(jsonOption);
    report.quiet = parser.isSet(quietOption);
    const bool force = parser.isSet(forceOption);
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 1)
        return usage(positional.isEmpty()
                         ? QStringLiteral("no source image given.")
                         : QStringLiteral("one source image only, got %1.").arg(positional.size()));
    const QString source = positional.first();
    const QStringList xcodeValues = parser.values(xcodeOption);
    const QStringList outValues = parser.values(outOption);
    if (xcodeValues.size() + outValues.size() != 1)
        return usage(QStringLiteral("give exactly one of --xcode DIR and --out DIR."));
    const bool xcode = !xcodeValues.isEmpty();
    const QString folder = xcode ? xcodeValues.first() : outValues.first();
    if (folder.isEmpty())
        return usage(QStringLiteral("the folder must not be empty."));
    report.object.insert(QStringLiteral("source"), QFileInfo(source).absoluteFilePath());
    report.object.insert(QStringLiteral("folder"), QFileInfo(folder).absoluteFilePath());
    report.object.insert(QStringLiteral("xcode"), xcode);

    // Catalogue and categories.
    ImageProcessor processor;
    const QList<ImageCategory> catalogue = processor.allImageCategories();
    if (catalogue.isEmpty() || processor.allImageSizes().isEmpty())
        return report.fail(Failure, QStringLiteral("the icon catalogue could not be read from %1 "
                                                   "(set ICONFOUNDRY_LOG_CONSOLE=1 to see why).")
                                        .arg(Bundle::resourceDirectory()));
    QList<ImageCategory> categories;
    const QStringList wanted = parser.values(categoryOption);
    for (const QString& value : wanted) {
        const std::optional<ImageCategory> category = findCategory(value, catalogue);
        if (!category)
            return report.fail(UnknownCategory,
                               QStringLiteral("unknown category '%1'; the categories are: %2.")
                                   .arg(value, categoryList(catalogue)));
        if (!categories.contains(*category))
            categories.append(*category);
    }
    if (wanted.isEmpty())
        categories = DefaultCategories::fromCatalogue(catalogue);
    QJsonArray categoryReport;
    for (const ImageCategory& category : categories)
        categoryReport.append(QJsonObject{{QStringLiteral("id"), category.categoryId()},
                                          {QStringLiteral("name"), category.name().value_or(QString())}});
    report.object.insert(QStringLiteral("categories"), categoryReport);

    // Source image.
    if (!QFileInfo::exists(source))
        return report.fail(SourceUnusable,
                           QStringLiteral("the source image '%1' does not exist.").arg(source));
    Error imageError;
    const ImagePtr image = Image::fromFile(source, &imageError);
    if (!image)
        return report.fail(SourceUnusable, QStringLiteral("cannot use the source image '%1': %2")
                                               .arg(source, imageError.localizedDescription));

    // The window's two questions, as warnings: the user asked for this image by name.
    if (!ImageSuitability::hasProperShape(*image)) {
        const QSize pixels = image->pixelSize();
        report.warn(QStringLiteral("the source image is %1 x %2 pixels, neither square nor 4:3 landscape; "
                                   "every icon is stretched to its shape.")
                        .arg(pixels.width())
                        .arg(pixels.height()));
    }
    if (!ImageSuitability::isLargeEnough(*image)) {
        const QSize pixels = image->pixelSize();
        report.warn(QStringLiteral("the source image is only %1 x %2 pixels; icons larger than that are "
                                   "scaled up and look blurred (at least %3 x %4 is recommended).")
                        .arg(pixels.width())
                        .arg(pixels.height())
                        .arg(ImageSuitability::MinimumPixelWidth)
                        .arg(ImageSuitability::MinimumPixelHeight));
    }

    // Folder and its Contents.json. A plain output folder is made when missing, as build tools
    // expect; an icon set is part of a project and must already be there.
    if (!xcode && !QFileInfo::exists(folder) && !QDir().mkpath(folder))
        return report.fail(FolderUnwritable, QStringLiteral("cannot create the folder '%1'.").arg(folder));
    const QFileInfo folderInfo(folder);
    if (!folderInfo.exists())
        return report.fail(FolderMissing, QStringLiteral("the folder '%1' does not exist.").arg(folder));
    if (!folderInfo.isDir())
        return report.fail(FolderUnwritable, QStringLiteral("'%1' is a file, not a folder.").arg(folder));
    if (QString reason; !folderTakesNewFiles(folder, &reason))
        return report.fail(FolderUnwritable,
                           QStringLiteral("cannot write into the folder '%1': %2").arg(folder, reason));
    ContentsJSONProcessor contents(&processor);
    if (xcode) {
        Error jsonError;
        if (!ContentsJSONProcessor::checkContentsJSONInPath(folder, &jsonError))
            return report.fail(ContentsJSONBroken, jsonError.localizedDescription +
                                                       QStringLiteral(" Mend or remove it and try again."));
    }

    // What would be replaced.
    const QStringList names = processor.imageFileNamesForCategories(categories);
    QStringList existingFiles;
    for (const QString& name :
         processor.fileNamesThatExistForCategories(categories, folder).value_or(QStringList())) {
        if (!existingFiles.contains(name))
            existingFiles.append(name);
    }
    const QList<ImageSize> takenSlots =
        xcode ? contents.imageJSONThatExistForCategories(categories, folder).value_or(QList<ImageSize>())
              : QList<ImageSize>();
    QJsonArray takenReport;
    for (const ImageSize& size : takenSlots)
        takenReport.append(entryJson(size));
    report.object.insert(QStringLiteral("replaced"),
                         QJsonObject{{QStringLiteral("files"), QJsonArray::fromStringList(existingFiles)},
                                     {QStringLiteral("entries"), takenReport}});
    if (!force && (!existingFiles.isEmpty() || !takenSlots.isEmpty())) {
        QString message =
            QStringLiteral("nothing written; these would be replaced (use --force to replace them):");
        for (const QString& name : existingFiles)
            message += QStringLiteral("\n  file %1").arg(QDir(folder).filePath(name));
        for (const ImageSize& size : takenSlots)
            message += QStringLiteral("\n  Contents.json slot %1, now held by another file")
                           .arg(size.description().trimmed());
        return report.fail(WouldReplace, message);
    }

    // Write. Sizes may share a file name; the last one written is what stays on disk.
    QHash<QString, QSize> pixels;
    QStringList files;
    for (const ImageSize& size : processor.allImageSizes()) {
        if (!processor.imageSize(size, categories))
            continue;
        const QString name = size.fileName().value_or(QString());
        if (!files.contains(name))
            files.append(name);
        pixels.insert(name, size.pixelSize());
    }
    const bool showProgress = !report.quiet && isatty(fileno(stderr));
    Progress progress(showProgress);
    Error writeError;
    const bool written =
        processor.resizeAndSaveImage(image, categories, folder, &writeError, [&](int done, int total) {
            progress.show(done, total, names.value(done - 1));
        });
    progress.clear();
    if (!written)
        return report.fail(
            WriteFailed,
            QStringLiteral("writing the icon files failed: %1").arg(writeError.localizedDescription));
    QJsonArray fileReport;
    for (const QString& name : files) {
        fileReport.append(QJsonObject{{QStringLiteral("filename"), name},
                                      {QStringLiteral("pixelWidth"), pixels.value(name).width()},
                                      {QStringLiteral("pixelHeight"), pixels.value(name).height()},
                                      {QStringLiteral("replaced"), existingFiles.contains(name)}});
    }
    report.object.insert(QStringLiteral("files"), fileReport);

    QString summary = QStringLiteral("Wrote %1").arg(plural(files.size(), "file", "files"));
    if (xcode && !files.isEmpty()) {
        const bool created = !QFileInfo::exists(QDir(folder).filePath(ContentsJSONProcessor::fileName));
        Error jsonError;
        if (!contents.saveJSONforCategories(categories, folder, &jsonError))
            return report.fail(ContentsJSONProcessor::isBrokenFileError(jsonError) ? ContentsJSONBroken
                                                                                   : WriteFailed,
                               QStringLiteral("the icon files are written, but Contents.json is not: %1")
                                   .arg(jsonError.localizedDescription));
        report.object.insert(QStringLiteral("contentsJSON"),
                             QJsonObject{{QStringLiteral("created"), created},
                                         {QStringLiteral("entries"), names.size()},
                                         {QStringLiteral("slotsTakenOver"), takenSlots.size()}});
        summary += created ? QStringLiteral(" and a new Contents.json")
                           : QStringLiteral(" and merged Contents.json");
    }
    summary += QStringLiteral(" in %1").arg(folder);
    if (const qsizetype replaced = existingFiles.size() + takenSlots.size(); replaced > 0) {
        QStringList parts;
        if (!existingFiles.isEmpty())
            parts.append(plural(existingFiles.size(), "file", "files"));
        if (!takenSlots.isEmpty())
            parts.append(plural(takenSlots.size(), "slot", "slots"));
        summary += QStringLiteral(" (replaced %1)").arg(parts.join(QStringLiteral(" and ")));
    }
    if (files.isEmpty())
        summary = QStringLiteral("Nothing to write: the chosen categories name no icon size");
    if (!report.quiet && !report.json)
        write(stdout, summary + QLatin1Char('\n'));
    return report.finish(Success);
}

} // namespace iconfoundry
