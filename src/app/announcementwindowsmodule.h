#pragma once

#include "announcementfeed/announcementwindows.h"

#include <QString>
#include <memory>

namespace iconfoundry {

class AnnouncementService;
struct Error;

// Loads the module that holds the announcement windows, once per process, and makes the windows.
//
// The module is "libiconfoundry-announcements.so" in lib/iconfoundry beside the executable's own
// folder, the same in the build tree and an installed tree, or the file ICONFOUNDRY_ANNOUNCEMENTS_MODULE
// names. As root (unless QTWEBENGINE_DISABLE_SANDBOX is set) it is not loaded at all. It is never unloaded:
// Qt WebEngine does not survive being taken out of a running process. Its symbols are all resolved when it
// loads, so a module that does not fit the executable fails there, with the loader's message, and not at some
// later call.
class AnnouncementWindowsModule
{
public:
    static constexpr char fileName[] = "libiconfoundry-announcements.so";
    static constexpr char pathVariable[] = "ICONFOUNDRY_ANNOUNCEMENTS_MODULE";

    static QString path();
    // The windows, or null with error filled when the module cannot be loaded.
    static std::unique_ptr<AnnouncementWindows> createWindows(AnnouncementService* service, Error* error);
};

} // namespace iconfoundry
