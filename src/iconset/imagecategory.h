#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantMap>
#include <optional>

namespace iconfoundry {

// One icon category of the catalogue (a kind of device or use). categoryId doubles as the tag of
// the category's checkbox in the main window, so catalogue ids lie in 100..599.
class ImageCategory
{
public:
    ImageCategory() = default;
    ImageCategory(qint64 categoryId, std::optional<QString> name, std::optional<QString> idiom);
    // From one element of the "ImageCategories" property list: "id", "name", "idiom".
    explicit ImageCategory(const QVariantMap& dictionary);

    qint64 categoryId() const { return categoryId_; }
    void setCategoryId(qint64 id) { categoryId_ = id; }
    const std::optional<QString>& name() const { return name_; }
    void setName(std::optional<QString> name) { name_ = std::move(name); }
    const std::optional<QString>& idiom() const { return idiom_; }
    void setIdiom(std::optional<QString> idiom) { idiom_ = std::move(idiom); }

    bool operator==(const ImageCategory&) const = default;

    // Stable, versioned archive of a list of categories under the keys "id", "name", "idiom".
    // unarchive() rejects foreign or damaged data with std::nullopt.
    static QByteArray archive(const QList<ImageCategory>& categories);
    static std::optional<QList<ImageCategory>> unarchive(const QByteArray& data);

private:
    qint64 categoryId_ = 0;
    std::optional<QString> name_;
    std::optional<QString> idiom_;
};

} // namespace iconfoundry
