// Decodes PNG files the ways the application can and prints the median wall time of each:
// - "qt": QImageReader, then the conversion to premultiplied ARGB32 (the general path);
// - "ours": PngDecoder, from the bytes in memory;
// - "fromFile": Image::fromFile, reading the file included (what `generate` pays).
// Each decoded bitmap is compared with the general path's ("same": yes, DIFFERENT, or which
// decoder did not decode it).
//
// Usage: bench_decode [--runs N] FILE.png...
#include "iconset/image.h"
#include "iconset/pngdecoder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImageReader>
#include <QStringList>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

using namespace iconfoundry;

namespace {

double medianMs(int runs, const std::function<void()>& work)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

QImage decodedByQt(const QByteArray& bytes)
{
    QImage image = QImage::fromData(bytes, "png");
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    int runs = 9;
    if (args.size() >= 2 && args.front() == QLatin1String("--runs")) {
        runs = std::max(1, args.at(1).toInt());
        args = args.mid(2);
    }
    if (args.isEmpty()) {
        std::fprintf(stderr, "usage: bench_decode [--runs N] FILE.png...\n");
        return 2;
    }
    QImageReader::setAllocationLimit(2048);
    std::printf("%-28s %10s %10s %10s  %s\n", "file", "qt ms", "ours ms", "fromFile", "same");
    for (const QString& path : args) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
            return 1;
        }
        const QByteArray bytes = file.readAll();
        const PngDecoder decoder(bytes);
        if (!decoder.canDecode()) {
            std::printf("%-28s not for the fast path\n", qPrintable(path.section(QLatin1Char('/'), -1)));
            continue;
        }
        const QImage reference = decodedByQt(bytes);
        QImage ours;
        const PngDecoder::Result result = decoder.decode(&ours, nullptr);
        const char* same = result == PngDecoder::Result::Corrupt       ? "ours: damaged"
                           : result == PngDecoder::Result::Unsupported ? "ours: left to qt"
                           : reference.isNull()                        ? "qt: failed"
                           : ours.convertToFormat(QImage::Format_ARGB32_Premultiplied) == reference
                               ? "yes"
                               : "DIFFERENT";
        const double qt = medianMs(runs, [&] { decodedByQt(bytes); });
        const double fast = medianMs(runs, [&] { decoder.decode(&ours, nullptr); });
        const double whole = medianMs(runs, [&] { Image::fromFile(path); });
        std::printf("%-28s %10.1f %10.1f %10.1f  %s\n", qPrintable(path.section(QLatin1Char('/'), -1)), qt,
                    fast, whole, same);
    }
    return 0;
}
