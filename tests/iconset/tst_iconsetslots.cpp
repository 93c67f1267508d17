#include "helper_iconset.h"
#include "iconset/appearanceimages.h"
#include "iconset/iconsetslots.h"
#include "iconset/jsonreader.h"
#include "iconset/xcodejson.h"

#include <QTest>

using namespace iconfoundry;
using namespace helper;
using namespace Qt::StringLiterals;

namespace {

std::vector<JsonNode> imagesOf(const QByteArray& json)
{
    JsonNode root;
    if (!JsonReader::read(json, XcodeJSON::maxDepth, root))
        return {};
    return root.elements();
}

// "name WxH" of each size, and " crop A" / " dark" where they apply.
QStringList described(const QList<ImageSize>& sizes)
{
    QStringList lines;
    for (const ImageSize& size : sizes) {
        QString line = u"%1 %2x%3"_s.arg(size.fileName().value_or(QString()))
                           .arg(size.pixelSize().width())
                           .arg(size.pixelSize().height());
        if (size.cropAspect() != 0)
            line += u" crop %1"_s.arg(size.cropAspect());
        if (size.appearance())
            line += u" "_s + *size.appearance();
        lines.append(line);
    }
    return lines;
}

QList<ImageSize> catalogue()
{
    ImageSize single = makeSize("universal", 1024, 1024, 0, "AppIcon-Single-1024.png", 131, 0, "ios");
    ImageSize dark = single;
    dark.setFileName(u"AppIcon-Single-1024-Dark.png"_s);
    dark.setAppearance(u"dark"_s);
    return {makeSize("iphone", 20, 20, 2, "AppIcon-20@2x.png", 101),
            makeSize("iphone", 20, 20, 3, "AppIcon-20@3x.png", 101),
            makeSize("iphone", 40, 40, 2, "AppIcon-40@2x.png", 101),
            makeSize("ipad", 40, 40, 2, "AppIcon-40@2x.png", 111),
            single,
            dark};
}

} // namespace

class TestIconSetSlots : public QObject
{
    Q_OBJECT

private slots:
    void slotsOfSet_data()
    {
        QTest::addColumn<QByteArray>("images");
        QTest::addColumn<QStringList>("sizes");
        QTest::addColumn<int>("skipped");

        QTest::newRow("catalogue slots in the set's order, with the catalogue's names")
            << QByteArray(R"([{"idiom":"iphone","scale":"3x","size":"20x20"},
                              {"idiom":"universal","platform":"ios","size":"1024x1024"},
                              {"idiom":"iphone","scale":"2x","size":"20x20","filename":"Icon-40.png"}])")
            << QStringList{"AppIcon-20@3x.png 60x60", "AppIcon-Single-1024.png 1024x1024",
                           "AppIcon-20@2x.png 40x40"}
            << 0;
        QTest::newRow("a slot held twice counts once")
            << QByteArray(R"([{"idiom":"iphone","scale":"2x","size":"20x20"},
                              {"idiom":"iphone","scale":"2x","size":"20x20","filename":"b.png"}])")
            << QStringList{"AppIcon-20@2x.png 40x40"} << 0;
        QTest::newRow("the catalogue's dark slot")
            << QByteArray(R"([{"appearances":[{"appearance":"luminosity","value":"dark"}],
                               "idiom":"universal","platform":"ios","size":"1024x1024"}])")
            << QStringList{"AppIcon-Single-1024-Dark.png 1024x1024 dark"} << 0;
        QTest::newRow("slots the catalogue lacks are drawn from the entry")
            << QByteArray(R"([{"idiom":"car","scale":"3x","size":"60x60"},
                              {"appearances":[{"appearance":"luminosity","value":"tinted"}],
                               "idiom":"universal","platform":"watchos","size":"1024x1024"},
                              {"idiom":"iphone","scale":"2x","size":"60x45"},
                              {"idiom":"ipad","scale":"2x","size":"83.5x83.5"}])")
            << QStringList{"AppIcon-car-60x60@3x.png 180x180",
                           "AppIcon-universal-1024x1024-tinted.png 1024x1024 tinted",
                           "AppIcon-iphone-60x45@2x.png 120x90 crop 0.75",
                           "AppIcon-ipad-83.5x83.5@2x.png 167x167"}
            << 0;
        QTest::newRow("slots we cannot draw are left alone")
            << QByteArray(R"([{"appearances":[{"appearance":"contrast","value":"high"}],
                               "idiom":"iphone","scale":"2x","size":"20x20"},
                              {"idiom":"mac","scale":"2x","size":"1024x1024"},
                              {"idiom":"mac","scale":"two","size":"16x16"},
                              {"idiom":"mac","scale":"1x","size":"wide"},
                              {"idiom":"iphone","scale":"2x","size":"40x40"}])")
            << QStringList{"AppIcon-40@2x.png 80x80"} << 4;
        QTest::newRow("entries without a slot are not counted")
            << QByteArray(R"([{"idiom":"iphone","scale":"2x"}, {"size":"20x20","scale":"2x"}])")
            << QStringList() << 0;
    }

    void slotsOfSet()
    {
        QFETCH(QByteArray, images);
        QFETCH(QStringList, sizes);
        QFETCH(int, skipped);
        const IconSetSlots::Plan plan = IconSetSlots::slotsOfSet(imagesOf(images), catalogue());
        QCOMPARE(described(plan.sizes), sizes);
        QCOMPARE(plan.skipped.size(), skipped);
    }

    void keepFileNames_data()
    {
        QTest::addColumn<QByteArray>("images");
        QTest::addColumn<QStringList>("names"); // of the catalogue's first four sizes afterwards

        const QStringList ours{"AppIcon-20@2x.png", "AppIcon-20@3x.png", "AppIcon-40@2x.png",
                               "AppIcon-40@2x.png"};
        QTest::newRow("no set") << QByteArray("[]") << ours;
        QTest::newRow("the set's names are kept, one file for two slots of the same pixels")
            << QByteArray(
                   R"([{"filename":"Icon-App-20x20@2x.png","idiom":"iphone","scale":"2x","size":"20x20"},
                              {"filename":"Icon-80.png","idiom":"iphone","scale":"2x","size":"40x40"},
                              {"filename":"Icon-80.png","idiom":"ipad","scale":"2x","size":"40x40"}])")
            << QStringList{"Icon-App-20x20@2x.png", "AppIcon-20@3x.png", "Icon-80.png", "Icon-80.png"};
        QTest::newRow("one file for slots of different pixels: the later slot gets ours")
            << QByteArray(R"([{"filename":"Icon.png","idiom":"iphone","scale":"2x","size":"20x20"},
                              {"filename":"Icon.png","idiom":"iphone","scale":"3x","size":"20x20"}])")
            << QStringList{"Icon.png", "AppIcon-20@3x.png", "AppIcon-40@2x.png", "AppIcon-40@2x.png"};
        QTest::newRow("names outside the folder, hidden or not PNG are not kept")
            << QByteArray(R"([{"filename":"../Icon-40.png","idiom":"iphone","scale":"2x","size":"20x20"},
                              {"filename":".Icon-60.png","idiom":"iphone","scale":"3x","size":"20x20"},
                              {"filename":"Icon-80.jpg","idiom":"iphone","scale":"2x","size":"40x40"},
                              {"filename":"sub\\Icon-80.png","idiom":"ipad","scale":"2x","size":"40x40"}])")
            << ours;
        QTest::newRow("a dark entry's name is not the default slot's")
            << QByteArray(R"([{"appearances":[{"appearance":"luminosity","value":"dark"}],
                               "filename":"Dark-40.png","idiom":"iphone","scale":"2x","size":"20x20"}])")
            << ours;
    }

    void keepFileNames()
    {
        QFETCH(QByteArray, images);
        QFETCH(QStringList, names);
        QList<ImageSize> sizes = catalogue().mid(0, 4);
        IconSetSlots::keepFileNames(sizes, imagesOf(images));
        QStringList kept;
        for (const ImageSize& size : sizes)
            kept.append(size.fileName().value_or(QString()));
        QCOMPARE(kept, names);
    }

    // Luminance with the weights 54, 183 and 19 of 256, rounded; alpha kept.
    void tinted_data()
    {
        QTest::addColumn<QRgb>("colour");
        QTest::addColumn<QRgb>("grey");
        QTest::newRow("red") << qRgb(255, 0, 0) << qRgb(54, 54, 54);
        QTest::newRow("green") << qRgb(0, 255, 0) << qRgb(182, 182, 182);
        QTest::newRow("blue") << qRgb(0, 0, 255) << qRgb(19, 19, 19);
        QTest::newRow("white") << qRgb(255, 255, 255) << qRgb(255, 255, 255);
        QTest::newRow("transparent stays transparent") << qRgba(0, 0, 0, 0) << qRgba(0, 0, 0, 0);
    }

    void tinted()
    {
        QFETCH(QRgb, colour);
        QFETCH(QRgb, grey);
        QImage bitmap(4, 4, QImage::Format_ARGB32);
        bitmap.fill(colour);
        const ImagePtr source = Image::fromQImage(bitmap);
        const ImagePtr tinted = AppearanceImages::tinted(*source);
        QVERIFY(tinted);
        QCOMPARE(tinted->bitmap().convertToFormat(QImage::Format_ARGB32).pixel(2, 2), grey);
        QCOMPARE(AppearanceImages::hasTransparency(*source), qAlpha(colour) != 255);
    }
};

QTEST_GUILESS_MAIN(TestIconSetSlots)
#include "tst_iconsetslots.moc"
