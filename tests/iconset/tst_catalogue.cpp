#include "helper_iconset.h"
#include "iconset/defaultcategories.h"
#include "iconset/imageprocessor.h"
#include "platform/bundle.h"
#include "platform/texts.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <limits>

using namespace iconfoundry;

using namespace helper;
using namespace Qt::StringLiterals;

namespace {

QJsonObject json(const char* text)
{
    return QJsonDocument::fromJson(text).object();
}

QVariantMap map(const char* text)
{
    return json(text).toVariantMap();
}

// CBOR written as JSON text, for archives made by hand.
QCborValue cbor(const char* text)
{
    return QCborValue::fromJsonValue(QJsonDocument::fromJson(QByteArray("[") + text + ']').array().first());
}

QByteArray envelope(const QCborValue& root, const char* className = "ImageCategory", qint64 version = 1,
                    const char* format = "co.velmora.IconFoundry.archive")
{
    QCborMap map{{u"format"_s, QString::fromUtf8(format)},
                 {u"version"_s, version},
                 {u"class"_s, QString::fromUtf8(className)}};
    if (!root.isUndefined())
        map.insert(u"root"_s, root);
    return QCborValue(QCborKnownTags::Signature, map).toCbor();
}

} // namespace

class TestCatalogue : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The translations come from the build's resource folder beside the test executable.
        Bundle::setResourceDirectory({});
        QVERIFY2(Texts::installTranslations() >= 1, qPrintable(Bundle::resourceDirectory()));
    }

    void init()
    {
        logger_ = std::make_shared<RecordingLogger>();
        Log::addLogger(logger_);
        resources_ = std::make_unique<QTemporaryDir>();
    }

    void cleanup()
    {
        Log::flushLog();
        Log::removeLogger(logger_);
        Bundle::setResourceDirectory({});
        resources_.reset();
    }

    void sizeNumbers_data()
    {
        QTest::addColumn<QVariantMap>("dictionary");
        QTest::addColumn<QList<double>>("expected"); // width, height, scale, crop aspect

        const QList<double> zeros{0, 0, 0, 0};
        QTest::newRow("size beats width and height")
            << map(R"({"size":60,"width":10,"height":20})") << QList<double>{60, 60, 0, 0};
        QTest::newRow("size of zero still beats the sides")
            << map(R"({"size":0,"width":10,"height":20})") << zeros;
        QTest::newRow("width and height")
            << map(R"({"width":60,"height":45})") << QList<double>{60, 45, 0, 0};
        QTest::newRow("only a width") << map(R"({"width":27.5})") << QList<double>{27.5, 0, 0, 0};
        QTest::newRow("83.5 stays exact")
            << map(R"({"size":83.5,"scale":2})") << QList<double>{83.5, 83.5, 2, 0};
        QTest::newRow("0.1 has float rounding")
            << map(R"({"size":0.1,"cropAspect":0.75})") << QList<double>{double(0.1f), double(0.1f), 0, 0.75};
        QTest::newRow("absent keys") << QVariantMap() << zeros;
        QTest::newRow("size as text takes the leading number")
            << map(R"({"size":"60x45","scale":"3"})") << QList<double>{60, 60, 3, 0};
        QTest::newRow("text with blanks and a sign")
            << map(R"({"width":"  +27.5pt","height":"-2e1"})") << QList<double>{27.5, -20, 0, 0};
        QTest::newRow("text without a number, inf and nan")
            << map(R"({"width":"inf","height":"nan","scale":"big"})") << zeros;
        QTest::newRow("boolean scale") << map(R"({"scale":true})") << QList<double>{0, 0, 1, 0};
        QTest::newRow("too large for a float") << map(R"({"size":1e300})") << zeros;
        QTest::newRow("list and dictionary values") << map(R"({"size":[60],"scale":{"x":1}})") << zeros;
        QTest::newRow("large integer narrowed")
            << map(R"({"size":16777217})") << QList<double>{16777216, 16777216, 0, 0};
    }

    void sizeNumbers()
    {
        QFETCH(QVariantMap, dictionary);
        const ImageSize size(dictionary);
        QTEST((QList<double>{size.width(), size.height(), size.scale(), size.cropAspect()}), "expected");
    }

    void entry_data()
    {
        QTest::addColumn<QVariantMap>("dictionary");
        QTest::addColumn<QJsonObject>("expected");

        QTest::newRow("phone 60 at 3x")
            << map(R"({"idiom":"iphone","size":60,"scale":3,"filename":"a.png"})")
            << json(R"({"idiom":"iphone","size":"60x60","scale":"3x","filename":"a.png"})");
        QTest::newRow("fractional size") << map(R"({"idiom":"ipad","size":83.5,"scale":2})")
                                         << json(R"({"idiom":"ipad","size":"83.5x83.5","scale":"2x"})");
        QTest::newRow("precision per side")
            << map(R"({"width":83.5,"height":83})") << json(R"({"size":"83.5x83"})");
        QTest::newRow("precision per side, other way")
            << map(R"({"width":27,"height":20.5})") << json(R"({"size":"27x20.5"})");
        QTest::newRow("non-square with platform, no scale")
            << map(R"({"idiom":"ios-marketing","platform":"ios","width":1024,"height":768,"cropAspect":0.75})")
            << json(R"({"idiom":"ios-marketing","platform":"ios","size":"1024x768"})");
        QTest::newRow("texts, fileName key is lower-case")
            << map(R"({"idiom":"watch","platform":"watchos","fileName":"no.png","filename":"a.png","subtype":"38mm"})")
            << json(R"({"idiom":"watch","platform":"watchos","filename":"a.png","subtype":"38mm"})");
        QTest::newRow("empty texts stay present")
            << map(R"({"idiom":"","role":""})") << json(R"({"idiom":"","role":""})");
        QTest::newRow("texts of other kinds are absent")
            << map(R"({"idiom":1,"platform":true,"filename":["a.png"],"role":null})") << json("{}");
        QTest::newRow("width 0 drops the size") << map(R"({"width":0,"height":20})") << json("{}");
        QTest::newRow("height 0 drops the size")
            << map(R"({"width":20,"height":0,"scale":1})") << json(R"({"scale":"1x"})");
        QTest::newRow("scale 0 drops the scale")
            << map(R"({"size":20,"scale":0})") << json(R"({"size":"20x20"})");
        QTest::newRow("tenth keeps one decimal") << map(R"({"size":0.1})") << json(R"({"size":"0.1x0.1"})");
        QTest::newRow("scale rounds half to even") << map(R"({"scale":2.5})") << json(R"({"scale":"2x"})");
        QTest::newRow("role and subtype, never categories or crop")
            << map(R"({"idiom":"watch","size":40,"scale":2,"role":"appLauncher","subtype":"38mm",
                       "cropAspect":0.5,"categories":[301]})")
            << json(R"({"idiom":"watch","size":"40x40","scale":"2x","role":"appLauncher","subtype":"38mm"})");
    }

    void entry()
    {
        QFETCH(QVariantMap, dictionary);
        QTEST(ImageSize(dictionary).dictionary(), "expected");
    }

    void description_data()
    {
        QTest::addColumn<ImageSize>("size");
        QTest::addColumn<QString>("expected");

        QTest::newRow("no translation, 1x ends in a blank") << makeSize("idiom", 29, 29, 1) << "idiom 29pt ";
        QTest::newRow("translated idiom") << makeSize("iphone", 60, 60, 3) << "iPhone 60pt (@3x)";
        QTest::newRow("translated with platform")
            << makeSize("universal", 1024, 1024, 0, nullptr, 0, 0, "ios") << "Universal (ios) 1024pt ";
        QTest::newRow("non-square") << makeSize("iphone", 60, 45, 2) << "iPhone 60x45pt (@2x)";
        QTest::newRow("83.5 rounds to even") << makeSize("ipad", 83.5, 83.5, 2) << "iPad 84pt (@2x)";
        QTest::newRow("27.5 rounds to even") << makeSize("watch", 27.5, 27.5, 2) << "Apple Watch 28pt (@2x)";
        QTest::newRow("scale below 1 shows none") << makeSize("mac", 16, 16, 0.5) << "Mac 16pt ";
        QTest::newRow("watch marketing")
            << makeSize("watch-marketing", 1024, 1024, 1) << "Watch App Store 1024pt ";
        QTest::newRow("car") << makeSize("car", 60, 60, 2) << "CarPlay 60pt (@2x)";
        QTest::newRow("absent idiom") << makeSize(nullptr, 29, 29, 1) << "(null) 29pt ";
        QTest::newRow("idiom with dots is not a key path")
            << makeSize("Idiom.Description.iphone", 20, 20, 2) << "Idiom.Description.iphone 20pt (@2x)";
    }

    void description()
    {
        QFETCH(ImageSize, size);
        QTEST(size.description(), "expected");
    }

    void pixelSize_data()
    {
        QTest::addColumn<ImageSize>("size");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("83.5 at 2x") << makeSize({}, 83.5, 83.5, 2) << QSize(167, 167);
        QTest::newRow("83.5 at 1x truncates") << makeSize({}, 83.5, 83.5, 1) << QSize(83, 83);
        QTest::newRow("27 by 20 at 3x") << makeSize({}, 27, 20, 3) << QSize(81, 60);
        QTest::newRow("no scale is drawn at 1x") << makeSize({}, 1024, 1024, 0) << QSize(1024, 1024);
        QTest::newRow("negative gives nothing") << makeSize({}, -5, 10, 2) << QSize(0, 20);
        QTest::newRow("huge saturates")
            << makeSize({}, 3e9, 1, 1) << QSize(std::numeric_limits<int>::max(), 1);
    }

    void pixelSize()
    {
        QFETCH(ImageSize, size);
        QTEST(size.pixelSize(), "expected");
    }

    void categoryFromDictionary_data()
    {
        QTest::addColumn<QVariantMap>("dictionary");
        QTest::addColumn<qint64>("id");
        QTest::addColumn<QStringList>("texts"); // name, idiom; "-" = absent

        const QStringList none{"-", "-"};
        QTest::newRow("complete") << map(R"({"id":101,"name":"iPhone","idiom":"iphone"})") << qint64(101)
                                  << QStringList{"iPhone", "iphone"};
        QTest::newRow("absent keys") << QVariantMap() << qint64(0) << none;
        QTest::newRow("id as text") << map(R"({"id":" 111 iPad"})") << qint64(111) << none;
        QTest::newRow("id as real truncates") << map(R"({"id":121.9})") << qint64(121) << none;
        QTest::newRow("negative real id") << map(R"({"id":-3.7})") << qint64(-3) << none;
        QTest::newRow("id beyond 64 bits saturates")
            << map(R"({"id":"99999999999999999999"})") << std::numeric_limits<qint64>::max() << none;
        QTest::newRow("id as list, name of another kind")
            << map(R"({"id":[5],"name":7})") << qint64(0) << none;
    }

    void categoryFromDictionary()
    {
        QFETCH(QVariantMap, dictionary);
        const ImageCategory category(dictionary);
        QTEST(category.categoryId(), "id");
        QTEST((QStringList{category.name().value_or(u"-"_s), category.idiom().value_or(u"-"_s)}), "texts");
    }

    void membership_data()
    {
        QTest::addColumn<QVariantList>("sizeCategories");
        QTest::addColumn<QVariantList>("asked");
        QTest::addColumn<bool>("expected");

        const QVariantList id101{qint64(101)};
        QTest::newRow("integer") << id101 << id101 << true;
        QTest::newRow("second of two") << QVariantList{qint64(102), qint64(101)} << id101 << true;
        QTest::newRow("other id") << id101 << QVariantList{qint64(1010)} << false;
        QTest::newRow("stored as real") << QVariantList{101.0} << id101 << true;
        QTest::newRow("stored as real with fraction") << QVariantList{101.9} << id101 << true;
        QTest::newRow("stored as text") << QVariantList{"101"} << id101 << true;
        QTest::newRow("asked as text") << id101 << QVariantList{"101"} << true;
        QTest::newRow("no categories") << QVariantList{} << id101 << false;
        QTest::newRow("nothing asked") << id101 << QVariantList{} << false;
        QTest::newRow("stored dictionary")
            << QVariantList{QVariantMap{{"id", qint64(101)}}} << id101 << false;
        QTest::newRow("any of several")
            << QVariantList{qint64(501)} << QVariantList{qint64(101), qint64(111), qint64(501)} << true;
        QTest::newRow("none of several")
            << QVariantList{qint64(501)} << QVariantList{qint64(101), qint64(111)} << false;
    }

    void membership()
    {
        QFETCH(QVariantList, sizeCategories);
        QFETCH(QVariantList, asked);
        QFETCH(bool, expected);
        ImageSize size;
        size.setCategoryIds(sizeCategories);
        QCOMPARE(size.hasAnyCategoryId(asked), expected);

        QList<ImageCategory> categories;
        for (const QVariant& id : asked)
            categories.append(ImageCategory(QVariantMap{{"id", id}}));
        QCOMPARE(ImageProcessor().imageSize(size, categories), expected);
        if (asked.size() == 1)
            QCOMPARE(size.hasCategoryId(categories.first().categoryId()), expected);
    }

    void recordsFromResource_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("xml") << "sizes-edge-cases.plist";
        QTest::newRow("binary") << "sizes-edge-cases-binary.plist";
    }

    void recordsFromResource()
    {
        QFETCH(QString, file);
        QVERIFY(QFile::copy(testData(file), resources_->filePath("ImageSizes.plist")));
        Bundle::setResourceDirectory(resources_->path());

        ImageProcessor processor;
        const QList<ImageSize>& sizes = processor.allImageSizes();
        QCOMPARE(sizes.size(), 5);
        // File order, nothing sorted.
        QCOMPARE(sizes[0].dictionary(), json(R"({"idiom":"iphone","size":"60x60","scale":"3x",
                                                   "filename":"size-beats-sides.png"})"));
        QCOMPARE(sizes[1].dictionary(), json(R"({"idiom":"ipad","size":"83.5x83","scale":"2x",
                                                   "filename":"per-side.png"})"));
        QVERIFY(sizes[1].hasCategoryId(101) && sizes[1].hasCategoryId(111) && !sizes[1].hasCategoryId(121));
        QCOMPARE(sizes[2].dictionary(), json(R"({"filename":"nothing-else.png"})"));
        QVERIFY(!sizes[2].hasCategoryId(0));
        QCOMPARE((QList<double>{sizes[3].width(), sizes[3].height(), sizes[3].cropAspect()}),
                 (QList<double>{60, 60, 0.75}));
        QVERIFY(sizes[3].hasCategoryId(101));
        QCOMPARE(sizes[4].width(), double(0.1f));
        QCOMPARE(sizes[4].description(), u"Universal (ios) 0pt "_s);
        QVERIFY(!sizes[4].hasCategoryId(101));
        QVERIFY(logger_->texts(LogFlagError).isEmpty());
        QCOMPARE(&processor.allImageSizes(), &sizes); // loaded once, the same list on every call
    }

    // A missing or broken resource is logged once and leaves its list empty, never a crash.
    void badResource_data()
    {
        QTest::addColumn<bool>("sizes");   // ImageSizes.plist, else ImageCategories.plist
        QTest::addColumn<QString>("file"); // a fixture copied in, "folder" or "65 MiB"; empty: `content`
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("expected"); // %1 the resource's path; "..." at the end: the start

        const QString parseError = u"Error reading data from file '%1', error = '..."_s;
        QTest::newRow("sizes missing, a folder in their place")
            << true << "folder" << QByteArray() << "ERROR: File not found in bundle: ImageSizes.plist";
        QTest::newRow("categories missing")
            << false << "folder" << QByteArray() << "ERROR: File not found in bundle: ImageCategories.plist";
        QTest::newRow("too large to read (sparse, no disk used)")
            << false << "65 MiB" << QByteArray() << "ERROR: Could not load data from path: %1";
        QTest::newRow("truncated xml") << true << "sizes-truncated.plist" << QByteArray() << parseError;
        QTest::newRow("garbage binary") << true << "sizes-garbage-binary.plist" << QByteArray() << parseError;
        QTest::newRow("empty file") << true << QString() << QByteArray("") << parseError;
        QTest::newRow("root is a dictionary")
            << true << "sizes-root-dictionary.plist" << QByteArray()
            << "ERROR: ImageSizes.plist does not hold a list but a dictionary...";
        QTest::newRow("root is a string")
            << true << QString() << QByteArray("<plist><string>[]</string></plist>")
            << "ERROR: ImageSizes.plist does not hold a list but a string...";
        QTest::newRow("an element is not a dictionary")
            << true << "sizes-element-not-dictionary.plist" << QByteArray()
            << "ERROR: Element 1 of ImageSizes.plist is a string, not a dictionary...";
        QTest::newRow("an element is a list")
            << true << QString() << QByteArray("<plist><array><dict/><array/></array></plist>")
            << "ERROR: Element 1 of ImageSizes.plist is a list, not a dictionary...";
    }

    void badResource()
    {
        QFETCH(bool, sizes);
        QFETCH(QString, file);
        QFETCH(QByteArray, content);
        QFETCH(QString, expected);
        const QString path = resources_->filePath(sizes ? "ImageSizes.plist" : "ImageCategories.plist");
        QFile out(path);
        if (file == "folder")
            QVERIFY(QDir().mkdir(path));
        else if (file == "65 MiB")
            QVERIFY(out.open(QIODevice::WriteOnly) && out.resize(65 * 1024 * 1024));
        else if (file.isEmpty())
            QVERIFY(out.open(QIODevice::WriteOnly) && out.write(content) == content.size());
        else
            QVERIFY(QFile::copy(testData(file), path));
        out.close();
        Bundle::setResourceDirectory(resources_->path());

        ImageProcessor processor;
        for (int call = 0; call < 3; ++call)
            QVERIFY(sizes ? processor.allImageSizes().isEmpty() : processor.allImageCategories().isEmpty());
        const QStringList errors = logger_->texts(LogFlagError);
        QCOMPARE(errors.size(), 1);
        expected = expected.contains("%1") ? expected.arg(path) : expected;
        if (expected.endsWith("...")) // a start; what went wrong follows
            QVERIFY2(errors[0].startsWith(expected.chopped(3)) && errors[0].size() > expected.size(),
                     qPrintable(errors[0]));
        else
            QCOMPARE(errors[0], expected);
    }

    void categoryArchiveRoundTrip_data()
    {
        QTest::addColumn<QList<ImageCategory>>("categories");
        QTest::newRow("none") << QList<ImageCategory>{};
        QTest::newRow("catalogue order kept")
            << QList<ImageCategory>{ImageCategory(121, u"App Store"_s, u"ios-marketing"_s),
                                    ImageCategory(101, u"iPhone"_s, u"iphone"_s)};
        QTest::newRow("absent name and idiom, empty texts")
            << QList<ImageCategory>{ImageCategory(5, {}, {}), ImageCategory(0, QString(), QString())};
        QTest::newRow("extreme ids") << QList<ImageCategory>{
            ImageCategory(std::numeric_limits<qint64>::min(), u"ü☃"_s, {}),
            ImageCategory(std::numeric_limits<qint64>::max(), {}, u"x"_s)};
    }

    void categoryArchiveRoundTrip()
    {
        QFETCH(QList<ImageCategory>, categories);
        QCOMPARE(ImageCategory::unarchive(ImageCategory::archive(categories)), categories);
    }

    void sizeArchiveRoundTrip_data()
    {
        QTest::addColumn<QVariantMap>("dictionary");
        QTest::newRow("watch slot") << map(R"({"idiom":"watch","size":27.5,"scale":2,"filename":"w.png",
                                               "role":"notificationCenter","subtype":"42mm","categories":[301]})");
        QTest::newRow("crop and several categories") << map(
            R"({"idiom":"ipad","width":67,"height":50,"cropAspect":0.7462686567,"scale":2,"categories":[501,111]})");
        QTest::newRow("float rounding kept") << map(R"({"width":0.1,"height":83.5,"scale":0.1})");
        QTest::newRow("nothing") << QVariantMap();
    }

    void sizeArchiveRoundTrip()
    {
        QFETCH(QVariantMap, dictionary);
        ImageSize size(dictionary);
        size.setPlatform(u"ios"_s);
        const QByteArray archive = size.archive();
        // Numbers are written as single floats (0xfa and four bytes), never as doubles (0xfb).
        QVERIFY(!archive.contains(char(0xfb)));
        // The platform is left out of archives on purpose; everything else comes back.
        size.setPlatform(std::nullopt);
        QCOMPARE(ImageSize::unarchive(archive), size);
    }

    // The layout of an archive is part of the stored user defaults: one written by hand must read.
    void archiveWrittenByHandIsRead()
    {
        QCOMPARE(
            ImageCategory::unarchive(
                envelope(cbor(R"([{"id":111,"name":"iPad","idiom":"ipad","later":true},{"id":201}])"))),
            (QList<ImageCategory>{ImageCategory(111, u"iPad"_s, u"ipad"_s), ImageCategory(201, {}, {})}));
        const auto size = ImageSize::unarchive(envelope(cbor(R"({"idiom":"mac","width":512.0,"height":512,
            "scale":2.0,"filename":"m.png","platform":"macos","categories":[201]})"),
                                                        "ImageSize"));
        QVERIFY(size);
        QCOMPARE(size->dictionary(),
                 json(R"({"idiom":"mac","size":"512x512","scale":"2x","filename":"m.png"})"));
        QVERIFY(size->hasCategoryId(201));
    }

    void archiveRejectsForeignData_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<bool>("sizeArchive"); // read as a size archive, else as a category list
        const QCborValue good = cbor(R"([{"id":101}])");
        const QByteArray valid = envelope(good);
        QVERIFY(ImageCategory::unarchive(valid));

        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("text") << QByteArray("SelectedImageCategories") << false;
        QTest::newRow("bare cbor list") << good.toCbor() << false;
        QTest::newRow("untagged envelope") << valid.mid(3) << false;
        QTest::newRow("size archive") << ImageSize().archive() << false;
        QTest::newRow("other format") << envelope(good, "ImageCategory", 1, "other") << false;
        QTest::newRow("newer version") << envelope(good, "ImageCategory", 2) << false;
        QTest::newRow("version 0") << envelope(good, "ImageCategory", 0) << false;
        QTest::newRow("trailing byte") << valid + char(0) << false;
        QTest::newRow("cut short") << valid.chopped(1) << false;
        QTest::newRow("no root") << envelope(QCborValue()) << false;
        QTest::newRow("root is a map") << envelope(cbor(R"({"id":101})")) << false;
        QTest::newRow("element is a number") << envelope(cbor("[101]")) << false;
        QTest::newRow("id is text") << envelope(cbor(R"([{"id":"101"}])")) << false;
        QTest::newRow("id is real") << envelope(QCborArray{QCborMap{{u"id"_s, 101.0}}}) << false;
        QTest::newRow("name is a number") << envelope(cbor(R"([{"id":1,"name":3}])")) << false;
        QTest::newRow("deeply nested cbor") << QByteArray(100000, char(0x81)) + char(0x01) << false;

        QTest::newRow("size: category archive") << valid << true;
        QTest::newRow("size: root is a list") << envelope(cbor("[]"), "ImageSize") << true;
        QTest::newRow("size: width is text") << envelope(cbor(R"({"width":"60"})"), "ImageSize") << true;
        QTest::newRow("size: width not finite")
            << envelope(QCborMap{{u"width"_s, qInf()}}, "ImageSize") << true;
        QTest::newRow("size: width beyond a float")
            << envelope(cbor(R"({"width":1e300})"), "ImageSize") << true;
        QTest::newRow("size: categories not a list")
            << envelope(cbor(R"({"categories":101})"), "ImageSize") << true;
        QTest::newRow("size: category is text")
            << envelope(cbor(R"({"categories":["101"]})"), "ImageSize") << true;
        QTest::newRow("size: filename is data")
            << envelope(QCborMap{{u"filename"_s, QByteArray("a.png")}}, "ImageSize") << true;
    }

    void archiveRejectsForeignData()
    {
        QFETCH(QByteArray, data);
        QFETCH(bool, sizeArchive);
        QVERIFY(sizeArchive ? !ImageSize::unarchive(data) : !ImageCategory::unarchive(data));
    }

    void shippedCategory_data()
    {
        QTest::addColumn<ImageCategory>("category");
        // Its sizes in catalogue order: the entry's texts as present, then any crop aspect.
        QTest::addColumn<QString>("sizes");

        QTest::newRow("101")
            << ImageCategory(101, u"iPhone"_s, u"iphone"_s)
            << "iphone 20x20 2x; iphone 20x20 3x; iphone 29x29 2x; iphone 29x29 3x; iphone 40x40 2x; "
               "iphone 40x40 3x; iphone 60x60 2x; iphone 60x60 3x";
        QTest::newRow("102") << ImageCategory(102, u"iPhone, iOS 6 and older"_s, u"iphone"_s)
                             << "iphone 29x29 1x; iphone 57x57 1x; iphone 57x57 2x";
        QTest::newRow("111")
            << ImageCategory(111, u"iPad"_s, u"ipad"_s)
            << "ipad 20x20 1x; ipad 20x20 2x; ipad 29x29 1x; ipad 29x29 2x; ipad 40x40 1x; ipad 40x40 2x; "
               "ipad 76x76 1x; ipad 76x76 2x; ipad 83.5x83.5 2x";
        QTest::newRow("112") << ImageCategory(112, u"iPad, iOS 6 and older"_s, u"ipad"_s)
                             << "ipad 50x50 1x; ipad 50x50 2x; ipad 72x72 1x; ipad 72x72 2x";
        QTest::newRow("121") << ImageCategory(121, u"App Store"_s, u"ios-marketing"_s)
                             << "ios-marketing 1024x1024 1x opaque";
        QTest::newRow("131") << ImageCategory(131, u"iOS single size, Xcode 14 and later"_s, u"universal"_s)
                             << "universal ios 1024x1024 opaque";
        // Only the default appearance is a store icon; dark and tinted keep their alpha.
        QTest::newRow("132")
            << ImageCategory(132, u"iOS single size with dark and tinted, Xcode 16 and later"_s,
                             u"universal"_s)
            << "universal ios 1024x1024 opaque; universal ios 1024x1024; universal ios 1024x1024";
        QTest::newRow("302") << ImageCategory(302, u"watchOS single size, Xcode 14 and later"_s,
                                              u"universal"_s)
                             << "universal watchos 1024x1024 opaque";
        QTest::newRow("201")
            << ImageCategory(201, u"Mac"_s, u"mac"_s)
            << "mac 16x16 1x; mac 16x16 2x; mac 32x32 1x; mac 32x32 2x; mac 128x128 1x; mac 128x128 2x; "
               "mac 256x256 1x; mac 256x256 2x; mac 512x512 1x; mac 512x512 2x";
        QTest::newRow("301")
            << ImageCategory(301, u"Apple Watch"_s, u"watch"_s)
            << "watch 24x24 2x notificationCenter 38mm; watch 27.5x27.5 2x notificationCenter 42mm; "
               "watch 29x29 2x companionSettings; watch 29x29 3x companionSettings; "
               "watch 33x33 2x notificationCenter 45mm; watch 40x40 2x appLauncher 38mm; "
               "watch 44x44 2x appLauncher 40mm; watch 46x46 2x appLauncher 41mm; "
               "watch 50x50 2x appLauncher 44mm; watch 51x51 2x appLauncher 45mm; "
               "watch 54x54 2x appLauncher 49mm; watch 86x86 2x quickLook 38mm; "
               "watch 98x98 2x quickLook 42mm; watch 108x108 2x quickLook 44mm; "
               "watch 117x117 2x quickLook 45mm; watch 129x129 2x quickLook 49mm; "
               "watch-marketing 1024x1024 1x opaque";
        QTest::newRow("401") << ImageCategory(401, u"CarPlay"_s, u"car"_s) << "car 60x60 2x; car 60x60 3x";
        QTest::newRow("501")
            << ImageCategory(501, u"Messages"_s, u"universal"_s)
            << "iphone 29x29 2x; iphone 29x29 3x; iphone 60x45 2x 0.75; iphone 60x45 3x 0.75; ipad 29x29 2x; "
               "ipad 67x50 2x 0.746; ipad 74x55 2x 0.743; universal ios 27x20 2x 0.741; "
               "universal ios 27x20 3x 0.741; universal ios 32x24 2x 0.75; universal ios 32x24 3x 0.75; "
               "ios-marketing 1024x1024 1x opaque; ios-marketing ios 1024x768 1x 0.75 opaque";
    }

    void shippedCategory()
    {
        QFETCH(ImageCategory, category);
        ImageProcessor processor;
        QVERIFY(processor.allImageCategories().contains(category));
        QStringList sizes;
        for (const ImageSize& size : processor.allImageSizes()) {
            if (!size.hasCategoryId(category.categoryId()))
                continue;
            const QJsonObject entry = size.dictionary();
            QStringList parts;
            for (const char* key : {"idiom", "platform", "size", "scale", "role", "subtype"}) {
                if (entry.contains(QLatin1String(key)))
                    parts.append(entry.value(QLatin1String(key)).toString());
            }
            if (size.cropAspect() != 0)
                parts.append(QString::number(size.cropAspect(), 'g', 3));
            if (size.needsOpaquePixels())
                parts.append(u"opaque"_s); // a store icon: written without alpha
            sizes.append(parts.join(QLatin1Char(' ')));
        }
        QTEST(sizes.join(u"; "_s), "sizes");
        QVERIFY(logger_->texts(LogFlagError).isEmpty());
    }

    // What the per-category rows cannot see: nothing else in the lists, and file names.
    void shippedCatalogue()
    {
        ImageProcessor processor;
        QList<qint64> ids;
        for (const ImageCategory& category : processor.allImageCategories())
            ids.append(category.categoryId());
        QCOMPARE(ids, (QList<qint64>{101, 102, 111, 112, 121, 131, 132, 133, 201, 301, 302, 401, 501}));
        QCOMPARE(processor.allImageSizes().size(), 86);

        QHash<QString, QPair<QSize, double>> byName;
        for (const ImageSize& size : processor.allImageSizes()) {
            // Only the single-size iOS icon belongs to more than one layout.
            QCOMPARE(size.categoryIds().size(),
                     size.fileName() == QLatin1String("AppIcon-Single-1024.png") ? 3 : 1);
            const QString name = size.fileName().value_or(QString());
            QVERIFY2(name.endsWith(".png") && !name.contains('/') && !name.contains(' '), qPrintable(name));
            const QPair<QSize, double> content{size.pixelSize(),
                                               size.cropAspect() + (size.needsOpaquePixels() ? 100 : 0)};
            QVERIFY2(byName.value(name, content) == content,
                     qPrintable(name + " names two different images"));
            byName.insert(name, content);
        }
        // Same points and scale share a file across idioms: iPad 20@2x, 29@2x, 40@2x and 29@1x,
        // CarPlay's two with the phone's, and Messages' pad 29@2x with its phone one: 7 shared.
        // The iOS all-sizes layout shares 10 of its 15 with the phone and pad files; its 38@2x,
        // 38@3x, 64@2x, 64@3x and 68@2x are new, as are the dark, tinted and watchOS single sizes.
        QCOMPARE(byName.size(), 69);
        QCOMPARE(byName.value(u"AppIcon-83.5@2x.png"_s).first, QSize(167, 167));
        QCOMPARE(byName.value(u"AppIcon-Mac-512@2x.png"_s).first, QSize(1024, 1024));
        QCOMPARE(byName.value(u"AppIcon-Watch-27.5@2x.png"_s).first, QSize(55, 55));
        QCOMPARE(byName.value(u"Messages-27x20@3x.png"_s).first, QSize(81, 60));
    }

    void defaultCategories()
    {
        // Unknown ids are skipped; the catalogue's order wins over the defaults' order.
        const QList<ImageCategory> partial{ImageCategory(121, {}, {}), ImageCategory(999, {}, {}),
                                           ImageCategory(101, {}, {})};
        QCOMPARE(DefaultCategories::fromCatalogue(partial), (QList<ImageCategory>{partial[0], partial[2]}));
        const QList<ImageCategory> all =
            ImageProcessor().allImageCategories(); // 101, 102, 111, 112, 121, ...
        QCOMPARE(DefaultCategories::fromCatalogue(all), (QList<ImageCategory>{all[0], all[2], all[4]}));
    }

private:
    std::shared_ptr<RecordingLogger> logger_;
    std::unique_ptr<QTemporaryDir> resources_;
};

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
