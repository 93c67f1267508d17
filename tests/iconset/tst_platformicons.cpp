#include "helper_iconset.h"
#include "iconset/androidiconset.h"
#include "iconset/iconartwork.h"
#include "iconset/iconcanvas.h"
#include "iconset/icowriter.h"
#include "iconset/platformiconrenderer.h"
#include "iconset/webiconset.h"
#include "iconset/webmanifest.h"

#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using namespace helper;

namespace {

quint16 le16(const QByteArray& data, qsizetype at)
{
    return qFromLittleEndian<quint16>(data.constData() + at);
}

quint32 le32(const QByteArray& data, qsizetype at)
{
    return qFromLittleEndian<quint32>(data.constData() + at);
}

// The smallest rectangle of pixels with any alpha.
QRect visibleRect(const QImage& image)
{
    QRect bounds;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > 0)
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

// The farthest centre of a visible pixel from the canvas centre. (A pixel on the edge of a
// round shape straddles the circle; the mask then only softens it, as it does every edge.)
double farthestVisible(const QImage& image)
{
    double farthest = 0;
    const double c = image.width() / 2.0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > 0)
                farthest = std::max(farthest, std::hypot(x + 0.5 - c, y + 0.5 - c));
    return farthest;
}

} // namespace

class TestPlatformIcons : public QObject
{
    Q_OBJECT

private slots:
    void artworkRect_data();
    void artworkRect();
    void artworkReachAndTrim_data();
    void artworkReachAndTrim();
    void drawnIconsStayInsideTheSafeZone_data();
    void drawnIconsStayInsideTheSafeZone();
    void icoDirectory();
    void icoRefusesWhatItCannotHold();
    void manifestMerge_data();
    void manifestMerge();
    void manifestRefused_data();
    void manifestRefused();
    void androidXml();
    void backgroundColourFileIsOurs_data();
    void backgroundColourFileIsOurs();
    void fileStates();
};

void TestPlatformIcons::artworkRect_data()
{
    QTest::addColumn<QSize>("artwork");
    QTest::addColumn<double>("reach");
    QTest::addColumn<int>("side");
    QTest::addColumn<double>("safeSide");
    QTest::addColumn<double>("safeDiameter");
    QTest::addColumn<double>("padding");
    QTest::addColumn<QRect>("expected");

    const double squareReach = 512 * std::sqrt(2.0); // a 1024 square filled to its corners
    // Adaptive foregrounds: 108 dp canvas, 72 dp square, 66 dp circle. A square's corners must
    // reach no farther than 33 dp: its side is 66 / sqrt(2) = 46.67 dp.
    QTest::newRow("foreground 432 (xxxhdpi), square, no padding")
        << QSize(1024, 1024) << squareReach << 432 << 288.0 << 264.0 << 0.0 << QRect(123, 123, 186, 186);
    QTest::newRow("foreground 108 (mdpi), square")
        << QSize(1024, 1024) << squareReach << 108 << 72.0 << 66.0 << 0.0 << QRect(31, 31, 46, 46);
    QTest::newRow("foreground 162 (hdpi), square")
        << QSize(1024, 1024) << squareReach << 162 << 108.0 << 99.0 << 0.0 << QRect(46, 46, 70, 70);
    QTest::newRow("foreground 432, disc: the circle allows 264")
        << QSize(1024, 1024) << 512.0 << 432 << 288.0 << 264.0 << 0.0 << QRect(84, 84, 264, 264);
    QTest::newRow("foreground 432, small mark: the square's 288 limits")
        << QSize(100, 100) << 30.0 << 432 << 288.0 << 264.0 << 0.0 << QRect(72, 72, 288, 288);
    QTest::newRow("foreground 432, square, 5% padding (21.6 px a side)")
        << QSize(1024, 1024) << squareReach << 432 << 288.0 << 264.0 << 21.6 << QRect(138, 138, 156, 156);
    // Maskable: the circle of 40% radius, 409.6 of 512; 289.6 rounds down to an even 288.
    QTest::newRow("maskable 512, square")
        << QSize(1024, 1024) << squareReach << 512 << 512.0 << 409.6 << 0.0 << QRect(112, 112, 288, 288);
    QTest::newRow("maskable 192, square")
        << QSize(1024, 1024) << squareReach << 192 << 192.0 << 153.6 << 0.0 << QRect(42, 42, 108, 108);
    QTest::newRow("whole canvas, wide artwork centred")
        << QSize(1000, 500) << 559.0 << 192 << 192.0 << 0.0 << 0.0 << QRect(0, 48, 192, 96);
    QTest::newRow("whole canvas, tall artwork centred")
        << QSize(300, 600) << 335.4 << 48 << 48.0 << 0.0 << 0.0 << QRect(12, 0, 24, 48);
    QTest::newRow("whole canvas, 10% padding: 409.6 -> even 408")
        << QSize(1024, 1024) << squareReach << 512 << 512.0 << 0.0 << 51.2 << QRect(52, 52, 408, 408);
    QTest::newRow("odd canvas: 40 would leave 2.5 a side, so 39")
        << QSize(1024, 1024) << squareReach << 45 << 45.0 << 0.0 << 2.5 << QRect(3, 3, 39, 39);
    QTest::newRow("padding eats everything")
        << QSize(1024, 1024) << squareReach << 48 << 48.0 << 0.0 << 24.0 << QRect();
    QTest::newRow("no artwork") << QSize() << 0.0 << 48 << 48.0 << 0.0 << 0.0 << QRect();
}

void TestPlatformIcons::artworkRect()
{
    QFETCH(QSize, artwork);
    QFETCH(double, reach);
    QFETCH(int, side);
    QFETCH(double, safeSide);
    QFETCH(double, safeDiameter);
    QFETCH(double, padding);
    QFETCH(QRect, expected);
    QCOMPARE(IconCanvas::artworkRect(artwork, reach, {side, safeSide, safeDiameter, padding}), expected);
}

void TestPlatformIcons::artworkReachAndTrim_data()
{
    QTest::addColumn<QSize>("canvas");
    QTest::addColumn<QRect>("opaque"); // the visible block on a transparent canvas
    QTest::addColumn<bool>("trim");
    QTest::addColumn<QSize>("pixels");
    QTest::addColumn<double>("reach");

    QTest::newRow("filled, untrimmed")
        << QSize(100, 60) << QRect(0, 0, 100, 60) << false << QSize(100, 60) << 58.3095;
    QTest::newRow("block, untrimmed: measured from the canvas centre")
        << QSize(100, 100) << QRect(20, 30, 40, 20) << false << QSize(100, 100) << 36.0555;
    QTest::newRow("block, trimmed") << QSize(100, 100) << QRect(20, 30, 40, 20) << true << QSize(40, 20)
                                    << 22.3607;
    QTest::newRow("single pixel at the edge, trimmed")
        << QSize(10, 10) << QRect(9, 0, 1, 1) << true << QSize(1, 1) << 0.7071;
    QTest::newRow("nothing visible: kept whole") << QSize(10, 10) << QRect() << true << QSize(10, 10) << 0.0;
}

void TestPlatformIcons::artworkReachAndTrim()
{
    QFETCH(QSize, canvas);
    QFETCH(QRect, opaque);
    QFETCH(bool, trim);
    QFETCH(QSize, pixels);
    QFETCH(double, reach);

    QImage image(canvas, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    for (int y = opaque.top(); y <= opaque.bottom(); ++y)
        for (int x = opaque.left(); x <= opaque.right(); ++x)
            image.setPixel(x, y, qRgba(200, 10, 10, 255));
    const IconArtwork artwork = IconArtwork::fromImage(Image::fromQImage(image), trim);
    QCOMPARE(artwork.pixelSize(), pixels);
    QVERIFY2(std::abs(artwork.reach() - reach) < 1e-3, qPrintable(QString::number(artwork.reach())));
    // The trimmed artwork is the block alone: drawn at its own size, every pixel is visible.
    if (trim && !opaque.isEmpty()) {
        const QImage drawn = artwork.drawn({pixels}).front();
        QCOMPARE(visibleRect(drawn), QRect(QPoint(0, 0), pixels));
    }
}

void TestPlatformIcons::drawnIconsStayInsideTheSafeZone_data()
{
    QTest::addColumn<int>("side");
    QTest::addColumn<double>("safeSide");
    QTest::addColumn<double>("safeDiameter");
    QTest::addColumn<bool>("disc");
    QTest::addColumn<QRect>("visible");
    QTest::addColumn<double>("radius"); // no visible pixel beyond it

    QTest::newRow("foreground 432, square source")
        << 432 << 288.0 << 264.0 << false << QRect(123, 123, 186, 186) << 132.0;
    // Placed at (84, 84, 264, 264); the outermost rows and columns touch the disc over less than
    // 1/510 of their area and round to transparent.
    QTest::newRow("foreground 432, disc source")
        << 432 << 288.0 << 264.0 << true << QRect(85, 85, 262, 262) << 132.0;
    QTest::newRow("foreground 108, square source")
        << 108 << 72.0 << 66.0 << false << QRect(31, 31, 46, 46) << 33.0;
    QTest::newRow("maskable 192, square source")
        << 192 << 192.0 << 153.6 << false << QRect(42, 42, 108, 108) << 76.8;
}

void TestPlatformIcons::drawnIconsStayInsideTheSafeZone()
{
    QFETCH(int, side);
    QFETCH(double, safeSide);
    QFETCH(double, safeDiameter);
    QFETCH(bool, disc);
    QFETCH(QRect, visible);
    QFETCH(double, radius);

    QImage source(1024, 1024, QImage::Format_ARGB32);
    source.fill(disc ? Qt::transparent : QColor(30, 90, 200));
    if (disc) {
        QPainter painter(&source);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(30, 90, 200));
        painter.drawEllipse(QRectF(0, 0, 1024, 1024));
    }
    const PlatformIconRenderer renderer(Image::fromQImage(source), PlatformIconOptions());
    PlatformIconRenderer::Request request;
    request.side = side;
    request.safeSide = safeSide / side;
    request.safeDiameter = safeDiameter / side;
    const QImage drawn = renderer.render({request}).front().canvas;
    QCOMPARE(drawn.size(), QSize(side, side));
    QCOMPARE(visibleRect(drawn), visible);
    QVERIFY2(farthestVisible(drawn) <= radius + 1e-9, qPrintable(QString::number(farthestVisible(drawn))));
}

void TestPlatformIcons::icoDirectory()
{
    QList<QImage> images;
    for (int side : {16, 32, 48, 256}) {
        QImage image(side, side, QImage::Format_ARGB32);
        image.fill(QColor(0, 128, 0, 255));
        image.setPixel(0, 0, qRgba(255, 0, 0, 255));               // top left: red
        image.setPixel(0, side - 1, qRgba(0, 0, 0, 0));            // bottom left: transparent
        image.setPixel(side - 1, side - 1, qRgba(0, 0, 255, 128)); // bottom right: half blue
        images.append(image);
    }
    const QByteArray ico = IcoWriter::encode(images);
    // Directory: reserved, type 1 (icon), count.
    QCOMPARE(le16(ico, 0), quint16(0));
    QCOMPARE(le16(ico, 2), quint16(1));
    QCOMPARE(le16(ico, 4), quint16(4));
    // BMP entries: 40-byte header, 4 bytes a pixel, a 1-bit mask of rows padded to 4 bytes.
    struct Entry
    {
        int widthByte;
        quint32 bytes;
        quint32 offset;
    };
    const Entry expected[] = {{16, 40 + 1024 + 16 * 4, 70},
                              {32, 40 + 4096 + 32 * 4, 70 + 1128},
                              {48, 40 + 9216 + 48 * 8, 70 + 1128 + 4264}};
    for (int i = 0; i < 3; ++i) {
        const qsizetype at = 6 + 16 * i;
        QCOMPARE(int(quint8(ico[at])), expected[i].widthByte);
        QCOMPARE(int(quint8(ico[at + 1])), expected[i].widthByte);
        QCOMPARE(int(quint8(ico[at + 2])), 0);    // no palette
        QCOMPARE(le16(ico, at + 4), quint16(1));  // planes
        QCOMPARE(le16(ico, at + 6), quint16(32)); // bits
        QCOMPARE(le32(ico, at + 8), expected[i].bytes);
        QCOMPARE(le32(ico, at + 12), expected[i].offset);
    }
    // The 256 entry: sides written as 0, PNG data after the last BMP.
    QCOMPARE(int(quint8(ico[6 + 48])), 0);
    QCOMPARE(int(quint8(ico[6 + 49])), 0);
    const quint32 pngAt = le32(ico, 6 + 48 + 12);
    QCOMPARE(pngAt, quint32(70 + 1128 + 4264 + 9640));
    QCOMPARE(ico.mid(pngAt, 8), QByteArray("\x89PNG\r\n\x1a\n"));
    QCOMPARE(quint32(ico.size()), pngAt + le32(ico, 6 + 48 + 8));
    QCOMPARE(QImage::fromData(ico.mid(pngAt)).size(), QSize(256, 256));

    // The 16 entry: header with twice the height, rows bottom-up in B, G, R, A.
    const qsizetype bmp = 70;
    QCOMPARE(le32(ico, bmp), quint32(40));
    QCOMPARE(le32(ico, bmp + 4), quint32(16));
    QCOMPARE(le32(ico, bmp + 8), quint32(32));
    QCOMPARE(le16(ico, bmp + 14), quint16(32));
    QCOMPARE(le32(ico, bmp + 16), quint32(0));
    const qsizetype pixels = bmp + 40;
    QCOMPARE(ico.mid(pixels + 15 * 16 * 4, 4), QByteArray("\x00\x00\xff\xff", 4)); // top left, last row
    QCOMPARE(ico.mid(pixels, 4), QByteArray("\x00\x00\x00\x00", 4));               // bottom left, first row
    QCOMPARE(ico.mid(pixels + 15 * 4, 4), QByteArray("\xff\x00\x00\x80", 4));      // straight alpha
    QCOMPARE(ico.mid(pixels + 4, 4), QByteArray("\x00\x80\x00\xff", 4));
    // The mask: bottom row first; only the transparent pixel is set.
    const qsizetype mask = pixels + 1024;
    QCOMPARE(ico.mid(mask, 4), QByteArray("\x80\x00\x00\x00", 4));
    QCOMPARE(ico.mid(mask + 4, 60), QByteArray(60, '\0'));
}

void TestPlatformIcons::icoRefusesWhatItCannotHold()
{
    QCOMPARE(IcoWriter::encode({}), QByteArray());
    QCOMPARE(IcoWriter::encode({QImage()}), QByteArray());
    QImage big(257, 16, QImage::Format_ARGB32);
    big.fill(Qt::red);
    QCOMPARE(IcoWriter::encode({big}), QByteArray());
}

void TestPlatformIcons::manifestMerge_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QStringList>("names"); // any 192, any 512, maskable 192, maskable 512

    const QStringList ours{"icon-192.png", "icon-512.png", "icon-192-maskable.png", "icon-512-maskable.png"};
    // A new manifest, and the icons alone in an empty object: the same but for the last line feed.
    const QByteArray onlyIcons = R"({
  "icons": [
    {
      "src": "icon-192.png",
      "sizes": "192x192",
      "type": "image/png",
      "purpose": "any"
    },
    {
      "src": "icon-512.png",
      "sizes": "512x512",
      "type": "image/png",
      "purpose": "any"
    },
    {
      "src": "icon-192-maskable.png",
      "sizes": "192x192",
      "type": "image/png",
      "purpose": "maskable"
    },
    {
      "src": "icon-512-maskable.png",
      "sizes": "512x512",
      "type": "image/png",
      "purpose": "maskable"
    }
  ]
}
)";
    QTest::newRow("no manifest") << QByteArray() << onlyIcons << ours;

    // Keys in the author's order, a 144 icon of theirs, their names for three of our slots, an
    // absolute path (not a file of the folder) and a key after the array.
    QTest::newRow("project manifest: names kept, other keys untouched") << QByteArray(R"({
    "name": "Zed",
    "short_name": "Z",
    "start_url": ".",
    "icons": [
        {"src": "img/a144.png", "sizes": "144x144", "type": "image/png"},
        {
            "src": "img/App-192.png",
            "sizes": "192x192",
            "type": "image/png"
        },
        {"src": "/img/m512.png", "sizes": "512x512", "purpose": "maskable"},
        {"src": "img/m192.png", "sizes": "192x192", "purpose": "maskable"}
    ],
    "display": "standalone",
    "theme_color": "#0175C2"
}
)") << QByteArray(R"({
    "name": "Zed",
    "short_name": "Z",
    "start_url": ".",
    "icons": [
        {"src": "img/a144.png", "sizes": "144x144", "type": "image/png"},
        {
            "src": "img/App-192.png",
            "sizes": "192x192",
            "type": "image/png",
            "purpose": "any"
        },
        {
            "src": "icon-512-maskable.png",
            "sizes": "512x512",
            "type": "image/png",
            "purpose": "maskable"
        },
        {
            "src": "img/m192.png",
            "sizes": "192x192",
            "type": "image/png",
            "purpose": "maskable"
        },
        {
            "src": "icon-512.png",
            "sizes": "512x512",
            "type": "image/png",
            "purpose": "any"
        }
    ],
    "display": "standalone",
    "theme_color": "#0175C2"
}
)") << QStringList{"img/App-192.png", "icon-512.png", "img/m192.png", "icon-512-maskable.png"};

    QTest::newRow("no icons yet: appended after the last key, its separator used")
        << QByteArray("{\r\n\t\"name\" : \"Zed\",\r\n\t\"display\" : \"standalone\"\r\n}\r\n")
        << QByteArray(
               "{\r\n\t\"name\" : \"Zed\",\r\n\t\"display\" : \"standalone\",\r\n\t\"icons\" : [\r\n"
               "\t\t{\r\n\t\t\t\"src\" : \"icon-192.png\",\r\n\t\t\t\"sizes\" : \"192x192\",\r\n"
               "\t\t\t\"type\" : \"image/png\",\r\n\t\t\t\"purpose\" : \"any\"\r\n\t\t},\r\n"
               "\t\t{\r\n\t\t\t\"src\" : \"icon-512.png\",\r\n\t\t\t\"sizes\" : \"512x512\",\r\n"
               "\t\t\t\"type\" : \"image/png\",\r\n\t\t\t\"purpose\" : \"any\"\r\n\t\t},\r\n"
               "\t\t{\r\n\t\t\t\"src\" : \"icon-192-maskable.png\",\r\n\t\t\t\"sizes\" : \"192x192\",\r\n"
               "\t\t\t\"type\" : \"image/png\",\r\n\t\t\t\"purpose\" : \"maskable\"\r\n\t\t},\r\n"
               "\t\t{\r\n\t\t\t\"src\" : \"icon-512-maskable.png\",\r\n\t\t\t\"sizes\" : \"512x512\",\r\n"
               "\t\t\t\"type\" : \"image/png\",\r\n\t\t\t\"purpose\" : \"maskable\"\r\n\t\t}\r\n"
               "\t]\r\n}\r\n")
        << ours;

    // "any maskable" is neither slot exactly: kept; a name with ".." is not below the folder; an
    // SVG is no PNG; strings with braces and escaped quotes do not confuse the splice. A key that
    // does not start its line gets the array two blanks in.
    QTest::newRow("entries that are not our slots stay as written") << QByteArray(R"({"a": "}{\"[", "icons": [
    {"src": "both.png", "sizes": "192x192", "purpose": "any maskable"},
    {"src": "../up.png", "sizes": "512x512"},
    {"src": "vector.svg", "sizes": "192x192", "purpose": "maskable"}
  ], "z": [1, {"b": "]"}]})") << QByteArray(R"({"a": "}{\"[", "icons": [
    {"src": "both.png", "sizes": "192x192", "purpose": "any maskable"},
    {
      "src": "icon-512.png",
      "sizes": "512x512",
      "type": "image/png",
      "purpose": "any"
    },
    {
      "src": "icon-192-maskable.png",
      "sizes": "192x192",
      "type": "image/png",
      "purpose": "maskable"
    },
    {
      "src": "icon-192.png",
      "sizes": "192x192",
      "type": "image/png",
      "purpose": "any"
    },
    {
      "src": "icon-512-maskable.png",
      "sizes": "512x512",
      "type": "image/png",
      "purpose": "maskable"
    }
  ], "z": [1, {"b": "]"}]})") << ours;

    QTest::newRow("empty object") << QByteArray("{ }") << onlyIcons.chopped(1) << ours;
}

void TestPlatformIcons::manifestMerge()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    QFETCH(QStringList, names);

    const QList<WebManifest::Icon> ourSlots{{"icon-192.png", 192, "any"},
                                            {"icon-512.png", 512, "any"},
                                            {"icon-192-maskable.png", 192, "maskable"},
                                            {"icon-512-maskable.png", 512, "maskable"}};
    QList<WebManifest::Icon> icons = ourSlots;
    QByteArray merged;
    Error error;
    QVERIFY2(WebManifest::merge(before, icons, merged, &error), qPrintable(error.localizedDescription));
    QCOMPARE(merged, after);
    QStringList got;
    for (const WebManifest::Icon& icon : icons)
        got.append(icon.src);
    QCOMPARE(got, names);

    // Merging again changes nothing.
    QList<WebManifest::Icon> again = ourSlots;
    QByteArray twice;
    QVERIFY(WebManifest::merge(merged, again, twice, &error));
    QCOMPARE(twice, merged);
}

void TestPlatformIcons::manifestRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("code");
    QTest::newRow("truncated") << QByteArray("{\"name\": \"Z\"") << int(WebManifest::NotJson);
    QTest::newRow("key twice") << QByteArray("{\"icons\": [], \"icons\": []}") << int(WebManifest::NotJson);
    QTest::newRow("Latin-1") << QByteArray("{\"name\": \"Caf\xe9\"}") << int(WebManifest::NotJson);
    QTest::newRow("array root") << QByteArray("[]") << int(WebManifest::NotAnObject);
    QTest::newRow("icons is an object") << QByteArray("{\"icons\": {}}") << int(WebManifest::IconsNotArray);
}

void TestPlatformIcons::manifestRefused()
{
    QFETCH(QByteArray, text);
    QFETCH(int, code);
    QList<WebManifest::Icon> icons{{"icon-192.png", 192, "any"}};
    QByteArray out = "untouched";
    Error error;
    QVERIFY(!WebManifest::merge(text, icons, out, &error));
    QCOMPARE(error.code, code);
    QCOMPARE(out, QByteArray("untouched"));
    QCOMPARE(icons.front().src, QStringLiteral("icon-192.png"));
}

void TestPlatformIcons::androidXml()
{
    QCOMPARE(AndroidIconSet::adaptiveIconXml(false),
             QByteArray("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                        "<adaptive-icon xmlns:android=\"http://schemas.android.com/apk/res/android\">\n"
                        "    <background android:drawable=\"@color/ic_launcher_background\"/>\n"
                        "    <foreground android:drawable=\"@mipmap/ic_launcher_foreground\"/>\n"
                        "    <monochrome android:drawable=\"@mipmap/ic_launcher_monochrome\"/>\n"
                        "</adaptive-icon>\n"));
    QCOMPARE(AndroidIconSet::adaptiveIconXml(true),
             QByteArray("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                        "<adaptive-icon xmlns:android=\"http://schemas.android.com/apk/res/android\">\n"
                        "    <background android:drawable=\"@mipmap/ic_launcher_background\"/>\n"
                        "    <foreground android:drawable=\"@mipmap/ic_launcher_foreground\"/>\n"
                        "    <monochrome android:drawable=\"@mipmap/ic_launcher_monochrome\"/>\n"
                        "</adaptive-icon>\n"));
    QCOMPARE(AndroidIconSet::backgroundColourXml(QColor(0x3d, 0xdc, 0x84)),
             QByteArray("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                        "<resources>\n"
                        "    <color name=\"ic_launcher_background\">#3DDC84</color>\n"
                        "</resources>\n"));
    QCOMPARE(AndroidIconSet::playStoreName(QStringLiteral("/p/app/src/main/res")),
             QStringLiteral("../ic_launcher-playstore.png"));
    QCOMPARE(AndroidIconSet::playStoreName(QStringLiteral("/tmp/out")),
             QStringLiteral("ic_launcher-playstore.png"));
}

void TestPlatformIcons::backgroundColourFileIsOurs_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("ours");
    QTest::newRow("ours, another colour") << AndroidIconSet::backgroundColourXml(Qt::black) << true;
    QTest::newRow("one line, no declaration")
        << QByteArray("<resources><color name=\"ic_launcher_background\">#FFF</color></resources>") << true;
    QTest::newRow("a second colour") << QByteArray("<resources><color name=\"ic_launcher_background\">#FFF"
                                                   "</color><color name=\"accent\">#000</color></resources>")
                                     << false;
    QTest::newRow("another name") << QByteArray("<resources><color name=\"brand\">#FFF</color></resources>")
                                  << false;
    QTest::newRow("a string") << QByteArray("<resources><string name=\"ic_launcher_background\">x</string>"
                                            "</resources>")
                              << false;
    QTest::newRow("broken") << QByteArray("<resources><color name=\"ic_launcher_background\">") << false;
    QTest::newRow("empty") << QByteArray() << false;
}

void TestPlatformIcons::backgroundColourFileIsOurs()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, ours);
    QCOMPARE(AndroidIconSet::isBackgroundColourXml(text), ours);
}

// New, unchanged, refreshed (ours by name, or content we recognise) and replaced, and only the
// files that change are written.
void TestPlatformIcons::fileStates()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const auto put = [&](const QString& name, const QByteArray& bytes) {
        QDir().mkpath(QFileInfo(dir.filePath(name)).path());
        QFile file(dir.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    };
    QVERIFY(put("same.png", "A"));
    QVERIFY(put("old.png", "old"));
    QVERIFY(put("values/mine.xml", "mine"));
    QVERIFY(put("values/theirs.xml", "theirs"));
    QVERIFY(QDir().mkpath(dir.filePath("folder.png")));
    const auto isMine = [](const QByteArray& text) { return text == "mine"; };
    IconFilePlan plan(dir.path());
    plan.add({"new/new.png", "N", QSize(1, 1), {}});
    plan.add({"same.png", "A", QSize(1, 1), {}});
    plan.add({"old.png", "B", QSize(1, 1), {}});
    plan.add({"values/mine.xml", "X", {}, isMine});
    plan.add({"values/theirs.xml", "X", {}, isMine});
    plan.add({"folder.png", "F", QSize(1, 1), {}});
    plan.examine();
    QCOMPARE(plan.names(IconFilePlan::State::New), QStringList{"new/new.png"});
    QCOMPARE(plan.names(IconFilePlan::State::Unchanged), QStringList{"same.png"});
    QCOMPARE(plan.names(IconFilePlan::State::Refreshed), (QStringList{"old.png", "values/mine.xml"}));
    QCOMPARE(plan.names(IconFilePlan::State::Replaced), (QStringList{"values/theirs.xml", "folder.png"}));

    const QDateTime untouched = QFileInfo(dir.filePath("same.png")).lastModified();
    QFile::setPermissions(dir.filePath("same.png"), QFile::ReadOwner); // a write would fail
    Error error;
    QVERIFY(!plan.write(&error)); // the folder in the way
    QVERIFY2(error.localizedDescription.contains("folder.png"), qPrintable(error.localizedDescription));
    QCOMPARE(readFile(dir.filePath("new/new.png")), QByteArray("N"));
    QCOMPARE(readFile(dir.filePath("old.png")), QByteArray("B"));
    QCOMPARE(readFile(dir.filePath("values/theirs.xml")), QByteArray("X"));
    QCOMPARE(QFileInfo(dir.filePath("same.png")).lastModified(), untouched);
    QCOMPARE(entriesIn(dir.path()), (QStringList{"folder.png", "new", "old.png", "same.png", "values"}));
}

QTEST_GUILESS_MAIN(TestPlatformIcons)
#include "tst_platformicons.moc"
