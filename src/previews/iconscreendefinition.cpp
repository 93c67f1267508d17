#include "previews/iconscreendefinition.h"

#include "iconset/cataloguecoding.h"

#include <QCborMap>
#include <QVariantList>
#include <QVariantMap>

namespace iconfoundry {

namespace {

const QString kArchiveClass = QStringLiteral("IconScreenDefinition");
constexpr qsizetype kInitialSlotCapacity = 32;

} // namespace

IconScreenDefinition::IconScreenDefinition(const QVariantMap& dictionary)
    : title_(dictionary.value(QStringLiteral("Title")).toString()),
      backgroundImageName_(dictionary.value(QStringLiteral("BackgroundImageName")).toString()),
      appIconLocations_(iconLocationsFromDictionary(dictionary.value(QStringLiteral("AppIcon")))),
      watchIconLocations_(iconLocationsFromDictionary(dictionary.value(QStringLiteral("WatchIcon"))))
{
}

std::optional<QList<IconDefinition>> IconScreenDefinition::iconLocationsFromDictionary(const QVariant& group)
{
    if (!group.isValid())
        return std::nullopt;
    using CatalogueCoding::floatValue;
    const QVariantMap map = group.toMap();
    const double size = floatValue(map.value(QStringLiteral("Size")));
    const double width = floatValue(map.value(QStringLiteral("Width")));
    const double height = floatValue(map.value(QStringLiteral("Height")));
    const double cornerRadius = floatValue(map.value(QStringLiteral("CornerRadius")));
    const QVariantMap locations = map.value(QStringLiteral("Locations")).toMap();
    const QVariantList xs = locations.value(QStringLiteral("X")).toList();
    const QVariantList ys = locations.value(QStringLiteral("Y")).toList();

    QList<IconDefinition> places;
    places.reserve(kInitialSlotCapacity);
    for (const QVariant& y : ys) {
        for (const QVariant& x : xs) {
            IconDefinition slot;
            slot.width = size > 0 ? size : width;
            slot.height = size > 0 ? size : height;
            slot.cornerRadius = cornerRadius;
            slot.origin = QPointF(floatValue(x), floatValue(y));
            places.append(slot);
        }
    }
    return places;
}

QByteArray IconScreenDefinition::archive() const
{
    QCborMap root;
    root.insert(QStringLiteral("Title"), title_);
    root.insert(QStringLiteral("BackgroundImageName"), backgroundImageName_);
    return CatalogueCoding::encodeArchive(kArchiveClass, root);
}

std::optional<IconScreenDefinition> IconScreenDefinition::unarchive(const QByteArray& data)
{
    const auto root = CatalogueCoding::decodeArchive(data, kArchiveClass);
    if (!root || !root->isMap())
        return std::nullopt;
    std::optional<QString> title, backgroundImageName;
    if (!CatalogueCoding::readString(root->toMap(), "Title", &title) ||
        !CatalogueCoding::readString(root->toMap(), "BackgroundImageName", &backgroundImageName))
        return std::nullopt;
    IconScreenDefinition screen;
    screen.title_ = title.value_or(QString());
    screen.backgroundImageName_ = backgroundImageName.value_or(QString());
    return screen;
}

} // namespace iconfoundry
