#pragma once

#include "iconset/image.h"
#include "iconset/imagecategory.h"
#include "iconset/imagesize.h"
#include "iconset/jsonnode.h"
#include "platform/error.h"

#include <QHash>
#include <QList>
#include <QSize>
#include <QStringList>
#include <functional>
#include <vector>

namespace iconfoundry {

class ImageProcessor;

// What one save into a folder writes, decided before anything is written, so that the command
// line and the window agree on it and can ask (or refuse) first:
// - which sizes: the categories asked for; else, in an icon set, the slots its Contents.json
//   already has; else the fallback categories (the defaults, or what the user ticked);
// - under which names: in an icon set, the names its entries already use (a Flutter or React
//   Native set changes only its pixels), ours for new slots;
// - from which image: dark slots from the dark image, tinted slots from the tinted one, the
//   rest from the main image;
// - what it replaces: files that exist but the set does not reference (the user must agree),
//   files the set references (its own icons, refreshed without a question), and Contents.json
//   slots held by other files.
//
// A plan is a value; make() reads the folder once. Writing uses the processor's background colour
// for the sizes that must be opaque. Not thread-safe while being made (the catalogue's lazy load
// is not locked); write() may run on any one thread.
class IconSetPlan
{
public:
    enum class SlotsFrom
    {
        Categories, // the categories asked for, or the fallback
        IconSet     // the slots the icon set's Contents.json already has
    };
    // Done and total count sizes; fileName is the file just written.
    using Progress = std::function<void(int done, int total, const QString& fileName)>;

    // The images sizes are drawn from. Missing ones are filled in by completeSources().
    struct Sources
    {
        ImagePtr image;
        ImagePtr dark;
        ImagePtr tinted;
    };

    // Plans a save into folder. With iconSet, folder is an Xcode icon set whose Contents.json (if
    // any) is read: false, with the error, when it cannot be merged into, and plan is left empty.
    // categories empty means "let the set decide": its own slots, else fallback.
    static bool make(ImageProcessor& processor, const QString& folder, bool iconSet,
                     const QList<ImageCategory>& categories, const QList<ImageCategory>& fallback,
                     IconSetPlan& plan, Error* error = nullptr);

    SlotsFrom slotsFrom() const { return slotsFrom_; }
    // The categories the sizes came from; empty when the set's slots decided.
    const QList<ImageCategory>& categories() const { return categories_; }
    // One per slot or file to write, in order, with the names they are written under.
    const QList<ImageSize>& sizes() const { return sizes_; }
    // Entries of the set left as they are, one line each saying why.
    const QStringList& skipped() const { return skipped_; }

    // The sizes of each appearance.
    QList<ImageSize> mainSizes() const;
    QList<ImageSize> darkSizes() const;
    QList<ImageSize> tintedSizes() const;
    // The descriptions of the sizes written without alpha.
    QStringList opaqueSlots() const;

    // The file names, each once, in the order of sizes().
    const QStringList& files() const { return files_; }
    // The pixel size of a file (of the last size written under that name).
    QSize pixelSize(const QString& fileName) const { return pixels_.value(fileName); }
    // Files that exist in the folder and the set does not reference: replacing them needs the
    // user's word.
    const QStringList& existingFiles() const { return existingFiles_; }
    // Files that exist and the set references: its icons, refreshed in place.
    const QStringList& refreshedFiles() const { return refreshedFiles_; }
    // Sizes whose slot in Contents.json another file holds.
    const QList<ImageSize>& takenSlots() const { return takenSlots_; }

    // True when both plans fill the same slots (whatever their names and order).
    bool fillsSameSlots(const IconSetPlan& other) const;

    // Fills in the images the user did not give: the dark slots show the main image, the tinted
    // ones a grey image made from it (only made when there are tinted slots). False when that
    // grey image cannot be made.
    bool completeSources(Sources& sources) const;
    // Writes every size from the image of its appearance, main, dark then tinted; sources must be
    // complete. A failed group does not stop the others; the error is the last failure's.
    bool write(ImageProcessor& processor, const Sources& sources, Error* error = nullptr,
               const Progress& progress = {}) const;

private:
    void finish(ImageProcessor& processor, const QString& folder, bool iconSet,
                const std::vector<JsonNode>& images);

    SlotsFrom slotsFrom_ = SlotsFrom::Categories;
    QString folder_;
    QList<ImageCategory> categories_;
    QList<ImageSize> sizes_;
    QStringList skipped_;
    QStringList files_;
    QHash<QString, QSize> pixels_;
    QStringList existingFiles_;
    QStringList refreshedFiles_;
    QList<ImageSize> takenSlots_;
};

} // namespace iconfoundry
