#pragma once

#include "announcements/announcementwindowcontroller.h"

#include <QTimer>

namespace iconfoundry {

// The Announcements window of the Help menu: every announcement of the feed, paged with
// previous and next, opening on the feed's last entry.
//
// The entry is picked when the window is first built; later showings keep the one last viewed.
// A page with an address is loaded a moment after the loading text, and it is the announcement
// current at that moment whose page is loaded, so quick paging never shows a stale page.
class AnnouncementHistoryWindowController : public AnnouncementWindowController
{
    Q_OBJECT

public:
    AnnouncementHistoryWindowController();

    QString windowNibName() const override;
    void refreshView() override;
    void nextButtonClicked();
    void previousButtonClicked();

    QAbstractButton* nextButton() const { return nextButton_; }
    QAbstractButton* previousButton() const { return previousButton_; }

    // How long the page of an address waits behind the loading text.
    static constexpr int kDeferredLoadMilliseconds = 100;

protected:
    void windowDidLoad() override;
    std::unique_ptr<QWidget> loadWindow() override;

private:
    // One pending page load at most: paging on restarts it.
    QTimer deferredLoad_;
    QAbstractButton* nextButton_ = nullptr;
    QAbstractButton* previousButton_ = nullptr;
};

} // namespace iconfoundry
