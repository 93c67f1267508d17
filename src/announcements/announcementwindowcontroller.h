#pragma once

#include "announcementfeed/announcement.h"

#include <QObject>
#include <QString>
#include <QUrl>
#include <memory>

class QAbstractButton;
class QCheckBox;
class QProgressBar;
class QWebEngineView;
class QWidget;

namespace iconfoundry {

class AnnouncementService;

// The window that shows one announcement, the one chosen at launch: its page in a web view, OK,
// a learn-more button when the announcement has a learn-more address, and for general news that
// may come back a "do not show again" checkbox.
//
// - The window (and with it Qt WebEngine) is built on the first window() or showWindow(), never
//   before; the controller can be created and given its announcement at launch for free.
// - Pages never reach local files: the web view runs in a profile of its own whose requests for
//   anything but web and inline content are refused, and fragments from the feed run no scripts.
//   Links of the scheme "learnmore" open the announcement's learn-more address in the browser,
//   through the workspace seam, and leave the page where it is.
// - The service is not owned; it must outlive the controller. Main thread only.
class AnnouncementWindowController : public QObject
{
    Q_OBJECT

public:
    AnnouncementWindowController();
    ~AnnouncementWindowController() override;

    virtual QString windowNibName() const;
    QWidget* window();
    bool isWindowLoaded() const { return window_ != nullptr; }
    void showWindow();

    // Loads the announcement into the web view and sets the buttons to match it.
    virtual void refreshView();
    // The announcement's page: a whole document ("<html" first, exactly) as it is, else its
    // fragment in the page wrapper.
    QString htmlStringForAnnouncement() const;
    // The wrapper around the "HTML.Loading" text.
    static QString htmlStringForLoading();
    // The fixed page that fragments are shown in: system font, 14 pixels.
    static QString pageWrapper(const QString& body);

    void learnMoreButtonClicked();
    void okButtonClicked();
    void webViewProgressStarted();
    void webViewProgressEstimateChanged(int percent);
    void webViewProgressFinished();
    // Whether the web view may follow a navigation to url. "learnmore" links open the learn-more
    // page instead; local content is never navigated to.
    bool decidePolicyForNavigation(const QUrl& url);

    AnnouncementPtr announcement() const { return announcement_; }
    void setAnnouncement(const AnnouncementPtr& announcement) { announcement_ = announcement; }
    AnnouncementService* announcementService() const { return announcementService_; }
    void setAnnouncementService(AnnouncementService* service) { announcementService_ = service; }

    QCheckBox* dontShowCheckbox() const { return dontShowCheckbox_; }
    QAbstractButton* learnMoreButton() const { return learnMoreButton_; }
    QAbstractButton* okButton() const { return okButton_; }
    QProgressBar* progressIndicator() const { return progressIndicator_; }
    QWebEngineView* webView() const { return webView_; }

protected:
    // Connects the web view and the buttons, then refreshes.
    virtual void windowDidLoad();
    virtual std::unique_ptr<QWidget> loadWindow();
    // Shows html in the web view, as a page of no address (so it has no origin to reach from).
    void loadHTMLString(const QString& html);
    void loadRequest(const QUrl& url);

private:
    void connectOutlets();

    std::unique_ptr<QWidget> window_;
    AnnouncementPtr announcement_;
    AnnouncementService* announcementService_ = nullptr;
    QCheckBox* dontShowCheckbox_ = nullptr;
    QAbstractButton* learnMoreButton_ = nullptr;
    QAbstractButton* okButton_ = nullptr;
    QProgressBar* progressIndicator_ = nullptr;
    QWebEngineView* webView_ = nullptr;
};

} // namespace iconfoundry
