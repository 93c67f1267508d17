#include "app/tararchive.h"

#include <cstring>

namespace iconfoundry {

namespace {

constexpr int kBlock = 512;

void putOctal(char* field, int width, quint64 value)
{
    // width - 1 digits and a terminating NUL
    const QByteArray digits = QByteArray::number(value, 8).rightJustified(width - 1, '0');
    std::memcpy(field, digits.constData(), size_t(qMin<qsizetype>(digits.size(), width - 1)));
    field[width - 1] = '\0';
}

} // namespace

QByteArray TarArchive::archive(const QList<Entry>& entries, const QDateTime& modified)
{
    QByteArray out;
    for (const Entry& entry : entries) {
        char header[kBlock] = {};
        const QByteArray name = entry.name.toUtf8().left(100);
        std::memcpy(header, name.constData(), size_t(name.size()));
        putOctal(header + 100, 8, 0644);
        putOctal(header + 108, 8, 0);
        putOctal(header + 116, 8, 0);
        putOctal(header + 124, 12, quint64(entry.data.size()));
        putOctal(header + 136, 12, quint64(qMax<qint64>(0, modified.toSecsSinceEpoch())));
        header[156] = '0';
        std::memcpy(header + 257, "ustar", 6);
        std::memcpy(header + 263, "00", 2);
        // The checksum is taken with its own field read as spaces.
        std::memset(header + 148, ' ', 8);
        unsigned sum = 0;
        for (unsigned char c : header)
            sum += c;
        putOctal(header + 148, 7, sum);
        header[155] = ' ';
        out.append(header, kBlock);
        out.append(entry.data);
        out.append(QByteArray((kBlock - entry.data.size() % kBlock) % kBlock, '\0'));
    }
    out.append(QByteArray(2 * kBlock, '\0'));
    return out;
}

} // namespace iconfoundry
