#pragma once

#include <QWebEnginePage>
#include <functional>

class QWebEngineProfile;

namespace iconfoundry {

// The web page of the announcement windows: asks its owner before following any navigation, and
// lives in announcementProfile().
class AnnouncementWebPage : public QWebEnginePage
{
    Q_OBJECT

public:
    using NavigationPolicy = std::function<bool(const QUrl& url)>;
    AnnouncementWebPage(NavigationPolicy policy, QObject* parent);

    // The profile every announcement page shares, made on first use: kept in memory only (no
    // cookies or cache on disk), scripts off, no access from a page to local files, and every
    // request that is not for web or inline content (file:, qrc: and the like) refused.
    static QWebEngineProfile* announcementProfile();
    // Whether a page may load or navigate to url at all.
    static bool isAllowedScheme(const QUrl& url);

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;

private:
    NavigationPolicy policy_;
};

} // namespace iconfoundry
