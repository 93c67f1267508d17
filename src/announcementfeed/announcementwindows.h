#pragma once

#include "announcementfeed/announcement.h"

class QWidget;

namespace iconfoundry {

class AnnouncementService;

// The two announcement windows as the application sees them.
//
// They are the only users of Qt WebEngine, whose libraries alone double the time to the first
// window when the executable links them. So the windows live in a module of their own that the
// application loads the first time an announcement is to be shown (AnnouncementWindowsModule in
// the application); this interface is all the application knows of them.
//
// Main thread only. The service is not owned and must outlive the windows.
class AnnouncementWindows
{
public:
    virtual ~AnnouncementWindows() = default;

    // The launch window with announcement, built on first use; a window already on screen
    // changes to the new announcement.
    virtual void showAnnouncement(const AnnouncementPtr& announcement) = 0;
    // The Announcements window of the Help menu.
    virtual void showHistory() = 0;

    // The windows once built, else null, and the announcement each shows.
    virtual QWidget* announcementWindow() const = 0;
    virtual QWidget* historyWindow() const = 0;
    virtual AnnouncementPtr announcement() const = 0;
    virtual AnnouncementPtr historyAnnouncement() const = 0;

    // The module's one entry point: `extern "C"` so that it is found by this plain name.
    using Create = AnnouncementWindows* (*)(AnnouncementService* service);
    static constexpr char createFunctionName[] = "iconfoundry_createAnnouncementWindows";
};

} // namespace iconfoundry
