#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "iconset/xcodejson.h"
#include "logging/log.h"
#include "logging/logger.h"
#include "logging/logmessage.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <mutex>
#include <vector>

namespace {

// Entries as the writer must lay them out inside "images" (four blanks before the brace).
const QByteArray iphone20 = R"(    {
      "filename" : "AppIcon-20@2x.png",
      "idiom" : "iphone",
      "scale" : "2x",
      "size" : "20x20"
    })";
const QByteArray iphone60x2 = R"(    {
      "filename" : "AppIcon-60@2x.png",
      "idiom" : "iphone",
      "scale" : "2x",
      "size" : "60x60"
    })";
const QByteArray iphone60x3 = R"(    {
      "filename" : "AppIcon-60@3x.png",
      "idiom" : "iphone",
      "scale" : "3x",
      "size" : "60x60"
    })";
const QByteArray ipad20 = R"(    {
      "filename" : "AppIcon-20@2x.png",
      "idiom" : "ipad",
      "scale" : "2x",
      "size" : "20x20"
    })";
const QByteArray ipad83 = R"(    {
      "filename" : "AppIcon-83.5@2x.png",
      "idiom" : "ipad",
      "scale" : "2x",
      "size" : "83.5x83.5"
    })";
const QByteArray marketing = R"(    {
      "filename" : "AppIcon-1024.png",
      "idiom" : "ios-marketing",
      "scale" : "1x",
      "size" : "1024x1024"
    })";
const QByteArray universal = R"(    {
      "filename" : "AppIcon-1024.png",
      "idiom" : "universal",
      "platform" : "ios",
      "size" : "1024x1024"
    })";
const QByteArray watchLauncher = R"(    {
      "filename" : "AppIcon-Watch-24b@2x.png",
      "idiom" : "watch",
      "role" : "appLauncher",
      "scale" : "2x",
      "size" : "24x24",
      "subtype" : "40mm"
    })";
const QByteArray car = R"(    {
      "filename" : "AppIcon-Car@2x.png",
      "idiom" : "car",
      "scale" : "2x"
    })";
const QByteArray xcodeInfo = R"(  "info" : {
    "author" : "xcode",
    "version" : 1
  }
)";

QByteArray contents(const QList<QByteArray>& entries, const QByteArray& tail = xcodeInfo)
{
    QByteArray text = "{\n  \"images\" : [\n" + entries.join(",\n") + "\n  ]";
    text += tail.isEmpty() ? QByteArray("\n") : ",\n" + tail;
    return text + "}\n";
}

ImageSize makeSize(const char* idiom, double side, double scale, const char* fileName, qint64 category,
                   const char* role = nullptr, const char* subtype = nullptr, const char* platform = nullptr)
{
    ImageSize size;
    size.setIdiom(QString::fromLatin1(idiom));
    size.setWidth(side);
    size.setHeight(side);
    size.setScale(scale);
    size.setFileName(QString::fromLatin1(fileName));
    if (role)
        size.setRole(QString::fromLatin1(role));
    if (subtype)
        size.setSubtype(QString::fromLatin1(subtype));
    if (platform)
        size.setPlatform(QString::fromLatin1(platform));
    size.setCategoryIds({QVariant::fromValue<qint64>(category)});
    return size;
}

// A small catalogue with every case the merge rules distinguish: shared file names, a
// fractional size, a size without scale (131), two sizes of one slot (301), a size without
// "size" (401).
QList<ImageSize> testCatalogue()
{
    return {
        makeSize("iphone", 20, 2, "AppIcon-20@2x.png", 101),
        makeSize("iphone", 60, 2, "AppIcon-60@2x.png", 101),
        makeSize("iphone", 60, 3, "AppIcon-60@3x.png", 101),
        makeSize("ipad", 20, 2, "AppIcon-20@2x.png", 111),
        makeSize("ipad", 83.5, 2, "AppIcon-83.5@2x.png", 111),
        makeSize("ios-marketing", 1024, 1, "AppIcon-1024.png", 121),
        makeSize("universal", 1024, 0, "AppIcon-1024.png", 131, nullptr, nullptr, "ios"),
        makeSize("watch", 24, 2, "AppIcon-Watch-24@2x.png", 301, "notificationCenter", "38mm"),
        makeSize("watch", 24, 2, "AppIcon-Watch-24b@2x.png", 301, "appLauncher", "40mm"),
        makeSize("car", 0, 2, "AppIcon-Car@2x.png", 401),
    };
}

// "101,121" -> the categories with those ids.
QList<ImageCategory> categories(const QString& ids)
{
    QList<ImageCategory> list;
    for (const QString& id : ids.split(QLatin1Char(','), Qt::SkipEmptyParts))
        list.append(ImageCategory(id.toLongLong(), QStringLiteral("Category %1").arg(id), std::nullopt));
    return list;
}

QString fixture(const QString& name)
{
    return QDir(qEnvironmentVariable("ICONFOUNDRY_TEST_DATA")).filePath(name);
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

struct Captured
{
    unsigned flag;
    std::string function;
    std::string message;
};

class CapturingLogger : public Logger
{
public:
    void logMessage(const LogMessage& message) override
    {
        std::lock_guard lock(mutex_);
        messages_.push_back({message.flag(), message.function(), message.message()});
    }
    void clear()
    {
        std::lock_guard lock(mutex_);
        messages_.clear();
    }
    // Every captured message text of the flag, in order.
    QStringList texts(unsigned flag, const char* function = nullptr)
    {
        std::lock_guard lock(mutex_);
        QStringList out;
        for (const Captured& c : messages_) {
            if (c.flag == flag && (!function || c.function == function))
                out.append(QString::fromStdString(c.message));
        }
        return out;
    }

private:
    std::mutex mutex_;
    std::vector<Captured> messages_;
};

} // namespace

class TestContentsJSON : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void saveJSON_data();
    void saveJSON();
    void imageJSONThatExist_data();
    void imageJSONThatExist();
    void brokenFile_data();
    void brokenFile();
    void unusableFolder_data();
    void unusableFolder();
    void logsWrittenText();
    void hostileArrays();
    void xcodeJSON_data();
    void xcodeJSON();
    void xcodeJSONRefuses_data();
    void xcodeJSONRefuses();

private:
    std::shared_ptr<CapturingLogger> logger_ = std::make_shared<CapturingLogger>();
};

void TestContentsJSON::initTestCase()
{
    QVERIFY(QFileInfo(fixture(QStringLiteral("contents-empty-slot.json"))).isFile());
    Log::addLogger(logger_);
}

void TestContentsJSON::cleanupTestCase()
{
    Log::removeLogger(logger_);
}

void TestContentsJSON::init()
{
    Log::flushLog();
    logger_->clear();
}

void TestContentsJSON::saveJSON_data()
{
    QTest::addColumn<QString>("existing");    // fixture copied in first; empty: no file
    QTest::addColumn<QStringList>("saves");   // category ids of each save, in order
    QTest::addColumn<bool>("result");         // of the last save
    QTest::addColumn<QByteArray>("expected"); // file afterwards; null: as before the saves

    const QByteArray newPhoneSet = R"({
  "images" : [
    {
      "filename" : "AppIcon-20@2x.png",
      "idiom" : "iphone",
      "scale" : "2x",
      "size" : "20x20"
    },
    {
      "filename" : "AppIcon-60@2x.png",
      "idiom" : "iphone",
      "scale" : "2x",
      "size" : "60x60"
    },
    {
      "filename" : "AppIcon-60@3x.png",
      "idiom" : "iphone",
      "scale" : "3x",
      "size" : "60x60"
    }
  ],
  "info" : {
    "author" : "xcode",
    "version" : 1
  }
}
)";
    QTest::newRow("new file in catalogue order") << QString() << QStringList{"101"} << true << newPhoneSet;
    QTest::newRow("saving twice gives the same bytes")
        << QString() << QStringList{"101", "101"} << true << newPhoneSet;
    QTest::newRow("category order does not matter, catalogue order does")
        << QString() << QStringList{"121,101"} << true
        << contents({iphone20, iphone60x2, iphone60x3, marketing});
    QTest::newRow("later categories append after earlier entries")
        << QString() << QStringList{"121", "101,111"} << true
        << contents({marketing, iphone20, iphone60x2, iphone60x3, ipad20, ipad83});
    QTest::newRow("entry without filename replaced in place")
        << QStringLiteral("contents-empty-slot.json") << QStringList{"101"} << true
        << contents({iphone60x2, iphone20, iphone60x3});
    QTest::newRow("slots held by other files are taken over")
        << QStringLiteral("contents-slots-held-by-other-files.json") << QStringList{"101"} << true
        << contents({iphone20, iphone60x3, iphone60x2, R"(    {
      "filename" : "Icon-167.png",
      "idiom" : "ipad",
      "scale" : "2x",
      "size" : "83.5x83.5"
    })"});
    QTest::newRow("other idioms, unknown keys and foreign info kept, replaced entry loses its extras")
        << QStringLiteral("contents-other-idioms-unknown-keys.json") << QStringList{"101"} << true
        << QByteArray(R"({
  "images" : [
    {
      "filename" : "mac-16.png",
      "idiom" : "mac",
      "scale" : "1x",
      "size" : "16x16"
    },
    {
      "filename" : "AppIcon-60@2x.png",
      "idiom" : "iphone",
      "scale" : "2x",
      "size" : "60x60"
    },
    {
      "idiom" : "watch",
      "note" : "caf)"
                      "\xc3\xa9"
                      R"( \"quoted\"\n/path",
      "role" : "notificationCenter",
      "scale" : "2x",
      "size" : "24x24",
      "subtype" : "38mm"
    },
    {
      "filename" : "capitalised-idiom.png",
      "idiom" : "iPhone",
      "scale" : "2x",
      "size" : "60x60"
    },
    {
      "filename" : "AppIcon-20@2x.png",
      "idiom" : "iphone",
      "scale" : "2x",
      "size" : "20x20"
    },
    {
      "filename" : "AppIcon-60@3x.png",
      "idiom" : "iphone",
      "scale" : "3x",
      "size" : "60x60"
    }
  ],
  "info" : {
    "author" : "designer",
    "version" : 1
  },
  "properties" : {
    "pre-rendered" : true,
    "ratio" : 0.75,
    "tags" : [

    ]
  }
}
)");
    QTest::newRow("existing file without info keeps none")
        << QStringLiteral("contents-without-info.json") << QStringList{"121"} << true
        << contents({marketing}, QByteArray());
    QTest::newRow("only the first of two entries of a slot is replaced")
        << QStringLiteral("contents-duplicate-slot.json") << QStringList{"101"} << true
        << contents({iphone60x2, R"(    {
      "filename" : "second.png",
      "idiom" : "iphone",
      "scale" : "2x",
      "size" : "60x60"
    })",
                     iphone20, iphone60x3},
                    QByteArray());
    QTest::newRow("sizes without scale or size are appended again")
        << QString() << QStringList{"131,401", "131,401"} << true
        << contents({universal, car, universal, car});
    QTest::newRow("same idiom, size and scale collapse into the later size's entry")
        << QString() << QStringList{"301"} << true << contents({watchLauncher});
    QTest::newRow("categories naming no size write no new file")
        << QString() << QStringList{"599"} << false << QByteArray();
    QTest::newRow("no categories write no new file") << QString() << QStringList{""} << false << QByteArray();
    QTest::newRow("categories naming no size leave an existing file alone")
        << QStringLiteral("contents-other-idioms-unknown-keys.json") << QStringList{"599"} << false
        << QByteArray();
}

void TestContentsJSON::saveJSON()
{
    QFETCH(QString, existing);
    QFETCH(QStringList, saves);
    QFETCH(bool, result);
    QFETCH(QByteArray, expected);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString jsonPath = dir.filePath(QStringLiteral("Contents.json"));
    QByteArray before;
    if (!existing.isEmpty()) {
        QVERIFY(QFile::copy(fixture(existing), jsonPath));
        before = readAll(jsonPath);
    }

    ImageProcessor imageProcessor;
    imageProcessor.setAllImageSizes(testCatalogue());
    ContentsJSONProcessor processor(&imageProcessor);
    Error error;
    bool last = false;
    for (qsizetype i = 0; i < saves.size(); ++i) {
        last = processor.saveJSONforCategories(categories(saves[i]), dir.path(), &error);
        if (i + 1 < saves.size())
            QVERIFY(last);
    }
    QCOMPARE(last, result);
    // Success and "nothing to write" both leave the error alone.
    QCOMPARE(error.code, 0);
    QVERIFY(error.localizedDescription.isEmpty());

    if (expected.isNull()) {
        if (existing.isEmpty())
            QVERIFY(!QFile::exists(jsonPath));
        else
            QCOMPARE(readAll(jsonPath), before);
    } else {
        QCOMPARE(QString::fromUtf8(readAll(jsonPath)), QString::fromUtf8(expected));
    }
    // Nothing but the index itself: no temporary files left behind.
    const QStringList left =
        QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    QVERIFY2(left.size() <= 1, qPrintable(left.join(QLatin1Char(' '))));
}

void TestContentsJSON::imageJSONThatExist_data()
{
    QTest::addColumn<QString>("existing");
    QTest::addColumn<QString>("categoryIds");
    QTest::addColumn<bool>("absent");
    QTest::addColumn<QStringList>("fileNames"); // of the sizes listed, in order

    QTest::newRow("no file") << QString() << "101" << true << QStringList();
    QTest::newRow("an empty slot is not listed")
        << QStringLiteral("contents-empty-slot.json") << "101" << true << QStringList();
    QTest::newRow("slots of other files listed in catalogue order, own file not listed")
        << QStringLiteral("contents-slots-held-by-other-files.json") << "101" << false
        << QStringList{"AppIcon-60@2x.png", "AppIcon-60@3x.png"};
    QTest::newRow("only the chosen categories' sizes")
        << QStringLiteral("contents-slots-held-by-other-files.json") << "111" << false
        << QStringList{"AppIcon-83.5@2x.png"};
    QTest::newRow("no size of the categories in a taken slot")
        << QStringLiteral("contents-slots-held-by-other-files.json") << "121,131,401" << true
        << QStringList();
    QTest::newRow("idiom compared case-sensitively, other idioms ignored")
        << QStringLiteral("contents-other-idioms-unknown-keys.json") << "101,301" << false
        << QStringList{"AppIcon-60@2x.png"};
    QTest::newRow("either of two entries of a slot counts")
        << QStringLiteral("contents-duplicate-slot.json") << "101" << false
        << QStringList{"AppIcon-60@2x.png"};
    QTest::newRow("unparsable file: nothing to ask")
        << QStringLiteral("contents-truncated.json") << "101" << true << QStringList();
    QTest::newRow("no categories") << QStringLiteral("contents-slots-held-by-other-files.json") << "" << true
                                   << QStringList();
}

void TestContentsJSON::imageJSONThatExist()
{
    QFETCH(QString, existing);
    QFETCH(QString, categoryIds);
    QFETCH(bool, absent);
    QFETCH(QStringList, fileNames);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    if (!existing.isEmpty())
        QVERIFY(QFile::copy(fixture(existing), dir.filePath(QStringLiteral("Contents.json"))));

    ImageProcessor imageProcessor;
    imageProcessor.setAllImageSizes(testCatalogue());
    ContentsJSONProcessor processor(&imageProcessor);
    const std::optional<QList<ImageSize>> sizes =
        processor.imageJSONThatExistForCategories(categories(categoryIds), dir.path());
    QCOMPARE(!sizes.has_value(), absent);
    if (sizes) {
        QVERIFY(!sizes->isEmpty());
        QStringList names;
        for (const ImageSize& size : *sizes)
            names.append(size.fileName().value_or(QString()));
        QCOMPARE(names, fileNames);
    }
}

void TestContentsJSON::brokenFile_data()
{
    QTest::addColumn<QString>("source"); // fixture, or "<generated>" for the 50 MB file
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("detail"); // part of the message besides the path

    QTest::newRow("array root") << QStringLiteral("contents-array-root.json")
                                << int(ContentsJSONProcessor::RootNotObject) << QStringLiteral("top level");
    QTest::newRow("images not a list")
        << QStringLiteral("contents-images-not-array.json") << int(ContentsJSONProcessor::ImagesNotArray)
        << QStringLiteral("\"images\" is not a list");
    QTest::newRow("images holding a text") << QStringLiteral("contents-images-with-non-object.json")
                                           << int(ContentsJSONProcessor::ImageNotObject)
                                           << QStringLiteral("entry 2 of \"images\" is not an object");
    QTest::newRow("size as a number")
        << QStringLiteral("contents-size-number.json") << int(ContentsJSONProcessor::ValueNotString)
        << QStringLiteral("\"size\" of entry 1");
    QTest::newRow("filename null") << QStringLiteral("contents-filename-null.json")
                                   << int(ContentsJSONProcessor::ValueNotString)
                                   << QStringLiteral("\"filename\" of entry 2");
    QTest::newRow("truncated") << QStringLiteral("contents-truncated.json")
                               << int(ContentsJSONProcessor::FileNotJSON) << QStringLiteral("not valid JSON");
    QTest::newRow("empty file") << QStringLiteral("contents-empty-file.json")
                                << int(ContentsJSONProcessor::FileNotJSON)
                                << QStringLiteral("not valid JSON");
    // The Latin-1 byte 0xF4 sits at offset 45 of the fixture.
    QTest::newRow("Latin-1 file name")
        << QStringLiteral("contents-latin1-filename.json") << int(ContentsJSONProcessor::FileNotUTF8)
        << QStringLiteral("offset 45");
    QTest::newRow("50 MB") << QStringLiteral("<generated>") << int(ContentsJSONProcessor::FileTooLarge)
                           << QStringLiteral("52428800 bytes");
}

void TestContentsJSON::brokenFile()
{
    QFETCH(QString, source);
    QFETCH(int, code);
    QFETCH(QString, detail);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString jsonPath = dir.filePath(QStringLiteral("Contents.json"));
    if (source == QLatin1String("<generated>")) {
        // A valid document padded with blanks to 50 MB: only the size is wrong with it.
        QFile file(jsonPath);
        QVERIFY(file.open(QIODevice::WriteOnly));
        const QByteArray head = "{\"images\":[]}";
        QVERIFY(file.write(head) == head.size());
        const QByteArray blanks(1024 * 1024, ' ');
        qint64 total = head.size();
        while (total + blanks.size() <= 50 * 1024 * 1024)
            total += file.write(blanks);
        total += file.write(QByteArray(50 * 1024 * 1024 - total, ' '));
        QCOMPARE(total, qint64(50 * 1024 * 1024));
    } else {
        QVERIFY(QFile::copy(fixture(source), jsonPath));
    }
    const QByteArray before = readAll(jsonPath);
    const QDateTime modified = QFileInfo(jsonPath).lastModified();

    ImageProcessor imageProcessor;
    imageProcessor.setAllImageSizes(testCatalogue());
    ContentsJSONProcessor processor(&imageProcessor);

    Error checkError;
    QVERIFY(!ContentsJSONProcessor::checkContentsJSONInPath(dir.path(), &checkError));
    QCOMPARE(checkError.code, code);

    Error error;
    QVERIFY(!processor.saveJSONforCategories(categories(QStringLiteral("101,111")), dir.path(), &error));
    QCOMPARE(error.domain, ContentsJSONProcessor::errorDomain);
    QCOMPARE(error.code, code);
    QVERIFY(ContentsJSONProcessor::isBrokenFileError(error));
    QVERIFY2(error.localizedDescription.contains(jsonPath), qPrintable(error.localizedDescription));
    QVERIFY2(error.localizedDescription.contains(detail), qPrintable(error.localizedDescription));
    QCOMPARE(checkError.localizedDescription, error.localizedDescription);

    // Logged synchronously, so it is there when the call returns.
    const QString expectedLog = QStringLiteral("Error reading existing JSON file '%1' : %2")
                                    .arg(jsonPath, error.localizedDescription);
    QCOMPARE(logger_->texts(LogFlagError, "ContentsJSONProcessor::saveJSONforCategories"),
             QStringList{expectedLog});

    QVERIFY(!processor.imageJSONThatExistForCategories(categories(QStringLiteral("101")), dir.path()));
    QCOMPARE(logger_->texts(LogFlagError, "ContentsJSONProcessor::imageJSONThatExistForCategories"),
             QStringList{expectedLog});

    QCOMPARE(readAll(jsonPath), before);
    QCOMPARE(QFileInfo(jsonPath).lastModified(), modified);
    QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             QStringList{"Contents.json"});
}

void TestContentsJSON::unusableFolder_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("logFormat"); // %1 path of Contents.json, %2 description

    const QString saving = QStringLiteral("ERROR saving JSON to path '%1' : %2");
    QTest::newRow("folder is a file") << "file" << int(ContentsJSONProcessor::FolderIsFile) << saving;
    QTest::newRow("folder missing") << "missing" << int(ContentsJSONProcessor::FolderMissing) << saving;
    QTest::newRow("Contents.json is a folder")
        << "json-folder" << int(ContentsJSONProcessor::FileUnreadable)
        << QStringLiteral("Error reading existing JSON file '%1' : %2");
    // A folder in which nobody, not even root, may create a file.
    QTest::newRow("folder refuses new files") << "proc" << int(ContentsJSONProcessor::WriteFailed) << saving;
}

void TestContentsJSON::unusableFolder()
{
    QFETCH(QString, kind);
    QFETCH(int, code);
    QFETCH(QString, logFormat);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QString folder = dir.filePath(QStringLiteral("AppIcon.appiconset"));
    QByteArray fileBytes = "not a folder\n";
    if (kind == QLatin1String("file")) {
        QFile file(folder);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(fileBytes);
    } else if (kind == QLatin1String("json-folder")) {
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/Contents.json")));
    } else if (kind == QLatin1String("proc")) {
        folder = QStringLiteral("/proc/self");
        if (!QFileInfo(folder).isDir())
            QSKIP("needs /proc");
    }
    const QString jsonPath = QDir(folder).filePath(QStringLiteral("Contents.json"));

    ImageProcessor imageProcessor;
    imageProcessor.setAllImageSizes(testCatalogue());
    ContentsJSONProcessor processor(&imageProcessor);
    Error error;
    QVERIFY(!processor.saveJSONforCategories(categories(QStringLiteral("101")), folder, &error));
    QCOMPARE(error.domain, ContentsJSONProcessor::errorDomain);
    QCOMPARE(error.code, code);
    QVERIFY2(error.localizedDescription.contains(kind == QLatin1String("proc") ? jsonPath : folder),
             qPrintable(error.localizedDescription));
    QCOMPARE(logger_->texts(LogFlagError), QStringList{logFormat.arg(jsonPath, error.localizedDescription)});
    QVERIFY(!processor.imageJSONThatExistForCategories(categories(QStringLiteral("101")), folder));

    if (kind == QLatin1String("file"))
        QCOMPARE(readAll(folder), fileBytes);
    if (kind == QLatin1String("missing"))
        QVERIFY(!QFileInfo::exists(folder));
    if (kind != QLatin1String("proc"))
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(),
                 kind == QLatin1String("missing") ? 0 : 1);
}

void TestContentsJSON::logsWrittenText()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    ImageProcessor imageProcessor;
    imageProcessor.setAllImageSizes(testCatalogue());
    ContentsJSONProcessor processor(&imageProcessor);
    QVERIFY(processor.saveJSONforCategories(categories(QStringLiteral("121")), dir.path()));
    const QString expected = QStringLiteral("json: ") + QString::fromUtf8(contents({marketing}));
    // Verbose statements are asynchronous.
    QTRY_COMPARE_WITH_TIMEOUT(logger_->texts(LogFlagVerbose, "ContentsJSONProcessor::saveJSONforCategories"),
                              QStringList{expected}, 5000);
    QVERIFY(logger_->texts(LogFlagError).isEmpty());
}

// The merge primitives are public; arrays handed to them need not come from a checked file.
void TestContentsJSON::hostileArrays()
{
    const ImageSize phone = makeSize("iphone", 60, 2, "AppIcon-60@2x.png", 101);
    QJsonArray images{QJsonValue(7), QJsonValue(QStringLiteral("text")),
                      QJsonObject{{"idiom", 1}, {"size", "60x60"}, {"scale", "2x"}, {"filename", "x.png"}},
                      QJsonObject{{"idiom", "iphone"}, {"size", "60x60"}, {"scale", "2x"}, {"filename", 5}}};
    ContentsJSONProcessor processor;
    // The last entry holds the slot, and a number is not the size's file name.
    QVERIFY(processor.hasImageSizeWithImage(phone, images));
    processor.addOrReplaceImageSize(phone, images);
    QCOMPARE(images.size(), 4);
    QCOMPARE(images.at(0), QJsonValue(7));
    QCOMPARE(images.at(2).toObject().value("filename"), QJsonValue("x.png"));
    QCOMPARE(images.at(3).toObject().value("filename"), QJsonValue("AppIcon-60@2x.png"));
    QVERIFY(!processor.hasImageSizeWithImage(phone, images));

    // Without an image processor there is no catalogue: nothing to write, nothing to ask.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    Error error;
    QVERIFY(!processor.saveJSONforCategories(categories(QStringLiteral("101")), dir.path(), &error));
    QCOMPARE(error.code, 0);
    QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("Contents.json"))));
}

void TestContentsJSON::xcodeJSON_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("empty object") << QByteArray("{}") << QByteArray("{\n\n}\n");
    QTest::newRow("keys sorted by code unit, upper case first")
        << QByteArray(R"({"b":1,"a":2,"B":3,"aa":4})")
        << QByteArray("{\n  \"B\" : 3,\n  \"a\" : 2,\n  \"aa\" : 4,\n  \"b\" : 1\n}\n");
    QTest::newRow("nested arrays and objects") << QByteArray(R"({"a":[[1,[]],{"x":{}}]})") << QByteArray(R"({
  "a" : [
    [
      1,
      [

      ]
    ],
    {
      "x" : {

      }
    }
  ]
}
)");
    QTest::newRow("numbers") << QByteArray(
                                    R"({"i":1,"n":-12,"f":83.5,"e":1e300,"w":2.0,"big":9007199254740993})")
                             << QByteArray(
                                    "{\n  \"big\" : 9007199254740993,\n  \"e\" : 1e+300,\n  \"f\" : 83.5,\n"
                                    "  \"i\" : 1,\n  \"n\" : -12,\n  \"w\" : 2\n}\n");
    QTest::newRow("literals") << QByteArray(R"({"t":true,"f":false,"n":null})")
                              << QByteArray("{\n  \"f\" : false,\n  \"n\" : null,\n  \"t\" : true\n}\n");
    QTest::newRow("escapes, slash and non-ASCII kept")
        << QByteArray(R"({"s":"a\"b\\c\/d\n\t\r\b\f\u0001\u001f\u00e9\ud83d\ude00"})")
        << QByteArray(
               "{\n  \"s\" : \"a\\\"b\\\\c/d\\n\\t\\r\\b\\f\\u0001\\u001f\xc3\xa9\xf0\x9f\x98\x80\"\n}\n");
    QTest::newRow("escaped key") << QByteArray(R"({"a\"b":""})") << QByteArray("{\n  \"a\\\"b\" : \"\"\n}\n");
}

void TestContentsJSON::xcodeJSON()
{
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, expected);
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(input, &parseError);
    QCOMPARE(parseError.error, QJsonParseError::NoError);
    QByteArray out;
    QVERIFY(XcodeJSON::serialize(document.object(), out));
    QCOMPARE(out, expected);
    // And it reads back to the same document.
    QCOMPARE(QJsonDocument::fromJson(out).object(), document.object());
}

void TestContentsJSON::xcodeJSONRefuses_data()
{
    QTest::addColumn<QJsonObject>("root");
    QTest::addColumn<int>("code");

    QTest::newRow("NaN") << QJsonObject{{"n", qQNaN()}} << int(XcodeJSON::NumberNotFinite);
    QTest::newRow("infinity in an array")
        << QJsonObject{{"a", QJsonArray{1, -qInf()}}} << int(XcodeJSON::NumberNotFinite);
    QJsonArray deep;
    for (int i = 0; i < 300; ++i) {
        QJsonArray outer;
        outer.append(deep);
        deep = outer;
    }
    QTest::newRow("300 levels") << QJsonObject{{"a", deep}} << int(XcodeJSON::TooDeep);
}

void TestContentsJSON::xcodeJSONRefuses()
{
    QFETCH(QJsonObject, root);
    QFETCH(int, code);
    QByteArray out = "untouched";
    Error error;
    QVERIFY(!XcodeJSON::serialize(root, out, &error));
    QCOMPARE(error.code, code);
    QVERIFY(!error.localizedDescription.isEmpty());
    QCOMPARE(out, QByteArray("untouched"));
}

QTEST_GUILESS_MAIN(TestContentsJSON)
#include "tst_contentsjson.moc"
