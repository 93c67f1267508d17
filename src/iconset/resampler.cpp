#include "iconset/resampler.h"

#include "iconset/areasampler.h"

#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace iconfoundry {

namespace {

QImage premultipliedSource(const QImage& source)
{
    if (source.format() == QImage::Format_ARGB32_Premultiplied ||
        source.format() == QImage::Format_RGBA8888_Premultiplied)
        return source;
    return source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

// The source pixels that make one target pixel along one axis, with their weights (summing to 1).
struct Axis
{
    std::vector<int> start;
    std::vector<int> count;
    std::vector<float> weights; // target pixel i uses weights[i * maxCount ... + count[i]]
    int maxCount = 0;
    bool identity = false; // every target pixel is exactly one source pixel
    int identityOffset = 0;
};

double mitchell(double x)
{
    constexpr double B = 1.0 / 3.0, C = 1.0 / 3.0;
    x = std::fabs(x);
    if (x < 1)
        return ((12 - 9 * B - 6 * C) * x * x * x + (-18 + 12 * B + 6 * C) * x * x + (6 - 2 * B)) / 6;
    if (x < 2)
        return ((-B - 6 * C) * x * x * x + (6 * B + 30 * C) * x * x + (-12 * B - 48 * C) * x +
                (8 * B + 24 * C)) /
               6;
    return 0;
}

double sinc(double x)
{
    if (x == 0)
        return 1;
    x *= std::numbers::pi;
    return std::sin(x) / x;
}

double lanczos3(double x)
{
    return std::fabs(x) < 3 ? sinc(x) * sinc(x / 3) : 0;
}

double triangle(double x)
{
    x = std::fabs(x);
    return x < 1 ? 1 - x : 0;
}

// Target pixel i covers [s0 + i * scale, s0 + (i + 1) * scale) of the source axis. Source
// indices are kept inside [first, last], the pixels that the (clipped) rectangle touches, so
// nothing outside a crop leaks in; a kernel reaching past them repeats the edge pixel.
Axis makeAxis(double s0, double s1, int dstLength, Resampler::Filter filter)
{
    Axis axis;
    const double scale = (s1 - s0) / dstLength;
    const int first = int(std::floor(s0));
    const int last = std::max(first, int(std::ceil(s1)) - 1);

    if (scale == 1.0 && s0 == std::floor(s0)) {
        axis.identity = true;
        axis.identityOffset = first;
    }

    if (filter == Resampler::Filter::Automatic)
        filter = scale >= 1.0 ? Resampler::Filter::Area : Resampler::Filter::Mitchell;

    std::vector<std::vector<std::pair<int, double>>> taps(dstLength);
    for (int i = 0; i < dstLength; ++i) {
        auto& list = taps[i];
        if (filter == Resampler::Filter::Area) {
            const double a = s0 + i * scale;
            const double b = s0 + (i + 1) * scale;
            const int j0 = std::max(first, int(std::floor(a)));
            const int j1 = std::min(last, int(std::ceil(b)) - 1);
            for (int j = j0; j <= j1; ++j) {
                const double overlap = std::min(b, j + 1.0) - std::max(a, double(j));
                if (overlap > 1e-9)
                    list.emplace_back(j, overlap);
            }
            if (list.empty())
                list.emplace_back(std::clamp(int(std::floor((a + b) / 2)), first, last), 1.0);
        } else {
            double (*kernel)(double) = nullptr;
            double support = 1;
            switch (filter) {
            case Resampler::Filter::Triangle:
                kernel = triangle;
                support = 1;
                break;
            case Resampler::Filter::Lanczos3:
                kernel = lanczos3;
                support = 3;
                break;
            default:
                kernel = mitchell;
                support = 2;
                break;
            }
            const double widen = std::max(scale, 1.0);
            const double centre = s0 + (i + 0.5) * scale;
            const int j0 = int(std::ceil(centre - support * widen - 0.5));
            const int j1 = int(std::floor(centre + support * widen - 0.5));
            for (int j = j0; j <= j1; ++j) {
                const double w = kernel((j + 0.5 - centre) / widen);
                if (w == 0)
                    continue;
                const int k = std::clamp(j, first, last);
                if (!list.empty() && list.back().first == k)
                    list.back().second += w;
                else
                    list.emplace_back(k, w);
            }
            if (list.empty())
                list.emplace_back(std::clamp(int(std::floor(centre)), first, last), 1.0);
        }
        axis.maxCount = std::max(axis.maxCount, int(list.size()));
    }

    axis.start.resize(dstLength);
    axis.count.resize(dstLength);
    axis.weights.assign(size_t(dstLength) * axis.maxCount, 0.0f);
    for (int i = 0; i < dstLength; ++i) {
        const auto& list = taps[i];
        double sum = 0;
        for (const auto& t : list)
            sum += t.second;
        axis.start[i] = list.front().first;
        axis.count[i] = int(list.size());
        for (size_t k = 0; k < list.size(); ++k)
            axis.weights[size_t(i) * axis.maxCount + k] = float(list[k].second / sum);
    }
    return axis;
}

inline uint8_t toByte(float v)
{
    return uint8_t(std::clamp(v + 0.5f, 0.0f, 255.0f));
}

void horizontalPass(const uint8_t* src, const Axis& axis, int dstWidth, float* out)
{
    for (int x = 0; x < dstWidth; ++x) {
        const uint8_t* p = src + size_t(axis.start[x]) * 4;
        const float* w = axis.weights.data() + size_t(x) * axis.maxCount;
        float a0 = 0, a1 = 0, a2 = 0, a3 = 0;
        for (int k = 0, n = axis.count[x]; k < n; ++k, p += 4) {
            a0 += w[k] * p[0];
            a1 += w[k] * p[1];
            a2 += w[k] * p[2];
            a3 += w[k] * p[3];
        }
        out[4 * x + 0] = a0;
        out[4 * x + 1] = a1;
        out[4 * x + 2] = a2;
        out[4 * x + 3] = a3;
    }
}

void copyRow(const uint8_t* src, const Axis& axis, int dstWidth, float* out)
{
    src += size_t(axis.identityOffset) * 4;
    for (int i = 0; i < dstWidth * 4; ++i)
        out[i] = src[i];
}

// Writes one target row; colour channels are kept at or below alpha.
void storeRow(const float* acc, int width, int alpha, uint8_t* dst)
{
    for (int x = 0; x < width; ++x, acc += 4, dst += 4) {
        const uint8_t a = toByte(acc[alpha]);
        for (int c = 0; c < 4; ++c)
            dst[c] = c == alpha ? a : std::min(toByte(acc[c]), a);
    }
}

} // namespace

int Resampler::alphaOffset(QImage::Format format)
{
    if (format == QImage::Format_RGBA8888_Premultiplied)
        return 3;
    // ARGB32 is a native-endian 32-bit word 0xAARRGGBB.
    return Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? 3 : 0;
}

QImage Resampler::scaled(const QImage& input, const QRectF& sourceRect, QSize target, Filter filter)
{
    if (input.isNull() || target.isEmpty())
        return {};
    const QRectF clipped = sourceRect.normalized().intersected(QRectF(QPointF(0, 0), QSizeF(input.size())));
    if (!(clipped.width() > 0 && clipped.height() > 0))
        return {};

    const QImage source = premultipliedSource(input);
    const AreaSampler::Request request{clipped, target};
    if ((filter == Filter::Area || filter == Filter::Automatic) && AreaSampler::canSample(source, request))
        return AreaSampler::sample(source, {request}).front();
    QImage result(target, source.format());
    if (result.isNull())
        return {};

    const Axis ax = makeAxis(clipped.left(), clipped.right(), target.width(), filter);
    const Axis ay = makeAxis(clipped.top(), clipped.bottom(), target.height(), filter);
    const int alpha = alphaOffset(source.format());

    if (ax.identity && ay.identity) {
        if (source.size() == target)
            return source; // the whole image at its own size: share it
        for (int y = 0; y < target.height(); ++y)
            std::copy_n(source.constScanLine(ay.identityOffset + y) + size_t(ax.identityOffset) * 4,
                        size_t(target.width()) * 4, result.scanLine(y));
        return result;
    }

    // Horizontally scaled source rows live in a ring of maxCount rows: the rows a target row
    // needs move forward monotonically, so a row is computed once and dropped when passed.
    const int width = target.width();
    const int ringRows = ay.maxCount;
    std::vector<float> ring(size_t(ringRows) * width * 4);
    std::vector<float> acc(size_t(width) * 4);
    int computedUpTo = -1; // highest source row already in the ring
    for (int y = 0; y < target.height(); ++y) {
        const int first = ay.start[y];
        const int count = ay.count[y];
        for (int r = std::max(first, computedUpTo + 1); r < first + count; ++r) {
            float* slot = ring.data() + size_t(r % ringRows) * width * 4;
            if (ax.identity)
                copyRow(source.constScanLine(r), ax, width, slot);
            else
                horizontalPass(source.constScanLine(r), ax, width, slot);
            computedUpTo = r;
        }
        const float* w = ay.weights.data() + size_t(y) * ay.maxCount;
        std::fill(acc.begin(), acc.end(), 0.0f);
        for (int k = 0; k < count; ++k) {
            const float* row = ring.data() + size_t((first + k) % ringRows) * width * 4;
            const float wk = w[k];
            for (int i = 0; i < width * 4; ++i)
                acc[i] += wk * row[i];
        }
        storeRow(acc.data(), width, alpha, result.scanLine(y));
    }
    return result;
}

} // namespace iconfoundry
