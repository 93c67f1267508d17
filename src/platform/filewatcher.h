#pragma once

#include <QObject>
#include <QString>
#include <memory>

class QFileSystemWatcher;

namespace iconfoundry {

// Watches one file and reports every change of what lives at its path: writes, deletion,
// renaming it away, and a new file put in its place (the atomic save of most editors: write a
// new file, rename it over the old one). Paths may hold any characters the file system allows.
//
// How: the file and its parent folder are both watched. Every event compares what is at the
// path now (device, inode, size, modification time) with what was there at the last report; a
// difference emits changed() once and re-arms the watch on the file now at the path. Changes of
// attributes alone (permissions, owner) and changes of other files in the folder are not
// reported. A file that disappears is reported once; when a file appears at the path again it
// is reported and watched.
//
// Lives on the thread that created it; signals are emitted there. Not copyable.
class FileWatcher : public QObject
{
    Q_OBJECT

public:
    explicit FileWatcher(QObject* parent = nullptr);
    ~FileWatcher() override;

    // Starts watching path, stopping any earlier watch first (which emits cancelled()). Returns
    // false when neither the file nor its folder could be watched.
    bool watch(const QString& path);
    // Stops watching; emits cancelled() when a watch was running.
    void cancel();

    bool isWatching() const { return watching_; }
    QString path() const { return path_; }

signals:
    void changed(const QString& path);
    void cancelled(const QString& path);

private:
    struct FileState
    {
        bool exists = false;
        quint64 device = 0;
        quint64 inode = 0;
        qint64 size = -1;
        qint64 modifiedNanoseconds = 0;
        bool operator==(const FileState&) const = default;
    };

    static FileState stateOf(const QString& path);
    void pathMayHaveChanged();
    void armFileWatch();

    // A receiver of changed() may cancel the watch while the system watcher is still emitting,
    // so the system watcher is disconnected at once and deleted later, never under its own feet.
    struct DeleteLater
    {
        void operator()(QFileSystemWatcher* watcher) const;
    };

    std::unique_ptr<QFileSystemWatcher, DeleteLater> watcher_;
    QString path_;
    QString folder_;
    FileState lastState_;
    bool watching_ = false;
};

} // namespace iconfoundry
