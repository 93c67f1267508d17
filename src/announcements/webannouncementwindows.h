#pragma once

#include "announcementfeed/announcementwindows.h"

#include <memory>

namespace iconfoundry {

class AnnouncementHistoryWindowController;
class AnnouncementWindowController;

// The announcement windows on Qt WebEngine, as the module hands them to the application. Each
// controller is made on first use and kept; the web engine starts when the first window is built.
class WebAnnouncementWindows final : public AnnouncementWindows
{
public:
    explicit WebAnnouncementWindows(AnnouncementService* service);
    ~WebAnnouncementWindows() override;

    void showAnnouncement(const AnnouncementPtr& announcement) override;
    void showHistory() override;
    QWidget* announcementWindow() const override;
    QWidget* historyWindow() const override;
    AnnouncementPtr announcement() const override;
    AnnouncementPtr historyAnnouncement() const override;

    AnnouncementWindowController* announcementWindowController();
    AnnouncementHistoryWindowController* announcementHistoryWindowController();

private:
    AnnouncementService* service_;
    std::unique_ptr<AnnouncementWindowController> announcementWindowController_;
    std::unique_ptr<AnnouncementHistoryWindowController> announcementHistoryWindowController_;
};

} // namespace iconfoundry
