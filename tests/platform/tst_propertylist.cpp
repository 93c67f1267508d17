#include "common/testsupport.h"
#include "platform/propertylist.h"

#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>
#include <QTimeZone>
#include <limits>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

QByteArray fixture(const QString& name)
{
    QFile file(testData(name));
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

QByteArray hex(const char* digits)
{
    return QByteArray::fromHex(digits);
}

// A binary property list of the given objects (object i at index i, the first on top).
QByteArray binaryPlist(const QList<QByteArray>& objects, int referenceSize = 1)
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
    out += QByteArray(6, '\0') + char(offsetSize) + char(referenceSize);
    return out + bigEndian(quint64(objects.size()), 8) + bigEndian(0, 8) + bigEndian(tableOffset, 8);
}

QByteArray xmlPlist(const QByteArray& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + body + "</plist>\n";
}

QByteArray nested(const char* open, const char* close, int depth, const QByteArray& inner = {})
{
    return QByteArray(open).repeated(depth) + inner + QByteArray(close).repeated(depth);
}

} // namespace

class TestPropertyList : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryValueKind_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("xml") << "plist-all-types.plist";
        QTest::newRow("binary") << "plist-all-types-binary.plist";
    }

    void readsEveryValueKind()
    {
        QFETCH(QString, file);
        QString error;
        const auto root = PropertyList::read(fixture(file), &error);
        QVERIFY2(root, qPrintable(error));
        const QVariantMap map = root->toMap();
        QCOMPARE(map.size(), 14);
        const QVariantMap expected{
            {"integer", qint64(42)},
            {"negative", qint64(-7)},
            {"large", qint64(9007199254740993)},
            {"zero", qint64(0)},
            {"real", 83.5},
            {"tenth", 0.1},
            {"string", QString::fromUtf8("Grüße ☃ 😀")},
            {"empty string", QString()},
            {"yes", true},
            {"no", false},
            {"data", QByteArray("\x00\x01\xfe\xff", 4)},
            {"date", QDateTime(QDate(2024, 2, 29), QTime(13, 45, 7), QTimeZone::utc())},
            {"list", QVariantList{qint64(1), QStringLiteral("two"), 3.25, QVariantList{}, QVariantMap{}}}};
        for (auto it = expected.begin(); it != expected.end(); ++it) {
            const QVariant value = map.value(it.key());
            QVERIFY2(value.metaType() == it->metaType() && value == *it, qPrintable(it.key()));
        }
        const QVariant deeper = map.value("nested").toMap().value("inner").toMap().value("deeper");
        QCOMPARE(deeper.toList(), QVariantList{true});
    }

    void readsScalars_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QVariant>("expected");

        QTest::newRow("xml smallest integer") << xmlPlist("<integer>-9223372036854775808</integer>")
                                              << QVariant(std::numeric_limits<qint64>::min());
        QTest::newRow("xml largest integer") << xmlPlist("<integer>9223372036854775807</integer>")
                                             << QVariant(std::numeric_limits<qint64>::max());
        QTest::newRow("xml hexadecimal integer")
            << xmlPlist("<integer>0x1F</integer>") << QVariant(qint64(31));
        QTest::newRow("xml integer with blanks")
            << xmlPlist("<integer> +12 </integer>") << QVariant(qint64(12));
        QTest::newRow("xml real exponent") << xmlPlist("<real>-2.5e3</real>") << QVariant(-2500.0);
        QTest::newRow("xml real leading dot") << xmlPlist("<real>.75</real>") << QVariant(0.75);
        QTest::newRow("xml reference date")
            << xmlPlist("<date>2001-01-01T00:00:00Z</date>")
            << QVariant(QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc()));
        QTest::newRow("xml date before 1970")
            << xmlPlist("<date>1969-07-20T20:17:40Z</date>")
            << QVariant(QDateTime(QDate(1969, 7, 20), QTime(20, 17, 40), QTimeZone::utc()));
        QTest::newRow("xml entities and cdata")
            << xmlPlist("<string>a &amp; b &#x263A; <![CDATA[<c>]]></string>")
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
        QVariant deep = QVariantList{};
        for (int i = 1; i < 500; ++i)
            deep = QVariantList{deep};
        QTest::newRow("xml 500 levels, within the limit")
            << xmlPlist(nested("<array>", "</array>", 500)) << deep;

        QTest::newRow("binary one-byte integer") << binaryPlist({hex("102a")}) << QVariant(qint64(42));
        QTest::newRow("binary negative integer")
            << binaryPlist({hex("13fffffffffffffffe")}) << QVariant(qint64(-2));
        QTest::newRow("binary 16-byte integer in range")
            << binaryPlist({hex("1400000000000000007fffffffffffffff")})
            << QVariant(std::numeric_limits<qint64>::max());
        QTest::newRow("binary float real") << binaryPlist({hex("2242a70000")}) << QVariant(83.5);
        QTest::newRow("binary utf-16 string")
            << binaryPlist({hex("6226030041")}) << QVariant(QString::fromUtf8("☃A"));
        QTest::newRow("binary uid") << binaryPlist({hex("8007")})
                                    << QVariant(QVariantMap{{QStringLiteral("CF$UID"), QVariant(qint64(7))}});
        QTest::newRow("binary array with extended length")
            << binaryPlist({hex("af10020101"), hex("09")}) << QVariant(QVariantList{true, true});
        QTest::newRow("binary shared object")
            << binaryPlist({hex("a3010101"), hex("5178")}) << QVariant(QVariantList{"x", "x", "x"});
    }

    void readsScalars()
    {
        QFETCH(QByteArray, data);
        QFETCH(QVariant, expected);
        QString error;
        const auto value = PropertyList::read(data, &error);
        QVERIFY2(value, qPrintable(error));
        QCOMPARE(value->metaType(), expected.metaType());
        QCOMPARE(*value, expected);
    }

    void rejectsHostileInput_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("reason");

        QTest::newRow("empty") << QByteArray() << "empty";
        QTest::newRow("plain text") << QByteArray("hello, world") << "not well-formed";
        QTest::newRow("json") << QByteArray("{\"idiom\": \"iphone\"}") << "not well-formed";
        QTest::newRow("html") << QByteArray("<html><body>hi</body></html>") << "not a property list";
        QTest::newRow("unclosed") << QByteArray("<plist><array><true/></plist>") << "not well-formed";
        QTest::newRow("trailing garbage") << (xmlPlist("<true/>") + "junk") << "not well-formed";
        QTest::newRow("empty plist") << xmlPlist("") << "no value";
        QTest::newRow("two values") << xmlPlist("<true/><false/>") << "more than one root";
        QTest::newRow("unknown element")
            << xmlPlist("<array><integr>1</integr></array>") << "unknown element";
        QTest::newRow("text in array") << xmlPlist("<array>loose</array>") << "text outside";
        QTest::newRow("value without key") << xmlPlist("<dict><string>v</string></dict>") << "alternate";
        QTest::newRow("key without value") << xmlPlist("<dict><key>k</key></dict>") << "no value";
        QTest::newRow("element in string") << xmlPlist("<string><true/></string>") << "inside <string>";
        QTest::newRow("integer garbage") << xmlPlist("<integer>abc</integer>") << "integer";
        QTest::newRow("integer overflow") << xmlPlist("<integer>9223372036854775808</integer>") << "integer";
        QTest::newRow("integer with fraction") << xmlPlist("<integer>1.5</integer>") << "integer";
        QTest::newRow("real garbage") << xmlPlist("<real>1.2.3</real>") << "real";
        QTest::newRow("date garbage") << xmlPlist("<date>yesterday</date>") << "date";
        QTest::newRow("date impossible") << xmlPlist("<date>2023-02-30T00:00:00Z</date>") << "date";
        QTest::newRow("date beyond 2069") << xmlPlist("<date>2100-01-01T00:00:00Z</date>") << "date";
        QTest::newRow("data not base64") << xmlPlist("<data>!!!!</data>") << "base64";
        QTest::newRow("boolean with text") << xmlPlist("<true>no</true>") << "boolean";
        QTest::newRow("nul character reference") << xmlPlist("<string>&#0;</string>") << "not well-formed";
        QTest::newRow("raw nul byte")
            << xmlPlist(QByteArray("<string>a\0b</string>", 20)) << "not well-formed";
        QTest::newRow("invalid utf-8") << xmlPlist("<string>\xff\xfe</string>") << "not well-formed";
        QTest::newRow("undeclared entity") << xmlPlist("<string>&nope;</string>") << "not well-formed";
        QTest::newRow("own entities")
            << QByteArray(
                   "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">]>"
                   "<plist><string>&b;&b;&b;</string></plist>")
            << "entities";
        QTest::newRow("513 levels") << xmlPlist(nested("<array>", "</array>", 513)) << "nested too deeply";
        QTest::newRow("100000 levels")
            << xmlPlist(nested("<dict><key>k</key>", "</dict>", 100000, "<true/>")) << "nested too deeply";
        QByteArray huge(PropertyList::kMaximumSize + 1, ' ');
        QTest::newRow("over 64 MiB") << huge.replace(0, 7, "<plist>") << "64 MiB";

        const QByteArray valid = binaryPlist({hex("a101"), hex("1005")});
        QVERIFY(PropertyList::read(valid));
        auto patched = [&](int fromEnd, int value) {
            QByteArray out = valid;
            out[out.size() - fromEnd] = char(value);
            return out;
        };
        QTest::newRow("bplist magic only") << QByteArray("bplist00") << "truncated";
        QTest::newRow("bplist without trailer") << QByteArray("bplist00\x09") << "truncated";
        QTest::newRow("offset size 0") << patched(26, 0) << "trailer";
        QTest::newRow("reference size 9") << patched(25, 9) << "trailer";
        QTest::newRow("no objects") << patched(17, 0) << "top object";
        QTest::newRow("top object out of range") << patched(9, 2) << "top object";
        QTest::newRow("offset table past the end") << patched(1, 0x7f) << "offset table";
        QTest::newRow("offset table in the header") << patched(1, 0x03) << "offset table";
        QTest::newRow("reference out of range") << binaryPlist({hex("a107")}) << "damaged object";
        QTest::newRow("array longer than the file") << binaryPlist({hex("ae00")}) << "damaged object";
        QTest::newRow("ascii string with nul") << binaryPlist({hex("53610062")}) << "damaged object";
        QTest::newRow("utf-16 string with nul") << binaryPlist({hex("6200410000")}) << "damaged object";
        QTest::newRow("dictionary key with nul")
            << binaryPlist({hex("d10102"), hex("526100"), hex("09")}) << "key that is not a valid string";
        QTest::newRow("dictionary key not a string")
            << binaryPlist({hex("d10102"), hex("1001"), hex("09")}) << "key that is not a valid string";
        QTest::newRow("array contains itself") << binaryPlist({hex("a100")}) << "refers to itself";
        QTest::newRow("two arrays in a ring")
            << binaryPlist({hex("a101"), hex("a100")}) << "refers to itself";
        QTest::newRow("set object") << binaryPlist({hex("c0")}) << "damaged object";
        QTest::newRow("unknown marker") << binaryPlist({hex("70")}) << "damaged object";
        QTest::newRow("integer wider than 16 bytes") << binaryPlist({hex("1501")}) << "damaged object";
        QTest::newRow("16-byte integer beyond qint64")
            << binaryPlist({hex("1400000000000000008000000000000000")}) << "damaged object";
        QTest::newRow("real of 2 bytes") << binaryPlist({hex("210000")}) << "damaged object";
        QTest::newRow("date beyond 2069 (2^32 s)")
            << binaryPlist({hex("3341f0000000000000")}) << "damaged object";
        QTest::newRow("date not a number") << binaryPlist({hex("337ff8000000000000")}) << "damaged object";
        // 513 arrays, each holding the next (two-byte references).
        QList<QByteArray> chain;
        for (int i = 1; i < 513; ++i)
            chain.append(hex("a1") + bigEndian(i, 2));
        QTest::newRow("513 binary levels") << binaryPlist(chain << hex("09"), 2) << "nested too deeply";
        // 64 arrays that each hold the next one twice expand to 2^64 objects.
        QList<QByteArray> doubling;
        for (int i = 1; i <= 64; ++i)
            doubling.append(hex("a2") + char(i) + char(i));
        QTest::newRow("shared references expanding")
            << binaryPlist(doubling << hex("09")) << "too many objects";
    }

    void rejectsHostileInput()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, reason);
        QString error;
        QVERIFY(!PropertyList::read(data, &error));
        QVERIFY2(error.contains(reason, Qt::CaseInsensitive), qPrintable(error));
        QVERIFY(!PropertyList::read(data, nullptr));
    }

    void survivesDamage_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<quint32>("seed");
        QTest::newRow("xml") << "plist-all-types.plist" << 20240229u;
        QTest::newRow("binary") << "plist-all-types-binary.plist" << 83u;
        QTest::newRow("binary catalogue") << "sizes-edge-cases-binary.plist" << 5u;
    }

    // Every prefix of a valid file (the XML one may lose its final line break) and random flips,
    // insertions, deletions and cuts give a refusal with a description, never a crash.
    void survivesDamage()
    {
        QFETCH(QString, file);
        QFETCH(quint32, seed);
        const QByteArray original = fixture(file);
        const qsizetype complete =
            original.trimmed().size() + (original.startsWith("bplist") ? 0 : original.indexOf('<'));
        QVERIFY(complete > 300);
        for (qsizetype length = 0; length < complete; ++length) {
            QString error;
            QVERIFY2(!PropertyList::read(original.left(length), &error), qPrintable(QString::number(length)));
            QVERIFY(!error.isEmpty());
        }

        QRandomGenerator random(seed);
        int refused = 0;
        constexpr int kRounds = 3000;
        for (int round = 0; round < kRounds; ++round) {
            QByteArray data = original;
            for (int edits = 1 + int(random.bounded(6)); edits > 0 && !data.isEmpty(); --edits) {
                const int at = int(random.bounded(int(data.size())));
                const quint32 kind = random.bounded(4);
                if (kind == 0)
                    data[at] = char(random.bounded(256));
                else if (kind == 1)
                    data.insert(at, char(random.bounded(256)));
                else if (kind == 2)
                    data.remove(at, 1 + int(random.bounded(3)));
                else
                    data[at] = char(data[at] ^ (1 << random.bounded(8)));
            }
            QString error;
            if (!PropertyList::read(data, &error)) {
                QVERIFY(!error.isEmpty());
                ++refused;
            }
        }
        QVERIFY2(refused > kRounds / 2, qPrintable(QString::number(refused))); // a few land in strings
    }
};

QTEST_GUILESS_MAIN(TestPropertyList)
#include "tst_propertylist.moc"
