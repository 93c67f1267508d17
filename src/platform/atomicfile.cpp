#include "platform/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryFile>
#include <filesystem>
#include <system_error>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace iconfoundry {

bool AtomicFile::write(const QString& path, const QByteArray& data, Error* error, Durability durability)
{
    const QFileInfo info(path);
    const QString folder = info.path();
    const auto fail = [&](QFileDevice::FileError code, const QString& problem) {
        // One arg() call for both, so that a "%1" inside the path is not substituted again.
        Error::set(error, errorDomain(), int(code),
                   QStringLiteral("Could not save \u201c%1\u201d: %2.")
                       .arg(QDir::toNativeSeparators(path), problem));
        return false;
    };

    QFile file;
    for (int attempt = 0;; ++attempt) {
        // One arg() call, so that a "%1" or "%2F" inside the folder's name is not substituted.
        const QString temporary = QStringLiteral("%1/.%2.%3.tmp")
                                      .arg(folder, info.fileName(),
                                           QStringLiteral("%1").arg(QRandomGenerator::global()->generate64(),
                                                                    16, 16, QLatin1Char('0')));
        file.setFileName(temporary);
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            break;
        // Retry only a name clash with another writer's temporary file.
        if (attempt >= 16 || !QFileInfo::exists(temporary))
            return fail(file.error(), file.errorString());
    }

    bool written = file.write(data) == data.size() && file.flush();
#ifdef Q_OS_UNIX
    if (written && durability == Durability::PowerLoss)
        written = ::fsync(file.handle()) == 0;
#endif
    const QString writeProblem = file.errorString();
    file.close();
    if (!written || file.error() != QFileDevice::NoError) {
        QFile::remove(file.fileName());
        return fail(QFileDevice::WriteError, writeProblem);
    }

    std::error_code ec;
#ifdef Q_OS_WIN
    std::filesystem::rename(file.fileName().toStdWString(), path.toStdWString(), ec);
#else
    std::filesystem::rename(QFile::encodeName(file.fileName()).toStdString(),
                            QFile::encodeName(path).toStdString(), ec);
#endif
    if (ec) {
        QFile::remove(file.fileName());
        return fail(QFileDevice::RenameError, QString::fromStdString(ec.message()));
    }
    return true;
}

bool AtomicFile::folderTakesNewFiles(const QString& folder, QString* reason)
{
    QTemporaryFile probe(QDir(folder).filePath(QStringLiteral(".iconfoundry-probe-XXXXXX")));
    if (!probe.open()) {
        if (reason)
            *reason = probe.errorString();
        return false;
    }
    return true;
}

} // namespace iconfoundry
