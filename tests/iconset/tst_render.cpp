#include "iconset/image.h"
#include "iconset/imageprocessor.h"
#include "iconset/pngwriter.h"
#include "logging/log.h"
#include "logging/logger.h"
#include "logging/logmessage.h"

#include <QDir>
#include <QPainter>
#include <QRadialGradient>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QtEndian>
#include <mutex>

namespace {

ImageSize makeSize(double points, double scale, QString fileName, qint64 category = 101,
                   double cropAspect = 0, double height = 0)
{
    ImageSize size;
    size.setWidth(points);
    size.setHeight(height ? height : points);
    size.setScale(scale);
    size.setCropAspect(cropAspect);
    size.setFileName(std::move(fileName));
    size.setCategoryIds({QVariant(category)});
    return size;
}

QList<ImageCategory> categories(std::initializer_list<qint64> ids)
{
    QList<ImageCategory> list;
    for (qint64 id : ids) {
        ImageCategory c;
        c.setCategoryId(id);
        list.append(c);
    }
    return list;
}

QImage coordinatePattern(int w, int h)
{
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixel(x, y, qRgba(x & 255, y & 255, ((x >> 8) << 4) | (y >> 8), 255));
    return image;
}

QPoint positionOf(QRgb p)
{
    return QPoint(qRed(p) | ((qBlue(p) >> 4) << 8), qGreen(p) | ((qBlue(p) & 15) << 8));
}

// Icon-like artwork: a gradient disc inside transparent rounded corners.
QImage artwork(int side)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(30, 60, 114));
    painter.drawRoundedRect(QRectF(0, 0, side, side), side * 0.18, side * 0.18);
    QRadialGradient sun(QPointF(side * 0.6, side * 0.4), side * 0.3);
    sun.setColorAt(0, QColor(255, 247, 214));
    sun.setColorAt(1, QColor(239, 71, 111, 0));
    painter.setBrush(sun);
    painter.drawEllipse(QPointF(side * 0.6, side * 0.4), side * 0.3, side * 0.3);
    return image;
}

struct PngHeader
{
    bool valid = false;
    QSize size;
    int bitDepth = 0;
    int colourType = 0;
    int interlace = 0;
};

// Reads the IHDR straight from the bytes: signature, first chunk, its CRC-covered fields.
PngHeader readHeader(const QByteArray& png)
{
    PngHeader h;
    if (png.size() < 33 || !png.startsWith(QByteArray("\x89PNG\r\n\x1a\n", 8)) || png.mid(12, 4) != "IHDR" ||
        qFromBigEndian<quint32>(png.constData() + 8) != 13)
        return h;
    h.size = QSize(int(qFromBigEndian<quint32>(png.constData() + 16)),
                   int(qFromBigEndian<quint32>(png.constData() + 20)));
    h.bitDepth = uchar(png.at(24));
    h.colourType = uchar(png.at(25));
    h.interlace = uchar(png.at(28));
    h.valid = true;
    return h;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList everyEntry(const QString& folder)
{
    QStringList names =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    return names;
}

bool foldersAreEnforced()
{
    QTemporaryDir dir;
    QDir(dir.path()).mkdir(QStringLiteral("locked"));
    const QString locked = dir.filePath(QStringLiteral("locked"));
    QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner);
    QFile probe(locked + QStringLiteral("/probe"));
    const bool writable = probe.open(QIODevice::WriteOnly);
    probe.close();
    QFile::remove(probe.fileName());
    QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return !writable;
}

class CapturingLogger : public Logger
{
public:
    struct Line
    {
        unsigned flag;
        QString text;
        QString function;
    };
    void logMessage(const LogMessage& message) override
    {
        std::lock_guard lock(mutex_);
        lines_.push_back({message.flag(), QString::fromStdString(message.message()),
                          QString::fromStdString(message.function())});
    }
    std::vector<Line> lines()
    {
        std::lock_guard lock(mutex_);
        return lines_;
    }

private:
    std::mutex mutex_;
    std::vector<Line> lines_;
};

} // namespace

class TestRender : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void fileNames_data();
    void fileNames();
    void existingFiles_data();
    void existingFiles();
    void croppedImage_data();
    void croppedImage();
    void writesExactRgbaPngs();
    void emptySelectionTouchesNothing_data();
    void emptySelectionTouchesNothing();
    void failedWritesAreReportedAndOthersWritten_data();
    void failedWritesAreReportedAndOthersWritten();
    void sharedFileNameHoldsLaterEntry_data();
    void sharedFileNameHoldsLaterEntry();
    void sourceKeepsLastTargetAsNominalSize();
    void svgSourceIsDrawnFromTheVector();
    void pngEncoderRoundTrip_data();
    void pngEncoderRoundTrip();

private:
    ImageProcessor processor_;
};

void TestRender::init()
{
    processor_ = ImageProcessor();
    processor_.setAllImageCategories(categories({101, 111, 501}));
    processor_.setAllImageSizes({makeSize(20, 2, QStringLiteral("a.png"), 101),
                                 makeSize(20, 3, QStringLiteral("b.png"), 111),
                                 makeSize(40, 2, QStringLiteral("shared.png"), 111),
                                 makeSize(60, 2, QStringLiteral("wide.png"), 501, 0.75, 45),
                                 makeSize(29, 2, QStringLiteral("shared.png"), 111)});
}

void TestRender::fileNames_data()
{
    QTest::addColumn<QList<ImageCategory>>("chosen");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("one category") << categories({101}) << QStringList{"a.png"};
    QTest::newRow("shared name listed twice")
        << categories({111}) << QStringList{"b.png", "shared.png", "shared.png"};
    QTest::newRow("catalogue order, not choice order")
        << categories({501, 101}) << QStringList{"a.png", "wide.png"};
    QTest::newRow("none chosen") << categories({}) << QStringList{};
    QTest::newRow("unknown category") << categories({999}) << QStringList{};
}

void TestRender::fileNames()
{
    QFETCH(QList<ImageCategory>, chosen);
    QFETCH(QStringList, names);
    QCOMPARE(processor_.imageFileNamesForCategories(chosen), names);
    const QList<ImagePtr> icons = processor_.resizeImage(Image::fromQImage(artwork(64)), chosen);
    QCOMPARE(icons.size(), names.size());
}

void TestRender::existingFiles_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<QStringList>("existing"); // empty: absent
    QTest::newRow("nothing there") << QStringList{} << QStringList{} << QStringList{};
    QTest::newRow("unrelated file") << QStringList{"other.png"} << QStringList{} << QStringList{};
    QTest::newRow("one file") << QStringList{"b.png"} << QStringList{} << QStringList{"b.png"};
    QTest::newRow("a folder of that name counts, twice")
        << QStringList{} << QStringList{"shared.png"} << QStringList{"shared.png", "shared.png"};
}

void TestRender::existingFiles()
{
    QFETCH(QStringList, files);
    QFETCH(QStringList, folders);
    QFETCH(QStringList, existing);
    QTemporaryDir dir;
    for (const QString& name : files) {
        QFile f(dir.filePath(name));
        QVERIFY(f.open(QIODevice::WriteOnly));
    }
    for (const QString& name : folders)
        QVERIFY(QDir(dir.path()).mkdir(name));
    const auto found = processor_.fileNamesThatExistForCategories(categories({101, 111}), dir.path());
    if (existing.isEmpty()) {
        QVERIFY(!found.has_value());
    } else {
        QVERIFY(found.has_value());
        QCOMPARE(*found, existing);
    }
}

void TestRender::croppedImage_data()
{
    QTest::addColumn<QSize>("source");
    QTest::addColumn<double>("aspect");
    QTest::addColumn<QRect>("expected");
    QTest::addColumn<bool>("same"); // the source itself comes back
    QTest::newRow("0.75 of 1024") << QSize(1024, 1024) << 0.75 << QRect(0, 128, 1024, 768) << false;
    QTest::newRow("50/67 of 1024") << QSize(1024, 1024) << 50.0 / 67 << QRect(0, 129, 1024, 766) << false;
    QTest::newRow("20/27 of 1024") << QSize(1024, 1024) << 20.0 / 27 << QRect(0, 132, 1024, 760) << false;
    QTest::newRow("1000x800 at aspect 1 keeps it whole")
        << QSize(1000, 800) << 1.0 << QRect(0, 0, 1000, 800) << false;
    QTest::newRow("aspect 2 is clipped to the whole image")
        << QSize(1024, 1024) << 2.0 << QRect(0, 0, 1024, 1024) << false;
    QTest::newRow("already at the aspect") << QSize(1000, 800) << 0.8 << QRect(0, 0, 1000, 800) << true;
}

void TestRender::croppedImage()
{
    QFETCH(QSize, source);
    QFETCH(double, aspect);
    QFETCH(QRect, expected);
    QFETCH(bool, same);
    const ImagePtr image = Image::fromQImage(coordinatePattern(source.width(), source.height()));
    const ImagePtr cropped =
        processor_.croppedImage(image, makeSize(60, 2, QStringLiteral("x.png"), 101, aspect));
    QCOMPARE(cropped == image, same);
    QCOMPARE(cropped->pixelSize(), expected.size());
    const QImage bitmap = cropped->bitmap();
    QCOMPARE(positionOf(bitmap.pixel(0, 0)), expected.topLeft());
    QCOMPARE(positionOf(bitmap.pixel(bitmap.width() - 1, bitmap.height() - 1)), expected.bottomRight());
}

void TestRender::writesExactRgbaPngs()
{
    processor_.setAllImageSizes({makeSize(83.5, 2, QStringLiteral("p-83.5@2x.png")),
                                 makeSize(83.5, 1, QStringLiteral("p-83.5.png")),
                                 makeSize(20, 2, QStringLiteral("p-20@2x.png")),
                                 makeSize(60, 2, QStringLiteral("p-60x45@2x.png"), 101, 0.75, 45),
                                 makeSize(512, 2, QStringLiteral("p-512@2x.png"))});
    const QList<QSize> pixels{{167, 167}, {83, 83}, {40, 40}, {120, 90}, {1024, 1024}};
    const QList<QRect> crops{
        {0, 0, 1024, 1024}, {0, 0, 1024, 1024}, {0, 0, 1024, 1024}, {0, 128, 1024, 768}, {0, 0, 1024, 1024}};
    const QImage art = artwork(1024);
    QTemporaryDir dir;
    Error error;
    QVERIFY(processor_.resizeAndSaveImage(Image::fromQImage(art), categories({101}), dir.path(), &error));

    const QStringList names = processor_.imageFileNamesForCategories(categories({101}));
    QStringList sorted = names;
    sorted.sort();
    QCOMPARE(everyEntry(dir.path()), sorted); // and no temporary files
    for (int i = 0; i < names.size(); ++i) {
        const QByteArray bytes = readFile(dir.filePath(names[i]));
        const PngHeader header = readHeader(bytes);
        QVERIFY2(header.valid, qPrintable(names[i]));
        QCOMPARE(header.size, pixels[i]);
        QCOMPARE(header.bitDepth, 8);
        QCOMPARE(header.colourType, 6);
        QCOMPARE(header.interlace, 0);

        // Against Qt's own area-averaging scale of the same pixels, in premultiplied values.
        const QImage decoded = QImage::fromData(bytes).convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QCOMPARE(decoded.size(), pixels[i]);
        const QImage reference =
            art.copy(crops[i]).scaled(pixels[i], Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        int worst = 0;
        double total = 0;
        for (int y = 0; y < decoded.height(); ++y) {
            const uchar* a = decoded.constScanLine(y);
            const uchar* b = reference.constScanLine(y);
            for (int x = 0; x < decoded.width() * 4; ++x) {
                worst = std::max(worst, std::abs(a[x] - b[x]));
                total += std::abs(a[x] - b[x]);
            }
        }
        const double mean = total / (decoded.width() * decoded.height() * 4);
        QVERIFY2(worst <= 12 && mean < 1.0,
                 qPrintable(QStringLiteral("%1: worst %2, mean %3").arg(names[i]).arg(worst).arg(mean)));
    }
}

void TestRender::emptySelectionTouchesNothing_data()
{
    QTest::addColumn<QList<ImageCategory>>("chosen");
    QTest::newRow("no category") << categories({});
    QTest::newRow("a category no size names") << categories({999});
}

void TestRender::emptySelectionTouchesNothing()
{
    QFETCH(QList<ImageCategory>, chosen);
    QTemporaryDir dir;
    Error error{QStringLiteral("untouched"), 42, QStringLiteral("left as it was")};
    int progressCalls = 0;
    const ImagePtr image = Image::fromQImage(artwork(64));
    QVERIFY(
        processor_.resizeAndSaveImage(image, chosen, dir.path(), &error, [&](int, int) { ++progressCalls; }));
    QCOMPARE(error.domain, QStringLiteral("untouched"));
    QCOMPARE(error.code, 42);
    QCOMPARE(progressCalls, 0);
    QCOMPARE(everyEntry(dir.path()), QStringList());
    QCOMPARE(image->size(), QSizeF(64, 64));
    // A folder that does not exist is not created either.
    QVERIFY(processor_.resizeAndSaveImage(image, chosen, dir.filePath(QStringLiteral("missing")), &error));
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("missing"))));
}

void TestRender::failedWritesAreReportedAndOthersWritten_data()
{
    QTest::addColumn<QString>("kind");
    if (foldersAreEnforced())
        QTest::newRow("read-only folder") << QStringLiteral("read-only");
    QTest::newRow("name taken by a folder") << QStringLiteral("folder");
    QTest::newRow("parent is a file") << QStringLiteral("file");
}

void TestRender::failedWritesAreReportedAndOthersWritten()
{
    QFETCH(QString, kind);
    QTemporaryDir dir;
    QDir root(dir.path());
    QString b = QStringLiteral("b.png"), d = QStringLiteral("d.png");
    if (kind == QLatin1String("read-only")) {
        QVERIFY(root.mkdir(QStringLiteral("locked")));
        QVERIFY(QFile::setPermissions(dir.filePath(QStringLiteral("locked")),
                                      QFile::ReadOwner | QFile::ExeOwner));
        b = QStringLiteral("locked/b.png");
        d = QStringLiteral("locked/d.png");
    } else if (kind == QLatin1String("folder")) {
        QVERIFY(root.mkdir(b));
        QVERIFY(root.mkdir(d));
    } else {
        QFile plain(dir.filePath(QStringLiteral("plain")));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        b = QStringLiteral("plain/b.png");
        d = QStringLiteral("plain/d.png");
    }
    processor_.setAllImageSizes({makeSize(16, 1, QStringLiteral("a.png")), makeSize(20, 1, b),
                                 makeSize(24, 1, QStringLiteral("c.png")), makeSize(28, 1, d),
                                 makeSize(32, 1, QStringLiteral("e.png"))});
    auto logger = std::make_shared<CapturingLogger>();
    Log::addLogger(logger);
    const auto removeLogger = qScopeGuard([&] { Log::removeLogger(logger); });

    Error error;
    QVector<int> progress;
    const bool ok = processor_.resizeAndSaveImage(Image::fromQImage(artwork(256)), categories({101}),
                                                  dir.path(), &error, [&](int done, int total) {
                                                      QCOMPARE(total, 5);
                                                      QCOMPARE(QThread::currentThread(), thread());
                                                      progress.append(done);
                                                  });
    QFile::setPermissions(dir.filePath(QStringLiteral("locked")),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QVERIFY(!ok);
    QCOMPARE(progress, (QVector<int>{1, 2, 3, 4, 5}));
    // The last failure is the one handed back.
    QVERIFY2(error.localizedDescription.contains(QStringLiteral("d.png")),
             qPrintable(error.localizedDescription));
    QVERIFY(!error.localizedDescription.contains(QStringLiteral("b.png")));
    for (const char* name : {"a.png", "c.png", "e.png"})
        QVERIFY(readHeader(readFile(dir.filePath(QLatin1String(name)))).valid);
    // No temporary file anywhere.
    QStringList expected{"a.png", "c.png", "e.png"};
    expected << (kind == QLatin1String("read-only") ? QStringLiteral("locked")
                 : kind == QLatin1String("folder")  ? QStringLiteral("b.png")
                                                    : QStringLiteral("plain"));
    if (kind == QLatin1String("folder"))
        expected << QStringLiteral("d.png");
    expected.sort();
    QCOMPARE(everyEntry(dir.path()), expected);
    if (kind != QLatin1String("file"))
        QCOMPARE(everyEntry(dir.filePath(kind == QLatin1String("folder") ? b : QStringLiteral("locked"))),
                 QStringList());

    Log::flushLog();
    std::vector<CapturingLogger::Line> lines;
    QTRY_VERIFY_WITH_TIMEOUT((lines = logger->lines()).size() >= 7, 5000);
    QStringList infos, errors;
    for (const auto& line : lines) {
        QCOMPARE(line.function, QStringLiteral("ImageProcessor::resizeAndSaveImage"));
        (line.flag == LogFlagError ? errors : infos).append(line.text);
    }
    const QString folder = dir.path();
    QCOMPARE(infos, (QStringList{"Saving image to path: " + folder + "/a.png",
                                 "Saving image to path: " + folder + "/" + b,
                                 "Saving image to path: " + folder + "/c.png",
                                 "Saving image to path: " + folder + "/" + d,
                                 "Saving image to path: " + folder + "/e.png"}));
    QCOMPARE(errors.size(), 2);
    QVERIFY(errors[0].startsWith("Error saving image to path '" + folder + "/" + b + "' : "));
    QVERIFY(errors[1].startsWith("Error saving image to path '" + folder + "/" + d + "' : "));
}

void TestRender::sharedFileNameHoldsLaterEntry_data()
{
    QTest::addColumn<double>("first");
    QTest::addColumn<double>("second");
    QTest::newRow("small then large") << 29.0 << 512.0;
    QTest::newRow("large then small") << 512.0 << 29.0;
}

void TestRender::sharedFileNameHoldsLaterEntry()
{
    QFETCH(double, first);
    QFETCH(double, second);
    // Fillers between the two entries keep both cores busy so the order is really tested.
    QList<ImageSize> sizes{makeSize(first, 2, QStringLiteral("shared.png"))};
    for (int i = 0; i < 8; ++i)
        sizes.append(makeSize(100 + i, 2, QStringLiteral("filler-%1.png").arg(i)));
    sizes.append(makeSize(second, 2, QStringLiteral("shared.png")));
    processor_.setAllImageSizes(sizes);
    for (int round = 0; round < 5; ++round) {
        QTemporaryDir dir;
        QVERIFY(
            processor_.resizeAndSaveImage(Image::fromQImage(artwork(1024)), categories({101}), dir.path()));
        QCOMPARE(readHeader(readFile(dir.filePath(QStringLiteral("shared.png")))).size,
                 QSize(int(second * 2), int(second * 2)));
        QCOMPARE(everyEntry(dir.path()).size(), 9);
    }
}

void TestRender::sourceKeepsLastTargetAsNominalSize()
{
    // The source ends at the target of the last size drawn from the source itself; a size cut
    // to another aspect draws from the cut and leaves it alone.
    processor_.setAllImageSizes(
        {makeSize(29, 2, QStringLiteral("a.png")), makeSize(60, 2, QStringLiteral("b.png"), 101, 0.75, 45)});
    QTemporaryDir dir;
    const ImagePtr image = Image::fromQImage(artwork(256));
    QVERIFY(processor_.resizeAndSaveImage(image, categories({101}), dir.path()));
    QCOMPARE(image->size(), QSizeF(58, 58));

    const ImagePtr again = Image::fromQImage(artwork(256));
    const QList<ImagePtr> icons = processor_.resizeImage(again, categories({101}));
    QCOMPARE(again->size(), QSizeF(58, 58));
    QCOMPARE(icons.size(), 2);
    QCOMPARE(icons[0]->size(), QSizeF(58, 58));
    QCOMPARE(icons[1]->size(), QSizeF(120, 90));
    QCOMPARE(icons[1]->pixelSize(), QSize(120, 90));
}

void TestRender::svgSourceIsDrawnFromTheVector()
{
    processor_.setAllImageSizes({makeSize(17, 1, QStringLiteral("board.png"))});
    const ImagePtr board = Image::fromFile(qEnvironmentVariable("ICONFOUNDRY_TEST_DATA") +
                                           QStringLiteral("/checkerboard-17.svg"));
    QVERIFY(board);
    QTemporaryDir dir;
    QVERIFY(processor_.resizeAndSaveImage(board, categories({101}), dir.path()));
    const QImage icon(dir.filePath(QStringLiteral("board.png")));
    QCOMPARE(icon.size(), QSize(17, 17));
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 17; ++x)
            QCOMPARE(icon.pixel(x, y), (x + y) % 2 == 0 ? qRgba(0, 0, 0, 255) : qRgba(255, 255, 255, 255));
}

void TestRender::pngEncoderRoundTrip_data()
{
    QTest::addColumn<QImage>("image");
    auto noise = [](int w, int h, QImage::Format format, bool randomAlpha) {
        QImage image(w, h, format);
        QRandomGenerator random(w * 1000 + h);
        for (int y = 0; y < h; ++y) {
            uchar* row = image.scanLine(y);
            for (int x = 0; x < image.bytesPerLine(); ++x)
                row[x] = uchar(random.bounded(256));
        }
        if (!randomAlpha)
            return image;
        if (format == QImage::Format_ARGB32_Premultiplied) // make it valid premultiplied data
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const QRgb p = image.pixel(x, y);
                    image.setPixel(x, y, qPremultiply(qRgba(qRed(p), qGreen(p), qBlue(p), qAlpha(p))));
                }
        return image;
    };
    QImage one(1, 1, QImage::Format_ARGB32);
    one.fill(qRgba(255, 0, 0, 255));
    QImage clear(64, 64, QImage::Format_ARGB32_Premultiplied);
    clear.fill(Qt::transparent);
    QImage gray(33, 7, QImage::Format_Grayscale8);
    gray.fill(200);
    QTest::newRow("1 x 1 opaque") << one;
    QTest::newRow("1 x 1 transparent") << QImage(clear.copy(0, 0, 1, 1));
    QTest::newRow("fully transparent") << clear;
    QTest::newRow("3 x 5 premultiplied noise") << noise(3, 5, QImage::Format_ARGB32_Premultiplied, true);
    QTest::newRow("97 x 61 premultiplied noise") << noise(97, 61, QImage::Format_ARGB32_Premultiplied, true);
    QTest::newRow("257 x 3 straight noise, colour under zero alpha")
        << noise(257, 3, QImage::Format_ARGB32, true);
    QTest::newRow("300 x 200 opaque noise") << noise(300, 200, QImage::Format_RGB32, false);
    QTest::newRow("2000 x 1 row") << noise(2000, 1, QImage::Format_RGBA8888, true);
    QTest::newRow("1 x 2000 column") << noise(1, 2000, QImage::Format_RGBA8888, true);
    QTest::newRow("artwork 181 x 181") << artwork(181);
    QTest::newRow("grayscale is widened") << gray;
}

void TestRender::pngEncoderRoundTrip()
{
    QFETCH(QImage, image);
    const QByteArray png = PngWriter::encode(image);
    const PngHeader header = readHeader(png);
    QVERIFY(header.valid);
    QCOMPARE(header.size, image.size());
    QCOMPARE(header.bitDepth, 8);
    QCOMPARE(header.colourType, 6);
    QVERIFY(png.endsWith(QByteArray("\0\0\0\0IEND\xae\x42\x60\x82", 12)));

    const QImage decoded = QImage::fromData(png, "PNG").convertToFormat(QImage::Format_ARGB32);
    QCOMPARE(decoded.size(), image.size());
    const QImage expected = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb got = decoded.pixel(x, y), want = expected.pixel(x, y);
            QCOMPARE(qAlpha(got), qAlpha(want));
            if (qAlpha(want) == 0) {
                QCOMPARE(got, 0u);
                continue;
            }
            // Un-premultiplying may round either way by one.
            QVERIFY2(
                std::abs(qRed(got) - qRed(want)) <= 1 && std::abs(qGreen(got) - qGreen(want)) <= 1 &&
                    std::abs(qBlue(got) - qBlue(want)) <= 1,
                qPrintable(
                    QStringLiteral("pixel %1,%2: %3 vs %4").arg(x).arg(y).arg(got, 8, 16).arg(want, 8, 16)));
        }
    QVERIFY(PngWriter::encode(QImage()).isEmpty());
}

QTEST_MAIN(TestRender)
#include "tst_render.moc"
