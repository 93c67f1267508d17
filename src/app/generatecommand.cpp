#include "app/generatecommand.h"

#include "app/platformicontargets.h"
#include "iconset/appearanceimages.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/defaultcategories.h"
#include "iconset/iconsetplan.h"
#include "iconset/image.h"
#include "iconset/imageprocessor.h"
#include "iconset/imagesuitability.h"
#include "platform/atomicfile.h"
#include "platform/bundle.h"
#include "platform/texts.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>
#include <future>
#include <system_error>
#include <tuple>
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

// Decodes one of the images given on the command line; null with the reason when it cannot be
// used.
ImagePtr loadSource(const QString& path, const QString& what, QString* reason)
{
    if (!QFileInfo::exists(path)) {
        *reason = QStringLiteral("the %1 '%2' does not exist.").arg(what, path);
        return nullptr;
    }
    Error error;
    ImagePtr image = Image::fromFile(path, &error);
    if (!image)
        *reason = QStringLiteral("cannot use the %1 '%2': %3").arg(what, path, error.localizedDescription);
    return image;
}

QString plural(qsizetype count, const char* one, const char* many)
{
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

} // namespace

QString GenerateCommand::helpText()
{
    return QStringLiteral(
        "Usage: iconfoundry generate SOURCE [--xcode DIR | --out DIR] [--android DIR] [--web DIR]\n"
        "                            [options]\n"
        "Renders every icon file of the chosen categories from the image SOURCE, and the\n"
        "Android and web icons when asked for (at least one folder must be given).\n"
        "\n"
        "  -x, --xcode DIR        write the PNG files into the Xcode icon-set folder DIR, whose\n"
        "                         name ends in .appiconset (e.g. Assets.xcassets/AppIcon.appiconset;\n"
        "                         another name only for an empty folder, with a warning),\n"
        "                         and merge their entries into its Contents.json; entries of\n"
        "                         other slots and unknown keys are kept, and files the set\n"
        "                         already names keep their names\n"
        "  -o, --out DIR          write the PNG files only, into DIR (made when missing)\n"
        "      --android DIR      write Android launcher icons into the res folder DIR (made\n"
        "                         when missing): mipmap-*dpi/ic_launcher.png, ic_launcher_round.png\n"
        "                         and the adaptive layers ic_launcher_foreground.png and\n"
        "                         ic_launcher_monochrome.png, mipmap-anydpi-v26/ic_launcher.xml\n"
        "                         and ic_launcher_round.xml, values/ic_launcher_background.xml,\n"
        "                         and ic_launcher-playstore.png beside DIR when DIR is named res;\n"
        "                         other files are kept\n"
        "      --web DIR          write favicon.ico, apple-touch-icon.png and the manifest icons\n"
        "                         (192 and 512, \"any\" and \"maskable\") into DIR (made when\n"
        "                         missing), and merge their entries into the icons of its\n"
        "                         manifest.webmanifest or manifest.json (made when there is none);\n"
        "                         other keys are kept, and files the manifest names keep their\n"
        "                         names\n"
        "  -c, --category ID|NAME\n"
        "                         an icon category by id or name, any case (repeatable;\n"
        "                         default: the slots the icon set already has, else iPhone,\n"
        "                         iPad and App Store; see 'iconfoundry list')\n"
        "      --dark FILE        the image for the dark-appearance slots (default: SOURCE)\n"
        "      --tinted FILE|auto the image for the tinted-appearance slots; auto (the\n"
        "                         default) makes a grey image from SOURCE\n"
        "      --background COLOUR\n"
        "                         what shows through transparent parts of the App Store icons,\n"
        "                         which are written without alpha, and behind the Android\n"
        "                         and web icons that have a background: a name or #RRGGBB\n"
        "                         (default: white)\n"
        "      --background-image FILE\n"
        "                         the Android background layer (and the background of the\n"
        "                         Android and web icons) as an image instead of a colour\n"
        "      --monochrome FILE  the image whose shape makes the themed Android icon\n"
        "                         (default: SOURCE; only transparency counts)\n"
        "      --padding PERCENT  room around the Android and web artwork on every side, in\n"
        "                         percent of the icon (default: 0)\n"
        "      --trim             cut the source's fully transparent border away before the\n"
        "                         Android and web artwork is placed\n"
        "  -f, --force            replace existing files the icon set does not name, and\n"
        "                         Contents.json slots held by other files; without it they are\n"
        "                         listed and nothing is written; Android and web icons are\n"
        "                         refreshed without it, and only XML files of their names that\n"
        "                         we did not write need it\n"
        "  -q, --quiet            no progress, no warnings and no summary line\n"
        "      --json             print a JSON report on standard output (files written with\n"
        "                         their pixel sizes, what is or would be replaced, errors)\n"
        "  -h, --help             print this help\n"
        "\n"
        "Exit codes:\n"
        "  0  success\n"
        "  1  the icon catalogue could not be read\n"
        "  2  bad options or arguments (a non-empty --xcode folder not named *.appiconset too)\n"
        "  3  the source image is missing or cannot be decoded\n"
        "  4  unknown category\n"
        "  5  the folder does not exist\n"
        "  6  the folder is a file or does not take new files\n"
        "  7  the folder's Contents.json or the web manifest is broken (left as it is)\n"
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
    const QCommandLineOption darkOption(QStringLiteral("dark"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption tintedOption(QStringLiteral("tinted"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption backgroundOption(QStringLiteral("background"), QString(),
                                              QStringLiteral("COLOUR"));
    const QCommandLineOption androidOption(QStringLiteral("android"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption webOption(QStringLiteral("web"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption backgroundImageOption(QStringLiteral("background-image"), QString(),
                                                   QStringLiteral("FILE"));
    const QCommandLineOption monochromeOption(QStringLiteral("monochrome"), QString(),
                                              QStringLiteral("FILE"));
    const QCommandLineOption paddingOption(QStringLiteral("padding"), QString(), QStringLiteral("PERCENT"));
    const QCommandLineOption trimOption(QStringLiteral("trim"));
    const QCommandLineOption forceOption(QStringList{QStringLiteral("f"), QStringLiteral("force")});
    const QCommandLineOption quietOption(QStringList{QStringLiteral("q"), QStringLiteral("quiet")});
    const QCommandLineOption jsonOption(QStringLiteral("json"));
    const QCommandLineOption helpOption(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    parser.addOptions({xcodeOption, outOption, categoryOption, darkOption, tintedOption, backgroundOption,
                       forceOption, quietOption, jsonOption, helpOption});
    parser.addOptions(
        {androidOption, webOption, backgroundImageOption, monochromeOption, paddingOption, trimOption});
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
    const QString androidFolder = parser.values(androidOption).value(0);
    const QString webFolder = parser.values(webOption).value(0);
    const bool apple = xcodeValues.size() + outValues.size() == 1;
    if (xcodeValues.size() + outValues.size() > 1 ||
        (!apple && !parser.isSet(androidOption) && !parser.isSet(webOption)))
        return usage(QStringLiteral("give one of --xcode DIR and --out DIR, or --android DIR or --web DIR, "
                                    "or both."));
    if (parser.values(androidOption).size() > 1 || parser.values(webOption).size() > 1)
        return usage(QStringLiteral("give --android and --web once each."));
    const bool xcode = !xcodeValues.isEmpty();
    const QString folder = xcode ? xcodeValues.first() : outValues.value(0);
    if ((apple && folder.isEmpty()) || (parser.isSet(androidOption) && androidFolder.isEmpty()) ||
        (parser.isSet(webOption) && webFolder.isEmpty()))
        return usage(QStringLiteral("the folder must not be empty."));
    PlatformIconOptions platformOptions;
    platformOptions.trim = parser.isSet(trimOption);
    if (parser.isSet(paddingOption)) {
        bool isNumber = false;
        platformOptions.paddingPercent = parser.value(paddingOption).toDouble(&isNumber);
        if (!isNumber || !(platformOptions.paddingPercent >= 0 && platformOptions.paddingPercent < 50))
            return usage(QStringLiteral("--padding needs a percentage from 0 to under 50; got '%1'.")
                             .arg(parser.value(paddingOption)));
    }
    // An asset catalogue or a project folder is no icon set: writing into it would put icons and
    // an "images" list where Xcode does not look for them. An empty folder holds nothing to spoil,
    // so it is written with a warning (build scripts and benchmarks make one to fill).
    bool unnamedIconSet = false;
    if (xcode && !QDir::cleanPath(folder).endsWith(QLatin1String(".appiconset"))) {
        const QDir dir(folder);
        if (!QFileInfo(folder).isDir() ||
            !dir.isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System))
            return usage(
                QStringLiteral("--xcode needs an icon-set folder whose name ends in .appiconset, such as "
                               "Assets.xcassets/AppIcon.appiconset; '%1' is not one.")
                    .arg(folder));
        unnamedIconSet = true;
    }
    const QString darkSource = parser.value(darkOption);
    const QString tintedSource = parser.value(tintedOption);
    QColor background;
    if (parser.isSet(backgroundOption)) {
        background = QColor::fromString(parser.value(backgroundOption));
        if (!background.isValid() || background.alpha() != 255)
            return usage(
                QStringLiteral("--background needs an opaque colour, a name such as white or #RRGGBB; "
                               "got '%1'.")
                    .arg(parser.value(backgroundOption)));
    }
    report.object.insert(QStringLiteral("source"), QFileInfo(source).absoluteFilePath());
    if (apple)
        report.object.insert(QStringLiteral("folder"), QFileInfo(folder).absoluteFilePath());
    report.object.insert(QStringLiteral("xcode"), xcode);

    // A bitmap source is decoded while the catalogue is read: each takes a few milliseconds of one
    // core.
    QString sourceReason;
    const auto decodeSource = [&] { return loadSource(source, QStringLiteral("source image"), &sourceReason); };
    std::future<ImagePtr> decoding;
    if (Image::isBitmapFile(source)) {
        try {
            decoding = std::async(std::launch::async, decodeSource);
        } catch (const std::system_error&) { // no thread to be had: decoded below
        }
    }
    // The translations of the texts the report may name (slot descriptions), loaded meanwhile.
    Texts::installTranslations();

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

    // Sources: the main image, and those of the dark and tinted slots.
    const ImagePtr image = decoding.valid() ? decoding.get() : decodeSource();
    if (!image)
        return report.fail(SourceUnusable, sourceReason);
    QString reason;
    ImagePtr darkImage;
    if (!darkSource.isEmpty() && !(darkImage = loadSource(darkSource, QStringLiteral("dark image"), &reason)))
        return report.fail(SourceUnusable, reason);
    ImagePtr tintedImage;
    if (!tintedSource.isEmpty() && tintedSource != QLatin1String("auto") &&
        !(tintedImage = loadSource(tintedSource, QStringLiteral("tinted image"), &reason)))
        return report.fail(SourceUnusable, reason);
    for (const auto& [option, what, into] :
         {std::tuple{&backgroundImageOption, "background image", &platformOptions.backgroundImage},
          std::tuple{&monochromeOption, "monochrome image", &platformOptions.monochrome}})
        if (parser.isSet(*option) &&
            !(*into = loadSource(parser.value(*option), QLatin1String(what), &reason)))
            return report.fail(SourceUnusable, reason);

    if (!apple && (!wanted.isEmpty() || !darkSource.isEmpty() || !tintedSource.isEmpty()))
        report.warn(
            QStringLiteral("--category, --dark and --tinted are for the Apple icons of --xcode or --out, "
                           "which are not asked for; they are not used."));
    if (unnamedIconSet)
        report.warn(QStringLiteral("'%1' is not named *.appiconset; Xcode reads icons only from such a "
                                   "folder in an asset catalogue.")
                        .arg(folder));
    // The window's two questions, as warnings: the user asked for this image by name.
    if (apple && !ImageSuitability::hasProperShape(*image)) {
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

    // Android and web icons are drawn and checked before any file is written, and written last.
    if (background.isValid())
        platformOptions.background = background;
    PlatformIconTargets platforms(androidFolder, webFolder, platformOptions);
    if (platforms.any()) {
        const PlatformIconTargets::Outcome outcome = platforms.prepare(image, force);
        if (outcome.exitCode != Success)
            return report.fail(outcome.exitCode, outcome.message);
        for (const QString& warning : platforms.warnings())
            report.warn(warning);
    }
    const auto writePlatforms = [&](QString summary) {
        Progress progress(!report.quiet && isatty(fileno(stderr)));
        const PlatformIconTargets::Outcome outcome = platforms.write(
            [&](int done, const QString& name) { progress.show(done, platforms.fileCount(), name); });
        progress.clear();
        if (outcome.exitCode != Success)
            return report.fail(outcome.exitCode, outcome.message);
        const QJsonObject platformReport = platforms.report();
        for (auto it = platformReport.begin(); it != platformReport.end(); ++it)
            report.object.insert(it.key(), it.value());
        QStringList lines = platforms.summary();
        if (!summary.isEmpty())
            lines.prepend(summary);
        if (!report.quiet && !report.json)
            write(stdout, lines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
        return report.finish(Success);
    };
    if (!apple)
        return writePlatforms(QString());

    // Folder and its Contents.json. A plain output folder is made when missing, as build tools
    // expect; an icon set is part of a project and must already be there.
    if (!xcode && !QFileInfo::exists(folder) && !QDir().mkpath(folder))
        return report.fail(FolderUnwritable, QStringLiteral("cannot create the folder '%1'.").arg(folder));
    const QFileInfo folderInfo(folder);
    if (!folderInfo.exists())
        return report.fail(FolderMissing, QStringLiteral("the folder '%1' does not exist.").arg(folder));
    if (!folderInfo.isDir())
        return report.fail(FolderUnwritable, QStringLiteral("'%1' is a file, not a folder.").arg(folder));
    if (!AtomicFile::folderTakesNewFiles(folder, &reason))
        return report.fail(FolderUnwritable,
                           QStringLiteral("cannot write into the folder '%1': %2").arg(folder, reason));
    // What to write: the categories asked for; else the slots the icon set already has; else,
    // for a new or empty set, the default categories.
    IconSetPlan plan;
    Error planError;
    if (!IconSetPlan::make(processor, folder, xcode, categories, DefaultCategories::fromCatalogue(catalogue),
                           plan, &planError))
        return report.fail(ContentsJSONBroken, planError.localizedDescription +
                                                   QStringLiteral(" Mend or remove it and try again."));
    for (const QString& skipped : plan.skipped())
        report.warn(QStringLiteral("a slot is left as it is (%1).").arg(skipped));
    const QList<ImageSize>& sizes = plan.sizes();
    const bool fromIconSet = plan.slotsFrom() == IconSetPlan::SlotsFrom::IconSet;
    QJsonArray categoryReport;
    for (const ImageCategory& category : plan.categories())
        categoryReport.append(QJsonObject{{QStringLiteral("id"), category.categoryId()},
                                          {QStringLiteral("name"), category.name().value_or(QString())}});
    report.object.insert(QStringLiteral("categories"), categoryReport);
    report.object.insert(QStringLiteral("slotsFrom"),
                         fromIconSet ? QStringLiteral("icon set") : QStringLiteral("categories"));

    // Which image each size is drawn from.
    const QStringList opaqueSlots = plan.opaqueSlots();
    const bool hasDarkSlots = !plan.darkSizes().isEmpty();
    const bool hasTintedSlots = !plan.tintedSizes().isEmpty();
    if (hasDarkSlots && !darkImage)
        report.warn(QStringLiteral("the dark slots get the source image; give --dark FILE for a dark icon."));
    if (!hasDarkSlots && darkImage)
        report.warn(QStringLiteral("--dark is not used: no slot is for the dark appearance."));
    if (!hasTintedSlots && !tintedSource.isEmpty())
        report.warn(QStringLiteral("--tinted is not used: no slot is for the tinted appearance."));
    IconSetPlan::Sources sources{image, darkImage, tintedImage};
    if (!plan.completeSources(sources))
        return report.fail(SourceUnusable, QStringLiteral("cannot make a grey image from '%1'.").arg(source));
    if (background.isValid())
        processor.setBackgroundColour(background);
    if (!opaqueSlots.isEmpty() && AppearanceImages::hasTransparency(*image))
        report.warn(QStringLiteral("the source image has transparent pixels, laid over %1 in the icons that "
                                   "must be opaque: %2.")
                        .arg(processor.backgroundColour().name(), opaqueSlots.join(QStringLiteral(", "))));

    // What would be replaced: files the icon set does not name (a file it names is its icon,
    // refreshed in place), and slots held by other files.
    const QStringList& files = plan.files();
    const QStringList& existingFiles = plan.existingFiles();
    const QStringList& refreshedFiles = plan.refreshedFiles();
    const QList<ImageSize>& takenSlots = plan.takenSlots();
    QJsonArray takenReport;
    for (const ImageSize& size : takenSlots)
        takenReport.append(entryJson(size));
    report.object.insert(QStringLiteral("replaced"),
                         QJsonObject{{QStringLiteral("files"), QJsonArray::fromStringList(existingFiles)},
                                     {QStringLiteral("entries"), takenReport}});
    report.object.insert(QStringLiteral("refreshed"), QJsonArray::fromStringList(refreshedFiles));
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

    // Contents.json is merged and synced to disk while the icons are drawn (the sync alone can take
    // as long as the small icons), and put in place only once every icon it names is written.
    const bool writesJSON = xcode && !files.isEmpty();
    const bool jsonCreated =
        writesJSON && !QFileInfo::exists(QDir(folder).filePath(ContentsJSONProcessor::fileName));
    ContentsJSONProcessor contents(&processor);
    AtomicFile::Staged stagedJSON;
    Error jsonError;
    const auto stageJSON = [&] { return contents.saveJSONforCategories(sizes, folder, stagedJSON, &jsonError); };
    std::future<bool> staging;
    if (writesJSON) {
        try {
            staging = std::async(std::launch::async, stageJSON);
        } catch (const std::system_error&) { // no thread to be had: staged after the icons
        }
    }

    // Write, one source at a time. Sizes may share a file name; the last one written is what
    // stays on disk.
    const bool showProgress = !report.quiet && isatty(fileno(stderr));
    Progress progress(showProgress);
    Error writeError;
    const bool written =
        plan.write(processor, sources, &writeError,
                   [&](int done, int total, const QString& name) { progress.show(done, total, name); });
    progress.clear();
    const bool jsonStaged = writesJSON && (staging.valid() ? staging.get() : stageJSON());
    if (!written)
        return report.fail(
            WriteFailed,
            QStringLiteral("writing the icon files failed: %1").arg(writeError.localizedDescription));
    QJsonArray fileReport;
    for (const QString& name : files) {
        fileReport.append(QJsonObject{
            {QStringLiteral("filename"), name},
            {QStringLiteral("pixelWidth"), plan.pixelSize(name).width()},
            {QStringLiteral("pixelHeight"), plan.pixelSize(name).height()},
            {QStringLiteral("replaced"), existingFiles.contains(name) || refreshedFiles.contains(name)}});
    }
    report.object.insert(QStringLiteral("files"), fileReport);

    QString summary = QStringLiteral("Wrote %1").arg(plural(files.size(), "file", "files"));
    if (writesJSON) {
        if (!jsonStaged || !ContentsJSONProcessor::saveJSONforCategories(stagedJSON, &jsonError))
            return report.fail(ContentsJSONProcessor::isBrokenFileError(jsonError) ? ContentsJSONBroken
                                                                                   : WriteFailed,
                               QStringLiteral("the icon files are written, but Contents.json is not: %1")
                                   .arg(jsonError.localizedDescription));
        report.object.insert(QStringLiteral("contentsJSON"),
                             QJsonObject{{QStringLiteral("created"), jsonCreated},
                                         {QStringLiteral("entries"), sizes.size()},
                                         {QStringLiteral("slotsTakenOver"), takenSlots.size()}});
        summary += jsonCreated ? QStringLiteral(" and a new Contents.json")
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
    if (platforms.any())
        return writePlatforms(summary);
    if (!report.quiet && !report.json)
        write(stdout, summary + QLatin1Char('\n'));
    return report.finish(Success);
}

} // namespace iconfoundry
