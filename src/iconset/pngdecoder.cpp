#include "iconset/pngdecoder.h"

#include <QColorSpace>
#include <QtEndian>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <libdeflate.h>
#include <memory>
#include <new>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#endif

namespace iconfoundry {

namespace {

constexpr quint32 chunkType(const char (&name)[5])
{
    return quint32(uchar(name[0])) << 24 | quint32(uchar(name[1])) << 16 | quint32(uchar(name[2])) << 8 |
           quint32(uchar(name[3]));
}

quint32 be32(const uchar* p)
{
    return qFromBigEndian<quint32>(p);
}

bool isLetter(uchar c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// An embedded profile larger than this is left to the general reader (libpng refuses them too).
constexpr qsizetype kMaxProfileBytes = 8 * 1024 * 1024;

// Inflates a zlib stream of unknown length, growing the output up to `limit`; empty on failure.
QByteArray inflateUnknownSize(QByteArrayView stream, qsizetype limit)
{
    std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
        libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
    if (!decompressor)
        return {};
    for (qsizetype capacity = 64 * 1024; capacity <= limit; capacity *= 2) {
        QByteArray out(capacity, Qt::Uninitialized);
        size_t produced = 0;
        const libdeflate_result result =
            libdeflate_zlib_decompress(decompressor.get(), stream.data(), size_t(stream.size()), out.data(),
                                       size_t(capacity), &produced);
        if (result == LIBDEFLATE_SUCCESS) {
            out.truncate(qsizetype(produced));
            return out;
        }
        if (result != LIBDEFLATE_INSUFFICIENT_SPACE)
            return {};
    }
    return {};
}

// The profile of an iCCP chunk (name, NUL, compression method 0, zlib stream), when it is an RGB
// profile whose declared length matches its data; empty otherwise.
QByteArray iccProfileOf(const uchar* body, quint32 length)
{
    const auto* end = static_cast<const uchar*>(std::memchr(body, 0, std::min<quint32>(length, 80)));
    if (!end || end == body || quint32(end - body) + 2 > length || end[1] != 0)
        return {};
    const QByteArrayView stream(end + 2, body + length - (end + 2));
    QByteArray profile = inflateUnknownSize(stream, kMaxProfileBytes);
    const auto* p = reinterpret_cast<const uchar*>(profile.constData());
    if (profile.size() < 132 || be32(p) != quint32(profile.size()) || std::memcmp(p + 16, "RGB ", 4) != 0 ||
        std::memcmp(p + 36, "acsp", 4) != 0)
        return {};
    return profile;
}

// Undoes a row's filter into `out`, given the previous row already unfiltered (zeros above the
// first row). Bpp is bytes per pixel; the byte left of the row counts as 0.
template <int Bpp>
void unfilterRow(uchar filter, const uchar* __restrict in, const uchar* __restrict prev,
                 uchar* __restrict out, qsizetype n)
{
    switch (filter) {
    case 0:
        std::memcpy(out, in, size_t(n));
        break;
    case 1:
        for (int i = 0; i < Bpp; ++i)
            out[i] = in[i];
        for (qsizetype i = Bpp; i < n; ++i)
            out[i] = uchar(in[i] + out[i - Bpp]);
        break;
    case 2:
        for (qsizetype i = 0; i < n; ++i)
            out[i] = uchar(in[i] + prev[i]);
        break;
    case 3:
        for (int i = 0; i < Bpp; ++i)
            out[i] = uchar(in[i] + (prev[i] >> 1));
        for (qsizetype i = Bpp; i < n; ++i)
            out[i] = uchar(in[i] + ((out[i - Bpp] + prev[i]) >> 1));
        break;
    case 4:
        for (int i = 0; i < Bpp; ++i)
            out[i] = uchar(in[i] + prev[i]); // left and upper left are 0: the predictor is up
        for (qsizetype i = Bpp; i < n; ++i) {
            const int a = out[i - Bpp], b = prev[i], c = prev[i - Bpp];
            const int pa = std::abs(b - c), pb = std::abs(a - c), pc = std::abs(a + b - 2 * c);
            const int predictor = (pa <= pb && pa <= pc) ? a : pb <= pc ? b : c;
            out[i] = uchar(in[i] + predictor);
        }
        break;
    }
}

// c * a / 255 rounded, as Qt premultiplies, so that the pixels equal those of the general path.
inline uint premultiplied(uint c, uint a)
{
    const uint t = c * a;
    return (t + (t >> 8) + 0x80) >> 8;
}

// One unfiltered row as QImage pixels (0xAARRGGBB words).
template <int Channels, bool Premultiply>
void convertRow(const uchar* __restrict in, quint32* __restrict out, qsizetype width)
{
    for (qsizetype x = 0; x < width; ++x, in += Channels) {
        const uint r = in[0], g = in[1], b = in[2];
        if constexpr (Channels == 3) {
            out[x] = 0xff000000u | r << 16 | g << 8 | b;
        } else if constexpr (Premultiply) {
            const uint a = in[3];
            out[x] = a << 24 | premultiplied(r, a) << 16 | premultiplied(g, a) << 8 | premultiplied(b, a);
        } else {
            out[x] = uint(in[3]) << 24 | r << 16 | g << 8 | b;
        }
    }
}

// A buffer for `size` bytes, freed with std::free. Large ones are asked to be backed by huge
// pages: touching 64 MiB a 4 KiB page at a time costs more in page faults (a virtual machine makes
// each one dear) than inflating the pixels into it.
uchar* allocatePixels(qsizetype size)
{
#ifdef Q_OS_LINUX
    constexpr qsizetype kHugePage = 2 * 1024 * 1024;
    if (size >= 2 * kHugePage) {
        const qsizetype rounded = (size + kHugePage - 1) / kHugePage * kHugePage;
        void* p = std::aligned_alloc(size_t(kHugePage), size_t(rounded));
        if (p)
            ::madvise(p, size_t(rounded), MADV_HUGEPAGE); // only a hint: fine if refused
        return static_cast<uchar*>(p);
    }
#endif
    return static_cast<uchar*>(std::malloc(size_t(size)));
}

using UnfilterFunction = void (*)(uchar, const uchar*, const uchar*, uchar*, qsizetype);
using ConvertFunction = void (*)(const uchar*, quint32*, qsizetype);

} // namespace

PngDecoder::PngDecoder(QByteArrayView file)
{
    canDecode_ = readChunks(file);
    if (!canDecode_)
        idat_.clear();
}

bool PngDecoder::readChunks(QByteArrayView file)
{
    const auto* data = reinterpret_cast<const uchar*>(file.data());
    const qsizetype size = file.size();
    if (size < 8 || std::memcmp(data, "\x89PNG\r\n\x1a\n", 8) != 0)
        return false;
    enum class Stage
    {
        Header,
        BeforeData,
        Data,
        AfterData
    } stage = Stage::Header;
    for (qsizetype pos = 8;;) {
        if (size - pos < 12)
            return false; // truncated, or no IEND
        const quint32 length = be32(data + pos);
        if (length > 0x7fffffffu || qint64(length) > qint64(size - pos - 12))
            return false;
        const uchar* type = data + pos + 4;
        const uchar* body = type + 4;
        if (!std::all_of(type, type + 4, isLetter) ||
            libdeflate_crc32(0, type, length + 4) != be32(body + length))
            return false;
        pos += 12 + qsizetype(length);
        const quint32 name = be32(type);

        if (stage == Stage::Header) {
            if (name != chunkType("IHDR") || length != 13)
                return false;
            width_ = be32(body);
            height_ = be32(body + 4);
            const bool plain = body[8] == 8 && (body[9] == 2 || body[9] == 6) && body[10] == 0 &&
                               body[11] == 0 && body[12] == 0;
            if (!plain || width_ == 0 || height_ == 0 || width_ > 0x7fffffffu || height_ > 0x7fffffffu)
                return false;
            channels_ = body[9] == 6 ? 4 : 3;
            stage = Stage::BeforeData;
            continue;
        }
        if (name == chunkType("IDAT")) {
            if (stage == Stage::AfterData)
                return false;
            stage = Stage::Data;
            if (length > 0)
                idat_.emplace_back(body, qsizetype(length));
            continue;
        }
        if (stage == Stage::Data)
            stage = Stage::AfterData;
        const bool beforeData = stage == Stage::BeforeData;
        switch (name) {
        case chunkType("IEND"):
            return stage == Stage::AfterData;
        case chunkType("PLTE"): // a suggested palette for RGB displays: of no use here
            if (!beforeData)
                return false;
            break;
        case chunkType("sRGB"):
            if (!beforeData || length != 1 || srgb_ || !iccProfile_.isEmpty())
                return false;
            srgb_ = true;
            break;
        case chunkType("iCCP"):
            if (!beforeData || srgb_ || !iccProfile_.isEmpty())
                return false;
            iccProfile_ = iccProfileOf(body, length);
            if (iccProfile_.isEmpty())
                return false;
            break;
        case chunkType("pHYs"):
            if (!beforeData || length != 9 || dotsPerMeter_ || be32(body) > 0x7fffffffu ||
                be32(body + 4) > 0x7fffffffu)
                return false;
            if (body[8] == 1) // unit: metre
                dotsPerMeter_ = QPoint(int(be32(body)), int(be32(body + 4)));
            break;
        // What changes the pixels or their meaning beyond plain sRGB-like RGB(A) goes to the
        // general reader: a transparent colour key, gamma, primaries, animation, orientation.
        case chunkType("tRNS"):
        case chunkType("gAMA"):
        case chunkType("cHRM"):
        case chunkType("sBIT"):
        case chunkType("acTL"):
        case chunkType("fcTL"):
        case chunkType("fdAT"):
        case chunkType("eXIf"):
            return false;
        default:
            if (!(type[0] & 0x20)) // an unknown critical chunk
                return false;
            break;
        }
    }
}

PngDecoder::Result PngDecoder::decode(QImage* image, QString* reason) const
{
    if (!canDecode_)
        return Result::Unsupported;
    const qsizetype width = width_, height = height_, rowBytes = width * channels_;
    // Far beyond any limit of the callers; keeps the sizes below from overflowing.
    if (qint64(width) * height > (qint64(1) << 31))
        return Result::Unsupported;
    const qsizetype rawSize = height * (rowBytes + 1);
    const qsizetype imageSize = height * width * 4;

    QByteArray joined;
    QByteArrayView stream = idat_.front();
    if (idat_.size() > 1) {
        qsizetype total = 0;
        for (const QByteArrayView part : idat_)
            total += part.size();
        joined.reserve(total);
        for (const QByteArrayView part : idat_)
            joined.append(part);
        stream = joined;
    }

    // Deflate expands at most 1032 times: a header promising more pixels than its data can hold
    // gets no buffer of that size here.
    if (qint64(stream.size()) * 1032 < rawSize)
        return Result::Unsupported;

    // The image's own buffer holds the inflated rows at its end. Each row is unfiltered into a
    // row buffer and then written as pixels at the buffer's start, which never reaches a row
    // that is still to be read: pixel row y ends at 4·width·(y+1), and filtered row y+1 starts
    // at least that far in, for 3 and 4 bytes a pixel alike.
    const qsizetype bufferSize = std::max(rawSize, imageSize);
    std::unique_ptr<uchar, decltype(&std::free)> buffer(allocatePixels(bufferSize), &std::free);
    if (!buffer)
        throw std::bad_alloc();
    uchar* raw = buffer.get() + (bufferSize - rawSize);
    {
        std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
            libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
        if (!decompressor)
            throw std::bad_alloc();
        size_t consumed = 0;
        // Without an output count libdeflate insists on exactly rawSize bytes: a stream with
        // too few or too many is for the general reader to judge.
        if (libdeflate_zlib_decompress_ex(decompressor.get(), stream.data(), size_t(stream.size()), raw,
                                          size_t(rawSize), &consumed, nullptr) != LIBDEFLATE_SUCCESS)
            return Result::Unsupported;
    }
    joined = QByteArray();

    const bool premultiply = iccProfile_.isEmpty();
    const UnfilterFunction unfilter = channels_ == 4 ? &unfilterRow<4> : &unfilterRow<3>;
    const ConvertFunction convert = channels_ == 3 ? &convertRow<3, true>
                                    : premultiply  ? &convertRow<4, true>
                                                   : &convertRow<4, false>;
    auto* pixels = reinterpret_cast<quint32*>(buffer.get());

    // Two rows in the cache: the one above (zeros above the first) and the one being unfiltered,
    // which is converted at once. (A second thread converting a few rows behind the first was
    // measured: no faster as a whole process, and more CPU time, with the machine shared.)
    std::vector<uchar> rows(size_t(rowBytes * 2));
    std::vector<uchar> zeros(size_t(rowBytes), 0);
    const uchar* above = zeros.data();
    for (qsizetype y = 0; y < height; ++y) {
        const uchar* in = raw + y * (rowBytes + 1);
        if (in[0] > 4) {
            if (reason)
                *reason = QStringLiteral("row %1 has the unknown filter type %2")
                              .arg(QString::number(y), QString::number(in[0]));
            return Result::Corrupt;
        }
        uchar* row = rows.data() + (y % 2) * rowBytes;
        unfilter(in[0], in + 1, above, row, rowBytes);
        convert(row, pixels + y * width, width);
        above = row;
    }

    const QImage::Format format = premultiply ? QImage::Format_ARGB32_Premultiplied : QImage::Format_ARGB32;
    QImage decoded(buffer.get(), int(width), int(height), width * 4, format, &std::free, buffer.get());
    if (decoded.isNull())
        throw std::bad_alloc();
    buffer.release();
    if (dotsPerMeter_) {
        decoded.setDotsPerMeterX(dotsPerMeter_->x());
        decoded.setDotsPerMeterY(dotsPerMeter_->y());
    }
    if (!premultiply)
        decoded.setColorSpace(QColorSpace::fromIccProfile(iccProfile_));
    else if (srgb_)
        decoded.setColorSpace(QColorSpace::SRgb);
    *image = std::move(decoded);
    return Result::Decoded;
}

} // namespace iconfoundry
