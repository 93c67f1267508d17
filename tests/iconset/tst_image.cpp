#include "iconset/image.h"
#include "iconset/resampler.h"

#include <QImageWriter>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

namespace {

QString fixture(const char* name)
{
    return qEnvironmentVariable("ICONFOUNDRY_TEST_DATA") + QLatin1Char('/') + QLatin1String(name);
}

// Every pixel names its own position: red = x mod 256, green = y mod 256, blue = the high bits.
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

QImage disc(int side, QColor colour, QColor outside)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(outside);
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawEllipse(QRectF(side * 0.1, side * 0.1, side * 0.8, side * 0.8));
    return image;
}

} // namespace

class TestImage : public QObject
{
    Q_OBJECT

private slots:
    void decodesEveryFormat_data();
    void decodesEveryFormat();
    void nominalSizeFromResolution_data();
    void nominalSizeFromResolution();
    void refusesBadInput_data();
    void refusesBadInput();
    void imageInRect_data();
    void imageInRect();
    void unscaledBitmapSize_data();
    void unscaledBitmapSize();
    void noFringesAroundTransparency_data();
    void noFringesAroundTransparency();
    void svgDrawsFromTheVector();
    void maskKeepsColourWhereMaskIsOpaque();
    void halvingDoesNotDrift();
};

void TestImage::decodesEveryFormat_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<int>("quality");
    QTest::addColumn<int>("tolerance");
    QTest::newRow("png") << QByteArray("png") << -1 << 0;
    QTest::newRow("tiff") << QByteArray("tiff") << -1 << 0;
    QTest::newRow("webp lossless") << QByteArray("webp") << 100 << 0;
    QTest::newRow("jpeg") << QByteArray("jpeg") << 95 << 12;
}

void TestImage::decodesEveryFormat()
{
    QFETCH(QByteArray, format);
    QFETCH(int, quality);
    QFETCH(int, tolerance);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("pattern.") + QString::fromLatin1(format));
    const QImage pattern = coordinatePattern(40, 30);
    QImageWriter writer(path, format);
    writer.setQuality(quality);
    QVERIFY2(writer.write(pattern), qPrintable(writer.errorString()));

    Error error;
    const ImagePtr image = Image::fromFile(path, &error);
    QVERIFY2(image, qPrintable(error.localizedDescription));
    QCOMPARE(image->pixelSize(), QSize(40, 30));
    QCOMPARE(image->bitmap().format(), QImage::Format_ARGB32_Premultiplied);
    QVERIFY(!image->hasVector());
    const QImage decoded = image->bitmap();
    int worst = 0;
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) {
            const QRgb a = decoded.pixel(x, y), b = pattern.pixel(x, y);
            worst = std::max({worst, std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                              std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))});
        }
    QVERIFY2(worst <= tolerance, qPrintable(QStringLiteral("largest difference %1").arg(worst)));
}

void TestImage::nominalSizeFromResolution_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QSizeF>("points");
    QTest::newRow("png without pHYs counts as 72 dpi") << fixture("blue-20x10-no-dpi.png") << QSizeF(20, 10);
    QTest::newRow("png at 144 dpi") << fixture("blue-20x10-144dpi.png") << QSizeF(10, 5);
    QTest::newRow("svg: its width and height") << fixture("red-top-green-bottom.svg") << QSizeF(256, 256);
}

void TestImage::nominalSizeFromResolution()
{
    QFETCH(QString, path);
    QFETCH(QSizeF, points);
    const ImagePtr image = Image::fromFile(path);
    QVERIFY(image);
    QVERIFY2(std::abs(image->size().width() - points.width()) < 0.01 &&
                 std::abs(image->size().height() - points.height()) < 0.01,
             qPrintable(QStringLiteral("%1 x %2").arg(image->size().width()).arg(image->size().height())));
}

void TestImage::refusesBadInput_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("code");
    QTest::newRow("truncated in IDAT") << fixture("truncated-idat.png") << int(Image::Corrupt);
    QTest::newRow("damaged deflate stream") << fixture("corrupt-idat-stream.png") << int(Image::Corrupt);
    QTest::newRow("zero width in header") << fixture("zero-width-header.png") << int(Image::ZeroSize);
    QTest::newRow("empty file") << fixture("empty.png") << int(Image::ZeroSize);
    QTest::newRow("30000 x 30000 header") << fixture("huge-30000x30000-header.png") << int(Image::TooLarge);
    QTest::newRow("text named .png") << fixture("not-an-image.png") << int(Image::NotAnImage);
    QTest::newRow("unclosed svg") << fixture("broken.svg") << int(Image::Corrupt);
    QTest::newRow("zero-size svg") << fixture("zero-size.svg") << int(Image::ZeroSize);
    QTest::newRow("missing file") << fixture("no-such-file.png") << int(Image::FileUnreadable);
}

void TestImage::refusesBadInput()
{
    QFETCH(QString, path);
    QFETCH(int, code);
    Error error;
    QVERIFY(!Image::fromFile(path, &error));
    QCOMPARE(error.domain, Image::errorDomain());
    QCOMPARE(error.code, code);
    QVERIFY(!error.localizedDescription.isEmpty());
    QVERIFY(!Image::fromFile(path)); // no error object: still no crash

    if (code == Image::FileUnreadable)
        return;
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    Error fromData;
    QVERIFY(!Image::fromData(file.readAll(), &fromData));
    QCOMPARE(fromData.code, code);
}

void TestImage::imageInRect_data()
{
    QTest::addColumn<QSize>("source");
    QTest::addColumn<QRectF>("rect");
    QTest::addColumn<QRect>("expected"); // pixels of the source that come back
    QTest::newRow("crop 0.75 of 1024")
        << QSize(1024, 1024) << QRectF(0, 128, 1024, 768) << QRect(0, 128, 1024, 768);
    QTest::newRow("wider than the image")
        << QSize(1024, 1024) << QRectF(-128, 0, 1280, 1024) << QRect(0, 0, 1024, 1024);
    QTest::newRow("fractional edges")
        << QSize(1024, 1024) << QRectF(0, 127.5, 1024, 769) << QRect(0, 127, 1024, 770);
    QTest::newRow("fraction inside one pixel")
        << QSize(64, 64) << QRectF(10.2, 20.7, 0.1, 0.1) << QRect(10, 20, 1, 1);
    QTest::newRow("over the bottom right")
        << QSize(300, 200) << QRectF(250.5, 150, 100, 100) << QRect(250, 150, 50, 50);
    QTest::newRow("negative size is normalised")
        << QSize(100, 100) << QRectF(60, 60, -20, -30) << QRect(40, 30, 20, 30);
    QTest::newRow("wholly outside") << QSize(100, 100) << QRectF(200, 0, 10, 10) << QRect();
    QTest::newRow("not a number") << QSize(100, 100) << QRectF(qQNaN(), 0, 10, 10) << QRect();
}

void TestImage::imageInRect()
{
    QFETCH(QSize, source);
    QFETCH(QRectF, rect);
    QFETCH(QRect, expected);
    const ImagePtr image = Image::fromQImage(coordinatePattern(source.width(), source.height()));
    const ImagePtr cut = image->imageInRect(rect);
    QVERIFY(cut);
    if (expected.isEmpty()) {
        QVERIFY(cut->pixelSize().isEmpty());
        QCOMPARE(cut->size(), QSizeF(0, 0));
        QVERIFY(cut->unscaledBitmapImageRep().isNull());
        return;
    }
    QCOMPARE(cut->pixelSize(), expected.size());
    QCOMPARE(cut->size(), QSizeF(expected.size()));
    const QImage bitmap = cut->bitmap();
    QCOMPARE(positionOf(bitmap.pixel(0, 0)), expected.topLeft());
    QCOMPARE(positionOf(bitmap.pixel(bitmap.width() - 1, bitmap.height() - 1)), expected.bottomRight());
    // A cut of a cut lands on the same source pixels.
    const ImagePtr inner = cut->imageInRect(QRectF(1, 1, 1, 1));
    if (expected.width() > 1 && expected.height() > 1)
        QCOMPARE(positionOf(inner->bitmap().pixel(0, 0)), expected.topLeft() + QPoint(1, 1));
}

void TestImage::unscaledBitmapSize_data()
{
    QTest::addColumn<QSizeF>("points");
    QTest::addColumn<QSize>("pixels");
    QTest::newRow("83.5 at 1x") << QSizeF(83.5, 83.5) << QSize(83, 83);
    QTest::newRow("83.5 at 2x") << QSizeF(83.5 * 2, 83.5 * 2) << QSize(167, 167);
    QTest::newRow("180") << QSizeF(180, 180) << QSize(180, 180);
    QTest::newRow("27.5 at 3x") << QSizeF(27.5 * 3, 27.5 * 3) << QSize(82, 82);
    QTest::newRow("wide 67 x 50 at 2x") << QSizeF(134, 100) << QSize(134, 100);
    QTest::newRow("just under one") << QSizeF(0.99, 0.99) << QSize(0, 0);
    QTest::newRow("not a number") << QSizeF(qQNaN(), 10) << QSize(0, 0);
    QTest::newRow("beyond the limit") << QSizeF(100000, 100000) << QSize(0, 0);
}

void TestImage::unscaledBitmapSize()
{
    QFETCH(QSizeF, points);
    QFETCH(QSize, pixels);
    const ImagePtr image = Image::fromQImage(coordinatePattern(256, 256));
    const ImagePtr drawn = image->imageWithSize(points);
    QVERIFY(drawn);
    // imageWithSize() leaves its receiver at the new nominal size (relied upon by callers).
    if (std::isfinite(points.width()))
        QCOMPARE(image->size(), points);
    const QImage bitmap = drawn->unscaledBitmapImageRep();
    QCOMPARE(bitmap.size(), pixels);
    if (!pixels.isEmpty())
        QCOMPARE(bitmap.format(), QImage::Format_RGBA8888_Premultiplied);
}

void TestImage::noFringesAroundTransparency_data()
{
    QTest::addColumn<QColor>("colour");
    QTest::addColumn<QColor>("outside"); // straight colour of the transparent surroundings
    QTest::addColumn<int>("pixels");
    QTest::newRow("red on transparent black, 57") << QColor(255, 0, 0) << QColor(0, 0, 0, 0) << 57;
    QTest::newRow("red on transparent black, 16") << QColor(255, 0, 0) << QColor(0, 0, 0, 0) << 16;
    QTest::newRow("red on transparent white, 87") << QColor(255, 0, 0) << QColor(255, 255, 255, 0) << 87;
    QTest::newRow("white on transparent black, 167") << QColor(255, 255, 255) << QColor(0, 0, 0, 0) << 167;
    QTest::newRow("black on transparent white, 29") << QColor(0, 0, 0) << QColor(255, 255, 255, 0) << 29;
    QTest::newRow("red, enlarged to 1500") << QColor(255, 0, 0) << QColor(0, 0, 0, 0) << 1500;
}

void TestImage::noFringesAroundTransparency()
{
    QFETCH(QColor, colour);
    QFETCH(QColor, outside);
    QFETCH(int, pixels);
    const ImagePtr image = Image::fromQImage(disc(1024, colour, outside));
    const QImage icon = image->renderedAtSize(QSizeF(pixels, pixels))
                            ->unscaledBitmapImageRep()
                            .convertToFormat(QImage::Format_RGBA8888);
    QCOMPARE(icon.size(), QSize(pixels, pixels));
    int edgePixels = 0;
    for (int y = 0; y < pixels; ++y) {
        const uchar* row = icon.constScanLine(y);
        for (int x = 0; x < pixels; ++x) {
            const uchar* p = row + 4 * x;
            if (p[3] == 0)
                continue;
            edgePixels += p[3] < 255 ? 1 : 0;
            // Straight colour stays the disc's colour however faint the pixel.
            const int tolerance = p[3] < 8 ? 40 : 3;
            QVERIFY2(std::abs(p[0] - colour.red()) <= tolerance &&
                         std::abs(p[1] - colour.green()) <= tolerance &&
                         std::abs(p[2] - colour.blue()) <= tolerance,
                     qPrintable(QStringLiteral("pixel %1,%2 is %3,%4,%5 alpha %6")
                                    .arg(x)
                                    .arg(y)
                                    .arg(p[0])
                                    .arg(p[1])
                                    .arg(p[2])
                                    .arg(p[3])));
        }
    }
    QVERIFY(edgePixels > 0); // the edge really is soft, so the test looked at blended pixels
}

void TestImage::svgDrawsFromTheVector()
{
    // 17 x 17 one-unit cells on a 1024-point document: drawn from the vector at 17 pixels each
    // cell is exactly one black or white pixel; a 1024-pixel bitmap shrunk to 17 would blur them.
    const ImagePtr board = Image::fromFile(fixture("checkerboard-17.svg"));
    QVERIFY(board);
    QVERIFY(board->hasVector());
    QCOMPARE(board->pixelSize(), QSize(1024, 1024));
    const QImage icon = board->renderedAtSize(QSizeF(17, 17))->unscaledBitmapImageRep();
    QCOMPARE(icon.size(), QSize(17, 17));
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 17; ++x)
            QCOMPARE(qRed(icon.pixel(x, y)), (x + y) % 2 == 0 ? 0 : 255);

    // A cut of an SVG cuts the vector too: the 0.75 band leaves out the red top rows.
    const ImagePtr bands = Image::fromFile(fixture("red-top-green-bottom.svg"));
    QVERIFY(bands);
    const ImagePtr band = bands->imageInRect(QRectF(0, 32, 256, 192));
    QCOMPARE(band->pixelSize(), QSize(256, 192));
    const QImage small = band->renderedAtSize(QSizeF(40, 30))->bitmap();
    for (int y = 0; y < small.height(); ++y)
        for (int x = 0; x < small.width(); ++x)
            QCOMPARE(small.pixel(x, y), qRgba(0, 255, 0, 255));
}

void TestImage::maskKeepsColourWhereMaskIsOpaque()
{
    QImage blue(64, 64, QImage::Format_ARGB32);
    blue.fill(QColor(0, 0, 255));
    const ImagePtr image = Image::fromQImage(blue);
    const ImagePtr mask = Image::fromQImage(disc(32, QColor(0, 0, 0), QColor(0, 0, 0, 0)));
    const ImagePtr masked = image->imageMaskedByImage(mask);
    QVERIFY(masked);
    QCOMPARE(masked->size(), QSizeF(32, 32));
    QCOMPARE(image->size(), QSizeF(32, 32)); // the receiver takes the mask's size too
    const QImage bitmap = masked->bitmap();
    QCOMPARE(qAlpha(bitmap.pixel(0, 0)), 0);
    QCOMPARE(qAlpha(bitmap.pixel(31, 31)), 0);
    QCOMPARE(bitmap.pixel(16, 16), qRgba(0, 0, 255, 255));
}

void TestImage::halvingDoesNotDrift()
{
    // Noise, so exact halves are common at every level: always rounding them up would lift the
    // mean by about 1/8 step per level; alternating the direction per level keeps it in place.
    QImage noise(256, 256, QImage::Format_ARGB32_Premultiplied);
    QRandomGenerator random(17);
    double original = 0;
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            const int v = random.bounded(256);
            noise.setPixel(x, y, qRgba(v, v, v, 255));
            original += v;
        }
    original /= 256.0 * 256.0;
    QImage level = noise;
    for (int i = 0; i < 4; ++i)
        level = Resampler::halved(level, i % 2 == 0);
    QCOMPARE(level.size(), QSize(16, 16));
    double mean = 0;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            mean += qRed(level.pixel(x, y));
    mean /= 256.0;
    QVERIFY2(std::abs(mean - original) < 0.15,
             qPrintable(QStringLiteral("%1 became %2").arg(original).arg(mean)));

    // Exact halves go the asked way: stripes of 0 and 255 give 128 rounding up, 127 down.
    QImage stripes(64, 64, QImage::Format_ARGB32_Premultiplied);
    for (int x = 0; x < 64; ++x)
        for (int y = 0; y < 64; ++y)
            stripes.setPixel(x, y, x % 2 ? qRgba(255, 255, 255, 255) : qRgba(0, 0, 0, 255));
    QCOMPARE(qRed(Resampler::halved(stripes, true).pixel(5, 7)), 128);
    QCOMPARE(qRed(Resampler::halved(stripes, false).pixel(5, 7)), 127);
    // Odd sides: 3 x 3 becomes 2 x 2, area-averaged.
    QCOMPARE(Resampler::halved(stripes.copy(0, 0, 3, 3)).size(), QSize(2, 2));
}

QTEST_MAIN(TestImage)
#include "tst_image.moc"
