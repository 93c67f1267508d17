#include "iconset/pngwriter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <libdeflate.h>
#include <new>
#include <vector>

namespace {

// Images up to this many pixels try every whole-image filter as well; for them the extra deflate
// runs cost little and regularly save a few percent.
constexpr qsizetype kSmallImagePixels = 160 * 160;

enum Filter : uint8_t
{
    None = 0,
    Sub = 1,
    Up = 2,
    Average = 3,
    Paeth = 4,
    Adaptive = 255
};

// libdeflate compressors are a few hundred KiB each; keep one per level and thread.
class CompressorCache
{
public:
    ~CompressorCache()
    {
        for (auto* c : compressors_)
            if (c)
                libdeflate_free_compressor(c);
    }
    libdeflate_compressor* get(int level)
    {
        auto& c = compressors_[level];
        if (!c)
            c = libdeflate_alloc_compressor(level);
        return c;
    }

private:
    std::array<libdeflate_compressor*, 13> compressors_{};
};

thread_local CompressorCache compressorCache;

inline uint8_t unpremultiply(unsigned c, unsigned a)
{
    return uint8_t(std::min(255u, (c * 255 + a / 2) / a));
}

// One row as straight RGBA bytes.
void straightRow(const QImage& image, int y, uint8_t* out)
{
    const int w = image.width();
    switch (image.format()) {
    case QImage::Format_ARGB32_Premultiplied:
    case QImage::Format_ARGB32:
    case QImage::Format_RGB32: {
        const auto* px = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        const bool premultiplied = image.format() == QImage::Format_ARGB32_Premultiplied;
        const bool opaque = image.format() == QImage::Format_RGB32;
        for (int x = 0; x < w; ++x, out += 4) {
            const QRgb p = px[x];
            const unsigned a = opaque ? 255u : unsigned(qAlpha(p));
            if (a == 0) {
                std::memset(out, 0, 4);
            } else if (a == 255 || !premultiplied) {
                out[0] = uint8_t(qRed(p));
                out[1] = uint8_t(qGreen(p));
                out[2] = uint8_t(qBlue(p));
                out[3] = uint8_t(a);
            } else {
                out[0] = unpremultiply(qRed(p), a);
                out[1] = unpremultiply(qGreen(p), a);
                out[2] = unpremultiply(qBlue(p), a);
                out[3] = uint8_t(a);
            }
        }
        break;
    }
    default: { // RGBA8888, RGBA8888_Premultiplied, RGBX8888: bytes R, G, B, A in memory
        const uint8_t* in = image.constScanLine(y);
        const bool premultiplied = image.format() == QImage::Format_RGBA8888_Premultiplied;
        const bool opaque = image.format() == QImage::Format_RGBX8888;
        for (int x = 0; x < w; ++x, in += 4, out += 4) {
            const unsigned a = opaque ? 255u : in[3];
            if (a == 0) {
                std::memset(out, 0, 4);
            } else if (a == 255 || !premultiplied) {
                std::memcpy(out, in, 3);
                out[3] = uint8_t(a);
            } else {
                out[0] = unpremultiply(in[0], a);
                out[1] = unpremultiply(in[1], a);
                out[2] = unpremultiply(in[2], a);
                out[3] = uint8_t(a);
            }
        }
        break;
    }
    }
}

inline uint8_t paeth(int a, int b, int c)
{
    const int pa = std::abs(b - c);
    const int pb = std::abs(a - c);
    const int pc = std::abs(a + b - 2 * c);
    if (pa <= pb && pa <= pc)
        return uint8_t(a);
    return uint8_t(pb <= pc ? b : c);
}

// Filters one row of n bytes (4 bytes per pixel) with filter f into out.
void applyFilter(Filter f, const uint8_t* cur, const uint8_t* prev, size_t n, uint8_t* out)
{
    switch (f) {
    case None:
        std::memcpy(out, cur, n);
        break;
    case Sub:
        std::memcpy(out, cur, 4);
        for (size_t i = 4; i < n; ++i)
            out[i] = uint8_t(cur[i] - cur[i - 4]);
        break;
    case Up:
        for (size_t i = 0; i < n; ++i)
            out[i] = uint8_t(cur[i] - prev[i]);
        break;
    case Average:
        for (size_t i = 0; i < 4; ++i)
            out[i] = uint8_t(cur[i] - (prev[i] >> 1));
        for (size_t i = 4; i < n; ++i)
            out[i] = uint8_t(cur[i] - ((cur[i - 4] + prev[i]) >> 1));
        break;
    case Paeth:
        for (size_t i = 0; i < 4; ++i)
            out[i] = uint8_t(cur[i] - prev[i]);
        for (size_t i = 4; i < n; ++i)
            out[i] = uint8_t(cur[i] - paeth(cur[i - 4], prev[i], prev[i - 4]));
        break;
    default:
        break;
    }
}

// The usual cost estimate: bytes read as signed values, sum of magnitudes.
uint64_t cost(const uint8_t* row, size_t n)
{
    uint64_t sum = 0;
    for (size_t i = 0; i < n; ++i)
        sum += row[i] < 128 ? row[i] : 256 - row[i];
    return sum;
}

// The filtered image data (one filter byte and the filtered row per row), ready for deflate.
std::vector<uint8_t> filterImage(const std::vector<uint8_t>& straight, int width, int height, Filter strategy)
{
    const size_t n = size_t(width) * 4;
    std::vector<uint8_t> out((n + 1) * height);
    const std::vector<uint8_t> zeros(n, 0);
    std::vector<uint8_t> trial(n);
    for (int y = 0; y < height; ++y) {
        const uint8_t* cur = straight.data() + n * y;
        const uint8_t* prev = y ? cur - n : zeros.data();
        uint8_t* dst = out.data() + (n + 1) * y;
        Filter chosen = strategy;
        if (strategy == Adaptive) {
            uint64_t best = UINT64_MAX;
            for (Filter f : {None, Sub, Up, Average, Paeth}) {
                if (y == 0 && (f == Up || f == Paeth))
                    continue; // same as None / Sub on the first row
                applyFilter(f, cur, prev, n, trial.data());
                const uint64_t c = cost(trial.data(), n);
                if (c < best) {
                    best = c;
                    chosen = f;
                }
            }
        }
        dst[0] = chosen;
        applyFilter(chosen, cur, prev, n, dst + 1);
    }
    return out;
}

void putU32(QByteArray& out, uint32_t v)
{
    const char b[4] = {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    out.append(b, 4);
}

void putChunk(QByteArray& out, const char* type, const uint8_t* data, size_t length)
{
    putU32(out, uint32_t(length));
    const qsizetype typeAt = out.size();
    out.append(type, 4);
    if (length)
        out.append(reinterpret_cast<const char*>(data), qsizetype(length));
    const uint32_t crc =
        libdeflate_crc32(0, reinterpret_cast<const uint8_t*>(out.constData()) + typeAt, length + 4);
    putU32(out, crc);
}

} // namespace

QByteArray PngWriter::encode(const QImage& input, int compressionLevel)
{
    if (input.isNull() || input.width() <= 0 || input.height() <= 0)
        return {};
    const int level = compressionLevel <= 0 ? kDefaultLevel : std::min(compressionLevel, 12);
    try {
        QImage image = input;
        switch (image.format()) {
        case QImage::Format_ARGB32_Premultiplied:
        case QImage::Format_ARGB32:
        case QImage::Format_RGB32:
        case QImage::Format_RGBA8888:
        case QImage::Format_RGBA8888_Premultiplied:
        case QImage::Format_RGBX8888:
            break;
        default:
            image = image.convertToFormat(QImage::Format_RGBA8888);
            if (image.isNull())
                return {};
        }
        const int width = image.width();
        const int height = image.height();
        const size_t rowBytes = size_t(width) * 4;

        std::vector<uint8_t> straight(rowBytes * height);
        for (int y = 0; y < height; ++y)
            straightRow(image, y, straight.data() + rowBytes * y);

        libdeflate_compressor* compressor = compressorCache.get(level);
        if (!compressor)
            return {};

        std::vector<Filter> strategies{Adaptive};
        if (qsizetype(width) * height <= kSmallImagePixels)
            strategies.insert(strategies.end(), {None, Sub, Up, Paeth});

        std::vector<uint8_t> best;
        std::vector<uint8_t> packed;
        for (Filter strategy : strategies) {
            const std::vector<uint8_t> filtered = filterImage(straight, width, height, strategy);
            packed.resize(libdeflate_zlib_compress_bound(compressor, filtered.size()));
            const size_t size = libdeflate_zlib_compress(compressor, filtered.data(), filtered.size(),
                                                         packed.data(), packed.size());
            if (size == 0)
                continue;
            packed.resize(size);
            if (best.empty() || packed.size() < best.size())
                best.swap(packed);
        }
        if (best.empty())
            return {};

        QByteArray png;
        png.reserve(qsizetype(best.size()) + 64);
        png.append("\x89PNG\r\n\x1a\n", 8);
        uint8_t header[13];
        const uint32_t w = uint32_t(width), h = uint32_t(height);
        const uint8_t fields[13] = {uint8_t(w >> 24),
                                    uint8_t(w >> 16),
                                    uint8_t(w >> 8),
                                    uint8_t(w),
                                    uint8_t(h >> 24),
                                    uint8_t(h >> 16),
                                    uint8_t(h >> 8),
                                    uint8_t(h),
                                    8,  // bit depth
                                    6,  // colour type: RGBA
                                    0,  // deflate
                                    0,  // adaptive filtering
                                    0}; // not interlaced
        std::memcpy(header, fields, sizeof header);
        putChunk(png, "IHDR", header, sizeof header);
        putChunk(png, "IDAT", best.data(), best.size());
        putChunk(png, "IEND", nullptr, 0);
        return png;
    } catch (const std::bad_alloc&) {
        return {};
    }
}
