// Hostile and unusual SVG sources: each is refused with an error or drawn, and nothing crashes,
// hangs or reads a file the document names. Large inputs are made here, not kept as fixtures.
#include "helper_iconset.h"
#include "iconset/image.h"

#include <QBuffer>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <zlib.h>

using namespace iconfoundry;
using namespace helper;
using namespace Qt::StringLiterals;

namespace {

QByteArray svg(const QByteArray& body, int side = 64, const QByteArray& prolog = {})
{
    return prolog +
           "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' width='" +
           QByteArray::number(side) + "' height='" + QByteArray::number(side) + "'>" + body + "</svg>";
}

// A gzip stream that inflates to `head`, then `megabytes` MiB of blanks; nothing after them, so a
// reader that gets that far finds it truncated. Each MiB is deflated on its own (full flush), so
// the same compressed block repeats and a 1 GiB bomb costs a few hundred KiB to make.
QByteArray gzipBomb(const QByteArray& head, int megabytes)
{
    z_stream stream{};
    if (deflateInit2(&stream, 9, Z_DEFLATED, 16 + MAX_WBITS, 9, Z_DEFAULT_STRATEGY) != Z_OK)
        return {};
    auto deflated = [&](const QByteArray& in) {
        QByteArray out(int(deflateBound(&stream, uLong(in.size()))) + 64, '\0');
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.constData()));
        stream.avail_in = uInt(in.size());
        stream.next_out = reinterpret_cast<Bytef*>(out.data());
        stream.avail_out = uInt(out.size());
        deflate(&stream, Z_FULL_FLUSH);
        out.truncate(out.size() - int(stream.avail_out));
        return out;
    };
    QByteArray bomb = deflated(head);
    const QByteArray block = deflated(QByteArray(1 << 20, ' '));
    deflateEnd(&stream);
    for (int i = 0; i < megabytes; ++i)
        bomb += block;
    return bomb;
}

QByteArray gzipped(const QByteArray& data)
{
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, 16 + MAX_WBITS, 9, Z_DEFAULT_STRATEGY);
    QByteArray whole(int(deflateBound(&stream, uLong(data.size()))) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(whole.data());
    stream.avail_out = uInt(whole.size());
    deflate(&stream, Z_FINISH);
    whole.truncate(whole.size() - int(stream.avail_out));
    deflateEnd(&stream);
    return whole;
}

QByteArray pngOf(const QImage& image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

QByteArray redPng()
{
    QImage red(16, 16, QImage::Format_ARGB32);
    red.fill(Qt::red);
    return pngOf(red);
}

QByteArray repeated(const QByteArray& pattern, int count)
{
    QByteArray out;
    out.reserve(pattern.size() * count);
    for (int i = 0; i < count; ++i)
        out += pattern;
    return out;
}

} // namespace

class TestSvgDocument : public QObject
{
    Q_OBJECT

private slots:
    void hostileDocuments_data()
    {
        QTest::addColumn<QByteArray>("document");
        QTest::addColumn<int>("code"); // 0: drawn; else the error code of the refusal
        const QByteArray head = "<svg xmlns='http://www.w3.org/2000/svg' width='64' height='64'><desc>";

        QTest::newRow("svgz expanding to 256 MiB") << gzipBomb(head, 256) << int(Image::TooLarge);
        QTest::newRow("svgz expanding to 1 GiB") << gzipBomb(head, 1024) << int(Image::TooLarge);
        QTest::newRow("svgz cut short") << gzipBomb(head, 2) << int(Image::Corrupt);
        QTest::newRow("gzip of plain text") << gzipped("hello") << int(Image::Corrupt);
        QTest::newRow("a million rectangles")
            << svg(repeated("<rect width='1' height='1'/>", 1000000)) << int(Image::TooLarge);
        QTest::newRow("2 MiB style sheet")
            << svg("<style>" + repeated(".a rect:nth-child(odd) > g ~ rect { fill: #123; }\n", 42000) +
                   "</style><rect width='9' height='9'/>")
            << int(Image::TooLarge);
        // Cairo strokes this for far longer than the time a step is given.
        const QByteArray points = repeated("3,60 61,2 7,45 58,19 ", 100000);
        QTest::newRow("polyline of 400,000 points")
            << svg("<polyline fill='none' stroke='#000' points='" + points + "'/>") << int(Image::TooLarge);
        QTest::newRow("dilation by 2000 pixels")
            << svg("<filter id='m'><feMorphology operator='dilate' radius='2000'/></filter>"
                   "<rect width='2048' height='2048' fill='red' filter='url(#m)'/>",
                   2048)
            << int(Image::TooLarge);
        const QByteArray stops =
            repeated("<stop offset='0.2' stop-color='#f00'/><stop offset='0.8' stop-color='#00f'/>", 2500);
        QTest::newRow("gradient of 5,000 stops")
            << svg("<radialGradient id='g' r='0.01' spreadMethod='repeat'>" + stops +
                   "</radialGradient><rect width='64' height='64' fill='url(#g)'/>")
            << 0;
        const QByteArray hugePng = test::readFile(test::testData("huge-30000x30000-header.png")).toBase64();
        QTest::newRow("embedded PNG of 30000 x 30000")
            << svg("<image width='64' height='64' href='data:image/png;base64," + hugePng + "'/>")
            << int(Image::TooLarge);
        const QByteArray nested =
            svg("<image width='64' height='64' xlink:href='data:image/png;base64," + hugePng + "'/>")
                .toBase64();
        QTest::newRow("embedded PNG of 30000 x 30000 in an embedded SVG")
            << svg("<image width='64' height='64' href='data:image/svg+xml;base64," + nested + "'/>")
            << int(Image::TooLarge);
        QTest::newRow("self-referencing use")
            << svg("<g id='a'><rect width='10' height='10'/><use href='#a' x='5'/></g>") << 0;
        QTest::newRow("entity expansion")
            << svg("<text y='20'>&e5;</text>", 64,
                   "<?xml version='1.0'?><!DOCTYPE svg [<!ENTITY e0 'xxxxxxxxxxxxxxxx'>"
                   "<!ENTITY e1 '&e0;&e0;&e0;&e0;&e0;&e0;&e0;&e0;&e0;&e0;'>"
                   "<!ENTITY e2 '&e1;&e1;&e1;&e1;&e1;&e1;&e1;&e1;&e1;&e1;'>"
                   "<!ENTITY e3 '&e2;&e2;&e2;&e2;&e2;&e2;&e2;&e2;&e2;&e2;'>"
                   "<!ENTITY e4 '&e3;&e3;&e3;&e3;&e3;&e3;&e3;&e3;&e3;&e3;'>"
                   "<!ENTITY e5 '&e4;&e4;&e4;&e4;&e4;&e4;&e4;&e4;&e4;&e4;'>]>")
            << int(Image::Corrupt);
        QTest::newRow("external entity")
            << svg("<text y='20'>&passwd;</text>", 64,
                   "<?xml version='1.0'?><!DOCTYPE svg [<!ENTITY passwd SYSTEM 'file:///etc/passwd'>]>")
            << int(Image::Corrupt);
        QTest::newRow("40,000 nested groups")
            << svg(repeated("<g>", 40000) + "<rect width='9' height='9'/>" + repeated("</g>", 40000))
            << int(Image::Corrupt);
    }

    void hostileDocuments()
    {
        QFETCH(QByteArray, document);
        QFETCH(int, code);
        Error error;
        const ImagePtr image = Image::fromData(document, &error);
        if (code == 0) {
            QVERIFY2(image, qPrintable(error.localizedDescription));
            QCOMPARE(image->pixelSize(), QSize(64, 64));
            QCOMPARE(image->renderedAtSize(QSizeF(20, 20))->pixelSize(), QSize(20, 20));
        } else {
            QVERIFY(!image);
            QVERIFY2(error.code == code, qPrintable(error.localizedDescription));
        }
    }

    // What an <image> beside the document refers to must stay unread: loading a red picture would
    // turn the centre red. The data: row shows that a picture that is read does.
    void referencesToFilesAreNotRead_data()
    {
        QTest::addColumn<QString>("href"); // {dir}: the document's folder
        QTest::addColumn<QRgb>("centre");
        const QRgb clear = qRgba(0, 0, 0, 0);
        QTest::newRow("data: URL of a red PNG")
            << u"data:image/png;base64,"_s + redPng().toBase64() << qRgb(255, 0, 0);
        QTest::newRow("file: URL of a red PNG") << u"file://{dir}/red.png"_s << clear;
        QTest::newRow("absolute path of a red PNG") << u"{dir}/red.png"_s << clear;
        QTest::newRow("name of a red PNG beside it") << u"red.png"_s << clear;
        QTest::newRow("the document itself") << u"document.svg"_s << clear;
        QTest::newRow("file: URL of the document itself") << u"file://{dir}/document.svg"_s << clear;
        QTest::newRow("named pipe nobody writes into") << u"file://{dir}/pipe"_s << clear;
        QTest::newRow("named pipe by path") << u"{dir}/pipe"_s << clear;
    }

    void referencesToFilesAreNotRead()
    {
        QFETCH(QString, href);
        QFETCH(QRgb, centre);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        QFile png(dir.filePath(u"red.png"_s));
        QVERIFY(png.open(QIODevice::WriteOnly) && png.write(redPng()) > 0);
        png.close();
        QCOMPARE(::mkfifo(QFile::encodeName(dir.filePath(u"pipe"_s)).constData(), 0600), 0);
        href.replace(u"{dir}"_s, dir.path());
        const QByteArray document =
            svg("<image x='0' y='0' width='16' height='16' xlink:href='" + href.toUtf8() + "'/>", 16);
        QFile file(dir.filePath(u"document.svg"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(document) > 0);
        file.close();

        Error error;
        const ImagePtr image = Image::fromFile(file.fileName(), &error);
        QVERIFY2(image, qPrintable(error.localizedDescription));
        QCOMPARE(image->bitmap().pixel(8, 8), centre);
        QCOMPARE(image->renderedAtSize(QSizeF(32, 32))->bitmap().pixel(16, 16), centre);
    }

    // Drawn with fonts found through fontconfig; no display is involved in the library.
    void textIsDrawn()
    {
        const ImagePtr image = Image::fromData(
            svg("<rect width='64' height='64' fill='#000'/><text x='4' y='52' font-family='DejaVu Sans' "
                "font-size='56' fill='#fff'>W</text>"));
        QVERIFY(image);
        const QImage bitmap = image->renderedAtSize(QSizeF(64, 64))->bitmap();
        int white = 0;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x)
                white += bitmap.pixel(x, y) == qRgb(255, 255, 255);
        QVERIFY2(white > 200, qPrintable(QString::number(white)));
    }

    // Sizes come from width and height, else from the view box; a cut keeps drawing from the vector.
    void intrinsicSize_data()
    {
        QTest::addColumn<QByteArray>("document");
        QTest::addColumn<QSize>("pixels");
        QTest::newRow("width and height in px")
            << QByteArray("<svg xmlns='http://www.w3.org/2000/svg' width='40px' height='30'/>")
            << QSize(40, 30);
        QTest::newRow("inches at 96 dpi")
            << QByteArray("<svg xmlns='http://www.w3.org/2000/svg' width='1in' height='0.5in'/>")
            << QSize(96, 48);
        QTest::newRow("view box only")
            << QByteArray("<svg xmlns='http://www.w3.org/2000/svg' viewBox='5 5 120 80'/>") << QSize(120, 80);
        QTest::newRow("compressed") << gzipped(
                                           "<svg xmlns='http://www.w3.org/2000/svg' width='12' height='34'/>")
                                    << QSize(12, 34);
    }

    void intrinsicSize()
    {
        QFETCH(QByteArray, document);
        QFETCH(QSize, pixels);
        Error error;
        const ImagePtr image = Image::fromData(document, &error);
        QVERIFY2(image, qPrintable(error.localizedDescription));
        QVERIFY(image->hasVector());
        QCOMPARE(image->pixelSize(), pixels);
    }
};

QTEST_GUILESS_MAIN(TestSvgDocument)
#include "tst_svgdocument.moc"
