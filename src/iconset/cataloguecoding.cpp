#include "iconset/cataloguecoding.h"

#include "platform/archiveenvelope.h"

#include <QMetaType>
#include <charconv>
#include <cmath>
#include <limits>

namespace iconfoundry {

namespace {

// Skips leading white space and a '+' sign, which the number parsers below do not accept.
const char* skipToNumber(const char* begin, const char* end)
{
    while (begin != end && (*begin == ' ' || *begin == '\t' || *begin == '\n' || *begin == '\r'))
        ++begin;
    if (begin != end && *begin == '+' && begin + 1 != end && *(begin + 1) != '-')
        ++begin;
    return begin;
}

double leadingReal(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    const char* end = utf8.constData() + utf8.size();
    const char* begin = skipToNumber(utf8.constData(), end);
    // Only plain decimal notation counts: "inf", "nan" and hexadecimal are no numbers here.
    if (begin == end || !(std::isdigit(static_cast<unsigned char>(*begin)) || *begin == '.' || *begin == '-'))
        return 0;
    double value = 0;
    const auto result = std::from_chars(begin, end, value, std::chars_format::general);
    if (result.ec != std::errc())
        return 0;
    return value;
}

qint64 leadingInteger(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    const char* end = utf8.constData() + utf8.size();
    const char* begin = skipToNumber(utf8.constData(), end);
    qint64 value = 0;
    const auto result = std::from_chars(begin, end, value);
    if (result.ec == std::errc::result_out_of_range)
        return begin != end && *begin == '-' ? std::numeric_limits<qint64>::min()
                                             : std::numeric_limits<qint64>::max();
    if (result.ec != std::errc())
        return 0;
    return value;
}

bool isNumber(const QVariant& value)
{
    switch (value.metaType().id()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

bool isInteger(const QVariant& value)
{
    return isNumber(value) && value.metaType().id() != QMetaType::Double &&
           value.metaType().id() != QMetaType::Float;
}

} // namespace

namespace CatalogueCoding {

double floatValue(const QVariant& value)
{
    double wide = 0;
    const int type = value.metaType().id();
    if (type == QMetaType::Bool)
        wide = value.toBool() ? 1 : 0;
    else if (isNumber(value))
        wide = value.toDouble();
    else if (type == QMetaType::QString)
        wide = leadingReal(value.toString());
    const float narrow = static_cast<float>(wide);
    return std::isfinite(narrow) ? double(narrow) : 0.0;
}

qint64 integerValue(const QVariant& value)
{
    const int type = value.metaType().id();
    if (type == QMetaType::Bool)
        return value.toBool() ? 1 : 0;
    if (type == QMetaType::ULongLong)
        return qint64(
            std::min<qulonglong>(value.toULongLong(), qulonglong(std::numeric_limits<qint64>::max())));
    if (isInteger(value))
        return value.toLongLong();
    if (isNumber(value)) {
        const double real = value.toDouble();
        if (std::isnan(real))
            return 0;
        if (real >= 9223372036854775807.0)
            return std::numeric_limits<qint64>::max();
        if (real <= -9223372036854775808.0)
            return std::numeric_limits<qint64>::min();
        return qint64(std::trunc(real));
    }
    if (type == QMetaType::QString)
        return leadingInteger(value.toString());
    return 0;
}

std::optional<QString> stringValue(const QVariant& value)
{
    if (value.metaType().id() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

QString kindName(const QVariant& value)
{
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap:
        return QStringLiteral("dictionary");
    case QMetaType::QVariantList:
        return QStringLiteral("list");
    case QMetaType::QString:
        return QStringLiteral("string");
    case QMetaType::Bool:
        return QStringLiteral("boolean");
    case QMetaType::QByteArray:
        return QStringLiteral("data");
    case QMetaType::QDateTime:
        return QStringLiteral("date");
    default:
        if (isInteger(value))
            return QStringLiteral("integer");
        if (isNumber(value))
            return QStringLiteral("real number");
        return value.isValid() ? QString::fromLatin1(value.typeName()) : QStringLiteral("nothing");
    }
}

QByteArray encodeArchive(const QString& className, const QCborValue& root)
{
    return ArchiveEnvelope::encode(className, root);
}

std::optional<QCborValue> decodeArchive(const QByteArray& data, const QString& className)
{
    return ArchiveEnvelope::decode(data, className);
}

bool readString(const QCborMap& map, const char* key, std::optional<QString>* out)
{
    const QCborValue value = map.value(QLatin1String(key));
    if (value.isUndefined()) {
        *out = std::nullopt;
        return true;
    }
    if (!value.isString())
        return false;
    *out = value.toString();
    return true;
}

bool readInteger(const QCborMap& map, const char* key, qint64* out)
{
    const QCborValue value = map.value(QLatin1String(key));
    if (value.isUndefined()) {
        *out = 0;
        return true;
    }
    if (!value.isInteger())
        return false;
    *out = value.toInteger();
    return true;
}

bool readFloat(const QCborMap& map, const char* key, double* out)
{
    const QCborValue value = map.value(QLatin1String(key));
    if (value.isUndefined()) {
        *out = 0;
        return true;
    }
    if (!value.isDouble() && !value.isInteger())
        return false;
    const float narrow = static_cast<float>(value.toDouble());
    if (!std::isfinite(narrow))
        return false;
    *out = double(narrow);
    return true;
}

} // namespace CatalogueCoding

} // namespace iconfoundry
