#include "platform/filewatcher.h"

#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace iconfoundry {

void FileWatcher::DeleteLater::operator()(QFileSystemWatcher* watcher) const
{
    watcher->disconnect();
    watcher->deleteLater();
}

FileWatcher::FileWatcher(QObject* parent) : QObject(parent) {}

FileWatcher::~FileWatcher() = default;

FileWatcher::FileState FileWatcher::stateOf(const QString& path)
{
    FileState state;
#ifdef Q_OS_UNIX
    struct stat info
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return state;
    state.exists = true;
    state.device = quint64(info.st_dev);
    state.inode = quint64(info.st_ino);
    state.size = qint64(info.st_size);
#if defined(Q_OS_DARWIN)
    state.modifiedNanoseconds = qint64(info.st_mtimespec.tv_sec) * 1000000000 + info.st_mtimespec.tv_nsec;
#else
    state.modifiedNanoseconds = qint64(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
#endif
#else
    const QFileInfo info(path);
    if (!info.exists())
        return state;
    state.exists = true;
    state.size = info.size();
    state.modifiedNanoseconds = info.lastModified().toMSecsSinceEpoch() * 1000000;
#endif
    return state;
}

bool FileWatcher::watch(const QString& path)
{
    cancel();

    path_ = QFileInfo(path).absoluteFilePath();
    folder_ = QFileInfo(path_).absolutePath();
    watcher_.reset(new QFileSystemWatcher);
    connect(watcher_.get(), &QFileSystemWatcher::fileChanged, this, &FileWatcher::pathMayHaveChanged);
    connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, this, &FileWatcher::pathMayHaveChanged);

    lastState_ = stateOf(path_);
    const bool folderWatched = watcher_->addPath(folder_);
    if (lastState_.exists)
        armFileWatch();
    watching_ = folderWatched || watcher_->files().contains(path_);
    if (!watching_)
        watcher_.reset();
    return watching_;
}

void FileWatcher::cancel()
{
    if (!watcher_)
        return;
    // Disconnecting drops the watcher's pending events, so nothing is reported after this.
    watcher_.reset();
    const bool wasWatching = watching_;
    watching_ = false;
    if (wasWatching)
        emit cancelled(path_);
}

void FileWatcher::armFileWatch()
{
    // Removing first makes the watch follow the file now at the path, not the inode that was
    // renamed away or deleted.
    if (watcher_->files().contains(path_))
        watcher_->removePath(path_);
    watcher_->addPath(path_);
}

void FileWatcher::pathMayHaveChanged()
{
    if (!watcher_)
        return;
    const FileState state = stateOf(path_);
    if (state == lastState_)
        return;
    lastState_ = state;
    if (state.exists)
        armFileWatch();
    else if (watcher_->files().contains(path_))
        watcher_->removePath(path_);
    // The last statement: a receiver may cancel or restart the watch.
    emit changed(path_);
}

} // namespace iconfoundry
