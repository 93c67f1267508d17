#include "announcements/announcementhistorywindowcontroller.h"

#include "announcementfeed/announcementservice.h"
#include "ui_announcementhistorywindowcontroller.h"

#include <QAbstractButton>
#include <QWidget>

namespace iconfoundry {

AnnouncementHistoryWindowController::AnnouncementHistoryWindowController()
{
    deferredLoad_.setSingleShot(true);
    deferredLoad_.setInterval(kDeferredLoadMilliseconds);
    connect(&deferredLoad_, &QTimer::timeout, this, [this] {
        // The announcement current by now, not the one that started the wait.
        if (announcement() && !announcement()->url().isEmpty())
            loadRequest(announcement()->url());
    });
}

QString AnnouncementHistoryWindowController::windowNibName() const
{
    return QStringLiteral("AnnouncementHistoryWindowController");
}

std::unique_ptr<QWidget> AnnouncementHistoryWindowController::loadWindow()
{
    auto window = std::make_unique<QWidget>();
    Ui::AnnouncementHistoryWindowController().setupUi(window.get());
    nextButton_ = window->findChild<QAbstractButton*>(QStringLiteral("nextButton"));
    previousButton_ = window->findChild<QAbstractButton*>(QStringLiteral("previousButton"));
    return window;
}

void AnnouncementHistoryWindowController::windowDidLoad()
{
    if (announcementService())
        setAnnouncement(announcementService()->lastAnnouncement());
    if (nextButton_)
        connect(nextButton_, &QAbstractButton::clicked, this,
                &AnnouncementHistoryWindowController::nextButtonClicked);
    if (previousButton_)
        connect(previousButton_, &QAbstractButton::clicked, this,
                &AnnouncementHistoryWindowController::previousButtonClicked);
    AnnouncementWindowController::windowDidLoad();
}

void AnnouncementHistoryWindowController::refreshView()
{
    if (!isWindowLoaded())
        return;
    const AnnouncementPtr current = announcement();
    if (current && !current->url().isEmpty()) {
        loadHTMLString(htmlStringForLoading());
        deferredLoad_.start();
    } else {
        deferredLoad_.stop();
        loadHTMLString(htmlStringForAnnouncement());
    }
    if (learnMoreButton())
        learnMoreButton()->setHidden(!current || current->learnMoreURL().isEmpty());
    AnnouncementService* service = announcementService();
    if (nextButton_)
        nextButton_->setEnabled(service && service->hasNextAnnouncement(current));
    if (previousButton_)
        previousButton_->setEnabled(service && service->hasPreviousAnnouncement(current));
}

void AnnouncementHistoryWindowController::nextButtonClicked()
{
    if (announcementService())
        setAnnouncement(announcementService()->nextAnnouncement(announcement()));
    refreshView();
}

void AnnouncementHistoryWindowController::previousButtonClicked()
{
    if (announcementService())
        setAnnouncement(announcementService()->previousAnnouncement(announcement()));
    refreshView();
}

} // namespace iconfoundry
