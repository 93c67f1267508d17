#pragma once

#include <QObject>
#include <QUrl>

namespace iconfoundry {

class FileWatcher;

// Watches the file the source image came from and turns each change into a delayed reload.
//
// Every change reported by the file watch (write, delete, rename, a new file renamed over it)
// schedules its own pair of timers: reloadDue() 0.5 s later, so that the writer has finished,
// and noticeExpired() 2 s later, so the update notice can go away. Changes are not coalesced:
// two writes within half a second give two reloads. The timers belong to this object, not to
// the watch: cancelling the watch (as every reload does before watching afresh) leaves the
// scheduled reloads and notices in place.
//
// Lives on the main thread; signals are emitted there.
class SourceFileWatch : public QObject
{
    Q_OBJECT

public:
    static constexpr int ReloadDelayMilliseconds = 500;
    static constexpr int NoticeDurationMilliseconds = 2000;

    explicit SourceFileWatch(QObject* parent = nullptr);
    ~SourceFileWatch() override;

    // Watches url's local file, stopping any earlier watch. False when the file cannot be watched
    // (not a local file, or its folder is missing); the reason is logged.
    bool monitor(const QUrl& url);
    void cancel();
    bool isMonitoring() const;
    QUrl url() const { return url_; }

signals:
    void reloadDue(const QUrl& url);
    void noticeExpired();

private:
    void fileChanged();

    FileWatcher* watcher_;
    QUrl url_;
};

} // namespace iconfoundry
