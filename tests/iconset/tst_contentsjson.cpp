#include "helper_iconset.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "iconset/jsonreader.h"
#include "iconset/xcodejson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using namespace iconfoundry;

using namespace helper;
using namespace Qt::StringLiterals;

namespace {

// One entry of "images" as the writer lays it out, from "key=value ..." given in sorted key order.
QByteArray entry(const char* keyValues)
{
    QByteArrayList lines;
    for (const QByteArray& pair : QByteArray(keyValues).split(' ')) {
        const qsizetype equals = pair.indexOf('=');
        lines.append("      \"" + pair.left(equals) + "\" : \"" + pair.mid(equals + 1) + '"');
    }
    return "    {\n" + lines.join(",\n") + "\n    }";
}

const QByteArray iphone20 = entry("filename=AppIcon-20@2x.png idiom=iphone scale=2x size=20x20");
const QByteArray iphone60x2 = entry("filename=AppIcon-60@2x.png idiom=iphone scale=2x size=60x60");
const QByteArray iphone60x3 = entry("filename=AppIcon-60@3x.png idiom=iphone scale=3x size=60x60");
const QByteArray ipad20 = entry("filename=AppIcon-20@2x.png idiom=ipad scale=2x size=20x20");
const QByteArray ipad83 = entry("filename=AppIcon-83.5@2x.png idiom=ipad scale=2x size=83.5x83.5");
const QByteArray marketing = entry("filename=AppIcon-1024.png idiom=ios-marketing scale=1x size=1024x1024");
const QByteArray universal = entry("filename=AppIcon-1024.png idiom=universal platform=ios size=1024x1024");
const QByteArray car = entry("filename=AppIcon-Car@2x.png idiom=car scale=2x");
const QByteArray xcodeInfo = "  \"info\" : {\n    \"author\" : \"xcode\",\n    \"version\" : 1\n  }\n";

// contents-other-idioms-unknown-keys.json after saving category 101 into it.
const QList<QByteArray> otherIdiomsMerged{
    entry("filename=mac-16.png idiom=mac scale=1x size=16x16"),
    // A dark slot is not the default one: it stays as it was, and the default slot is added.
    "    {\n      \"appearances\" : [\n        {\n          \"appearance\" : \"luminosity\",\n"
    "          \"value\" : \"dark\"\n        }\n      ],\n" +
        entry("filename=old-60@2x.png idiom=iphone scale=2x size=60x60").mid(6),
    "    {\n      \"idiom\" : \"watch\",\n      \"note\" : \"caf\\u00e9 \\\"quoted\\\"\\n/path\",\n"
    "      \"role\" : \"notificationCenter\",\n      \"scale\" : \"2x\",\n      \"size\" : \"24x24\",\n"
    "      \"subtype\" : \"38mm\"\n    }",
    entry("filename=capitalised-idiom.png idiom=iPhone scale=2x size=60x60"), iphone20, iphone60x2,
    iphone60x3};
const QByteArray otherIdiomsTail =
    "  \"info\" : {\n    \"author\" : \"designer\",\n    \"version\" : 1\n  },\n"
    "  \"properties\" : {\n    \"pre-rendered\" : true,\n    \"ratio\" : 0.75,\n"
    "    \"tags\" : [\n\n    ]\n  }\n";

// A whole file as the writer lays it out: two-space indent, sorted keys, a final line feed.
QByteArray contents(const QList<QByteArray>& entries, const QByteArray& tail = xcodeInfo)
{
    return "{\n  \"images\" : [\n" + entries.join(",\n") + "\n  ]" + (tail.isEmpty() ? "\n" : ",\n" + tail) +
           "}\n";
}

// Every case the merge rules distinguish: shared file names, a fractional size, a size without
// scale (131), two sizes of one slot (301), a size without "size" (401).
QList<ImageSize> testCatalogue()
{
    auto watch = [](const char* fileName, const char* role, const char* subtype) {
        ImageSize size = makeSize("watch", 24, 24, 2, fileName, 301);
        size.setRole(QString::fromLatin1(role));
        size.setSubtype(QString::fromLatin1(subtype));
        return size;
    };
    return {makeSize("iphone", 20, 20, 2, "AppIcon-20@2x.png", 101),
            makeSize("iphone", 60, 60, 2, "AppIcon-60@2x.png", 101),
            makeSize("iphone", 60, 60, 3, "AppIcon-60@3x.png", 101),
            makeSize("ipad", 20, 20, 2, "AppIcon-20@2x.png", 111),
            makeSize("ipad", 83.5, 83.5, 2, "AppIcon-83.5@2x.png", 111),
            makeSize("ios-marketing", 1024, 1024, 1, "AppIcon-1024.png", 121),
            makeSize("universal", 1024, 1024, 0, "AppIcon-1024.png", 131, 0, "ios"),
            watch("AppIcon-Watch-24@2x.png", "notificationCenter", "38mm"),
            watch("AppIcon-Watch-24b@2x.png", "appLauncher", "40mm"),
            makeSize("car", 0, 0, 2, "AppIcon-Car@2x.png", 401)};
}

} // namespace

class TestContentsJSON : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { images_.setAllImageSizes(testCatalogue()); }

    void init() { Log::addLogger(logger_ = std::make_shared<RecordingLogger>()); }

    void cleanup() { Log::removeLogger(logger_); }

    void saveJSON_data()
    {
        QTest::addColumn<QString>("existing");    // fixture copied in first; empty: no file
        QTest::addColumn<QStringList>("saves");   // category ids of each save, in order
        QTest::addColumn<QByteArray>("expected"); // file afterwards; null: the last save writes nothing

        const QByteArray phone = contents({iphone20, iphone60x2, iphone60x3});
        QTest::newRow("new file in catalogue order") << QString() << QStringList{"101"} << phone;
        QTest::newRow("saving twice gives the same bytes") << QString() << QStringList{"101", "101"} << phone;
        QTest::newRow("category order does not matter, catalogue order does")
            << QString() << QStringList{"121,101"} << contents({iphone20, iphone60x2, iphone60x3, marketing});
        QTest::newRow("later categories append after earlier entries")
            << QString() << QStringList{"121", "101,111"}
            << contents({marketing, iphone20, iphone60x2, iphone60x3, ipad20, ipad83});
        QTest::newRow("entry without filename replaced in place")
            << "contents-empty-slot.json" << QStringList{"101"}
            << contents({iphone60x2, iphone20, iphone60x3});
        QTest::newRow("slots held by other files are taken over")
            << "contents-slots-held-by-other-files.json" << QStringList{"101"}
            << contents({iphone20, iphone60x3, iphone60x2,
                         entry("filename=Icon-167.png idiom=ipad scale=2x size=83.5x83.5")});
        QTest::newRow("other idioms, unknown keys and foreign info kept, an updated entry keeps its own")
            << "contents-other-idioms-unknown-keys.json" << QStringList{"101"}
            << contents(otherIdiomsMerged, otherIdiomsTail);
        QTest::newRow("existing file without info keeps none")
            << "contents-without-info.json" << QStringList{"121"} << contents({marketing}, QByteArray());
        QTest::newRow("only the first of two entries of a slot is replaced")
            << "contents-duplicate-slot.json" << QStringList{"101"}
            << contents({iphone60x2, entry("filename=second.png idiom=iphone scale=2x size=60x60"), iphone20,
                         iphone60x3},
                        QByteArray());
        QTest::newRow("a single size fills its own slot again, a size without size is appended again")
            << QString() << QStringList{"131,401", "131,401"} << contents({universal, car, car});
        QTest::newRow("same idiom, size and scale collapse into the later size's entry")
            << QString() << QStringList{"301"}
            << contents({entry(
                   "filename=AppIcon-Watch-24b@2x.png idiom=watch role=appLauncher scale=2x size=24x24 "
                   "subtype=40mm")});
        QTest::newRow("categories naming no size write no new file")
            << QString() << QStringList{"599"} << QByteArray();
        QTest::newRow("no categories write no new file") << QString() << QStringList{""} << QByteArray();
        QTest::newRow("categories naming no size leave an existing file alone")
            << "contents-other-idioms-unknown-keys.json" << QStringList{"599"} << QByteArray();
    }

    void saveJSON()
    {
        QFETCH(QString, existing);
        QFETCH(QStringList, saves);
        QFETCH(QByteArray, expected);
        const QString folder = folderWith(existing);
        const QString jsonPath = folder + u"/Contents.json"_s;
        const QByteArray before = readFile(jsonPath);

        Error error;
        for (qsizetype i = 0; i < saves.size(); ++i)
            QCOMPARE(processor_.saveJSONforCategories(categories(saves[i]), folder, &error),
                     i + 1 < saves.size() || !expected.isNull());
        // Success and "nothing to write" both leave the error alone.
        QCOMPARE(error.code, 0);
        QVERIFY(error.localizedDescription.isEmpty());
        QCOMPARE(QString::fromUtf8(readFile(jsonPath)),
                 QString::fromUtf8(expected.isNull() ? before : expected));
        // Nothing but the index itself: no temporary files left behind.
        QCOMPARE(entriesIn(folder),
                 existing.isEmpty() && expected.isNull() ? QStringList() : QStringList{"Contents.json"});
    }

    // Which existing entry a size takes: adding the size to a list holding one entry either fills
    // that entry or appends a second one.
    void sameSlot_data()
    {
        QTest::addColumn<QByteArray>("existing"); // the one entry, as JSON
        QTest::addColumn<ImageSize>("size");
        QTest::addColumn<bool>("same");

        ImageSize single = makeSize("universal", 1024, 1024, 0, "AppIcon-Single-1024.png", 131, 0, "ios");
        ImageSize dark = single;
        dark.setAppearance(u"dark"_s);
        ImageSize tinted = single;
        tinted.setAppearance(u"tinted"_s);
        const ImageSize phone = makeSize("iphone", 60, 60, 2, "AppIcon-60@2x.png", 101);
        const QByteArray xcodeSingle = R"({"idiom":"universal","platform":"ios","size":"1024x1024"})";
        const QByteArray xcodeDark = R"({"appearances":[{"appearance":"luminosity","value":"dark"}],
                                         "idiom":"universal","platform":"ios","size":"1024x1024"})";

        QTest::newRow("single size, Xcode's entry without scale") << xcodeSingle << single << true;
        QTest::newRow("single size, entry with a file of its own")
            << QByteArray(
                   R"({"filename":"Icon.png","idiom":"universal","platform":"ios","size":"1024x1024"})")
            << single << true;
        QTest::newRow("single size, another platform")
            << QByteArray(R"({"idiom":"universal","platform":"watchos","size":"1024x1024"})") << single
            << false;
        QTest::newRow("single size, entry without platform")
            << QByteArray(R"({"idiom":"universal","size":"1024x1024"})") << single << false;
        QTest::newRow("single size, entry at 1x")
            << QByteArray(R"({"idiom":"universal","platform":"ios","scale":"1x","size":"1024x1024"})")
            << single << false;
        QTest::newRow("single size, platform not a text")
            << QByteArray(R"({"idiom":"universal","platform":7,"size":"1024x1024"})") << single << false;
        QTest::newRow("dark size, dark entry") << xcodeDark << dark << true;
        QTest::newRow("dark size, default entry") << xcodeSingle << dark << false;
        QTest::newRow("default size, dark entry") << xcodeDark << single << false;
        QTest::newRow("tinted size, dark entry") << xcodeDark << tinted << false;
        QTest::newRow("tinted size, tinted entry written in another key order")
            << QByteArray(R"({"size":"1024x1024","appearances":[{"value":"tinted","appearance":"luminosity"}],
                             "platform":"ios","idiom":"universal"})")
            << tinted << true;
        QTest::newRow("appearances not a list")
            << QByteArray(R"({"appearances":"dark","idiom":"universal","platform":"ios","size":"1024x1024"})")
            << dark << false;
        QTest::newRow("with a scale the platform does not count")
            << QByteArray(R"({"idiom":"iphone","platform":"ios","scale":"2x","size":"60x60"})") << phone
            << true;
        QTest::newRow("with a scale, another scale")
            << QByteArray(R"({"idiom":"iphone","scale":"3x","size":"60x60"})") << phone << false;
        QTest::newRow("scale on one side only")
            << QByteArray(R"({"idiom":"iphone","size":"60x60"})") << phone << false;
    }

    void sameSlot()
    {
        QFETCH(QByteArray, existing);
        QFETCH(ImageSize, size);
        QFETCH(bool, same);
        JsonNode entry;
        QVERIFY(JsonReader::read(existing, XcodeJSON::maxDepth, entry));
        std::vector<JsonNode> images{entry};
        processor_.addOrReplaceImageSize(size, images);
        QCOMPARE(images.size(), same ? size_t(1) : size_t(2));
        if (same)
            QCOMPARE(images[0].member(u"filename")->toString(), size.fileName().value());
    }

    void imageJSONThatExist_data()
    {
        QTest::addColumn<QString>("existing");
        QTest::addColumn<QStringList>("fileNames"); // of the sizes listed, in order; empty: absent
        QTest::addColumn<QString>("categoryIds");

        const QString heldByOthers = u"contents-slots-held-by-other-files.json"_s;
        QTest::newRow("no file") << QString() << QStringList() << "101";
        QTest::newRow("an empty slot is not listed") << "contents-empty-slot.json" << QStringList() << "101";
        QTest::newRow("slots of other files listed in catalogue order, own file not listed")
            << heldByOthers << QStringList{"AppIcon-60@2x.png", "AppIcon-60@3x.png"} << "101";
        QTest::newRow("only the chosen categories' sizes")
            << heldByOthers << QStringList{"AppIcon-83.5@2x.png"} << "111";
        QTest::newRow("no size of the categories in a taken slot")
            << heldByOthers << QStringList() << "121,131,401";
        QTest::newRow("idiom compared case-sensitively, other idioms and the dark slot ignored")
            << "contents-other-idioms-unknown-keys.json" << QStringList() << "101,301";
        QTest::newRow("either of two entries of a slot counts")
            << "contents-duplicate-slot.json" << QStringList{"AppIcon-60@2x.png"} << "101";
        QTest::newRow("unparsable file: nothing to ask")
            << "contents-truncated.json" << QStringList() << "101";
        QTest::newRow("escaped idiom compared by its text; a dark slot is not the default one")
            << "contents-hostile-unknown-values.json" << QStringList() << "101";
        QTest::newRow("no categories") << heldByOthers << QStringList() << "";
    }

    void imageJSONThatExist()
    {
        QFETCH(QString, existing);
        QFETCH(QString, categoryIds);
        QFETCH(QStringList, fileNames);
        const auto sizes =
            processor_.imageJSONThatExistForCategories(categories(categoryIds), folderWith(existing));
        QCOMPARE(sizes.has_value(), !fileNames.isEmpty());
        QStringList names;
        for (const ImageSize& size : sizes.value_or(QList<ImageSize>()))
            names.append(size.fileName().value_or(QString()));
        QCOMPARE(names, fileNames);
    }

    void refusesBadInput_data()
    {
        using Code = ContentsJSONProcessor::ErrorCode;
        QTest::addColumn<QString>("setup"); // a fixture copied in as Contents.json, or what to build
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("detail"); // part of the description besides the path

        QTest::newRow("array root") << "contents-array-root.json" << int(Code::RootNotObject) << "top level";
        QTest::newRow("images not a list")
            << "contents-images-not-array.json" << int(Code::ImagesNotArray) << "\"images\" is not a list";
        QTest::newRow("images holding a text")
            << "contents-images-with-non-object.json" << int(Code::ImageNotObject)
            << "entry 2 of \"images\" is not an object";
        QTest::newRow("size as a number")
            << "contents-size-number.json" << int(Code::ValueNotString) << "\"size\" of entry 1";
        QTest::newRow("filename null")
            << "contents-filename-null.json" << int(Code::ValueNotString) << "\"filename\" of entry 2";
        QTest::newRow("truncated") << "contents-truncated.json" << int(Code::FileNotJSON) << "not valid JSON";
        QTest::newRow("empty file") << "contents-empty-file.json" << int(Code::FileNotJSON)
                                    << "not valid JSON";
        // Valid JSON, but deeper than the writer goes: refused before anything is written.
        QTest::newRow("nested 300 deep")
            << "contents-nested-300-deep.json" << int(Code::NestedTooDeep) << "deeper than 256";
        // The Latin-1 byte 0xF4 sits at offset 45 of the fixture.
        QTest::newRow("Latin-1 file name")
            << "contents-latin1-filename.json" << int(Code::FileNotUTF8) << "offset 45";
        // Keeping either value would silently lose the other.
        QTest::newRow("two images lists")
            << R"({"images":[],"images":[{"idiom":"iphone","scale":"2x","size":"60x60"}]})"
            << int(Code::DuplicateKey) << R"(the key "images" twice in one object (the second at offset 13))";
        QTest::newRow("a key twice in an entry")
            << R"({"images":[{"idiom":"iphone","idiom":"ipad"}]})" << int(Code::DuplicateKey)
            << R"(the key "idiom" twice in one object (the second at offset 29))";
        QTest::newRow("one key spelled two ways in an unknown object")
            << u"{\"x\":{\"caf\\u00e9\":1,\"caf\u00e9\":2}}"_s << int(Code::DuplicateKey)
            << "the key \"caf\\u00e9\" twice in one object (the second at offset 20)";
        QTest::newRow("50 MB") << "50MB" << int(Code::FileTooLarge) << "52428800 bytes";
        // Looked at, never opened: opening a pipe would wait for a writer.
        QTest::newRow("Contents.json is a named pipe")
            << "fifo" << int(Code::FileUnreadable) << "is a named pipe, not a file.";
        QTest::newRow("Contents.json links to a device")
            << "device" << int(Code::FileUnreadable) << "is a device, not a file.";
        QTest::newRow("Contents.json is a folder") << "json-folder" << int(Code::FileUnreadable) << QString();
        QTest::newRow("folder is a file") << "file" << int(Code::FolderIsFile) << QString();
        QTest::newRow("folder missing") << "missing" << int(Code::FolderMissing) << QString();
        // A folder in which nobody, not even root, may create a file.
        QTest::newRow("folder refuses new files")
            << "proc" << int(Code::WriteFailed) << "/proc/self/Contents.json";
    }

    void refusesBadInput()
    {
        QFETCH(QString, setup);
        QFETCH(int, code);
        QFETCH(QString, detail);
        // The codes before FolderMissing are about reading the existing file, the others about saving.
        const bool reading = code < ContentsJSONProcessor::FolderMissing;
        QString parent;
        const QString folder = prepare(setup, &parent);
        if (folder.isEmpty())
            QSKIP("needs /proc");
        const QString jsonPath = folder + u"/Contents.json"_s;
        auto snapshot = [&] { return this->snapshot(parent, jsonPath); };
        const QStringList before = snapshot();

        Error error;
        QVERIFY(!processor_.saveJSONforCategories(categories("101,111"), folder, &error));
        QCOMPARE(error.domain, ContentsJSONProcessor::errorDomain);
        QCOMPARE(error.code, code);
        QVERIFY2(error.localizedDescription.contains(setup == "proc" ? jsonPath : folder) &&
                     error.localizedDescription.contains(detail),
                 qPrintable(error.localizedDescription));
        const QString log = reading ? u"Error reading existing JSON file '%1' : %2"_s
                                    : u"ERROR saving JSON to path '%1' : %2"_s;
        const QStringList logged{log.arg(jsonPath, error.localizedDescription)};
        QCOMPARE(logger_->texts(LogFlagError, "ContentsJSONProcessor::saveJSONforCategories"), logged);
        QVERIFY(!processor_.imageJSONThatExistForCategories(categories("101"), folder));
        QCOMPARE(ContentsJSONProcessor::isBrokenFileError(error), reading);
        if (reading) {
            QCOMPARE(logger_->texts(LogFlagError, "ContentsJSONProcessor::imageJSONThatExistForCategories"),
                     logged);
            Error checkError;
            QVERIFY(!ContentsJSONProcessor::checkContentsJSONInPath(folder, &checkError));
            QCOMPARE(checkError.localizedDescription, error.localizedDescription);
            QCOMPARE(checkError.code, code);
        }
        QCOMPARE(snapshot(), before); // nothing written
    }

    // Categories that name no size write nothing and fail; only a file that was read and found
    // broken is worth an error then, not a path where no file can be read.
    void nothingToWrite_data()
    {
        using Code = ContentsJSONProcessor::ErrorCode;
        QTest::addColumn<QString>("setup"); // as in refusesBadInput
        QTest::addColumn<QString>("categoryIds");
        QTest::addColumn<int>("code"); // 0: no error

        QTest::newRow("missing folder") << "missing"
                                        << "599" << 0;
        QTest::newRow("folder is a file") << "file"
                                          << "" << 0;
        QTest::newRow("Contents.json is a folder") << "json-folder"
                                                   << "599" << 0;
        QTest::newRow("Contents.json is a named pipe") << "fifo"
                                                       << "" << 0;
        QTest::newRow("truncated file") << "contents-truncated.json"
                                        << "599" << int(Code::FileNotJSON);
        QTest::newRow("two images lists") << R"({"images":[],"images":[]})"
                                          << "" << int(Code::DuplicateKey);
    }

    void nothingToWrite()
    {
        QFETCH(QString, setup);
        QFETCH(QString, categoryIds);
        QFETCH(int, code);
        QString parent;
        const QString folder = prepare(setup, &parent);
        const QString jsonPath = folder + u"/Contents.json"_s;
        const QStringList before = snapshot(parent, jsonPath);

        Error error;
        QVERIFY(!processor_.saveJSONforCategories(categories(categoryIds), folder, &error));
        QCOMPARE(error.code, code);
        const QStringList logged =
            logger_->texts(LogFlagError, "ContentsJSONProcessor::saveJSONforCategories");
        QCOMPARE(logged.size(), code ? 1 : 0);
        if (code)
            QCOMPARE(logged.first(), u"Error reading existing JSON file '%1' : %2"_s.arg(
                                         jsonPath, error.localizedDescription));
        QCOMPARE(snapshot(parent, jsonPath), before);
    }

    // What the merge does not own goes back out exactly as it was written; in a file in Xcode's
    // layout only the lines of the slots it fills change.
    void keepsWhatItDoesNotOwn_data()
    {
        QTest::addColumn<QString>("existing");
        QTest::addColumn<QString>("categoryIds");
        QTest::addColumn<QByteArrayList>("kept");    // spellings the merged file still holds
        QTest::addColumn<QByteArrayList>("changes"); // before, after, ...: the original's only changes

        // Numbers a double cannot hold or would spell differently, escapes of every kind, half
        // surrogate pairs, a key with an escape, raw non-ASCII.
        const QByteArrayList hostile{
            "\"big\" : 12345678901234567890,",
            "\"x-order\" : 12345678901234567890\n",
            "\"negative zero\" : -0.0,",
            "\"zero\" : -0\n",
            "      1e27,\n      1E+27,\n      5e-324,\n      100e-2\n",
            "\"fraction\" : 0.1000000000000000055511151231257827,",
            "\"x-weight\" : 1.50\n",
            "\"version\" : 1.0\n",
            "\"lone high\" : \"\\ud800\",",
            "\"lone low\" : \"x\\uDC00y\",",
            "\"x-note\" : \"\\ud800 alone\"",
            "\"pair\" : \"\\ud83d\\ude00\",",
            "\"caf\\u00e9\" : \"key with an escape\",",
            "\"escaped\" : \"\\u0041\\/\\u00e9\\\"\\\\\\b\\f\\n\\r\\t\\u001F\",",
            "\"raw\" : \"\xc3\xa9\xf0\x9f\x98\x80/\",",
            // Same text as the catalogue's idiom: the slot is filled, the spelling stays.
            "\"idiom\" : \"i\\u0070hone\",",
            "      \"appearances\" : [\n        {\n          \"appearance\" : \"luminosity\",\n",
            "\"x-keep\" : 1e-0\n",
        };
        QTest::newRow("hostile values of others; filled slots change only their own lines, the dark one none")
            << "contents-hostile-unknown-values.json"
            << "101" << hostile
            << QByteArrayList{
                   "    {\n      \"idiom\" : \"i\\u0070hone\",",
                   "    {\n      \"filename\" : \"AppIcon-20@2x.png\",\n      \"idiom\" : \"i\\u0070hone\",",
                   "\"x-keep\" : 1e-0\n    }\n",
                   "\"x-keep\" : 1e-0\n    },\n" + iphone60x2 + ",\n" + iphone60x3 + '\n'};
        // Keys a size writes but this one lacks go; everything else of the entry stays.
        QTest::newRow("an updated entry loses only keys the size does not write")
            << "contents-hostile-unknown-values.json"
            << "121" << hostile
            << QByteArrayList{"    {\n      \"idiom\" : \"ios-marketing\",\n      \"platform\" : \"ios\",\n"
                              "      \"role\" : \"x\",\n",
                              "    {\n      \"filename\" : \"AppIcon-1024.png\",\n      \"idiom\" : "
                              "\"ios-marketing\",\n"};
    }

    void keepsWhatItDoesNotOwn()
    {
        QFETCH(QString, existing);
        QFETCH(QString, categoryIds);
        QFETCH(QByteArrayList, kept);
        QFETCH(QByteArrayList, changes);
        const QString folder = folderWith(existing);
        const QByteArray original = readFile(folder + u"/Contents.json"_s);
        QByteArray expected = original;
        for (qsizetype i = 0; i + 1 < changes.size(); i += 2) {
            QCOMPARE(expected.count(changes[i]), 1);
            expected.replace(changes[i], changes[i + 1]);
        }

        QVERIFY(processor_.saveJSONforCategories(categories(categoryIds), folder));
        const QByteArray merged = readFile(folder + u"/Contents.json"_s);
        for (const QByteArray& spelling : kept) {
            QVERIFY2(original.contains(spelling), spelling.constData());
            QVERIFY2(merged.contains(spelling), spelling.constData());
        }
        QCOMPARE(merged, expected);
    }

    void logsWrittenText()
    {
        QVERIFY(processor_.saveJSONforCategories(categories("121"), folderWith({})));
        // Verbose statements are asynchronous; texts() waits for them.
        QCOMPARE(logger_->texts(LogFlagVerbose, "ContentsJSONProcessor::saveJSONforCategories"),
                 QStringList{"json: " + QString::fromUtf8(contents({marketing}))});
        QVERIFY(logger_->texts(LogFlagError).isEmpty());
    }

    // The merge primitives are public; lists handed to them need not come from a checked file.
    void hostileArrays()
    {
        const ImageSize phone = makeSize("iphone", 60, 60, 2, "AppIcon-60@2x.png", 101);
        JsonNode list;
        QVERIFY(JsonReader::read(R"([7, "text", {"idiom":1, "size":"60x60", "scale":"2x", "filename":"x.png"},
                                    {"idiom":"iphone", "size":"60x60", "scale":"2x", "filename":5, "x":0e0}])",
                                 8, list));
        std::vector<JsonNode>& images = list.elements();
        ContentsJSONProcessor processor;
        // The last entry holds the slot, and a number is not the size's file name.
        QVERIFY(processor.hasImageSizeWithImage(phone, images));
        processor.addOrReplaceImageSize(phone, images);
        QVERIFY(!processor.hasImageSizeWithImage(phone, images));
        QByteArray out;
        QVERIFY(XcodeJSON::serialize(list, out));
        QCOMPARE(out,
                 QByteArray("[\n  7,\n  \"text\",\n  {\n    \"filename\" : \"x.png\",\n    \"idiom\" : 1,\n"
                            "    \"scale\" : \"2x\",\n    \"size\" : \"60x60\"\n  },\n  {\n"
                            "    \"filename\" : \"AppIcon-60@2x.png\",\n    \"idiom\" : \"iphone\",\n"
                            "    \"scale\" : \"2x\",\n    \"size\" : \"60x60\",\n    \"x\" : 0e0\n  }\n]\n"));

        // Without an image processor there is no catalogue: nothing to write, nothing to ask.
        const QString folder = folderWith({});
        Error error;
        QVERIFY(!processor.saveJSONforCategories(categories("101"), folder, &error));
        QCOMPARE(error.code, 0);
        QCOMPARE(entriesIn(folder), QStringList());
    }

    void readerRefuses_data()
    {
        using Problem = JsonReader::Problem;
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("maxDepth");
        QTest::addColumn<int>("problem");
        QTest::addColumn<int>("offset");
        QTest::addColumn<QString>("description");

        const int syntax = int(Problem::Syntax);
        QTest::newRow("empty") << QByteArray() << 8 << syntax << 0 << "unexpected end of the text";
        QTest::newRow("blanks only") << QByteArray(" \n\t") << 8 << syntax << 3
                                     << "unexpected end of the text";
        QTest::newRow("comma before ]") << QByteArray("[1,]") << 8 << syntax << 3 << "illegal value";
        QTest::newRow("comma before }")
            << QByteArray("{\"a\":1,}") << 8 << syntax << 7 << "expected a key in quotes";
        QTest::newRow("single quotes")
            << QByteArray("{'a':1}") << 8 << syntax << 1 << "expected a key in quotes";
        QTest::newRow("no colon") << QByteArray("{\"a\" 1}") << 8 << syntax << 5 << "missing name separator";
        QTest::newRow("no comma") << QByteArray("[\"a\" \"b\"]") << 8 << syntax << 5
                                  << "missing value separator";
        QTest::newRow("leading zero") << QByteArray("[01]") << 8 << syntax << 2 << "missing value separator";
        QTest::newRow("minus alone") << QByteArray("[-]") << 8 << syntax << 1 << "illegal number";
        QTest::newRow("no fraction digits") << QByteArray("[1.]") << 8 << syntax << 1 << "illegal number";
        QTest::newRow("no exponent digits") << QByteArray("[1e+]") << 8 << syntax << 1 << "illegal number";
        QTest::newRow("fraction without integer")
            << QByteArray("[.5]") << 8 << syntax << 1 << "illegal value";
        QTest::newRow("plus sign") << QByteArray("[+1]") << 8 << syntax << 1 << "illegal value";
        QTest::newRow("NaN") << QByteArray("[NaN]") << 8 << syntax << 1 << "illegal value";
        QTest::newRow("cut literal") << QByteArray("[tru]") << 8 << syntax << 1 << "illegal value";
        QTest::newRow("unterminated string")
            << QByteArray("[\"abc") << 8 << syntax << 1 << "unterminated string";
        QTest::newRow("backslash at the end")
            << QByteArray("[\"abc\\") << 8 << syntax << 1 << "unterminated string";
        QTest::newRow("raw tab in a string")
            << QByteArray("[\"a\tb\"]") << 8 << syntax << 3 << "control character in a string";
        QTest::newRow("unknown escape")
            << QByteArray("[\"\\x\"]") << 8 << syntax << 2 << "invalid escape sequence";
        QTest::newRow("short \\u") << QByteArray("[\"\\u12\"]") << 8 << syntax << 2
                                   << "invalid escape sequence";
        QTest::newRow("unterminated object")
            << QByteArray("{\"a\":1") << 8 << syntax << 6 << "unterminated object";
        QTest::newRow("unterminated array") << QByteArray("[1") << 8 << syntax << 2 << "unterminated array";
        QTest::newRow("text after the end")
            << QByteArray("{\"a\":1}x") << 8 << syntax << 7 << "garbage at the end of the document";
        QTest::newRow("two documents")
            << QByteArray("{} {}") << 8 << syntax << 3 << "garbage at the end of the document";
        QTest::newRow("Latin-1 byte")
            << QByteArray("[\"\xe9\"]") << 8 << int(Problem::NotUtf8) << 2 << "malformed UTF-8";
        QTest::newRow("surrogate encoded in UTF-8")
            << QByteArray("[\"\xed\xa0\x80\"]") << 8 << int(Problem::NotUtf8) << 2 << "malformed UTF-8";
        QTest::newRow("overlong slash")
            << QByteArray("[\"\xc0\xaf\"]") << 8 << int(Problem::NotUtf8) << 2 << "malformed UTF-8";
        QTest::newRow("one level too deep") << QByteArray("[[[[]]]]") << 2 << int(Problem::TooDeep) << 3
                                            << "containers nest deeper than 2 levels";
        QTest::newRow("a key twice, apart")
            << QByteArray("{\"a\":1,\"b\":2,\"a\":3}") << 8 << int(Problem::DuplicateKey) << 13
            << "the key \"a\" twice in one object";
    }

    void readerRefuses()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, maxDepth);
        QFETCH(int, problem);
        QFETCH(int, offset);
        QFETCH(QString, description);
        JsonNode root(JsonNode::Type::Number, "7");
        JsonReader::Failure failure;
        QVERIFY(!JsonReader::read(text, maxDepth, root, &failure));
        QCOMPARE(int(failure.problem), problem);
        QCOMPARE(failure.offset, offset);
        QCOMPARE(failure.description, description);
        QCOMPARE(root.text(), QByteArray("7")); // left alone
    }

    // What is read is written back in the writer's layout with every spelling of its own.
    void readerKeeps_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("maxDepth");
        QTest::addColumn<QByteArray>("expected");

        QTest::newRow("blanks anywhere") << QByteArray(" \t\r\n{ \"a\" :\n[ 1 , 2 ] } \n") << 8
                                         << QByteArray("{\n  \"a\" : [\n    1,\n    2\n  ]\n}\n");
        QTest::newRow("byte-order mark dropped")
            << QByteArray("\xef\xbb\xbf{\"a\":1}") << 8 << QByteArray("{\n  \"a\" : 1\n}\n");
        QTest::newRow("keys sorted by their text, spelled as read")
            << QByteArray("{\"b\":1,\"\\u0061\":2,\"B\":3}") << 8
            << QByteArray("{\n  \"B\" : 3,\n  \"\\u0061\" : 2,\n  \"b\" : 1\n}\n");
        QTest::newRow("numbers as written")
            << QByteArray("[12345678901234567890,-0.0,-0,1e27,1E+27,2.50,1e400,-1e-400]") << 8
            << QByteArray("[\n  12345678901234567890,\n  -0.0,\n  -0,\n  1e27,\n  1E+27,\n  2.50,\n  1e400,\n"
                          "  -1e-400\n]\n");
        QTest::newRow("escapes as written")
            << QByteArray(
                   "[\"\\ud800\",\"\\uDFFF\\ud800\",\"\\/\",\"\\u00e9\\u00E9\",\"\\\"\\\\\\b\\f\\n\\r\\t\"]")
            << 8
            << QByteArray("[\n"
                          "  \"\\ud800\",\n"
                          "  \"\\uDFFF\\ud800\",\n"
                          "  \"\\/\",\n"
                          "  \"\\u00e9\\u00E9\",\n"
                          "  \"\\\"\\\\\\b\\f\\n\\r\\t\"\n"
                          "]\n"
                          "");
        QTest::newRow("a scalar root") << QByteArray(" -0.0 ") << 8 << QByteArray("-0.0\n");
        QTest::newRow("nested as deep as allowed")
            << QByteArray("[[[]]]") << 2 << QByteArray("[\n  [\n    [\n\n    ]\n  ]\n]\n");
    }

    void readerKeeps()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, maxDepth);
        QFETCH(QByteArray, expected);
        JsonNode root;
        JsonReader::Failure failure;
        QVERIFY2(JsonReader::read(text, maxDepth, root, &failure), qPrintable(failure.description));
        QByteArray out;
        QVERIFY(XcodeJSON::serialize(root, out));
        QCOMPARE(out, expected);
    }

    // A string's spelling, the text it stands for, and how a new string of that text is spelled.
    void strings_data()
    {
        QTest::addColumn<QByteArray>("spelling");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("respelled");

        QTest::newRow("plain") << QByteArray(R"("AppIcon-60@2x.png")") << u"AppIcon-60@2x.png"_s
                               << QByteArray(R"("AppIcon-60@2x.png")");
        QTest::newRow("short escapes, slash not escaped")
            << QByteArray("\"a\\/b\\\"\\\\\\b\\f\\n\\r\\t\"") << u"a/b\"\\\b\f\n\r\t"_s
            << QByteArray("\"a/b\\\"\\\\\\b\\f\\n\\r\\t\"");
        QTest::newRow("other controls as \\u00XX")
            << QByteArray("\"\\u0001\\u001F\"") << u"\x01\x1f"_s << QByteArray("\"\\u0001\\u001f\"");
        QTest::newRow("non-ASCII escaped or raw")
            << QByteArray("\"caf\\u00e9 \xc3\xa9\"") << u"caf\u00e9 \u00e9"_s
            << QByteArray("\"caf\xc3\xa9 \xc3\xa9\"");
        QTest::newRow("a pair of escapes is one character")
            << QByteArray("\"\\ud83d\\ude00\"") << u"\U0001F600"_s << QByteArray("\"\xf0\x9f\x98\x80\"");
        QTest::newRow("half a pair stays half a pair")
            << QByteArray("\"x\\ud800\\uDC00\\uDC00\"")
            << u"x"_s + QChar(0xd800) + QChar(0xdc00) + QChar(0xdc00)
            << QByteArray("\"x\xf0\x90\x80\x80\\udc00\"");
        QTest::newRow("lone high surrogate")
            << QByteArray("\"\\ud800\"") << QString(QChar(0xd800)) << QByteArray("\"\\ud800\"");
    }

    void strings()
    {
        QFETCH(QByteArray, spelling);
        QFETCH(QString, text);
        QFETCH(QByteArray, respelled);
        QCOMPARE(JsonNode::unquoted(spelling), text);
        QCOMPARE(JsonNode::quoted(text), respelled);
        JsonNode node;
        QVERIFY(JsonReader::read(spelling, 0, node));
        QCOMPARE(node.toString(), text);
        QCOMPARE(node.text(), spelling);
    }

    void xcodeJSON_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QByteArray>("expected");

        QTest::newRow("empty object") << QByteArray("{}") << QByteArray("{\n\n}\n");
        QTest::newRow("keys sorted by code unit, upper case first")
            << QByteArray(R"({"b":1,"a":2,"B":3,"aa":4})")
            << QByteArray("{\n  \"B\" : 3,\n  \"a\" : 2,\n  \"aa\" : 4,\n  \"b\" : 1\n}\n");
        QTest::newRow("nested arrays and objects")
            << QByteArray(R"({"a":[[1,[]],{"x":{}}]})")
            << QByteArray(
                   "{\n  \"a\" : [\n    [\n      1,\n      [\n\n      ]\n    ],\n    {\n      \"x\" : {\n\n"
                   "      }\n    }\n  ]\n}\n");
        QTest::newRow("numbers")
            << QByteArray(R"({"i":1,"n":-12,"f":83.5,"e":1e300,"w":2.0,"big":9007199254740993})")
            << QByteArray("{\n  \"big\" : 9007199254740993,\n  \"e\" : 1e+300,\n  \"f\" : 83.5,\n"
                          "  \"i\" : 1,\n  \"n\" : -12,\n  \"w\" : 2\n}\n");
        QTest::newRow("literals") << QByteArray(R"({"t":true,"f":false,"n":null})")
                                  << QByteArray("{\n  \"f\" : false,\n  \"n\" : null,\n  \"t\" : true\n}\n");
        QTest::newRow("escapes, slash and non-ASCII kept")
            << QByteArray("{\"s\":\"a\\\"b\\\\c\\/d\\n\\t\\r\\b\\f\\u0001\\u001f\\u00e9\\ud83d\\ude00\"}")
            << QByteArray("{\n  \"s\" : "
                          "\"a\\\"b\\\\c/d\\n\\t\\r\\b\\f\\u0001\\u001f\xc3\xa9\xf0\x9f\x98\x80\"\n}\n");
        QTest::newRow("escaped key") << QByteArray("{\"a\\\"b\":\"\"}")
                                     << QByteArray("{\n  \"a\\\"b\" : \"\"\n}\n");
    }

    void xcodeJSON()
    {
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, expected);
        const QJsonObject object = QJsonDocument::fromJson(input).object();
        QByteArray out;
        QVERIFY(XcodeJSON::serialize(object, out));
        QCOMPARE(out, expected);
        QCOMPARE(QJsonDocument::fromJson(out).object(), object); // and it reads back to the same document
    }

    void xcodeJSONRefuses_data()
    {
        QTest::addColumn<QJsonObject>("root");
        QTest::addColumn<int>("code");

        QTest::newRow("NaN") << QJsonObject{{"n", qQNaN()}} << int(XcodeJSON::NumberNotFinite);
        QTest::newRow("infinity in an array")
            << QJsonObject{{"a", QJsonArray{1, -qInf()}}} << int(XcodeJSON::NumberNotFinite);
        QJsonArray deep;
        for (int i = 0; i < 300; ++i)
            deep = QJsonArray{deep};
        QTest::newRow("300 levels") << QJsonObject{{"a", deep}} << int(XcodeJSON::TooDeep);
    }

    void xcodeJSONRefuses()
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

private:
    // A fresh folder holding a copy of `file` as Contents.json (none when empty); its path. The
    // name holds "%1" and "%2F", which must reach every message and write unchanged.
    QString folderWith(const QString& file)
    {
        dir_ = std::make_unique<QTemporaryDir>(QDir::tempPath() + u"/icons %1 %2F-XXXXXX"_s);
        if (!file.isEmpty() && !QFile::copy(testData(file), dir_->filePath(u"Contents.json"_s)))
            qFatal("cannot copy %s", qPrintable(file));
        return dir_->path();
    }

    // A folder set up as `setup` says; its path, or empty when the system lacks what it needs.
    // setup is a fixture (*.json), a file's whole text ({...}), or: "50MB" a valid file that is
    // too long, "json-folder" a folder named Contents.json, "fifo" a named pipe named so,
    // "device" a link to /dev/null named so, "file" a file where the folder should be,
    // "missing" no folder, "proc" a folder that takes no new files.
    QString prepare(const QString& setup, QString* parent)
    {
        *parent = folderWith(setup.endsWith(".json") ? setup : QString());
        if (setup == "proc")
            return QFileInfo(u"/proc/self"_s).isDir() ? u"/proc/self"_s : QString();
        const QString folder = QStringList{"file", "missing", "json-folder"}.contains(setup)
                                   ? *parent + u"/AppIcon.appiconset"_s
                                   : *parent;
        const QString jsonPath = folder + u"/Contents.json"_s;
        const QByteArray nativePath = QFile::encodeName(jsonPath);
        bool made = true;
        if (setup.startsWith('{')) {
            QFile file(jsonPath);
            made = file.open(QIODevice::WriteOnly) && file.write(setup.toUtf8()) > 0;
        } else if (setup == "50MB") { // only the size is wrong with it
            QFile file(jsonPath);
            made = file.open(QIODevice::WriteOnly) && file.write("{\"images\":[]}") == 13 &&
                   file.write(QByteArray(50 * 1024 * 1024 - 13, ' ')) == 50 * 1024 * 1024 - 13;
        } else if (setup == "json-folder") {
            made = QDir().mkpath(jsonPath);
        } else if (setup == "fifo") {
            made = ::mkfifo(nativePath.constData(), 0600) == 0;
        } else if (setup == "device") {
            made = QFile::link(u"/dev/null"_s, jsonPath);
        } else if (setup == "file") {
            made = QFile(folder).open(QIODevice::WriteOnly);
        }
        if (!made)
            qFatal("cannot set up %s", qPrintable(setup));
        return folder;
    }

    // What a failed call must leave as it was. A path that is no regular file is not opened:
    // opening a pipe waits for a writer.
    static QStringList snapshot(const QString& parent, const QString& jsonPath)
    {
        const QFileInfo json(jsonPath);
        return QStringList{entriesIn(parent).join('/'),
                           json.isFile() ? QString::number(qHash(readFile(jsonPath))) : QString(),
                           json.lastModified().toString(Qt::ISODateWithMs),
                           QString::number(QFileInfo(json.path()).size())};
    }

    std::shared_ptr<RecordingLogger> logger_;
    std::unique_ptr<QTemporaryDir> dir_;
    ImageProcessor images_;
    ContentsJSONProcessor processor_{&images_};
};

QTEST_GUILESS_MAIN(TestContentsJSON)
#include "tst_contentsjson.moc"
