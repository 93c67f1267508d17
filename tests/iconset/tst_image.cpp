#include "helper_iconset.h"
#include "iconset/image.h"
#include "iconset/resampler.h"

#include <QImageWriter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <sys/stat.h>

using namespace iconfoundry;

using namespace helper;
using namespace Qt::StringLiterals;

class TestImage : public QObject
{
    Q_OBJECT

private slots:
    void decodesEveryFormat_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<int>("quality");
        QTest::addColumn<int>("tolerance");
        QTest::newRow("png") << QByteArray("png") << -1 << 0;
        QTest::newRow("tiff") << QByteArray("tiff") << -1 << 0;
        QTest::newRow("webp lossless") << QByteArray("webp") << 100 << 0;
        QTest::newRow("jpeg") << QByteArray("jpeg") << 95 << 12;
    }

    void decodesEveryFormat()
    {
        QFETCH(QByteArray, format);
        QFETCH(int, quality);
        QFETCH(int, tolerance);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"pattern."_s + QString::fromLatin1(format));
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
        const int worst = difference(image->bitmap(), pattern, QImage::Format_ARGB32).first;
        QVERIFY2(worst <= tolerance, qPrintable(u"largest difference %1"_s.arg(worst)));
    }

    void nominalSizeFromResolution_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QSizeF>("points");
        QTest::newRow("png without pHYs counts as 72 dpi") << "blue-20x10-no-dpi.png" << QSizeF(20, 10);
        QTest::newRow("png at 144 dpi") << "blue-20x10-144dpi.png" << QSizeF(10, 5);
        QTest::newRow("svg: its width and height") << "red-top-green-bottom.svg" << QSizeF(256, 256);
    }

    void nominalSizeFromResolution()
    {
        QFETCH(QString, file);
        QFETCH(QSizeF, points);
        const ImagePtr image = Image::fromFile(testData(file));
        QVERIFY(image);
        QCOMPARE((image->size() * 100).toSize(), (points * 100).toSize()); // to a hundredth of a point
    }

    void refusesBadInput_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("code");
        QTest::newRow("truncated in IDAT") << "truncated-idat.png" << int(Image::Corrupt);
        QTest::newRow("damaged deflate stream") << "corrupt-idat-stream.png" << int(Image::Corrupt);
        QTest::newRow("zero width in header") << "zero-width-header.png" << int(Image::ZeroSize);
        QTest::newRow("empty file") << "empty.png" << int(Image::ZeroSize);
        QTest::newRow("30000 x 30000 header") << "huge-30000x30000-header.png" << int(Image::TooLarge);
        QTest::newRow("text named .png") << "not-an-image.png" << int(Image::NotAnImage);
        QTest::newRow("unclosed svg") << "broken.svg" << int(Image::Corrupt);
        QTest::newRow("zero-size svg") << "zero-size.svg" << int(Image::ZeroSize);
        QTest::newRow("missing file") << "no-such-file.png" << int(Image::FileUnreadable);
        // Nobody writes into it: opening must not wait for a writer forever.
        QTest::newRow("pipe without a writer") << "fifo.png" << int(Image::ZeroSize);
    }

    void refusesBadInput()
    {
        QFETCH(QString, file);
        QFETCH(int, code);
        // Under a name holding "%1" and "%2F", which the message must show as it is.
        QTemporaryDir dir;
        const QString path = dir.filePath("%1 %2F " + file);
        const bool fifo = file == QLatin1String("fifo.png");
        QVERIFY(fifo ? ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0
                     : !QFileInfo::exists(testData(file)) || QFile::copy(testData(file), path));
        Error error;
        QVERIFY(!Image::fromFile(path, &error));
        QCOMPARE(error.domain, Image::errorDomain());
        QCOMPARE(error.code, code);
        QVERIFY2(error.localizedDescription.contains("%1 %2F " + file),
                 qPrintable(error.localizedDescription));
        QVERIFY(!Image::fromFile(path)); // no error object: still no crash
        if (code != Image::FileUnreadable && !fifo) {
            Error fromData;
            QVERIFY(!Image::fromData(readFile(path), &fromData));
            QCOMPARE(fromData.code, code);
        }
    }

    void imageInRect_data()
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

    void imageInRect()
    {
        QFETCH(QSize, source);
        QFETCH(QRectF, rect);
        QFETCH(QRect, expected);
        const ImagePtr cut =
            Image::fromQImage(coordinatePattern(source.width(), source.height()))->imageInRect(rect);
        QVERIFY(cut);
        QCOMPARE(cut->size(), QSizeF(expected.size()));
        if (expected.isEmpty()) {
            QVERIFY(cut->pixelSize().isEmpty() && cut->unscaledBitmapImageRep().isNull());
            return;
        }
        QCOMPARE(cut->pixelSize(), expected.size());
        QCOMPARE(sourceRectOf(cut->bitmap()), expected);
        // A cut of a cut lands on the same source pixels.
        if (expected.width() > 1 && expected.height() > 1)
            QCOMPARE(sourceRectOf(cut->imageInRect(QRectF(1, 1, 1, 1))->bitmap()).topLeft(),
                     expected.topLeft() + QPoint(1, 1));
    }

    void unscaledBitmapSize_data()
    {
        QTest::addColumn<QSizeF>("points");
        QTest::addColumn<QSize>("pixels");
        QTest::newRow("83.5 at 1x") << QSizeF(83.5, 83.5) << QSize(83, 83);
        QTest::newRow("83.5 at 2x") << QSizeF(83.5 * 2, 83.5 * 2) << QSize(167, 167);
        QTest::newRow("27.5 at 3x") << QSizeF(27.5 * 3, 27.5 * 3) << QSize(82, 82);
        QTest::newRow("wide 67 x 50 at 2x") << QSizeF(134, 100) << QSize(134, 100);
        QTest::newRow("just under one") << QSizeF(0.99, 0.99) << QSize(0, 0);
        QTest::newRow("not a number") << QSizeF(qQNaN(), 10) << QSize(0, 0);
        QTest::newRow("beyond the limit") << QSizeF(100000, 100000) << QSize(0, 0);
    }

    void unscaledBitmapSize()
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

    void noFringesAroundTransparency_data()
    {
        QTest::addColumn<QColor>("colour");
        QTest::addColumn<QColor>("outside"); // straight colour of the transparent surroundings
        QTest::addColumn<int>("pixels");
        QTest::newRow("red on transparent black, 57") << QColor(255, 0, 0) << QColor(0, 0, 0, 0) << 57;
        QTest::newRow("red on transparent white, 87") << QColor(255, 0, 0) << QColor(255, 255, 255, 0) << 87;
        QTest::newRow("white on transparent black, 167")
            << QColor(255, 255, 255) << QColor(0, 0, 0, 0) << 167;
        QTest::newRow("black on transparent white, 29") << QColor(0, 0, 0) << QColor(255, 255, 255, 0) << 29;
        QTest::newRow("red, enlarged to 1500") << QColor(255, 0, 0) << QColor(0, 0, 0, 0) << 1500;
    }

    void noFringesAroundTransparency()
    {
        QFETCH(QColor, colour);
        QFETCH(QColor, outside);
        QFETCH(int, pixels);
        const QImage icon = Image::fromQImage(disc(1024, colour, outside))
                                ->renderedAtSize(QSizeF(pixels, pixels))
                                ->unscaledBitmapImageRep()
                                .convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(icon.size(), QSize(pixels, pixels));
        int edgePixels = 0;
        for (int y = 0; y < pixels; ++y)
            for (int x = 0; x < pixels; ++x) {
                const QRgb p = icon.pixel(x, y);
                edgePixels += qAlpha(p) > 0 && qAlpha(p) < 255;
                // Straight colour stays the disc's colour however faint the pixel.
                const int tolerance = qAlpha(p) == 0 ? 255 : qAlpha(p) < 8 ? 40 : 3;
                QVERIFY2(std::abs(qRed(p) - colour.red()) <= tolerance &&
                             std::abs(qGreen(p) - colour.green()) <= tolerance &&
                             std::abs(qBlue(p) - colour.blue()) <= tolerance,
                         qPrintable(u"pixel %1,%2 is %3"_s.arg(x).arg(y).arg(p, 8, 16)));
            }
        QVERIFY(edgePixels > 0); // the edge really is soft, so the test looked at blended pixels
    }

    // A cut of an SVG cuts the vector too: the 0.75 band leaves out the red top rows entirely.
    void svgCutKeepsTheVector()
    {
        const ImagePtr bands = Image::fromFile(testData("red-top-green-bottom.svg"));
        QVERIFY(bands && bands->hasVector());
        const ImagePtr band = bands->imageInRect(QRectF(0, 32, 256, 192));
        QCOMPARE(band->pixelSize(), QSize(256, 192));
        const QImage small = band->renderedAtSize(QSizeF(40, 30))->bitmap();
        for (int y = 0; y < small.height(); ++y)
            for (int x = 0; x < small.width(); ++x)
                QCOMPARE(small.pixel(x, y), qRgba(0, 255, 0, 255));
    }

    void maskKeepsColourWhereMaskIsOpaque()
    {
        const ImagePtr image = Image::fromQImage(disc(64, Qt::blue, Qt::blue));
        const ImagePtr masked =
            image->imageMaskedByImage(Image::fromQImage(disc(32, Qt::black, Qt::transparent)));
        QVERIFY(masked);
        QCOMPARE(masked->size(), QSizeF(32, 32));
        QCOMPARE(image->size(), QSizeF(32, 32)); // the receiver takes the mask's size too
        const QImage bitmap = masked->bitmap();
        QCOMPARE(qAlpha(bitmap.pixel(0, 0)), 0);
        QCOMPARE(qAlpha(bitmap.pixel(31, 31)), 0);
        QCOMPARE(bitmap.pixel(16, 16), qRgba(0, 0, 255, 255));
    }

    void halvingDoesNotDrift()
    {
        // Noise, so exact halves are common at every level: always rounding them up would lift the
        // mean by about 1/8 step per level; alternating the direction per level keeps it in place.
        QImage level(256, 256, QImage::Format_ARGB32_Premultiplied);
        QRandomGenerator random(17);
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x)
                level.setPixel(x, y, qRgba(random.bounded(256), 0, 0, 255));
        const auto redMean = [](const QImage& image) {
            double sum = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    sum += qRed(image.pixel(x, y));
            return sum / (image.width() * image.height());
        };
        const double original = redMean(level);
        for (int i = 0; i < 4; ++i)
            level = Resampler::halved(level, i % 2 == 0);
        QCOMPARE(level.size(), QSize(16, 16));
        QVERIFY2(std::abs(redMean(level) - original) < 0.15,
                 qPrintable(QString::number(redMean(level) - original)));

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
};

QTEST_MAIN(TestImage)
#include "tst_image.moc"
