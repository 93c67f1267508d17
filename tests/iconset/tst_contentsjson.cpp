#include "helper_iconset.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "iconset/xcodejson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

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
    iphone60x2,
    "    {\n      \"idiom\" : \"watch\",\n      \"note\" : \"caf\xc3\xa9 \\\"quoted\\\"\\n/path\",\n"
    "      \"role\" : \"notificationCenter\",\n      \"scale\" : \"2x\",\n      \"size\" : \"24x24\",\n"
    "      \"subtype\" : \"38mm\"\n    }",
    entry("filename=capitalised-idiom.png idiom=iPhone scale=2x size=60x60"),
    iphone20,
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
        QTest::newRow("other idioms, unknown keys and foreign info kept, replaced entry loses its extras")
            << "contents-other-idioms-unknown-keys.json" << QStringList{"101"}
            << contents(otherIdiomsMerged, otherIdiomsTail);
        QTest::newRow("existing file without info keeps none")
            << "contents-without-info.json" << QStringList{"121"} << contents({marketing}, QByteArray());
        QTest::newRow("only the first of two entries of a slot is replaced")
            << "contents-duplicate-slot.json" << QStringList{"101"}
            << contents({iphone60x2, entry("filename=second.png idiom=iphone scale=2x size=60x60"), iphone20,
                         iphone60x3},
                        QByteArray());
        QTest::newRow("sizes without scale or size are appended again")
            << QString() << QStringList{"131,401", "131,401"} << contents({universal, car, universal, car});
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
        QTest::newRow("idiom compared case-sensitively, other idioms ignored")
            << "contents-other-idioms-unknown-keys.json" << QStringList{"AppIcon-60@2x.png"} << "101,301";
        QTest::newRow("either of two entries of a slot counts")
            << "contents-duplicate-slot.json" << QStringList{"AppIcon-60@2x.png"} << "101";
        QTest::newRow("unparsable file: nothing to ask")
            << "contents-truncated.json" << QStringList() << "101";
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
        QTest::newRow("50 MB") << "50MB" << int(Code::FileTooLarge) << "52428800 bytes";
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
        const QString parent = folderWith(setup.endsWith(".json") ? setup : QString());
        const QString folder = setup == "proc" ? u"/proc/self"_s
                               : QStringList{"file", "missing", "json-folder"}.contains(setup)
                                   ? parent + u"/AppIcon.appiconset"_s
                                   : parent;
        const QString jsonPath = folder + u"/Contents.json"_s;
        if (setup == "50MB") { // only the size is wrong with it
            QFile file(jsonPath);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("{\"images\":[]}") == 13);
            QVERIFY(file.write(QByteArray(50 * 1024 * 1024 - 13, ' ')) == 50 * 1024 * 1024 - 13);
        } else if (setup == "json-folder") {
            QVERIFY(QDir().mkpath(jsonPath));
        } else if (setup == "file") {
            QVERIFY(QFile(folder).open(QIODevice::WriteOnly));
        } else if (setup == "proc" && !QFileInfo(folder).isDir()) {
            QSKIP("needs /proc");
        }
        auto snapshot = [&] {
            return QStringList{entriesIn(parent).join('/'), QString::number(qHash(readFile(jsonPath))),
                               QFileInfo(jsonPath).lastModified().toString(Qt::ISODateWithMs),
                               QString::number(QFileInfo(folder).size())};
        };
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

    void logsWrittenText()
    {
        QVERIFY(processor_.saveJSONforCategories(categories("121"), folderWith({})));
        // Verbose statements are asynchronous; texts() waits for them.
        QCOMPARE(logger_->texts(LogFlagVerbose, "ContentsJSONProcessor::saveJSONforCategories"),
                 QStringList{"json: " + QString::fromUtf8(contents({marketing}))});
        QVERIFY(logger_->texts(LogFlagError).isEmpty());
    }

    // The merge primitives are public; arrays handed to them need not come from a checked file.
    void hostileArrays()
    {
        const ImageSize phone = makeSize("iphone", 60, 60, 2, "AppIcon-60@2x.png", 101);
        QJsonArray images{
            7, u"text"_s,
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
        const QString folder = folderWith({});
        Error error;
        QVERIFY(!processor.saveJSONforCategories(categories("101"), folder, &error));
        QCOMPARE(error.code, 0);
        QCOMPARE(entriesIn(folder), QStringList());
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

    std::shared_ptr<RecordingLogger> logger_;
    std::unique_ptr<QTemporaryDir> dir_;
    ImageProcessor images_;
    ContentsJSONProcessor processor_{&images_};
};

QTEST_GUILESS_MAIN(TestContentsJSON)
#include "tst_contentsjson.moc"
