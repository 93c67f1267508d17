#pragma once

#include <QByteArray>
#include <QImage>

// Encodes bitmaps as PNG: always 8 bits per sample, colour type 6 (RGBA, straight alpha),
// non-interlaced, exactly the bitmap's pixel dimensions, no ancillary chunks.
//
// Premultiplied sources are un-premultiplied on the way out; fully transparent pixels are written
// as 0,0,0,0. Each row gets the PNG filter that makes it cheapest to compress (smallest sum of
// absolute differences); small images also try a few whole-image filters and keep the smallest
// file. Deflate is libdeflate's.
//
// Thread-safe: every call uses its own buffers (compressors are cached per thread).
class PngWriter
{
public:
    // The libdeflate level used when none is given (1 = fastest ... 12 = smallest).
    static constexpr int kDefaultLevel = 6;

    // Returns the PNG file bytes, or an empty array for a null or empty image (or when memory runs
    // out). compressionLevel 0 picks the default; values are clamped to 1..12.
    static QByteArray encode(const QImage& image, int compressionLevel = 0);
};
