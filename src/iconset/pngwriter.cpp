#include "iconset/pngwriter.h"

#include "iconset/deflatejoin.h"

#include <QScopeGuard>
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <libdeflate.h>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace iconfoundry {

namespace {

enum Filter : uint8_t
{
    None = 0,
    Sub = 1,
    Up = 2,
    Average = 3,
    Paeth = 4
};

// The row loops (reading, choosing and applying filters) are built twice, for AVX2 and for plain
// x86-64, and the loader picks one for the machine: the package stays generic, and on machines
// with AVX2 the twice-as-wide vectors take 6 to 10% off the CPU time of a whole icon set. (The
// resampler was measured the same way and got slower, so it is built once.)
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define ICONFOUNDRY_ROW_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define ICONFOUNDRY_ROW_CLONES
#endif

// Byte buffers that resize() leaves uninitialised: every byte is written before it is read, and
// zeroing megabytes of scanlines and deflate output first costs as much as filtering them.
template <typename T> struct UninitialisedAllocator : std::allocator<T>
{
    template <typename U> struct rebind
    {
        using other = UninitialisedAllocator<U>;
    };
    using std::allocator<T>::allocator;
    template <typename U> void construct(U* p) noexcept { ::new (static_cast<void*>(p)) U; }
    template <typename U, typename... Args> void construct(U* p, Args&&... args)
    {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};
using Bytes = std::vector<uint8_t, UninitialisedAllocator<uint8_t>>;

// What one thread keeps between calls: libdeflate compressors (a few hundred KiB each, one per
// level) and the buffers, so that encoding many icons does not keep mapping fresh pages.
class ThreadScratch
{
public:
    // Buffers that grew beyond this are released after the call rather than kept.
    static constexpr size_t kKeepBytes = 2 * 1024 * 1024;

    ~ThreadScratch()
    {
        for (auto* c : compressors_)
            if (c)
                libdeflate_free_compressor(c);
    }
    libdeflate_compressor* compressor(int level)
    {
        auto& c = compressors_[level];
        if (!c)
            c = libdeflate_alloc_compressor(level);
        return c;
    }
    void trim()
    {
        for (auto* buffer : {&rows, &wide, &filtered, &packed})
            if (buffer->capacity() > kKeepBytes)
                Bytes().swap(*buffer);
    }

    Bytes rows;     // previous and current row
    Bytes wide;     // one row as RGBA, when RGB is written
    Bytes filtered; // what deflate reads
    Bytes packed;   // what deflate writes

private:
    std::array<libdeflate_compressor*, 13> compressors_{};
};

thread_local ThreadScratch scratch;

inline uint8_t unpremultiply(unsigned c, unsigned a)
{
    return uint8_t(std::min(255u, (c * 255 + a / 2) / a));
}

// One row as straight RGBA bytes.
ICONFOUNDRY_ROW_CLONES void straightRow(const QImage& image, int y, uint8_t* out)
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
    const int bc = pb <= pc ? b : c; // selects rather than branches: vectorisable
    return uint8_t(pa <= pb && pa <= pc ? a : bc);
}

// Filters one row of n bytes (Bpp bytes per pixel) with filter f into out.
template <size_t Bpp>
ICONFOUNDRY_ROW_CLONES void applyFilter(Filter f, const uint8_t* cur, const uint8_t* prev, size_t n,
                                        uint8_t* out)
{
    switch (f) {
    case None:
        std::memcpy(out, cur, n);
        break;
    case Sub:
        std::memcpy(out, cur, Bpp);
        for (size_t i = Bpp; i < n; ++i)
            out[i] = uint8_t(cur[i] - cur[i - Bpp]);
        break;
    case Up:
        for (size_t i = 0; i < n; ++i)
            out[i] = uint8_t(cur[i] - prev[i]);
        break;
    case Average:
        for (size_t i = 0; i < Bpp; ++i)
            out[i] = uint8_t(cur[i] - (prev[i] >> 1));
        for (size_t i = Bpp; i < n; ++i)
            out[i] = uint8_t(cur[i] - ((cur[i - Bpp] + prev[i]) >> 1));
        break;
    case Paeth:
        for (size_t i = 0; i < Bpp; ++i)
            out[i] = uint8_t(cur[i] - prev[i]);
        for (size_t i = Bpp; i < n; ++i)
            out[i] = uint8_t(cur[i] - paeth(cur[i - Bpp], prev[i], prev[i - Bpp]));
        break;
    }
}

// |v| of the byte read as signed (256 - v above 127), written so that the compiler vectorises it.
inline uint32_t magnitude(uint8_t v)
{
    return std::min<uint8_t>(v, uint8_t(-v));
}

// Picks the filter for one row by the usual estimate of how well it compresses: the filtered
// bytes read as signed values, summed by magnitude; the smallest sum wins, ties to the lower
// filter number. All five sums come from one pass over the row.
template <size_t Bpp>
ICONFOUNDRY_ROW_CLONES Filter chooseFilter(const uint8_t* cur, const uint8_t* prev, size_t n)
{
    uint32_t sum[5] = {};
    for (size_t i = 0; i < Bpp; ++i) {
        const uint8_t x = cur[i], b = prev[i];
        sum[None] += magnitude(x);
        sum[Sub] += magnitude(x);
        sum[Up] += magnitude(uint8_t(x - b));
        sum[Average] += magnitude(uint8_t(x - (b >> 1)));
        sum[Paeth] += magnitude(uint8_t(x - b));
    }
    uint32_t none = 0, sub = 0, up = 0, average = 0, paethSum = 0;
    for (size_t i = Bpp; i < n; ++i) {
        const uint8_t x = cur[i], a = cur[i - Bpp], b = prev[i], c = prev[i - Bpp];
        none += magnitude(x);
        sub += magnitude(uint8_t(x - a));
        up += magnitude(uint8_t(x - b));
        average += magnitude(uint8_t(x - ((a + b) >> 1)));
        paethSum += magnitude(uint8_t(x - paeth(a, b, c)));
    }
    sum[None] += none;
    sum[Sub] += sub;
    sum[Up] += up;
    sum[Average] += average;
    sum[Paeth] += paethSum;
    Filter chosen = None;
    for (Filter f : {Sub, Up, Average, Paeth})
        if (sum[f] < sum[chosen])
            chosen = f;
    return chosen;
}

// The opaque colour that RGB rows are laid over; without one the alpha byte is dropped.
struct Background
{
    bool set = false;
    uint8_t rgb[3] = {};
};

// One row as straight bytes, Bpp a pixel (3: through wide, without the alpha byte, laid over the
// background when there is one).
template <size_t Bpp>
ICONFOUNDRY_ROW_CLONES void readRow(const QImage& image, int y, uint8_t* out, Bytes& wide,
                                    const Background& background)
{
    if constexpr (Bpp == 3) {
        const size_t width = size_t(image.width());
        wide.resize(width * 4);
        straightRow(image, y, wide.data());
        const uint8_t* in = wide.data();
        if (!background.set) {
            for (size_t x = 0; x < width; ++x)
                std::memcpy(out + x * 3, in + x * 4, 3);
            return;
        }
        for (size_t x = 0; x < width; ++x, in += 4, out += 3) {
            const unsigned a = in[3];
            for (int c = 0; c < 3; ++c)
                out[c] = uint8_t((in[c] * a + background.rgb[c] * (255 - a) + 127) / 255);
        }
    } else {
        straightRow(image, y, out);
    }
}

// Rows [first, last) of the image as PNG scanlines, each a filter byte and the filtered row,
// into filtered (which has room for every row). rows and wide are the caller's scratch.
template <size_t Bpp>
void filterRows(const QImage& image, int first, int last, uint8_t* filtered, Bytes& rows, Bytes& wide,
                const Background& background)
{
    const size_t n = size_t(image.width()) * Bpp;
    rows.assign(n * 2, 0);
    uint8_t* prev = rows.data(); // zeros above the first row (Up and Paeth then equal None and Sub)
    uint8_t* cur = prev + n;
    if (first > 0)
        readRow<Bpp>(image, first - 1, prev, wide, background);
    for (int y = first; y < last; ++y) {
        readRow<Bpp>(image, y, cur, wide, background);
        const Filter chosen = chooseFilter<Bpp>(cur, prev, n);
        uint8_t* dst = filtered + (n + 1) * size_t(y);
        dst[0] = chosen;
        applyFilter<Bpp>(chosen, cur, prev, n, dst + 1);
        std::swap(prev, cur);
    }
}

// Scanlines of at least this many bytes are filtered and compressed in strips on several threads.
constexpr size_t kStripBytes = 1024 * 1024;
// The size of a strip: small enough that the threads finish together (they take strips in turn
// until none is left), large enough that starting each strip's matches afresh costs little
// (0.3% over the whole stream on icon artwork at 8 strips a megapixel).
constexpr size_t kTargetStripBytes = 384 * 1024;

// The zlib stream of the scanlines of image, filtered and compressed in strips on up to four
// threads, into s.packed; returns its length, 0 on failure. Each strip is a complete deflate
// stream of its own, left open but the last (see leaveDeflateStreamOpen()), so that together
// they make one.
template <size_t Bpp>
size_t compressInStrips(const QImage& image, int level, const Background& background, ThreadScratch& s)
{
    const int height = image.height();
    const size_t rowBytes = size_t(image.width()) * Bpp + 1;
    const int stripCount =
        int(std::clamp<size_t>(rowBytes * size_t(height) / kTargetStripBytes, 2, size_t(height)));
    s.filtered.resize(rowBytes * size_t(height));
    uint8_t* filtered = s.filtered.data();

    struct Strip
    {
        Bytes packed;
        size_t size = 0;
    };
    std::vector<Strip> strips(static_cast<size_t>(stripCount));
    std::atomic<int> next{0};
    std::atomic<bool> failed{false};
    const auto work = [&](libdeflate_compressor* compressor, Bytes& rows, Bytes& wide) {
        if (!compressor) {
            failed = true;
            return;
        }
        try {
            for (int i = next++; i < stripCount && !failed; i = next++) {
                const int first = int(int64_t(height) * i / stripCount);
                const int last = int(int64_t(height) * (i + 1) / stripCount);
                filterRows<Bpp>(image, first, last, filtered, rows, wide, background);
                const size_t length = rowBytes * size_t(last - first);
                Strip& strip = strips[size_t(i)];
                strip.packed.resize(libdeflate_deflate_compress_bound(compressor, length) + 5);
                strip.size = libdeflate_deflate_compress(compressor, filtered + rowBytes * size_t(first), length,
                                                         strip.packed.data(), strip.packed.size() - 5);
                if (strip.size && i + 1 < stripCount)
                    strip.size = leaveDeflateStreamOpen(strip.packed.data(), strip.size, strip.packed.size());
                if (!strip.size)
                    failed = true;
            }
        } catch (const std::bad_alloc&) {
            failed = true;
        }
    };

    const int helpers =
        std::clamp(int(std::thread::hardware_concurrency()) - 1, 0, std::min(3, stripCount - 1));
    std::vector<std::thread> threads;
    try {
        for (int i = 0; i < helpers; ++i)
            threads.emplace_back([&] {
                Bytes rows, wide;
                libdeflate_compressor* compressor = libdeflate_alloc_compressor(level);
                work(compressor, rows, wide);
                if (compressor)
                    libdeflate_free_compressor(compressor);
            });
    } catch (const std::system_error&) { // fewer threads to be had: the others do the strips
    }
    work(s.compressor(level), s.rows, s.wide);
    for (std::thread& thread : threads)
        thread.join();
    if (failed)
        return 0;

    // zlib header (deflate, 32 KiB window, default level), the strips, the Adler-32 of it all.
    size_t total = 2 + 4;
    for (const Strip& strip : strips)
        total += strip.size;
    const uint32_t check = libdeflate_adler32(1, filtered, s.filtered.size());
    s.packed.resize(total);
    uint8_t* out = s.packed.data();
    *out++ = 0x78;
    *out++ = 0x9c;
    for (const Strip& strip : strips)
        out = std::copy_n(strip.packed.data(), strip.size, out);
    for (int shift = 24; shift >= 0; shift -= 8)
        *out++ = uint8_t(check >> shift);
    return total;
}

// The zlib stream of the scanlines of image into s.packed; returns its length, 0 on failure.
template <size_t Bpp>
size_t compressScanlines(const QImage& image, int level, const Background& background, ThreadScratch& s)
{
    const size_t bytes = (size_t(image.width()) * Bpp + 1) * size_t(image.height());
    if (bytes >= kStripBytes && image.height() >= 2 && std::thread::hardware_concurrency() > 1) {
        size_t packed = 0;
        try {
            packed = compressInStrips<Bpp>(image, level, background, s);
        } catch (const std::bad_alloc&) {
        }
        if (packed)
            return packed;
    }
    libdeflate_compressor* compressor = s.compressor(level);
    if (!compressor)
        return 0;
    s.filtered.resize(bytes);
    filterRows<Bpp>(image, 0, image.height(), s.filtered.data(), s.rows, s.wide, background);
    s.packed.resize(libdeflate_zlib_compress_bound(compressor, bytes));
    return libdeflate_zlib_compress(compressor, s.filtered.data(), bytes, s.packed.data(), s.packed.size());
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
    putU32(out, libdeflate_crc32(0, reinterpret_cast<const uint8_t*>(out.constData()) + typeAt, length + 4));
}

} // namespace

QByteArray PngWriter::encode(const QImage& input, int compressionLevel, Channels channels)
{
    return encode(input, compressionLevel, channels, std::nullopt);
}

QByteArray PngWriter::encodeOver(const QImage& image, const QColor& background, int compressionLevel)
{
    return encode(image, compressionLevel, Channels::Rgb, background.rgb());
}

QByteArray PngWriter::encode(const QImage& input, int compressionLevel, Channels channels,
                             std::optional<QRgb> over)
{
    if (input.isNull() || input.width() <= 0 || input.height() <= 0)
        return {};
    const int level = compressionLevel <= 0 ? kDefaultLevel : std::min(compressionLevel, 12);
    const auto trim = qScopeGuard([] { scratch.trim(); });
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
        const bool rgb = channels == Channels::Rgb;
        Background background;
        if (over)
            background = {true, {uint8_t(qRed(*over)), uint8_t(qGreen(*over)), uint8_t(qBlue(*over))}};
        const size_t packed = rgb ? compressScanlines<3>(image, level, background, scratch)
                                  : compressScanlines<4>(image, level, background, scratch);
        if (packed == 0)
            return {};

        const uint32_t w = uint32_t(image.width()), h = uint32_t(image.height());
        const uint8_t header[13] = {uint8_t(w >> 24),
                                    uint8_t(w >> 16),
                                    uint8_t(w >> 8),
                                    uint8_t(w),
                                    uint8_t(h >> 24),
                                    uint8_t(h >> 16),
                                    uint8_t(h >> 8),
                                    uint8_t(h),
                                    8,                    // bit depth
                                    uint8_t(rgb ? 2 : 6), // colour type: RGB or RGBA
                                    0,                    // deflate
                                    0,                    // adaptive filtering
                                    0};                   // not interlaced
        QByteArray png;
        png.reserve(qsizetype(packed) + 57);
        png.append("\x89PNG\r\n\x1a\n", 8);
        putChunk(png, "IHDR", header, sizeof header);
        putChunk(png, "IDAT", scratch.packed.data(), packed);
        putChunk(png, "IEND", nullptr, 0);
        return png;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

} // namespace iconfoundry
