#include "iconset/contentsjsonprocessor.h"

#include "iconset/imageprocessor.h"
#include "iconset/xcodejson.h"
#include "logging/log.h"
#include "platform/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

namespace iconfoundry {

namespace {

// The members of an entry that the merge compares; anything else in an entry is carried along.
const char* const slotKeys[] = {"idiom", "size", "scale"};
const char* const comparedKeys[] = {"idiom", "size", "scale", "filename"};

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

// Offset of the first byte that does not belong to well-formed UTF-8 (overlong forms, surrogates
// and code points above U+10FFFF included), or -1 when all of it is well-formed.
qsizetype firstInvalidUtf8(const QByteArray& data)
{
    const auto* p = reinterpret_cast<const unsigned char*>(data.constData());
    const qsizetype n = data.size();
    qsizetype i = 0;
    while (i < n) {
        const unsigned char c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        int length = 0;
        unsigned char low = 0x80, high = 0xbf; // allowed range of the second byte
        if (c >= 0xc2 && c <= 0xdf) {
            length = 2;
        } else if (c >= 0xe0 && c <= 0xef) {
            length = 3;
            if (c == 0xe0)
                low = 0xa0;
            else if (c == 0xed)
                high = 0x9f;
        } else if (c >= 0xf0 && c <= 0xf4) {
            length = 4;
            if (c == 0xf0)
                low = 0x90;
            else if (c == 0xf4)
                high = 0x8f;
        } else {
            return i;
        }
        if (i + length > n)
            return i;
        if (p[i + 1] < low || p[i + 1] > high)
            return i;
        for (int k = 2; k < length; ++k) {
            if ((p[i + k] & 0xc0) != 0x80)
                return i;
        }
        i += length;
    }
    return -1;
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
bool checkShape(const QString& filePath, const QJsonObject& root, Error* error)
{
    if (!root.contains(QLatin1String("images")))
        return true;
    const QJsonValue images = root.value(QLatin1String("images"));
    if (!images.isArray()) {
        setError(error, ContentsJSONProcessor::ImagesNotArray,
                 QStringLiteral("In '%1', \"images\" is not a list.").arg(filePath));
        return false;
    }
    const QJsonArray array = images.toArray();
    for (qsizetype i = 0; i < array.size(); ++i) {
        if (!array.at(i).isObject()) {
            setError(error, ContentsJSONProcessor::ImageNotObject,
                     QStringLiteral("In '%1', entry %2 of \"images\" is not an object.")
                         .arg(filePath, QString::number(i + 1)));
            return false;
        }
        const QJsonObject entry = array.at(i).toObject();
        for (const char* key : comparedKeys) {
            const QJsonValue value = entry.value(QLatin1String(key));
            if (!value.isUndefined() && !value.isString()) {
                setError(error, ContentsJSONProcessor::ValueNotString,
                         QStringLiteral("In '%1', \"%2\" of entry %3 of \"images\" is not a text.")
                             .arg(filePath, QLatin1String(key), QString::number(i + 1)));
                return false;
            }
        }
    }
    return true;
}

// Reads an existing Contents.json. Missing: there is none (a new icon set). Broken: there is one
// but it must not be merged into; error says why.
ReadOutcome readContents(const QString& filePath, QJsonObject& root, Error* error)
{
    const QFileInfo info(filePath);
    if (!info.exists())
        return ReadOutcome::Missing;
    if (info.isDir()) {
        setError(error, ContentsJSONProcessor::FileUnreadable,
                 QStringLiteral("'%1' is a folder, not a file.").arg(filePath));
        return ReadOutcome::Broken;
    }
    const auto tooLarge = [&](qint64 size) {
        setError(
            error, ContentsJSONProcessor::FileTooLarge,
            QStringLiteral("'%1' is %2 bytes long; a Contents.json of more than %3 bytes is refused.")
                .arg(filePath, QString::number(size), QString::number(ContentsJSONProcessor::maxFileSize)));
        return ReadOutcome::Broken;
    };
    // Refuse a huge file before reading it.
    if (info.size() > ContentsJSONProcessor::maxFileSize)
        return tooLarge(info.size());

    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, ContentsJSONProcessor::FileUnreadable,
                 QStringLiteral("Could not read '%1': %2").arg(filePath, file.errorString()));
        return ReadOutcome::Broken;
    }
    // The size may have changed since it was looked at; never read more than the limit.
    const QByteArray data = file.read(ContentsJSONProcessor::maxFileSize + 1);
    if (file.error() != QFileDevice::NoError) {
        setError(error, ContentsJSONProcessor::FileUnreadable,
                 QStringLiteral("Could not read '%1': %2").arg(filePath, file.errorString()));
        return ReadOutcome::Broken;
    }
    if (data.size() > ContentsJSONProcessor::maxFileSize)
        return tooLarge(data.size());

    // Qt's parser would quietly replace malformed bytes inside strings; rewriting such a file
    // would change text the user never touched.
    if (const qsizetype bad = firstInvalidUtf8(data); bad >= 0) {
        setError(error, ContentsJSONProcessor::FileNotUTF8,
                 QStringLiteral("'%1' is not UTF-8 text (malformed byte at offset %2).")
                     .arg(filePath, QString::number(bad)));
        return ReadOutcome::Broken;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        setError(error, ContentsJSONProcessor::FileNotJSON,
                 QStringLiteral("'%1' is not valid JSON: %2 at offset %3.")
                     .arg(filePath, parseError.errorString(), QString::number(parseError.offset)));
        return ReadOutcome::Broken;
    }
    if (!document.isObject()) {
        setError(error, ContentsJSONProcessor::RootNotObject,
                 QStringLiteral("'%1' does not hold a JSON object at its top level.").arg(filePath));
        return ReadOutcome::Broken;
    }
    root = document.object();
    if (!checkShape(filePath, root, error))
        return ReadOutcome::Broken;
    // The parser takes deeper nesting than the writer; find out now, before any icon is written.
    QByteArray text;
    if (Error tooDeep; !XcodeJSON::serialize(root, text, &tooDeep)) {
        setError(
            error, ContentsJSONProcessor::NestedTooDeep,
            QStringLiteral("'%1' cannot be written back: %2").arg(filePath, tooDeep.localizedDescription));
        return ReadOutcome::Broken;
    }
    return ReadOutcome::Loaded;
}

// Entry and size hold the same slot when the size's entry has "idiom", "size" and "scale" and the
// entry has each with the same text. A key the size's entry lacks never matches.
bool holdsSameSlot(const QJsonValue& entryValue, const QJsonObject& sizeEntry)
{
    const QJsonObject entry = entryValue.toObject();
    for (const char* key : slotKeys) {
        const QJsonValue mine = sizeEntry.value(QLatin1String(key));
        if (!mine.isString())
            return false;
        const QJsonValue theirs = entry.value(QLatin1String(key));
        if (!theirs.isString() || theirs.toString() != mine.toString())
            return false;
    }
    return true;
}

const QList<ImageSize>& catalogueSizes(ImageProcessor* processor)
{
    static const QList<ImageSize> none;
    if (!processor) {
        LOG_ERROR("No image processor set; the catalogue is empty");
        return none;
    }
    return processor->allImageSizes();
}

} // namespace

ContentsJSONProcessor::ContentsJSONProcessor(ImageProcessor* imageProcessor) : imageProcessor_(imageProcessor)
{
}

void ContentsJSONProcessor::addOrReplaceImageSize(const ImageSize& size, QJsonArray& images) const
{
    const QJsonObject entry = size.dictionary();
    for (qsizetype i = 0; i < images.size(); ++i) {
        if (holdsSameSlot(images.at(i), entry)) {
            // The whole old entry goes, its extra keys included; later duplicates stay.
            images.replace(i, entry);
            return;
        }
    }
    images.append(entry);
}

bool ContentsJSONProcessor::hasImageSizeWithImage(const ImageSize& size, const QJsonArray& images) const
{
    const QJsonObject entry = size.dictionary();
    const QJsonValue mine = entry.value(QLatin1String("filename"));
    for (const QJsonValue& image : images) {
        if (!holdsSameSlot(image, entry))
            continue;
        const QJsonValue theirs = image.toObject().value(QLatin1String("filename"));
        if (theirs.isUndefined())
            continue; // an empty slot
        if (!mine.isString() || theirs != mine)
            return true;
    }
    return false;
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
    QJsonObject root;
    return readContents(QDir(path).filePath(fileName), root, error) != ReadOutcome::Broken;
}

bool ContentsJSONProcessor::isBrokenFileError(const Error& error)
{
    return error.domain == errorDomain && error.code >= FileUnreadable && error.code <= NestedTooDeep;
}

std::optional<QList<ImageSize>>
ContentsJSONProcessor::imageJSONThatExistForCategories(const QList<ImageCategory>& categories,
                                                       const QString& path)
{
    const QString jsonPath = QDir(path).filePath(fileName);
    QJsonObject root;
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
    const QJsonArray images = root.value(QLatin1String("images")).toArray();
    const QVariantList ids = imageCategoryIdsForImageCategories(categories);
    QList<ImageSize> kept;
    for (const ImageSize& size : catalogueSizes(imageProcessor_)) {
        if (size.hasAnyCategoryId(ids) && hasImageSizeWithImage(size, images))
            kept.append(size);
    }
    if (kept.isEmpty())
        return std::nullopt;
    return kept;
}

bool ContentsJSONProcessor::saveJSONforCategories(const QList<ImageCategory>& categories, const QString& path,
                                                  Error* error)
{
    const QString jsonPath = QDir(path).filePath(fileName);
    Error failure;
    if (!checkFolder(path, &failure)) {
        LOG_ERROR("ERROR saving JSON to path '%s' : %s", qUtf8Printable(jsonPath),
                  qUtf8Printable(failure.localizedDescription));
        if (error)
            *error = failure;
        return false;
    }

    QJsonObject root;
    switch (readContents(jsonPath, root, &failure)) {
    case ReadOutcome::Missing:
        root.insert(QLatin1String("info"), QJsonObject{{QLatin1String("version"), 1},
                                                       {QLatin1String("author"), QLatin1String("xcode")}});
        break;
    case ReadOutcome::Broken:
        LOG_ERROR("Error reading existing JSON file '%s' : %s", qUtf8Printable(jsonPath),
                  qUtf8Printable(failure.localizedDescription));
        if (error)
            *error = failure;
        return false;
    case ReadOutcome::Loaded:
        break;
    }

    QJsonArray images = root.value(QLatin1String("images")).toArray();
    const QVariantList ids = imageCategoryIdsForImageCategories(categories);
    bool changed = false;
    for (const ImageSize& size : catalogueSizes(imageProcessor_)) {
        if (size.hasAnyCategoryId(ids)) {
            addOrReplaceImageSize(size, images);
            changed = true;
        }
    }
    // Categories that name no size write nothing and fail without an error, on purpose: there
    // is nothing to tell the user.
    if (!changed)
        return false;
    root.insert(QLatin1String("images"), images);

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
    if (!AtomicFile::write(jsonPath, text, &writeError, AtomicFile::Durability::PowerLoss)) {
        LOG_ERROR("ERROR saving JSON to path '%s' : %s", qUtf8Printable(jsonPath),
                  qUtf8Printable(writeError.localizedDescription));
        setError(error, WriteFailed, writeError.localizedDescription);
        return false;
    }
    return true;
}

} // namespace iconfoundry
