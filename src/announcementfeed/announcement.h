#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QUrl>
#include <memory>
#include <optional>

namespace iconfoundry {

// One entry of the announcement feed: a welcome note, a what's-new note or general news.
//
// A plain value. Records are shared between the service and the windows through
// AnnouncementPtr and never change after they are made, so they can be read from any thread.
class Announcement
{
public:
    enum AnnouncementType : qint64
    {
        AnnouncementTypeNone = 0,
        AnnouncementTypeAnnouncement = 1,
        AnnouncementTypeNewVersion = 2,
        AnnouncementTypeWelcome = 3,
    };

    Announcement() = default;
    // One feed object. Never fails: values of an unexpected kind read as absent (texts, addresses)
    // or 0 (numbers), and a number may also be given as a string ("7").
    static Announcement initWithDictionary(const QJsonObject& dictionary);

    // The archive of this record, and the record back from one; absent for anything that is not
    // an archive of an Announcement (other data, damaged bytes, a newer format).
    QByteArray encode() const;
    static std::optional<Announcement> decode(const QByteArray& archive);

    QString announcementId() const { return announcementId_; }
    void setAnnouncementId(const QString& id) { announcementId_ = id; }
    qint64 announcementType() const { return announcementType_; }
    void setAnnouncementType(qint64 type) { announcementType_ = type; }
    QDateTime firstDisplayDate() const { return firstDisplayDate_; }
    void setFirstDisplayDate(const QDateTime& date) { firstDisplayDate_ = date; }
    QDateTime lastDisplayDate() const { return lastDisplayDate_; }
    void setLastDisplayDate(const QDateTime& date) { lastDisplayDate_ = date; }
    qint64 repeatAfterDays() const { return repeatAfterDays_; }
    void setRepeatAfterDays(qint64 days) { repeatAfterDays_ = days; }
    QString html() const { return html_; }
    void setHtml(const QString& html) { html_ = html; }
    QUrl url() const { return url_; }
    void setUrl(const QUrl& url) { url_ = url; }
    QUrl learnMoreURL() const { return learnMoreURL_; }
    void setLearnMoreURL(const QUrl& url) { learnMoreURL_ = url; }
    QString version() const { return version_; }
    void setVersion(const QString& version) { version_ = version; }

    bool operator==(const Announcement& other) const = default;

private:
    QString announcementId_;
    qint64 announcementType_ = AnnouncementTypeNone;
    QDateTime firstDisplayDate_;
    QDateTime lastDisplayDate_;
    qint64 repeatAfterDays_ = 0;
    QString html_;
    QUrl url_;
    QUrl learnMoreURL_;
    QString version_;
};

using AnnouncementPtr = std::shared_ptr<const Announcement>;

} // namespace iconfoundry
