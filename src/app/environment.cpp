#include "app/environment.h"

#include "platform/propertylist.h"

#include <QVariantMap>

namespace iconfoundry {

QUrl Environment::url(const char* key)
{
    const std::optional<QVariant> root = PropertyList::readResource(QStringLiteral("Environment"));
    if (!root)
        return {};
    const QUrl url(root->toMap().value(QString::fromLatin1(key)).toString(), QUrl::StrictMode);
    const QString scheme = url.scheme();
    if (!url.isValid() || url.host().isEmpty() ||
        (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return {};
    return url;
}

} // namespace iconfoundry
