#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

namespace iconfoundry {

// Packs files into one uncompressed POSIX tar (ustar) archive, which every desktop's archive tool
// opens. Names longer than 100 bytes are cut; feedback files have short names.
class TarArchive
{
public:
    struct Entry
    {
        QString name;
        QByteArray data;
    };
    static QByteArray archive(const QList<Entry>& entries, const QDateTime& modified);
};

} // namespace iconfoundry
