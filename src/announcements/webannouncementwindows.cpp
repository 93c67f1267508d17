#include "announcements/webannouncementwindows.h"

#include "announcements/announcementhistorywindowcontroller.h"
#include "announcements/announcementwindowcontroller.h"

#include <QWidget>

namespace iconfoundry {

WebAnnouncementWindows::WebAnnouncementWindows(AnnouncementService* service) : service_(service) {}

WebAnnouncementWindows::~WebAnnouncementWindows() = default;

AnnouncementWindowController* WebAnnouncementWindows::announcementWindowController()
{
    if (!announcementWindowController_) {
        announcementWindowController_ = std::make_unique<AnnouncementWindowController>();
        announcementWindowController_->setAnnouncementService(service_);
    }
    return announcementWindowController_.get();
}

AnnouncementHistoryWindowController* WebAnnouncementWindows::announcementHistoryWindowController()
{
    if (!announcementHistoryWindowController_) {
        announcementHistoryWindowController_ = std::make_unique<AnnouncementHistoryWindowController>();
        announcementHistoryWindowController_->setAnnouncementService(service_);
    }
    return announcementHistoryWindowController_.get();
}

void WebAnnouncementWindows::showAnnouncement(const AnnouncementPtr& announcement)
{
    AnnouncementWindowController* controller = announcementWindowController();
    controller->setAnnouncement(announcement);
    // A window built by an earlier showing shows the new announcement too.
    if (controller->isWindowLoaded())
        controller->refreshView();
    controller->showWindow();
}

void WebAnnouncementWindows::showHistory()
{
    announcementHistoryWindowController()->showWindow();
}

QWidget* WebAnnouncementWindows::announcementWindow() const
{
    return announcementWindowController_ && announcementWindowController_->isWindowLoaded()
               ? announcementWindowController_->window()
               : nullptr;
}

QWidget* WebAnnouncementWindows::historyWindow() const
{
    return announcementHistoryWindowController_ && announcementHistoryWindowController_->isWindowLoaded()
               ? announcementHistoryWindowController_->window()
               : nullptr;
}

AnnouncementPtr WebAnnouncementWindows::announcement() const
{
    return announcementWindowController_ ? announcementWindowController_->announcement() : nullptr;
}

AnnouncementPtr WebAnnouncementWindows::historyAnnouncement() const
{
    return announcementHistoryWindowController_ ? announcementHistoryWindowController_->announcement()
                                                : nullptr;
}

} // namespace iconfoundry

// The module's entry point, looked up by name once the application has loaded it.
extern "C" __attribute__((visibility("default"))) iconfoundry::AnnouncementWindows*
iconfoundry_createAnnouncementWindows(iconfoundry::AnnouncementService* service)
{
    return new iconfoundry::WebAnnouncementWindows(service);
}
