#pragma once

#include <QUrl>
#include <memory>

namespace iconfoundry {

// The workspace seam: hands URLs to the desktop (a folder opens in the file browser, a web
// address in the browser). The process-wide instance is replaceable so tests can record the
// calls instead of starting programs. Main thread only.
class Workspace
{
public:
    virtual ~Workspace() = default;
    // True when the desktop accepted the URL.
    virtual bool openURL(const QUrl& url);

    static Workspace& shared();
    // Installs a workspace and returns the previous one; nullptr goes back to the desktop's.
    static std::unique_ptr<Workspace> install(std::unique_ptr<Workspace> workspace);
};

} // namespace iconfoundry
