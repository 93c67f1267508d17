// Renders the whole icon catalogue (every category) from a 1024 x 1024 and a 4096 x 4096 source,
// once through ImageProcessor::resizeAndSaveImage ("ours") and once through Qt's plain path
// (QImage::scaled with Qt::SmoothTransformation and the default QImage::save as PNG, one thread,
// "plain"), and prints for each: wall time, total bytes written and peak memory. Every run is a
// separate child process (this program started again with --child), so peaks do not mix.
// Then it compares the written icons with the artwork drawn from the vector at each icon's size
// and prints the mean PSNR of both paths.
//
// Usage: bench_render [--runs N] [--keep DIR] [--study]
//   --runs N   runs per case (default 3); the median time is printed
//   --keep DIR keep the sources and outputs in DIR
//   --study    also print encoder (level / size / time) and resampling-filter figures
#include "iconset/image.h"
#include "iconset/imagecategory.h"
#include "iconset/imageprocessor.h"
#include "iconset/imagesize.h"
#include "iconset/pngwriter.h"
#include "iconset/resampler.h"

#include <QBuffer>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QProcess>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <QThreadPool>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <map>
#include <optional>
#include <sys/resource.h>
#include <vector>

using namespace iconfoundry;

namespace {

// Artwork with what icons have: rounded transparent corners, gradients, hard and soft edges,
// thin lines, translucent overlaps. No text, so every machine draws the same pixels.
const char* kArtwork = R"SVG(<?xml version="1.0" encoding="UTF-8"?>
<svg xmlns="http://www.w3.org/2000/svg" width="1024" height="1024" viewBox="0 0 1024 1024">
  <defs>
    <linearGradient id="bg" x1="0" y1="0" x2="1" y2="1">
      <stop offset="0" stop-color="#1e3c72"/>
      <stop offset="0.55" stop-color="#2a5298"/>
      <stop offset="1" stop-color="#f0932b"/>
    </linearGradient>
    <radialGradient id="sun" cx="0.5" cy="0.5" r="0.5">
      <stop offset="0" stop-color="#fff7d6"/>
      <stop offset="0.6" stop-color="#ffd166"/>
      <stop offset="1" stop-color="#ef476f" stop-opacity="0.0"/>
    </radialGradient>
    <linearGradient id="glass" x1="0" y1="0" x2="0" y2="1">
      <stop offset="0" stop-color="#ffffff" stop-opacity="0.55"/>
      <stop offset="1" stop-color="#ffffff" stop-opacity="0.05"/>
    </linearGradient>
  </defs>
  <rect x="0" y="0" width="1024" height="1024" rx="184" ry="184" fill="url(#bg)"/>
  <circle cx="640" cy="380" r="260" fill="url(#sun)"/>
  <path d="M0 760 C 200 640, 360 860, 560 740 S 900 600, 1024 700 L 1024 840 Q 1024 1024 840 1024 L 184 1024 Q 0 1024 0 840 Z" fill="#06d6a0" fill-opacity="0.85"/>
  <path d="M120 880 L 300 560 L 470 880 Z" fill="#073b4c"/>
  <path d="M360 880 L 560 480 L 760 880 Z" fill="#118ab2" fill-opacity="0.9"/>
  <circle cx="300" cy="300" r="120" fill="none" stroke="#ffffff" stroke-width="28" stroke-opacity="0.9"/>
  <circle cx="300" cy="300" r="56" fill="#ef476f"/>
  <g stroke="#ffffff" stroke-width="3" stroke-opacity="0.7">
    <line x1="120" y1="120" x2="900" y2="160"/>
    <line x1="120" y1="150" x2="900" y2="210"/>
    <line x1="120" y1="180" x2="900" y2="260"/>
  </g>
  <rect x="600" y="600" width="300" height="200" rx="40" fill="url(#glass)" stroke="#ffffff" stroke-opacity="0.6" stroke-width="6"/>
  <polygon points="780,90 810,170 895,170 826,220 852,300 780,250 708,300 734,220 665,170 750,170" fill="#ffd166"/>
</svg>
)SVG";

struct CatalogueRow
{
    qint64 category;
    const char* idiom;
    const char* platform;
    double width, height, scale, cropAspect;
    QString fileName;
};

// The reference slot table, used when the shipped catalogue is not beside the executable.
std::vector<CatalogueRow> builtInRows()
{
    std::vector<CatalogueRow> rows;
    auto square = [&](qint64 cat, const char* idiom, const char* platform, double pt,
                      std::initializer_list<int> scales, const char* prefix) {
        for (int s : scales)
            rows.push_back({cat, idiom, platform, pt, pt, double(s), 0,
                            QStringLiteral("%1-%2%3.png")
                                .arg(QLatin1String(prefix))
                                .arg(pt)
                                .arg(s == 1 ? QString() : QStringLiteral("@%1x").arg(s))});
    };
    auto cropped = [&](qint64 cat, const char* idiom, const char* platform, double w, double h,
                       std::initializer_list<int> scales, const char* prefix) {
        for (int s : scales)
            rows.push_back({cat, idiom, platform, w, h, double(s), h / w,
                            QStringLiteral("%1-%2x%3%4.png")
                                .arg(QLatin1String(prefix))
                                .arg(w)
                                .arg(h)
                                .arg(s == 1 ? QString() : QStringLiteral("@%1x").arg(s))});
    };
    for (double pt : {20.0, 29.0, 40.0, 60.0})
        square(101, "iphone", nullptr, pt, {2, 3}, "AppIcon");
    square(102, "iphone", nullptr, 29, {1}, "AppIcon");
    square(102, "iphone", nullptr, 57, {1, 2}, "AppIcon");
    for (double pt : {20.0, 29.0, 40.0, 76.0})
        square(111, "ipad", nullptr, pt, {1, 2}, "AppIcon-iPad");
    square(111, "ipad", nullptr, 83.5, {2}, "AppIcon-iPad");
    square(112, "ipad", nullptr, 50, {1, 2}, "AppIcon-iPad");
    square(112, "ipad", nullptr, 72, {1, 2}, "AppIcon-iPad");
    square(121, "ios-marketing", nullptr, 1024, {1}, "AppIcon-Marketing");
    square(131, "universal", "ios", 1024, {1}, "AppIcon-Universal");
    for (double pt : {16.0, 32.0, 128.0, 256.0, 512.0})
        square(201, "mac", nullptr, pt, {1, 2}, "AppIcon-Mac");
    square(301, "watch", nullptr, 24, {2}, "AppIcon-Watch");
    square(301, "watch", nullptr, 27.5, {2}, "AppIcon-Watch");
    square(301, "watch", nullptr, 29, {2, 3}, "AppIcon-Watch");
    for (double pt : {33.0, 40.0, 44.0, 46.0, 50.0, 51.0, 54.0, 86.0, 98.0, 108.0, 117.0, 129.0})
        square(301, "watch", nullptr, pt, {2}, "AppIcon-Watch");
    square(301, "watch-marketing", nullptr, 1024, {1}, "AppIcon-Watch-Marketing");
    square(401, "car", nullptr, 60, {2, 3}, "AppIcon-Car");
    square(501, "iphone", nullptr, 29, {2, 3}, "Messages-iPhone");
    cropped(501, "iphone", nullptr, 60, 45, {2, 3}, "Messages-iPhone");
    square(501, "ipad", nullptr, 29, {2}, "Messages-iPad");
    cropped(501, "ipad", nullptr, 67, 50, {2}, "Messages-iPad");
    cropped(501, "ipad", nullptr, 74, 55, {2}, "Messages-iPad");
    cropped(501, "universal", "ios", 27, 20, {2, 3}, "Messages");
    cropped(501, "universal", "ios", 32, 24, {2, 3}, "Messages");
    square(501, "ios-marketing", nullptr, 1024, {1}, "Messages-Marketing");
    cropped(501, "ios-marketing", "ios", 1024, 768, {1}, "Messages-Marketing");
    return rows;
}

struct Catalogue
{
    QList<ImageCategory> categories;
    QList<ImageSize> sizes;
    bool shipped = false;
};

Catalogue loadCatalogue()
{
    Catalogue c;
    ImageProcessor shipped;
    if (!shipped.allImageSizes().isEmpty() && !shipped.allImageCategories().isEmpty()) {
        c.categories = shipped.allImageCategories();
        c.sizes = shipped.allImageSizes();
        c.shipped = true;
        return c;
    }
    std::vector<qint64> ids;
    for (const CatalogueRow& row : builtInRows()) {
        ImageSize size;
        size.setIdiom(QString::fromLatin1(row.idiom));
        if (row.platform)
            size.setPlatform(QString::fromLatin1(row.platform));
        size.setWidth(row.width);
        size.setHeight(row.height);
        size.setScale(row.scale);
        size.setCropAspect(row.cropAspect);
        size.setFileName(row.fileName);
        size.setCategoryIds({QVariant(row.category)});
        c.sizes.append(size);
        if (std::find(ids.begin(), ids.end(), row.category) == ids.end())
            ids.push_back(row.category);
    }
    for (qint64 id : ids) {
        ImageCategory category;
        category.setCategoryId(id);
        c.categories.append(category);
    }
    return c;
}

bool taken(const ImageSize& size, const QList<ImageCategory>& categories)
{
    for (const ImageCategory& c : categories)
        if (size.hasCategoryId(c.categoryId()))
            return true;
    return false;
}

// The crop rectangle of the renderer, made integral and clipped like imageInRect().
std::optional<QRect> cropRect(QSize source, const ImageSize& size)
{
    const double a = size.cropAspect();
    if (a == 0)
        return std::nullopt;
    const double w = source.width(), h = source.height();
    if (h / w == a)
        return std::nullopt;
    const QRectF r = a < 1 ? QRectF(0, (h - a * h) * 0.5, w, a * h) : QRectF((w - a * w) * 0.5, 0, a * w, h);
    const int left = int(std::clamp(std::floor(r.left()), 0.0, w));
    const int top = int(std::clamp(std::floor(r.top()), 0.0, h));
    const int right = int(std::clamp(std::ceil(r.right()), 0.0, w));
    const int bottom = int(std::clamp(std::ceil(r.bottom()), 0.0, h));
    return QRect(left, top, right - left, bottom - top);
}

QSize pixelSize(const ImageSize& size)
{
    return size.pixelSize();
}

qint64 peakKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

// User plus system time of this process so far: what the work cost, whatever else the machine runs.
double cpuMs()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

qint64 folderBytes(const QString& folder, int* files)
{
    qint64 total = 0;
    *files = 0;
    QDirIterator it(folder, QDir::Files);
    while (it.hasNext()) {
        it.next();
        total += it.fileInfo().size();
        ++*files;
    }
    return total;
}

// One measured run inside a child process. Prints "RESULT key=value ...".
int runChild(const QString& path, const QString& sourceFile, const QString& outDir)
{
    const Catalogue catalogue = loadCatalogue();
    QElapsedTimer timer;
    timer.start();
    double loadMs = 0, renderMs = 0, cpuAtLoad = 0;
    bool ok = true;
    if (path == QLatin1String("ours")) {
        Error error;
        const ImagePtr image = Image::fromFile(sourceFile, &error);
        if (!image) {
            std::fprintf(stderr, "load failed: %s\n", qPrintable(error.localizedDescription));
            return 1;
        }
        loadMs = timer.nsecsElapsed() / 1e6;
        cpuAtLoad = cpuMs();
        ImageProcessor processor;
        processor.setAllImageCategories(catalogue.categories);
        processor.setAllImageSizes(catalogue.sizes);
        ok = processor.resizeAndSaveImage(image, catalogue.categories, outDir, &error);
        if (!ok)
            std::fprintf(stderr, "save failed: %s\n", qPrintable(error.localizedDescription));
    } else {
        const QImage image(sourceFile);
        if (image.isNull())
            return 1;
        loadMs = timer.nsecsElapsed() / 1e6;
        cpuAtLoad = cpuMs();
        for (const ImageSize& size : catalogue.sizes) {
            if (!taken(size, catalogue.categories))
                continue;
            const std::optional<QRect> crop = cropRect(image.size(), size);
            const QImage from = crop ? image.copy(*crop) : image;
            const QImage icon = from.scaled(pixelSize(size), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            ok = icon.save(outDir + QLatin1Char('/') + size.fileName().value_or(QString()), "PNG") && ok;
        }
    }
    renderMs = timer.nsecsElapsed() / 1e6 - loadMs;
    int files = 0;
    const qint64 bytes = folderBytes(outDir, &files);
    std::printf("RESULT ok=%d load_ms=%.1f render_ms=%.1f cpu_ms=%.1f bytes=%lld files=%d peak_kib=%lld\n",
                ok ? 1 : 0, loadMs, renderMs, cpuMs() - cpuAtLoad, bytes, files, peakKiB());
    return ok ? 0 : 1;
}

struct RunResult
{
    double loadMs = 0, renderMs = 0, cpuMs = 0;
    qint64 bytes = 0, peakKiB = 0;
    int files = 0;
    bool ok = false;
};

std::optional<RunResult> spawn(const QString& path, const QString& sourceFile, const QString& outDir)
{
    QDir().mkpath(outDir);
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--child"), path, sourceFile, outDir});
    if (!child.waitForFinished(300000))
        return std::nullopt;
    const QString out = QString::fromUtf8(child.readAllStandardOutput());
    const qsizetype at = out.indexOf(QLatin1String("RESULT "));
    if (at < 0)
        return std::nullopt;
    std::map<QString, QString> kv;
    for (const QString& field : out.mid(at + 7).trimmed().split(QLatin1Char(' '))) {
        const auto parts = field.split(QLatin1Char('='));
        if (parts.size() == 2)
            kv[parts[0]] = parts[1];
    }
    RunResult r;
    r.ok = kv[QStringLiteral("ok")] == QLatin1String("1");
    r.loadMs = kv[QStringLiteral("load_ms")].toDouble();
    r.renderMs = kv[QStringLiteral("render_ms")].toDouble();
    r.cpuMs = kv[QStringLiteral("cpu_ms")].toDouble();
    r.bytes = kv[QStringLiteral("bytes")].toLongLong();
    r.files = kv[QStringLiteral("files")].toInt();
    r.peakKiB = kv[QStringLiteral("peak_kib")].toLongLong();
    return r;
}

QImage drawArtwork(QSize pixels, const QRectF& viewBox = QRectF())
{
    QSvgRenderer renderer{QByteArray(kArtwork)};
    if (!viewBox.isEmpty())
        renderer.setViewBox(viewBox);
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(pixels)));
    return image;
}

// PSNR over the four premultiplied channels; nullopt when the images are identical.
std::optional<double> psnr(const QImage& a, const QImage& b)
{
    const QImage x = a.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (x.size() != y.size())
        return 0.0;
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const uchar* p = x.constScanLine(row);
        const uchar* q = y.constScanLine(row);
        for (int i = 0; i < x.width() * 4; ++i) {
            const double d = double(p[i]) - q[i];
            sum += d * d;
        }
    }
    const double mse = sum / (double(x.width()) * x.height() * 4);
    if (mse == 0)
        return std::nullopt;
    return 10 * std::log10(255.0 * 255.0 / mse);
}

struct Quality
{
    double meanPsnr = 0;
    int compared = 0;
    int identical = 0;
};

// Compares every taken icon written in `folder` with the artwork drawn from the vector at that
// icon's pixel size (and crop). Icons as large as their source are exact copies in both paths and
// are counted apart.
Quality measureQuality(const Catalogue& catalogue, int sourceSide, const QString& folder)
{
    Quality q;
    double sum = 0;
    std::map<QString, bool> done;
    for (const ImageSize& size : catalogue.sizes) {
        if (!taken(size, catalogue.categories))
            continue;
        const QString file = folder + QLatin1Char('/') + size.fileName().value_or(QString());
        if (done[file])
            continue; // a shared file holds the later entry; compare it once
        done[file] = true;
        // The later entry of a shared name is what the file holds.
        ImageSize last = size;
        for (const ImageSize& other : catalogue.sizes)
            if (taken(other, catalogue.categories) && other.fileName() == size.fileName())
                last = other;
        const QSize pixels = pixelSize(last);
        const std::optional<QRect> crop = cropRect(QSize(sourceSide, sourceSide), last);
        const double unit = 1024.0 / sourceSide;
        const QRectF viewBox =
            crop ? QRectF(crop->x() * unit, crop->y() * unit, crop->width() * unit, crop->height() * unit)
                 : QRectF(0, 0, 1024, 1024);
        const QImage written(file);
        const QImage reference = drawArtwork(pixels, viewBox);
        const std::optional<double> p = psnr(written, reference);
        if (!p) {
            ++q.identical;
            continue;
        }
        sum += *p;
        ++q.compared;
    }
    q.meanPsnr = q.compared ? sum / q.compared : 0;
    return q;
}

// Detailed artwork drawn by QPainter in a 1024-unit square, at any pixel size and over any part
// (viewBox, in units): hairlines fanning out at many angles, text as outlines (no hinting, so every
// size shows the same shapes), hard-edged triangles and a star, fine checkerboards of 4- and
// 6-unit cells, concentric rings and a translucent band over transparent rounded corners.
// Everything of one colour is filled as one path: the rasteriser then covers a pixel that many
// thin shapes share by their united area, instead of compositing each shape's coverage on its
// own, which would let the background show through where they meet and make the small reference
// sizes darker than the artwork really is.
QImage drawDetailed(QSize pixels, const QRectF& viewBox = QRectF(0, 0, 1024, 1024))
{
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(pixels.width() / viewBox.width(), pixels.height() / viewBox.height());
    p.translate(-viewBox.topLeft());
    p.setPen(Qt::NoPen);
    auto fill = [&p](QPainterPath path, QColor colour) {
        path.setFillRule(Qt::WindingFill);
        p.fillPath(path.simplified(), colour);
    };
    auto stroke = [](const QPainterPath& path, double width) {
        QPainterPathStroker stroker;
        stroker.setWidth(width);
        return stroker.createStroke(path);
    };
    QPainterPath background;
    background.addRoundedRect(QRectF(0, 0, 1024, 1024), 180, 180);
    fill(background, QColor(18, 32, 64));
    QPainterPath fine, coarse;
    for (int y = 0; y < 40; ++y) // checkerboard, 4-unit cells
        for (int x = 0; x < 40; ++x)
            if ((x + y) % 2 == 0)
                fine.addRect(QRectF(600 + x * 4, 120 + y * 4, 4, 4));
    for (int y = 0; y < 24; ++y) // checkerboard, 6-unit cells
        for (int x = 0; x < 24; ++x)
            if ((x + y) % 2 == 0)
                coarse.addRect(QRectF(780 + x * 6, 120 + y * 6, 6, 6));
    fill(fine, Qt::white);
    fill(coarse, QColor(255, 200, 40));
    QPainterPath fan, rings;
    for (int i = 0; i < 36; ++i) { // hairline fan
        const double a = i * 2.5 * 3.14159265 / 180;
        QPainterPath line(QPointF(120, 520));
        line.lineTo(QPointF(120 + 420 * std::cos(a), 520 - 420 * std::sin(a)));
        fan.addPath(stroke(line, i % 3 == 0 ? 2.0 : 1.0));
    }
    fill(fan, QColor(120, 220, 255));
    for (int r = 10; r < 150; r += 7) { // rings
        QPainterPath ring;
        ring.addEllipse(QPointF(300, 780), r, r);
        rings.addPath(stroke(ring, 2.5));
    }
    fill(rings, QColor(255, 90, 120));
    QPainterPath green, pale, star; // hard diagonal edges
    green.addPolygon(QPolygonF({QPointF(520, 980), QPointF(700, 560), QPointF(760, 980)}));
    pale.addPolygon(QPolygonF({QPointF(770, 980), QPointF(990, 620), QPointF(990, 980)}));
    fill(green, QColor(90, 230, 140));
    fill(pale, QColor(240, 240, 255));
    QPolygonF points;
    for (int i = 0; i < 10; ++i) {
        const double a = i * 3.14159265 / 5, r = i % 2 ? 40 : 110;
        points << QPointF(880 + r * std::sin(a), 470 - r * std::cos(a));
    }
    star.addPolygon(points);
    fill(star, QColor(255, 120, 30));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(96);
    QPainterPath text;
    text.addText(QPointF(90, 110), font, QStringLiteral("Icon 42"));
    font.setPixelSize(34);
    text.addText(QPointF(520, 560), font, QStringLiteral("thin lines & text"));
    fill(text, Qt::white);
    QPainterPath band;
    band.addRect(QRectF(0, 590, 1024, 36));
    fill(band, QColor(255, 255, 255, 90)); // translucent band
    return image;
}

// Per distinct catalogue size (and crop): PSNR against the detailed artwork drawn from vector at
// that size, of Qt's area averaging (QImage::scaled, smooth) and of ours, from a source of `side`.
bool psnrTable(const Catalogue& catalogue, int side)
{
    const QImage source = drawDetailed(QSize(side, side));
    const ImagePtr image = Image::fromQImage(source);
    std::printf("\nPSNR against the vector at each size (dB), detailed artwork from a %d x %d bitmap:\n",
                side, side);
    std::printf("%-12s %-22s %8s %8s %8s\n", "pixels", "crop (source rows)", "Qt", "ours", "ours-Qt");
    std::map<std::pair<QString, QString>, bool> seen;
    bool everyAtLeastQt = true;
    double sumQt = 0, sumOurs = 0;
    int rows = 0;
    for (const ImageSize& size : catalogue.sizes) {
        if (!taken(size, catalogue.categories))
            continue;
        const QSize pixels = pixelSize(size);
        const std::optional<QRect> crop = cropRect(source.size(), size);
        const QRect cut = crop.value_or(source.rect());
        const auto key = std::make_pair(QStringLiteral("%1x%2").arg(pixels.width()).arg(pixels.height()),
                                        QStringLiteral("%1-%2").arg(cut.top()).arg(cut.bottom()));
        if (pixels.isEmpty() || seen[key] || pixels.width() > cut.width())
            continue;
        seen[key] = true;
        const double unit = 1024.0 / side;
        const QImage reference = drawDetailed(
            pixels, QRectF(cut.x() * unit, cut.y() * unit, cut.width() * unit, cut.height() * unit));
        const QImage qt = source.copy(cut).scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        const QImage ours =
            image->shrunkenCuts({{crop ? QRectF(*crop) : QRectF(), QSizeF(pixels)}}, 1).front();
        const double pq = psnr(qt, reference).value_or(99), po = psnr(ours, reference).value_or(99);
        // Compared as printed: to the hundredth of a dB.
        everyAtLeastQt = everyAtLeastQt && std::round(po * 100) >= std::round(pq * 100);
        sumQt += pq;
        sumOurs += po;
        ++rows;
        std::printf("%-12s %-22s %8.2f %8.2f %+8.2f\n", qPrintable(key.first),
                    crop ? qPrintable(QStringLiteral("%1 to %2").arg(cut.top()).arg(cut.bottom())) : "-", pq,
                    po, po - pq);
    }
    std::printf("%-35s %8.2f %8.2f %+8.2f   ours >= Qt at every size: %s\n", "mean", sumQt / rows,
                sumOurs / rows, (sumOurs - sumQt) / rows, everyAtLeastQt ? "yes" : "NO");
    return everyAtLeastQt;
}

QString loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly)
               ? QString::fromLatin1(file.readAll()).section(QLatin1Char(' '), 0, 2)
               : QStringLiteral("unknown");
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// Encoder figures on real icon content: every level, bytes and time, against QImage::save.
void encoderStudy(const QString& source1024)
{
    const QImage art = QImage(source1024).convertToFormat(QImage::Format_ARGB32_Premultiplied);
    std::printf("\nEncoder study (1024 artwork and its 180 / 58 pixel icons; best of 3 runs each)\n");
    std::printf("%-18s %12s %10s %12s %10s %12s %10s\n", "encoder", "1024 bytes", "1024 ms", "180 bytes",
                "180 ms", "58 bytes", "58 ms");
    const QImage icons[3] = {art, Resampler::scaled(art, QSize(180, 180)),
                             Resampler::scaled(art, QSize(58, 58))};
    auto measure = [&](const char* label, auto encode) {
        std::printf("%-18s", label);
        for (const QImage& icon : icons) {
            double best = 1e9;
            qint64 bytes = 0;
            for (int i = 0; i < 3; ++i) {
                QElapsedTimer t;
                t.start();
                bytes = encode(icon);
                best = std::min(best, t.nsecsElapsed() / 1e6);
            }
            std::printf(" %12lld %10.2f", bytes, best);
        }
        std::printf("\n");
    };
    measure("QImage::save", [](const QImage& img) {
        QByteArray data;
        QBuffer buffer(&data);
        buffer.open(QIODevice::WriteOnly);
        img.convertToFormat(QImage::Format_ARGB32).save(&buffer, "PNG");
        return qint64(data.size());
    });
    for (int level : {1, 3, 4, 5, 6, 7, 8, 9, 10, 12}) {
        const QByteArray label = QStringLiteral("PngWriter level %1").arg(level).toLatin1();
        measure(label.constData(),
                [level](const QImage& img) { return qint64(PngWriter::encode(img, level).size()); });
    }
}

// Resampling figures: mean PSNR against the vector for each filter, straight from the 1024 bitmap.
void filterStudy(const Catalogue& catalogue, const QString& source1024)
{
    const QImage art = QImage(source1024).convertToFormat(QImage::Format_ARGB32_Premultiplied);
    std::printf("\nResampling study (1024 bitmap -> each catalogue size, mean PSNR vs vector, dB)\n");
    const std::pair<const char*, Resampler::Filter> filters[] = {{"area", Resampler::Filter::Area},
                                                                 {"triangle", Resampler::Filter::Triangle},
                                                                 {"mitchell", Resampler::Filter::Mitchell},
                                                                 {"lanczos3", Resampler::Filter::Lanczos3}};
    for (const auto& [name, filter] : filters) {
        double sum = 0;
        int n = 0;
        QElapsedTimer t;
        qint64 ns = 0;
        for (const ImageSize& size : catalogue.sizes) {
            if (!taken(size, catalogue.categories) || pixelSize(size).width() >= 1024)
                continue;
            const std::optional<QRect> crop = cropRect(art.size(), size);
            const QRectF rect = crop ? QRectF(*crop) : QRectF(art.rect());
            t.start();
            const QImage icon = Resampler::scaled(art, rect, pixelSize(size), filter);
            ns += t.nsecsElapsed();
            if (const auto p = psnr(icon, drawArtwork(pixelSize(size), rect))) {
                sum += *p;
                ++n;
            }
        }
        std::printf("  %-10s from full size: %6.2f dB over %d icons, %7.1f ms\n", name, n ? sum / n : 0.0, n,
                    ns / 1e6);
    }
    double sum = 0;
    int n = 0;
    QElapsedTimer t;
    t.start();
    const ImagePtr image = Image::fromQImage(art);
    for (const ImageSize& size : catalogue.sizes) {
        if (!taken(size, catalogue.categories) || pixelSize(size).width() >= 1024)
            continue;
        const std::optional<QRect> crop = cropRect(art.size(), size);
        const ImagePtr from = crop ? image->imageInRect(QRectF(*crop)) : image;
        const QImage icon = from->renderedAtSize(QSizeF(pixelSize(size)))->bitmap();
        if (const auto p =
                psnr(icon, drawArtwork(pixelSize(size), crop ? QRectF(*crop) : QRectF(art.rect())))) {
            sum += *p;
            ++n;
        }
    }
    std::printf("  %-10s as the renderer draws it: %6.2f dB over %d icons\n", "automatic", n ? sum / n : 0.0,
                n);
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QStringList args = app.arguments();
    if (args.size() == 5 && args[1] == QLatin1String("--child"))
        return runChild(args[2], args[3], args[4]);

    int runs = 3;
    QString keep;
    bool study = false, psnrOnly = false;
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--runs") && i + 1 < args.size())
            runs = std::max(1, args[++i].toInt());
        else if (args[i] == QLatin1String("--keep") && i + 1 < args.size())
            keep = args[++i];
        else if (args[i] == QLatin1String("--study"))
            study = true;
        else if (args[i] == QLatin1String("--psnr"))
            psnrOnly = true;
        else {
            std::fprintf(stderr, "usage: bench_render [--runs N] [--keep DIR] [--study] [--psnr]\n");
            return 2;
        }
    }

    QTemporaryDir temporary;
    const QString work = keep.isEmpty() ? temporary.path() : keep;
    QDir().mkpath(work);
    const Catalogue catalogue = loadCatalogue();
    int taken = 0;
    for (const ImageSize& size : catalogue.sizes)
        taken += ::taken(size, catalogue.categories) ? 1 : 0;
    std::printf("Catalogue: %s, %lld categories, %d sizes taken\n",
                catalogue.shipped ? "shipped resources/ImageSizes.plist" : "built-in reference table",
                qint64(catalogue.categories.size()), taken);
    std::printf("Thread pool: %d threads; load average before the runs: %s\n",
                QThreadPool::globalInstance()->maxThreadCount(), qPrintable(loadAverage()));

    if (psnrOnly) {
        const bool first = psnrTable(catalogue, 1024);
        const bool second = psnrTable(catalogue, 1000);
        return first && second ? 0 : 1;
    }

    QFile svg(work + QStringLiteral("/artwork.svg"));
    svg.open(QIODevice::WriteOnly);
    svg.write(kArtwork);
    svg.close();
    const QString source1024 = work + QStringLiteral("/source-1024.png");
    const QString source4096 = work + QStringLiteral("/source-4096.png");
    drawArtwork(QSize(1024, 1024)).save(source1024);
    drawArtwork(QSize(4096, 4096)).save(source4096);

    struct Case
    {
        int side;
        QString file;
    };
    const Case cases[] = {{1024, source1024}, {4096, source4096}};
    std::printf(
        "\nMedian of %d runs each; render = rendering and writing every file, load = decoding the source.\n"
        "CPU = user + system time of the render phase (both cores for ours, one for plain).\n",
        runs);
    std::printf("%-6s %-6s %10s %10s %10s %10s %12s %6s %9s\n", "source", "path", "render ms", "CPU ms",
                "load ms", "total ms", "bytes", "files", "peak MB");
    std::map<std::pair<int, QString>, RunResult> summary;
    for (const Case& c : cases) {
        std::map<QString, std::vector<RunResult>> results;
        for (int run = 0; run < runs; ++run) {
            for (const QString& path : {QStringLiteral("plain"), QStringLiteral("ours")}) {
                const QString out =
                    QStringLiteral("%1/out-%2-%3-%4").arg(work).arg(c.side).arg(path).arg(run);
                const std::optional<RunResult> r = spawn(path, c.file, out);
                if (!r || !r->ok) {
                    std::fprintf(stderr, "run %s %d failed\n", qPrintable(path), c.side);
                    return 1;
                }
                results[path].push_back(*r);
                if (run != runs - 1)
                    QDir(out).removeRecursively();
            }
        }
        for (const QString& path : {QStringLiteral("plain"), QStringLiteral("ours")}) {
            std::vector<double> render, load, total, cpu;
            RunResult merged = results[path].front();
            for (const RunResult& r : results[path]) {
                render.push_back(r.renderMs);
                cpu.push_back(r.cpuMs);
                load.push_back(r.loadMs);
                total.push_back(r.renderMs + r.loadMs);
                merged.peakKiB = std::max(merged.peakKiB, r.peakKiB);
            }
            merged.renderMs = median(render);
            merged.loadMs = median(load);
            merged.cpuMs = median(cpu);
            summary[{c.side, path}] = merged;
            std::printf("%-6d %-6s %10.1f %10.1f %10.1f %10.1f %12lld %6d %9.1f\n", c.side, qPrintable(path),
                        merged.renderMs, merged.cpuMs, merged.loadMs, median(total), merged.bytes,
                        merged.files, merged.peakKiB / 1024.0);
        }
    }

    std::printf("\n");
    for (const Case& c : cases) {
        const RunResult& plain = summary[{c.side, QStringLiteral("plain")}];
        const RunResult& ours = summary[{c.side, QStringLiteral("ours")}];
        std::printf("%d: ours is %.2fx faster rendering+writing (%.2fx with loading; %.2fx less CPU), writes "
                    "%.2f%% of "
                    "the plain bytes, peak %.1f MB vs %.1f MB\n",
                    c.side, plain.renderMs / ours.renderMs,
                    (plain.renderMs + plain.loadMs) / (ours.renderMs + ours.loadMs), plain.cpuMs / ours.cpuMs,
                    100.0 * ours.bytes / plain.bytes, ours.peakKiB / 1024.0, plain.peakKiB / 1024.0);
    }

    std::printf("\nQuality: mean PSNR against the artwork drawn from the vector at each icon's size\n");
    for (const Case& c : cases) {
        for (const QString& path : {QStringLiteral("plain"), QStringLiteral("ours")}) {
            const QString out =
                QStringLiteral("%1/out-%2-%3-%4").arg(work).arg(c.side).arg(path).arg(runs - 1);
            const Quality q = measureQuality(catalogue, c.side, out);
            std::printf(
                "  from %d bitmap, %-5s: %6.2f dB over %d resampled icons (%d identical to the vector)\n",
                c.side, qPrintable(path), q.meanPsnr, q.compared, q.identical);
        }
    }

    psnrTable(catalogue, 1024);
    psnrTable(catalogue, 1000);

    if (study) {
        encoderStudy(source1024);
        filterStudy(catalogue, source1024);
    }
    return 0;
}
