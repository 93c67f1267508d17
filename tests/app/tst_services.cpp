#include "app/appdelegateservices.h"
#include "app/feedbackcontroller.h"
#include "app/helper_httpserver.h"
#include "app/helper_workspace.h"
#include "app/launchreport.h"
#include "app/multipartupload.h"
#include "app/tararchive.h"
#include "app/updater.h"
#include "common/testsupport.h"
#include "mainwindow/helper_scriptedalerts.h"
#include "platform/bundle.h"
#include "platform/defaults.h"
#include "platform/texts.h"
#include "ui/workspace.h"

#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

class TestModeDelegate : public UpdaterDelegate
{
public:
    bool testMode = false;
    bool isUpdaterInTestMode(Updater*) override { return testMode; }
};

QByteArray feed(const char* version)
{
    return QByteArray("{\"version\": \"") + version +
           "\", \"notes\": \"Sharper small sizes.\", \"downloadURL\": "
           "\"https://velmora.co/iconfoundry/download\"}";
}

QString writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(data);
    return path;
}

// The named field's value in a multipart body.
QByteArray field(const QByteArray& body, const QByteArray& name)
{
    const QByteArray marker = "name=\"" + name + "\"";
    const qsizetype at = body.indexOf(marker);
    if (at < 0)
        return {};
    const qsizetype start = body.indexOf("\r\n\r\n", at) + 4;
    return body.mid(start, body.indexOf("\r\n--", start) - start);
}

} // namespace

class TestServices : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(dir_.isValid());
        Defaults::setStandardUserDefaults(
            std::make_unique<Defaults>(dir_.filePath(QStringLiteral("settings.ini"))));
        Texts::installTranslations();
    }

    void cleanupTestCase() { Defaults::setStandardUserDefaults(nullptr); }

    void init()
    {
        Defaults::standardUserDefaults().setLastUpdateCheck({});
        Workspace::install(std::unique_ptr<Workspace>(workspace_ = new RecordingWorkspace));
    }

    void cleanup() { Workspace::install(nullptr); }

    void compareVersions_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("expected");
        QTest::newRow("2.10 after 2.9") << "2.10"
                                        << "2.9" << 1;
        QTest::newRow("2.9 before 2.10") << "2.9"
                                         << "2.10" << -1;
        QTest::newRow("missing part is 0") << "2.1"
                                           << "2.1.0" << 0;
        QTest::newRow("extra part later") << "1.0"
                                          << "1.0.1" << -1;
        QTest::newRow("10 after 9.9.9") << "10.0"
                                        << "9.9.9" << 1;
        QTest::newRow("pre-release before release") << "2.1-beta"
                                                    << "2.1" << -1;
        QTest::newRow("release after pre-release") << "2.1"
                                                   << "2.1-rc" << 1;
        QTest::newRow("beta before rc") << "2.1-beta"
                                        << "2.1-rc" << -1;
        QTest::newRow("same") << "0.1.0"
                              << "0.1.0" << 0;
    }

    void compareVersions()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, expected);
        QCOMPARE(Updater::compareVersions(a, b), expected);
    }

    void parseFeed_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("version"); // empty: rejected
        QTest::newRow("valid") << feed("2.10") << "2.10";
        QTest::newRow("pre-release") << feed("3.0-beta.2") << "3.0-beta.2";
        QTest::newRow("not JSON") << QByteArray("<html>") << "";
        QTest::newRow("array") << QByteArray("[]") << "";
        QTest::newRow("no version") << QByteArray("{\"downloadURL\": \"https://a.example/\"}") << "";
        QTest::newRow("version not a number") << feed("two") << "";
        QTest::newRow("version a JSON number")
            << QByteArray("{\"version\": 2, \"downloadURL\": \"https://a.example/\"}") << "";
        QTest::newRow("no download page") << QByteArray("{\"version\": \"2.0\"}") << "";
        QTest::newRow("download page not on the web")
            << QByteArray("{\"version\": \"2.0\", \"downloadURL\": \"file:///etc/passwd\"}") << "";
    }

    void parseFeed()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, version);
        QString error;
        const auto release = Updater::parseFeed(json, &error);
        QCOMPARE(release.has_value(), !version.isEmpty());
        if (release) {
            QCOMPARE(release->version, version);
            QCOMPARE(release->notes, QStringLiteral("Sharper small sizes."));
            QCOMPARE(release->downloadURL, QUrl(QStringLiteral("https://velmora.co/iconfoundry/download")));
        } else {
            QVERIFY(!error.isEmpty());
        }
    }

    void check_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("running");
        QTest::addColumn<bool>("fromMenu");
        QTest::addColumn<int>("outcome");
        QTest::addColumn<QString>("alert"); // empty: none shown
        const int newer = int(Updater::Outcome::NewerVersion);
        const int upToDate = int(Updater::Outcome::UpToDate);
        const int failed = int(Updater::Outcome::Failed);
        QTest::newRow("newer, background")
            << 200 << feed("0.2.0") << "0.1.0" << false << newer << "IconFoundry 0.2.0 is available.";
        QTest::newRow("2.10 after 2.9")
            << 200 << feed("2.10") << "2.9" << false << newer << "IconFoundry 2.10 is available.";
        QTest::newRow("same, background: quiet") << 200 << feed("2.9") << "2.9" << false << upToDate << "";
        QTest::newRow("same, menu") << 200 << feed("2.9") << "2.9" << true << upToDate
                                    << "IconFoundry is up to date.";
        QTest::newRow("older in feed, menu")
            << 200 << feed("2.9") << "2.10" << true << upToDate << "IconFoundry is up to date.";
        QTest::newRow("server error, background: quiet")
            << 500 << feed("9.0") << "2.9" << false << failed << "";
        QTest::newRow("server error, menu")
            << 500 << feed("9.0") << "2.9" << true << failed << "Could not check for updates.";
        QTest::newRow("broken feed, menu") << 200 << QByteArray("{\"version\":") << "2.9" << true << failed
                                           << "Could not check for updates.";
    }

    // Against a feed on 127.0.0.1: what the user is told, and the download page opened on request.
    void check()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, running);
        QFETCH(bool, fromMenu);
        QFETCH(int, outcome);
        QFETCH(QString, alert);
        TestHttpServer server;
        server.status = status;
        server.responseBody = body;
        ScopedPresenter<ScriptedAlertPresenter, AlertPresenter> alerts;
        alerts->answers = {Alert::FirstButtonReturn};
        Updater updater;
        updater.setFeedURL(server.url(QStringLiteral("/feed.json")));
        updater.setCurrentVersion(running);
        std::optional<Updater::Outcome> result;
        auto completion = [&result](Updater::Outcome o) { result = o; };
        if (fromMenu)
            updater.checkForUpdates(completion);
        else
            updater.checkForUpdatesInBackground(completion);
        QTRY_VERIFY(result.has_value());
        QCOMPARE(int(*result), outcome);
        QCOMPARE(server.requests.size(), 1);
        QCOMPARE(server.requests.first().method, QByteArray("GET"));
        QCOMPARE(alerts->alerts.size(), alert.isEmpty() ? 0 : 1);
        if (!alert.isEmpty())
            QCOMPARE(alerts->alerts.first().messageText, alert);
        if (outcome == int(Updater::Outcome::NewerVersion)) {
            QCOMPARE(alerts->alerts.first().detailedText, QStringLiteral("Sharper small sizes."));
            QCOMPARE(workspace_->opened,
                     QList<QUrl>{QUrl(QStringLiteral("https://velmora.co/iconfoundry/download"))});
        } else {
            QVERIFY(workspace_->opened.isEmpty());
        }
    }

    // The background check reads the feed at most once a day; the menu always does.
    void onceADay()
    {
        TestHttpServer server;
        server.responseBody = feed("0.1.0");
        Updater updater;
        updater.setFeedURL(server.url(QStringLiteral("/feed.json")));
        updater.setCurrentVersion(QStringLiteral("0.1.0"));
        auto run = [&](bool fromMenu) {
            std::optional<Updater::Outcome> result;
            auto completion = [&result](Updater::Outcome o) { result = o; };
            fromMenu ? updater.checkForUpdates(completion) : updater.checkForUpdatesInBackground(completion);
            if (!QTest::qWaitFor([&result] { return result.has_value(); }))
                return Updater::Outcome::Failed;
            return *result;
        };
        ScopedPresenter<ScriptedAlertPresenter, AlertPresenter> alerts;
        QCOMPARE(run(false), Updater::Outcome::UpToDate);
        QCOMPARE(run(false), Updater::Outcome::Skipped);
        QCOMPARE(server.requests.size(), 1);
        QCOMPARE(run(true), Updater::Outcome::UpToDate);
        QCOMPARE(server.requests.size(), 2);
        Defaults::standardUserDefaults().setLastUpdateCheck(
            QDateTime::currentDateTimeUtc().addSecs(-23 * 3600));
        QCOMPARE(run(false), Updater::Outcome::Skipped);
        Defaults::standardUserDefaults().setLastUpdateCheck(
            QDateTime::currentDateTimeUtc().addSecs(-25 * 3600));
        QCOMPARE(run(false), Updater::Outcome::UpToDate);
        QCOMPARE(server.requests.size(), 3);
    }

    // The feed comes from the Environment resource: the live one unless the delegate asks for the
    // test feed; the shipped resource names none, so nothing is read.
    void feedFromEnvironment_data()
    {
        QTest::addColumn<bool>("shipped");
        QTest::addColumn<bool>("testMode");
        QTest::addColumn<QByteArray>("path"); // empty: no request
        QTest::newRow("shipped resource: no feed") << true << false << QByteArray();
        QTest::newRow("live feed") << false << false << QByteArray("/live.json");
        QTest::newRow("test mode: test feed") << false << true << QByteArray("/test.json");
    }

    void feedFromEnvironment()
    {
        QFETCH(bool, shipped);
        QFETCH(bool, testMode);
        QFETCH(QByteArray, path);
        TestHttpServer server;
        server.responseBody = feed("0.0.1");
        QTemporaryDir resources;
        if (!shipped) {
            writeFile(resources.filePath(QStringLiteral("Environment.plist")),
                      QStringLiteral("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
                                     "<key>UpdateFeedURL</key><string>%1</string>"
                                     "<key>UpdateTestFeedURL</key><string>%2</string></dict></plist>")
                          .arg(server.url(QStringLiteral("/live.json")).toString(),
                               server.url(QStringLiteral("/test.json")).toString())
                          .toUtf8());
            Bundle::setResourceDirectory(resources.path());
        }
        TestModeDelegate delegate;
        delegate.testMode = testMode;
        Updater updater;
        updater.setDelegate(&delegate);
        std::optional<Updater::Outcome> result;
        updater.checkForUpdates([&result](Updater::Outcome o) { result = o; });
        QTRY_VERIFY(result.has_value());
        Bundle::setResourceDirectory(QString());
        QCOMPARE(server.requests.size(), path.isEmpty() ? 0 : 1);
        if (!path.isEmpty())
            QCOMPARE(server.requests.first().path, path);
        AppDelegateServices services;
        QVERIFY(!services.isUpdaterInTestMode(&updater));
    }

    // A server that never answers: the upload gives up after its time-out and reports failure.
    void uploadTimesOut()
    {
        TestHttpServer server;
        server.answers = false;
        std::optional<bool> sent;
        MultipartUpload::post(
            server.url(QStringLiteral("/slow")),
            {MultipartUpload::textPart(QStringLiteral("a"), QStringLiteral("b"))},
            [&sent](bool ok, const QString&) { sent = ok; }, 300);
        QTRY_VERIFY_WITH_TIMEOUT(sent.has_value(), 20000);
        QCOMPARE(*sent, false);
        QCOMPARE(server.requests.size(), 1);
    }

    void feedbackSending_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<unsigned>("flag");
        QTest::addColumn<QString>("logged");
        QTest::newRow("accepted") << 200 << unsigned(LogFlagInfo) << "Feedback successfully sent.";
        QTest::newRow("refused") << 500 << unsigned(LogFlagError) << "Error sending feedback.";
    }

    // The window lists the attached logs; one taken off is not sent; the outcome is logged.
    void feedbackSending()
    {
        QFETCH(int, status);
        QFETCH(unsigned, flag);
        QFETCH(QString, logged);
        TestHttpServer server;
        server.status = status;
        const QString first = writeFile(dir_.filePath(QStringLiteral("first.log")), "first log\n");
        const QString second = writeFile(dir_.filePath(QStringLiteral("second.log")), "second log\n");
        FeedbackController feedback;
        feedback.setEndpoint(server.url(QStringLiteral("/feedback")));
        feedback.setLogURLs(QList<QUrl>{QUrl::fromLocalFile(first), QUrl::fromLocalFile(second)});
        ScopedRecordingLogger log;
        feedback.showFeedbackWindowInMode(0, &AppDelegateServices::feedbackCompleted);
        QVERIFY(feedback.window()->isVisible());
        QVERIFY(feedback.sendButton()->isVisible());
        QVERIFY(!feedback.saveButton()->isVisible());
        QCOMPARE(feedback.attachmentList()->count(), 2);
        QCOMPARE(feedback.attachmentList()->item(0)->text(), QStringLiteral("first.log"));

        feedback.attachmentList()->setCurrentRow(0);
        feedback.removeButton()->click();
        QCOMPARE(feedback.attachedFiles(), QList<QUrl>{QUrl::fromLocalFile(second)});
        feedback.messageField()->setPlainText(QStringLiteral("The 20 pt icon is blurry."));
        feedback.emailField()->setText(QStringLiteral(" someone@example.org "));
        feedback.sendButton()->click();

        QTRY_COMPARE(log->linesWith(flag, {logged}).size(), 1);
        QCOMPARE(server.requests.size(), 1);
        const QByteArray body = server.requests.first().body;
        QCOMPARE(field(body, "message"), QByteArray("The 20 pt icon is blurry."));
        QCOMPARE(field(body, "email"), QByteArray("someone@example.org"));
        QCOMPARE(field(body, "version"), QByteArray("IconFoundry 0.1.0 (1)"));
        QVERIFY(body.contains("filename=\"second.log\""));
        QVERIFY(body.contains("second log\n"));
        QVERIFY(!body.contains("first log"));
        // Sent: the window closes; refused: it stays open with the text kept.
        QCOMPARE(feedback.window()->isVisible(), status != 200);
        QCOMPARE(feedback.messageField()->toPlainText().isEmpty(), status == 200);
    }

    // No log files: nothing listed, nothing attached.
    void feedbackWithoutLogs()
    {
        FeedbackController feedback;
        feedback.setEndpoint(QUrl(QStringLiteral("http://127.0.0.1:9/")));
        feedback.showFeedbackWindowInMode(0, {});
        QCOMPARE(feedback.attachmentList()->count(), 0);
        QVERIFY(feedback.attachedFiles().isEmpty());
    }

    // Without an endpoint: one archive (a tar the system's tar reads) or an e-mail draft.
    void feedbackWithoutEndpoint()
    {
        const QString logFile = writeFile(dir_.filePath(QStringLiteral("run.log")), "a log line\n");
        QTemporaryDir target;
        FeedbackController feedback;
        feedback.setEndpoint(QUrl());
        feedback.setLogURLs(QList<QUrl>{QUrl::fromLocalFile(logFile)});
        std::optional<bool> outcome;
        feedback.showFeedbackWindowInMode(0, [&outcome](bool ok) { outcome = ok; });
        QVERIFY(!feedback.sendButton()->isVisible());
        QVERIFY(feedback.saveButton()->isVisible() && feedback.mailButton()->isVisible());
        feedback.messageField()->setPlainText(QStringLiteral("Hello"));

        ScopedPresenter<ScriptedPanelPresenter, PanelPresenter> panel;
        panel->response = OpenPanelOptions::OKResponse;
        panel->urls = {QUrl::fromLocalFile(target.path())};
        feedback.saveButton()->click();
        QCOMPARE(outcome, std::optional<bool>(true));
        const QStringList saved =
            QDir(target.path()).entryList({QStringLiteral("IconFoundry Feedback *.tar")});
        QCOMPARE(saved.size(), 1);
        QProcess tar;
        tar.start(QStringLiteral("tar"),
                  {QStringLiteral("-tf"), QDir(target.path()).filePath(saved.first())});
        QVERIFY(tar.waitForFinished());
        QCOMPARE(tar.exitCode(), 0);
        QCOMPARE(QString::fromUtf8(tar.readAllStandardOutput()),
                 QStringLiteral("message.txt\nlogs/run.log\n"));

        outcome.reset();
        feedback.showFeedbackWindowInMode(0, [&outcome](bool ok) { outcome = ok; });
        feedback.messageField()->setPlainText(QStringLiteral("Hi & bye"));
        feedback.mailButton()->click();
        QCOMPARE(outcome, std::optional<bool>(true));
        QCOMPARE(workspace_->opened.size(), 1);
        const QString draft = workspace_->opened.first().toString(QUrl::FullyEncoded);
        QVERIFY2(draft.startsWith(
                     QLatin1String("mailto:?subject=IconFoundry%20feedback&body=Hi%20%26%20bye%0A%"
                                   "0AIconFoundry%200.1.0%20%281%29%0AThe%20log%20files%20are%20in%20")),
                 qPrintable(draft));
    }

    void tarArchive()
    {
        const QByteArray archive =
            TarArchive::archive({{QStringLiteral("a.txt"), "hello"}, {QStringLiteral("empty"), {}}},
                                QDateTime::fromSecsSinceEpoch(1700000000));
        // header + one data block + header + two end blocks
        QCOMPARE(archive.size(), 5 * 512);
        QTemporaryDir folder;
        const QString path = writeFile(folder.filePath(QStringLiteral("t.tar")), archive);
        QProcess tar;
        tar.start(QStringLiteral("tar"), {QStringLiteral("-xOf"), path, QStringLiteral("a.txt")});
        QVERIFY(tar.waitForFinished());
        QCOMPARE(tar.exitCode(), 0);
        QCOMPARE(tar.readAllStandardOutput(), QByteArray("hello"));
    }

    void launchReport_data()
    {
        QTest::addColumn<bool>("agreed");
        QTest::addColumn<bool>("withEndpoint");
        QTest::addColumn<bool>("sent");
        QTest::newRow("default: not agreed") << false << true << false;
        QTest::newRow("agreed, no endpoint") << true << false << false;
        QTest::newRow("agreed and endpoint") << true << true << true;
    }

    // Off by default; sent only with consent and an endpoint; the install id stays the same.
    void launchReport()
    {
        QFETCH(bool, agreed);
        QFETCH(bool, withEndpoint);
        QFETCH(bool, sent);
        QVERIFY(!Defaults(dir_.filePath(QStringLiteral("fresh.ini"))).sendsLaunchReport());
        QVERIFY(LaunchReport::endpoint().isEmpty()); // the shipped resource names none
        TestHttpServer server;
        Defaults::standardUserDefaults().setSendsLaunchReport(agreed);
        LaunchReport::setEndpoint(withEndpoint ? server.url(QStringLiteral("/launch")) : QUrl());
        std::optional<bool> delivered;
        QCOMPARE(LaunchReport::sendTrackingReport([&delivered](bool ok) { delivered = ok; }), sent);
        if (sent) {
            QTRY_VERIFY(delivered.has_value());
            QCOMPARE(server.requests.size(), 1);
            const QByteArray body = server.requests.first().body;
            QCOMPARE(field(body, "version"), QByteArray("0.1.0 (1)"));
            QVERIFY(!field(body, "platform").isEmpty());
            QCOMPARE(QString::fromUtf8(field(body, "install")),
                     Defaults::standardUserDefaults().installIdentifier());
            QVERIFY(!QUuid::fromString(QString::fromUtf8(field(body, "install"))).isNull());
        } else {
            QTest::qWait(0);
            QCOMPARE(server.requests.size(), 0);
        }
        LaunchReport::setEndpoint(QUrl());
    }

private:
    QTemporaryDir dir_;
    RecordingWorkspace* workspace_ = nullptr;
};

QTEST_MAIN(TestServices)
#include "tst_services.moc"
