#include "common/testsupport.h"
#include "helper_iconcatalogue.h"
#include "helper_scriptedalerts.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"

#include <QAction>
#include <QImageReader>
#include <QMainWindow>
#include <QMenu>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;
using iconfoundry::test::readFile;

namespace {

const QString kFilesExist = QStringLiteral("Some icon files already exist.");
const int kReplace = Alert::FirstButtonReturn;
const int kCancel = Alert::SecondButtonReturn;

} // namespace

// Save Android Icons and Save Web Icons in the window, driven headless through the panel and
// alert seams.
class TestPlatformSaves : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void menuCommands();
    void saves_data();
    void saves();
    void webManifestMergedWithTheWindowsBackground();

private:
    QString path(const QString& name) const { return dir_->filePath(name); }
    // Chooses folder in the panel, answers the alerts and waits for every write to end.
    QList<Alert> save(QAction* action, const QString& folder, const QList<int>& answers)
    {
        ScopedAlertPresenter alerts;
        alerts->answers = answers;
        ScopedPanelPresenter panel;
        panel->response = OpenPanelOptions::OKResponse;
        panel->urls = {QUrl::fromLocalFile(folder)};
        controller_->validateMenuItems(); // as the File menu does when it opens
        action->trigger();
        if (!QTest::qWaitFor([&] { return !controller_->isWriting(); }, 20000))
            qWarning("the write did not end");
        panelTitles_.append(panel->begun.value(0).title);
        return alerts->alerts;
    }

    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    ImageProcessor processor_;
    ContentsJSONProcessor json_{&processor_};
    std::unique_ptr<MainWindowController> controller_;
    QStringList panelTitles_;
};

void TestPlatformSaves::init()
{
    controller_.reset();
    panelTitles_.clear();
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    processor_.setAllImageCategories(iconCatalogueCategories());
    processor_.setAllImageSizes(iconCatalogueSizes());
    controller_ = std::make_unique<MainWindowController>(defaults_.get());
    controller_->setImageProcessor(&processor_);
    controller_->setContentsJSONProcessor(&json_);
    controller_->window();
}

void TestPlatformSaves::menuCommands()
{
    const QList<QAction*> actions = controller_->fileMenu()->actions();
    const qsizetype xcode = actions.indexOf(controller_->saveDocumentToXcodeAction());
    QVERIFY(xcode >= 0);
    QCOMPARE(actions.value(xcode + 1), controller_->saveAndroidIconsAction());
    QCOMPARE(actions.value(xcode + 2), controller_->saveWebIconsAction());
    QCOMPARE(controller_->saveAndroidIconsAction()->text(), QStringLiteral("Save An&droid Icons…"));
    QCOMPARE(controller_->saveWebIconsAction()->text(), QStringLiteral("Save &Web Icons…"));
    controller_->validateMenuItems();
    QVERIFY(!controller_->saveAndroidIconsAction()->isEnabled()); // no image yet
    const QString image = writeImage(path("source.png"), 1024, 1024, Qt::green);
    QVERIFY(controller_->openDocumentWithContentsOfURL(QUrl::fromLocalFile(image)));
    controller_->validateMenuItems();
    QVERIFY(controller_->saveAndroidIconsAction()->isEnabled());
    QVERIFY(controller_->saveWebIconsAction()->isEnabled());
}

void TestPlatformSaves::saves_data()
{
    QTest::addColumn<bool>("android");
    QTest::addColumn<QString>("probe"); // a file of the set, and its side
    QTest::addColumn<int>("side");
    QTest::addColumn<qsizetype>("files");

    QTest::newRow("Android") << true << "mipmap-xxxhdpi/ic_launcher_foreground.png" << 432 << qsizetype(24);
    QTest::newRow("web") << false << "icon-512-maskable.png" << 512 << qsizetype(7);
}

// A first save asks nothing; the same image again changes nothing and asks nothing; a new image
// asks before replacing, and Cancel keeps the files.
void TestPlatformSaves::saves()
{
    QFETCH(bool, android);
    QFETCH(QString, probe);
    QFETCH(int, side);
    QFETCH(qsizetype, files);

    QVERIFY(controller_->openDocumentWithContentsOfURL(
        QUrl::fromLocalFile(writeImage(path("green.png"), 1024, 1024, Qt::green))));
    const QString out = path("out");
    QAction* action = android ? controller_->saveAndroidIconsAction() : controller_->saveWebIconsAction();

    QCOMPARE(messages(save(action, out, {})), QStringList{});
    QCOMPARE(panelTitles_.last(), android ? QStringLiteral("Choose the res Folder of Your Android App")
                                          : QStringLiteral("Choose the Folder of Your Web App's Manifest"));
    QCOMPARE(QImageReader(QDir(out).filePath(probe)).size(), QSize(side, side));
    QCOMPARE(controller_->window()->statusBar()->currentMessage(),
             QStringLiteral("Saved %1 icon files to %2.").arg(files).arg(out));
    const QByteArray first = readFile(QDir(out).filePath(probe));

    QCOMPARE(messages(save(action, out, {})), QStringList{});
    QCOMPARE(readFile(QDir(out).filePath(probe)), first);

    QVERIFY(controller_->openDocumentWithContentsOfURL(
        QUrl::fromLocalFile(writeImage(path("blue.png"), 1024, 1024, Qt::blue))));
    const QList<Alert> cancelled = save(action, out, {kCancel});
    QCOMPARE(messages(cancelled), QStringList{kFilesExist});
    QVERIFY(cancelled.first().informativeText.contains(QStringLiteral("\u2022") + probe + "\n"));
    QCOMPARE(readFile(QDir(out).filePath(probe)), first);

    QCOMPARE(messages(save(action, out, {kReplace})), QStringList{kFilesExist});
    QVERIFY(readFile(QDir(out).filePath(probe)) != first);
    QCOMPARE(QImageReader(QDir(out).filePath(probe)).size(), QSize(side, side));
}

void TestPlatformSaves::webManifestMergedWithTheWindowsBackground()
{
    QVERIFY(controller_->openDocumentWithContentsOfURL(
        QUrl::fromLocalFile(writeImage(path("green.png"), 1024, 1024, Qt::green))));
    controller_->setBackgroundColour(QColor(200, 0, 100));
    const QString out = path("site");
    QVERIFY(QDir().mkpath(out));
    QFile manifest(QDir(out).filePath("manifest.json"));
    QVERIFY(manifest.open(QIODevice::WriteOnly) && manifest.write("{\"name\": \"Site\"}") > 0);
    manifest.close();

    QCOMPARE(messages(save(controller_->saveWebIconsAction(), out, {})), QStringList{});
    const QByteArray merged = readFile(QDir(out).filePath("manifest.json"));
    QVERIFY2(merged.startsWith("{\"name\": \"Site\",\n  \"icons\": [\n"), merged.constData());
    QVERIFY(!QFile::exists(QDir(out).filePath("manifest.webmanifest")));
    const QImage maskable(QDir(out).filePath("icon-192-maskable.png"));
    QCOMPARE(maskable.pixelColor(0, 0), QColor(200, 0, 100));
}

QTEST_MAIN(TestPlatformSaves)
#include "tst_platformsaves.moc"
