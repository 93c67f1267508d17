#include "iconset/imagecategory.h"

#include "iconset/cataloguecoding.h"

#include <QCborArray>
#include <QCborMap>

namespace iconfoundry {

using namespace CatalogueCoding;

ImageCategory::ImageCategory(qint64 categoryId, std::optional<QString> name, std::optional<QString> idiom)
    : categoryId_(categoryId), name_(std::move(name)), idiom_(std::move(idiom))
{
}

ImageCategory::ImageCategory(const QVariantMap& dictionary)
    : categoryId_(integerValue(dictionary.value(QStringLiteral("id")))),
      name_(stringValue(dictionary.value(QStringLiteral("name")))),
      idiom_(stringValue(dictionary.value(QStringLiteral("idiom"))))
{
}

QByteArray ImageCategory::archive(const QList<ImageCategory>& categories)
{
    QCborArray list;
    for (const ImageCategory& category : categories) {
        QCborMap record;
        record.insert(QStringLiteral("id"), category.categoryId_);
        if (category.name_)
            record.insert(QStringLiteral("name"), *category.name_);
        if (category.idiom_)
            record.insert(QStringLiteral("idiom"), *category.idiom_);
        list.append(record);
    }
    return encodeArchive(QStringLiteral("ImageCategory"), list);
}

std::optional<QList<ImageCategory>> ImageCategory::unarchive(const QByteArray& data)
{
    const auto root = decodeArchive(data, QStringLiteral("ImageCategory"));
    if (!root || !root->isArray())
        return std::nullopt;
    QList<ImageCategory> categories;
    for (const QCborValue& element : root->toArray()) {
        if (!element.isMap())
            return std::nullopt;
        const QCborMap record = element.toMap();
        ImageCategory category;
        if (!readInteger(record, "id", &category.categoryId_) ||
            !readString(record, "name", &category.name_) || !readString(record, "idiom", &category.idiom_))
            return std::nullopt;
        categories.append(std::move(category));
    }
    return categories;
}

} // namespace iconfoundry
