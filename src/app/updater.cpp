#include "app/updater.h"

#include "app/environment.h"
#include "app/multipartupload.h"
#include "logging/log.h"
#include "platform/bundle.h"
#include "platform/defaults.h"
#include "platform/texts.h"
#include "ui/alerts.h"
#include "ui/workspace.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>

namespace iconfoundry {

namespace {

constexpr char kTestFeedKey[] = "UpdateTestFeedURL";
constexpr qsizetype kMaximumFeedSize = 1024 * 1024;

// "10-beta" -> (10, "-beta")
std::pair<qulonglong, QString> splitPart(const QString& part)
{
    qsizetype digits = 0;
    while (digits < part.size() && part.at(digits).isDigit())
        ++digits;
    return {part.left(digits).toULongLong(), part.mid(digits)};
}

} // namespace

Updater::Updater(QObject* parent) : QObject(parent), currentVersion_(Bundle::shortVersion()) {}

QUrl Updater::feedURL()
{
    if (feedURL_)
        return *feedURL_;
    const bool testMode = delegate_ && delegate_->isUpdaterInTestMode(this);
    return Environment::url(testMode ? kTestFeedKey : Environment::UpdateFeedURLKey);
}

int Updater::compareVersions(const QString& a, const QString& b)
{
    const QStringList left = a.trimmed().split(QLatin1Char('.'));
    const QStringList right = b.trimmed().split(QLatin1Char('.'));
    for (qsizetype i = 0; i < qMax(left.size(), right.size()); ++i) {
        const auto [leftNumber, leftSuffix] = splitPart(left.value(i));
        const auto [rightNumber, rightSuffix] = splitPart(right.value(i));
        if (leftNumber != rightNumber)
            return leftNumber < rightNumber ? -1 : 1;
        if (leftSuffix != rightSuffix) {
            if (leftSuffix.isEmpty())
                return 1;
            if (rightSuffix.isEmpty())
                return -1;
            return leftSuffix < rightSuffix ? -1 : 1;
        }
    }
    return 0;
}

std::optional<Updater::Release> Updater::parseFeed(const QByteArray& json, QString* error)
{
    auto fail = [error](const char* reason) {
        if (error)
            *error = QString::fromLatin1(reason);
        return std::nullopt;
    };
    if (json.size() > kMaximumFeedSize)
        return fail("the feed is too large");
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return fail("the feed is not a JSON object");
    const QJsonObject object = document.object();
    static const QRegularExpression versionPattern(QStringLiteral("^\\d+(\\.\\d+)*([-+~][0-9A-Za-z.]+)?$"));
    Release release;
    release.version = object.value(QLatin1String("version")).toString();
    if (!versionPattern.match(release.version).hasMatch())
        return fail("the feed has no valid \"version\"");
    release.notes = object.value(QLatin1String("notes")).toString();
    release.downloadURL = QUrl(object.value(QLatin1String("downloadURL")).toString(), QUrl::StrictMode);
    const QString scheme = release.downloadURL.scheme();
    if (!release.downloadURL.isValid() ||
        (scheme != QLatin1String("https") && scheme != QLatin1String("http")))
        return fail("the feed has no valid \"downloadURL\"");
    return release;
}

void Updater::checkForUpdatesInBackground(Completion completion)
{
    const QDateTime last = Defaults::standardUserDefaults().lastUpdateCheck();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    // A clock set back makes the last check lie in the future: check then too.
    if (last.isValid() && last <= now && last.secsTo(now) < kSecondsBetweenBackgroundChecks) {
        if (completion)
            completion(Outcome::Skipped);
        return;
    }
    check(false, std::move(completion));
}

void Updater::checkForUpdates(Completion completion)
{
    check(true, std::move(completion));
}

void Updater::check(bool userInitiated, Completion completion)
{
    const QUrl url = feedURL();
    if (url.isEmpty() || checking_) {
        if (completion)
            completion(Outcome::Skipped);
        return;
    }
    checking_ = true;
    Defaults::standardUserDefaults().setLastUpdateCheck(QDateTime::currentDateTimeUtc());
    LOG_INFO("Checking for updates at %s", qUtf8Printable(url.toString()));
    QNetworkRequest request(url);
    request.setTransferTimeout(kTimeoutMilliseconds);
    QNetworkReply* reply = networkAccessManager().get(request);
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, userInitiated, completion = std::move(completion)] {
                reply->deleteLater();
                checking_ = false;
                const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
                QString networkError;
                if (reply->error() != QNetworkReply::NoError)
                    networkError = reply->errorString();
                else if (status < 200 || status >= 300)
                    networkError = QStringLiteral("HTTP status %1").arg(status);
                finish(userInitiated, reply->read(kMaximumFeedSize + 1), networkError, completion);
            });
}

void Updater::finish(bool userInitiated, const QByteArray& data, const QString& networkError,
                     const Completion& completion)
{
    QString error = networkError;
    std::optional<Release> release;
    if (error.isEmpty())
        release = parseFeed(data, &error);

    Alert alert;
    Outcome outcome;
    if (!release) {
        outcome = Outcome::Failed;
        LOG_ERROR("Error checking for updates: %s", qUtf8Printable(error));
        alert.style = Alert::Style::Warning;
        alert.messageText = Texts::text("Updater.Failed.MessageText");
        alert.informativeText = error;
    } else if (compareVersions(release->version, currentVersion_) > 0) {
        outcome = Outcome::NewerVersion;
        LOG_INFO("Version %s is available (running %s)", qUtf8Printable(release->version),
                 qUtf8Printable(currentVersion_));
        alert.style = Alert::Style::Informational;
        alert.messageText = Texts::text("Updater.NewVersion.MessageText").arg(release->version);
        alert.informativeText = Texts::text("Updater.NewVersion.InformativeText").arg(currentVersion_);
        alert.detailedText = release->notes;
        alert.buttonTitles = {Texts::text("Button.Download"), Texts::text("Button.Later")};
    } else {
        outcome = Outcome::UpToDate;
        LOG_INFO("Up to date: the feed offers %s, running %s", qUtf8Printable(release->version),
                 qUtf8Printable(currentVersion_));
        alert.style = Alert::Style::Informational;
        alert.messageText = Texts::text("Updater.UpToDate.MessageText");
        alert.informativeText = Texts::text("Updater.UpToDate.InformativeText").arg(currentVersion_);
    }

    // In the background only news is worth interrupting for.
    if (outcome == Outcome::NewerVersion || userInitiated) {
        const QUrl download = release ? release->downloadURL : QUrl();
        beginAlert(alert, [outcome, download](int response, const Alert&) {
            if (outcome == Outcome::NewerVersion && response == Alert::FirstButtonReturn)
                Workspace::shared().openURL(download);
        });
    }
    if (completion)
        completion(outcome);
}

} // namespace iconfoundry
