#include "helper_iconset.h"
#include "iconset/areasampler.h"
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

    // Display P3 sources come out in sRGB. Expected values worked out from the two spaces'
    // primaries (same white point and tone curve, so grey stays grey).
    void displayP3BecomesSrgb_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QList<QPoint>>("points");
        QTest::newRow("png with an iCCP chunk")
            << "p3-three-colours.png" << QList<QPoint>{{0, 0}, {1, 0}, {2, 0}};
        QTest::newRow("jpeg with an ICC profile, 8 x 8 blocks")
            << "p3-three-colours.jpg" << QList<QPoint>{{4, 4}, {12, 4}, {20, 4}};
    }

    void displayP3BecomesSrgb()
    {
        QFETCH(QString, file);
        QFETCH(QList<QPoint>, points);
        // P3 (200, 100, 50), (230, 60, 60) and (128, 128, 128).
        const QList<QRgb> expected{qRgb(215, 93, 31), qRgb(250, 31, 49), qRgb(128, 128, 128)};
        const ImagePtr image = Image::fromFile(test::testData(file));
        QVERIFY(image);
        for (const ImagePtr& from : {image, Image::fromQImage(QImage(test::testData(file)))}) {
            const QImage bitmap = from->bitmap();
            for (int i = 0; i < points.size(); ++i) {
                const QRgb p = bitmap.pixel(points[i]), e = expected[i];
                QVERIFY2(std::abs(qRed(p) - qRed(e)) <= 2 && std::abs(qGreen(p) - qGreen(e)) <= 2 &&
                             std::abs(qBlue(p) - qBlue(e)) <= 2,
                         qPrintable(u"pixel %1 is %2"_s.arg(i).arg(p, 8, 16)));
            }
        }
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

    // Means worked out by hand: each target pixel is the mean of the source area it covers, a
    // source pixel counting by the fraction of it inside; premultiplied, so transparent pixels
    // add no colour.
    void exactAreaAverages_data()
    {
        QTest::addColumn<QSize>("source");
        QTest::addColumn<QList<int>>("red");   // red of the source pixels, row by row
        QTest::addColumn<QList<int>>("alpha"); // their alpha; empty: all opaque
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<QSize>("target");
        QTest::addColumn<QList<QRgb>>("expected"); // straight colour, row by row
        const QList<int> opaque;
        // 1.5 x 1.5 source pixels per target pixel: weights 1, 1/2 and 1/4 over 9/4.
        QTest::newRow("3 x 3 to 2 x 2")
            << QSize(3, 3) << QList<int>{0, 0, 0, 0, 225, 0, 0, 0, 90} << opaque << QRectF(0, 0, 3, 3)
            << QSize(2, 2) << QList<QRgb>{qRgb(25, 0, 0), qRgb(25, 0, 0), qRgb(25, 0, 0), qRgb(65, 0, 0)};
        // x from 0.5 to 3: half of the first pixel, none of the last.
        QTest::newRow("fractional left edge, one pixel")
            << QSize(4, 1) << QList<int>{40, 80, 120, 200} << opaque << QRectF(0.5, 0, 2.5, 1) << QSize(1, 1)
            << QList<QRgb>{qRgb(88, 0, 0)};
        QTest::newRow("fractional left edge, two pixels")
            << QSize(4, 1) << QList<int>{40, 80, 120, 200} << opaque << QRectF(0.5, 0, 2.5, 1) << QSize(2, 1)
            << QList<QRgb>{qRgb(64, 0, 0), qRgb(112, 0, 0)};
        // Rows 0.25 to 2.75 of a column: 3/4 of the top, all of the middle, 3/4 of the bottom.
        QTest::newRow("fractional top and bottom")
            << QSize(1, 3) << QList<int>{100, 20, 240} << opaque << QRectF(0, 0.25, 1, 2.5) << QSize(1, 1)
            << QList<QRgb>{qRgb(110, 0, 0)};
        QTest::newRow("transparent neighbours add no darkness")
            << QSize(3, 1) << QList<int>{0, 255, 0} << QList<int>{0, 255, 0} << QRectF(0, 0, 3, 1)
            << QSize(1, 1) << QList<QRgb>{qRgba(255, 0, 0, 85)};
        QTest::newRow("same size is the pixels themselves")
            << QSize(2, 1) << QList<int>{7, 250} << opaque << QRectF(0, 0, 2, 1) << QSize(2, 1)
            << QList<QRgb>{qRgb(7, 0, 0), qRgb(250, 0, 0)};
    }

    void exactAreaAverages()
    {
        QFETCH(QSize, source);
        QFETCH(QList<int>, red);
        QFETCH(QList<int>, alpha);
        QFETCH(QRectF, rect);
        QFETCH(QSize, target);
        QFETCH(QList<QRgb>, expected);
        QImage image(source, QImage::Format_ARGB32);
        for (int i = 0; i < red.size(); ++i)
            image.setPixel(i % source.width(), i / source.width(),
                           qRgba(red[i], 0, 0, alpha.isEmpty() ? 255 : alpha[i]));
        const QImage premultiplied = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        for (int threads : {1, 2}) {
            const QImage result = AreaSampler::sample(premultiplied, {{rect, target}}, threads)
                                      .front()
                                      .convertToFormat(QImage::Format_ARGB32);
            QCOMPARE(result.size(), target);
            QList<QRgb> pixels;
            for (int y = 0; y < target.height(); ++y)
                for (int x = 0; x < target.width(); ++x)
                    pixels.append(result.pixel(x, y));
            QCOMPARE(pixels, expected);
        }
    }

    // A size comes out the same whatever else is made in the same pass and however many threads
    // share it, and the same as Resampler and renderedAtSize() make it alone.
    void onePassEqualsOneAtATime()
    {
        const QImage art = artwork(1200);
        const std::vector<AreaSampler::Request> requests{{QRectF(0, 0, 1200, 1200), QSize(1024, 1024)},
                                                         {QRectF(0, 0, 1200, 1200), QSize(87, 87)},
                                                         {QRectF(0, 150, 1200, 900), QSize(120, 90)},
                                                         {QRectF(0, 149, 1200, 896), QSize(134, 100)},
                                                         {QRectF(0, 0, 1200, 1200), QSize(20, 20)}};
        const std::vector<QImage> together = AreaSampler::sample(art, requests, 2);
        const ImagePtr image = Image::fromQImage(art);
        for (size_t i = 0; i < requests.size(); ++i) {
            const QImage alone = AreaSampler::sample(art, {requests[i]}, 1).front();
            QCOMPARE(together[i], alone);
            QCOMPARE(Resampler::scaled(art, requests[i].source, requests[i].target), alone);
            QCOMPARE(image->imageInRect(requests[i].source)
                         ->renderedAtSize(QSizeF(requests[i].target))
                         ->unscaledBitmapImageRep()
                         .convertToFormat(QImage::Format_ARGB32_Premultiplied),
                     alone);
        }
        // Growing is not area sampling: nothing comes back for it.
        QVERIFY(AreaSampler::sample(art, {{QRectF(0, 0, 100, 100), QSize(101, 100)}}).front().isNull());
    }
};

QTEST_MAIN(TestImage)
#include "tst_image.moc"
