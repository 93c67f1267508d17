#include "iconset/imagesize.h"

#include "iconset/cataloguecoding.h"
#include "platform/texts.h"

#include <QCborArray>
#include <QCborMap>
#include <QJsonArray>
#include <cmath>
#include <cstdio>
#include <limits>

namespace iconfoundry {

using namespace CatalogueCoding;

namespace {

// printf with the C library's rounding ("%.0f" of 83.5 is "84", of 0.5 is "0"), which Qt's own
// formatter does not promise.
template <typename... Args> QString format(const char* pattern, Args... args)
{
    char buffer[128];
    const int length = std::snprintf(buffer, sizeof buffer, pattern, args...);
    if (length < 0)
        return {};
    if (size_t(length) < sizeof buffer)
        return QString::fromUtf8(buffer, length);
    QByteArray large(length + 1, Qt::Uninitialized);
    std::snprintf(large.data(), size_t(large.size()), pattern, args...);
    return QString::fromUtf8(large.constData(), length);
}

// One decimal for fractional sizes (83.5), none for whole ones (60).
int precision(double value)
{
    return value != std::floor(value) ? 1 : 0;
}

} // namespace

ImageSize::ImageSize(const QVariantMap& dictionary)
{
    idiom_ = stringValue(dictionary.value(QStringLiteral("idiom")));
    platform_ = stringValue(dictionary.value(QStringLiteral("platform")));
    // "size" describes square icons and wins over "width"/"height" when both are given.
    const auto size = dictionary.constFind(QStringLiteral("size"));
    if (size != dictionary.constEnd()) {
        width_ = height_ = floatValue(*size);
    } else {
        width_ = floatValue(dictionary.value(QStringLiteral("width")));
        height_ = floatValue(dictionary.value(QStringLiteral("height")));
    }
    cropAspect_ = floatValue(dictionary.value(QStringLiteral("cropAspect")));
    scale_ = floatValue(dictionary.value(QStringLiteral("scale")));
    fileName_ = stringValue(dictionary.value(QStringLiteral("filename")));
    role_ = stringValue(dictionary.value(QStringLiteral("role")));
    subtype_ = stringValue(dictionary.value(QStringLiteral("subtype")));
    appearance_ = stringValue(dictionary.value(QStringLiteral("appearance")));
    const QVariant categories = dictionary.value(QStringLiteral("categories"));
    if (categories.metaType().id() == QMetaType::QVariantList)
        categoryIds_ = categories.toList();
}

QJsonObject ImageSize::dictionary() const
{
    QJsonObject entry;
    if (idiom_)
        entry.insert(QStringLiteral("idiom"), *idiom_);
    if (platform_)
        entry.insert(QStringLiteral("platform"), *platform_);
    if (width_ != 0 && height_ != 0)
        entry.insert(QStringLiteral("size"),
                     format("%.*fx%.*f", precision(width_), width_, precision(height_), height_));
    if (scale_ != 0)
        entry.insert(QStringLiteral("scale"), format("%.0fx", scale_));
    if (fileName_)
        entry.insert(QStringLiteral("filename"), *fileName_);
    if (role_)
        entry.insert(QStringLiteral("role"), *role_);
    if (subtype_)
        entry.insert(QStringLiteral("subtype"), *subtype_);
    if (appearance_)
        entry.insert(QStringLiteral("appearances"),
                     QJsonArray{QJsonObject{{QStringLiteral("appearance"), QStringLiteral("luminosity")},
                                            {QStringLiteral("value"), *appearance_}}});
    return entry;
}

bool ImageSize::needsOpaquePixels() const
{
    if (idiom_ == QLatin1String("ios-marketing") || idiom_ == QLatin1String("watch-marketing"))
        return true;
    // The single size of the default appearance is the store icon of iOS and of watchOS alike.
    return idiom_ == QLatin1String("universal") &&
           (platform_ == QLatin1String("ios") || platform_ == QLatin1String("watchos")) && scale_ == 0 &&
           !appearance_;
}

bool ImageSize::hasCategoryId(qint64 categoryId) const
{
    for (const QVariant& id : categoryIds_) {
        if (integerValue(id) == categoryId)
            return true;
    }
    return false;
}

bool ImageSize::hasAnyCategoryId(const QVariantList& categoryIds) const
{
    for (const QVariant& id : categoryIds) {
        if (hasCategoryId(integerValue(id)))
            return true;
    }
    return false;
}

QString ImageSize::description() const
{
    // An absent idiom reads "(null)", the way a missing object prints in a formatted text.
    const QString idiom = idiom_.value_or(QStringLiteral("(null)"));
    const QByteArray key = "ImageSize.Idiom.Description." + idiom.toUtf8();
    const QString translation = Texts::text(key.constData());
    QString text = (translation == QString::fromUtf8(key) ? idiom : translation) + QLatin1Char(' ');
    if (platform_)
        text += QLatin1Char('(') + *platform_ + QStringLiteral(") ");
    if (width_ == height_)
        text += format("%.0fpt ", width_);
    else
        text += format("%.0fx%.0fpt ", width_, height_);
    if (scale_ > 1)
        text += format("(@%.0fx)", scale_);
    if (appearance_)
        text += (text.endsWith(QLatin1Char(' ')) ? QString() : QStringLiteral(" ")) + *appearance_;
    return text;
}

QSize ImageSize::pixelSize() const
{
    const double factor = scale_ == 0 ? 1.0 : scale_;
    auto truncated = [](double pixels) {
        if (!(pixels > 0))
            return 0;
        return pixels >= double(std::numeric_limits<int>::max()) ? std::numeric_limits<int>::max()
                                                                 : int(pixels);
    };
    return QSize(truncated(width_ * factor), truncated(height_ * factor));
}

QByteArray ImageSize::archive() const
{
    // Neither the platform nor the appearance is archived: a size restored from an archive has none.
    QCborMap record;
    if (idiom_)
        record.insert(QStringLiteral("idiom"), *idiom_);
    record.insert(QStringLiteral("width"), double(float(width_)));
    record.insert(QStringLiteral("height"), double(float(height_)));
    record.insert(QStringLiteral("cropAspect"), double(float(cropAspect_)));
    record.insert(QStringLiteral("scale"), double(float(scale_)));
    if (fileName_)
        record.insert(QStringLiteral("filename"), *fileName_);
    if (role_)
        record.insert(QStringLiteral("role"), *role_);
    if (subtype_)
        record.insert(QStringLiteral("subtype"), *subtype_);
    QCborArray categories;
    for (const QVariant& id : categoryIds_) {
        if (id.metaType().id() == QMetaType::Double || id.metaType().id() == QMetaType::Float)
            categories.append(id.toDouble());
        else
            categories.append(integerValue(id));
    }
    record.insert(QStringLiteral("categories"), categories);
    return encodeArchive(QStringLiteral("ImageSize"), record);
}

std::optional<ImageSize> ImageSize::unarchive(const QByteArray& data)
{
    const auto root = decodeArchive(data, QStringLiteral("ImageSize"));
    if (!root || !root->isMap())
        return std::nullopt;
    const QCborMap record = root->toMap();
    ImageSize size;
    if (!readString(record, "idiom", &size.idiom_) || !readFloat(record, "width", &size.width_) ||
        !readFloat(record, "height", &size.height_) || !readFloat(record, "cropAspect", &size.cropAspect_) ||
        !readFloat(record, "scale", &size.scale_) || !readString(record, "filename", &size.fileName_) ||
        !readString(record, "role", &size.role_) || !readString(record, "subtype", &size.subtype_))
        return std::nullopt;
    const QCborValue categories = record.value(QStringLiteral("categories"));
    if (!categories.isUndefined()) {
        if (!categories.isArray())
            return std::nullopt;
        for (const QCborValue& id : categories.toArray()) {
            if (id.isInteger())
                size.categoryIds_.append(QVariant(id.toInteger()));
            else if (id.isDouble())
                size.categoryIds_.append(QVariant(id.toDouble()));
            else
                return std::nullopt;
        }
    }
    return size;
}

} // namespace iconfoundry
