#include "announcementfeed/announcementservice.h"
#include "announcementfeed/helper_feedserver.h"
#include "announcements/announcementhistorywindowcontroller.h"
#include "announcements/announcementwindowcontroller.h"
#include "common/testsupport.h"
#include "platform/defaults.h"
#include "ui/workspace.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QJsonDocument>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineView>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

// Keeps the addresses handed to the desktop instead of starting a browser.
class RecordingWorkspace : public Workspace
{
public:
    explicit RecordingWorkspace(QList<QUrl>* opened) : opened_(opened) {}
    bool openURL(const QUrl& url) override
    {
        opened_->append(url);
        return true;
    }

private:
    QList<QUrl>* opened_;
};

AnnouncementPtr entry(const QByteArray& json)
{
    return std::make_shared<const Announcement>(
        Announcement::initWithDictionary(QJsonDocument::fromJson(json).object()));
}

// The text the web view shows, as the page itself reports it.
QString pageText(QWebEngineView* view)
{
    QString text;
    bool done = false;
    view->page()->toPlainText([&](const QString& result) {
        text = result;
        done = true;
    });
    for (int i = 0; i < 200 && !done; ++i)
        QTest::qWait(50);
    return text.trimmed();
}

// Polls the page's text until it is expected (WebEngine loads asynchronously).
bool showsText(QWebEngineView* view, const QString& expected)
{
    for (int i = 0; i < 200; ++i) {
        if (pageText(view) == expected)
            return true;
        QTest::qWait(50);
    }
    qWarning() << "page shows" << pageText(view) << "instead of" << expected;
    return false;
}

const QString kHead = QStringLiteral("<html><head><style type=\"text/css\">body{font-family: '-apple-system',"
                                     "'HelveticaNeue'; font-size:14;}</style></head><body>");
const QString kTail = QStringLiteral("</body></html>");

} // namespace

class TestAnnouncementWindows : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void pageForAnnouncement_data();
    void pageForAnnouncement();
    void loadingPage();
    void buttonsFollowTheAnnouncement_data();
    void buttonsFollowTheAnnouncement();
    void showsTheFragmentWithoutScripts();
    void learnmoreLinkOpensOutside_data();
    void learnmoreLinkOpensOutside();
    void navigationPolicy_data();
    void navigationPolicy();
    void okButtonAndCheckbox_data();
    void okButtonAndCheckbox();
    void addressPageReplacesLoadingText();
    void historyPagesThroughTheFeed();
    void historyOfEmptyFeed();
    void historyLoadsAddressPageLater();

private:
    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    std::unique_ptr<AnnouncementService> service_;
    QList<QUrl> opened_;
    std::unique_ptr<Workspace> previousWorkspace_;
};

void TestAnnouncementWindows::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    defaults_ = std::make_unique<Defaults>(dir_->filePath(QStringLiteral("defaults.ini")));
    service_ = std::make_unique<AnnouncementService>();
    service_->setDefaults(defaults_.get());
    opened_.clear();
    previousWorkspace_ = Workspace::install(std::make_unique<RecordingWorkspace>(&opened_));
}

void TestAnnouncementWindows::cleanup()
{
    Workspace::install(std::move(previousWorkspace_));
    service_.reset();
    defaults_.reset();
    dir_.reset();
}

void TestAnnouncementWindows::pageForAnnouncement_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("page");
    QTest::newRow("whole document") << QByteArray(R"({"html":"<html><body>x</body></html>"})")
                                    << "<html><body>x</body></html>";
    QTest::newRow("prefix only") << QByteArray(R"({"html":"<htmlish>"})") << "<htmlish>";
    QTest::newRow("fragment") << QByteArray(R"({"html":"<p>Hi</p>"})") << kHead + "<p>Hi</p>" + kTail;
    QTest::newRow("upper-case document") << QByteArray(R"({"html":"<HTML><body>x</body></HTML>"})")
                                         << kHead + "<HTML><body>x</body></HTML>" + kTail;
    QTest::newRow("blank first") << QByteArray(R"({"html":" <html></html>"})")
                                 << kHead + " <html></html>" + kTail;
    QTest::newRow("no html") << QByteArray("{}") << kHead + "(null)" + kTail;
    QTest::newRow("empty html") << QByteArray(R"({"html":""})") << kHead + kTail;
    QTest::newRow("placeholder text kept") << QByteArray(R"({"html":"%1 %@"})") << kHead + "%1 %@" + kTail;
}

void TestAnnouncementWindows::pageForAnnouncement()
{
    QFETCH(QByteArray, json);
    AnnouncementWindowController controller;
    controller.setAnnouncement(entry(json));
    QTEST(controller.htmlStringForAnnouncement(), "page");
    QVERIFY(!controller.isWindowLoaded());
}

void TestAnnouncementWindows::loadingPage()
{
    QCOMPARE(AnnouncementWindowController::pageWrapper(QStringLiteral("%@")).size(), 137);
    QCOMPARE(AnnouncementWindowController::htmlStringForLoading(),
             kHead + QStringLiteral("Loading…") + kTail);
}

void TestAnnouncementWindows::buttonsFollowTheAnnouncement_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<bool>("checkboxShown");
    QTest::addColumn<bool>("learnMoreShown");
    QTest::newRow("news, repeat 0") << QByteArray(R"({"id":"a","type":"announcement","repeatAfterDays":0})")
                                    << false << false;
    QTest::newRow("news, repeat 7") << QByteArray(R"({"id":"a","type":"announcement","repeatAfterDays":7,
        "learnMoreURL":"https://example.org/more"})")
                                    << true << true;
    QTest::newRow("welcome, repeat 7")
        << QByteArray(R"({"id":"a","type":"welcome","repeatAfterDays":7})") << false << false;
    QTest::newRow("new version") << QByteArray(R"({"id":"a","type":"new_version","repeatAfterDays":7})")
                                 << false << false;
    // No type: the checkbox keeps what the layout gave it.
    QTest::newRow("no type") << QByteArray(
                                    R"({"id":"a","repeatAfterDays":0,"learnMoreURL":"https://e.org/"})")
                             << true << true;
}

void TestAnnouncementWindows::buttonsFollowTheAnnouncement()
{
    QFETCH(QByteArray, json);
    AnnouncementWindowController controller;
    controller.setAnnouncementService(service_.get());
    controller.setAnnouncement(entry(json));
    controller.showWindow();
    QVERIFY(controller.dontShowCheckbox());
    QTEST(controller.dontShowCheckbox()->isVisible(), "checkboxShown");
    QTEST(controller.learnMoreButton()->isVisible(), "learnMoreShown");
    QVERIFY(controller.okButton()->isVisible());
}

void TestAnnouncementWindows::showsTheFragmentWithoutScripts()
{
    AnnouncementWindowController controller;
    controller.setAnnouncement(entry(R"({"id":"a","html":"<p id=\"p\">Hello <b>feed</b></p>
        <script>document.getElementById('p').textContent = 'script ran';</script>"})"));
    controller.showWindow();
    QVERIFY(showsText(controller.webView(), QStringLiteral("Hello feed")));
    // Pages have no address of their own, so nothing local is reachable from them.
    QCOMPARE(controller.webView()->page()->url().scheme(), QStringLiteral("data"));
    QTRY_VERIFY_WITH_TIMEOUT(controller.progressIndicator()->isHidden(), 10000);
}

void TestAnnouncementWindows::learnmoreLinkOpensOutside_data()
{
    QTest::addColumn<QString>("href");
    QTest::addColumn<QString>("learnMoreURL");
    QTest::addColumn<QList<QUrl>>("opened");
    QTest::newRow("with learn-more page")
        << "learnmore:anything"
        << "https://example.org/more" << QList<QUrl>{QUrl(QStringLiteral("https://example.org/more"))};
    QTest::newRow("without") << "learnmore:anything" << QString() << QList<QUrl>{};
    QTest::newRow("local file link") << "file:///etc/hostname"
                                     << "https://example.org/more" << QList<QUrl>{};
}

void TestAnnouncementWindows::learnmoreLinkOpensOutside()
{
    QFETCH(QString, href);
    QFETCH(QString, learnMoreURL);
    QFETCH(QList<QUrl>, opened);
    Announcement announcement;
    announcement.setAnnouncementId(QStringLiteral("a"));
    announcement.setHtml(QStringLiteral("<a href=\"") + href +
                         QStringLiteral("\" style=\"display:block;position:absolute;"
                                        "left:0;top:0;width:300px;height:200px\">Read on</a>"));
    announcement.setLearnMoreURL(QUrl(learnMoreURL));
    AnnouncementWindowController controller;
    controller.setAnnouncement(std::make_shared<const Announcement>(announcement));
    controller.showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(controller.window()));
    QVERIFY(showsText(controller.webView(), QStringLiteral("Read on")));
    const QUrl before = controller.webView()->page()->url();

    QWidget* target = controller.webView()->focusProxy();
    QVERIFY(target);
    QTest::mouseClick(target, Qt::LeftButton, {}, QPoint(60, 60));
    QTRY_COMPARE_WITH_TIMEOUT(opened_.size(), opened.size(), 5000);
    QTest::qWait(300);
    QCOMPARE(opened_, opened);
    QCOMPARE(controller.webView()->page()->url(), before);
    QVERIFY(showsText(controller.webView(), QStringLiteral("Read on")));
}

void TestAnnouncementWindows::navigationPolicy_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("followed");
    QTest::addColumn<int>("opened");
    QTest::newRow("web page") << "https://example.org/" << true << 0;
    QTest::newRow("plain web page") << "http://example.org/" << true << 0;
    QTest::newRow("inline page") << "data:text/html,x" << true << 0;
    QTest::newRow("learnmore") << "learnmore:x" << false << 1;
    QTest::newRow("learnmore, other spelling") << "LearnMore:x" << false << 1;
    QTest::newRow("local file") << "file:///etc/passwd" << false << 0;
    QTest::newRow("resource") << "qrc:/x" << false << 0;
    QTest::newRow("mail") << "mailto:someone@example.org" << false << 0;
}

void TestAnnouncementWindows::navigationPolicy()
{
    QFETCH(QString, url);
    AnnouncementWindowController controller;
    controller.setAnnouncement(entry(R"({"id":"a","learnMoreURL":"https://example.org/more"})"));
    QTEST(controller.decidePolicyForNavigation(QUrl(url)), "followed");
    QTEST(int(opened_.size()), "opened");
}

void TestAnnouncementWindows::okButtonAndCheckbox_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<bool>("checked");
    QTest::addColumn<QString>("seen"); // stored date afterwards, empty for none
    const QByteArray news = R"({"id":"n","type":"announcement","repeatAfterDays":7})";
    QTest::newRow("checked") << news << true << "2100-01-01T00:00:00Z";
    QTest::newRow("unchecked") << news << false << "";
    // Read even when hidden, as it was left.
    QTest::newRow("hidden but checked")
        << QByteArray(R"({"id":"w","type":"welcome"})") << true << "2100-01-01T00:00:00Z";
}

void TestAnnouncementWindows::okButtonAndCheckbox()
{
    QFETCH(QByteArray, json);
    QFETCH(bool, checked);
    QFETCH(QString, seen);
    const AnnouncementPtr announcement = entry(json);
    AnnouncementWindowController controller;
    controller.setAnnouncementService(service_.get());
    controller.setAnnouncement(announcement);
    controller.showWindow();
    QVERIFY(controller.window()->isVisible());
    controller.dontShowCheckbox()->setChecked(checked);
    QTest::mouseClick(controller.okButton(), Qt::LeftButton);
    QVERIFY(!controller.window()->isVisible());
    const auto stored = Defaults(defaults_->fileName()).announcementsSeen();
    const QDateTime date = stored ? stored->value(announcement->announcementId()) : QDateTime();
    QCOMPARE(date.isValid() ? date.toUTC().toString(Qt::ISODate) : QString(), seen);
}

void TestAnnouncementWindows::addressPageReplacesLoadingText()
{
    FeedServer server;
    server.route(
        "/news.html",
        FeedServer::Reply{
            200, "<html><body><p>News from the server</p></body></html>", {}, true, false, "text/html"});
    Announcement announcement;
    announcement.setAnnouncementId(QStringLiteral("u"));
    announcement.setUrl(server.url(QStringLiteral("/news.html")));
    announcement.setHtml(QStringLiteral("<p>not this</p>"));
    AnnouncementWindowController controller;
    controller.setAnnouncement(std::make_shared<const Announcement>(announcement));
    controller.showWindow();
    QVERIFY(showsText(controller.webView(), QStringLiteral("News from the server")));
    QCOMPARE(controller.webView()->page()->url(), announcement.url());
    QTRY_VERIFY_WITH_TIMEOUT(controller.progressIndicator()->isHidden(), 10000);
    QCOMPARE(controller.progressIndicator()->value(), 100);
}

void TestAnnouncementWindows::historyPagesThroughTheFeed()
{
    service_->setAnnoucements(QList<AnnouncementPtr>{
        entry(R"({"id":"A","html":"<p>first</p>","learnMoreURL":"https://example.org/a"})"),
        entry(R"({"id":"B","html":"<p>second</p>"})"), entry(R"({"id":"C","html":"<p>third</p>"})")});
    AnnouncementHistoryWindowController controller;
    controller.setAnnouncementService(service_.get());
    controller.showWindow();

    struct Step
    {
        void (AnnouncementHistoryWindowController::*click)();
        const char* id;
        const char* text;
        bool next, previous, learnMore;
    };
    const Step steps[] = {
        {nullptr, "C", "third", false, true, false},
        {&AnnouncementHistoryWindowController::previousButtonClicked, "B", "second", true, true, false},
        {&AnnouncementHistoryWindowController::previousButtonClicked, "A", "first", true, false, true},
        {&AnnouncementHistoryWindowController::nextButtonClicked, "B", "second", true, true, false},
    };
    for (const Step& step : steps) {
        if (step.click)
            (controller.*step.click)();
        QCOMPARE(controller.announcement()->announcementId(), QString::fromLatin1(step.id));
        QVERIFY(showsText(controller.webView(), QString::fromLatin1(step.text)));
        QCOMPARE(controller.nextButton()->isEnabled(), step.next);
        QCOMPARE(controller.previousButton()->isEnabled(), step.previous);
        QCOMPARE(controller.learnMoreButton()->isVisible(), step.learnMore);
    }
    // The buttons themselves page too.
    QTest::mouseClick(controller.nextButton(), Qt::LeftButton);
    QCOMPARE(controller.announcement()->announcementId(), QStringLiteral("C"));
    // A second showing keeps the entry last viewed.
    controller.window()->close();
    controller.previousButtonClicked();
    controller.showWindow();
    QCOMPARE(controller.announcement()->announcementId(), QStringLiteral("B"));
}

void TestAnnouncementWindows::historyOfEmptyFeed()
{
    AnnouncementHistoryWindowController controller;
    controller.setAnnouncementService(service_.get());
    controller.showWindow();
    QVERIFY(!controller.announcement());
    QVERIFY(!controller.nextButton()->isEnabled());
    QVERIFY(!controller.previousButton()->isEnabled());
    QVERIFY(!controller.learnMoreButton()->isVisible());
    QVERIFY(showsText(controller.webView(), QStringLiteral("(null)")));
    // A feed that arrives later does not reach a window already built.
    service_->setAnnoucements(QList<AnnouncementPtr>{entry(R"({"id":"A","html":"a"})")});
    controller.showWindow();
    QVERIFY(!controller.announcement());
}

void TestAnnouncementWindows::historyLoadsAddressPageLater()
{
    FeedServer server;
    server.route("/one.html",
                 FeedServer::Reply{200, "<html><body>page one</body></html>", {}, true, false, "text/html"});
    server.route("/two.html",
                 FeedServer::Reply{200, "<html><body>page two</body></html>", {}, true, false, "text/html"});
    Announcement one;
    one.setAnnouncementId(QStringLiteral("1"));
    one.setUrl(server.url(QStringLiteral("/one.html")));
    Announcement two;
    two.setAnnouncementId(QStringLiteral("2"));
    two.setUrl(server.url(QStringLiteral("/two.html")));
    service_->setAnnoucements(QList<AnnouncementPtr>{std::make_shared<const Announcement>(one),
                                                     std::make_shared<const Announcement>(two)});
    AnnouncementHistoryWindowController controller;
    controller.setAnnouncementService(service_.get());
    controller.showWindow();
    QVERIFY(showsText(controller.webView(), QStringLiteral("page two")));
    QCOMPARE(server.requests("/two.html"), 1);
    // Paging back and forth at once loads only the page current when the wait ends.
    controller.previousButtonClicked();
    controller.nextButtonClicked();
    controller.previousButtonClicked();
    QVERIFY(showsText(controller.webView(), QStringLiteral("page one")));
    QTest::qWait(2 * AnnouncementHistoryWindowController::kDeferredLoadMilliseconds);
    QCOMPARE(server.requests("/one.html"), 1);
    QCOMPARE(server.requests("/two.html"), 1);
}

int main(int argc, char** argv)
{
    // Qt WebEngine shares its GL contexts with the application's; this must precede the application.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    TestAnnouncementWindows test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_announcementwindows.moc"
