#include "mainwindow/sourcefilewatch.h"

#include "logging/log.h"
#include "platform/filewatcher.h"

#include <QTimer>

namespace iconfoundry {

SourceFileWatch::SourceFileWatch(QObject* parent) : QObject(parent), watcher_(new FileWatcher(this))
{
    connect(watcher_, &FileWatcher::changed, this, &SourceFileWatch::fileChanged);
    connect(watcher_, &FileWatcher::cancelled, this,
            [] { LOG_INFO("Cancelled currentImageFileVnode monitoring."); });
}

SourceFileWatch::~SourceFileWatch() = default;

bool SourceFileWatch::monitor(const QUrl& url)
{
    url_ = url;
    if (!url.isLocalFile()) {
        watcher_->cancel();
        LOG_ERROR("Cannot watch '%s': not a local file", qUtf8Printable(url.toString(QUrl::FullyEncoded)));
        return false;
    }
    if (!watcher_->watch(url.toLocalFile())) {
        LOG_ERROR("Cannot watch '%s': its folder cannot be watched", qUtf8Printable(url.toLocalFile()));
        return false;
    }
    return true;
}

void SourceFileWatch::cancel()
{
    watcher_->cancel();
}

bool SourceFileWatch::isMonitoring() const
{
    return watcher_->isWatching();
}

void SourceFileWatch::fileChanged()
{
    const QUrl url = url_;
    LOG_INFO("File changed: %s", qUtf8Printable(url.toString(QUrl::FullyEncoded)));
    QTimer::singleShot(ReloadDelayMilliseconds, this, [this, url] { emit reloadDue(url); });
    QTimer::singleShot(NoticeDurationMilliseconds, this, [this] { emit noticeExpired(); });
}

} // namespace iconfoundry
