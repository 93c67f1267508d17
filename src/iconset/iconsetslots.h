#pragma once

#include "iconset/imagesize.h"
#include "iconset/jsonnode.h"

#include <QList>
#include <QStringList>
#include <vector>

namespace iconfoundry {

// What an existing icon set asks for: the slots its Contents.json already has, and the file
// names it already uses. Projects made by other tools (a Flutter or React Native template, an
// older Xcode) name their files their own way; refreshing such a set must change only the pixels
// of those files, so that nothing in the project has to follow and no file is left unreferenced.
//
// Pure functions over the parsed "images" list; thread-safe.
class IconSetSlots
{
public:
    struct Plan
    {
        QList<ImageSize> sizes; // one per slot to fill, in the order of the set's entries
        QStringList skipped;    // why an entry is left as it is, one line each
    };

    // One size for every entry of images that holds a slot, in the entries' order (a slot held
    // twice counts once): the catalogue's size for that slot when it has one, otherwise a size
    // made from the entry itself (square or cut to its shape, at its scale, in its appearance).
    // An entry is left alone when it holds no slot, asks for an appearance other than dark or
    // tinted, or for an icon larger than maxDerivedPixels a side. The sizes carry the catalogue's
    // file names, or for sizes made from entries a name made from the slot.
    static Plan slotsOfSet(const std::vector<JsonNode>& images, const QList<ImageSize>& catalogue);

    // Gives each size the file name the entry of its slot already references, when that name is a
    // plain PNG file name in the set's folder and no earlier size with other pixels took it.
    static void keepFileNames(QList<ImageSize>& sizes, const std::vector<JsonNode>& images);

    // The file names the entries reference, as texts, each once.
    static QStringList referencedFileNames(const std::vector<JsonNode>& images);

    // A name the set may use for a file we write: no folder part, not hidden, ends in ".png".
    static bool isPlainPngName(const QString& name);

    static constexpr int maxDerivedPixels = 1024;
};

} // namespace iconfoundry
