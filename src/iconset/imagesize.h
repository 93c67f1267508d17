#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QSize>
#include <QString>
#include <QVariantList>
#include <QVariantMap>
#include <optional>

namespace iconfoundry {

// One icon file and asset-catalogue slot of the catalogue. Sizes are in points; the file's pixel
// size is points x scale, truncated.
class ImageSize
{
public:
    ImageSize() = default;
    // From one element of the "ImageSizes" property list. Numbers are read as 32-bit floats and
    // widened (83.5 stays exact); "size" wins over "width"/"height"; absent numbers are 0.
    explicit ImageSize(const QVariantMap& dictionary);

    const std::optional<QString>& idiom() const { return idiom_; }
    void setIdiom(std::optional<QString> v) { idiom_ = std::move(v); }
    const std::optional<QString>& platform() const { return platform_; }
    void setPlatform(std::optional<QString> v) { platform_ = std::move(v); }
    double width() const { return width_; }
    void setWidth(double v) { width_ = v; }
    double height() const { return height_; }
    void setHeight(double v) { height_ = v; }
    double cropAspect() const { return cropAspect_; }
    void setCropAspect(double v) { cropAspect_ = v; }
    double scale() const { return scale_; }
    void setScale(double v) { scale_ = v; }
    const std::optional<QString>& fileName() const { return fileName_; }
    void setFileName(std::optional<QString> v) { fileName_ = std::move(v); }
    const std::optional<QString>& role() const { return role_; }
    void setRole(std::optional<QString> v) { role_ = std::move(v); }
    const std::optional<QString>& subtype() const { return subtype_; }
    void setSubtype(std::optional<QString> v) { subtype_ = std::move(v); }
    // The luminosity appearance the slot is for ("dark", "tinted"); absent for the default look.
    const std::optional<QString>& appearance() const { return appearance_; }
    void setAppearance(std::optional<QString> v) { appearance_ = std::move(v); }
    // Absent and empty lists both mean "no category".
    const QVariantList& categoryIds() const { return categoryIds_; }
    void setCategoryIds(QVariantList v) { categoryIds_ = std::move(v); }

    // The asset-catalogue entry: "idiom", "platform", "size", "scale", "filename", "role",
    // "subtype" and "appearances" (one luminosity appearance), each only when it applies.
    QJsonObject dictionary() const;
    // True for the icons App Store Connect refuses with an alpha channel: the marketing icons and
    // the single-size iOS icon of the default appearance, from which Xcode makes the store's.
    bool needsOpaquePixels() const;
    bool hasCategoryId(qint64 categoryId) const;
    bool hasAnyCategoryId(const QVariantList& categoryIds) const;
    // User-facing text, e.g. "iPhone 60pt (@3x)"; a 1x size ends in a blank.
    QString description() const;
    // The icon file's pixels: points x scale, truncated toward zero (83.5 at 2x gives 167). A
    // size without a scale (0) is a single-size slot and is drawn at 1x.
    QSize pixelSize() const;

    bool operator==(const ImageSize&) const = default;

    // Stable, versioned archive (keys "idiom", "width", "height", "cropAspect", "scale",
    // "filename", "role", "subtype", "categories"; the platform and the appearance are not kept).
    QByteArray archive() const;
    static std::optional<ImageSize> unarchive(const QByteArray& data);

private:
    std::optional<QString> idiom_;
    std::optional<QString> platform_;
    double width_ = 0;
    double height_ = 0;
    double cropAspect_ = 0;
    double scale_ = 0;
    std::optional<QString> fileName_;
    std::optional<QString> role_;
    std::optional<QString> subtype_;
    std::optional<QString> appearance_;
    QVariantList categoryIds_;
};

} // namespace iconfoundry
