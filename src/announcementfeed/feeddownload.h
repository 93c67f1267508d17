#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <optional>

namespace iconfoundry {

// Reads the whole content at a URL, blocking the calling thread: HTTP and HTTPS (redirects
// followed, never from HTTPS down to HTTP), and local files. Runs its own event loop, so it may be
// called from any thread, the thread pool's included, but it must not be called from the main
// thread of a running application (it would hold the interface up to the time-out).
//
// Gives up, answering absent with a one-line reason in *failure, when: the URL cannot be fetched
// (relative, unknown scheme, unreachable), the server answers with an HTTP error status, the
// whole transfer takes longer than timeoutMilliseconds, or the body grows beyond maximumBytes.
class FeedDownload
{
public:
    static constexpr int kDefaultTimeoutMilliseconds = 15000;
    static constexpr qint64 kDefaultMaximumBytes = 1024 * 1024;
    static constexpr int kMaximumRedirects = 10;

    static std::optional<QByteArray> fetch(const QUrl& url,
                                           int timeoutMilliseconds = kDefaultTimeoutMilliseconds,
                                           qint64 maximumBytes = kDefaultMaximumBytes,
                                           QString* failure = nullptr);
};

} // namespace iconfoundry
