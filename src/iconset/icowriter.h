#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>

namespace iconfoundry {

// Writes Windows icon files (.ico): one directory of entries, one per image, each at most 256
// pixels a side, in the order given.
//
// Entries below 256 pixels are 32-bit BMP images (BITMAPINFOHEADER, rows bottom-up, straight
// BGRA, then the 1-bit AND mask that marks fully transparent pixels), the form every reader knows;
// 256-pixel entries are PNG, which readers have taken for that size since Windows Vista and which
// keeps the file small. Stateless and thread-safe.
class IcoWriter
{
public:
    static constexpr int kMaxSide = 256;

    // The file's bytes; empty when there is no image, an image is empty or larger than kMaxSide.
    static QByteArray encode(const QList<QImage>& images);
};

} // namespace iconfoundry
