#pragma once

#include "announcementfeed/announcement.h"
#include "platform/error.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <optional>

namespace iconfoundry {

class Defaults;

// Loads the announcement feed, keeps its entries, remembers when the user saw each one, and
// answers which announcement to show at launch and which one comes before or after another.
//
// - loadDataWithCompletionHandler() fetches on the thread pool and calls its handler there, once.
//   The entry list is guarded, so the windows may browse while a load runs; a load that finds no
//   entries keeps the previous list.
// - Everything else, the seen-tracking in particular (it writes the user defaults), belongs to
//   the main thread.
// - The service must outlive nothing it started: a load still running when the service goes
//   away finishes into state of its own and still calls its handler.
class AnnouncementService
{
public:
    // The errors a load reports, in this domain.
    static constexpr char ErrorDomain[] = "IconFoundry";
    enum ErrorCode
    {
        ErrorNoData = 1001,
        ErrorInvalidURL = 1002,
        ErrorNoEnvironmentEntry = 1003,
    };
    static constexpr char AnnouncementsURLKey[] = "AnnouncementsURL";
    // The seen date that means "never again": 2100-01-01 00:00:00 UTC.
    static constexpr qint64 kNeverAgainSeconds = 4102444800;

    using CompletionHandler = std::function<void(qint64 count, const std::optional<Error>& error)>;

    AnnouncementService();
    ~AnnouncementService();
    AnnouncementService(const AnnouncementService&) = delete;
    AnnouncementService& operator=(const AnnouncementService&) = delete;

    // Reads the environment property list at path into environmentData(); logs and keeps the
    // previous data when the file is missing (an empty path included) or is not a property list.
    void loadEnvironmentDataFromPath(const QString& path);
    // Starts a load of the feed named by the environment's "AnnouncementsURL" and returns at once.
    void loadDataWithCompletionHandler(CompletionHandler handler);

    // The announcement to show at launch: an unseen welcome, else one for appVersion(), else an
    // unseen general announcement. Marks it seen now. Null when there is none.
    AnnouncementPtr nextAnnouncementToDisplay();
    AnnouncementPtr announcementUnseenOfType(qint64 type);
    AnnouncementPtr announcementForVersion(const QString& version);
    bool shouldShowAnnouncement(const AnnouncementPtr& announcement);
    void markAnnouncementAsSeenNow(const AnnouncementPtr& announcement);
    void doNotShowAnnouncementAgain(const AnnouncementPtr& announcement);

    // Browsing in feed order, by id: next works from an id's first occurrence, previous from its
    // last.
    AnnouncementPtr lastAnnouncement() const;
    AnnouncementPtr nextAnnouncement(const AnnouncementPtr& announcement) const;
    AnnouncementPtr previousAnnouncement(const AnnouncementPtr& announcement) const;
    bool hasNextAnnouncement(const AnnouncementPtr& announcement) const;
    bool hasPreviousAnnouncement(const AnnouncementPtr& announcement) const;

    // The feed's entries; absent until a load kept at least one.
    std::optional<QList<AnnouncementPtr>> annoucements() const;
    void setAnnoucements(const std::optional<QList<AnnouncementPtr>>& announcements);

    // Announcement id -> when it was last marked seen; read from the defaults on first use.
    QMap<QString, QDateTime>& annoucementsSeen();
    void loadSeenAnnouncements();
    void saveSeenAnnouncements();
    // Forgets the stored dates for the next run; this run keeps what it has in memory.
    void clearSeenAnnouncements();

    QString appVersion() const { return appVersion_; }
    void setAppVersion(const QString& version) { appVersion_ = version; }
    QVariantMap environmentData() const { return environmentData_; }
    void setEnvironmentData(const QVariantMap& data) { environmentData_ = data; }

    // Where the seen dates are kept; the standard user defaults unless set (tests).
    void setDefaults(Defaults* defaults) { defaults_ = defaults; }
    // The clock that "now" is read from; the system clock unless set (tests).
    void setClock(std::function<QDateTime()> clock) { clock_ = std::move(clock); }
    // How long one fetch of the feed may take before it counts as giving no data.
    int fetchTimeout() const { return fetchTimeoutMilliseconds_; }
    void setFetchTimeout(int milliseconds) { fetchTimeoutMilliseconds_ = milliseconds; }

    // The entry list and its lock, shared with the loads in flight (internal).
    struct Feed;

private:
    Defaults& defaults() const;
    QDateTime now() const;
    void setSeenDate(const AnnouncementPtr& announcement, const QDateTime& date);

    std::shared_ptr<Feed> feed_;
    std::optional<QMap<QString, QDateTime>> annoucementsSeen_;
    QString appVersion_;
    QVariantMap environmentData_;
    Defaults* defaults_ = nullptr;
    std::function<QDateTime()> clock_;
    int fetchTimeoutMilliseconds_;
};

} // namespace iconfoundry
