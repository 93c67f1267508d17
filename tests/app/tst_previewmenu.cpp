#include "app/appdelegate.h"
#include "common/testsupport.h"
#include "logging/log.h"
#include "mainwindow/helper_scriptedalerts.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/bundle.h"
#include "platform/defaults.h"
#include "previews/messagesscreenwindowcontroller.h"
#include "previews/padscreenwindowcontroller.h"
#include "previews/phonescreenwindowcontroller.h"
#include "previews/previewimageview.h"

#include <QAbstractButton>
#include <QAction>
#include <QButtonGroup>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using namespace iconfoundry::test;

// The Window menu of the running application opens the three previews with the main window's
// image, and later images reach the open previews. With ICONFOUNDRY_SCREENSHOT_DIR set, each
// preview is also saved there as a PNG, as drawn at the display's density.
class TestPreviewMenu : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void opensBeforeAnyImage();
    void menuOpensEachPreview_data();
    void menuOpensEachPreview();
    void newImagesReachOpenPreviews();

private:
    BaseScreenImageWindowController* preview(const QString& action) const;

    QTemporaryDir dir_;
    std::optional<ScopedEnvironmentVariable> stateHome_;
    std::unique_ptr<AppDelegate> delegate_;
};

void TestPreviewMenu::initTestCase()
{
    QVERIFY(dir_.isValid());
    stateHome_.emplace("XDG_STATE_HOME", QFile::encodeName(dir_.filePath(QStringLiteral("state"))));
    Defaults::setStandardUserDefaults(
        std::make_unique<Defaults>(dir_.filePath(QStringLiteral("settings.ini"))));
    delegate_ = std::make_unique<AppDelegate>();
    delegate_->setSystemLogger(std::make_shared<RecordingLogger>()); // nothing into the system journal
    delegate_->applicationDidFinishLaunching();
}

void TestPreviewMenu::cleanupTestCase()
{
    delegate_.reset();
    Log::flushLog();
    Log::removeAllLoggers();
    Defaults::setStandardUserDefaults(nullptr);
    stateHome_.reset();
}

void TestPreviewMenu::opensBeforeAnyImage()
{
    QVERIFY(!delegate_->sourceImage());
    delegate_->showMessagesScreenWindow();
    MessagesScreenWindowController* controller = delegate_->messagesScreenWindowController();
    QVERIFY(controller && controller->window()->isVisible());
    QVERIFY(!controller->sourceImage());
    QVERIFY(!controller->appIconImageView()->image());
    // The picture of the first screen is there all the same.
    QVERIFY(controller->backgroundImageView()->image());
}

BaseScreenImageWindowController* TestPreviewMenu::preview(const QString& action) const
{
    if (action == QLatin1String("showPhoneScreenWindow"))
        return delegate_->phoneScreenWindowController();
    if (action == QLatin1String("showPadScreenWindow"))
        return delegate_->padScreenWindowController();
    return delegate_->messagesScreenWindowController();
}

void TestPreviewMenu::menuOpensEachPreview_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("screenshot");
    QTest::newRow("phone") << "showPhoneScreenWindow"
                           << "Phone Preview"
                           << "phone";
    QTest::newRow("pad") << "showPadScreenWindow"
                         << "Pad Preview"
                         << "pad";
    QTest::newRow("messages") << "showMessagesScreenWindow"
                              << "Messages Preview"
                              << "messages";
}

void TestPreviewMenu::menuOpensEachPreview()
{
    QFETCH(QString, action);
    QFETCH(QString, text);
    QFETCH(QString, screenshot);
    ScopedAlertPresenter alerts;
    QVERIFY(delegate_->applicationOpenFile(
        Bundle::pathForResource(QStringLiteral("images/SampleIcon"), QStringLiteral("png"))));
    const ImagePtr sample = delegate_->sourceImage();
    QVERIFY(sample);

    QMenuBar* bar = delegate_->mainWindowController()->window()->menuBar();
    auto* menu = bar->findChild<QMenu*>(QStringLiteral("menuWindow"));
    QVERIFY(menu);
    QCOMPARE(menu->title(), QStringLiteral("Window"));
    auto* item = menu->findChild<QAction*>(action);
    QVERIFY(item);
    QCOMPARE(item->text(), text);
    item->trigger();
    BaseScreenImageWindowController* controller = preview(action);
    QVERIFY(controller);
    QVERIFY(QTest::qWaitForWindowExposed(controller->window()));
    QCOMPARE(controller->sourceImage(), sample);
    QVERIFY(controller->appIconImageView()->image());
    QVERIFY(!controller->iconScreenDefinitions().isEmpty());
    QVERIFY(controller->backgroundImageView()->image());
    QCOMPARE(controller->segmentedControl()->buttons().size(), controller->iconScreenDefinitions().size());

    // A second show reuses the window.
    item->trigger();
    QCOMPARE(preview(action), controller);

    const QString shots = qEnvironmentVariable("ICONFOUNDRY_SCREENSHOT_DIR");
    if (!shots.isEmpty()) {
        for (int segment = 0; segment < controller->iconScreenDefinitions().size(); ++segment) {
            if (controller->selectedSegment() != segment)
                controller->segmentedControl()->button(segment)->click();
            QVERIFY(controller->window()->grab().save(
                QStringLiteral("%1/%2-%3.png").arg(shots, screenshot).arg(segment)));
        }
    }
    QVERIFY(alerts->alerts.isEmpty());
}

void TestPreviewMenu::newImagesReachOpenPreviews()
{
    ScopedAlertPresenter alerts;
    // Every preview open before the image arrives, whichever tests ran first.
    delegate_->showPhoneScreenWindow();
    delegate_->showPadScreenWindow();
    delegate_->showMessagesScreenWindow();
    const QString blue = writeImage(dir_.filePath(QStringLiteral("blue.png")), 1024, 1024, Qt::blue);
    QVERIFY(delegate_->applicationOpenFile(blue));
    const ImagePtr image = delegate_->sourceImage();
    QCOMPARE(colorOf(image), QColor(Qt::blue));
    for (const QString action :
         {"showPhoneScreenWindow", "showPadScreenWindow", "showMessagesScreenWindow"}) {
        BaseScreenImageWindowController* controller = preview(action);
        QVERIFY(controller);
        QCOMPARE(controller->sourceImage(), image);
        QCOMPARE(colorOf(controller->appIconImageView()->image()), QColor(Qt::blue));
    }
    QVERIFY(alerts->alerts.isEmpty());
}

QTEST_MAIN(TestPreviewMenu)
#include "tst_previewmenu.moc"
