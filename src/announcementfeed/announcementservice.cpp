#include "announcementfeed/announcementservice.h"

#include "announcementfeed/feeddownload.h"
#include "logging/log.h"
#include "platform/bundle.h"
#include "platform/defaults.h"
#include "platform/propertylist.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QThreadPool>
#include <mutex>

namespace iconfoundry {

// The entry list lives apart from the service so that a load still running on the pool keeps it
// alive; the lock covers only the swap and the copies.
struct AnnouncementService::Feed
{
    mutable std::mutex mutex;
    std::optional<QList<AnnouncementPtr>> announcements;

    std::optional<QList<AnnouncementPtr>> snapshot() const
    {
        std::lock_guard lock(mutex);
        return announcements;
    }
};

namespace {

constexpr qint64 kSecondsPerDay = 86400;

Error loadError(int code, const QString& description)
{
    return Error{QString::fromLatin1(AnnouncementService::ErrorDomain), code, description};
}

QString orNull(const QString& text)
{
    return text.isNull() ? QStringLiteral("(null)") : text;
}

// The feed parsed, or the reason it is not one. Only an array is a feed; its elements that are
// not objects are passed over.
std::optional<QList<AnnouncementPtr>> parseFeed(const QByteArray& data, QString* failure)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError) {
        *failure = QStringLiteral("%1 at offset %2").arg(error.errorString()).arg(error.offset);
        return std::nullopt;
    }
    if (!document.isArray()) {
        *failure = QStringLiteral("the document is not an array");
        return std::nullopt;
    }
    const QJsonArray root = document.array();
    QList<AnnouncementPtr> kept;
    kept.reserve(root.size());
    for (const QJsonValue& element : root) {
        if (element.isObject())
            kept.append(
                std::make_shared<const Announcement>(Announcement::initWithDictionary(element.toObject())));
    }
    return kept;
}

struct LoadRequest
{
    QVariant urlString;
    int timeoutMilliseconds = 0;
};

// The load itself, on a pool thread: the feed's address, else the bundle resource of that name.
void runLoad(const LoadRequest& request, AnnouncementService::Feed& feed,
             const AnnouncementService::CompletionHandler& handler)
{
    if (!request.urlString.isValid() || request.urlString.metaType().id() != QMetaType::QString) {
        handler(0, loadError(AnnouncementService::ErrorNoEnvironmentEntry,
                             QStringLiteral("No %1 entry in environment data")
                                 .arg(QLatin1String(AnnouncementService::AnnouncementsURLKey))));
        return;
    }
    const QString s = request.urlString.toString();
    QUrl u(s, QUrl::StrictMode);
    if (!u.isValid() || s.isEmpty()) {
        handler(0, loadError(AnnouncementService::ErrorInvalidURL, QStringLiteral("Invalid URL: %1").arg(s)));
        return;
    }

    QString failure;
    std::optional<QByteArray> data =
        FeedDownload::fetch(u, request.timeoutMilliseconds, FeedDownload::kDefaultMaximumBytes, &failure);
    if (!data) {
        LOG_INFO("Announcements not fetched from '%s': %s", qUtf8Printable(s), qUtf8Printable(failure));
        // A feed that ships with the application: the same string names a bundle resource. Only a
        // plain file name qualifies, so an address never turns into a path.
        const QString path = s.contains(QLatin1Char('/')) ? QString() : Bundle::pathForResource(s, QString());
        u = path.isEmpty() ? QUrl() : QUrl::fromLocalFile(path);
        if (!u.isEmpty())
            data = FeedDownload::fetch(u, request.timeoutMilliseconds, FeedDownload::kDefaultMaximumBytes,
                                       &failure);
    }
    if (!data) {
        // With the fallback gone too, u is empty and prints as (null), as it always has.
        handler(0, loadError(AnnouncementService::ErrorNoData,
                             QStringLiteral("No data read from URL: %1")
                                 .arg(orNull(u.isEmpty() ? QString() : u.toString(QUrl::FullyEncoded)))));
        return;
    }

    std::optional<QList<AnnouncementPtr>> entries = parseFeed(*data, &failure);
    if (!entries) {
        LOG_ERROR("Error reading annuncements JSON URL '%s' : %s", qUtf8Printable(s),
                  qUtf8Printable(failure));
        handler(0, Error{QStringLiteral("QJsonParseError"), 0, failure});
        return;
    }
    const qint64 count = entries->size();
    if (count > 0) {
        std::lock_guard lock(feed.mutex);
        feed.announcements = std::move(*entries);
    }
    handler(count, std::nullopt);
}

} // namespace

AnnouncementService::AnnouncementService()
    : feed_(std::make_shared<Feed>()), fetchTimeoutMilliseconds_(FeedDownload::kDefaultTimeoutMilliseconds)
{
}

AnnouncementService::~AnnouncementService() = default;

void AnnouncementService::loadEnvironmentDataFromPath(const QString& path)
{
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        LOG_ERROR("ERROR: Could not load environment data from path: %s", qUtf8Printable(orNull(path)));
        return;
    }
    const QByteArray data = file.read(PropertyList::kMaximumSize + 1);
    QString description;
    const std::optional<QVariant> root = PropertyList::read(data, &description);
    if (!root) {
        LOG_ERROR("Error reading data from file '%s', error = '%s'", qUtf8Printable(path),
                  qUtf8Printable(description));
        return;
    }
    environmentData_ = root->toMap();
}

void AnnouncementService::loadDataWithCompletionHandler(CompletionHandler handler)
{
    LoadRequest request{environmentData_.value(QLatin1String(AnnouncementsURLKey)),
                        fetchTimeoutMilliseconds_};
    std::shared_ptr<Feed> feed = feed_;
    QThreadPool::globalInstance()->start([request, feed, handler = std::move(handler)] {
        runLoad(
            request, *feed, handler ? handler : [](qint64, const std::optional<Error>&) {});
    });
}

AnnouncementPtr AnnouncementService::nextAnnouncementToDisplay()
{
    AnnouncementPtr chosen = announcementUnseenOfType(Announcement::AnnouncementTypeWelcome);
    if (!chosen)
        chosen = announcementForVersion(appVersion_);
    if (!chosen)
        chosen = announcementUnseenOfType(Announcement::AnnouncementTypeAnnouncement);
    // Seen from the moment it is chosen, before any window shows it.
    markAnnouncementAsSeenNow(chosen);
    return chosen;
}

AnnouncementPtr AnnouncementService::announcementUnseenOfType(qint64 type)
{
    for (const AnnouncementPtr& announcement : feed_->snapshot().value_or(QList<AnnouncementPtr>())) {
        if (announcement->announcementType() == type && shouldShowAnnouncement(announcement))
            return announcement;
    }
    return nullptr;
}

AnnouncementPtr AnnouncementService::announcementForVersion(const QString& version)
{
    if (version.isNull())
        return nullptr;
    // Exact text: 2.1 is not 2.1.0.
    for (const AnnouncementPtr& announcement : feed_->snapshot().value_or(QList<AnnouncementPtr>())) {
        if (!announcement->version().isNull() && announcement->version() == version &&
            shouldShowAnnouncement(announcement))
            return announcement;
    }
    return nullptr;
}

bool AnnouncementService::shouldShowAnnouncement(const AnnouncementPtr& announcement)
{
    if (!announcement)
        return false;
    const auto& seen = annoucementsSeen();
    const auto found = seen.constFind(announcement->announcementId());
    if (announcement->announcementId().isNull() || found == seen.cend())
        return true;
    if (announcement->repeatAfterDays() < 1)
        return false;
    // Fixed 86400-second days, not calendar days; the product saturates far beyond any real date.
    const qint64 days = std::min<qint64>(announcement->repeatAfterDays(), qint64(1) << 32);
    const QDateTime again = found.value().addSecs(days * kSecondsPerDay);
    return again < now();
}

void AnnouncementService::markAnnouncementAsSeenNow(const AnnouncementPtr& announcement)
{
    setSeenDate(announcement, now());
}

void AnnouncementService::doNotShowAnnouncementAgain(const AnnouncementPtr& announcement)
{
    // Never again is a seen date far in the future rather than a flag of its own.
    setSeenDate(announcement, QDateTime::fromSecsSinceEpoch(kNeverAgainSeconds, Qt::UTC));
}

void AnnouncementService::setSeenDate(const AnnouncementPtr& announcement, const QDateTime& date)
{
    if (!announcement)
        return;
    if (announcement->announcementId().isNull()) {
        // A feed entry without an id cannot be remembered; it is shown again at the next launch.
        LOG_WARN("Announcement without an id cannot be marked as seen");
        return;
    }
    annoucementsSeen().insert(announcement->announcementId(), date);
    saveSeenAnnouncements();
}

AnnouncementPtr AnnouncementService::lastAnnouncement() const
{
    const auto list = feed_->snapshot();
    return list && !list->isEmpty() ? list->last() : nullptr;
}

AnnouncementPtr AnnouncementService::nextAnnouncement(const AnnouncementPtr& announcement) const
{
    const auto list = feed_->snapshot();
    if (!announcement || !list)
        return nullptr;
    for (qsizetype i = 0; i < list->size(); ++i) {
        if (list->at(i)->announcementId() == announcement->announcementId())
            return i < list->size() - 1 ? list->at(i + 1) : nullptr;
    }
    return nullptr;
}

AnnouncementPtr AnnouncementService::previousAnnouncement(const AnnouncementPtr& announcement) const
{
    const auto list = feed_->snapshot();
    if (!announcement || !list)
        return nullptr;
    for (qsizetype i = list->size() - 1; i >= 0; --i) {
        if (list->at(i)->announcementId() == announcement->announcementId())
            return i > 0 ? list->at(i - 1) : nullptr;
    }
    return nullptr;
}

bool AnnouncementService::hasNextAnnouncement(const AnnouncementPtr& announcement) const
{
    return nextAnnouncement(announcement) != nullptr;
}

bool AnnouncementService::hasPreviousAnnouncement(const AnnouncementPtr& announcement) const
{
    return previousAnnouncement(announcement) != nullptr;
}

std::optional<QList<AnnouncementPtr>> AnnouncementService::annoucements() const
{
    return feed_->snapshot();
}

void AnnouncementService::setAnnoucements(const std::optional<QList<AnnouncementPtr>>& announcements)
{
    std::lock_guard lock(feed_->mutex);
    feed_->announcements = announcements;
}

QMap<QString, QDateTime>& AnnouncementService::annoucementsSeen()
{
    if (!annoucementsSeen_)
        loadSeenAnnouncements();
    if (!annoucementsSeen_)
        annoucementsSeen_.emplace();
    return *annoucementsSeen_;
}

void AnnouncementService::loadSeenAnnouncements()
{
    if (auto stored = defaults().announcementsSeen())
        annoucementsSeen_ = std::move(*stored);
}

void AnnouncementService::saveSeenAnnouncements()
{
    defaults().setAnnouncementsSeen(annoucementsSeen());
    defaults().synchronize();
}

void AnnouncementService::clearSeenAnnouncements()
{
    defaults().removeAnnouncementsSeen();
    defaults().synchronize();
}

Defaults& AnnouncementService::defaults() const
{
    return defaults_ ? *defaults_ : Defaults::standardUserDefaults();
}

QDateTime AnnouncementService::now() const
{
    return clock_ ? clock_() : QDateTime::currentDateTimeUtc();
}

} // namespace iconfoundry
