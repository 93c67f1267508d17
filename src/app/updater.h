#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

namespace iconfoundry {

class Updater;

class UpdaterDelegate
{
public:
    virtual ~UpdaterDelegate() = default;
    // True makes the updater read the test feed ("UpdateTestFeedURL") instead of the live one.
    virtual bool isUpdaterInTestMode(Updater* updater) = 0;
};

// Tells the user about newer versions. It reads a small JSON feed,
//   {"version": "2.10", "notes": "What changed", "downloadURL": "https://..."}
// from the address the "Environment" resource names, and when the version is newer than the
// running one shows an alert with the notes and a button that opens the download page.
//
// - In the background at most once a day (the last check is kept in the user defaults); errors
//   there are only logged.
// - From the "Check for Updates…" menu item at any time; then "up to date" and errors are shown too.
// Without a configured feed it does nothing. Main thread only.
class Updater : public QObject
{
    Q_OBJECT

public:
    struct Release
    {
        QString version;
        QString notes;
        QUrl downloadURL;
    };
    enum class Outcome
    {
        NewerVersion,
        UpToDate,
        Failed,
        Skipped, // not configured, or checked less than a day ago
    };
    using Completion = std::function<void(Outcome outcome)>;

    static constexpr int kTimeoutMilliseconds = 15000;
    static constexpr qint64 kSecondsBetweenBackgroundChecks = 86400;

    explicit Updater(QObject* parent = nullptr);

    UpdaterDelegate* delegate() const { return delegate_; }
    void setDelegate(UpdaterDelegate* delegate) { delegate_ = delegate; }

    // The feed: the one set here, else the environment's (test feed in test mode).
    QUrl feedURL();
    void setFeedURL(const QUrl& url) { feedURL_ = url; }
    QString currentVersion() const { return currentVersion_; }
    void setCurrentVersion(const QString& version) { currentVersion_ = version; }

    // The daily check; completion (if any) runs once, also when skipped.
    void checkForUpdatesInBackground(Completion completion = {});
    // The menu action: always reads the feed and always answers the user.
    void checkForUpdates(Completion completion = {});

    // Negative, zero or positive as a is earlier than, the same as or later than b. Numbers
    // compare as numbers (2.10 after 2.9), missing parts count as 0 (2.1 = 2.1.0), and a part
    // with a suffix comes before the plain number ("2.1-beta" before "2.1").
    static int compareVersions(const QString& a, const QString& b);
    // The feed's release; nullopt and a reason when the document is not one.
    static std::optional<Release> parseFeed(const QByteArray& json, QString* error = nullptr);

private:
    void check(bool userInitiated, Completion completion);
    void finish(bool userInitiated, const QByteArray& data, const QString& networkError,
                const Completion& completion);

    UpdaterDelegate* delegate_ = nullptr;
    std::optional<QUrl> feedURL_;
    QString currentVersion_;
    bool checking_ = false;
};

} // namespace iconfoundry
