// Times the Android and web icon sets made from one 1024 x 1024 image, and draws the pictures that
// show the adaptive icon under the launchers' masks.
//
//   bench_platformicons [--runs N] [--source FILE] [--pictures DIR]
//
// Timing: decoding the source, drawing both sets (every PNG, the ICO and the merged manifest) and
// writing them into a fresh folder, median of N runs in this process; then the same through the
// built `iconfoundry generate --android --web` as a child process (start-up included).
//
// Pictures (--pictures DIR): for a round mark of our own on a transparent canvas and for the
// source (a square that fills its canvas), the 108 dp adaptive icon at 432 pixels: the layers with
// the 72 dp square and the 66 dp circle marked, then under a circle mask and under a squircle
// mask of 72 dp, as launchers cut it. Written as adaptive-masks.png; beside it maskable-masks.png,
// the 512 maskable web icon under a circle and a rounded square of the whole canvas.

#include "iconset/androidiconset.h"
#include "iconset/iconfileplan.h"
#include "iconset/platformiconrenderer.h"
#include "iconset/webiconset.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QPainter>
#include <QPainterPath>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

using namespace iconfoundry;

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// A round badge with a bolt, drawn here: the kind of mark whose visible pixels reach a circle.
QImage roundMark()
{
    QImage image(1024, 1024, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    QRadialGradient fill(QPointF(400, 360), 620);
    fill.setColorAt(0, QColor(255, 190, 60));
    fill.setColorAt(1, QColor(230, 80, 40));
    p.setBrush(fill);
    p.drawEllipse(QRectF(32, 32, 960, 960));
    QPainterPath bolt;
    bolt.moveTo(580, 150);
    bolt.lineTo(300, 560);
    bolt.lineTo(500, 560);
    bolt.lineTo(430, 880);
    bolt.lineTo(730, 430);
    bolt.lineTo(530, 430);
    bolt.closeSubpath();
    p.setBrush(Qt::white);
    p.drawPath(bolt);
    return image;
}

QPainterPath squircle(const QRectF& box)
{
    // |x|^4 + |y|^4 = 1, the shape many launchers use.
    QPainterPath path;
    const QPointF c = box.center();
    const double r = box.width() / 2;
    for (int i = 0; i <= 360; ++i) {
        const double t = i * M_PI / 180;
        const double x = std::copysign(std::sqrt(std::abs(std::cos(t))), std::cos(t));
        const double y = std::copysign(std::sqrt(std::abs(std::sin(t))), std::sin(t));
        const QPointF point(c.x() + r * x, c.y() + r * y);
        i == 0 ? path.moveTo(point) : path.lineTo(point);
    }
    path.closeSubpath();
    return path;
}

// The canvas cut to the shape, on a light grey card so the cut edge shows.
QImage masked(const QImage& canvas, const QPainterPath& shape)
{
    QImage out(canvas.size(), QImage::Format_ARGB32_Premultiplied);
    out.fill(QColor(236, 236, 240));
    QPainter p(&out);
    p.setRenderHint(QPainter::Antialiasing);
    p.setClipPath(shape);
    p.drawImage(0, 0, canvas);
    return out;
}

QImage withGuides(const QImage& canvas, double side)
{
    QImage out = canvas.copy();
    QPainter p(&out);
    p.setRenderHint(QPainter::Antialiasing);
    const double dp = side / 108;
    p.setPen(QPen(QColor(0, 0, 0, 160), 2, Qt::DashLine));
    p.drawRect(QRectF(18 * dp, 18 * dp, 72 * dp, 72 * dp));
    p.setPen(QPen(QColor(200, 0, 120, 220), 2));
    p.drawEllipse(QRectF(21 * dp, 21 * dp, 66 * dp, 66 * dp));
    return out;
}

QImage row(const std::vector<QImage>& panels, int gap)
{
    int w = gap, h = 0;
    for (const QImage& panel : panels) {
        w += panel.width() + gap;
        h = std::max(h, panel.height());
    }
    QImage out(w, h + 2 * gap, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::white);
    QPainter p(&out);
    int x = gap;
    for (const QImage& panel : panels) {
        p.drawImage(x, gap, panel);
        x += panel.width() + gap;
    }
    return out;
}

QImage stack(const std::vector<QImage>& rows)
{
    int w = 0, h = 0;
    for (const QImage& r : rows) {
        w = std::max(w, r.width());
        h += r.height();
    }
    QImage out(w, h, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::white);
    QPainter p(&out);
    int y = 0;
    for (const QImage& r : rows) {
        p.drawImage(0, y, r);
        y += r.height();
    }
    return out;
}

bool drawPictures(const ImagePtr& source, const QString& folder)
{
    PlatformIconOptions options;
    options.background = QColor(32, 84, 148);
    const double safe = 72.0 / 108, visible = 66.0 / 108;
    std::vector<QImage> adaptiveRows, maskableRows;
    for (const ImagePtr& image : {Image::fromQImage(roundMark()), source}) {
        const PlatformIconRenderer renderer(image, options);
        using R = PlatformIconRenderer;
        const std::vector<R::Result> results = renderer.render(
            {{432, safe, visible, R::Content::Artwork, true, IconCanvas::Mask::None, R::Encoding::None},
             {512, 1, 0.8, R::Content::Artwork, true, IconCanvas::Mask::None, R::Encoding::None}});
        const QImage layers = results[0].canvas;
        const QRectF viewport(72, 72, 288, 288); // the 72 dp a launcher shows, at 4x
        QPainterPath circle;
        circle.addEllipse(viewport);
        adaptiveRows.push_back(
            row({withGuides(layers, 432), masked(layers, circle), masked(layers, squircle(viewport))}, 16));
        const QImage maskable = results[1].canvas;
        QPainterPath whole, rounded;
        whole.addEllipse(QRectF(0, 0, 512, 512));
        rounded.addRoundedRect(QRectF(0, 0, 512, 512), 96, 96);
        QPainterPath minimum; // the smallest mask: the safe circle itself
        minimum.addEllipse(QRectF(51.2, 51.2, 409.6, 409.6));
        maskableRows.push_back(
            row({masked(maskable, whole), masked(maskable, rounded), masked(maskable, minimum)}, 16));
    }
    QDir().mkpath(folder);
    return stack(adaptiveRows).save(QDir(folder).filePath("adaptive-masks.png")) &&
           stack(maskableRows).save(QDir(folder).filePath("maskable-masks.png"));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    int runs = 5;
    QString sourcePath =
        QDir(QCoreApplication::applicationDirPath()).filePath("resources/images/SampleIcon.png");
    QString pictures;
    for (int i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == "--runs")
            runs = std::max(1, args[++i].toInt());
        else if (args[i] == "--source")
            sourcePath = args[++i];
        else if (args[i] == "--pictures")
            pictures = args[++i];
    }
    Error error;
    const ImagePtr source = Image::fromFile(sourcePath, &error);
    if (!source) {
        std::fprintf(stderr, "cannot read %s: %s\n", qPrintable(sourcePath),
                     qPrintable(error.localizedDescription));
        return 1;
    }
    if (!pictures.isEmpty()) {
        if (!drawPictures(source, pictures))
            return 1;
        std::printf("pictures in %s\n", qPrintable(pictures));
    }

    std::vector<double> inProcess, draw, child;
    qint64 bytes = 0;
    int files = 0;
    for (int run = 0; run < runs; ++run) {
        QTemporaryDir dir;
        QElapsedTimer timer;
        timer.start();
        const ImagePtr image = Image::fromFile(sourcePath);
        QElapsedTimer drawing;
        drawing.start();
        const PlatformIconRenderer renderer(image, PlatformIconOptions());
        IconFilePlan android, web;
        if (!AndroidIconSet::plan(renderer, dir.filePath("res"), android) ||
            !WebIconSet::plan(renderer, dir.filePath("web"), web))
            return 1;
        draw.push_back(drawing.nsecsElapsed() / 1e6);
        android.examine();
        web.examine();
        if (!android.write() || !web.write())
            return 1;
        inProcess.push_back(timer.nsecsElapsed() / 1e6);
        bytes = 0;
        for (const IconFilePlan* plan : {&android, &web})
            for (const IconFilePlan::File& file : plan->files())
                bytes += file.bytes.size();
        files = int(android.files().size() + web.files().size());

        const QString binary = QDir(QCoreApplication::applicationDirPath()).filePath("iconfoundry");
        if (QFileInfo::exists(binary)) {
            QTemporaryDir out;
            QProcess process;
            timer.restart();
            process.start(binary, {"generate", sourcePath, "--android", out.filePath("res"), "--web",
                                   out.filePath("web"), "--quiet"});
            if (process.waitForFinished(60000) && process.exitCode() == 0)
                child.push_back(timer.nsecsElapsed() / 1e6);
        }
    }
    std::printf("%s, %d x %d, %d runs (median)\n", qPrintable(QFileInfo(sourcePath).fileName()),
                source->pixelSize().width(), source->pixelSize().height(), runs);
    std::printf("  %d files, %lld bytes\n", files, static_cast<long long>(bytes));
    std::printf("  drawing and encoding:               %7.1f ms\n", median(draw));
    std::printf("  decode + draw + write (in process): %7.1f ms\n", median(inProcess));
    if (!child.empty())
        std::printf("  iconfoundry generate --android --web: %5.1f ms\n", median(child));
    return 0;
}
