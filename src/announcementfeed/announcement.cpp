#include "announcementfeed/announcement.h"

#include "platform/archiveenvelope.h"

#include <QCborMap>
#include <QCborValue>
#include <QJsonValue>
#include <QRegularExpression>
#include <cmath>
#include <limits>

namespace iconfoundry {

namespace {

// The feed may give numbers as strings ("7"); like the platform's own string-to-number readings
// they take the leading number after blanks and ignore the rest ("12abc" is 12, "abc" is 0).
double doubleValue(const QJsonValue& value)
{
    if (value.isDouble())
        return value.toDouble();
    if (value.isBool())
        return value.toBool() ? 1 : 0;
    if (value.isString()) {
        static const QRegularExpression leading(
            QStringLiteral(R"(^\s*([+-]?(?:\d+\.?\d*|\.\d+)(?:[eE][+-]?\d+)?))"));
        const QRegularExpressionMatch match = leading.match(value.toString());
        if (match.hasMatch()) {
            const double number = match.captured(1).toDouble();
            return std::isfinite(number) ? number : 0;
        }
    }
    return 0;
}

qint64 integerValue(const QJsonValue& value)
{
    if (value.isString()) {
        static const QRegularExpression leading(QStringLiteral(R"(^\s*([+-]?\d+))"));
        const QRegularExpressionMatch match = leading.match(value.toString());
        if (!match.hasMatch())
            return 0;
        bool ok = false;
        const qint64 number = match.captured(1).toLongLong(&ok);
        if (ok)
            return number;
        return match.captured(1).startsWith(QLatin1Char('-')) ? std::numeric_limits<qint64>::min()
                                                              : std::numeric_limits<qint64>::max();
    }
    const double real = doubleValue(value);
    if (std::isnan(real))
        return 0;
    if (real >= 9223372036854775807.0)
        return std::numeric_limits<qint64>::max();
    if (real <= -9223372036854775808.0)
        return std::numeric_limits<qint64>::min();
    return qint64(std::trunc(real));
}

QString stringValue(const QJsonValue& value)
{
    return value.isString() ? value.toString() : QString();
}

// Seconds since 1970; 0 means no date. Values beyond what a date can hold count as no date too.
QDateTime dateValue(const QJsonValue& value)
{
    const double seconds = doubleValue(value);
    if (seconds == 0 || std::abs(seconds) > 1e14)
        return {};
    return QDateTime::fromMSecsSinceEpoch(qint64(std::llround(seconds * 1000)), Qt::UTC);
}

QUrl urlValue(const QJsonValue& value)
{
    if (!value.isString())
        return {};
    const QUrl url(value.toString(), QUrl::StrictMode);
    return url.isValid() && !url.isEmpty() ? url : QUrl();
}

constexpr char kArchiveClass[] = "Announcement";

QCborValue textOrNull(const QString& text)
{
    return text.isNull() ? QCborValue(QCborValue::Null) : QCborValue(text);
}

QCborValue dateOrNull(const QDateTime& date)
{
    return date.isValid() ? QCborValue(date) : QCborValue(QCborValue::Null);
}

QCborValue urlOrNull(const QUrl& url)
{
    return url.isEmpty() ? QCborValue(QCborValue::Null) : QCborValue(url);
}

// Each reader accepts the key's own kind or null; anything else makes the archive foreign.
bool readText(const QCborMap& map, const char* key, QString* out)
{
    const QCborValue value = map.value(QLatin1String(key));
    if (value.isNull() || value.isUndefined())
        return true;
    if (!value.isString())
        return false;
    // An empty text stays a text, apart from a missing one.
    const QString text = value.toString();
    *out = text.isNull() ? QStringLiteral("") : text;
    return true;
}

bool readDate(const QCborMap& map, const char* key, QDateTime* out)
{
    const QCborValue value = map.value(QLatin1String(key));
    if (value.isNull() || value.isUndefined())
        return true;
    if (!value.isDateTime())
        return false;
    *out = value.toDateTime().toUTC();
    return out->isValid();
}

bool readUrl(const QCborMap& map, const char* key, QUrl* out)
{
    const QCborValue value = map.value(QLatin1String(key));
    if (value.isNull() || value.isUndefined())
        return true;
    if (!value.isUrl())
        return false;
    *out = value.toUrl();
    return true;
}

bool readInteger(const QCborMap& map, const char* key, qint64* out)
{
    const QCborValue value = map.value(QLatin1String(key));
    if (value.isUndefined())
        return true;
    if (!value.isInteger())
        return false;
    *out = value.toInteger();
    return true;
}

} // namespace

Announcement Announcement::initWithDictionary(const QJsonObject& dictionary)
{
    Announcement announcement;
    announcement.announcementId_ = stringValue(dictionary.value(QLatin1String("id")));
    const QJsonValue type = dictionary.value(QLatin1String("type"));
    if (type == QLatin1String("announcement"))
        announcement.announcementType_ = AnnouncementTypeAnnouncement;
    else if (type == QLatin1String("new_version"))
        announcement.announcementType_ = AnnouncementTypeNewVersion;
    else if (type == QLatin1String("welcome"))
        announcement.announcementType_ = AnnouncementTypeWelcome;
    announcement.firstDisplayDate_ = dateValue(dictionary.value(QLatin1String("firstDisplayDate")));
    announcement.lastDisplayDate_ = dateValue(dictionary.value(QLatin1String("lastDisplayDate")));
    announcement.repeatAfterDays_ = integerValue(dictionary.value(QLatin1String("repeatAfterDays")));
    announcement.html_ = stringValue(dictionary.value(QLatin1String("html")));
    announcement.url_ = urlValue(dictionary.value(QLatin1String("url")));
    announcement.learnMoreURL_ = urlValue(dictionary.value(QLatin1String("learnMoreURL")));
    announcement.version_ = stringValue(dictionary.value(QLatin1String("version")));
    return announcement;
}

QByteArray Announcement::encode() const
{
    // The keys are the feed's own names, in the feed's order.
    QCborMap root;
    root.insert(QLatin1String("id"), textOrNull(announcementId_));
    root.insert(QLatin1String("type"), announcementType_);
    root.insert(QLatin1String("firstDisplayDate"), dateOrNull(firstDisplayDate_));
    root.insert(QLatin1String("lastDisplayDate"), dateOrNull(lastDisplayDate_));
    root.insert(QLatin1String("repeatAfterDays"), repeatAfterDays_);
    root.insert(QLatin1String("html"), textOrNull(html_));
    root.insert(QLatin1String("url"), urlOrNull(url_));
    root.insert(QLatin1String("learnMoreURL"), urlOrNull(learnMoreURL_));
    root.insert(QLatin1String("version"), textOrNull(version_));
    return ArchiveEnvelope::encode(QLatin1String(kArchiveClass), root);
}

std::optional<Announcement> Announcement::decode(const QByteArray& archive)
{
    const std::optional<QCborValue> archived = ArchiveEnvelope::decode(archive, QLatin1String(kArchiveClass));
    if (!archived || !archived->isMap())
        return std::nullopt;
    const QCborMap root = archived->toMap();
    Announcement announcement;
    if (!readText(root, "id", &announcement.announcementId_) ||
        !readInteger(root, "type", &announcement.announcementType_) ||
        !readDate(root, "firstDisplayDate", &announcement.firstDisplayDate_) ||
        !readDate(root, "lastDisplayDate", &announcement.lastDisplayDate_) ||
        !readInteger(root, "repeatAfterDays", &announcement.repeatAfterDays_) ||
        !readText(root, "html", &announcement.html_) || !readUrl(root, "url", &announcement.url_) ||
        !readUrl(root, "learnMoreURL", &announcement.learnMoreURL_) ||
        !readText(root, "version", &announcement.version_))
        return std::nullopt;
    return announcement;
}

} // namespace iconfoundry
