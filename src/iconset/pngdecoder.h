#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QImage>
#include <QPoint>
#include <QSize>
#include <QString>
#include <optional>
#include <vector>

namespace iconfoundry {

// Decodes the PNGs that drawing tools and this application write (8 bits per sample, RGB or
// RGBA, not interlaced) straight into Format_ARGB32_Premultiplied, without the general image
// reader: the zlib stream is inflated in one call into the image's own buffer, and each row is
// unfiltered and premultiplied while it is still in the cache. Decoding the source is on the
// critical path of every run, and this is several times quicker than going through libpng's
// row callbacks and a separate conversion pass.
//
// Anything else is left to the general reader: canDecode() is false for other depths and colour
// types, interlacing, animation, a transparent colour key, gamma or chromaticity chunks, unknown
// critical chunks, bad checksums and any structural oddity, so that every file this class does
// not take comes out as it always did. A file with an ICC profile is decoded with straight alpha
// (Format_ARGB32) and carries the profile as its colour space, for the caller's conversion.
//
// Nothing large is allocated before decode(): the caller checks size() against its limits first.
class PngDecoder
{
public:
    // Reads the chunk structure of a whole file held in memory, which must outlive the decoder.
    explicit PngDecoder(QByteArrayView file);

    bool canDecode() const { return canDecode_; }
    QSize size() const { return QSize(int(width_), int(height_)); }

    enum class Result
    {
        Decoded,
        Unsupported, // leave the file to the general reader
        Corrupt,     // damaged beyond what any reader would accept; reason says how
    };
    Result decode(QImage* image, QString* reason) const;

private:
    bool readChunks(QByteArrayView file);

    std::vector<QByteArrayView> idat_;
    quint32 width_ = 0;
    quint32 height_ = 0;
    int channels_ = 0; // 3 (RGB) or 4 (RGBA)
    bool srgb_ = false;
    QByteArray iccProfile_;
    std::optional<QPoint> dotsPerMeter_;
    bool canDecode_ = false;
};

} // namespace iconfoundry
