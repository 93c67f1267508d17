#include "iconset/deflatejoin.h"

#include <QRandomGenerator>
#include <QtTest>
#include <libdeflate.h>
#include <vector>

using namespace iconfoundry;

// Deflate streams compressed apart and joined into one: the final block's flag cleared and an
// empty stored block appended, or the stream refused when it is not one well-formed stream.
class TestDeflateJoin : public QObject
{
    Q_OBJECT

private slots:
    void leavesStreamOpen_data();
    void leavesStreamOpen();
    void refuses_data();
    void refuses();
    void joinedPartsInflateToTheWhole_data();
    void joinedPartsInflateToTheWhole();
};

namespace {

std::vector<uint8_t> bytes(const QByteArray& hex)
{
    const QByteArray raw = QByteArray::fromHex(hex);
    return {raw.begin(), raw.end()};
}

} // namespace

void TestDeflateJoin::leavesStreamOpen_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QByteArray>("open");

    // "a" in a fixed-code block: header bits 1 (final) and 01, the literal in 8 bits, end of
    // block in 7; 18 bits. Open: the first bit cleared, three zero bits and the padding fit in
    // the third byte, then length 0 and its complement.
    QTest::newRow("fixed block") << QByteArray("4b0400") << QByteArray("4a04000000ffff");
    // A stored final block of "a" ends on a byte boundary: the empty block's header takes one
    // more byte.
    QTest::newRow("stored block") << QByteArray("010100feff61") << QByteArray("000100feff61000000ffff");
    // A stored block of "b", then the fixed block of "a" as the final one (starting at bit 48).
    QTest::newRow("two blocks, the second final")
        << QByteArray("000100feff624b0400") << QByteArray("000100feff624a04000000ffff");
}

void TestDeflateJoin::leavesStreamOpen()
{
    QFETCH(QByteArray, stream);
    QFETCH(QByteArray, open);
    std::vector<uint8_t> data = bytes(stream);
    const size_t size = data.size();
    data.resize(size + 5, 0xaa); // room, filled with what must not show through
    const size_t opened = leaveDeflateStreamOpen(data.data(), size, data.size());
    QCOMPARE(QByteArray(reinterpret_cast<const char*>(data.data()), qsizetype(opened)).toHex(), open);
}

void TestDeflateJoin::refuses_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<int>("room"); // bytes of room after the stream

    QTest::newRow("empty") << QByteArray() << 5;
    QTest::newRow("no room for the empty block") << QByteArray("4b0400") << 4;
    QTest::newRow("bytes after the final block") << QByteArray("4b040000") << 5;
    QTest::newRow("cut inside the block") << QByteArray("4b04") << 5;
    QTest::newRow("no final block") << QByteArray("000100feff62") << 5;
    QTest::newRow("reserved block type") << QByteArray("07") << 5;
    QTest::newRow("stored length without its complement") << QByteArray("0101000000" "61") << 5;
    QTest::newRow("stored block longer than the data") << QByteArray("010500faff61") << 5;
    // A dynamic block with four code-length codes, each of length 1: only two fit.
    QTest::newRow("over-subscribed code") << QByteArray("050092040000") << 5;
}

void TestDeflateJoin::refuses()
{
    QFETCH(QByteArray, stream);
    QFETCH(int, room);
    std::vector<uint8_t> data = bytes(stream);
    const size_t size = data.size();
    data.resize(size + size_t(room));
    QCOMPARE(leaveDeflateStreamOpen(data.data(), size, data.size()), size_t(0));
}

void TestDeflateJoin::joinedPartsInflateToTheWhole_data()
{
    QTest::addColumn<QByteArrayList>("parts");
    QTest::addColumn<int>("level");

    QByteArray noise(70000, Qt::Uninitialized);
    QRandomGenerator random(7);
    for (char& c : noise)
        c = char(random.bounded(256));
    QByteArray text;
    for (int i = 0; i < 4000; ++i)
        text += QByteArray::number(i * 7919 % 1000) + (i % 3 ? " icon " : " set\n");
    const QByteArray zeros(200000, '\0');

    // Noise is stored; text gets dynamic codes; long runs of one byte end in few symbols; one
    // byte gets a fixed code.
    QTest::newRow("noise, text, zeros") << QByteArrayList{noise, text, zeros} << 7;
    QTest::newRow("text in one-byte and large parts")
        << QByteArrayList{"x", text, "y", text.left(999)} << 7;
    QTest::newRow("fastest and smallest levels") << QByteArrayList{text, noise.left(5000), text} << 1;
    QTest::newRow("smallest level") << QByteArrayList{text, zeros, text} << 12;
}

void TestDeflateJoin::joinedPartsInflateToTheWhole()
{
    QFETCH(QByteArrayList, parts);
    QFETCH(int, level);
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(level);
    QVERIFY(compressor);
    std::vector<uint8_t> joined;
    QByteArray whole;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const QByteArray& part = parts[i];
        std::vector<uint8_t> packed(libdeflate_deflate_compress_bound(compressor, size_t(part.size())) + 5);
        size_t size = libdeflate_deflate_compress(compressor, part.constData(), size_t(part.size()), packed.data(),
                                                  packed.size() - 5);
        QVERIFY(size > 0);
        if (i + 1 < parts.size()) {
            size = leaveDeflateStreamOpen(packed.data(), size, packed.size());
            QVERIFY(size > 0);
        }
        joined.insert(joined.end(), packed.begin(), packed.begin() + qsizetype(size));
        whole += part;
    }
    libdeflate_free_compressor(compressor);

    libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
    QVERIFY(decompressor);
    QByteArray inflated(whole.size(), Qt::Uninitialized);
    size_t in = 0, out = 0;
    const libdeflate_result result = libdeflate_deflate_decompress_ex(
        decompressor, joined.data(), joined.size(), inflated.data(), size_t(inflated.size()), &in, &out);
    libdeflate_free_decompressor(decompressor);
    QCOMPARE(int(result), int(LIBDEFLATE_SUCCESS));
    QCOMPARE(in, joined.size()); // the stream ends where the last part ends
    QCOMPARE(qsizetype(out), whole.size());
    QVERIFY(inflated == whole);
}

QTEST_GUILESS_MAIN(TestDeflateJoin)
#include "tst_deflatejoin.moc"
