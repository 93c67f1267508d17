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

namespace {

bool fail(Error* error, const QString& path, QFileDevice::FileError code, const QString& problem)
{
    // One arg() call for both, so that a "%1" inside the path is not substituted again.
    Error::set(error, AtomicFile::errorDomain(), int(code),
               QStringLiteral("Could not save \u201c%1\u201d: %2.").arg(QDir::toNativeSeparators(path), problem));
    return false;
}

} // namespace

bool AtomicFile::write(const QString& path, const QByteArray& data, Error* error, Durability durability)
{
    Staged staged;
    return staged.stage(path, data, error, durability) && staged.commit(error);
}

bool AtomicFile::Staged::stage(const QString& path, const QByteArray& data, Error* error, Durability durability)
{
    discard();
    const QFileInfo info(path);
    const QString folder = info.path();

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
            return fail(error, path, file.error(), file.errorString());
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
        return fail(error, path, QFileDevice::WriteError, writeProblem);
    }
    path_ = path;
    temporary_ = file.fileName();
    return true;
}

bool AtomicFile::Staged::commit(Error* error)
{
    if (!isStaged())
        return fail(error, path_, QFileDevice::RenameError, QStringLiteral("nothing was written"));
    std::error_code ec;
#ifdef Q_OS_WIN
    std::filesystem::rename(temporary_.toStdWString(), path_.toStdWString(), ec);
#else
    std::filesystem::rename(QFile::encodeName(temporary_).toStdString(), QFile::encodeName(path_).toStdString(),
                            ec);
#endif
    if (ec) {
        discard();
        return fail(error, path_, QFileDevice::RenameError, QString::fromStdString(ec.message()));
    }
    temporary_.clear();
    return true;
}

void AtomicFile::Staged::discard()
{
    if (isStaged())
        QFile::remove(temporary_);
    temporary_.clear();
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
