#include "announcements/announcementwebpage.h"

#include <QCoreApplication>
#include <QFont>
#include <QGuiApplication>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestInterceptor>

namespace iconfoundry {

namespace {

// Sub-resources too (images, style sheets, frames): a feed that names file:///etc/passwd in an
// <img> gets nothing.
class LocalContentBlocker : public QWebEngineUrlRequestInterceptor
{
public:
    using QWebEngineUrlRequestInterceptor::QWebEngineUrlRequestInterceptor;
    void interceptRequest(QWebEngineUrlRequestInfo& info) override
    {
        if (!AnnouncementWebPage::isAllowedScheme(info.requestUrl()))
            info.block(true);
    }
};

} // namespace

AnnouncementWebPage::AnnouncementWebPage(NavigationPolicy policy, QObject* parent)
    : QWebEnginePage(announcementProfile(), parent), policy_(std::move(policy))
{
}

QWebEngineProfile* AnnouncementWebPage::announcementProfile()
{
    // Owned by the application object, so it outlives every page (pages die with their windows).
    static QWebEngineProfile* profile = [] {
        auto* made = new QWebEngineProfile(QCoreApplication::instance());
        made->setHttpCacheType(QWebEngineProfile::MemoryHttpCache);
        made->setPersistentCookiesPolicy(QWebEngineProfile::NoPersistentCookies);
        made->setUrlRequestInterceptor(new LocalContentBlocker(made));
        QWebEngineSettings* settings = made->settings();
        settings->setAttribute(QWebEngineSettings::JavascriptEnabled, false);
        settings->setAttribute(QWebEngineSettings::LocalContentCanAccessFileUrls, false);
        settings->setAttribute(QWebEngineSettings::LocalContentCanAccessRemoteUrls, false);
        settings->setAttribute(QWebEngineSettings::LocalStorageEnabled, false);
        settings->setAttribute(QWebEngineSettings::PluginsEnabled, false);
        settings->setAttribute(QWebEngineSettings::JavascriptCanOpenWindows, false);
        // The page wrapper asks for the Mac system font; where there is none the page falls back
        // to the standard font, which is made the one the rest of the interface uses.
        settings->setFontFamily(QWebEngineSettings::StandardFont, QGuiApplication::font().family());
        settings->setFontFamily(QWebEngineSettings::SansSerifFont, QGuiApplication::font().family());
        return made;
    }();
    return profile;
}

bool AnnouncementWebPage::isAllowedScheme(const QUrl& url)
{
    const QString scheme = url.scheme();
    return scheme == QLatin1String("http") || scheme == QLatin1String("https") ||
           scheme == QLatin1String("data") || scheme == QLatin1String("about");
}

bool AnnouncementWebPage::acceptNavigationRequest(const QUrl& url, NavigationType, bool)
{
    return policy_ ? policy_(url) : isAllowedScheme(url);
}

} // namespace iconfoundry
