#include "helper_iconset.h"
#include "iconset/image.h"
#include "iconset/pngdecoder.h"
#include "iconset/pngwriter.h"

#include <QColorSpace>
#include <QImageReader>
#include <QTest>
#include <initializer_list>
#include <zlib.h>

using namespace iconfoundry;
using namespace helper;
using namespace Qt::StringLiterals;

namespace {

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (int v : values)
        out.append(char(v));
    return out;
}

QByteArray be32(quint32 v)
{
    return bytes({int(v >> 24), int(v >> 16 & 255), int(v >> 8 & 255), int(v & 255)});
}

// One chunk: length, type, body and the CRC of type and body (wrong on request).
QByteArray chunk(const char* type, const QByteArray& body, bool badCrc = false)
{
    const QByteArray typed = QByteArray(type, 4) + body;
    const auto crc = quint32(crc32(0, reinterpret_cast<const Bytef*>(typed.constData()), uInt(typed.size())));
    return be32(quint32(body.size())) + typed + be32(badCrc ? crc ^ 1 : crc);
}

QByteArray header(quint32 width, quint32 height, int colourType, int depth = 8, int interlace = 0)
{
    return chunk("IHDR", be32(width) + be32(height) + bytes({depth, colourType, 0, 0, interlace}));
}

QByteArray zlibOf(const QByteArray& data)
{
    uLongf size = compressBound(uLong(data.size()));
    QByteArray out(qsizetype(size), Qt::Uninitialized);
    compress2(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(data.constData()),
              uLong(data.size()), 9);
    out.truncate(qsizetype(size));
    return out;
}

const QByteArray kSignature("\x89PNG\r\n\x1a\n", 8);
const QByteArray kEnd = chunk("IEND", {});

// A file: the header, `before`, the filtered rows in one IDAT, IEND.
QByteArray pngOf(const QByteArray& head, const QByteArray& rows, const QByteArray& before = {})
{
    return kSignature + head + before + chunk("IDAT", zlibOf(rows)) + kEnd;
}

QList<QRgb> pixelsOf(const QImage& image)
{
    QList<QRgb> pixels;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            pixels.append(image.pixel(x, y));
    return pixels;
}

// Straight (x, x, 255 - x, y) at x, y: every colour value with every alpha.
QByteArray everyAlpha()
{
    QByteArray rows;
    for (int y = 0; y < 256; ++y) {
        rows.append('\0');
        for (int x = 0; x < 256; ++x)
            rows.append(bytes({x, x, 255 - x, y}));
    }
    return pngOf(header(256, 256, 6), rows);
}

// A decoded bitmap in sRGB and premultiplied, as Image keeps its sources.
QImage finished(const QImage& decoded)
{
    QImage image = decoded.convertToFormat(QImage::Format_ARGB32);
    if (image.colorSpace().isValid() && image.colorSpace() != QColorSpace(QColorSpace::SRgb))
        image.convertToColorSpace(QColorSpace::SRgb);
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

} // namespace

class TestPngDecoder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QImageReader::setAllocationLimit(int(Image::kMaxPixels * 8 / (1024 * 1024))); }

    // Pixels as premultiplied 0xAARRGGBB, worked out by hand from the filtered bytes. Rows whose
    // file the fast path does not take check that the general reader still gives the pixels.
    void decodes_data()
    {
        QTest::addColumn<QByteArray>("png");
        QTest::addColumn<bool>("fast");
        QTest::addColumn<QList<QRgb>>("expected");
        // Rows (10,20,30) (40,50,60) (70,80,90) and (15,25,35) (45,55,65) (200,100,0).
        const QList<QRgb> rgb{0xff0a141e, 0xff28323c, 0xff46505a, 0xff0f1923, 0xff2d3741, 0xffc86400};
        const QByteArray rgbHeader = header(3, 2, 2);
        QTest::newRow("RGB, Sub then Up")
            << pngOf(rgbHeader, bytes({1, 10, 20, 30, 30, 30, 30, 30,  30, 30, //
                                       2, 5,  5,  5,  5,  5,  5,  130, 20, 166}))
            << true << rgb;
        QTest::newRow("RGB, Average on both rows")
            << pngOf(rgbHeader, bytes({3, 10, 20, 30, 35, 40, 45, 50,  55, 60, //
                                       3, 10, 15, 20, 18, 18, 18, 143, 33, 179}))
            << true << rgb;
        // On the first row Paeth predicts from the left; on the second every channel picks up.
        QTest::newRow("RGB, Paeth on both rows")
            << pngOf(rgbHeader, bytes({4, 10, 20, 30, 30, 30, 30, 30,  30, 30, //
                                       4, 5,  5,  5,  5,  5,  5,  130, 20, 166}))
            << true << rgb;
        // Second row: red predicted from the left, green from above, blue from the upper left;
        // (105,27,50,128) premultiplies to (53,14,25).
        QTest::newRow("RGBA, None then Paeth picking each neighbour")
            << pngOf(header(3, 2, 6), bytes({0, 10, 10, 10, 255, 20, 20, 5,  255, 30,  30,  30,  255, //
                                             4, 90, 2,  4,  0,   5,  7,  40, 129, 151, 226, 206, 128}))
            << true << QList<QRgb>{0xff0a0a0a, 0xff141405, 0xff1e1e1e, 0xff640c0e, 0x80350e19, 0x00000000};
        QTest::newRow("RGBA, half-transparent red premultiplied")
            << pngOf(header(1, 1, 6), bytes({0, 255, 0, 0, 128})) << true << QList<QRgb>{0x80800000};
        QTest::newRow("RGBA, Sub across alpha")
            << pngOf(header(2, 1, 6), bytes({1, 255, 0, 0, 128, 1, 255, 0, 127})) << true
            << QList<QRgb>{0x80800000, 0xff00ff00};
        const QByteArray stream =
            zlibOf(bytes({1, 10, 20, 30, 30, 30, 30, 30, 30, 30, 2, 5, 5, 5, 5, 5, 5, 130, 20, 166}));
        QTest::newRow("data split over IDAT chunks, one of them empty")
            << kSignature + rgbHeader + chunk("IDAT", stream.left(3)) + chunk("IDAT", {}) +
                   chunk("IDAT", stream.mid(3, 7)) + chunk("IDAT", stream.mid(10)) + kEnd
            << true << rgb;
        QTest::newRow("text, sRGB, resolution and a private chunk around the data")
            << kSignature + rgbHeader + chunk("tEXt", "Title\0x"_qba) + chunk("sRGB", bytes({0})) +
                   chunk("pHYs", be32(5669) + be32(5669) + bytes({1})) + chunk("prVt", "abc") +
                   chunk("IDAT", stream) + chunk("tEXt", "After\0y"_qba) + kEnd
            << true << rgb;

        // Left to the general reader. Interlaced 2 x 2: pass 1 holds (0,0), pass 6 (1,0),
        // pass 7 the second row.
        QTest::newRow("interlaced") << pngOf(header(2, 2, 2, 8, 1),
                                             bytes({0, 255, 0, 0, 0, 0, 255, 0, 0, 0, 0, 255, 9, 9, 9}))
                                    << false << QList<QRgb>{0xffff0000, 0xff00ff00, 0xff0000ff, 0xff090909};
        QTest::newRow("16 bits a sample") << pngOf(header(1, 1, 2, 16), bytes({0, 255, 255, 128, 128, 0, 0}))
                                          << false << QList<QRgb>{0xffff8000};
        QTest::newRow("palette") << pngOf(header(2, 1, 3), bytes({0, 1, 0}),
                                          chunk("PLTE", bytes({1, 2, 3, 200, 100, 50})))
                                 << false << QList<QRgb>{0xffc86432, 0xff010203};
        QTest::newRow("grey") << pngOf(header(1, 1, 0), bytes({0, 77})) << false << QList<QRgb>{0xff4d4d4d};
        QTest::newRow("RGB with a transparent colour")
            << pngOf(header(2, 1, 2), bytes({0, 10, 20, 30, 40, 50, 60}),
                     chunk("tRNS", bytes({0, 10, 0, 20, 0, 30})))
            << false << QList<QRgb>{0x00000000, 0xff28323c};
        QTest::newRow("damaged text chunk")
            << kSignature + rgbHeader + chunk("tEXt", "Title\0x"_qba, true) + chunk("IDAT", stream) + kEnd
            << false << rgb;
    }

    void decodes()
    {
        QFETCH(QByteArray, png);
        QFETCH(bool, fast);
        QFETCH(QList<QRgb>, expected);
        const PngDecoder decoder(png);
        QCOMPARE(decoder.canDecode(), fast);
        if (fast) {
            QImage image;
            QCOMPARE(decoder.decode(&image, nullptr), PngDecoder::Result::Decoded);
            QCOMPARE(image.format(), QImage::Format_ARGB32_Premultiplied);
            QCOMPARE(pixelsOf(image), expected);
        }
        Error error;
        const ImagePtr image = Image::fromData(png, &error);
        QVERIFY2(image, qPrintable(error.localizedDescription));
        QCOMPARE(pixelsOf(image->bitmap()), expected);
    }

    // What the fast path does not take, from the header to the last chunk.
    void leavesOthersToTheGeneralReader_data()
    {
        QTest::addColumn<QByteArray>("png");
        const QByteArray head = header(1, 1, 6), rows = bytes({0, 1, 2, 3, 4});
        const QByteArray data = chunk("IDAT", zlibOf(rows));
        QTest::newRow("grey and alpha") << pngOf(header(1, 1, 4), bytes({0, 1, 2}));
        QTest::newRow("gamma") << pngOf(head, rows, chunk("gAMA", be32(45455)));
        QTest::newRow("primaries") << pngOf(head, rows, chunk("cHRM", QByteArray(32, '\1')));
        QTest::newRow("animation") << pngOf(head, rows, chunk("acTL", be32(1) + be32(0)));
        QTest::newRow("orientation") << pngOf(head, rows, chunk("eXIf", "MM\0*"_qba));
        QTest::newRow("unknown critical chunk") << pngOf(head, rows, chunk("QQQQ", "x"));
        QTest::newRow("chunk type not letters") << pngOf(head, rows, chunk("a1bc", "x"));
        QTest::newRow("sRGB and a profile")
            << pngOf(head, rows, chunk("sRGB", bytes({0})) + chunk("iCCP", "p\0\0x"_qba));
        QTest::newRow("bad CRC on the header")
            << kSignature + chunk("IHDR", head.mid(8, 13), true) + data + kEnd;
        QTest::newRow("bad CRC on the data") << kSignature + head + chunk("IDAT", zlibOf(rows), true) + kEnd;
        QTest::newRow("header not first") << kSignature + chunk("tEXt", "a\0b"_qba) + head + data + kEnd;
        QTest::newRow("data interrupted")
            << kSignature + head + data + chunk("tEXt", "a\0b"_qba) + data + kEnd;
        QTest::newRow("no IEND") << kSignature + head + data;
        QTest::newRow("cut inside the data") << (kSignature + head + data).chopped(6);
        QTest::newRow("length beyond the file") << kSignature + head + be32(1000) + "IDAT" + zlibOf(rows);
        QTest::newRow("no data") << kSignature + head + kEnd;
        QTest::newRow("zero width") << pngOf(header(0, 1, 6), rows);
        QTest::newRow("unknown compression method")
            << kSignature + chunk("IHDR", be32(1) + be32(1) + bytes({8, 6, 1, 0, 0})) + data + kEnd;
    }

    void leavesOthersToTheGeneralReader()
    {
        QFETCH(QByteArray, png);
        QVERIFY(!PngDecoder(png).canDecode());
        QImage image;
        QCOMPARE(PngDecoder(png).decode(&image, nullptr), PngDecoder::Result::Unsupported);
        QVERIFY(image.isNull());
    }

    void refusesDamagedData_data()
    {
        QTest::addColumn<QByteArray>("png");
        QTest::addColumn<int>("code");
        const QByteArray rows = bytes({0, 1, 2, 3, 4, 5, 1, 2, 3, 4});
        QTest::newRow("filter type 5") << pngOf(header(1, 2, 6), rows) << int(Image::Corrupt);
        QTest::newRow("bad CRC on the data")
            << kSignature + header(1, 2, 6) +
                   chunk("IDAT", zlibOf(bytes({0, 1, 2, 3, 4, 0, 1, 2, 3, 4})), true) + kEnd
            << int(Image::Corrupt);
        QTest::newRow("data stops early")
            << pngOf(header(1, 3, 6), bytes({0, 1, 2, 3, 4})) << int(Image::Corrupt);
        QTest::newRow("8192 x 8192 declared over a few bytes")
            << pngOf(header(8192, 8192, 6), bytes({0, 1, 2, 3, 4})) << int(Image::Corrupt);
        QTest::newRow("16384 x 16384 declared")
            << pngOf(header(16384, 16384, 2), rows) << int(Image::TooLarge);
        QTest::newRow("4 billion wide") << pngOf(header(0xffffffffu, 1, 2), rows) << int(Image::TooLarge);
    }

    void refusesDamagedData()
    {
        QFETCH(QByteArray, png);
        QFETCH(int, code);
        Error error;
        QVERIFY(!Image::fromData(png, &error));
        QCOMPARE(error.code, code);
    }

    void reportsTheUnknownFilter()
    {
        const PngDecoder decoder(pngOf(header(1, 2, 6), bytes({0, 1, 2, 3, 4, 5, 1, 2, 3, 4})));
        QVERIFY(decoder.canDecode());
        QImage image;
        QString reason;
        QCOMPARE(decoder.decode(&image, &reason), PngDecoder::Result::Corrupt);
        QCOMPARE(reason, QStringLiteral("row 1 has the unknown filter type 5"));
        QVERIFY(image.isNull());
    }

    // Real files, ours and the application's own output, come out as Qt's reader decodes them,
    // resolution and colour space included.
    void sameAsTheGeneralReader_data()
    {
        QTest::addColumn<QByteArray>("png");
        QTest::newRow("144 dpi") << readFile(testData("blue-20x10-144dpi.png"));
        QTest::newRow("no resolution") << readFile(testData("blue-20x10-no-dpi.png"));
        QTest::newRow("Display P3 profile") << readFile(testData("p3-three-colours.png"));
        QTest::newRow("icon") << readFile(testData("AppIcon.appiconset/mac-32.png"));
        QTest::newRow("every colour with every alpha") << everyAlpha();
        QTest::newRow("artwork 700, RGBA, every filter") << PngWriter::encode(artwork(700));
        QTest::newRow("artwork 600, RGB") << PngWriter::encode(artwork(600), 0, PngWriter::Channels::Rgb);
        QTest::newRow("coordinates 900 x 333") << PngWriter::encode(coordinatePattern(900, 333));
    }

    void sameAsTheGeneralReader()
    {
        QFETCH(QByteArray, png);
        const PngDecoder decoder(png);
        QVERIFY(decoder.canDecode());
        const QImage byQt = finished(QImage::fromData(png, "png"));
        QVERIFY(!byQt.isNull());
        QImage decoded;
        QCOMPARE(decoder.decode(&decoded, nullptr), PngDecoder::Result::Decoded);
        QCOMPARE(finished(decoded), byQt);
        QCOMPARE(decoded.dotsPerMeterX(), QImage::fromData(png).dotsPerMeterX());
        QCOMPARE(decoded.colorSpace(), QImage::fromData(png).colorSpace());
        const ImagePtr image = Image::fromData(png);
        QVERIFY(image);
        QCOMPARE(image->bitmap(), byQt);
        QCOMPARE(image->bitmap().dotsPerMeterY(), byQt.dotsPerMeterY());
    }
};

QTEST_MAIN(TestPngDecoder)
#include "tst_pngdecoder.moc"
