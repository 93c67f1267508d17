#pragma once

#include <QList>
#include <QString>
#include <QUrl>
#include <QVariant>
#include <memory>

namespace iconfoundry {

// A named way of sharing: e-mail through a mailto: address, or a web service's share page opened
// in the browser. Services are looked up by name in a registry; a name the registry does not know
// is a service this platform cannot perform.
//
// Items are what the share menu hands over: texts (QString), images (QImage) and links (QUrl), in
// any order. Every service opens a URL through the workspace seam and nothing else, so a test
// sees exactly what would be opened.
class SharingService
{
public:
    // The names the share menu asks for.
    static constexpr char ComposeEmail[] = "ComposeEmail";
    static constexpr char ComposeMessage[] = "ComposeMessage";
    static constexpr char PostOnFacebook[] = "PostOnFacebook";
    static constexpr char PostOnLinkedIn[] = "PostOnLinkedIn";
    static constexpr char PostOnSinaWeibo[] = "PostOnSinaWeibo";
    static constexpr char PostOnTencentWeibo[] = "PostOnTencentWeibo";
    static constexpr char PostOnTwitter[] = "PostOnTwitter";

    virtual ~SharingService() = default;

    // The registered service of that name; null when there is none.
    static SharingService* sharingServiceNamed(const QString& name);

    QString name() const { return name_; }
    // Whether performWithItems() could share these items; with no items, whether the service can
    // share at all.
    virtual bool canPerformWithItems(const QVariantList& items) const;
    // Opens the share address for items; false when it could not be built or opened.
    bool performWithItems(const QVariantList& items) const;
    // The address performWithItems() opens; empty when items hold nothing this service can share.
    virtual QUrl shareURL(const QVariantList& items) const = 0;

protected:
    explicit SharingService(QString name) : name_(std::move(name)) {}

private:
    QString name_;
};

} // namespace iconfoundry
