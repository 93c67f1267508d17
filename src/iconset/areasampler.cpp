#include "iconset/areasampler.h"

#include "iconset/resampler.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <thread>

namespace iconfoundry {

namespace {

// Below this many source pixels a second thread costs more than it saves.
constexpr qint64 kPixelsPerThread = 512 * 512;

// Where a position along a row falls among the pixels of a span: the running sum up to it is
// sums[index] + fraction * pixel[index]. The span's far end is index count - 1 with fraction 1,
// so no pixel past the span is ever read.
struct Edge
{
    int index = 0;
    float fraction = 0;
};

Edge edgeAt(double position, int first, int count)
{
    const double local = position - first;
    const int index = std::clamp(int(std::floor(local)), 0, count - 1);
    return {index, float(local - index)};
}

// The columns a request touches; requests over the same columns share their running sums.
struct Span
{
    int first = 0;
    int count = 0;
};

struct Plan
{
    QRectF rect; // clipped
    QSize target;
    int span = -1;             // index into the spans; -1: nothing to sample
    std::vector<Edge> columns; // target.width() + 1 edges
    std::vector<double> rows;  // target.height() + 1 edges, in source rows
    float scale = 0;           // 1 / (source pixels per target pixel)
    QImage result;
};

inline uint8_t toByte(float v)
{
    return uint8_t(std::clamp(v + 0.5f, 0.0f, 255.0f));
}

// Running sums of the four channels over the span: sums[4k + c] holds pixels [0, k) of it.
void runningSums(const uint8_t* pixels, int count, uint32_t* sums)
{
    uint32_t s0 = 0, s1 = 0, s2 = 0, s3 = 0;
    sums[0] = sums[1] = sums[2] = sums[3] = 0;
    for (int k = 0; k < count; ++k, pixels += 4) {
        s0 += pixels[0];
        s1 += pixels[1];
        s2 += pixels[2];
        s3 += pixels[3];
        uint32_t* out = sums + 4 * (k + 1);
        out[0] = s0;
        out[1] = s1;
        out[2] = s2;
        out[3] = s3;
    }
}

// The sum of each target pixel's width of one row.
void boxRow(const Plan& plan, const uint32_t* sums, const uint8_t* pixels, float* out)
{
    const int width = plan.target.width();
    for (int x = 0; x < width; ++x, out += 4) {
        const Edge e0 = plan.columns[size_t(x)], e1 = plan.columns[size_t(x) + 1];
        const uint32_t* s0 = sums + 4 * e0.index;
        const uint32_t* s1 = sums + 4 * e1.index;
        const uint8_t* p0 = pixels + 4 * e0.index;
        const uint8_t* p1 = pixels + 4 * e1.index;
        for (int c = 0; c < 4; ++c)
            out[c] = float(int32_t(s1[c] - s0[c])) + e1.fraction * p1[c] - e0.fraction * p0[c];
    }
}

// Writes one target row; colour channels are kept at or below alpha.
void storeRow(const float* acc, float scale, int width, int alpha, uint8_t* dst)
{
    for (int x = 0; x < width; ++x, acc += 4, dst += 4) {
        const uint8_t a = toByte(acc[alpha] * scale);
        for (int c = 0; c < 4; ++c)
            dst[c] = c == alpha ? a : std::min(toByte(acc[c] * scale), a);
    }
}

// Target rows [height * band / bands, height * (band + 1) / bands) of every plan. Source rows are
// visited in order; each row's running sums are made once per span and serve every plan.
void sampleBand(const QImage& source, std::vector<Plan>& plans, const std::vector<Span>& spans, int band,
                int bands)
{
    struct State
    {
        int y = 0, yEnd = 0, firstRow = 0, lastRow = -1;
        std::vector<float> box, current, next;
    };
    const int alpha = Resampler::alphaOffset(source.format());
    std::vector<State> states(plans.size());
    int firstRow = INT_MAX, lastRow = -1;
    for (size_t i = 0; i < plans.size(); ++i) {
        const Plan& plan = plans[i];
        State& s = states[i];
        if (plan.span < 0)
            continue;
        const int h = plan.target.height();
        s.y = int(qint64(h) * band / bands);
        s.yEnd = int(qint64(h) * (band + 1) / bands);
        if (s.y == s.yEnd)
            continue;
        s.firstRow = int(std::floor(plan.rows[size_t(s.y)]));
        s.lastRow = std::min(source.height(), int(std::ceil(plan.rows[size_t(s.yEnd)]))) - 1;
        const size_t floats = size_t(plan.target.width()) * 4;
        s.box.assign(floats, 0.0f);
        s.current.assign(floats, 0.0f);
        s.next.assign(floats, 0.0f);
        firstRow = std::min(firstRow, s.firstRow);
        lastRow = std::max(lastRow, s.lastRow);
    }

    std::vector<std::vector<uint32_t>> sums(spans.size());
    std::vector<int> sumsOfRow(spans.size(), -1);
    for (size_t k = 0; k < spans.size(); ++k)
        sums[k].resize((size_t(spans[k].count) + 1) * 4);

    for (int r = firstRow; r <= lastRow; ++r) {
        const uint8_t* row = source.constScanLine(r);
        for (size_t i = 0; i < plans.size(); ++i) {
            Plan& plan = plans[i];
            State& s = states[i];
            if (s.y >= s.yEnd || r < s.firstRow || r > s.lastRow)
                continue;
            const Span& span = spans[size_t(plan.span)];
            const uint8_t* pixels = row + size_t(span.first) * 4;
            std::vector<uint32_t>& spanSums = sums[size_t(plan.span)];
            if (sumsOfRow[size_t(plan.span)] != r) {
                runningSums(pixels, span.count, spanSums.data());
                sumsOfRow[size_t(plan.span)] = r;
            }
            boxRow(plan, spanSums.data(), pixels, s.box.data());

            // A target row spans at least one source row, so source row r touches the current
            // target row and at most the start of the next one.
            const double top = plan.rows[size_t(s.y)], bottom = plan.rows[size_t(s.y) + 1];
            const float inCurrent = float(std::min(bottom, r + 1.0) - std::max(top, double(r)));
            const size_t n = s.box.size();
            if (inCurrent > 0)
                for (size_t j = 0; j < n; ++j)
                    s.current[j] += inCurrent * s.box[j];
            if (r + 1.0 > bottom && s.y + 1 < s.yEnd) {
                const float inNext = float(std::min(plan.rows[size_t(s.y) + 2], r + 1.0) - bottom);
                for (size_t j = 0; j < n; ++j)
                    s.next[j] += inNext * s.box[j];
            }
            if (r + 1.0 >= bottom) {
                storeRow(s.current.data(), plan.scale, plan.target.width(), alpha, plan.result.scanLine(s.y));
                std::swap(s.current, s.next);
                std::fill(s.next.begin(), s.next.end(), 0.0f);
                ++s.y;
            }
        }
    }
}

} // namespace

bool AreaSampler::canSample(const QImage& source, const Request& request)
{
    const QRectF r = request.source.normalized().intersected(QRectF(QPointF(0, 0), QSizeF(source.size())));
    return !source.isNull() && !request.target.isEmpty() && r.width() >= request.target.width() &&
           r.height() >= request.target.height();
}

std::vector<QImage> AreaSampler::sample(const QImage& input, const std::vector<Request>& requests,
                                        int threads)
{
    std::vector<QImage> results(requests.size());
    if (input.isNull() || requests.empty())
        return results;
    try {
        const QImage source = input.format() == QImage::Format_ARGB32_Premultiplied ||
                                      input.format() == QImage::Format_RGBA8888_Premultiplied
                                  ? input
                                  : input.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        const QRectF bounds(QPointF(0, 0), QSizeF(source.size()));
        std::vector<Plan> plans(requests.size());
        std::vector<Span> spans;
        qint64 rowsToRead = 0;
        for (size_t i = 0; i < requests.size(); ++i) {
            Plan& plan = plans[i];
            if (!canSample(source, requests[i]))
                continue;
            plan.rect = requests[i].source.normalized().intersected(bounds);
            plan.target = requests[i].target;
            const QRect whole = plan.rect.toAlignedRect();
            if (QRectF(whole) == plan.rect && whole.size() == plan.target) {
                // Already the size: the pixels themselves.
                results[i] = whole == source.rect() ? source : source.copy(whole);
                continue;
            }
            plan.result = QImage(plan.target, source.format());
            if (plan.result.isNull())
                continue;
            const Span span{whole.x(), whole.width()};
            auto known = std::find_if(spans.begin(), spans.end(), [&](const Span& s) {
                return s.first == span.first && s.count == span.count;
            });
            plan.span = int(known - spans.begin());
            if (known == spans.end())
                spans.push_back(span);

            const int w = plan.target.width(), h = plan.target.height();
            const double sx = plan.rect.width() / w, sy = plan.rect.height() / h;
            plan.columns.resize(size_t(w) + 1);
            for (int x = 0; x <= w; ++x)
                plan.columns[size_t(x)] =
                    edgeAt(x == w ? plan.rect.right() : plan.rect.left() + x * sx, span.first, span.count);
            plan.rows.resize(size_t(h) + 1);
            for (int y = 0; y <= h; ++y)
                plan.rows[size_t(y)] = y == h ? plan.rect.bottom() : plan.rect.top() + y * sy;
            plan.scale = float(1.0 / (sx * sy));
            rowsToRead += qint64(whole.height()) * whole.width();
        }

        const int bands = int(std::clamp<qint64>(rowsToRead / kPixelsPerThread, 1, std::max(1, threads)));
        std::atomic<bool> failed{false};
        auto run = [&](int band) {
            try {
                sampleBand(source, plans, spans, band, bands);
            } catch (...) {
                failed = true;
            }
        };
        std::vector<std::thread> helpers;
        for (int band = 1; band < bands; ++band) {
            try {
                helpers.emplace_back(run, band);
            } catch (...) {
                run(band); // no thread to be had: do that band here
            }
        }
        run(0);
        for (std::thread& helper : helpers)
            helper.join();
        for (size_t i = 0; i < plans.size(); ++i)
            if (plans[i].span >= 0 && !failed)
                results[i] = std::move(plans[i].result);
    } catch (const std::bad_alloc&) {
        return std::vector<QImage>(requests.size());
    }
    return results;
}

} // namespace iconfoundry
