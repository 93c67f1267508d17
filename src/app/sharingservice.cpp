#include "app/sharingservice.h"

#include "ui/workspace.h"

#include <map>

namespace iconfoundry {

namespace {

QString firstText(const QVariantList& items)
{
    for (const QVariant& item : items)
        if (item.typeId() == QMetaType::QString)
            return item.toString();
    return {};
}

QUrl firstLink(const QVariantList& items)
{
    for (const QVariant& item : items)
        if (item.typeId() == QMetaType::QUrl && item.toUrl().isValid())
            return item.toUrl();
    return {};
}

// Mail through the desktop's mail program: the text and the link in the body. A mailto: address
// cannot carry the image, so it is left out.
class EmailSharingService : public SharingService
{
public:
    EmailSharingService() : SharingService(QString::fromLatin1(ComposeEmail)) {}

    QUrl shareURL(const QVariantList& items) const override
    {
        const QString text = firstText(items);
        const QUrl link = firstLink(items);
        if (text.isEmpty() && link.isEmpty())
            return {};
        QStringList body;
        if (!text.isEmpty())
            body << text;
        if (!link.isEmpty())
            body << link.toString(QUrl::FullyEncoded);
        return QUrl(QStringLiteral("mailto:?body=") +
                        QString::fromLatin1(QUrl::toPercentEncoding(body.join(QStringLiteral("\n\n")))),
                    QUrl::StrictMode);
    }
};

// A web service's own share page. pattern holds %TEXT% and %LINK%, each percent-encoded when put
// in; a page that needs the link cannot share without one.
class WebPageSharingService : public SharingService
{
public:
    WebPageSharingService(const char* name, QString pattern)
        : SharingService(QString::fromLatin1(name)), pattern_(std::move(pattern))
    {
    }

    QUrl shareURL(const QVariantList& items) const override
    {
        const QUrl link = firstLink(items);
        if (link.isEmpty())
            return {};
        QString address = pattern_;
        address.replace(QLatin1String("%LINK%"),
                        QString::fromLatin1(QUrl::toPercentEncoding(link.toString(QUrl::FullyEncoded))));
        address.replace(QLatin1String("%TEXT%"),
                        QString::fromLatin1(QUrl::toPercentEncoding(firstText(items))));
        return QUrl(address, QUrl::StrictMode);
    }

private:
    QString pattern_;
};

// Messages and Tencent Weibo have no way in from a desktop browser: they are not registered, so
// their menu items are disabled.
const std::map<QString, std::unique_ptr<SharingService>>& registry()
{
    static const auto services = [] {
        std::map<QString, std::unique_ptr<SharingService>> map;
        auto add = [&map](std::unique_ptr<SharingService> service) {
            const QString name = service->name();
            map.emplace(name, std::move(service));
        };
        add(std::make_unique<EmailSharingService>());
        add(std::make_unique<WebPageSharingService>(
            SharingService::PostOnFacebook,
            QStringLiteral("https://www.facebook.com/sharer/sharer.php?u=%LINK%")));
        add(std::make_unique<WebPageSharingService>(
            SharingService::PostOnLinkedIn,
            QStringLiteral("https://www.linkedin.com/sharing/share-offsite/?url=%LINK%")));
        add(std::make_unique<WebPageSharingService>(
            SharingService::PostOnSinaWeibo,
            QStringLiteral("https://service.weibo.com/share/share.php?url=%LINK%&title=%TEXT%")));
        add(std::make_unique<WebPageSharingService>(
            SharingService::PostOnTwitter,
            QStringLiteral("https://twitter.com/intent/tweet?text=%TEXT%&url=%LINK%")));
        return map;
    }();
    return services;
}

} // namespace

SharingService* SharingService::sharingServiceNamed(const QString& name)
{
    const auto& services = registry();
    const auto it = services.find(name);
    return it == services.end() ? nullptr : it->second.get();
}

bool SharingService::canPerformWithItems(const QVariantList& items) const
{
    return items.isEmpty() || !shareURL(items).isEmpty();
}

bool SharingService::performWithItems(const QVariantList& items) const
{
    const QUrl url = shareURL(items);
    return !url.isEmpty() && Workspace::shared().openURL(url);
}

} // namespace iconfoundry
