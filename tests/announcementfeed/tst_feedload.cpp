#include "announcementfeed/announcementservice.h"
#include "announcementfeed/feeddownload.h"
#include "common/testsupport.h"
#include "helper_feedload.h"
#include "helper_feedserver.h"
#include "platform/bundle.h"
#include "platform/defaults.h"

#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

const QByteArray kFeed = R"([{"id":"A","type":"announcement","html":"<p>a</p>"},
                             {"id":"B","type":"new_version","version":"2.1"},
                             {"id":"C","type":"welcome","html":"<p>c</p>"}])";

// A valid, empty feed of exactly size bytes.
QByteArray emptyFeedOfSize(qsizetype size)
{
    return "[" + QByteArray(size - 2, ' ') + "]";
}

QByteArray manyEntries()
{
    QByteArray feed = "[";
    for (int i = 0; i < 100000; ++i)
        feed += "{},";
    return feed + R"({"id":"Z","type":"welcome"}])";
}

constexpr int kParseError = -1;

} // namespace

class TestFeedLoad : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void loadsOverHttp_data();
    void loadsOverHttp();
    void fallsBackToBundle_data();
    void fallsBackToBundle();
    void shippedFeedWelcomesNewUser();

private:
    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
};

void TestFeedLoad::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    defaults_ = std::make_unique<Defaults>(dir_->filePath(QStringLiteral("defaults.ini")));
}

void TestFeedLoad::cleanup()
{
    Bundle::setResourceDirectory(QString());
    defaults_.reset();
    dir_.reset();
}

void TestFeedLoad::loadsOverHttp_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("withLength");
    QTest::addColumn<bool>("never");
    QTest::addColumn<QByteArray>("location");
    QTest::addColumn<QString>("path"); // fetched; the reply above is served at /served
    QTest::addColumn<qint64>("count");
    QTest::addColumn<QString>("lastId");
    QTest::addColumn<int>("code"); // 0: no error
    QTest::addColumn<QString>("logged");

    QTest::newRow("good feed") << 200 << kFeed << true << false << QByteArray() << "/served" << qint64(3)
                               << "C" << 0 << QString();
    QTest::newRow("404") << 404 << QByteArray("[]") << true << false << QByteArray() << "/served" << qint64(0)
                         << "old" << 1001 << QString();
    QTest::newRow("500 with a feed body") << 500 << kFeed << true << false << QByteArray() << "/served"
                                          << qint64(0) << "old" << 1001 << QString();
    QTest::newRow("server never answers") << 200 << QByteArray() << true << true << QByteArray() << "/served"
                                          << qint64(0) << "old" << 1001 << QString();
    QTest::newRow("2 MiB with length")
        << 200 << emptyFeedOfSize(2 * 1024 * 1024) << true << false << QByteArray() << "/served" << qint64(0)
        << "old" << 1001 << QString();
    QTest::newRow("2 MiB until close")
        << 200 << emptyFeedOfSize(2 * 1024 * 1024) << false << false << QByteArray() << "/served" << qint64(0)
        << "old" << 1001 << QString();
    QTest::newRow("10 MB") << 200 << emptyFeedOfSize(10000000) << true << false << QByteArray() << "/served"
                           << qint64(0) << "old" << 1001 << QString();
    QTest::newRow("exactly 1 MiB") << 200 << emptyFeedOfSize(1048576) << false << false << QByteArray()
                                   << "/served" << qint64(0) << "old" << 0 << QString();
    QTest::newRow("1 MiB and 1 byte") << 200 << emptyFeedOfSize(1048577) << false << false << QByteArray()
                                      << "/served" << qint64(0) << "old" << 1001 << QString();
    QTest::newRow("redirect") << 302 << QByteArray() << true << false << QByteArray("/feed") << "/served"
                              << qint64(3) << "C" << 0 << QString();
    QTest::newRow("redirect loop") << 302 << QByteArray() << true << false << QByteArray("/served")
                                   << "/served" << qint64(0) << "old" << 1001 << QString();
    QTest::newRow("empty array keeps the list") << 200 << QByteArray("[]") << true << false << QByteArray()
                                                << "/served" << qint64(0) << "old" << 0 << QString();
    QTest::newRow("root is an object")
        << 200 << QByteArray(R"({"id":"A"})") << true << false << QByteArray() << "/served" << qint64(0)
        << "old" << kParseError << "the document is not an array";
    QTest::newRow("truncated") << 200 << QByteArray(R"([{"id":"A")") << true << false << QByteArray()
                               << "/served" << qint64(0) << "old" << kParseError << "at offset";
    QTest::newRow("invalid UTF-8") << 200 << QByteArray("[{\"id\":\"\xff\xfe\"}]") << true << false
                                   << QByteArray() << "/served" << qint64(0) << "old" << kParseError
                                   << "at offset";
    QTest::newRow("empty body") << 200 << QByteArray() << true << false << QByteArray() << "/served"
                                << qint64(0) << "old" << kParseError << "at offset";
    QTest::newRow("elements of every kind")
        << 200 << QByteArray(R"([1,"x",null,[],true,{"id":"A","type":7,"html":5,
                                                 "repeatAfterDays":{}},{"id":"B"}])")
        << true << false << QByteArray() << "/served" << qint64(2) << "B" << 0 << QString();
    QTest::newRow("100,000 entries") << 200 << manyEntries() << true << false << QByteArray() << "/served"
                                     << qint64(100001) << "Z" << 0 << QString();
    QTest::newRow("unknown path") << 200 << kFeed << true << false << QByteArray() << "/elsewhere"
                                  << qint64(0) << "old" << 1001 << QString();
}

void TestFeedLoad::loadsOverHttp()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, withLength);
    QFETCH(bool, never);
    QFETCH(QByteArray, location);
    QFETCH(QString, path);
    QFETCH(int, code);
    QFETCH(QString, logged);

    FeedServer server;
    server.route("/served", FeedServer::Reply{status, body, location, withLength, never});
    server.route("/feed", FeedServer::Reply{200, kFeed, {}});
    ScopedRecordingLogger log;
    AnnouncementService service;
    service.setDefaults(defaults_.get());
    // Short, so that the silent server is given up on quickly.
    service.setFetchTimeout(400);
    Announcement old;
    old.setAnnouncementId(QStringLiteral("old"));
    service.setAnnoucements(QList<AnnouncementPtr>{std::make_shared<const Announcement>(old)});
    const QString url = server.url(path).toString();
    service.setEnvironmentData(environmentWithURL(url));
    auto outcome = startLoad(service);
    QTRY_VERIFY_WITH_TIMEOUT(outcome->done, 20000);

    std::lock_guard lock(outcome->mutex);
    QTEST(outcome->count, "count");
    QTEST(service.lastAnnouncement() ? service.lastAnnouncement()->announcementId() : QString(), "lastId");
    if (code == 0) {
        QVERIFY2(!outcome->error,
                 qPrintable(outcome->error ? outcome->error->localizedDescription : QString()));
    } else if (code == kParseError) {
        QVERIFY(outcome->error);
        QVERIFY2(outcome->error->localizedDescription.contains(logged),
                 qPrintable(outcome->error->localizedDescription));
        const QStringList errors = log->texts(LogFlagError);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors.first(), QStringLiteral("Error reading annuncements JSON URL '%1' : %2")
                                     .arg(url, outcome->error->localizedDescription));
    } else {
        QVERIFY(outcome->error);
        QCOMPARE(outcome->error->code, code);
        QCOMPARE(outcome->error->localizedDescription, QStringLiteral("No data read from URL: (null)"));
        QVERIFY(log->texts(LogFlagError).isEmpty());
    }
    QCOMPARE(outcome->calls.load(), 1);
}

void TestFeedLoad::fallsBackToBundle_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<qint64>("count");
    QTest::addColumn<int>("code");
    QTest::newRow("feed file") << "Feed.json" << kFeed << qint64(3) << 0;
    QTest::newRow("name without extension") << "Feed" << kFeed << qint64(3) << 0;
    QTest::newRow("too large a file") << "Feed.json" << emptyFeedOfSize(1048577) << qint64(0) << 1001;
}

void TestFeedLoad::fallsBackToBundle()
{
    QFETCH(QString, fileName);
    QFETCH(QByteArray, contents);
    QFile file(dir_->filePath(fileName));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
    file.close();
    Bundle::setResourceDirectory(dir_->path());

    AnnouncementService service;
    service.setDefaults(defaults_.get());
    service.setEnvironmentData(environmentWithURL(fileName));
    auto outcome = startLoad(service);
    QTRY_VERIFY_WITH_TIMEOUT(outcome->done, 20000);
    std::lock_guard lock(outcome->mutex);
    QTEST(outcome->count, "count");
    QTEST(outcome->error ? outcome->error->code : 0, "code");
}

// A fresh install reads the feed that ships in the resources, through the shipped environment.
void TestFeedLoad::shippedFeedWelcomesNewUser()
{
    AnnouncementService service;
    service.setDefaults(defaults_.get());
    service.setAppVersion(Bundle::shortVersion());
    service.loadEnvironmentDataFromPath(
        Bundle::pathForResource(QStringLiteral("Environment"), QStringLiteral("plist")));
    QCOMPARE(service.environmentData().value(QStringLiteral("AnnouncementsURL")).toString(),
             QStringLiteral("Announcements.json"));
    auto outcome = startLoad(service);
    QTRY_VERIFY_WITH_TIMEOUT(outcome->done, 20000);
    QCOMPARE(outcome->count, qint64(2));
    QVERIFY(!outcome->error);
    const AnnouncementPtr first = service.nextAnnouncementToDisplay();
    QVERIFY(first);
    QCOMPARE(first->announcementType(), qint64(Announcement::AnnouncementTypeWelcome));
    const AnnouncementPtr second = service.nextAnnouncementToDisplay();
    QVERIFY(second);
    QCOMPARE(second->version(), Bundle::shortVersion());
    QVERIFY(!service.nextAnnouncementToDisplay());
}

QTEST_GUILESS_MAIN(TestFeedLoad)
#include "tst_feedload.moc"
