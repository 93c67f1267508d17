#pragma once

#include "iconset/imagecategory.h"
#include "iconset/imagesize.h"
#include "iconset/jsonnode.h"
#include "platform/atomicfile.h"
#include "platform/error.h"

#include <QList>
#include <QString>
#include <QVariantList>
#include <optional>
#include <vector>

namespace iconfoundry {

class ImageProcessor;

// Writes an app-icon set's "Contents.json" for chosen categories, or merges their entries into
// the file the folder already has, keeping every entry and top-level key it does not replace.
//
// - Ownership: holds the ImageProcessor by a plain, non-owning pointer. The application owns
//   both processors for the life of the process, so the pointer never dangles; tests pass one
//   that lives on their stack. Its catalogue (allImageSizes) gives the entries and their order.
// - Each call reads the file afresh; nothing is kept between calls. Synchronous, on the caller's
//   thread; not thread-safe (the catalogue's lazy load is not locked).
// - The file is replaced as a whole (written to a temporary file in the same folder, then renamed)
//   or left exactly as it was. It is written in Xcode's own layout (see XcodeJSON), so a project
//   under version control sees only the lines that really changed. Whatever the merge does not
//   replace (other entries, unknown keys, an unknown key's value at any depth) keeps the exact
//   text it was read with: digits and escapes are never rewritten.
// - Merging is linear in the file's size: entries are found through their slots (SlotIndex).
// - An existing file that cannot be merged safely is refused with an error and left untouched:
//   not a regular file (a folder, a pipe, a device, a socket; looked at before it is opened, so
//   nothing can block), unreadable, larger than maxFileSize, not UTF-8, not JSON, an object naming
//   one key twice, nesting deeper than the writer goes, a root that is not an object, "images"
//   that is not a list of objects, or an entry whose "idiom", "size", "scale" or "filename" is
//   not a string.
class ContentsJSONProcessor
{
public:
    explicit ContentsJSONProcessor(ImageProcessor* imageProcessor = nullptr);

    ImageProcessor* imageProcessor() const { return imageProcessor_; }
    void setImageProcessor(ImageProcessor* imageProcessor) { imageProcessor_ = imageProcessor; }

    // The catalogue sizes of the categories whose slot in the folder's existing Contents.json is
    // held by a different file, in catalogue order; absent when there is none, when the file does
    // not exist or when it cannot be used (logged), never an empty list.
    std::optional<QList<ImageSize>> imageJSONThatExistForCategories(const QList<ImageCategory>& categories,
                                                                    const QString& path);

    // Writes or merges the folder's Contents.json with one entry per catalogue size of the
    // categories. False with an error for a broken existing file or a failed write. When the
    // categories name no size it writes nothing and returns false, with an error only for an
    // existing file that was read and found broken: a missing folder, or a path that is no
    // file, is not worth an error when there is nothing to write.
    bool saveJSONforCategories(const QList<ImageCategory>& categories, const QString& path,
                               Error* error = nullptr);

    // The same two for sizes chosen by the caller, in the caller's order (under the same names,
    // so that their log lines name the same operations).
    std::optional<QList<ImageSize>> imageJSONThatExistForCategories(const QList<ImageSize>& sizes,
                                                                    const QString& path);
    bool saveJSONforCategories(const QList<ImageSize>& sizes, const QString& path, Error* error = nullptr);
    // The same save in two halves, so that the disk sync can run while the icons the file names
    // are still being written (under the same name, so that their log lines name the same
    // operation): the first writes and syncs the merged file under a temporary name into staged
    // and fails like the save above; the second puts it in place.
    bool saveJSONforCategories(const QList<ImageSize>& sizes, const QString& path, AtomicFile::Staged& staged,
                               Error* error = nullptr);
    static bool saveJSONforCategories(AtomicFile::Staged& staged, Error* error = nullptr);
    // The "images" of the folder's Contents.json, as written; none when there is no file. False,
    // with the error, for a file that cannot be merged into.
    static bool readImages(const QString& path, std::vector<JsonNode>& images, Error* error = nullptr);

    // Makes the first entry holding size's slot (see SlotIndex: same "idiom" and "size", the same
    // "scale" or, without one, the same "platform", and the same appearances) hold size's entry,
    // or appends that entry. An entry found keeps its keys other than those a size
    // writes ("filename", "idiom", "platform", "role", "scale", "size", "subtype"), as they were
    // written; of those, it has exactly the ones size's entry has.
    void addOrReplaceImageSize(const ImageSize& size, std::vector<JsonNode>& images) const;
    // True when an entry holds size's slot with a "filename" other than size's file name.
    bool hasImageSizeWithImage(const ImageSize& size, const std::vector<JsonNode>& images) const;

    // The entry size writes, as the writer spells it.
    static JsonNode entryForImageSize(const ImageSize& size);
    // The categoryId of each category, in the same order.
    static QVariantList imageCategoryIdsForImageCategories(const QList<ImageCategory>& categories);

    // Succeeds when path is an existing folder whose Contents.json is absent or could be merged
    // into; otherwise the error says what is wrong. Lets a caller refuse before it writes any
    // icon file.
    static bool checkContentsJSONInPath(const QString& path, Error* error = nullptr);

    static constexpr qint64 maxFileSize = 8 * 1024 * 1024;
    static inline const QString fileName = QStringLiteral("Contents.json");
    static inline const QString errorDomain = QStringLiteral("ContentsJSONProcessor");
    enum ErrorCode
    {
        // The existing Contents.json cannot be used; it is left as it is.
        FileUnreadable = 1,
        FileTooLarge,
        FileNotUTF8,
        FileNotJSON,
        RootNotObject,
        ImagesNotArray,
        ImageNotObject,
        ValueNotString,
        NestedTooDeep, // valid JSON that the writer could not write back
        DuplicateKey,  // one of the values would be lost

        // The folder cannot take the file.
        FolderMissing = 20,
        FolderIsFile,
        // Writing failed.
        SerializationFailed = 30,
        WriteFailed,
    };
    // True for the codes that describe a broken existing file.
    static bool isBrokenFileError(const Error& error);

private:
    ImageProcessor* imageProcessor_ = nullptr;
};

} // namespace iconfoundry
