#include "helper_iconset.h"
#include "iconset/image.h"
#include "iconset/imageprocessor.h"
#include "iconset/pngwriter.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace iconfoundry;

using namespace helper;
using namespace Qt::StringLiterals;

namespace {

ImageSize square(double points, double scale, const QString& fileName)
{
    return makeSize(nullptr, points, points, scale, qPrintable(fileName), 101);
}

// Whether this user is refused by a folder without write permission (root is not).
bool foldersAreEnforced()
{
    QTemporaryDir dir;
    QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::ExeOwner);
    QFile probe(dir.filePath(u"probe"_s));
    const bool writable = probe.open(QIODevice::WriteOnly);
    QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return !writable;
}

} // namespace

class TestRender : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        processor_ = ImageProcessor();
        processor_.setAllImageCategories(categories("101,111,501"));
        processor_.setAllImageSizes({makeSize(nullptr, 20, 20, 2, "a.png", 101),
                                     makeSize(nullptr, 20, 20, 3, "b.png", 111),
                                     makeSize(nullptr, 40, 40, 2, "shared.png", 111),
                                     makeSize(nullptr, 60, 45, 2, "wide.png", 501, 0.75),
                                     makeSize(nullptr, 29, 29, 2, "shared.png", 111)});
    }

    void fileNames_data()
    {
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QStringList>("names");
        QTest::newRow("one category") << "101" << QStringList{"a.png"};
        QTest::newRow("shared name listed twice")
            << "111" << QStringList{"b.png", "shared.png", "shared.png"};
        QTest::newRow("catalogue order, not choice order") << "501,101" << QStringList{"a.png", "wide.png"};
        QTest::newRow("none chosen") << "" << QStringList{};
        QTest::newRow("unknown category") << "999" << QStringList{};
    }

    void fileNames()
    {
        QFETCH(QString, chosen);
        QFETCH(QStringList, names);
        QCOMPARE(processor_.imageFileNamesForCategories(categories(chosen)), names);
    }

    void existingFiles_data()
    {
        QTest::addColumn<QString>("name"); // made in the folder first, unless empty
        QTest::addColumn<bool>("isFolder");
        QTest::addColumn<QStringList>("existing"); // empty: absent
        QTest::newRow("nothing there") << QString() << false << QStringList{};
        QTest::newRow("unrelated file") << "other.png" << false << QStringList{};
        QTest::newRow("one file") << "b.png" << false << QStringList{"b.png"};
        QTest::newRow("a folder of that name counts, twice")
            << "shared.png" << true << QStringList{"shared.png", "shared.png"};
    }

    void existingFiles()
    {
        QFETCH(QString, name);
        QFETCH(bool, isFolder);
        QFETCH(QStringList, existing);
        QTemporaryDir dir;
        if (!name.isEmpty())
            QVERIFY(isFolder ? QDir(dir.path()).mkdir(name)
                             : QFile(dir.filePath(name)).open(QIODevice::WriteOnly));
        const auto found = processor_.fileNamesThatExistForCategories(categories("101,111"), dir.path());
        QCOMPARE(found.value_or(QStringList{"absent"}),
                 existing.isEmpty() ? QStringList{"absent"} : existing);
    }

    void croppedImage_data()
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

    void croppedImage()
    {
        QFETCH(QSize, source);
        QFETCH(double, aspect);
        QFETCH(QRect, expected);
        QFETCH(bool, same);
        const ImagePtr image = Image::fromQImage(coordinatePattern(source.width(), source.height()));
        const ImagePtr cropped =
            processor_.croppedImage(image, makeSize(nullptr, 60, 45, 2, "x.png", 101, aspect));
        QCOMPARE(cropped == image, same);
        QCOMPARE(cropped->pixelSize(), expected.size());
        QCOMPARE(sourceRectOf(cropped->bitmap()), expected);
    }

    // Every file an 8-bit RGBA PNG of exactly its pixel size, close to Qt's own area-averaging scale.
    void writesExactRgbaPngs()
    {
        processor_.setAllImageSizes(
            {square(83.5, 2, "p-83.5@2x.png"), square(83.5, 1, "p-83.5.png"), square(20, 2, "p-20@2x.png"),
             makeSize(nullptr, 60, 45, 2, "p-60x45@2x.png", 101, 0.75), square(512, 2, "p-512@2x.png")});
        const QStringList headers{"167x167 8 6 0", "83x83 8 6 0", "40x40 8 6 0", "120x90 8 6 0",
                                  "1024x1024 8 6 0"};
        const QRect whole(0, 0, 1024, 1024);
        const QList<QRect> crops{whole, whole, whole, {0, 128, 1024, 768}, whole};
        const QImage art = artwork(1024);
        QTemporaryDir dir;
        Error error;
        QVERIFY(processor_.resizeAndSaveImage(Image::fromQImage(art), categories("101"), dir.path(), &error));

        const QStringList names = processor_.imageFileNamesForCategories(categories("101"));
        QCOMPARE(entriesIn(dir.path()),
                 (QStringList{"p-20@2x.png", "p-512@2x.png", "p-60x45@2x.png", "p-83.5.png",
                              "p-83.5@2x.png"})); // and no temporary files
        for (int i = 0; i < names.size(); ++i) {
            const QByteArray bytes = readFile(dir.filePath(names[i]));
            QCOMPARE(pngHeader(bytes), headers[i]);
            const QImage decoded = QImage::fromData(bytes);
            const QImage reference =
                art.copy(crops[i]).scaled(decoded.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            const auto [worst, mean] = difference(decoded, reference, QImage::Format_ARGB32_Premultiplied);
            QVERIFY2(worst <= 12 && mean < 1.0,
                     qPrintable(u"%1: worst %2, mean %3"_s.arg(names[i]).arg(worst).arg(mean)));
        }
    }

    void emptySelectionTouchesNothing_data()
    {
        QTest::addColumn<QString>("chosen");
        QTest::newRow("no category") << "";
        QTest::newRow("a category no size names") << "999";
    }

    void emptySelectionTouchesNothing()
    {
        QFETCH(QString, chosen);
        QTemporaryDir dir;
        Error error{u"untouched"_s, 42, u"left as it was"_s};
        int progressCalls = 0;
        const ImagePtr image = Image::fromQImage(artwork(64));
        QVERIFY(processor_.resizeAndSaveImage(image, categories(chosen), dir.path(), &error,
                                              [&](int, int) { ++progressCalls; }));
        // A folder that does not exist is not created either.
        const QString missing = dir.filePath(u"missing"_s);
        QVERIFY(processor_.resizeAndSaveImage(image, categories(chosen), missing, &error));
        QCOMPARE(error.domain + error.localizedDescription, u"untouchedleft as it was"_s);
        QCOMPARE(progressCalls, 0);
        QCOMPARE(entriesIn(dir.path()), QStringList());
        QCOMPARE(image->size(), QSizeF(64, 64));
    }

    void failedWritesAreReportedAndOthersWritten_data()
    {
        QTest::addColumn<QString>("blocked"); // folder part of b.png and d.png, which cannot be written
        QTest::newRow("read-only folder") << "locked/";
        QTest::newRow("folder nobody may write") << "proc/";
        QTest::newRow("name taken by a folder") << "";
        QTest::newRow("parent is a file") << "plain/";
    }

    void failedWritesAreReportedAndOthersWritten()
    {
        QFETCH(QString, blocked);
        if (blocked == "locked/" && !foldersAreEnforced())
            QSKIP("Permission bits do not stop this user (root); \"folder nobody may write\" still runs");
        QTemporaryDir dir;
        QDir root(dir.path());
        const QString b = blocked + "b.png", d = blocked + "d.png", folder = dir.path() + '/';
        if (blocked.isEmpty())
            QVERIFY(root.mkdir(b) && root.mkdir(d));
        else if (blocked == "plain/")
            QVERIFY(QFile(folder + "plain").open(QIODevice::WriteOnly));
        else if (blocked == "proc/")
            QVERIFY(QFile::link("/proc", folder + "proc")); // takes no new file, not even from root
        else
            QVERIFY(root.mkdir(blocked) &&
                    QFile::setPermissions(folder + blocked, QFile::ReadOwner | QFile::ExeOwner));
        processor_.setAllImageSizes({square(16, 1, "a.png"), square(20, 1, b), square(24, 1, "c.png"),
                                     square(28, 1, d), square(32, 1, "e.png")});
        auto logger = std::make_shared<RecordingLogger>();
        Log::addLogger(logger);
        const auto removeLogger = qScopeGuard([&] { Log::removeLogger(logger); });

        Error error;
        QList<int> progress;
        const bool ok = processor_.resizeAndSaveImage(Image::fromQImage(artwork(256)), categories("101"),
                                                      dir.path(), &error, [&](int done, int total) {
                                                          QCOMPARE(total, 5);
                                                          QCOMPARE(QThread::currentThread(), thread());
                                                          progress.append(done);
                                                      });
        if (blocked == "locked/")
            QFile::setPermissions(folder + blocked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QVERIFY(!ok);
        QCOMPARE(progress, (QList<int>{1, 2, 3, 4, 5}));
        // The last failure is the one handed back.
        QVERIFY2(error.localizedDescription.contains("d.png"), qPrintable(error.localizedDescription));
        QVERIFY(!error.localizedDescription.contains("b.png"));
        for (const char* name : {"a.png", "c.png", "e.png"})
            QVERIFY(!pngHeader(readFile(folder + name)).isEmpty());
        // No temporary file anywhere.
        QCOMPARE(entriesIn(folder),
                 (blocked.isEmpty() ? QStringList{"a.png", "b.png", "c.png", "d.png", "e.png"}
                                    : QStringList{"a.png", "c.png", "e.png", blocked.chopped(1)}));
        if (blocked != "plain/" && blocked != "proc/") // procfs lists its own entries
            QCOMPARE(entriesIn(folder + (blocked.isEmpty() ? b : blocked)), QStringList());

        QStringList saving;
        for (const QString& name : {u"a.png"_s, b, u"c.png"_s, d, u"e.png"_s})
            saving << "Saving image to path: " + folder + name;
        QCOMPARE(logger->texts(LogFlagInfo, "ImageProcessor::resizeAndSaveImage"), saving);
        const QStringList errors = logger->texts(LogFlagError, "ImageProcessor::resizeAndSaveImage");
        QCOMPARE(errors.size(), 2);
        QVERIFY(errors[0].startsWith("Error saving image to path '" + folder + b + "' : "));
        QVERIFY(errors[1].startsWith("Error saving image to path '" + folder + d + "' : "));
    }

    void sharedFileNameHoldsLaterEntry_data()
    {
        QTest::addColumn<double>("first");
        QTest::addColumn<double>("second");
        QTest::newRow("small then large") << 29.0 << 512.0;
        QTest::newRow("large then small") << 512.0 << 29.0;
    }

    void sharedFileNameHoldsLaterEntry()
    {
        QFETCH(double, first);
        QFETCH(double, second);
        // Fillers between the two entries keep both cores busy so the order is really tested.
        QList<ImageSize> sizes{square(first, 2, "shared.png")};
        for (int i = 0; i < 8; ++i)
            sizes.append(square(100 + i, 2, u"filler-%1.png"_s.arg(i)));
        sizes.append(square(second, 2, "shared.png"));
        processor_.setAllImageSizes(sizes);
        const QString expected = u"%1x%1 8 6 0"_s.arg(int(second * 2));
        for (int round = 0; round < 5; ++round) {
            QTemporaryDir dir;
            QVERIFY(processor_.resizeAndSaveImage(Image::fromQImage(artwork(1024)), categories("101"),
                                                  dir.path()));
            QCOMPARE(pngHeader(readFile(dir.filePath(u"shared.png"_s))), expected);
            QCOMPARE(entriesIn(dir.path()).size(), 9);
        }
    }

    // Rendering leaves the caller's image as it was: its nominal size and its pixels (the window
    // and its observers hold the same image while saves run).
    void callersImageIsLeftAlone()
    {
        processor_.setAllImageSizes({square(29, 2, "a.png"), makeSize(nullptr, 60, 45, 2, "b.png", 101, 0.75),
                                     square(300, 1, "c.png")});
        QTemporaryDir dir;
        const QImage art = artwork(256);
        const ImagePtr image = Image::fromQImage(art);
        const QImage before = image->bitmap().copy();
        QVERIFY(processor_.resizeAndSaveImage(image, categories("101"), dir.path()));
        const QList<ImagePtr> icons = processor_.resizeImage(image, categories("101"));
        QCOMPARE(image->size(), QSizeF(256, 256));
        QCOMPARE(image->pixelSize(), QSize(256, 256));
        QCOMPARE(image->bitmap(), before);
        QCOMPARE((QList<QSizeF>{icons[0]->size(), icons[1]->size(), icons[2]->size()}),
                 (QList<QSizeF>{{58, 58}, {120, 90}, {300, 300}}));
        QCOMPARE(icons[1]->pixelSize(), QSize(120, 90));
    }

    // Red exactly over the rows each crop keeps (worked out by hand: the aspect times 1024 rows,
    // centred, widened to whole rows), lime everywhere else: no lime may reach the icon.
    void cropSurroundingsNeverBleedIn_data()
    {
        QTest::addColumn<double>("width");
        QTest::addColumn<double>("height");
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<int>("lastRow");
        QTest::newRow("67 x 50 at 2x: rows 129.91 to 894.09") << 67.0 << 50.0 << 2.0 << 129 << 894;
        QTest::newRow("74 x 55 at 2x: rows 131.46 to 892.54") << 74.0 << 55.0 << 2.0 << 131 << 892;
        QTest::newRow("27 x 20 at 2x: rows 132.74 to 891.26") << 27.0 << 20.0 << 2.0 << 132 << 891;
        QTest::newRow("27 x 20 at 3x") << 27.0 << 20.0 << 3.0 << 132 << 891;
        QTest::newRow("60 x 45 at 3x: rows 128 to 896, whole") << 60.0 << 45.0 << 3.0 << 128 << 895;
        QTest::newRow("1024 x 768 at 1x") << 1024.0 << 768.0 << 1.0 << 128 << 895;
    }

    void cropSurroundingsNeverBleedIn()
    {
        QFETCH(double, width);
        QFETCH(double, height);
        QFETCH(double, scale);
        QFETCH(int, firstRow);
        QFETCH(int, lastRow);
        QImage source(1024, 1024, QImage::Format_ARGB32);
        source.fill(QColor(0, 255, 0));
        QPainter(&source).fillRect(0, firstRow, 1024, lastRow - firstRow + 1, QColor(255, 0, 0));
        processor_.setAllImageSizes({makeSize(nullptr, width, height, scale, "m.png", 501, height / width)});
        QTemporaryDir dir;
        QVERIFY(processor_.resizeAndSaveImage(Image::fromQImage(source), categories("501"), dir.path()));
        const QImage icon = QImage(dir.filePath(u"m.png"_s)).convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(icon.size(), QSize(int(width * scale), int(height * scale)));
        for (int y = 0; y < icon.height(); ++y)
            for (int x = 0; x < icon.width(); ++x)
                QVERIFY2(icon.pixel(x, y) == qRgb(255, 0, 0),
                         qPrintable(u"pixel %1,%2 is %3"_s.arg(x).arg(y).arg(icon.pixel(x, y), 8, 16)));
    }

    // A file holds the same pixels as the size drawn on its own (opaque source: no rounding in
    // the PNG's straight alpha), whatever else the same save draws.
    void savedIconEqualsSizeDrawnAlone()
    {
        processor_.setAllImageSizes({square(512, 2, "big.png"), square(43.5, 2, "odd.png"),
                                     makeSize(nullptr, 67, 50, 2, "wide.png", 101, 50.0 / 67),
                                     square(10, 1, "tiny.png")});
        const ImagePtr image = Image::fromQImage(coordinatePattern(1100, 1100));
        QTemporaryDir dir;
        QVERIFY(processor_.resizeAndSaveImage(image, categories("101"), dir.path()));
        for (const ImageSize& size : processor_.allImageSizes()) {
            const ImagePtr from = size.cropAspect() != 0 ? processor_.croppedImage(image, size) : image;
            const QImage alone = from->renderedAtSize(QSizeF(size.pixelSize()))
                                     ->unscaledBitmapImageRep()
                                     .convertToFormat(QImage::Format_ARGB32);
            const QImage saved(dir.filePath(*size.fileName()));
            QVERIFY2(saved.convertToFormat(QImage::Format_ARGB32) == alone, qPrintable(*size.fileName()));
        }
    }

    // 17 x 17 one-unit cells on a 1024-point document: drawn from the vector at 17 pixels each cell
    // is exactly one black or white pixel; a 1024-pixel bitmap shrunk to 17 would blur them.
    void svgSourceIsDrawnFromTheVector()
    {
        processor_.setAllImageSizes({square(17, 1, "board.png")});
        const ImagePtr board = Image::fromFile(testData("checkerboard-17.svg"));
        QVERIFY(board && board->hasVector());
        QCOMPARE(board->pixelSize(), QSize(1024, 1024));
        QTemporaryDir dir;
        QVERIFY(processor_.resizeAndSaveImage(board, categories("101"), dir.path()));
        const QImage icon(dir.filePath(u"board.png"_s));
        QCOMPARE(icon.size(), QSize(17, 17));
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 17; ++x)
                QCOMPARE(icon.pixel(x, y),
                         (x + y) % 2 == 0 ? qRgba(0, 0, 0, 255) : qRgba(255, 255, 255, 255));
    }

    void pngEncoderRoundTrip_data()
    {
        QTest::addColumn<QImage>("image");
        auto noise = [](int w, int h, QImage::Format format) {
            QImage image(w, h, QImage::Format_ARGB32);
            QRandomGenerator random(w * 1000 + h);
            for (int y = 0; y < h; ++y)
                random.fillRange(reinterpret_cast<quint32*>(image.scanLine(y)), w);
            return image.convertToFormat(format); // premultiplied data made valid on the way
        };
        QImage clear(64, 64, QImage::Format_ARGB32_Premultiplied);
        clear.fill(Qt::transparent);
        QImage gray(33, 7, QImage::Format_Grayscale8);
        gray.fill(200);
        QTest::newRow("1 x 1 opaque") << QImage(disc(1, Qt::red, Qt::red));
        QTest::newRow("1 x 1 transparent") << clear.copy(0, 0, 1, 1);
        QTest::newRow("fully transparent") << clear;
        QTest::newRow("3 x 5 premultiplied noise") << noise(3, 5, QImage::Format_ARGB32_Premultiplied);
        QTest::newRow("97 x 61 premultiplied noise") << noise(97, 61, QImage::Format_ARGB32_Premultiplied);
        QTest::newRow("257 x 3 straight noise, colour under zero alpha")
            << noise(257, 3, QImage::Format_ARGB32);
        QTest::newRow("300 x 200 opaque noise") << noise(300, 200, QImage::Format_RGB32);
        QTest::newRow("2000 x 1 row") << noise(2000, 1, QImage::Format_RGBA8888);
        QTest::newRow("1 x 2000 column") << noise(1, 2000, QImage::Format_RGBA8888);
        QTest::newRow("artwork 181 x 181") << artwork(181);
        // Over 1 MiB of scanlines: strips compressed on several threads, joined into one stream.
        QTest::newRow("600 x 500 premultiplied noise, in strips")
            << noise(600, 500, QImage::Format_ARGB32_Premultiplied);
        QTest::newRow("artwork 1024 x 1024, in strips") << artwork(1024);
        QTest::newRow("110000 x 3 rows, a strip a row")
            << noise(110000, 3, QImage::Format_RGBA8888);
        QTest::newRow("grayscale is widened") << gray;
    }

    void pngEncoderRoundTrip()
    {
        QFETCH(QImage, image);
        const QByteArray png = PngWriter::encode(image);
        QCOMPARE(pngHeader(png), u"%1x%2 8 6 0"_s.arg(image.width()).arg(image.height()));
        QVERIFY(png.endsWith(QByteArray("\0\0\0\0IEND\xae\x42\x60\x82", 12)));

        const QImage decoded = QImage::fromData(png, "PNG");
        QCOMPARE(decoded.convertToFormat(QImage::Format_Alpha8),
                 image.convertToFormat(QImage::Format_Alpha8));
        // Colour under zero alpha is dropped; un-premultiplying may round by one, straight is exact.
        QImage expected = image.convertToFormat(QImage::Format_ARGB32);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                expected.setPixel(x, y, qAlpha(expected.pixel(x, y)) ? expected.pixel(x, y) : 0);
        const int tolerance = image.format() == QImage::Format_ARGB32_Premultiplied ? 1 : 0;
        QVERIFY(difference(decoded, expected, QImage::Format_ARGB32).first <= tolerance);
        QVERIFY(PngWriter::encode(QImage()).isEmpty());

        // Without alpha: colour type 2, the same straight colours, the alpha dropped.
        const QByteArray rgb = PngWriter::encode(image, 0, PngWriter::Channels::Rgb);
        QCOMPARE(pngHeader(rgb), u"%1x%2 8 2 0"_s.arg(image.width()).arg(image.height()));
        const QImage decodedRgb = QImage::fromData(rgb, "PNG");
        QVERIFY(!decodedRgb.hasAlphaChannel());
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                expected.setPixel(x, y, expected.pixel(x, y) | 0xff000000u);
        QVERIFY(difference(decodedRgb, expected, QImage::Format_ARGB32).first <= tolerance);
    }

    // Laid over an opaque colour as the rows are written: source over, rounded, alpha gone.
    void pngOverBackground_data()
    {
        QTest::addColumn<QRgb>("premultiplied");
        QTest::addColumn<QRgb>("background");
        QTest::addColumn<QRgb>("expected");
        QTest::newRow("opaque red over white")
            << qRgba(255, 0, 0, 255) << qRgb(255, 255, 255) << qRgb(255, 0, 0);
        QTest::newRow("transparent over #336699")
            << qRgba(0, 0, 0, 0) << qRgb(0x33, 0x66, 0x99) << qRgb(0x33, 0x66, 0x99);
        // Straight (255, 0, 0) at alpha 128: 255 x 128 + 255 x 127 = 65025 -> 255; 255 x 127 = 32385 -> 127.
        QTest::newRow("half red over white")
            << qRgba(128, 0, 0, 128) << qRgb(255, 255, 255) << qRgb(255, 127, 127);
        // Straight (0, 0, 255) at alpha 64 over black: 255 x 64 = 16320 -> 64; over #336699 the
        // background keeps 191/255 of 51, 102 and 153.
        QTest::newRow("quarter blue over black") << qRgba(0, 0, 64, 64) << qRgb(0, 0, 0) << qRgb(0, 0, 64);
        QTest::newRow("quarter blue over #336699")
            << qRgba(0, 0, 64, 64) << qRgb(0x33, 0x66, 0x99) << qRgb(38, 76, 179);
    }

    void pngOverBackground()
    {
        QFETCH(QRgb, premultiplied);
        QFETCH(QRgb, background);
        QFETCH(QRgb, expected);
        // Wide enough for the strips too (over 1 MiB of scanlines).
        for (const int width : {3, 700}) {
            QImage image(width, width == 3 ? 2 : 600, QImage::Format_ARGB32_Premultiplied);
            image.fill(premultiplied);
            const QByteArray png = PngWriter::encodeOver(image, QColor(background));
            QCOMPARE(pngHeader(png), u"%1x%2 8 2 0"_s.arg(image.width()).arg(image.height()));
            const QImage decoded = QImage::fromData(png, "PNG");
            QCOMPARE(decoded.pixel(0, 0), expected);
            QCOMPARE(decoded.pixel(width - 1, image.height() - 1), expected);
        }
    }

private:
    ImageProcessor processor_;
};

QTEST_MAIN(TestRender)
#include "tst_render.moc"
