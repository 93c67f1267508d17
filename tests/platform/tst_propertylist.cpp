#include "platform/propertylist.h"

#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>
#include <QTimeZone>
#include <cmath>
#include <limits>

namespace {

QByteArray fixture(const QString& name)
{
    QFile file(qEnvironmentVariable("ICONFOUNDRY_TEST_DATA") + QLatin1Char('/') + name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("missing fixture %s", qPrintable(name));
    return file.readAll();
}

QByteArray bigEndian(quint64 value, int width)
{
    QByteArray bytes(width, '\0');
    for (int i = width - 1; i >= 0; --i, value >>= 8)
        bytes[i] = char(value & 0xff);
    return bytes;
}

// A binary property list made of the given objects (object i at index i), one-byte references.
QByteArray binaryPlist(const QList<QByteArray>& objects, quint64 top = 0)
{
    QByteArray out("bplist00");
    QList<quint64> offsets;
    for (const QByteArray& object : objects) {
        offsets.append(quint64(out.size()));
        out += object;
    }
    const quint64 tableOffset = quint64(out.size());
    const int offsetSize = out.size() < 256 ? 1 : 2;
    for (quint64 offset : offsets)
        out += bigEndian(offset, offsetSize);
    out += QByteArray(6, '\0');
    out += char(offsetSize);
    out += char(1);
    out += bigEndian(quint64(objects.size()), 8);
    out += bigEndian(top, 8);
    out += bigEndian(tableOffset, 8);
    return out;
}

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (int v : values)
        out += char(v);
    return out;
}

QByteArray xmlPlist(const QByteArray& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + body + "</plist>\n";
}

QByteArray nested(const char* open, const char* close, int depth, const QByteArray& inner = {})
{
    QByteArray out;
    for (int i = 0; i < depth; ++i)
        out += open;
    out += inner;
    for (int i = 0; i < depth; ++i)
        out += close;
    return out;
}

} // namespace

class TestPropertyList : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryValueKind_data();
    void readsEveryValueKind();
    void readsScalars_data();
    void readsScalars();
    void rejectsHostileXml_data();
    void rejectsHostileXml();
    void rejectsHostileBinary_data();
    void rejectsHostileBinary();
    void rejectsEveryTruncation_data();
    void rejectsEveryTruncation();
    void survivesMutations_data();
    void survivesMutations();
    void rejectsOversizedInput();
};

void TestPropertyList::readsEveryValueKind_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("xml") << "plist-all-types.plist";
    QTest::newRow("binary") << "plist-all-types-binary.plist";
}

void TestPropertyList::readsEveryValueKind()
{
    QFETCH(QString, file);
    QString error;
    const auto root = PropertyList::read(fixture(file), &error);
    QVERIFY2(root, qPrintable(error));
    QCOMPARE(root->metaType().id(), QMetaType::QVariantMap);
    const QVariantMap map = root->toMap();
    QCOMPARE(map.size(), 14);

    auto check = [&](const char* key, QMetaType::Type type, const QVariant& expected) {
        const QVariant value = map.value(QLatin1String(key));
        QVERIFY2(value.metaType().id() == type, key);
        QVERIFY2(value == expected, key);
    };
    check("integer", QMetaType::LongLong, qint64(42));
    check("negative", QMetaType::LongLong, qint64(-7));
    check("large", QMetaType::LongLong, qint64(9007199254740993));
    check("zero", QMetaType::LongLong, qint64(0));
    check("real", QMetaType::Double, 83.5);
    check("tenth", QMetaType::Double, 0.1);
    check("string", QMetaType::QString, QString::fromUtf8("Grüße ☃ 😀"));
    check("empty string", QMetaType::QString, QString());
    check("yes", QMetaType::Bool, true);
    check("no", QMetaType::Bool, false);
    check("data", QMetaType::QByteArray, QByteArray("\x00\x01\xfe\xff", 4));
    check("date", QMetaType::QDateTime, QDateTime(QDate(2024, 2, 29), QTime(13, 45, 7), QTimeZone::utc()));

    const QVariantList list = map.value("list").toList();
    QCOMPARE(list.size(), 5);
    QCOMPARE(list[0], QVariant(qint64(1)));
    QCOMPARE(list[1], QVariant(QStringLiteral("two")));
    QCOMPARE(list[2], QVariant(3.25));
    QCOMPARE(list[3].metaType().id(), QMetaType::QVariantList);
    QCOMPARE(list[4].metaType().id(), QMetaType::QVariantMap);
    const QVariant deeper = map.value("nested").toMap().value("inner").toMap().value("deeper");
    QCOMPARE(deeper.toList(), QVariantList{true});
}

void TestPropertyList::readsScalars_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QVariant>("expected");

    const QByteArray biggestNegative = "<integer>-9223372036854775808</integer>";
    QTest::newRow("xml smallest integer")
        << xmlPlist(biggestNegative) << QVariant(std::numeric_limits<qint64>::min());
    QTest::newRow("xml largest integer")
        << xmlPlist("<integer>9223372036854775807</integer>") << QVariant(std::numeric_limits<qint64>::max());
    QTest::newRow("xml hexadecimal integer") << xmlPlist("<integer>0x1F</integer>") << QVariant(qint64(31));
    QTest::newRow("xml integer with blanks") << xmlPlist("<integer> +12 </integer>") << QVariant(qint64(12));
    QTest::newRow("xml real exponent") << xmlPlist("<real>-2.5e3</real>") << QVariant(-2500.0);
    QTest::newRow("xml real leading dot") << xmlPlist("<real>.75</real>") << QVariant(0.75);
    QTest::newRow("xml reference date")
        << xmlPlist("<date>2001-01-01T00:00:00Z</date>")
        << QVariant(QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc()));
    QTest::newRow("xml date before 1970")
        << xmlPlist("<date>1969-07-20T20:17:40Z</date>")
        << QVariant(QDateTime(QDate(1969, 7, 20), QTime(20, 17, 40), QTimeZone::utc()));
    QTest::newRow("xml entities and cdata") << xmlPlist("<string>a &amp; b &#x263A; <![CDATA[<c>]]></string>")
                                            << QVariant(QString::fromUtf8("a & b ☺ <c>"));
    QTest::newRow("xml data with line breaks")
        << xmlPlist("<data>\n\tAAEC\n\t/w==\n</data>") << QVariant(QByteArray("\x00\x01\x02\xff", 4));
    QTest::newRow("xml without plist element")
        << QByteArray("<array><true/></array>") << QVariant(QVariantList{true});
    QTest::newRow("xml with doctype and comments")
        << QByteArray(
               "<?xml version=\"1.0\"?><!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\"><!-- note --><plist><false/></plist>")
        << QVariant(false);
    QTest::newRow("xml empty dictionary key") << xmlPlist("<dict><key></key><string>x</string></dict>")
                                              << QVariant(QVariantMap{{QString(), QStringLiteral("x")}});
    QTest::newRow("xml 500 levels") << xmlPlist(nested("<array>", "</array>", 500))
                                    << QVariant(); // checked below: deep but within the limit

    QTest::newRow("binary one-byte integer") << binaryPlist({bytes({0x10, 0x2a})}) << QVariant(qint64(42));
    QTest::newRow("binary negative integer")
        << binaryPlist({bytes({0x13, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xfe})})
        << QVariant(qint64(-2));
    QTest::newRow("binary 16-byte integer in range")
        << binaryPlist(
               {bytes({0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff})})
        << QVariant(std::numeric_limits<qint64>::max());
    QTest::newRow("binary float real")
        << binaryPlist({bytes({0x22, 0x42, 0xa7, 0x00, 0x00})}) << QVariant(83.5);
    QTest::newRow("binary utf-16 string")
        << binaryPlist({bytes({0x62, 0x26, 0x03, 0x00, 0x41})}) << QVariant(QString::fromUtf8("☃A"));
    QTest::newRow("binary uid") << binaryPlist({bytes({0x80, 0x07})})
                                << QVariant(QVariantMap{{QStringLiteral("CF$UID"), QVariant(qint64(7))}});
    QTest::newRow("binary array with extended length")
        << binaryPlist({bytes({0xaf, 0x10, 0x02, 0x01, 0x01}), bytes({0x09})})
        << QVariant(QVariantList{true, true});
    QTest::newRow("binary shared object")
        << binaryPlist({bytes({0xa3, 0x01, 0x01, 0x01}), bytes({0x51, 'x'})})
        << QVariant(QVariantList{"x", "x", "x"});
}

void TestPropertyList::readsScalars()
{
    QFETCH(QByteArray, data);
    QFETCH(QVariant, expected);
    QString error;
    const auto value = PropertyList::read(data, &error);
    QVERIFY2(value, qPrintable(error));
    if (!expected.isValid()) {
        int depth = 0;
        QVariant level = *value;
        while (level.metaType().id() == QMetaType::QVariantList && !level.toList().isEmpty()) {
            level = level.toList().first();
            ++depth;
        }
        QCOMPARE(depth, 499);
        return;
    }
    QCOMPARE(value->metaType(), expected.metaType());
    QCOMPARE(*value, expected);
}

void TestPropertyList::rejectsHostileXml_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("reason");

    QTest::newRow("empty") << QByteArray() << "empty";
    QTest::newRow("blanks only") << QByteArray(" \n\t ") << "not well-formed";
    QTest::newRow("plain text") << QByteArray("hello, world") << "not well-formed";
    QTest::newRow("json") << QByteArray("{\"idiom\": \"iphone\"}") << "not well-formed";
    QTest::newRow("html") << QByteArray("<html><body>hi</body></html>") << "not a property list";
    QTest::newRow("unclosed") << QByteArray("<plist><array><true/></plist>") << "not well-formed";
    QTest::newRow("trailing garbage") << (xmlPlist("<true/>") + "junk") << "not well-formed";
    QTest::newRow("empty plist") << xmlPlist("") << "no value";
    QTest::newRow("two values") << xmlPlist("<true/><false/>") << "more than one root";
    QTest::newRow("unknown element") << xmlPlist("<array><integr>1</integr></array>") << "unknown element";
    QTest::newRow("key in array") << xmlPlist("<array><key>k</key></array>") << "unknown element";
    QTest::newRow("text in array") << xmlPlist("<array>loose</array>") << "text outside";
    QTest::newRow("value without key") << xmlPlist("<dict><string>v</string></dict>") << "alternate";
    QTest::newRow("key without value") << xmlPlist("<dict><key>k</key></dict>") << "no value";
    QTest::newRow("element in string") << xmlPlist("<string><true/></string>") << "inside <string>";
    QTest::newRow("integer garbage") << xmlPlist("<integer>abc</integer>") << "integer";
    QTest::newRow("integer empty") << xmlPlist("<integer/>") << "integer";
    QTest::newRow("integer overflow") << xmlPlist("<integer>9223372036854775808</integer>") << "integer";
    QTest::newRow("integer with fraction") << xmlPlist("<integer>1.5</integer>") << "integer";
    QTest::newRow("real garbage") << xmlPlist("<real>1.2.3</real>") << "real";
    QTest::newRow("date garbage") << xmlPlist("<date>yesterday</date>") << "date";
    QTest::newRow("date impossible") << xmlPlist("<date>2023-02-30T00:00:00Z</date>") << "date";
    QTest::newRow("date beyond 2069") << xmlPlist("<date>2100-01-01T00:00:00Z</date>") << "date";
    QTest::newRow("data not base64") << xmlPlist("<data>!!!!</data>") << "base64";
    QTest::newRow("data bad length") << xmlPlist("<data>AAE</data>") << "base64";
    QTest::newRow("boolean with text") << xmlPlist("<true>no</true>") << "boolean";
    QTest::newRow("nul character reference") << xmlPlist("<string>&#0;</string>") << "not well-formed";
    QTest::newRow("raw nul byte") << xmlPlist(QByteArray("<string>a\0b</string>", 20)) << "not well-formed";
    QTest::newRow("invalid utf-8") << xmlPlist("<string>\xff\xfe</string>") << "not well-formed";
    QTest::newRow("undeclared entity") << xmlPlist("<string>&nope;</string>") << "not well-formed";
    QTest::newRow("own entities")
        << QByteArray("<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">]>"
                      "<plist><string>&b;&b;&b;</string></plist>")
        << "entities";
    QTest::newRow("513 levels") << xmlPlist(nested("<array>", "</array>", 513)) << "nested too deeply";
    QTest::newRow("100000 levels") << xmlPlist(nested("<dict><key>k</key>", "</dict>", 100000, "<true/>"))
                                   << "nested too deeply";
}

void TestPropertyList::rejectsHostileXml()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, reason);
    QString error;
    QVERIFY(!PropertyList::read(data, &error));
    QVERIFY2(error.contains(reason, Qt::CaseInsensitive), qPrintable(error));
    QVERIFY(!PropertyList::read(data, nullptr));
}

void TestPropertyList::rejectsHostileBinary_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("reason");

    const QByteArray valid = binaryPlist({bytes({0xa1, 0x01}), bytes({0x10, 0x05})});
    QVERIFY(PropertyList::read(valid));
    auto patched = [&](int fromEnd, int value) {
        QByteArray out = valid;
        out[out.size() - fromEnd] = char(value);
        return out;
    };

    QTest::newRow("magic only") << QByteArray("bplist00") << "truncated";
    QTest::newRow("no trailer") << QByteArray("bplist00\x09") << "truncated";
    QTest::newRow("offset size 0") << patched(26, 0) << "trailer";
    QTest::newRow("reference size 9") << patched(25, 9) << "trailer";
    QTest::newRow("no objects") << patched(17, 0) << "top object";
    QTest::newRow("top object out of range") << patched(9, 2) << "top object";
    QTest::newRow("offset table past the end") << patched(1, 0x7f) << "offset table";
    QTest::newRow("offset table in the header") << patched(1, 0x03) << "offset table";
    QTest::newRow("reference out of range") << binaryPlist({bytes({0xa1, 0x07})}) << "damaged object";
    QTest::newRow("array longer than the file") << binaryPlist({bytes({0xae, 0x00})}) << "damaged object";
    QTest::newRow("string longer than the file")
        << binaryPlist({bytes({0x5f, 0x10, 0x40, 'a'})}) << "damaged object";
    QTest::newRow("ascii string with nul")
        << binaryPlist({bytes({0x53, 'a', 0x00, 'b'})}) << "damaged object";
    QTest::newRow("utf-16 string with nul")
        << binaryPlist({bytes({0x62, 0x00, 0x41, 0x00, 0x00})}) << "damaged object";
    QTest::newRow("dictionary key with nul")
        << binaryPlist({bytes({0xd1, 0x01, 0x02}), bytes({0x52, 'a', 0x00}), bytes({0x09})})
        << "key that is not a valid string";
    QTest::newRow("dictionary key not a string")
        << binaryPlist({bytes({0xd1, 0x01, 0x02}), bytes({0x10, 0x01}), bytes({0x09})})
        << "key that is not a valid string";
    QTest::newRow("array contains itself") << binaryPlist({bytes({0xa1, 0x00})}) << "refers to itself";
    QTest::newRow("two arrays in a ring")
        << binaryPlist({bytes({0xa1, 0x01}), bytes({0xa1, 0x00})}) << "refers to itself";
    QTest::newRow("null object") << binaryPlist({bytes({0x00})}) << "damaged object";
    QTest::newRow("set object") << binaryPlist({bytes({0xc0})}) << "damaged object";
    QTest::newRow("unknown marker") << binaryPlist({bytes({0x70})}) << "damaged object";
    QTest::newRow("integer wider than 16 bytes") << binaryPlist({bytes({0x15, 0x01})}) << "damaged object";
    QTest::newRow("16-byte integer beyond qint64")
        << binaryPlist({bytes({0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0})})
        << "damaged object";
    QTest::newRow("real of 2 bytes") << binaryPlist({bytes({0x21, 0x00, 0x00})}) << "damaged object";
    QTest::newRow("date beyond 2069")
        << binaryPlist({bytes({0x33, 0x41, 0xf0, 0, 0, 0, 0, 0, 0})}) << "damaged object"; // 2^32 s
    QTest::newRow("date not a number")
        << binaryPlist({bytes({0x33, 0x7f, 0xf8, 0, 0, 0, 0, 0, 0})}) << "damaged object";

    // 513 arrays, each holding the next.
    QList<QByteArray> chain;
    for (int i = 0; i < 513; ++i)
        chain.append(i + 1 < 513 ? bytes({0xa1, 0x00}) : bytes({0x09}));
    QByteArray deep = "bplist00";
    QList<quint64> offsets;
    for (int i = 0; i < chain.size(); ++i) {
        offsets.append(deep.size());
        // Two-byte references: index i + 1.
        deep += i + 1 < chain.size() ? bytes({0xa1, (i + 1) >> 8, (i + 1) & 0xff}) : bytes({0x09});
    }
    const quint64 table = deep.size();
    for (quint64 offset : offsets)
        deep += bigEndian(offset, 2);
    deep += QByteArray(6, '\0') + char(2) + char(2) + bigEndian(offsets.size(), 8) + bigEndian(0, 8) +
            bigEndian(table, 8);
    QTest::newRow("513 levels") << deep << "nested too deeply";

    // 64 arrays that each hold the next one twice expand to 2^64 objects.
    QList<QByteArray> doubling;
    for (int i = 0; i < 64; ++i)
        doubling.append(bytes({0xa2, i + 1, i + 1}));
    doubling.append(bytes({0x09}));
    QTest::newRow("shared references expanding") << binaryPlist(doubling) << "too many objects";
}

void TestPropertyList::rejectsHostileBinary()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, reason);
    QString error;
    QVERIFY(!PropertyList::read(data, &error));
    QVERIFY2(error.contains(reason, Qt::CaseInsensitive), qPrintable(error));
}

void TestPropertyList::rejectsEveryTruncation_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("xml") << "plist-all-types.plist";
    QTest::newRow("binary") << "plist-all-types-binary.plist";
}

// Every prefix of a valid file is refused with a description (the XML one may lose only its
// final line break).
void TestPropertyList::rejectsEveryTruncation()
{
    QFETCH(QString, file);
    const QByteArray whole = fixture(file);
    const qsizetype complete = whole.trimmed().size() + (whole.startsWith("bplist") ? 0 : whole.indexOf('<'));
    int refused = 0;
    for (qsizetype length = 0; length < complete; ++length) {
        QString error;
        const auto value = PropertyList::read(whole.left(length), &error);
        QVERIFY2(!value, qPrintable(QStringLiteral("prefix of %1 bytes was accepted").arg(length)));
        QVERIFY(!error.isEmpty());
        ++refused;
    }
    QVERIFY(refused > 300);
}

void TestPropertyList::survivesMutations_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<quint32>("seed");
    QTest::newRow("xml") << "plist-all-types.plist" << 20240229u;
    QTest::newRow("binary") << "plist-all-types-binary.plist" << 83u;
    QTest::newRow("binary catalogue") << "sizes-edge-cases-binary.plist" << 5u;
}

// Random byte flips, insertions, deletions and cuts: each result is a value or a refusal with a
// description, never a crash or an assertion inside the parser.
void TestPropertyList::survivesMutations()
{
    QFETCH(QString, file);
    QFETCH(quint32, seed);
    const QByteArray original = fixture(file);
    QRandomGenerator random(seed);
    int refused = 0;
    constexpr int kRounds = 3000;
    for (int round = 0; round < kRounds; ++round) {
        QByteArray data = original;
        const int edits = 1 + int(random.bounded(6));
        for (int e = 0; e < edits && !data.isEmpty(); ++e) {
            const int at = int(random.bounded(int(data.size())));
            switch (random.bounded(4)) {
            case 0:
                data[at] = char(random.bounded(256));
                break;
            case 1:
                data.insert(at, char(random.bounded(256)));
                break;
            case 2:
                data.remove(at, 1 + int(random.bounded(3)));
                break;
            default:
                data[at] = char(data[at] ^ (1 << random.bounded(8)));
                break;
            }
        }
        QString error;
        if (!PropertyList::read(data, &error)) {
            QVERIFY(!error.isEmpty());
            ++refused;
        }
    }
    // Most mutations break the file; a few land in string contents and still parse.
    QVERIFY2(refused > kRounds / 2, qPrintable(QString::number(refused)));
}

void TestPropertyList::rejectsOversizedInput()
{
    QByteArray huge(PropertyList::kMaximumSize + 1, ' ');
    huge.replace(0, 7, "<plist>");
    QString error;
    QVERIFY(!PropertyList::read(huge, &error));
    QVERIFY2(error.contains(QLatin1String("64 MiB")), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestPropertyList)
#include "tst_propertylist.moc"
