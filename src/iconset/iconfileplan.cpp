#include "iconset/iconfileplan.h"

#include "logging/log.h"
#include "platform/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace iconfoundry {

QString IconFilePlan::path(const File& file) const
{
    return QDir::cleanPath(QDir(folder_).filePath(file.name));
}

void IconFilePlan::examine()
{
    for (File& file : files_) {
        const QFileInfo info(path(file));
        if (!info.exists() && !info.isSymLink()) {
            file.state = State::New;
            continue;
        }
        QByteArray existing;
        if (QFile in(info.filePath()); info.isFile() && in.open(QIODevice::ReadOnly))
            existing = in.readAll();
        if (info.isFile() && existing == file.bytes)
            file.state = State::Unchanged;
        else if (info.isFile() && (!file.ownsExisting || file.ownsExisting(existing)))
            file.state = State::Refreshed;
        else
            file.state = State::Replaced;
    }
}

QStringList IconFilePlan::names(State state) const
{
    QStringList result;
    for (const File& file : files_)
        if (file.state == state)
            result.append(file.name);
    return result;
}

QStringList IconFilePlan::wouldChange() const
{
    QStringList result;
    for (const File& file : files_)
        if (!file.merged && (file.state == State::Refreshed || file.state == State::Replaced))
            result.append(file.name);
    return result;
}

QString IconFilePlan::stateName(State state)
{
    switch (state) {
    case State::New:
        return QStringLiteral("new");
    case State::Unchanged:
        return QStringLiteral("unchanged");
    case State::Refreshed:
        return QStringLiteral("refreshed");
    case State::Replaced:
        return QStringLiteral("replaced");
    }
    return {};
}

bool IconFilePlan::write(Error* error, const std::function<void(int, int, const QString&)>& progress) const
{
    bool result = true;
    int done = 0;
    for (const File& file : files_) {
        ++done;
        if (file.state != State::Unchanged) {
            const QString target = path(file);
            LOG_INFO("Saving image to path: %s", qUtf8Printable(target));
            Error failure;
            const QString folder = QFileInfo(target).absolutePath();
            bool written = QDir().mkpath(folder);
            if (!written)
                Error::set(&failure, AtomicFile::errorDomain(), int(QFileDevice::WriteError),
                           QStringLiteral("The folder \u201c%1\u201d could not be created.").arg(folder));
            else
                written = AtomicFile::write(target, file.bytes, &failure);
            if (!written) {
                LOG_ERROR("Error saving image to path '%s' : %s", qUtf8Printable(target),
                          qUtf8Printable(failure.localizedDescription));
                if (error)
                    *error = failure;
                result = false;
            }
        }
        if (progress)
            progress(done, int(files_.size()), file.name);
    }
    return result;
}

} // namespace iconfoundry
