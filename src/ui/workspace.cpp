#include "ui/workspace.h"
#include "platform/seam.h"

#include <QDesktopServices>

namespace iconfoundry {

bool Workspace::openURL(const QUrl& url)
{
    return url.isValid() && QDesktopServices::openUrl(url);
}

Workspace& Workspace::shared()
{
    static Workspace desktop;
    return Seam<Workspace>::shared(desktop);
}

std::unique_ptr<Workspace> Workspace::install(std::unique_ptr<Workspace> workspace)
{
    return Seam<Workspace>::install(std::move(workspace));
}

} // namespace iconfoundry
