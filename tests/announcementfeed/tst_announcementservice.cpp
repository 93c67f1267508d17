#include "announcementfeed/announcement.h"
#include "announcementfeed/announcementservice.h"
#include "common/testsupport.h"
#include "helper_feedload.h"
#include "platform/bundle.h"
#include "platform/defaults.h"

#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

// The fixed "now" of the repeat rules: 2026-03-10 12:00:00 UTC.
const QDateTime kNow = QDateTime(QDate(2026, 3, 10), QTime(12, 0), Qt::UTC);

AnnouncementPtr entry(const char* json)
{
    return std::make_shared<const Announcement>(
        Announcement::initWithDictionary(QJsonDocument::fromJson(QByteArray(json)).object()));
}

AnnouncementPtr withId(const QString& id, qint64 type = Announcement::AnnouncementTypeAnnouncement,
                       qint64 repeatAfterDays = 0, const QString& version = QString())
{
    Announcement announcement;
    announcement.setAnnouncementId(id);
    announcement.setAnnouncementType(type);
    announcement.setRepeatAfterDays(repeatAfterDays);
    announcement.setVersion(version);
    return std::make_shared<const Announcement>(announcement);
}

QString idOf(const AnnouncementPtr& announcement)
{
    return announcement ? announcement->announcementId() : QStringLiteral("(none)");
}

QString isoOrEmpty(const QDateTime& date)
{
    return date.isValid() ? date.toUTC().toString(Qt::ISODate) : QString();
}

} // namespace

class TestAnnouncementService : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void parsesFeedEntries_data();
    void parsesFeedEntries();
    void archiveRoundTrips_data();
    void archiveRoundTrips();
    void archiveRejectsForeignData_data();
    void archiveRejectsForeignData();
    void repeatRules_data();
    void repeatRules();
    void neverAgainHoldsUntil2100_data();
    void neverAgainHoldsUntil2100();
    void launchChoiceOverRelaunches_data();
    void launchChoiceOverRelaunches();
    void browsing_data();
    void browsing();
    void clearSeenActsOnNextRun();
    void entryWithoutIdIsNeverRemembered();
    void seenDatesSurviveInDefaults();
    void loadEnvironment_data();
    void loadEnvironment();
    void loadErrors_data();
    void loadErrors();

private:
    std::unique_ptr<AnnouncementService> launch(const QList<AnnouncementPtr>& feed,
                                                const QString& version = {});

    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    QDateTime now_;
};

void TestAnnouncementService::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    defaults_ = std::make_unique<Defaults>(dir_->filePath(QStringLiteral("defaults.ini")));
    now_ = kNow;
}

void TestAnnouncementService::cleanup()
{
    Bundle::setResourceDirectory(QString());
    defaults_.reset();
    dir_.reset();
}

// A service as a launch makes it: the feed loaded, seen dates from this test's defaults.
std::unique_ptr<AnnouncementService> TestAnnouncementService::launch(const QList<AnnouncementPtr>& feed,
                                                                     const QString& version)
{
    auto service = std::make_unique<AnnouncementService>();
    service->setDefaults(defaults_.get());
    service->setClock([this] { return now_; });
    service->setAppVersion(version);
    if (!feed.isEmpty())
        service->setAnnoucements(feed);
    return service;
}

void TestAnnouncementService::parsesFeedEntries_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("id");
    QTest::addColumn<qint64>("type");
    QTest::addColumn<QString>("firstDisplayDate");
    QTest::addColumn<QString>("lastDisplayDate");
    QTest::addColumn<qint64>("repeatAfterDays");
    QTest::addColumn<QString>("html");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("learnMoreURL");
    QTest::addColumn<QString>("version");

    QTest::newRow("every key") << QByteArray(
                                      R"({"id":"a1","type":"announcement","firstDisplayDate":1700000000,
        "lastDisplayDate":1700086400.5,"repeatAfterDays":7,"html":"<p>Hi</p>","url":"https://example.org/a",
        "learnMoreURL":"https://example.org/more","version":"2.1"})")
                               << "a1" << qint64(1) << "2023-11-14T22:13:20Z"
                               << "2023-11-15T22:13:20Z" << qint64(7) << "<p>Hi</p>"
                               << "https://example.org/a"
                               << "https://example.org/more"
                               << "2.1";
    QTest::newRow("nothing") << QByteArray("{}") << QString() << qint64(0) << ""
                             << "" << qint64(0) << QString() << ""
                             << "" << QString();
    QTest::newRow("new version") << QByteArray(R"({"type":"new_version"})") << QString() << qint64(2) << ""
                                 << "" << qint64(0) << QString() << ""
                                 << "" << QString();
    QTest::newRow("welcome") << QByteArray(R"({"type":"welcome"})") << QString() << qint64(3) << ""
                             << "" << qint64(0) << QString() << ""
                             << "" << QString();
    QTest::newRow("capital Welcome") << QByteArray(R"({"type":"Welcome"})") << QString() << qint64(0) << ""
                                     << "" << qint64(0) << QString() << ""
                                     << "" << QString();
    QTest::newRow("type not a string") << QByteArray(R"({"type":3})") << QString() << qint64(0) << ""
                                       << "" << qint64(0) << QString() << ""
                                       << "" << QString();
    QTest::newRow("date 0 is none") << QByteArray(R"({"firstDisplayDate":0,"lastDisplayDate":"0"})")
                                    << QString() << qint64(0) << ""
                                    << "" << qint64(0) << QString() << ""
                                    << "" << QString();
    QTest::newRow("dates as strings")
        << QByteArray(R"({"firstDisplayDate":"1700000000","lastDisplayDate":"-86400"})") << QString()
        << qint64(0) << "2023-11-14T22:13:20Z"
        << "1969-12-31T00:00:00Z" << qint64(0) << QString() << ""
        << "" << QString();
    QTest::newRow("repeat as string")
        << QByteArray(R"({"repeatAfterDays":"7"})") << QString() << qint64(0) << ""
        << "" << qint64(7) << QString() << ""
        << "" << QString();
    QTest::newRow("repeat with trailing text")
        << QByteArray(R"({"repeatAfterDays":" 12days"})") << QString() << qint64(0) << ""
        << "" << qint64(12) << QString() << ""
        << "" << QString();
    QTest::newRow("repeat real truncated")
        << QByteArray(R"({"repeatAfterDays":2.9})") << QString() << qint64(0) << ""
        << "" << qint64(2) << QString() << ""
        << "" << QString();
    QTest::newRow("repeat huge saturates")
        << QByteArray(R"({"repeatAfterDays":1e300})") << QString() << qint64(0) << ""
        << "" << qint64(9223372036854775807LL) << QString() << ""
        << "" << QString();
    QTest::newRow("wrong kinds read as nothing")
        << QByteArray(
               R"({"id":17,"html":["x"],"url":5,"learnMoreURL":{},"version":2.1,"repeatAfterDays":"abc",
            "firstDisplayDate":[1]})")
        << QString() << qint64(0) << ""
        << "" << qint64(0) << QString() << ""
        << "" << QString();
    QTest::newRow("address with a space")
        << QByteArray(R"({"url":"https://exa mple.org/","learnMoreURL":"http://[::1"})") << QString()
        << qint64(0) << ""
        << "" << qint64(0) << QString() << ""
        << "" << QString();
    QTest::newRow("relative address kept")
        << QByteArray(R"({"url":"news.html"})") << QString() << qint64(0) << ""
        << "" << qint64(0) << QString() << "news.html"
        << "" << QString();
}

void TestAnnouncementService::parsesFeedEntries()
{
    QFETCH(QByteArray, json);
    const QJsonDocument document = QJsonDocument::fromJson(json);
    QVERIFY(document.isObject());
    const Announcement a = Announcement::initWithDictionary(document.object());
    QFETCH(QString, id);
    QFETCH(qint64, type);
    QFETCH(QString, firstDisplayDate);
    QFETCH(QString, lastDisplayDate);
    QFETCH(qint64, repeatAfterDays);
    QFETCH(QString, html);
    QFETCH(QString, url);
    QFETCH(QString, learnMoreURL);
    QFETCH(QString, version);
    QCOMPARE(a.announcementId(), id);
    QCOMPARE(a.announcementId().isNull(), id.isNull());
    QCOMPARE(a.announcementType(), type);
    QCOMPARE(isoOrEmpty(a.firstDisplayDate()), firstDisplayDate);
    QCOMPARE(isoOrEmpty(a.lastDisplayDate()), lastDisplayDate);
    QCOMPARE(a.repeatAfterDays(), repeatAfterDays);
    QCOMPARE(a.html(), html);
    QCOMPARE(a.html().isNull(), html.isNull());
    QCOMPARE(a.url().toString(), url);
    QCOMPARE(a.learnMoreURL().toString(), learnMoreURL);
    QCOMPARE(a.version(), version);
}

void TestAnnouncementService::archiveRoundTrips_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("every key") << QByteArray(R"({"id":"a1","type":"welcome","firstDisplayDate":1700000000.25,
        "lastDisplayDate":1800000000,"repeatAfterDays":-3,"html":"<p>é ✓</p>","url":"https://example.org/a?b=c#d",
        "learnMoreURL":"learnmore:x","version":"2.1.0"})");
    QTest::newRow("nothing") << QByteArray("{}");
    QTest::newRow("empty texts") << QByteArray(R"({"id":"","html":"","version":""})");
}

void TestAnnouncementService::archiveRoundTrips()
{
    QFETCH(QByteArray, json);
    const Announcement original = Announcement::initWithDictionary(QJsonDocument::fromJson(json).object());
    const std::optional<Announcement> back = Announcement::decode(original.encode());
    QVERIFY(back);
    QCOMPARE(back->announcementId(), original.announcementId());
    QCOMPARE(back->announcementId().isNull(), original.announcementId().isNull());
    QCOMPARE(back->announcementType(), original.announcementType());
    QCOMPARE(back->firstDisplayDate(), original.firstDisplayDate());
    QCOMPARE(back->lastDisplayDate(), original.lastDisplayDate());
    QCOMPARE(back->repeatAfterDays(), original.repeatAfterDays());
    QCOMPARE(back->html(), original.html());
    QCOMPARE(back->url(), original.url());
    QCOMPARE(back->learnMoreURL(), original.learnMoreURL());
    QCOMPARE(back->version(), original.version());
    QVERIFY(*back == original);
}

void TestAnnouncementService::archiveRejectsForeignData_data()
{
    QTest::addColumn<QByteArray>("data");
    const QByteArray good =
        Announcement::initWithDictionary(QJsonDocument::fromJson(R"({"id":"x"})").object()).encode();
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("garbage") << QByteArray("not an archive at all");
    QTest::newRow("truncated") << good.left(good.size() - 3);
    QTest::newRow("trailing byte") << good + QByteArray(1, '\0');
    QByteArray otherClass = good;
    otherClass.replace("Announcement", "AnnouncemenX");
    QTest::newRow("other class") << otherClass;
    // The envelope's format version 1 (CBOR 0x01 after the key) raised to 2, as a later release
    // would write it.
    QByteArray newer = good;
    newer.replace("version\x01", "version\x02");
    QTest::newRow("newer format version") << newer;
}

void TestAnnouncementService::archiveRejectsForeignData()
{
    QFETCH(QByteArray, data);
    QVERIFY(!Announcement::decode(data));
}

void TestAnnouncementService::repeatRules_data()
{
    QTest::addColumn<QDateTime>("seen"); // invalid: never seen
    QTest::addColumn<qint64>("repeatAfterDays");
    QTest::addColumn<bool>("shown");
    const auto ago = [](qint64 seconds) { return kNow.addSecs(-seconds); };
    QTest::newRow("never seen, no repeat") << QDateTime() << qint64(0) << true;
    QTest::newRow("seen 3 days ago, repeat 7") << ago(3 * 86400) << qint64(7) << false;
    QTest::newRow("seen 8 days ago, repeat 7") << ago(8 * 86400) << qint64(7) << true;
    QTest::newRow("seen exactly 7 days ago") << ago(604800) << qint64(7) << false;
    QTest::newRow("seen 7 days and 1 s ago") << ago(604801) << qint64(7) << true;
    QTest::newRow("seen 1000 days ago, repeat 0") << ago(86400000) << qint64(0) << false;
    QTest::newRow("seen 1000 days ago, repeat -1") << ago(86400000) << qint64(-1) << false;
    QTest::newRow("seen 2 days ago, repeat 1") << ago(172800) << qint64(1) << true;
    QTest::newRow("seen in the future, repeat 1") << kNow.addSecs(3600) << qint64(1) << false;
    QTest::newRow("repeat beyond any date") << ago(86400) << qint64(9223372036854775807LL) << false;
}

void TestAnnouncementService::repeatRules()
{
    QFETCH(QDateTime, seen);
    QFETCH(qint64, repeatAfterDays);
    const AnnouncementPtr a = withId(QStringLiteral("a"), 1, repeatAfterDays);
    if (seen.isValid())
        defaults_->setAnnouncementsSeen({{QStringLiteral("a"), seen}});
    auto service = launch({a});
    QTEST(service->shouldShowAnnouncement(a), "shown");
    QVERIFY(!service->shouldShowAnnouncement(nullptr));
}

void TestAnnouncementService::neverAgainHoldsUntil2100_data()
{
    QTest::addColumn<QDateTime>("later");
    QTest::addColumn<bool>("shown");
    QTest::newRow("next day") << kNow.addDays(1) << false;
    QTest::newRow("2100-01-30 23:59:59")
        << QDateTime(QDate(2100, 1, 30), QTime(23, 59, 59), Qt::UTC) << false;
    QTest::newRow("2100-01-31 00:00:00") << QDateTime(QDate(2100, 1, 31), QTime(0, 0), Qt::UTC) << false;
    QTest::newRow("2100-01-31 00:00:01") << QDateTime(QDate(2100, 1, 31), QTime(0, 0, 1), Qt::UTC) << true;
}

void TestAnnouncementService::neverAgainHoldsUntil2100()
{
    const AnnouncementPtr a = withId(QStringLiteral("a"), 1, 30);
    auto service = launch({a});
    service->doNotShowAnnouncementAgain(a);
    QCOMPARE(service->annoucementsSeen().value(QStringLiteral("a")),
             QDateTime(QDate(2100, 1, 1), QTime(0, 0), Qt::UTC));
    QFETCH(QDateTime, later);
    now_ = later;
    auto relaunched = launch({a});
    QTEST(relaunched->shouldShowAnnouncement(a), "shown");
    service->doNotShowAnnouncementAgain(nullptr);
}

void TestAnnouncementService::launchChoiceOverRelaunches_data()
{
    QTest::addColumn<QList<AnnouncementPtr>>("feed");
    QTest::addColumn<QString>("appVersion");
    QTest::addColumn<QStringList>("launches"); // what each launch chooses, one after the other

    const AnnouncementPtr welcome = withId(QStringLiteral("W"), 3);
    const AnnouncementPtr v21 = withId(QStringLiteral("V"), 2, 0, QStringLiteral("2.1"));
    const AnnouncementPtr v210 = withId(QStringLiteral("V0"), 2, 0, QStringLiteral("2.1.0"));
    const AnnouncementPtr news = withId(QStringLiteral("A"), 1);
    const AnnouncementPtr news2 = withId(QStringLiteral("B"), 1);
    const AnnouncementPtr capital = entry(R"({"id":"C","type":"Welcome"})");
    const AnnouncementPtr newVersionOther = withId(QStringLiteral("N"), 2, 0, QStringLiteral("1.0"));
    const AnnouncementPtr newsForVersion = withId(QStringLiteral("AV"), 1, 0, QStringLiteral("2.1"));

    QTest::newRow("welcome, then version, then news")
        << QList{news, v21, welcome} << "2.1" << QStringList{"W", "V", "A", "(none)"};
    QTest::newRow("2.1 is not 2.1.0") << QList{v210, news} << "2.1" << QStringList{"A", "(none)"};
    QTest::newRow("new version of another version never chosen")
        << QList{newVersionOther} << "2.1" << QStringList{"(none)"};
    QTest::newRow("capital Welcome never chosen") << QList{capital} << "2.1" << QStringList{"(none)"};
    QTest::newRow("news in feed order") << QList{news, news2} << "2.1" << QStringList{"A", "B", "(none)"};
    QTest::newRow("version rule takes any type")
        << QList{news2, newsForVersion} << "2.1" << QStringList{"AV", "B", "(none)"};
    QTest::newRow("no app version") << QList{v21, news} << QString() << QStringList{"A", "(none)"};
    QTest::newRow("empty feed") << QList<AnnouncementPtr>{} << "2.1" << QStringList{"(none)"};
}

void TestAnnouncementService::launchChoiceOverRelaunches()
{
    QFETCH(QList<AnnouncementPtr>, feed);
    QFETCH(QString, appVersion);
    QFETCH(QStringList, launches);
    QStringList chosen;
    for (qsizetype i = 0; i < launches.size(); ++i) {
        now_ = kNow.addSecs(60 * i);
        auto service = launch(feed, appVersion);
        const AnnouncementPtr next = service->nextAnnouncementToDisplay();
        chosen.append(idOf(next));
        if (next)
            QCOMPARE(service->annoucementsSeen().value(next->announcementId()), now_);
    }
    QCOMPARE(chosen, launches);
}

void TestAnnouncementService::browsing_data()
{
    QTest::addColumn<QStringList>("feed");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("expected");
    const QStringList abc{"A", "B", "C"};
    QTest::newRow("next of A") << abc << "next"
                               << "A"
                               << "B";
    QTest::newRow("next of B") << abc << "next"
                               << "B"
                               << "C";
    QTest::newRow("next of C") << abc << "next"
                               << "C"
                               << "(none)";
    QTest::newRow("previous of A") << abc << "previous"
                                   << "A"
                                   << "(none)";
    QTest::newRow("previous of C") << abc << "previous"
                                   << "C"
                                   << "B";
    QTest::newRow("next of unknown") << abc << "next"
                                     << "X"
                                     << "(none)";
    QTest::newRow("previous of unknown") << abc << "previous"
                                         << "X"
                                         << "(none)";
    QTest::newRow("next of nothing") << abc << "next"
                                     << ""
                                     << "(none)";
    QTest::newRow("last") << abc << "last"
                          << ""
                          << "C";
    QTest::newRow("last of empty") << QStringList{} << "last"
                                   << ""
                                   << "(none)";
    QTest::newRow("next of A, empty") << QStringList{} << "next"
                                      << "A"
                                      << "(none)";
    // Duplicate ids: next from the first occurrence, previous from the last.
    QTest::newRow("duplicate, next") << QStringList{"A", "B", "C", "A"} << "next"
                                     << "A"
                                     << "B";
    QTest::newRow("duplicate, previous") << QStringList{"A", "B", "C", "A"} << "previous"
                                         << "A"
                                         << "C";
    QTest::newRow("single, next") << QStringList{"A"} << "next"
                                  << "A"
                                  << "(none)";
    QTest::newRow("single, last") << QStringList{"A"} << "last"
                                  << ""
                                  << "A";
}

void TestAnnouncementService::browsing()
{
    QFETCH(QStringList, feed);
    QFETCH(QString, operation);
    QFETCH(QString, from);
    QList<AnnouncementPtr> list;
    for (const QString& id : feed)
        list.append(withId(id));
    auto service = launch(list);
    const AnnouncementPtr start = from.isEmpty() ? nullptr : withId(from);
    AnnouncementPtr result;
    bool has = false;
    if (operation == QLatin1String("next")) {
        result = service->nextAnnouncement(start);
        has = service->hasNextAnnouncement(start);
    } else if (operation == QLatin1String("previous")) {
        result = service->previousAnnouncement(start);
        has = service->hasPreviousAnnouncement(start);
    } else {
        result = service->lastAnnouncement();
        has = result != nullptr;
    }
    QTEST(idOf(result), "expected");
    QCOMPARE(has, result != nullptr);
}

void TestAnnouncementService::clearSeenActsOnNextRun()
{
    const AnnouncementPtr welcome = withId(QStringLiteral("W"), 3);
    auto first = launch({welcome});
    QCOMPARE(idOf(first->nextAnnouncementToDisplay()), QStringLiteral("W"));
    first->clearSeenAnnouncements();
    // This run still remembers it.
    QVERIFY(!first->shouldShowAnnouncement(welcome));
    QCOMPARE(idOf(first->nextAnnouncementToDisplay()), QStringLiteral("(none)"));
    QVERIFY(!Defaults(defaults_->fileName()).announcementsSeen());
    // The next run has forgotten.
    auto second = launch({welcome});
    QCOMPARE(idOf(second->nextAnnouncementToDisplay()), QStringLiteral("W"));
}

void TestAnnouncementService::entryWithoutIdIsNeverRemembered()
{
    ScopedRecordingLogger log;
    const AnnouncementPtr welcome = entry(R"({"type":"welcome","html":"hi"})");
    auto service = launch({welcome});
    QCOMPARE(service->nextAnnouncementToDisplay(), welcome);
    service->doNotShowAnnouncementAgain(welcome);
    QVERIFY(service->annoucementsSeen().isEmpty());
    QVERIFY(service->shouldShowAnnouncement(welcome));
    QCOMPARE(log->texts(LogFlagWarning).size(), 2);
    QCOMPARE(launch({welcome})->nextAnnouncementToDisplay(), welcome);
}

void TestAnnouncementService::seenDatesSurviveInDefaults()
{
    auto service = launch({withId(QStringLiteral("a"))});
    QVERIFY(!Defaults(defaults_->fileName()).announcementsSeen());
    service->markAnnouncementAsSeenNow(withId(QStringLiteral("a")));
    service->markAnnouncementAsSeenNow(withId(QStringLiteral("b")));
    const auto stored = Defaults(defaults_->fileName()).announcementsSeen();
    QVERIFY(stored);
    QCOMPARE(stored->keys(), (QStringList{"a", "b"}));
    QCOMPARE(stored->value(QStringLiteral("b")), kNow);
}

void TestAnnouncementService::loadEnvironment_data()
{
    QTest::addColumn<QByteArray>("contents"); // null: no file
    QTest::addColumn<QString>("url");         // what environmentData() then holds
    QTest::addColumn<QString>("logged");      // start of the error line, %1 the path
    QTest::newRow("good") << QByteArray(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>AnnouncementsURL</key><string>https://example.org/feed.json</string></dict></plist>)")
                          << "https://example.org/feed.json" << QString();
    QTest::newRow("missing file") << QByteArray() << "kept"
                                  << "ERROR: Could not load environment data from path: %1";
    QTest::newRow("not a property list") << QByteArray("garbage {") << "kept"
                                         << "Error reading data from file '%1', error = '";
}

void TestAnnouncementService::loadEnvironment()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, logged);
    const QString path = dir_->filePath(QStringLiteral("Environment.plist"));
    if (!contents.isNull()) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }
    ScopedRecordingLogger log;
    AnnouncementService service;
    service.setEnvironmentData(environmentWithURL(QStringLiteral("kept")));
    service.loadEnvironmentDataFromPath(path);
    QTEST(service.environmentData().value(QLatin1String("AnnouncementsURL")).toString(), "url");
    const QStringList errors = log->texts(LogFlagError);
    if (logged.isEmpty()) {
        QVERIFY(errors.isEmpty());
    } else {
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors.first().startsWith(logged.arg(path)), qPrintable(errors.first()));
    }
    // A missing resource arrives as an empty path and is printed as (null).
    service.loadEnvironmentDataFromPath(QString());
    QCOMPARE(log->texts(LogFlagError).last(),
             QStringLiteral("ERROR: Could not load environment data from path: (null)"));
}

void TestAnnouncementService::loadErrors_data()
{
    QTest::addColumn<QVariantMap>("environment");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("description");
    QTest::newRow("no entry") << QVariantMap{} << 1003 << "No AnnouncementsURL entry in environment data";
    QTest::newRow("entry not a string")
        << QVariantMap{{"AnnouncementsURL", 7}} << 1003 << "No AnnouncementsURL entry in environment data";
    QTest::newRow("unparsable") << environmentWithURL(QStringLiteral("http://[::1")) << 1002
                                << "Invalid URL: http://[::1";
    QTest::newRow("bare name not in bundle")
        << environmentWithURL(QStringLiteral("NoSuchFeed.json")) << 1001 << "No data read from URL: (null)";
    QTest::newRow("unknown scheme") << environmentWithURL(QStringLiteral("gopher2://x/feed")) << 1001
                                    << "No data read from URL: (null)";
}

void TestAnnouncementService::loadErrors()
{
    QFETCH(QVariantMap, environment);
    Bundle::setResourceDirectory(dir_->path());
    auto service = launch({withId(QStringLiteral("old"))});
    service->setEnvironmentData(environment);
    auto outcome = startLoad(*service);
    QTRY_VERIFY_WITH_TIMEOUT(outcome->done, 10000);
    std::lock_guard lock(outcome->mutex);
    QCOMPARE(outcome->count, 0);
    QVERIFY(outcome->error);
    QCOMPARE(outcome->error->domain, QStringLiteral("IconFoundry"));
    QTEST(outcome->error->code, "code");
    QTEST(outcome->error->localizedDescription, "description");
    QCOMPARE(idOf(service->lastAnnouncement()), QStringLiteral("old"));
    QCOMPARE(outcome->calls.load(), 1);
}

QTEST_GUILESS_MAIN(TestAnnouncementService)
#include "tst_announcementservice.moc"
