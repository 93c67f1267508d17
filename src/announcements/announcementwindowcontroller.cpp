#include "announcements/announcementwindowcontroller.h"

#include "announcementfeed/announcementservice.h"
#include "announcements/announcementwebpage.h"
#include "platform/texts.h"
#include "ui/workspace.h"
#include "ui_announcementwindowcontroller.h"

#include <QCheckBox>
#include <QProgressBar>
#include <QPushButton>
#include <QWebEngineSettings>
#include <QWebEngineView>

namespace iconfoundry {

namespace {

// The wrapper's two halves around the body: 137 characters with the "%@" the body replaces.
constexpr char kWrapperHead[] =
    "<html><head><style type=\"text/css\">body{font-family: '-apple-system','HelveticaNeue'; "
    "font-size:14;}</style></head><body>";
constexpr char kWrapperTail[] = "</body></html>";

} // namespace

AnnouncementWindowController::AnnouncementWindowController() = default;

AnnouncementWindowController::~AnnouncementWindowController()
{
    // The page goes before its view, as WebEngine wants: the view does not own a page it was given.
    if (webView_)
        delete webView_->page();
}

QString AnnouncementWindowController::windowNibName() const
{
    return QStringLiteral("AnnouncementWindowController");
}

QWidget* AnnouncementWindowController::window()
{
    if (!window_) {
        window_ = loadWindow();
        connectOutlets();
        windowDidLoad();
    }
    return window_.get();
}

void AnnouncementWindowController::showWindow()
{
    QWidget* shown = window();
    shown->show();
    shown->raise();
    shown->activateWindow();
}

std::unique_ptr<QWidget> AnnouncementWindowController::loadWindow()
{
    auto window = std::make_unique<QWidget>();
    Ui::AnnouncementWindowController().setupUi(window.get());
    return window;
}

void AnnouncementWindowController::connectOutlets()
{
    dontShowCheckbox_ = window_->findChild<QCheckBox*>(QStringLiteral("dontShowCheckbox"));
    learnMoreButton_ = window_->findChild<QAbstractButton*>(QStringLiteral("learnMoreButton"));
    okButton_ = window_->findChild<QAbstractButton*>(QStringLiteral("okButton"));
    progressIndicator_ = window_->findChild<QProgressBar*>(QStringLiteral("progressIndicator"));
    webView_ = window_->findChild<QWebEngineView*>(QStringLiteral("webView"));
}

void AnnouncementWindowController::windowDidLoad()
{
    if (webView_) {
        webView_->setPage(new AnnouncementWebPage(
            [this](const QUrl& url) { return decidePolicyForNavigation(url); }, webView_));
        // Only this window's own view moves its indicator.
        connect(webView_, &QWebEngineView::loadStarted, this,
                &AnnouncementWindowController::webViewProgressStarted);
        connect(webView_, &QWebEngineView::loadProgress, this,
                &AnnouncementWindowController::webViewProgressEstimateChanged);
        connect(webView_, &QWebEngineView::loadFinished, this,
                &AnnouncementWindowController::webViewProgressFinished);
    }
    if (learnMoreButton_)
        connect(learnMoreButton_, &QAbstractButton::clicked, this,
                &AnnouncementWindowController::learnMoreButtonClicked);
    if (okButton_)
        connect(okButton_, &QAbstractButton::clicked, this, &AnnouncementWindowController::okButtonClicked);
    refreshView();
}

void AnnouncementWindowController::refreshView()
{
    if (!window_)
        return;
    if (announcement_ && !announcement_->url().isEmpty()) {
        // The loading text stays until the page arrives.
        loadHTMLString(htmlStringForLoading());
        loadRequest(announcement_->url());
    } else {
        loadHTMLString(htmlStringForAnnouncement());
    }
    if (announcement_ && dontShowCheckbox_) {
        switch (announcement_->announcementType()) {
        case Announcement::AnnouncementTypeWelcome:
        case Announcement::AnnouncementTypeNewVersion:
            dontShowCheckbox_->setHidden(true);
            break;
        case Announcement::AnnouncementTypeAnnouncement:
            // News that never comes back has nothing to stop.
            dontShowCheckbox_->setHidden(announcement_->repeatAfterDays() < 1);
            break;
        default:
            break;
        }
    }
    if (learnMoreButton_)
        learnMoreButton_->setHidden(!announcement_ || announcement_->learnMoreURL().isEmpty());
}

QString AnnouncementWindowController::htmlStringForAnnouncement() const
{
    const QString html = announcement_ ? announcement_->html() : QString();
    if (html.startsWith(QLatin1String("<html")))
        return html;
    return pageWrapper(html.isNull() ? QStringLiteral("(null)") : html);
}

QString AnnouncementWindowController::htmlStringForLoading()
{
    return pageWrapper(Texts::text("HTML.Loading"));
}

QString AnnouncementWindowController::pageWrapper(const QString& body)
{
    return QLatin1String(kWrapperHead) + body + QLatin1String(kWrapperTail);
}

void AnnouncementWindowController::learnMoreButtonClicked()
{
    if (announcement_ && !announcement_->learnMoreURL().isEmpty())
        Workspace::shared().openURL(announcement_->learnMoreURL());
}

void AnnouncementWindowController::okButtonClicked()
{
    // Read whether or not it is visible, as the user left it.
    if (dontShowCheckbox_ && dontShowCheckbox_->isChecked() && announcementService_)
        announcementService_->doNotShowAnnouncementAgain(announcement_);
    if (window_)
        window_->close();
}

void AnnouncementWindowController::webViewProgressStarted()
{
    if (!progressIndicator_)
        return;
    progressIndicator_->setValue(0);
    progressIndicator_->setHidden(false);
}

void AnnouncementWindowController::webViewProgressEstimateChanged(int percent)
{
    if (progressIndicator_)
        progressIndicator_->setValue(percent);
}

void AnnouncementWindowController::webViewProgressFinished()
{
    if (progressIndicator_)
        progressIndicator_->setHidden(true);
}

bool AnnouncementWindowController::decidePolicyForNavigation(const QUrl& url)
{
    if (url.scheme() == QLatin1String("learnmore")) {
        learnMoreButtonClicked();
        return false;
    }
    return AnnouncementWebPage::isAllowedScheme(url);
}

void AnnouncementWindowController::loadHTMLString(const QString& html)
{
    if (!webView_)
        return;
    // Fragments from the feed run no scripts; only a page the feed points at may have them.
    webView_->page()->settings()->setAttribute(QWebEngineSettings::JavascriptEnabled, false);
    webView_->setHtml(html, QUrl());
}

void AnnouncementWindowController::loadRequest(const QUrl& url)
{
    if (!webView_ || !AnnouncementWebPage::isAllowedScheme(url))
        return;
    webView_->page()->settings()->setAttribute(QWebEngineSettings::JavascriptEnabled, true);
    webView_->load(url);
}

} // namespace iconfoundry
