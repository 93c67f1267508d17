#include "iconset/icowriter.h"

#include "iconset/pngwriter.h"

#include <QtEndian>

namespace iconfoundry {

namespace {

void put16(QByteArray& out, quint16 value)
{
    char bytes[2];
    qToLittleEndian(value, bytes);
    out.append(bytes, 2);
}

void put32(QByteArray& out, quint32 value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, 4);
}

// A BMP entry: the header says twice the height, because the colour rows and the mask rows are
// stacked in one bitmap.
QByteArray bmpEntry(const QImage& image)
{
    const QImage pixels = image.convertToFormat(QImage::Format_ARGB32);
    const int w = pixels.width(), h = pixels.height();
    const int maskStride = ((w + 31) / 32) * 4;
    QByteArray out;
    out.reserve(40 + w * h * 4 + maskStride * h);
    put32(out, 40);
    put32(out, quint32(w));
    put32(out, quint32(2 * h));
    put16(out, 1);  // planes
    put16(out, 32); // bits per pixel
    put32(out, 0);  // BI_RGB
    put32(out, quint32(w * h * 4 + maskStride * h));
    put32(out, 0);
    put32(out, 0);
    put32(out, 0);
    put32(out, 0);
    for (int y = h - 1; y >= 0; --y) {
        const auto* row = reinterpret_cast<const QRgb*>(pixels.constScanLine(y));
        for (int x = 0; x < w; ++x)
            put32(out, row[x]); // 0xAARRGGBB little-endian is B, G, R, A
    }
    for (int y = h - 1; y >= 0; --y) {
        const auto* row = reinterpret_cast<const QRgb*>(pixels.constScanLine(y));
        QByteArray mask(maskStride, '\0');
        for (int x = 0; x < w; ++x)
            if (qAlpha(row[x]) == 0)
                mask[x / 8] = char(quint8(mask[x / 8]) | (0x80 >> (x % 8)));
        out.append(mask);
    }
    return out;
}

} // namespace

QByteArray IcoWriter::encode(const QList<QImage>& images)
{
    if (images.isEmpty() || images.size() > 0xffff)
        return {};
    QList<QByteArray> entries;
    for (const QImage& image : images) {
        if (image.isNull() || image.width() > kMaxSide || image.height() > kMaxSide)
            return {};
        entries.append(image.width() >= kMaxSide || image.height() >= kMaxSide ? PngWriter::encode(image)
                                                                               : bmpEntry(image));
        if (entries.last().isEmpty())
            return {};
    }
    QByteArray out;
    put16(out, 0); // reserved
    put16(out, 1); // icon
    put16(out, quint16(images.size()));
    quint32 offset = quint32(6 + 16 * images.size());
    for (qsizetype i = 0; i < images.size(); ++i) {
        // 0 stands for 256 in the one-byte sides.
        out.append(char(images[i].width() & 0xff));
        out.append(char(images[i].height() & 0xff));
        out.append('\0'); // no palette
        out.append('\0');
        put16(out, 1);
        put16(out, 32);
        put32(out, quint32(entries[i].size()));
        put32(out, offset);
        offset += quint32(entries[i].size());
    }
    for (const QByteArray& entry : entries)
        out.append(entry);
    return out;
}

} // namespace iconfoundry
