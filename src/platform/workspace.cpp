#include "platform/workspace.h"

#include <QDesktopServices>

namespace {

std::unique_ptr<Workspace>& installedWorkspace()
{
    static std::unique_ptr<Workspace> workspace;
    return workspace;
}

} // namespace

bool Workspace::openURL(const QUrl& url)
{
    return url.isValid() && QDesktopServices::openUrl(url);
}

Workspace& Workspace::shared()
{
    if (auto& installed = installedWorkspace())
        return *installed;
    static Workspace desktop;
    return desktop;
}

std::unique_ptr<Workspace> Workspace::install(std::unique_ptr<Workspace> workspace)
{
    std::unique_ptr<Workspace> previous = std::move(installedWorkspace());
    installedWorkspace() = std::move(workspace);
    return previous;
}
