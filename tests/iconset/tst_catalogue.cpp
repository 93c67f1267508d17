#include "iconset/defaultcategories.h"
#include "iconset/imagecategory.h"
#include "iconset/imageprocessor.h"
#include "iconset/imagesize.h"
#include "logging/log.h"
#include "logging/logger.h"
#include "platform/bundle.h"
#include "platform/texts.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <limits>
#include <mutex>
#include <vector>

namespace {

// Records every message it is handed; the dispatcher calls it on its own queue.
class RecordingLogger : public Logger
{
public:
    struct Entry
    {
        unsigned flag;
        QString function;
        QString message;
    };

    void logMessage(const LogMessage& message) override
    {
        std::lock_guard lock(mutex_);
        entries_.push_back({message.flag(), QString::fromStdString(message.function()),
                            QString::fromStdString(message.message())});
    }

    std::vector<Entry> errors() const
    {
        std::lock_guard lock(mutex_);
        std::vector<Entry> result;
        for (const Entry& entry : entries_) {
            if (entry.flag == LogFlagError)
                result.push_back(entry);
        }
        return result;
    }

private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

QString testData(const QString& name)
{
    return qEnvironmentVariable("ICONFOUNDRY_TEST_DATA") + QLatin1Char('/') + name;
}

QJsonObject json(const char* text)
{
    return QJsonDocument::fromJson(text).object();
}

ImageSize makeSize(std::optional<QString> idiom, std::optional<QString> platform, double width, double height,
                   double scale)
{
    ImageSize size;
    size.setIdiom(std::move(idiom));
    size.setPlatform(std::move(platform));
    size.setWidth(width);
    size.setHeight(height);
    size.setScale(scale);
    return size;
}

QByteArray envelope(const QCborValue& root, const QString& className = QStringLiteral("ImageCategory"),
                    qint64 version = 1,
                    const QString& format = QStringLiteral("co.velmora.IconFoundry.archive"))
{
    QCborMap map;
    map.insert(QStringLiteral("format"), format);
    map.insert(QStringLiteral("version"), version);
    map.insert(QStringLiteral("class"), className);
    map.insert(QStringLiteral("root"), root);
    return QCborValue(QCborKnownTags::Signature, map).toCbor();
}

// One slot of the asset-catalogue reference, as the shipped catalogue must hold it.
struct Slot
{
    qint64 category;
    const char* idiom;
    const char* platform; // nullptr: none
    const char* size;
    const char* scale; // nullptr: no scale key
    const char* role;
    const char* subtype;
    int pixelWidth;
    int pixelHeight;
    double cropAspect;
};

const Slot kReference[] = {
    {101, "iphone", nullptr, "20x20", "2x", nullptr, nullptr, 40, 40, 0},
    {101, "iphone", nullptr, "20x20", "3x", nullptr, nullptr, 60, 60, 0},
    {101, "iphone", nullptr, "29x29", "2x", nullptr, nullptr, 58, 58, 0},
    {101, "iphone", nullptr, "29x29", "3x", nullptr, nullptr, 87, 87, 0},
    {101, "iphone", nullptr, "40x40", "2x", nullptr, nullptr, 80, 80, 0},
    {101, "iphone", nullptr, "40x40", "3x", nullptr, nullptr, 120, 120, 0},
    {101, "iphone", nullptr, "60x60", "2x", nullptr, nullptr, 120, 120, 0},
    {101, "iphone", nullptr, "60x60", "3x", nullptr, nullptr, 180, 180, 0},
    {102, "iphone", nullptr, "29x29", "1x", nullptr, nullptr, 29, 29, 0},
    {102, "iphone", nullptr, "57x57", "1x", nullptr, nullptr, 57, 57, 0},
    {102, "iphone", nullptr, "57x57", "2x", nullptr, nullptr, 114, 114, 0},
    {111, "ipad", nullptr, "20x20", "1x", nullptr, nullptr, 20, 20, 0},
    {111, "ipad", nullptr, "20x20", "2x", nullptr, nullptr, 40, 40, 0},
    {111, "ipad", nullptr, "29x29", "1x", nullptr, nullptr, 29, 29, 0},
    {111, "ipad", nullptr, "29x29", "2x", nullptr, nullptr, 58, 58, 0},
    {111, "ipad", nullptr, "40x40", "1x", nullptr, nullptr, 40, 40, 0},
    {111, "ipad", nullptr, "40x40", "2x", nullptr, nullptr, 80, 80, 0},
    {111, "ipad", nullptr, "76x76", "1x", nullptr, nullptr, 76, 76, 0},
    {111, "ipad", nullptr, "76x76", "2x", nullptr, nullptr, 152, 152, 0},
    {111, "ipad", nullptr, "83.5x83.5", "2x", nullptr, nullptr, 167, 167, 0},
    {112, "ipad", nullptr, "50x50", "1x", nullptr, nullptr, 50, 50, 0},
    {112, "ipad", nullptr, "50x50", "2x", nullptr, nullptr, 100, 100, 0},
    {112, "ipad", nullptr, "72x72", "1x", nullptr, nullptr, 72, 72, 0},
    {112, "ipad", nullptr, "72x72", "2x", nullptr, nullptr, 144, 144, 0},
    {121, "ios-marketing", nullptr, "1024x1024", "1x", nullptr, nullptr, 1024, 1024, 0},
    {131, "universal", "ios", "1024x1024", nullptr, nullptr, nullptr, 1024, 1024, 0},
    {201, "mac", nullptr, "16x16", "1x", nullptr, nullptr, 16, 16, 0},
    {201, "mac", nullptr, "16x16", "2x", nullptr, nullptr, 32, 32, 0},
    {201, "mac", nullptr, "32x32", "1x", nullptr, nullptr, 32, 32, 0},
    {201, "mac", nullptr, "32x32", "2x", nullptr, nullptr, 64, 64, 0},
    {201, "mac", nullptr, "128x128", "1x", nullptr, nullptr, 128, 128, 0},
    {201, "mac", nullptr, "128x128", "2x", nullptr, nullptr, 256, 256, 0},
    {201, "mac", nullptr, "256x256", "1x", nullptr, nullptr, 256, 256, 0},
    {201, "mac", nullptr, "256x256", "2x", nullptr, nullptr, 512, 512, 0},
    {201, "mac", nullptr, "512x512", "1x", nullptr, nullptr, 512, 512, 0},
    {201, "mac", nullptr, "512x512", "2x", nullptr, nullptr, 1024, 1024, 0},
    {301, "watch", nullptr, "24x24", "2x", "notificationCenter", "38mm", 48, 48, 0},
    {301, "watch", nullptr, "27.5x27.5", "2x", "notificationCenter", "42mm", 55, 55, 0},
    {301, "watch", nullptr, "29x29", "2x", "companionSettings", nullptr, 58, 58, 0},
    {301, "watch", nullptr, "29x29", "3x", "companionSettings", nullptr, 87, 87, 0},
    {301, "watch", nullptr, "33x33", "2x", "notificationCenter", "45mm", 66, 66, 0},
    {301, "watch", nullptr, "40x40", "2x", "appLauncher", "38mm", 80, 80, 0},
    {301, "watch", nullptr, "44x44", "2x", "appLauncher", "40mm", 88, 88, 0},
    {301, "watch", nullptr, "46x46", "2x", "appLauncher", "41mm", 92, 92, 0},
    {301, "watch", nullptr, "50x50", "2x", "appLauncher", "44mm", 100, 100, 0},
    {301, "watch", nullptr, "51x51", "2x", "appLauncher", "45mm", 102, 102, 0},
    {301, "watch", nullptr, "54x54", "2x", "appLauncher", "49mm", 108, 108, 0},
    {301, "watch", nullptr, "86x86", "2x", "quickLook", "38mm", 172, 172, 0},
    {301, "watch", nullptr, "98x98", "2x", "quickLook", "42mm", 196, 196, 0},
    {301, "watch", nullptr, "108x108", "2x", "quickLook", "44mm", 216, 216, 0},
    {301, "watch", nullptr, "117x117", "2x", "quickLook", "45mm", 234, 234, 0},
    {301, "watch", nullptr, "129x129", "2x", "quickLook", "49mm", 258, 258, 0},
    {301, "watch-marketing", nullptr, "1024x1024", "1x", nullptr, nullptr, 1024, 1024, 0},
    {401, "car", nullptr, "60x60", "2x", nullptr, nullptr, 120, 120, 0},
    {401, "car", nullptr, "60x60", "3x", nullptr, nullptr, 180, 180, 0},
    {501, "iphone", nullptr, "29x29", "2x", nullptr, nullptr, 58, 58, 0},
    {501, "iphone", nullptr, "29x29", "3x", nullptr, nullptr, 87, 87, 0},
    {501, "iphone", nullptr, "60x45", "2x", nullptr, nullptr, 120, 90, 0.75},
    {501, "iphone", nullptr, "60x45", "3x", nullptr, nullptr, 180, 135, 0.75},
    {501, "ipad", nullptr, "29x29", "2x", nullptr, nullptr, 58, 58, 0},
    {501, "ipad", nullptr, "67x50", "2x", nullptr, nullptr, 134, 100, 50.0 / 67.0},
    {501, "ipad", nullptr, "74x55", "2x", nullptr, nullptr, 148, 110, 55.0 / 74.0},
    {501, "universal", "ios", "27x20", "2x", nullptr, nullptr, 54, 40, 20.0 / 27.0},
    {501, "universal", "ios", "27x20", "3x", nullptr, nullptr, 81, 60, 20.0 / 27.0},
    {501, "universal", "ios", "32x24", "2x", nullptr, nullptr, 64, 48, 0.75},
    {501, "universal", "ios", "32x24", "3x", nullptr, nullptr, 96, 72, 0.75},
    {501, "ios-marketing", nullptr, "1024x1024", "1x", nullptr, nullptr, 1024, 1024, 0},
    {501, "ios-marketing", "ios", "1024x768", "1x", nullptr, nullptr, 1024, 768, 0.75},
};

QJsonObject slotEntry(const Slot& slot)
{
    QJsonObject entry;
    entry.insert(QStringLiteral("idiom"), QLatin1String(slot.idiom));
    if (slot.platform)
        entry.insert(QStringLiteral("platform"), QLatin1String(slot.platform));
    entry.insert(QStringLiteral("size"), QLatin1String(slot.size));
    if (slot.scale)
        entry.insert(QStringLiteral("scale"), QLatin1String(slot.scale));
    if (slot.role)
        entry.insert(QStringLiteral("role"), QLatin1String(slot.role));
    if (slot.subtype)
        entry.insert(QStringLiteral("subtype"), QLatin1String(slot.subtype));
    return entry;
}

} // namespace

class TestCatalogue : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void sizeNumbers_data();
    void sizeNumbers();
    void sizeTexts_data();
    void sizeTexts();
    void entry_data();
    void entry();
    void description_data();
    void description();
    void pixelSize_data();
    void pixelSize();
    void categoryFromDictionary_data();
    void categoryFromDictionary();
    void membership_data();
    void membership();

    void recordsFromResource_data();
    void recordsFromResource();
    void missingResourceLoggedOnce_data();
    void missingResourceLoggedOnce();
    void badResource_data();
    void badResource();
    void unreadableResource();
    void settersReplaceWithoutLoading();

    void categoryArchiveRoundTrip_data();
    void categoryArchiveRoundTrip();
    void sizeArchiveRoundTrip_data();
    void sizeArchiveRoundTrip();
    void sizeArchiveUsesSingleFloats();
    void archiveWrittenByHandIsRead();
    void categoryArchiveRejectsForeignData_data();
    void categoryArchiveRejectsForeignData();
    void sizeArchiveRejectsForeignData_data();
    void sizeArchiveRejectsForeignData();

    void shippedCategories();
    void shippedSizesMatchReference();
    void shippedFileNamesNeverCollide();
    void shippedIdiomsAreTranslated();
    void defaultCategories();

private:
    std::shared_ptr<RecordingLogger> logger_;
    std::unique_ptr<QTemporaryDir> resources_;
};

void TestCatalogue::initTestCase()
{
    // The translations come from the build's resource folder beside the test executable.
    Bundle::setResourceDirectory({});
    QVERIFY2(Texts::installTranslations() >= 1, qPrintable(Bundle::resourceDirectory()));
    QCOMPARE(Texts::text("ImageSize.Idiom.Description.iphone"), QStringLiteral("iPhone"));
}

void TestCatalogue::init()
{
    logger_ = std::make_shared<RecordingLogger>();
    Log::addLogger(logger_);
    resources_ = std::make_unique<QTemporaryDir>();
    QVERIFY(resources_->isValid());
}

void TestCatalogue::cleanup()
{
    Log::flushLog();
    Log::removeLogger(logger_);
    logger_.reset();
    Bundle::setResourceDirectory({});
    resources_.reset();
}

// --- reading records ------------------------------------------------------------------------

void TestCatalogue::sizeNumbers_data()
{
    QTest::addColumn<QVariantMap>("dictionary");
    QTest::addColumn<double>("width");
    QTest::addColumn<double>("height");
    QTest::addColumn<double>("scale");
    QTest::addColumn<double>("cropAspect");

    QTest::newRow("size beats width and height")
        << QVariantMap{{"size", qint64(60)}, {"width", qint64(10)}, {"height", qint64(20)}} << 60.0 << 60.0
        << 0.0 << 0.0;
    QTest::newRow("size of zero still beats the sides")
        << QVariantMap{{"size", qint64(0)}, {"width", qint64(10)}, {"height", qint64(20)}} << 0.0 << 0.0
        << 0.0 << 0.0;
    QTest::newRow("width and height")
        << QVariantMap{{"width", qint64(60)}, {"height", qint64(45)}} << 60.0 << 45.0 << 0.0 << 0.0;
    QTest::newRow("only a width") << QVariantMap{{"width", 27.5}} << 27.5 << 0.0 << 0.0 << 0.0;
    QTest::newRow("83.5 stays exact")
        << QVariantMap{{"size", 83.5}, {"scale", qint64(2)}} << 83.5 << 83.5 << 2.0 << 0.0;
    QTest::newRow("0.1 has float rounding")
        << QVariantMap{{"size", 0.1}} << double(0.1f) << double(0.1f) << 0.0 << 0.0;
    QTest::newRow("crop aspect 0.75 exact") << QVariantMap{{"cropAspect", 0.75}} << 0.0 << 0.0 << 0.0 << 0.75;
    QTest::newRow("crop aspect 50/67 as float")
        << QVariantMap{{"cropAspect", 50.0 / 67.0}} << 0.0 << 0.0 << 0.0 << double(float(50.0 / 67.0));
    QTest::newRow("absent keys") << QVariantMap{} << 0.0 << 0.0 << 0.0 << 0.0;
    QTest::newRow("size as text takes the leading number")
        << QVariantMap{{"size", "60x45"}, {"scale", "3"}} << 60.0 << 60.0 << 3.0 << 0.0;
    QTest::newRow("text with blanks and a sign")
        << QVariantMap{{"width", "  +27.5pt"}, {"height", "-2e1"}} << 27.5 << -20.0 << 0.0 << 0.0;
    QTest::newRow("text without a number")
        << QVariantMap{{"size", "big"}, {"scale", ""}} << 0.0 << 0.0 << 0.0 << 0.0;
    QTest::newRow("text inf and nan")
        << QVariantMap{{"width", "inf"}, {"height", "nan"}} << 0.0 << 0.0 << 0.0 << 0.0;
    QTest::newRow("boolean scale") << QVariantMap{{"scale", true}} << 0.0 << 0.0 << 1.0 << 0.0;
    QTest::newRow("too large for a float") << QVariantMap{{"size", 1e300}} << 0.0 << 0.0 << 0.0 << 0.0;
    QTest::newRow("list and dictionary values")
        << QVariantMap{{"size", QVariantList{qint64(60)}}, {"scale", QVariantMap{{"x", 1}}}} << 0.0 << 0.0
        << 0.0 << 0.0;
    QTest::newRow("large integer narrowed")
        << QVariantMap{{"size", qint64(16777217)}} << 16777216.0 << 16777216.0 << 0.0 << 0.0;
}

void TestCatalogue::sizeNumbers()
{
    QFETCH(QVariantMap, dictionary);
    const ImageSize size(dictionary);
    QTEST(size.width(), "width");
    QTEST(size.height(), "height");
    QTEST(size.scale(), "scale");
    QTEST(size.cropAspect(), "cropAspect");
}

void TestCatalogue::sizeTexts_data()
{
    QTest::addColumn<QVariantMap>("dictionary");
    QTest::addColumn<QStringList>("expected"); // idiom, platform, filename, role, subtype; "-" = absent

    QTest::newRow("all present") << QVariantMap{{"idiom", "watch"},
                                                {"platform", "watchos"},
                                                {"filename", "a.png"},
                                                {"role", "quickLook"},
                                                {"subtype", "38mm"}}
                                 << QStringList{"watch", "watchos", "a.png", "quickLook", "38mm"};
    QTest::newRow("all absent") << QVariantMap{} << QStringList{"-", "-", "-", "-", "-"};
    QTest::newRow("fileName key is lower-case")
        << QVariantMap{{"fileName", "wrong.png"}, {"filename", "right.png"}}
        << QStringList{"-", "-", "right.png", "-", "-"};
    QTest::newRow("empty strings stay present")
        << QVariantMap{{"idiom", ""}, {"role", ""}} << QStringList{"", "-", "-", "", "-"};
    QTest::newRow("values of other kinds are absent")
        << QVariantMap{{"idiom", qint64(1)}, {"platform", true}, {"filename", QVariantList{"a.png"}}}
        << QStringList{"-", "-", "-", "-", "-"};
}

void TestCatalogue::sizeTexts()
{
    QFETCH(QVariantMap, dictionary);
    QFETCH(QStringList, expected);
    const ImageSize size(dictionary);
    auto show = [](const std::optional<QString>& value) { return value ? *value : QStringLiteral("-"); };
    QCOMPARE((QStringList{show(size.idiom()), show(size.platform()), show(size.fileName()), show(size.role()),
                          show(size.subtype())}),
             expected);
}

void TestCatalogue::entry_data()
{
    QTest::addColumn<QVariantMap>("dictionary");
    QTest::addColumn<QJsonObject>("expected");

    QTest::newRow("phone 60 at 3x")
        << QVariantMap{{"idiom", "iphone"}, {"size", qint64(60)}, {"scale", qint64(3)}, {"filename", "a.png"}}
        << json(R"({"idiom":"iphone","size":"60x60","scale":"3x","filename":"a.png"})");
    QTest::newRow("fractional size") << QVariantMap{{"idiom", "ipad"}, {"size", 83.5}, {"scale", qint64(2)}}
                                     << json(R"({"idiom":"ipad","size":"83.5x83.5","scale":"2x"})");
    QTest::newRow("precision per side")
        << QVariantMap{{"width", 83.5}, {"height", qint64(83)}} << json(R"({"size":"83.5x83"})");
    QTest::newRow("precision per side, other way")
        << QVariantMap{{"width", qint64(27)}, {"height", 20.5}} << json(R"({"size":"27x20.5"})");
    QTest::newRow("non-square with platform, no scale")
        << QVariantMap{{"idiom", "ios-marketing"},
                       {"platform", "ios"},
                       {"width", qint64(1024)},
                       {"height", qint64(768)},
                       {"cropAspect", 0.75}}
        << json(R"({"idiom":"ios-marketing","platform":"ios","size":"1024x768"})");
    QTest::newRow("width 0 drops the size")
        << QVariantMap{{"width", qint64(0)}, {"height", qint64(20)}} << json("{}");
    QTest::newRow("height 0 drops the size")
        << QVariantMap{{"width", qint64(20)}, {"height", qint64(0)}, {"scale", qint64(1)}}
        << json(R"({"scale":"1x"})");
    QTest::newRow("scale 0 drops the scale")
        << QVariantMap{{"size", qint64(20)}, {"scale", qint64(0)}} << json(R"({"size":"20x20"})");
    QTest::newRow("tenth keeps one decimal") << QVariantMap{{"size", 0.1}} << json(R"({"size":"0.1x0.1"})");
    QTest::newRow("scale rounds half to even") << QVariantMap{{"scale", 2.5}} << json(R"({"scale":"2x"})");
    QTest::newRow("scale 1.5") << QVariantMap{{"scale", 1.5}} << json(R"({"scale":"2x"})");
    QTest::newRow("role and subtype, never categories or crop")
        << QVariantMap{{"idiom", "watch"},
                       {"size", qint64(40)},
                       {"scale", qint64(2)},
                       {"role", "appLauncher"},
                       {"subtype", "38mm"},
                       {"cropAspect", 0.5},
                       {"categories", QVariantList{qint64(301)}}}
        << json(R"({"idiom":"watch","size":"40x40","scale":"2x","role":"appLauncher","subtype":"38mm"})");
    QTest::newRow("empty") << QVariantMap{} << json("{}");
}

void TestCatalogue::entry()
{
    QFETCH(QVariantMap, dictionary);
    QFETCH(QJsonObject, expected);
    QCOMPARE(ImageSize(dictionary).dictionary(), expected);
}

void TestCatalogue::description_data()
{
    QTest::addColumn<ImageSize>("size");
    QTest::addColumn<QString>("expected");

    QTest::newRow("no translation, 1x ends in a blank")
        << makeSize(QStringLiteral("idiom"), {}, 29, 29, 1) << "idiom 29pt ";
    QTest::newRow("no translation, 3x")
        << makeSize(QStringLiteral("idiom"), {}, 29, 29, 3) << "idiom 29pt (@3x)";
    QTest::newRow("translated idiom")
        << makeSize(QStringLiteral("iphone"), {}, 60, 60, 3) << "iPhone 60pt (@3x)";
    QTest::newRow("translated with platform")
        << makeSize(QStringLiteral("universal"), QStringLiteral("ios"), 1024, 1024, 0)
        << "Universal (ios) 1024pt ";
    QTest::newRow("non-square") << makeSize(QStringLiteral("iphone"), {}, 60, 45, 2)
                                << "iPhone 60x45pt (@2x)";
    QTest::newRow("83.5 rounds to even")
        << makeSize(QStringLiteral("ipad"), {}, 83.5, 83.5, 2) << "iPad 84pt (@2x)";
    QTest::newRow("27.5 rounds to even")
        << makeSize(QStringLiteral("watch"), {}, 27.5, 27.5, 2) << "Apple Watch 28pt (@2x)";
    QTest::newRow("scale below 1 shows none")
        << makeSize(QStringLiteral("mac"), {}, 16, 16, 0.5) << "Mac 16pt ";
    QTest::newRow("marketing") << makeSize(QStringLiteral("ios-marketing"), {}, 1024, 1024, 1)
                               << "App Store 1024pt ";
    QTest::newRow("absent idiom") << makeSize({}, {}, 29, 29, 1) << "(null) 29pt ";
    QTest::newRow("idiom with dots is not a key path")
        << makeSize(QStringLiteral("Idiom.Description.iphone"), {}, 20, 20, 2)
        << "Idiom.Description.iphone 20pt (@2x)";
}

void TestCatalogue::description()
{
    QFETCH(ImageSize, size);
    QTEST(size.description(), "expected");
}

void TestCatalogue::pixelSize_data()
{
    QTest::addColumn<ImageSize>("size");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("83.5 at 2x") << makeSize({}, {}, 83.5, 83.5, 2) << QSize(167, 167);
    QTest::newRow("83.5 at 1x truncates") << makeSize({}, {}, 83.5, 83.5, 1) << QSize(83, 83);
    QTest::newRow("27 by 20 at 3x") << makeSize({}, {}, 27, 20, 3) << QSize(81, 60);
    QTest::newRow("no scale is drawn at 1x") << makeSize({}, {}, 1024, 1024, 0) << QSize(1024, 1024);
    QTest::newRow("negative gives nothing") << makeSize({}, {}, -5, 10, 2) << QSize(0, 20);
    QTest::newRow("huge saturates") << makeSize({}, {}, 3e9, 1, 1)
                                    << QSize(std::numeric_limits<int>::max(), 1);
}

void TestCatalogue::pixelSize()
{
    QFETCH(ImageSize, size);
    QTEST(size.pixelSize(), "expected");
}

void TestCatalogue::categoryFromDictionary_data()
{
    QTest::addColumn<QVariantMap>("dictionary");
    QTest::addColumn<qint64>("id");
    QTest::addColumn<QString>("name"); // "-" = absent
    QTest::addColumn<QString>("idiom");

    QTest::newRow("complete") << QVariantMap{{"id", qint64(101)}, {"name", "iPhone"}, {"idiom", "iphone"}}
                              << qint64(101) << "iPhone"
                              << "iphone";
    QTest::newRow("absent keys") << QVariantMap{} << qint64(0) << "-"
                                 << "-";
    QTest::newRow("id as text") << QVariantMap{{"id", " 111 iPad"}} << qint64(111) << "-"
                                << "-";
    QTest::newRow("id as real truncates") << QVariantMap{{"id", 121.9}} << qint64(121) << "-"
                                          << "-";
    QTest::newRow("negative real id") << QVariantMap{{"id", -3.7}} << qint64(-3) << "-"
                                      << "-";
    QTest::newRow("id beyond 64 bits saturates")
        << QVariantMap{{"id", "99999999999999999999"}} << std::numeric_limits<qint64>::max() << "-"
        << "-";
    QTest::newRow("id as list") << QVariantMap{{"id", QVariantList{qint64(5)}}} << qint64(0) << "-"
                                << "-";
    QTest::newRow("name of another kind")
        << QVariantMap{{"id", qint64(5)}, {"name", qint64(7)}} << qint64(5) << "-"
        << "-";
}

void TestCatalogue::categoryFromDictionary()
{
    QFETCH(QVariantMap, dictionary);
    const ImageCategory category(dictionary);
    QTEST(category.categoryId(), "id");
    QTEST(category.name().value_or(QStringLiteral("-")), "name");
    QTEST(category.idiom().value_or(QStringLiteral("-")), "idiom");
}

void TestCatalogue::membership_data()
{
    QTest::addColumn<QVariantList>("sizeCategories");
    QTest::addColumn<QVariantList>("asked");
    QTest::addColumn<bool>("expected");

    QTest::newRow("integer") << QVariantList{qint64(101)} << QVariantList{qint64(101)} << true;
    QTest::newRow("second of two") << QVariantList{qint64(102), qint64(101)} << QVariantList{qint64(101)}
                                   << true;
    QTest::newRow("other id") << QVariantList{qint64(101)} << QVariantList{qint64(1010)} << false;
    QTest::newRow("stored as real") << QVariantList{101.0} << QVariantList{qint64(101)} << true;
    QTest::newRow("stored as real with fraction") << QVariantList{101.9} << QVariantList{qint64(101)} << true;
    QTest::newRow("stored as text") << QVariantList{"101"} << QVariantList{qint64(101)} << true;
    QTest::newRow("asked as text") << QVariantList{qint64(101)} << QVariantList{"101"} << true;
    QTest::newRow("stored as int") << QVariantList{101} << QVariantList{qint64(101)} << true;
    QTest::newRow("no categories") << QVariantList{} << QVariantList{qint64(101)} << false;
    QTest::newRow("nothing asked") << QVariantList{qint64(101)} << QVariantList{} << false;
    QTest::newRow("stored dictionary")
        << QVariantList{QVariantMap{{"id", qint64(101)}}} << QVariantList{qint64(101)} << false;
    QTest::newRow("any of several") << QVariantList{qint64(501)}
                                    << QVariantList{qint64(101), qint64(111), qint64(501)} << true;
    QTest::newRow("none of several") << QVariantList{qint64(501)} << QVariantList{qint64(101), qint64(111)}
                                     << false;
}

void TestCatalogue::membership()
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
    ImageProcessor processor;
    QCOMPARE(processor.imageSize(size, categories), expected);
    if (asked.size() == 1)
        QCOMPARE(size.hasCategoryId(ImageCategory(QVariantMap{{"id", asked.first()}}).categoryId()),
                 expected);
}

// --- loading the resources --------------------------------------------------------------------

void TestCatalogue::recordsFromResource_data()
{
    QTest::addColumn<QString>("fixture");
    QTest::newRow("xml") << "sizes-edge-cases.plist";
    QTest::newRow("binary") << "sizes-edge-cases-binary.plist";
}

void TestCatalogue::recordsFromResource()
{
    QFETCH(QString, fixture);
    QVERIFY(QFile::copy(testData(fixture), resources_->filePath("ImageSizes.plist")));
    Bundle::setResourceDirectory(resources_->path());

    ImageProcessor processor;
    const QList<ImageSize>& sizes = processor.allImageSizes();
    QCOMPARE(sizes.size(), 5);
    // File order, nothing sorted.
    QCOMPARE(sizes[0].fileName(), QStringLiteral("size-beats-sides.png"));
    QCOMPARE(sizes[0].dictionary(), json(R"({"idiom":"iphone","size":"60x60","scale":"3x",
                                               "filename":"size-beats-sides.png"})"));
    QCOMPARE(sizes[1].dictionary(), json(R"({"idiom":"ipad","size":"83.5x83","scale":"2x",
                                               "filename":"per-side.png"})"));
    QVERIFY(sizes[1].hasCategoryId(101) && sizes[1].hasCategoryId(111) && !sizes[1].hasCategoryId(121));
    QCOMPARE(sizes[2].dictionary(), json(R"({"filename":"nothing-else.png"})"));
    QVERIFY(!sizes[2].hasCategoryId(0));
    QCOMPARE(sizes[3].width(), 60.0);
    QCOMPARE(sizes[3].height(), 60.0);
    QCOMPARE(sizes[3].cropAspect(), 0.75);
    QVERIFY(sizes[3].hasCategoryId(101));
    QCOMPARE(sizes[4].width(), double(0.1f));
    QCOMPARE(sizes[4].description(), QStringLiteral("Universal (ios) 0pt "));
    QVERIFY(!sizes[4].hasCategoryId(101));
    QVERIFY(logger_->errors().empty());
    // The same list object on every call.
    QCOMPARE(&processor.allImageSizes(), &sizes);
}

void TestCatalogue::missingResourceLoggedOnce_data()
{
    QTest::addColumn<bool>("categories");
    QTest::newRow("sizes") << false;
    QTest::newRow("categories") << true;
}

void TestCatalogue::missingResourceLoggedOnce()
{
    QFETCH(bool, categories);
    Bundle::setResourceDirectory(resources_->path());
    // A folder of the resource's name is no resource.
    QVERIFY(QDir(resources_->path()).mkdir(categories ? "ImageCategories.plist" : "ImageSizes.plist"));

    ImageProcessor processor;
    for (int call = 0; call < 3; ++call) {
        if (categories)
            QVERIFY(processor.allImageCategories().isEmpty());
        else
            QVERIFY(processor.allImageSizes().isEmpty());
    }
    Log::flushLog();
    const auto errors = logger_->errors();
    QCOMPARE(errors.size(), size_t(1));
    QCOMPARE(errors[0].message, categories
                                    ? QStringLiteral("ERROR: File not found in bundle: ImageCategories.plist")
                                    : QStringLiteral("ERROR: File not found in bundle: ImageSizes.plist"));
    QCOMPARE(errors[0].function, QStringLiteral("ImageProcessor::loadData"));
}

void TestCatalogue::badResource_data()
{
    QTest::addColumn<QString>("fixture"); // empty: write `content` instead
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("expectedStart");

    const QString parseError = QStringLiteral("Error reading data from file '%1', error = '");
    QTest::newRow("truncated xml") << "sizes-truncated.plist" << QByteArray() << parseError;
    QTest::newRow("garbage binary") << "sizes-garbage-binary.plist" << QByteArray() << parseError;
    QTest::newRow("empty file") << QString() << QByteArray("") << parseError;
    QTest::newRow("root is a dictionary") << "sizes-root-dictionary.plist" << QByteArray()
                                          << "ERROR: ImageSizes.plist does not hold a list but a dictionary";
    QTest::newRow("root is a string") << QString() << QByteArray("<plist><string>[]</string></plist>")
                                      << "ERROR: ImageSizes.plist does not hold a list but a string";
    QTest::newRow("an element is not a dictionary")
        << "sizes-element-not-dictionary.plist" << QByteArray()
        << "ERROR: Element 1 of ImageSizes.plist is a string, not a dictionary";
    QTest::newRow("an element is a list")
        << QString() << QByteArray("<plist><array><dict/><array/></array></plist>")
        << "ERROR: Element 1 of ImageSizes.plist is a list, not a dictionary";
}

void TestCatalogue::badResource()
{
    QFETCH(QString, fixture);
    QFETCH(QByteArray, content);
    QFETCH(QString, expectedStart);
    const QString path = resources_->filePath("ImageSizes.plist");
    if (fixture.isEmpty()) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    } else {
        QVERIFY(QFile::copy(testData(fixture), path));
    }
    Bundle::setResourceDirectory(resources_->path());

    ImageProcessor processor;
    QVERIFY(processor.allImageSizes().isEmpty());
    QVERIFY(processor.allImageSizes().isEmpty());
    Log::flushLog();
    const auto errors = logger_->errors();
    QCOMPARE(errors.size(), size_t(1));
    const QString expected = expectedStart.contains("%1") ? expectedStart.arg(path) : expectedStart;
    QVERIFY2(errors[0].message.startsWith(expected), qPrintable(errors[0].message));
    // The parser's description follows and the quote is closed.
    QVERIFY(errors[0].message.size() > expected.size() + 1);
}

void TestCatalogue::unreadableResource()
{
    // Reading fails for a file too large to be a catalogue (sparse, so it costs no disk).
    const QString path = resources_->filePath("ImageCategories.plist");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(65 * 1024 * 1024));
    file.close();
    Bundle::setResourceDirectory(resources_->path());

    ImageProcessor processor;
    QCOMPARE(processor.loadData(QStringLiteral("ImageCategories")), std::nullopt);
    QVERIFY(processor.allImageCategories().isEmpty());
    QVERIFY(processor.allImageCategories().isEmpty());
    Log::flushLog();
    const auto errors = logger_->errors();
    QCOMPARE(errors.size(), size_t(2)); // one for the direct call, one for the lazy list
    QCOMPARE(errors[0].message, QStringLiteral("ERROR: Could not load data from path: ") + path);
    QCOMPARE(errors[1].message, errors[0].message);
}

void TestCatalogue::settersReplaceWithoutLoading()
{
    Bundle::setResourceDirectory(resources_->path()); // empty: a load would log
    ImageProcessor processor;
    processor.setAllImageCategories({ImageCategory(7, QStringLiteral("Seven"), QStringLiteral("iphone"))});
    ImageSize size;
    size.setFileName(QStringLiteral("x.png"));
    processor.setAllImageSizes({size});
    QCOMPARE(processor.allImageCategories().size(), 1);
    QCOMPARE(processor.allImageCategories().first().categoryId(), qint64(7));
    QCOMPARE(processor.allImageSizes().first().fileName(), QStringLiteral("x.png"));
    processor.setAllImageSizes({});
    QVERIFY(processor.allImageSizes().isEmpty());
    Log::flushLog();
    QVERIFY(logger_->errors().empty());
}

// --- archives -------------------------------------------------------------------------------

void TestCatalogue::categoryArchiveRoundTrip_data()
{
    QTest::addColumn<QList<ImageCategory>>("categories");
    QTest::newRow("none") << QList<ImageCategory>{};
    QTest::newRow("catalogue order kept") << QList<ImageCategory>{
        ImageCategory(121, QStringLiteral("App Store"), QStringLiteral("ios-marketing")),
        ImageCategory(101, QStringLiteral("iPhone"), QStringLiteral("iphone"))};
    QTest::newRow("absent name and idiom") << QList<ImageCategory>{ImageCategory(5, {}, {})};
    QTest::newRow("empty texts") << QList<ImageCategory>{ImageCategory(0, QString(), QString())};
    QTest::newRow("extreme ids") << QList<ImageCategory>{
        ImageCategory(std::numeric_limits<qint64>::min(), QStringLiteral("ü☃"), {}),
        ImageCategory(std::numeric_limits<qint64>::max(), {}, QStringLiteral("x"))};
}

void TestCatalogue::categoryArchiveRoundTrip()
{
    QFETCH(QList<ImageCategory>, categories);
    const auto restored = ImageCategory::unarchive(ImageCategory::archive(categories));
    QVERIFY(restored);
    QCOMPARE(*restored, categories);
}

void TestCatalogue::sizeArchiveRoundTrip_data()
{
    QTest::addColumn<QVariantMap>("dictionary");
    QTest::newRow("watch slot") << QVariantMap{{"idiom", "watch"},
                                               {"size", 27.5},
                                               {"scale", qint64(2)},
                                               {"filename", "w.png"},
                                               {"role", "notificationCenter"},
                                               {"subtype", "42mm"},
                                               {"categories", QVariantList{qint64(301)}}};
    QTest::newRow("crop and several categories")
        << QVariantMap{{"idiom", "ipad"},      {"width", qint64(67)},
                       {"height", qint64(50)}, {"cropAspect", 50.0 / 67.0},
                       {"scale", qint64(2)},   {"categories", QVariantList{qint64(501), qint64(111)}}};
    QTest::newRow("float rounding kept") << QVariantMap{{"size", 0.1}, {"scale", 0.1}};
    QTest::newRow("nothing") << QVariantMap{};
}

void TestCatalogue::sizeArchiveRoundTrip()
{
    QFETCH(QVariantMap, dictionary);
    ImageSize size(dictionary);
    size.setPlatform(QStringLiteral("ios"));
    const auto restored = ImageSize::unarchive(size.archive());
    QVERIFY(restored);
    // The platform is left out of archives on purpose.
    QCOMPARE(restored->platform(), std::nullopt);
    size.setPlatform(std::nullopt);
    QCOMPARE(restored->idiom(), size.idiom());
    QCOMPARE(restored->width(), size.width());
    QCOMPARE(restored->height(), size.height());
    QCOMPARE(restored->cropAspect(), size.cropAspect());
    QCOMPARE(restored->scale(), size.scale());
    QCOMPARE(restored->fileName(), size.fileName());
    QCOMPARE(restored->role(), size.role());
    QCOMPARE(restored->subtype(), size.subtype());
    QCOMPARE(restored->categoryIds(), size.categoryIds());
    QVERIFY(*restored == size);
}

void TestCatalogue::sizeArchiveUsesSingleFloats()
{
    ImageSize size;
    size.setWidth(83.5);
    size.setHeight(0.1); // a double that a float cannot hold
    const QByteArray archive = size.archive();
    // 83.5f is 0x42a70000; CBOR writes a single float as 0xfa and four bytes.
    QVERIFY(archive.contains(QByteArray::fromHex("fa42a70000")));
    // 0.1 is narrowed to 0.1f (0x3dcccccd) before it is written.
    QVERIFY(archive.contains(QByteArray::fromHex("fa3dcccccd")));
    QVERIFY(!archive.contains(char(0xfb)));
    QCOMPARE(ImageSize::unarchive(archive)->height(), double(0.1f));
}

// The layout of an archive is part of the stored user defaults: one written by hand must read.
void TestCatalogue::archiveWrittenByHandIsRead()
{
    QCborArray list;
    list.append(QCborMap{{QStringLiteral("id"), 111},
                         {QStringLiteral("name"), QStringLiteral("iPad")},
                         {QStringLiteral("idiom"), QStringLiteral("ipad")},
                         {QStringLiteral("later"), true}});
    list.append(QCborMap{{QStringLiteral("id"), 201}});
    const auto categories = ImageCategory::unarchive(envelope(list));
    QVERIFY(categories);
    QCOMPARE(*categories,
             (QList<ImageCategory>{ImageCategory(111, QStringLiteral("iPad"), QStringLiteral("ipad")),
                                   ImageCategory(201, {}, {})}));

    QCborMap record{{QStringLiteral("idiom"), QStringLiteral("mac")},
                    {QStringLiteral("width"), 512.0},
                    {QStringLiteral("height"), 512},
                    {QStringLiteral("scale"), 2.0},
                    {QStringLiteral("filename"), QStringLiteral("m.png")},
                    {QStringLiteral("platform"), QStringLiteral("macos")},
                    {QStringLiteral("categories"), QCborArray{201}}};
    const auto size = ImageSize::unarchive(envelope(record, QStringLiteral("ImageSize")));
    QVERIFY(size);
    QCOMPARE(size->dictionary(), json(R"({"idiom":"mac","size":"512x512","scale":"2x","filename":"m.png"})"));
    QVERIFY(size->hasCategoryId(201));
}

void TestCatalogue::categoryArchiveRejectsForeignData_data()
{
    QTest::addColumn<QByteArray>("data");
    const QCborArray good{QCborMap{{QStringLiteral("id"), 101}}};
    const QByteArray valid = envelope(good);
    QVERIFY(ImageCategory::unarchive(valid));

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("SelectedImageCategories");
    QTest::newRow("json") << QByteArray(R"([{"id":101}])");
    QTest::newRow("property list") << QByteArray("<plist><array/></plist>");
    QTest::newRow("bare cbor list") << QCborValue(good).toCbor();
    QTest::newRow("untagged envelope") << valid.mid(3);
    QTest::newRow("size archive") << ImageSize().archive();
    QTest::newRow("other format") << envelope(good, QStringLiteral("ImageCategory"), 1,
                                              QStringLiteral("other"));
    QTest::newRow("newer version") << envelope(good, QStringLiteral("ImageCategory"), 2);
    QTest::newRow("version 0") << envelope(good, QStringLiteral("ImageCategory"), 0);
    QTest::newRow("trailing byte") << valid + char(0);
    QTest::newRow("cut short") << valid.chopped(1);
    QTest::newRow("root is a map") << envelope(QCborMap{{QStringLiteral("id"), 101}});
    QTest::newRow("element is a number") << envelope(QCborArray{101});
    QTest::newRow("id is text") << envelope(
        QCborArray{QCborMap{{QStringLiteral("id"), QStringLiteral("101")}}});
    QTest::newRow("id is real") << envelope(QCborArray{QCborMap{{QStringLiteral("id"), 101.0}}});
    QTest::newRow("name is a number")
        << envelope(QCborArray{QCborMap{{QStringLiteral("id"), 1}, {QStringLiteral("name"), 3}}});
    QCborMap noRoot{{QStringLiteral("format"), QStringLiteral("co.velmora.IconFoundry.archive")},
                    {QStringLiteral("version"), 1},
                    {QStringLiteral("class"), QStringLiteral("ImageCategory")}};
    QTest::newRow("no root") << QCborValue(QCborKnownTags::Signature, noRoot).toCbor();
    QByteArray deep;
    for (int i = 0; i < 100000; ++i)
        deep += char(0x81); // arrays of one element, nested
    QTest::newRow("deeply nested cbor") << deep + char(0x01);
}

void TestCatalogue::categoryArchiveRejectsForeignData()
{
    QFETCH(QByteArray, data);
    QCOMPARE(ImageCategory::unarchive(data), std::nullopt);
}

void TestCatalogue::sizeArchiveRejectsForeignData_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("category archive") << ImageCategory::archive({ImageCategory(101, {}, {})});
    QTest::newRow("root is a list") << envelope(QCborArray{}, QStringLiteral("ImageSize"));
    QTest::newRow("width is text") << envelope(QCborMap{{QStringLiteral("width"), QStringLiteral("60")}},
                                               QStringLiteral("ImageSize"));
    QTest::newRow("width not finite")
        << envelope(QCborMap{{QStringLiteral("width"), qInf()}}, QStringLiteral("ImageSize"));
    QTest::newRow("width beyond a float")
        << envelope(QCborMap{{QStringLiteral("width"), 1e300}}, QStringLiteral("ImageSize"));
    QTest::newRow("categories not a list")
        << envelope(QCborMap{{QStringLiteral("categories"), 101}}, QStringLiteral("ImageSize"));
    QTest::newRow("category is text")
        << envelope(QCborMap{{QStringLiteral("categories"), QCborArray{QStringLiteral("101")}}},
                    QStringLiteral("ImageSize"));
    QTest::newRow("filename is data")
        << envelope(QCborMap{{QStringLiteral("filename"), QByteArray("a.png")}}, QStringLiteral("ImageSize"));
}

void TestCatalogue::sizeArchiveRejectsForeignData()
{
    QFETCH(QByteArray, data);
    QVERIFY(!ImageSize::unarchive(data));
}

// --- the shipped catalogue ------------------------------------------------------------------

void TestCatalogue::shippedCategories()
{
    ImageProcessor processor;
    const QList<ImageCategory> expected{
        ImageCategory(101, QStringLiteral("iPhone"), QStringLiteral("iphone")),
        ImageCategory(102, QStringLiteral("iPhone, iOS 6 and older"), QStringLiteral("iphone")),
        ImageCategory(111, QStringLiteral("iPad"), QStringLiteral("ipad")),
        ImageCategory(112, QStringLiteral("iPad, iOS 6 and older"), QStringLiteral("ipad")),
        ImageCategory(121, QStringLiteral("App Store"), QStringLiteral("ios-marketing")),
        ImageCategory(131, QStringLiteral("iOS single size, Xcode 14 and later"),
                      QStringLiteral("universal")),
        ImageCategory(201, QStringLiteral("Mac"), QStringLiteral("mac")),
        ImageCategory(301, QStringLiteral("Apple Watch"), QStringLiteral("watch")),
        ImageCategory(401, QStringLiteral("CarPlay"), QStringLiteral("car")),
        ImageCategory(501, QStringLiteral("Messages"), QStringLiteral("universal")),
    };
    QCOMPARE(processor.allImageCategories(), expected);
    Log::flushLog();
    QVERIFY(logger_->errors().empty());
}

// Every slot of the reference is in the catalogue exactly once per category, with the pixel size
// the reference gives, and there are no others.
void TestCatalogue::shippedSizesMatchReference()
{
    ImageProcessor processor;
    const QList<ImageSize>& sizes = processor.allImageSizes();
    QCOMPARE(sizes.size(), 68);

    const QMap<qint64, int> expectedCounts{{101, 8}, {102, 3},  {111, 9},  {112, 4}, {121, 1},
                                           {131, 1}, {201, 10}, {301, 17}, {401, 2}, {501, 13}};
    QMap<qint64, int> counts;
    for (const ImageSize& size : sizes) {
        QCOMPARE(size.categoryIds().size(), 1);
        ++counts[size.categoryIds().first().toLongLong()];
    }
    QCOMPARE(counts, expectedCounts);

    QList<bool> used(sizes.size(), false);
    for (const Slot& slot : kReference) {
        const QJsonObject wanted = slotEntry(slot);
        int found = -1;
        for (int i = 0; i < sizes.size(); ++i) {
            QJsonObject entry = sizes[i].dictionary();
            entry.remove(QStringLiteral("filename"));
            if (!used[i] && sizes[i].hasCategoryId(slot.category) && entry == wanted) {
                found = i;
                break;
            }
        }
        const QString label =
            QStringLiteral("%1 %2")
                .arg(slot.category)
                .arg(QString::fromUtf8(QJsonDocument(wanted).toJson(QJsonDocument::Compact)));
        QVERIFY2(found >= 0, qPrintable("missing " + label));
        used[found] = true;
        const ImageSize& size = sizes[found];
        QVERIFY2(size.pixelSize() == QSize(slot.pixelWidth, slot.pixelHeight), qPrintable(label));
        QVERIFY2(qAbs(size.cropAspect() - slot.cropAspect) < 1e-6, qPrintable(label));
        if (slot.cropAspect != 0) {
            // The crop matches the slot's own shape.
            QVERIFY2(qAbs(double(slot.pixelHeight) / slot.pixelWidth - slot.cropAspect) < 0.01,
                     qPrintable(label));
        }
        QVERIFY2(size.fileName() && size.fileName()->endsWith(QLatin1String(".png")), qPrintable(label));
    }
    QVERIFY(!used.contains(false));
}

void TestCatalogue::shippedFileNamesNeverCollide()
{
    ImageProcessor processor;
    QHash<QString, QPair<QSize, double>> byName;
    int names = 0;
    for (const ImageSize& size : processor.allImageSizes()) {
        const QString name = size.fileName().value_or(QString());
        QVERIFY(!name.isEmpty());
        QVERIFY2(!name.contains(QLatin1Char('/')) && !name.contains(QLatin1Char(' ')), qPrintable(name));
        const QPair<QSize, double> content{size.pixelSize(), size.cropAspect()};
        const auto known = byName.constFind(name);
        if (known == byName.constEnd()) {
            byName.insert(name, content);
            ++names;
        } else {
            QVERIFY2(*known == content, qPrintable(name + " names two different images"));
        }
    }
    // Entries of different idioms at the same points and scale share a file: iPad 20@2x, 29@2x,
    // 40@2x and 29@1x with the phone, CarPlay's two with the phone, and the phone and pad
    // Messages 29@2x. 68 entries, 7 shared.
    QCOMPARE(names, 61);
    QVERIFY(byName.contains(QStringLiteral("AppIcon-83.5@2x.png")));
    QCOMPARE(byName.value(QStringLiteral("AppIcon-83.5@2x.png")).first, QSize(167, 167));
    QCOMPARE(byName.value(QStringLiteral("AppIcon-Mac-512@2x.png")).first, QSize(1024, 1024));
}

void TestCatalogue::shippedIdiomsAreTranslated()
{
    ImageProcessor processor;
    QSet<QString> idioms;
    for (const ImageSize& size : processor.allImageSizes())
        idioms.insert(size.idiom().value_or(QString()));
    QCOMPARE(idioms.size(), 8);
    for (const QString& idiom : idioms) {
        const QByteArray key = "ImageSize.Idiom.Description." + idiom.toUtf8();
        QVERIFY2(Texts::text(key.constData()) != QString::fromUtf8(key), key.constData());
    }
    QCOMPARE(Texts::text("ImageSize.Idiom.Description.watch-marketing"), QStringLiteral("Watch App Store"));
    QCOMPARE(Texts::text("ImageSize.Idiom.Description.car"), QStringLiteral("CarPlay"));
}

void TestCatalogue::defaultCategories()
{
    ImageProcessor processor;
    const QList<ImageCategory> chosen = DefaultCategories::fromCatalogue(processor.allImageCategories());
    QStringList names;
    for (const ImageCategory& category : chosen)
        names.append(category.name().value_or(QString()));
    QCOMPARE(names, (QStringList{"iPhone", "iPad", "App Store"}));
    // Unknown ids are skipped; the catalogue's order wins over the defaults' order.
    const QList<ImageCategory> partial{ImageCategory(121, {}, {}), ImageCategory(999, {}, {}),
                                       ImageCategory(101, {}, {})};
    const QList<ImageCategory> picked = DefaultCategories::fromCatalogue(partial);
    QCOMPARE(picked.size(), 2);
    QCOMPARE(picked[0].categoryId(), qint64(121));
    QCOMPARE(picked[1].categoryId(), qint64(101));
}

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
