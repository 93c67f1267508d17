#include "app/announcementwindowsmodule.h"

#include "logging/log.h"
#include "platform/error.h"
#include "platform/texts.h"

#include <QCoreApplication>
#include <QDir>
#include <QLibrary>
#include <unistd.h>

namespace iconfoundry {

QString AnnouncementWindowsModule::path()
{
    const QString chosen = qEnvironmentVariable(pathVariable);
    if (!chosen.isEmpty())
        return chosen;
    return QDir(QCoreApplication::applicationDirPath())
        .filePath(QStringLiteral("../lib/iconfoundry/") + QLatin1String(fileName));
}

std::unique_ptr<AnnouncementWindows> AnnouncementWindowsModule::createWindows(AnnouncementService* service,
                                                                              Error* error)
{
    // Chromium's sandbox refuses to run as root, and the engine then ends the whole process
    // rather than fail: as root the pages are not shown at all, unless the sandbox has been
    // turned off on purpose (as our tests, which run as root, do).
    if (geteuid() == 0 && qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX")) {
        LOG_WARN("Announcements are not shown to root: the web engine's sandbox does not run as root");
        Error::set(error, QStringLiteral("AnnouncementWindowsModule"), 2,
                   Texts::text("Alert.AnnouncementsUnavailable.Root"));
        return nullptr;
    }
    // One load per process, kept to the end (never destroyed, as the module is never unloaded);
    // a failed load is not tried again, its message is kept.
    struct Loaded
    {
        QLibrary library;
        QString failure;
        AnnouncementWindows::Create create = nullptr;
    };
    static Loaded* const loaded = [] {
        auto* result = new Loaded;
        result->library.setFileName(QDir::cleanPath(path()));
        result->library.setLoadHints(QLibrary::ResolveAllSymbolsHint);
        if (result->library.load())
            result->create = reinterpret_cast<AnnouncementWindows::Create>(
                result->library.resolve(AnnouncementWindows::createFunctionName));
        if (result->create) {
            LOG_INFO("Loaded the announcement windows from %s", qUtf8Printable(result->library.fileName()));
        } else {
            result->failure = result->library.errorString();
            LOG_ERROR("Cannot load the announcement windows: %s", qUtf8Printable(result->failure));
        }
        return result;
    }();
    if (!loaded->create) {
        Error::set(error, QStringLiteral("AnnouncementWindowsModule"), 1, loaded->failure);
        return nullptr;
    }
    return std::unique_ptr<AnnouncementWindows>(loaded->create(service));
}

} // namespace iconfoundry
