#include "app/aboutwindowcontroller.h"
#include "app/appdelegate.h"
#include "app/appdelegateservices.h"
#include "app/helper_workspace.h"
#include "app/sharingservice.h"
#include "common/testsupport.h"
#include "iconset/sourceimagenotificationcenter.h"
#include "logging/filelogger.h"
#include "logging/log.h"
#include "logging/logfilemanager.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"
#include "platform/texts.h"
#include "ui/workspace.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QImage>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

class ScopedWorkspace
{
public:
    ScopedWorkspace() : workspace_(new RecordingWorkspace)
    {
        Workspace::install(std::unique_ptr<Workspace>(workspace_));
    }
    ~ScopedWorkspace() { Workspace::install(nullptr); }
    RecordingWorkspace* operator->() const { return workspace_; }

private:
    RecordingWorkspace* workspace_;
};

QAction* actionNamed(const char* name)
{
    auto* action = new QAction(qApp);
    action->setObjectName(QString::fromLatin1(name));
    return action;
}

const QString kShareText =
    QStringLiteral("I make my app icons with IconFoundry: one image in, every icon size out.");

} // namespace

class TestAppShell : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(dir_.isValid());
        stateHome_.emplace("XDG_STATE_HOME", QFile::encodeName(dir_.filePath(QStringLiteral("state"))));
        Defaults::setStandardUserDefaults(
            std::make_unique<Defaults>(dir_.filePath(QStringLiteral("settings.ini"))));
        Texts::installTranslations();
    }

    void cleanupTestCase()
    {
        delegate_.reset();
        Log::flushLog();
        Log::removeAllLoggers();
        Defaults::setStandardUserDefaults(nullptr);
        stateHome_.reset();
    }

    void versionString_data()
    {
        QTest::addColumn<QString>("shortVersion");
        QTest::addColumn<QString>("build");
        QTest::addColumn<QString>("expected");
        QTest::newRow("both") << "2.1"
                              << "7"
                              << "v2.1 (7)";
        QTest::newRow("no build") << "2.1"
                                  << ""
                                  << "v2.1";
        QTest::newRow("build without short version") << ""
                                                     << "7"
                                                     << "";
        QTest::newRow("neither") << ""
                                 << ""
                                 << "";
        QTest::newRow("two-digit minor") << "2.10"
                                         << "31"
                                         << "v2.10 (31)";
    }

    void versionString()
    {
        QFETCH(QString, shortVersion);
        QFETCH(QString, build);
        QFETCH(QString, expected);
        QCOMPARE(AppDelegate::versionString(shortVersion, build), expected);
    }

    // Before launch there is no file logger: no list at all. After launch the files come newest
    // first; once they are gone the answer is absent again, never an empty list.
    void logURLs()
    {
        AppDelegateServices notLaunched;
        QVERIFY(!notLaunched.logURLs());

        AppDelegateServices* delegate = launched();
        Log::flushLog();
        const std::optional<QList<QUrl>> urls = delegate->logURLs();
        QVERIFY(urls);
        QCOMPARE(urls->size(), 1);
        QVERIFY(urls->first().isLocalFile());
        QCOMPARE(QFileInfo(urls->first().toLocalFile()).absolutePath(),
                 dir_.filePath(QStringLiteral("state/app_tst_appshell/Logs")));

        const std::vector<std::string> paths = delegate->fileLogger()->logFileManager()->sortedLogFilePaths();
        const std::string hidden = paths.front() + ".moved";
        QVERIFY(QFile::rename(QString::fromStdString(paths.front()), QString::fromStdString(hidden)));
        QVERIFY(!delegate->logURLs());
        QVERIFY(QFile::rename(QString::fromStdString(hidden), QString::fromStdString(paths.front())));
    }

    void shareItems_data()
    {
        QTest::addColumn<bool>("services");
        QTest::addColumn<int>("count");
        QTest::newRow("base delegate: text and image") << false << 2;
        QTest::newRow("installed delegate: text, image and link") << true << 3;
    }

    void shareItems()
    {
        QFETCH(bool, services);
        QFETCH(int, count);
        std::unique_ptr<AppDelegate> delegate =
            services ? std::make_unique<AppDelegateServices>() : std::make_unique<AppDelegate>();
        const QVariantList items = delegate->shareItems();
        QCOMPARE(items.size(), count);
        QCOMPARE(items.at(0).toString(), kShareText);
        QCOMPARE(items.at(1).value<QImage>().size(), QSize(512, 512));
        if (services)
            QCOMPARE(items.at(2).toUrl(), QUrl(QStringLiteral("https://velmora.co/iconfoundry/")));
    }

    void additionalIssueInfo_data()
    {
        QTest::addColumn<QSize>("pixels"); // empty: no image
        QTest::addColumn<QString>("expected");
        QTest::newRow("no image") << QSize() << "No image loaded.";
        QTest::newRow("512") << QSize(512, 512) << "Image size: {512, 512}";
        QTest::newRow("1024") << QSize(1024, 1024) << "Image size: {1024, 1024}";
        QTest::newRow("wide") << QSize(300, 20) << "Image size: {300, 20}";
    }

    void additionalIssueInfo()
    {
        QFETCH(QSize, pixels);
        QFETCH(QString, expected);
        AppDelegateServices delegate;
        if (!pixels.isEmpty()) {
            QImage bitmap(pixels, QImage::Format_ARGB32);
            bitmap.fill(Qt::red);
            delegate.newSourceImage(Image::fromQImage(bitmap));
        }
        IssuesController controller;
        controller.setLogURLs(QList<QUrl>{QUrl(QStringLiteral("file:///stale.log"))});
        QCOMPARE(delegate.additionalIssueInfoForController(&controller), expected);
        // Not launched: no file logger, so no attachments, and not an empty list.
        QVERIFY(!controller.logURLs());
    }

    void sizeText_data()
    {
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<QString>("expected");
        QTest::newRow("whole") << QSizeF(1024, 1024) << "{1024, 1024}";
        QTest::newRow("half point") << QSizeF(512.5, 80) << "{512.5, 80}";
        QTest::newRow("zero") << QSizeF(0, 0) << "{0, 0}";
    }

    void sizeText()
    {
        QFETCH(QSizeF, size);
        QFETCH(QString, expected);
        QCOMPARE(AppDelegateServices::sizeText(size), expected);
    }

    void shareAddresses_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<bool>("withLink");
        QTest::addColumn<QString>("expected"); // empty: nothing to open
        const QString mail = QStringLiteral("ComposeEmail");
        QTest::newRow("mail: text and link")
            << mail << true
            << "mailto:?body=I%20make%20my%20app%20icons%20with%20IconFoundry%3A%20one%20image%20in%2C%"
               "20every%20icon%20size%20out.%0A%0Ahttps%3A%2F%2Fvelmora.co%2Ficonfoundry%2F";
        QTest::newRow("mail: text only") << mail << false
                                         << "mailto:?body=I%20make%20my%20app%20icons%20with%20IconFoundry%"
                                            "3A%20one%20image%20in%2C%20every%20icon%20size%20out.";
        QTest::newRow("Facebook")
            << "PostOnFacebook" << true
            << "https://www.facebook.com/sharer/sharer.php?u=https%3A%2F%2Fvelmora.co%2Ficonfoundry%2F";
        QTest::newRow("Facebook without a link") << "PostOnFacebook" << false << "";
        QTest::newRow("LinkedIn") << "PostOnLinkedIn" << true
                                  << "https://www.linkedin.com/sharing/share-offsite/"
                                     "?url=https%3A%2F%2Fvelmora.co%2Ficonfoundry%2F";
        QTest::newRow("Twitter")
            << "PostOnTwitter" << true
            << "https://twitter.com/intent/"
               "tweet?text=I%20make%20my%20app%20icons%20with%20IconFoundry%3A%20one%20image%20in%2C%20every%"
               "20icon%20size%20out.&url=https%3A%2F%2Fvelmora.co%2Ficonfoundry%2F";
        QTest::newRow("Sina Weibo")
            << "PostOnSinaWeibo" << true
            << "https://service.weibo.com/share/"
               "share.php?url=https%3A%2F%2Fvelmora.co%2Ficonfoundry%2F&title=I%20make%20my%20app%20icons%"
               "20with%20IconFoundry%3A%20one%20image%20in%2C%20every%20icon%20size%20out.";
    }

    // What each share action opens, through the workspace.
    void shareAddresses()
    {
        QFETCH(QString, service);
        QFETCH(bool, withLink);
        QFETCH(QString, expected);
        std::unique_ptr<AppDelegate> delegate =
            withLink ? std::make_unique<AppDelegateServices>() : std::make_unique<AppDelegate>();
        ScopedWorkspace workspace;
        const SharingService* sharing = SharingService::sharingServiceNamed(service);
        QVERIFY(sharing);
        QCOMPARE(sharing->performWithItems(delegate->shareItems()), !expected.isEmpty());
        QCOMPARE(workspace->opened.size(), expected.isEmpty() ? 0 : 1);
        if (!expected.isEmpty())
            QCOMPARE(workspace->opened.first().toString(QUrl::FullyEncoded), expected);
    }

    void validateMenuItem_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("e-mail") << "shareViaEmail:" << true;
        QTest::newRow("messages: no service here") << "shareViaMessages:" << false;
        QTest::newRow("Facebook") << "shareViaFacebook:" << true;
        QTest::newRow("LinkedIn") << "shareViaLinkedIn:" << true;
        QTest::newRow("Sina Weibo") << "shareViaSinaWeibo:" << true;
        QTest::newRow("Tencent Weibo: no service here") << "shareViaTencentWeibo:" << false;
        QTest::newRow("Twitter") << "shareViaTwitter:" << true;
        QTest::newRow("not a share item") << "showHomePage:" << true;
        QTest::newRow("unnamed item") << "" << true;
    }

    void validateMenuItem()
    {
        QFETCH(QString, name);
        QFETCH(bool, enabled);
        AppDelegate delegate;
        QAction* action = actionNamed(name.toLatin1().constData());
        QCOMPARE(delegate.validateMenuItem(action), enabled);
        // The installed menu agrees.
        AppDelegateServices* launchedDelegate = launched();
        QMenuBar* bar = launchedDelegate->mainWindowController()->window()->menuBar();
        if (auto* item = bar->findChild<QAction*>(name); item && !name.isEmpty())
            QCOMPARE(item->isEnabled(), enabled);
        delete action;
    }

    // The share menu's action hands the installed delegate's items to the service.
    void shareActionOpensTheServiceAddress()
    {
        ScopedWorkspace workspace;
        AppDelegateServices* delegate = launched();
        QMenuBar* bar = delegate->mainWindowController()->window()->menuBar();
        QAction* action = bar->findChild<QAction*>(QStringLiteral("shareViaLinkedIn:"));
        QVERIFY(action);
        action->trigger();
        QCOMPARE(workspace->opened,
                 QList<QUrl>{QUrl(QStringLiteral("https://www.linkedin.com/sharing/share-offsite/"
                                                 "?url=https%3A%2F%2Fvelmora.co%2Ficonfoundry%2F"))});
    }

    void showHomePage()
    {
        ScopedWorkspace workspace;
        AppDelegate delegate;
        delegate.showHomePage();
        QCOMPARE(workspace->opened, QList<QUrl>{QUrl(QStringLiteral("https://velmora.co/iconfoundry/"))});
    }

    void aboutWindowShowsTheVersion()
    {
        AppDelegate delegate;
        QVERIFY(!delegate.aboutWindowController());
        delegate.showAboutWindow();
        AboutWindowController* about = delegate.aboutWindowController();
        QVERIFY(about);
        QVERIFY(about->window()->isVisible());
        QCOMPARE(about->versionLabel()->text(), QStringLiteral("v0.1.0 (1)"));
        delegate.showAboutWindow();
        QCOMPARE(delegate.aboutWindowController(), about); // one window, shown again
    }

private:
    AppDelegateServices* launched()
    {
        if (!delegate_) {
            Log::removeAllLoggers();
            delegate_ = std::make_unique<AppDelegateServices>();
            delegate_->setSystemLogger(systemLog_);
            delegate_->applicationDidFinishLaunching();
        }
        return delegate_.get();
    }

    QTemporaryDir dir_;
    std::optional<ScopedEnvironmentVariable> stateHome_;
    std::shared_ptr<RecordingLogger> systemLog_ = std::make_shared<RecordingLogger>();
    std::unique_ptr<AppDelegateServices> delegate_;
};

QTEST_MAIN(TestAppShell)
#include "tst_appshell.moc"
