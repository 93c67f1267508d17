#include "iconset/contentsjsonprocessor.h"

#include "iconset/imageprocessor.h"
#include "iconset/jsonreader.h"
#include "iconset/slotindex.h"
#include "iconset/xcodejson.h"
#include "logging/log.h"
#include "platform/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <cerrno>
#include <cstring>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace iconfoundry {

namespace {

// The members of an entry that the merge compares, and those a catalogue size writes; any other
// member of an entry belongs to someone else and is carried along.
constexpr QStringView comparedKeys[] = {u"idiom", u"size", u"scale", u"filename"};
constexpr QStringView ownedKeys[] = {u"filename", u"idiom", u"platform", u"role",
                                     u"scale",    u"size",  u"subtype"};

enum class ReadOutcome
{
    Missing,
    Loaded,
    Broken
};

// Messages fill all their places in one arg() call: a path may itself hold "%1" or "%2F", which a
// second call would substitute.
void setError(Error* error, ContentsJSONProcessor::ErrorCode code, const QString& text)
{
    Error::set(error, ContentsJSONProcessor::errorDomain, code, text);
}

ReadOutcome unreadable(const QString& filePath, const QString& reason, Error* error)
{
    setError(error, ContentsJSONProcessor::FileUnreadable,
             QStringLiteral("Could not read '%1': %2").arg(filePath, reason));
    return ReadOutcome::Broken;
}

ReadOutcome notAFile(const QString& filePath, const char* what, Error* error)
{
    setError(error, ContentsJSONProcessor::FileUnreadable,
             QStringLiteral("'%1' is %2, not a file.").arg(filePath, QLatin1String(what)));
    return ReadOutcome::Broken;
}

// Opens filePath for reading when it is a regular file, and says how long it is. Anything else is
// refused before it is opened: opening a named pipe waits for a writer, and reading a device or a
// socket may never end.
ReadOutcome openRegularFile(const QString& filePath, QFile& file, qint64& size, Error* error)
{
#ifdef Q_OS_UNIX
    const auto kind = [&](const struct stat& info) -> const char* {
        if (S_ISREG(info.st_mode))
            return nullptr;
        if (S_ISDIR(info.st_mode))
            return "a folder";
        if (S_ISFIFO(info.st_mode))
            return "a named pipe";
        if (S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode))
            return "a device";
        if (S_ISSOCK(info.st_mode))
            return "a socket";
        return "not a regular file";
    };
    const QByteArray native = QFile::encodeName(filePath);
    struct stat info
    {
    };
    if (::stat(native.constData(), &info) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return ReadOutcome::Missing;
        return unreadable(filePath, QString::fromLocal8Bit(std::strerror(errno)), error);
    }
    if (const char* what = kind(info))
        return notAFile(filePath, what, error);
    // Not blocking even if the path has become a pipe since it was looked at; checked again below.
    const int fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return unreadable(filePath, QString::fromLocal8Bit(std::strerror(errno)), error);
    if (::fstat(fd, &info) != 0 || kind(info)) {
        const char* what = kind(info);
        ::close(fd);
        return what ? notAFile(filePath, what, error)
                    : unreadable(filePath, QString::fromLocal8Bit(std::strerror(errno)), error);
    }
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return unreadable(filePath, file.errorString(), error);
    }
    size = info.st_size;
#else
    const QFileInfo info(filePath);
    if (!info.exists())
        return ReadOutcome::Missing;
    if (info.isDir())
        return notAFile(filePath, "a folder", error);
    if (!info.isFile())
        return notAFile(filePath, "not a regular file", error);
    file.setFileName(filePath);
    if (!file.open(QIODevice::ReadOnly))
        return unreadable(filePath, file.errorString(), error);
    size = info.size();
#endif
    return ReadOutcome::Loaded;
}

// Reads the whole of an existing Contents.json, refusing one larger than maxFileSize.
ReadOutcome readBytes(const QString& filePath, QByteArray& data, Error* error)
{
    const auto tooLarge = [&](qint64 size) {
        setError(
            error, ContentsJSONProcessor::FileTooLarge,
            QStringLiteral("'%1' is %2 bytes long; a Contents.json of more than %3 bytes is refused.")
                .arg(filePath, QString::number(size), QString::number(ContentsJSONProcessor::maxFileSize)));
        return ReadOutcome::Broken;
    };
    QFile file;
    qint64 size = 0;
    if (const ReadOutcome opened = openRegularFile(filePath, file, size, error);
        opened != ReadOutcome::Loaded)
        return opened;
    // Refuse a huge file before reading it.
    if (size > ContentsJSONProcessor::maxFileSize)
        return tooLarge(size);
    // The size may have changed since it was looked at; never read more than the limit.
    data = file.read(ContentsJSONProcessor::maxFileSize + 1);
    if (file.error() != QFileDevice::NoError)
        return unreadable(filePath, file.errorString(), error);
    if (data.size() > ContentsJSONProcessor::maxFileSize)
        return tooLarge(data.size());
    return ReadOutcome::Loaded;
}

// Checks that the folder exists and is a folder.
bool checkFolder(const QString& path, Error* error)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        setError(error, ContentsJSONProcessor::FolderMissing,
                 QStringLiteral("The folder '%1' does not exist.").arg(path));
        return false;
    }
    if (!info.isDir()) {
        setError(error, ContentsJSONProcessor::FolderIsFile,
                 QStringLiteral("'%1' is a file, not a folder.").arg(path));
        return false;
    }
    return true;
}

// Checks that a parsed file is shaped like an icon set's index, so that merging into it can
// neither lose entries nor compare values that are not text.
bool checkShape(const QString& filePath, const JsonNode& root, Error* error)
{
    const JsonNode* images = root.member(u"images");
    if (!images)
        return true;
    if (!images->isArray()) {
        setError(error, ContentsJSONProcessor::ImagesNotArray,
                 QStringLiteral("In '%1', \"images\" is not a list.").arg(filePath));
        return false;
    }
    const std::vector<JsonNode>& entries = images->elements();
    for (size_t i = 0; i < entries.size(); ++i) {
        if (!entries[i].isObject()) {
            setError(error, ContentsJSONProcessor::ImageNotObject,
                     QStringLiteral("In '%1', entry %2 of \"images\" is not an object.")
                         .arg(filePath, QString::number(i + 1)));
            return false;
        }
        for (QStringView key : comparedKeys) {
            const JsonNode* value = entries[i].member(key);
            if (value && !value->isString()) {
                setError(error, ContentsJSONProcessor::ValueNotString,
                         QStringLiteral("In '%1', \"%2\" of entry %3 of \"images\" is not a text.")
                             .arg(filePath, key.toString(), QString::number(i + 1)));
                return false;
            }
        }
    }
    return true;
}

// Reads an existing Contents.json. Missing: there is none (a new icon set). Broken: there is one
// but it must not be merged into; error says why.
ReadOutcome readContents(const QString& filePath, JsonNode& root, Error* error)
{
    QByteArray data;
    if (const ReadOutcome read = readBytes(filePath, data, error); read != ReadOutcome::Loaded)
        return read;

    JsonNode document;
    JsonReader::Failure failure;
    // Deeper nesting than the writer goes is refused now, before any icon is written.
    if (!JsonReader::read(data, XcodeJSON::maxDepth, document, &failure)) {
        const QString offset = QString::number(failure.offset);
        switch (failure.problem) {
        case JsonReader::Problem::NotUtf8:
            // Rewriting such a file would change text the user never touched.
            setError(error, ContentsJSONProcessor::FileNotUTF8,
                     QStringLiteral("'%1' is not UTF-8 text (malformed byte at offset %2).")
                         .arg(filePath, offset));
            break;
        case JsonReader::Problem::TooDeep:
            setError(error, ContentsJSONProcessor::NestedTooDeep,
                     QStringLiteral("'%1' cannot be written back: %2")
                         .arg(filePath, XcodeJSON::tooDeepDescription()));
            break;
        case JsonReader::Problem::DuplicateKey:
            setError(error, ContentsJSONProcessor::DuplicateKey,
                     QStringLiteral("'%1' has %2 (the second at offset %3); merging into it would silently "
                                    "drop one of them.")
                         .arg(filePath, failure.description, offset));
            break;
        default:
            setError(error, ContentsJSONProcessor::FileNotJSON,
                     QStringLiteral("'%1' is not valid JSON: %2 at offset %3.")
                         .arg(filePath, failure.description, offset));
        }
        return ReadOutcome::Broken;
    }
    if (!document.isObject()) {
        setError(error, ContentsJSONProcessor::RootNotObject,
                 QStringLiteral("'%1' does not hold a JSON object at its top level.").arg(filePath));
        return ReadOutcome::Broken;
    }
    if (!checkShape(filePath, document, error))
        return ReadOutcome::Broken;
    root = std::move(document);
    return ReadOutcome::Loaded;
}

// The entry a catalogue size writes, spelled as the writer spells new values.
JsonNode entryOf(const ImageSize& size)
{
    JsonNode entry;
    XcodeJSON::toNode(size.dictionary(), entry); // texts only: nothing to refuse
    return entry;
}

// Makes the first entry holding entry's slot hold entry, or appends entry. Later holders of the
// slot stay as they are.
//
// An entry found is updated, not replaced: the keys a size writes take entry's values, or go when
// entry has none, and any other key stays exactly as it was written. A value whose text does not
// change keeps its spelling too, so a version-control diff shows only what really changed.
void addOrReplace(const JsonNode& entry, std::vector<JsonNode>& images, SlotIndex& index)
{
    const qsizetype at = index.firstHolder(entry);
    if (at < 0) {
        images.push_back(entry);
        index.add(images.back(), qsizetype(images.size()) - 1);
        return;
    }
    JsonNode& held = images[size_t(at)];
    for (QStringView key : ownedKeys) {
        const JsonNode* mine = entry.member(key);
        const JsonNode* theirs = held.member(key);
        if (!mine)
            held.remove(key);
        else if (!theirs || !theirs->isString() || theirs->toString() != mine->toString())
            held.insert(key.toString(), *mine);
    }
}

// The catalogue sizes of any of the categories, in catalogue order.
QList<ImageSize> sizesFor(ImageProcessor* processor, const QList<ImageCategory>& categories)
{
    if (!processor) {
        LOG_ERROR("No image processor set; the catalogue is empty");
        return {};
    }
    const QVariantList ids = ContentsJSONProcessor::imageCategoryIdsForImageCategories(categories);
    QList<ImageSize> sizes;
    for (const ImageSize& size : processor->allImageSizes()) {
        if (size.hasAnyCategoryId(ids))
            sizes.append(size);
    }
    return sizes;
}

} // namespace

ContentsJSONProcessor::ContentsJSONProcessor(ImageProcessor* imageProcessor) : imageProcessor_(imageProcessor)
{
}

JsonNode ContentsJSONProcessor::entryForImageSize(const ImageSize& size)
{
    return entryOf(size);
}

void ContentsJSONProcessor::addOrReplaceImageSize(const ImageSize& size, std::vector<JsonNode>& images) const
{
    SlotIndex index(images);
    addOrReplace(entryOf(size), images, index);
}

bool ContentsJSONProcessor::hasImageSizeWithImage(const ImageSize& size,
                                                  const std::vector<JsonNode>& images) const
{
    return SlotIndex(images).heldByOtherFile(entryOf(size));
}

QVariantList ContentsJSONProcessor::imageCategoryIdsForImageCategories(const QList<ImageCategory>& categories)
{
    QVariantList ids;
    ids.reserve(categories.size());
    for (const ImageCategory& category : categories)
        ids.append(QVariant::fromValue<qint64>(category.categoryId()));
    return ids;
}

bool ContentsJSONProcessor::checkContentsJSONInPath(const QString& path, Error* error)
{
    if (!checkFolder(path, error))
        return false;
    JsonNode root;
    return readContents(QDir(path).filePath(fileName), root, error) != ReadOutcome::Broken;
}

bool ContentsJSONProcessor::isBrokenFileError(const Error& error)
{
    return error.domain == errorDomain && error.code >= FileUnreadable && error.code <= DuplicateKey;
}

bool ContentsJSONProcessor::readImages(const QString& path, std::vector<JsonNode>& images, Error* error)
{
    images.clear();
    JsonNode root;
    if (readContents(QDir(path).filePath(fileName), root, error) == ReadOutcome::Broken)
        return false;
    if (JsonNode* list = root.member(u"images"))
        images = std::move(list->elements());
    return true;
}

std::optional<QList<ImageSize>>
ContentsJSONProcessor::imageJSONThatExistForCategories(const QList<ImageCategory>& categories,
                                                       const QString& path)
{
    return imageJSONThatExistForCategories(sizesFor(imageProcessor_, categories), path);
}

std::optional<QList<ImageSize>>
ContentsJSONProcessor::imageJSONThatExistForCategories(const QList<ImageSize>& sizes, const QString& path)
{
    const QString jsonPath = QDir(path).filePath(fileName);
    JsonNode root;
    Error error;
    switch (readContents(jsonPath, root, &error)) {
    case ReadOutcome::Missing:
        return std::nullopt;
    case ReadOutcome::Broken:
        // Nothing to ask the user about; the save itself reports the problem.
        LOG_ERROR("Error reading existing JSON file '%s' : %s", qUtf8Printable(jsonPath),
                  qUtf8Printable(error.localizedDescription));
        return std::nullopt;
    case ReadOutcome::Loaded:
        break;
    }
    const JsonNode* images = root.member(u"images");
    const SlotIndex index(images ? images->elements() : std::vector<JsonNode>());
    QList<ImageSize> kept;
    for (const ImageSize& size : sizes) {
        if (index.heldByOtherFile(entryOf(size)))
            kept.append(size);
    }
    if (kept.isEmpty())
        return std::nullopt;
    return kept;
}

bool ContentsJSONProcessor::saveJSONforCategories(const QList<ImageCategory>& categories, const QString& path,
                                                  Error* error)
{
    return saveJSONforCategories(sizesFor(imageProcessor_, categories), path, error);
}

bool ContentsJSONProcessor::saveJSONforCategories(const QList<ImageSize>& sizes, const QString& path,
                                                  Error* error)
{
    AtomicFile::Staged staged;
    return saveJSONforCategories(sizes, path, staged, error) && saveJSONforCategories(staged, error);
}

bool ContentsJSONProcessor::saveJSONforCategories(AtomicFile::Staged& staged, Error* error)
{
    Error writeError;
    if (!staged.commit(&writeError)) {
        LOG_ERROR("ERROR saving JSON to path '%s' : %s", qUtf8Printable(staged.path()),
                  qUtf8Printable(writeError.localizedDescription));
        setError(error, WriteFailed, writeError.localizedDescription);
        return false;
    }
    return true;
}

bool ContentsJSONProcessor::saveJSONforCategories(const QList<ImageSize>& sizes, const QString& path,
                                                   AtomicFile::Staged& staged, Error* error)
{
    const QString jsonPath = QDir(path).filePath(fileName);
    // The folder's faults are reported as failed saves, the file's as failed reads.
    const auto refuse = [&](bool reading, const Error& failure) {
        if (reading)
            LOG_ERROR("Error reading existing JSON file '%s' : %s", qUtf8Printable(jsonPath),
                      qUtf8Printable(failure.localizedDescription));
        else
            LOG_ERROR("ERROR saving JSON to path '%s' : %s", qUtf8Printable(jsonPath),
                      qUtf8Printable(failure.localizedDescription));
        if (error)
            *error = failure;
        return false;
    };
    JsonNode root;
    Error failure;
    if (sizes.isEmpty()) {
        // Nothing to write, and on purpose nothing to tell the user either, unless an existing
        // file turns out to be broken. A path that cannot be read as a file (no folder, a
        // folder or a pipe in its place) is no file.
        if (readContents(jsonPath, root, &failure) == ReadOutcome::Broken && failure.code != FileUnreadable)
            return refuse(true, failure);
        return false;
    }
    if (!checkFolder(path, &failure))
        return refuse(false, failure);

    switch (readContents(jsonPath, root, &failure)) {
    case ReadOutcome::Missing: {
        root = JsonNode(JsonNode::Type::Object);
        JsonNode info;
        XcodeJSON::toNode(
            QJsonObject{{QLatin1String("version"), 1}, {QLatin1String("author"), QLatin1String("xcode")}},
            info);
        root.insert(QStringLiteral("info"), std::move(info));
        break;
    }
    case ReadOutcome::Broken:
        return refuse(true, failure);
    case ReadOutcome::Loaded:
        break;
    }

    if (!root.member(u"images"))
        root.insert(QStringLiteral("images"), JsonNode(JsonNode::Type::Array));
    std::vector<JsonNode>& images = root.member(u"images")->elements();
    SlotIndex index(images);
    for (const ImageSize& size : sizes)
        addOrReplace(entryOf(size), images, index);

    QByteArray text;
    const bool serialized = XcodeJSON::serialize(root, text, &failure);
    LOG_VERBOSE("json: %s", text.constData());
    if (!serialized) {
        LOG_ERROR("ERROR creating JSON : %s", qUtf8Printable(failure.localizedDescription));
        setError(error, SerializationFailed, failure.localizedDescription);
        return false;
    }

    // Synced before the rename: a project's Contents.json must never be left broken.
    Error writeError;
    if (!staged.stage(jsonPath, text, &writeError, AtomicFile::Durability::PowerLoss)) {
        LOG_ERROR("ERROR saving JSON to path '%s' : %s", qUtf8Printable(jsonPath),
                  qUtf8Printable(writeError.localizedDescription));
        setError(error, WriteFailed, writeError.localizedDescription);
        return false;
    }
    return true;
}

} // namespace iconfoundry
