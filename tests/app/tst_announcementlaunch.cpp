// The launch announcement and the Help menu's history, with the shipped feed and a real web engine.

#include "announcementfeed/announcementservice.h"
#include "announcements/announcementhistorywindowcontroller.h"
#include "announcements/announcementwindowcontroller.h"
#include "app/appdelegate.h"
#include "common/testsupport.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QMainWindow>
#include <QMenuBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineView>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

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
    return text;
}

bool showsTextStartingWith(QWebEngineView* view, const QString& start)
{
    for (int i = 0; i < 200; ++i) {
        if (pageText(view).startsWith(start))
            return true;
        QTest::qWait(50);
    }
    qWarning() << "page shows" << pageText(view);
    return false;
}

} // namespace

class TestAnnouncementLaunch : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void launchShowsTheWelcome();
    void helpMenuOpensTheHistory();
    void laterLoads();

private:
    QTemporaryDir dir_;
    std::optional<ScopedEnvironmentVariable> stateHome_;
    std::optional<ScopedEnvironmentVariable> feed_;
    std::unique_ptr<AppDelegate> delegate_;
};

void TestAnnouncementLaunch::initTestCase()
{
    QVERIFY(dir_.isValid());
    stateHome_.emplace("XDG_STATE_HOME", QFile::encodeName(dir_.filePath(QStringLiteral("state"))));
    // The shipped feed, as a fresh install reads it.
    feed_.emplace(AppDelegate::AnnouncementsURLVariable, std::nullopt);
    Defaults::setStandardUserDefaults(
        std::make_unique<Defaults>(dir_.filePath(QStringLiteral("settings.ini"))));
    delegate_ = std::make_unique<AppDelegate>();
    delegate_->setSystemLogger(std::make_shared<RecordingLogger>());
}

void TestAnnouncementLaunch::cleanupTestCase()
{
    delegate_.reset();
    Log::flushLog();
    Log::removeAllLoggers();
    Defaults::setStandardUserDefaults(nullptr);
    feed_.reset();
    stateHome_.reset();
}

void TestAnnouncementLaunch::launchShowsTheWelcome()
{
    QSignalSpy loaded(delegate_.get(), &AppDelegate::announcementsLoaded);
    delegate_->applicationDidFinishLaunching();
    // Launch returns before the feed is read: nothing is shown yet.
    QCOMPARE(loaded.size(), 0);
    QVERIFY(loaded.wait(20000));
    QCOMPARE(loaded.first().first().toLongLong(), qint64(2));

    AnnouncementWindowController* window = delegate_->announcementWindowController();
    QVERIFY(window->isWindowLoaded());
    QVERIFY(window->window()->isVisible());
    QCOMPARE(window->announcement()->announcementId(), QStringLiteral("welcome-1"));
    QVERIFY(showsTextStartingWith(window->webView(), QStringLiteral("Welcome to IconFoundry")));
    QVERIFY(window->learnMoreButton()->isVisible());
    QVERIFY(!window->dontShowCheckbox()->isVisible());
    const auto seen = Defaults::standardUserDefaults().announcementsSeen();
    QVERIFY(seen);
    QCOMPARE(seen->keys(), QStringList{QStringLiteral("welcome-1")});
}

void TestAnnouncementLaunch::helpMenuOpensTheHistory()
{
    QMenuBar* menuBar = delegate_->mainWindowController()->window()->menuBar();
    auto* action = menuBar->findChild<QAction*>(QStringLiteral("showAnnouncementsWindow"));
    QVERIFY(action);
    QVERIFY(!delegate_->announcementHistoryWindowController()->isWindowLoaded());
    action->trigger();
    AnnouncementHistoryWindowController* history = delegate_->announcementHistoryWindowController();
    QVERIFY(history->window()->isVisible());
    QCOMPARE(history->announcement()->announcementId(), QStringLiteral("whats-new-0.1.0"));
    QVERIFY(showsTextStartingWith(history->webView(), QStringLiteral("What's new in IconFoundry")));
    QVERIFY(!history->nextButton()->isEnabled());
    QVERIFY(history->previousButton()->isEnabled());
    QTest::mouseClick(history->previousButton(), Qt::LeftButton);
    QVERIFY(showsTextStartingWith(history->webView(), QStringLiteral("Welcome to IconFoundry")));
    // Browsing marks nothing seen.
    QCOMPARE(Defaults::standardUserDefaults().announcementsSeen()->size(), 1);
}

void TestAnnouncementLaunch::laterLoads()
{
    AnnouncementWindowController* window = delegate_->announcementWindowController();
    window->window()->close();
    // A load that reports nothing shows nothing, even with the what's-new entry still unseen.
    delegate_->announcementsDidLoad(0);
    QVERIFY(!window->window()->isVisible());
    QCOMPARE(window->announcement()->announcementId(), QStringLiteral("welcome-1"));
    // The next load that reports entries shows the what's-new entry of this version.
    delegate_->announcementsDidLoad(2);
    QVERIFY(window->window()->isVisible());
    QCOMPARE(window->announcement()->announcementId(), QStringLiteral("whats-new-0.1.0"));
    QVERIFY(showsTextStartingWith(window->webView(), QStringLiteral("What's new in IconFoundry")));
    delegate_->announcementsDidLoad(2);
    QCOMPARE(window->announcement()->announcementId(), QStringLiteral("whats-new-0.1.0"));
}

int main(int argc, char** argv)
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    TestAnnouncementLaunch test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_announcementlaunch.moc"
