#include "platform/defaults.h"

#include <QSettings>
#include <QUuid>

namespace iconfoundry {

namespace {

// Where the standard instance keeps its data: the organisation is the identifier's domain part,
// the application the full identifier, so every platform stores it under a stable, unique name.
QString organisationName()
{
    const QString identifier = QStringLiteral(ICONFOUNDRY_BUNDLE_IDENTIFIER);
    return identifier.section(QLatin1Char('.'), 0, 1);
}

std::unique_ptr<Defaults>& standardInstance()
{
    static std::unique_ptr<Defaults> instance;
    return instance;
}

} // namespace

Defaults::Defaults()
    : settings_(std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope, organisationName(),
                                            QStringLiteral(ICONFOUNDRY_BUNDLE_IDENTIFIER)))
{
}

Defaults::Defaults(const QString& path) : settings_(std::make_unique<QSettings>(path, QSettings::IniFormat))
{
}

Defaults::~Defaults() = default;

Defaults& Defaults::standardUserDefaults()
{
    auto& instance = standardInstance();
    if (!instance)
        instance = std::make_unique<Defaults>();
    return *instance;
}

void Defaults::setStandardUserDefaults(std::unique_ptr<Defaults> defaults)
{
    standardInstance() = std::move(defaults);
}

std::optional<QByteArray> Defaults::selectedImageCategories() const
{
    const QVariant value = settings_->value(SelectedImageCategoriesKey);
    if (!value.isValid() || value.typeId() != QMetaType::QByteArray)
        return std::nullopt;
    return value.toByteArray();
}

void Defaults::setSelectedImageCategories(const QByteArray& archive)
{
    settings_->setValue(SelectedImageCategoriesKey, archive);
}

bool Defaults::saveToXcodeAlertSuppression() const
{
    return settings_->value(SaveToXcodeAlertSuppressionKey, false).toBool();
}

void Defaults::setSaveToXcodeAlertSuppression(bool suppressed)
{
    settings_->setValue(SaveToXcodeAlertSuppressionKey, suppressed);
}

std::optional<QMap<QString, QDateTime>> Defaults::announcementsSeen() const
{
    if (!settings_->contains(AnnouncementsSeenKey))
        return std::nullopt;
    QMap<QString, QDateTime> seen;
    const QVariantMap stored = settings_->value(AnnouncementsSeenKey).toMap();
    for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
        const QDateTime date = it.value().toDateTime();
        if (date.isValid())
            seen.insert(it.key(), date);
    }
    return seen;
}

void Defaults::setAnnouncementsSeen(const QMap<QString, QDateTime>& seen)
{
    QVariantMap stored;
    for (auto it = seen.cbegin(); it != seen.cend(); ++it)
        stored.insert(it.key(), it.value());
    settings_->setValue(AnnouncementsSeenKey, stored);
}

void Defaults::removeAnnouncementsSeen()
{
    settings_->remove(AnnouncementsSeenKey);
}

QList<QUrl> Defaults::recentDocuments() const
{
    QList<QUrl> urls;
    const QStringList stored = settings_->value(RecentDocumentsKey).toStringList();
    for (const QString& text : stored) {
        const QUrl url(text, QUrl::StrictMode);
        if (url.isValid() && !url.isEmpty() && !urls.contains(url))
            urls.append(url);
        if (urls.size() == MaximumRecentDocuments)
            break;
    }
    return urls;
}

void Defaults::noteNewRecentDocumentURL(const QUrl& url)
{
    if (!url.isValid() || url.isEmpty())
        return;
    QList<QUrl> urls = recentDocuments();
    urls.removeAll(url);
    urls.prepend(url);
    QStringList stored;
    for (const QUrl& each : urls.first(qMin<qsizetype>(urls.size(), MaximumRecentDocuments)))
        stored.append(each.toString(QUrl::FullyEncoded));
    settings_->setValue(RecentDocumentsKey, stored);
    settings_->sync();
}

void Defaults::clearRecentDocuments()
{
    settings_->remove(RecentDocumentsKey);
    settings_->sync();
}

QDateTime Defaults::lastUpdateCheck() const
{
    return settings_->value(LastUpdateCheckKey).toDateTime();
}

void Defaults::setLastUpdateCheck(const QDateTime& date)
{
    settings_->setValue(LastUpdateCheckKey, date);
}

bool Defaults::sendsLaunchReport() const
{
    return settings_->value(SendsLaunchReportKey, false).toBool();
}

void Defaults::setSendsLaunchReport(bool sends)
{
    settings_->setValue(SendsLaunchReportKey, sends);
    settings_->sync();
}

QString Defaults::installIdentifier()
{
    QString identifier = settings_->value(InstallIdentifierKey).toString();
    if (QUuid::fromString(identifier).isNull()) {
        identifier = QUuid::createUuid().toString(QUuid::WithoutBraces);
        settings_->setValue(InstallIdentifierKey, identifier);
        settings_->sync();
    }
    return identifier;
}

QString Defaults::iconBackgroundColour() const
{
    return settings_->value(IconBackgroundColourKey).toString();
}

void Defaults::setIconBackgroundColour(const QString& colour)
{
    settings_->setValue(IconBackgroundColourKey, colour);
    settings_->sync();
}

QStringList Defaults::platformIconSets() const
{
    return settings_->value(PlatformIconSetsKey).toStringList();
}

void Defaults::setPlatformIconSets(const QStringList& sets)
{
    settings_->setValue(PlatformIconSetsKey, sets);
    settings_->sync();
}

int Defaults::platformIconPadding() const
{
    bool isNumber = false;
    const int percent = settings_->value(PlatformIconPaddingKey).toInt(&isNumber);
    return isNumber && percent >= 0 && percent <= MaximumPlatformIconPadding ? percent : 0;
}

void Defaults::setPlatformIconPadding(int percent)
{
    settings_->setValue(PlatformIconPaddingKey, percent);
    settings_->sync();
}

bool Defaults::platformIconTrim() const
{
    return settings_->value(PlatformIconTrimKey, false).toBool();
}

void Defaults::setPlatformIconTrim(bool trim)
{
    settings_->setValue(PlatformIconTrimKey, trim);
    settings_->sync();
}

bool Defaults::synchronize()
{
    settings_->sync();
    return settings_->status() == QSettings::NoError;
}

QString Defaults::fileName() const
{
    return settings_->fileName();
}

} // namespace iconfoundry
