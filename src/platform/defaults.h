#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>
#include <memory>
#include <optional>

class QSettings;

namespace iconfoundry {

// The user's persistent settings, one typed accessor per key. Nothing else in the program talks
// to QSettings: the keys and their defaults live in this class only.
//
// The standard instance lives under the bundle identifier; tests build one over a file of their
// own (or install one with setStandardUserDefaults()). Instances are not thread-safe: use them
// from the main thread. Setters write through to the backing store on synchronize() or when the
// instance is destroyed; the ones whose loss would surprise the user synchronize at once.
class Defaults
{
public:
    // Keys, exactly as they are stored.
    static constexpr char SelectedImageCategoriesKey[] = "SelectedImageCategories";
    static constexpr char SaveToXcodeAlertSuppressionKey[] = "SaveToXcodeAlertSuppression";
    static constexpr char AnnouncementsSeenKey[] = "AnnouncementsSeen";
    static constexpr char RecentDocumentsKey[] = "RecentDocuments";
    static constexpr char LastUpdateCheckKey[] = "LastUpdateCheck";
    static constexpr char SendsLaunchReportKey[] = "SendsLaunchReport";
    static constexpr char InstallIdentifierKey[] = "InstallIdentifier";
    static constexpr char IconBackgroundColourKey[] = "IconBackgroundColour";
    static constexpr char PlatformIconSetsKey[] = "PlatformIconSets";
    static constexpr char PlatformIconPaddingKey[] = "PlatformIconPadding";
    static constexpr char PlatformIconTrimKey[] = "PlatformIconTrim";

    // How many recent documents the Open Recent menu remembers.
    static constexpr int MaximumRecentDocuments = 10;

    // The user's own settings, under the bundle identifier.
    Defaults();
    // Settings kept in an INI file at path (tests, portable runs).
    explicit Defaults(const QString& path);
    ~Defaults();
    Defaults(const Defaults&) = delete;
    Defaults& operator=(const Defaults&) = delete;

    static Defaults& standardUserDefaults();
    // Replaces the standard instance (tests); nullptr goes back to the user's own settings.
    static void setStandardUserDefaults(std::unique_ptr<Defaults> defaults);

    // Archived list of the ticked image categories; absent when never stored.
    std::optional<QByteArray> selectedImageCategories() const;
    void setSelectedImageCategories(const QByteArray& archive);

    // False when absent.
    bool saveToXcodeAlertSuppression() const;
    void setSaveToXcodeAlertSuppression(bool suppressed);

    // Announcement id -> date the user last saw it; absent when never stored (an empty stored
    // map is present). Entries whose date does not read back are left out.
    std::optional<QMap<QString, QDateTime>> announcementsSeen() const;
    void setAnnouncementsSeen(const QMap<QString, QDateTime>& seen);
    void removeAnnouncementsSeen();

    // Most recent first, no duplicates, at most MaximumRecentDocuments.
    QList<QUrl> recentDocuments() const;
    void noteNewRecentDocumentURL(const QUrl& url);
    void clearRecentDocuments();

    // When the updater last read its feed; invalid when never.
    QDateTime lastUpdateCheck() const;
    void setLastUpdateCheck(const QDateTime& date);

    // Whether the user agreed to the anonymous launch report. False when absent: it is opt-in.
    bool sendsLaunchReport() const;
    void setSendsLaunchReport(bool sends);
    // A random identifier of this installation for the launch report, made and stored on first
    // read. It says nothing about the user or the machine.
    QString installIdentifier();

    // What shows through the transparent parts of the icons that must be opaque, as "#rrggbb";
    // empty when never chosen. Written through at once.
    QString iconBackgroundColour() const;
    void setIconBackgroundColour(const QString& colour);

    // The ticked icon sets of platforms other than Apple's ("android", "web"), beside the ticked
    // categories; empty when never stored. Written through at once.
    QStringList platformIconSets() const;
    void setPlatformIconSets(const QStringList& sets);
    // Room around the Android and web artwork, in percent of the canvas side; 0 when absent or
    // not a number from 0 to 40. Written through at once.
    int platformIconPadding() const;
    void setPlatformIconPadding(int percent);
    // Whether the Android and web sets trim the source's transparent border; false when absent.
    // Written through at once.
    bool platformIconTrim() const;
    void setPlatformIconTrim(bool trim);
    // The padding platformIconPadding() accepts.
    static constexpr int MaximumPlatformIconPadding = 40;

    // Writes pending changes to the backing store; false when that failed.
    bool synchronize();
    QString fileName() const;

private:
    std::unique_ptr<QSettings> settings_;
};

} // namespace iconfoundry
