// The launch announcement and the Help menu's history, with the shipped feed and a real web engine.

#include "announcementfeed/announcementservice.h"
#include "announcementfeed/announcementwindows.h"
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

// The windows come from the loaded module; the test sees them only as Qt sees them, through
// their widgets' names.
QWebEngineView* webViewOf(QWidget* window)
{
    return window ? window->findChild<QWebEngineView*>(QStringLiteral("webView")) : nullptr;
}

template <typename Widget = QAbstractButton> Widget* childOf(QWidget* window, const char* name)
{
    return window ? window->findChild<Widget*>(QLatin1String(name)) : nullptr;
}

bool showsTextStartingWith(QWebEngineView* view, const QString& start)
{
    if (!view)
        return false;
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

    AnnouncementWindows* windows = delegate_->announcementWindows();
    QVERIFY(windows);
    QWidget* window = windows->announcementWindow();
    QVERIFY(window);
    QVERIFY(window->isVisible());
    QCOMPARE(windows->announcement()->announcementId(), QStringLiteral("welcome-1"));
    QVERIFY(showsTextStartingWith(webViewOf(window), QStringLiteral("Welcome to IconFoundry")));
    QVERIFY(childOf(window, "learnMoreButton")->isVisible());
    QVERIFY(!childOf<QCheckBox>(window, "dontShowCheckbox")->isVisible());
    const auto seen = Defaults::standardUserDefaults().announcementsSeen();
    QVERIFY(seen);
    QCOMPARE(seen->keys(), QStringList{QStringLiteral("welcome-1")});
}

void TestAnnouncementLaunch::helpMenuOpensTheHistory()
{
    QMenuBar* menuBar = delegate_->mainWindowController()->window()->menuBar();
    auto* action = menuBar->findChild<QAction*>(QStringLiteral("showAnnouncementsWindow"));
    QVERIFY(action);
    AnnouncementWindows* windows = delegate_->announcementWindows();
    QVERIFY(!windows->historyWindow());
    action->trigger();
    QWidget* history = windows->historyWindow();
    QVERIFY(history);
    QVERIFY(history->isVisible());
    QCOMPARE(windows->historyAnnouncement()->announcementId(), QStringLiteral("whats-new-0.1.0"));
    QVERIFY(showsTextStartingWith(webViewOf(history), QStringLiteral("What's new in IconFoundry")));
    QVERIFY(!childOf(history, "nextButton")->isEnabled());
    QVERIFY(childOf(history, "previousButton")->isEnabled());
    QTest::mouseClick(childOf(history, "previousButton"), Qt::LeftButton);
    QVERIFY(showsTextStartingWith(webViewOf(history), QStringLiteral("Welcome to IconFoundry")));
    // Browsing marks nothing seen.
    QCOMPARE(Defaults::standardUserDefaults().announcementsSeen()->size(), 1);
}

void TestAnnouncementLaunch::laterLoads()
{
    AnnouncementWindows* windows = delegate_->announcementWindows();
    QWidget* window = windows->announcementWindow();
    window->close();
    // A load that reports nothing shows nothing, even with the what's-new entry still unseen.
    delegate_->announcementsDidLoad(0);
    QVERIFY(!window->isVisible());
    QCOMPARE(windows->announcement()->announcementId(), QStringLiteral("welcome-1"));
    // The next load that reports entries shows the what's-new entry of this version, in the
    // same window.
    delegate_->announcementsDidLoad(2);
    QCOMPARE(windows->announcementWindow(), window);
    QVERIFY(window->isVisible());
    QCOMPARE(windows->announcement()->announcementId(), QStringLiteral("whats-new-0.1.0"));
    QVERIFY(showsTextStartingWith(webViewOf(window), QStringLiteral("What's new in IconFoundry")));
    delegate_->announcementsDidLoad(2);
    QCOMPARE(windows->announcement()->announcementId(), QStringLiteral("whats-new-0.1.0"));
}

int main(int argc, char** argv)
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    TestAnnouncementLaunch test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_announcementlaunch.moc"
