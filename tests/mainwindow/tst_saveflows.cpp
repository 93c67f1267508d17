#include "common/testsupport.h"
#include "helper_iconcatalogue.h"
#include "helper_scriptedalerts.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "mainwindow/mainwindowcontroller.h"
#include "mainwindow/progresswindowcontroller.h"
#include "platform/defaults.h"
#include "ui/workspace.h"

#include <QAction>
#include <QDialog>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;

namespace {

// Records the folders the window hands to the file browser instead of opening them.
class RecordingWorkspace : public Workspace
{
public:
    QList<QUrl> opened;
    bool openURL(const QUrl& url) override
    {
        opened.append(url);
        return true;
    }
};
using ScopedWorkspace = ScopedPresenter<RecordingWorkspace, Workspace>;

const QString kInstructions = QStringLiteral("Choose the app icon set in your Xcode project.");
const QString kNoSizes = QStringLiteral("No icon sizes are chosen.");
const QString kFilesExist = QStringLiteral("Some icon files already exist.");
const QString kImagesExist = QStringLiteral("Contents.json already lists other images for these icons.");
const QString kSaveError = QStringLiteral("The icons could not be saved.");
const QString kJSONError = QStringLiteral("Contents.json could not be saved.");
const int kReplace = Alert::FirstButtonReturn, kRetry = Alert::FirstButtonReturn;
const int kFillItsSlots = Alert::FirstButtonReturn, kUseTicked = Alert::SecondButtonReturn;
QString kSetHasSlots(int count)
{
    return QStringLiteral("This icon set already has %1 slots.").arg(count);
}
const int kCancel = Alert::SecondButtonReturn;

// The "filename" of every entry of the folder's Contents.json, in file order.
QStringList catalogueFiles(const QString& folder)
{
    QFile file(QDir(folder).filePath(QStringLiteral("Contents.json")));
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("(no Contents.json)")};
    QStringList names;
    const QJsonArray images = QJsonDocument::fromJson(file.readAll()).object().value("images").toArray();
    for (const QJsonValue& image : images)
        names.append(image.toObject().value("filename").toString());
    return names;
}

} // namespace

class TestSaveFlows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void saveAs_data();
    void saveAs();
    void saveToXcode_data();
    void saveToXcode();
    void instructionsUntilSuppressed();
    void save_data();
    void save();
    void retriesAFailedWrite_data();
    void retriesAFailedWrite();
    void scratchFolder_data();
    void scratchFolder();
    void showsProgressOfALongWrite();
    void showsWhatASaveWillWrite_data();
    void showsWhatASaveWillWrite();

private:
    QString path(const QString& name) const { return dir_->filePath(name); }
    // A folder under the test's own, made on the spot.
    QString folder(const QString& name) const
    {
        QDir().mkpath(path(name));
        return path(name);
    }

    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    ImageProcessor processor_;
    ContentsJSONProcessor json_{&processor_};
    std::unique_ptr<MainWindowController> controller_;
};

void TestSaveFlows::initTestCase()
{
    processor_.setAllImageCategories(iconCatalogueCategories());
    processor_.setAllImageSizes(iconCatalogueSizes());
}

// A fresh window with iPhone and iPad ticked and a green 1024-pixel image, on its own settings.
void TestSaveFlows::init()
{
    controller_.reset();
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    controller_ = std::make_unique<MainWindowController>(defaults_.get());
    controller_->setImageProcessor(&processor_);
    controller_->setContentsJSONProcessor(&json_);
    controller_->setSelectedImageCategores(categoriesWithIds({101, 111}));
    const QString image = writeImage(path(QStringLiteral("source.png")), 1024, 1024, Qt::green);
    QVERIFY(controller_->openDocumentWithContentsOfURL(QUrl::fromLocalFile(image)));
    QVERIFY(controller_->hasImage());
}

void TestSaveFlows::saveAs_data()
{
    QTest::addColumn<QString>("folderName");
    QTest::addColumn<QList<qint64>>("ticked");
    QTest::addColumn<QStringList>("existing"); // files in the folder before saving
    QTest::addColumn<int>("panelResponse");
    QTest::addColumn<int>("panelURLs");
    QTest::addColumn<QList<int>>("answers");
    QTest::addColumn<QStringList>("asked");
    QTest::addColumn<QString>("listed"); // the replace question's list
    QTest::addColumn<bool>("saved");

    const QList<qint64> both{101, 111};
    const int ok = OpenPanelOptions::OKResponse, cancel = OpenPanelOptions::CancelResponse;
    QTest::newRow("empty folder") << "out" << both << QStringList{} << ok << 1 << QList<int>{}
                                  << QStringList{} << QString() << true;
    QTest::newRow("some exist, replaced")
        << "out" << both << QStringList{"Icon-76@2x.png", "Icon-20@2x.png", "notes.txt"} << ok << 1
        << QList<int>{kReplace} << QStringList{kFilesExist} << QString("•Icon-20@2x.png\n•Icon-76@2x.png\n")
        << true;
    QTest::newRow("some exist, cancelled")
        << "out" << both << QStringList{"Icon-60@3x.png"} << ok << 1 << QList<int>{kCancel}
        << QStringList{kFilesExist} << QString("•Icon-60@3x.png\n") << false;
    QTest::newRow("a file of an unticked set is not asked about")
        << "out" << QList<qint64>{111} << QStringList{"Icon-60@3x.png"} << ok << 1 << QList<int>{}
        << QStringList{} << QString() << true;
    QTest::newRow("folder name with % and blanks")
        << "Icons 100%2 %1" << both << QStringList{"Icon-20@2x.png"} << ok << 1 << QList<int>{kReplace}
        << QStringList{kFilesExist} << QString("•Icon-20@2x.png\n") << true;
    QTest::newRow("nothing ticked") << "out" << QList<qint64>{} << QStringList{} << ok << 1 << QList<int>{}
                                    << QStringList{kNoSizes} << QString() << false;
    QTest::newRow("panel cancelled") << "out" << both << QStringList{} << cancel << 1 << QList<int>{}
                                     << QStringList{} << QString() << false;
    QTest::newRow("two folders chosen")
        << "out" << both << QStringList{} << ok << 2 << QList<int>{} << QStringList{} << QString() << false;
}

void TestSaveFlows::saveAs()
{
    QFETCH(QString, folderName);
    QFETCH(QList<qint64>, ticked);
    QFETCH(QStringList, existing);
    QFETCH(int, panelResponse);
    QFETCH(int, panelURLs);
    QFETCH(QList<int>, answers);
    QFETCH(QStringList, asked);
    QFETCH(QString, listed);
    QFETCH(bool, saved);

    const QString out = folder(folderName);
    for (const QString& name : existing) {
        QFile file(QDir(out).filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("old") == 3);
    }
    controller_->setSelectedImageCategores(categoriesWithIds(ticked));

    ScopedAlertPresenter alerts;
    alerts->answers = answers;
    ScopedPanelPresenter panel;
    ScopedWorkspace workspace;
    panel->response = panelResponse;
    for (int i = 0; i < panelURLs; ++i)
        panel->urls.append(QUrl::fromLocalFile(out));

    controller_->saveDocumentAs();
    QTRY_VERIFY(!controller_->isWriting());

    QCOMPARE(messages(alerts->alerts), asked);
    if (!listed.isEmpty()) {
        const Alert& question = alerts->alerts.first();
        QCOMPARE(question.style, Alert::Style::Warning);
        QCOMPARE(question.buttonTitles, (QStringList{"Replace", "Cancel"}));
        QCOMPARE(question.informativeText, QStringLiteral("The folder “%1” already holds these files:\n%2\n"
                                                          "Do you want to replace them?")
                                               .arg(out, listed));
    }
    if (asked == QStringList{kNoSizes}) {
        QVERIFY(alerts->alerts.first().buttonTitles.isEmpty());
        QVERIFY(panel->begun.isEmpty());
    } else {
        QCOMPARE(panel->begun.size(), 1);
        const OpenPanelOptions& options = panel->begun.first();
        QVERIFY(!options.canChooseFiles && options.canChooseDirectories && options.canCreateDirectories);
        QVERIFY(!options.allowsMultipleSelection && !options.treatsFilePackagesAsDirectories);
        QCOMPARE(options.title, QStringLiteral("Choose a Folder for the Icons"));
        QCOMPARE(options.prompt, QStringLiteral("Save"));
    }

    QCOMPARE(controller_->directoryURL(), saved ? QUrl::fromLocalFile(out) : QUrl());
    QCOMPARE(workspace->opened, saved ? QList<QUrl>{QUrl::fromLocalFile(out)} : QList<QUrl>{});
    // Both ticked sets hold 3 files; one of them alone, 1.
    const QString status = controller_->window()->statusBar()->currentMessage();
    QCOMPARE(status,
             saved ? QStringLiteral("Saved %1 icon files to %2.").arg(ticked.size() == 2 ? 3 : 1).arg(out)
                   : QString());
    QVERIFY(controller_->xcodeIconSetURL().isEmpty());
    QVERIFY(!QFile::exists(QDir(out).filePath("Contents.json")));
    if (saved) {
        // Each ticked size at its pixel size: iPhone 20 pt @2x is 40 pixels, 60 pt @3x 180, iPad 76 pt @2x
        // 152.
        const QList<std::pair<QString, int>> pixels{
            {"Icon-20@2x.png", 40}, {"Icon-60@3x.png", 180}, {"Icon-76@2x.png", 152}};
        for (const auto& [name, side] : pixels) {
            const bool wanted = ticked.contains(name.startsWith("Icon-76") ? 111 : 101);
            if (wanted)
                QCOMPARE(QImageReader(QDir(out).filePath(name)).size(), QSize(side, side));
        }
        // A save stores the ticked sets.
        QCOMPARE(ImageCategory::unarchive(defaults_->selectedImageCategories().value_or(QByteArray()))
                     .value_or(QList<ImageCategory>{})
                     .size(),
                 ticked.size());
    } else {
        for (const QString& name : existing)
            QCOMPARE(QFileInfo(QDir(out).filePath(name)).size(), 3);
    }
}

void TestSaveFlows::saveToXcode_data()
{
    QTest::addColumn<QByteArray>("contents"); // the icon set's Contents.json before; empty: none
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QList<int>>("answers"); // after the instructions
    QTest::addColumn<QStringList>("asked");
    QTest::addColumn<QString>("listed");
    QTest::addColumn<bool>("remembered");
    QTest::addColumn<QStringList>("catalogue"); // file names in Contents.json afterwards

    const QByteArray other =
        R"({"images":[{"idiom":"iphone","size":"60x60","scale":"3x","filename":"old.png"},
        {"idiom":"mac","size":"16x16","scale":"1x","filename":"mac16.png"}],"info":{"version":1,"author":"xcode"}})";
    const QByteArray same =
        R"({"images":[{"idiom":"iphone","size":"60x60","scale":"3x","filename":"Icon-60@3x.png"}]})";
    // A name that is no file of the set's folder is not kept: the slot is taken over.
    const QByteArray elsewhere =
        R"({"images":[{"idiom":"iphone","size":"60x60","scale":"3x","filename":"sub/old.png"}]})";
    const QStringList ours{"Icon-20@2x.png", "Icon-60@3x.png", "Icon-76@2x.png"};

    QTest::newRow("new icon set") << QByteArray() << QStringList{} << QList<int>{}
                                  << QStringList{kInstructions} << QString() << true << ours;
    QTest::newRow("set with other slots than ticked: fill its slots")
        << same << QStringList{} << QList<int>{kFillItsSlots} << QStringList{kInstructions, kSetHasSlots(1)}
        << QString() << true << QStringList{"Icon-60@3x.png"};
    QTest::newRow("set with other slots than ticked: use the ticked categories")
        << same << QStringList{} << QList<int>{kUseTicked} << QStringList{kInstructions, kSetHasSlots(1)}
        << QString() << true << QStringList{"Icon-60@3x.png", "Icon-20@2x.png", "Icon-76@2x.png"};
    QTest::newRow("set with other slots than ticked: cancelled")
        << same << QStringList{} << QList<int>{Alert::ThirdButtonReturn}
        << QStringList{kInstructions, kSetHasSlots(1)} << QString() << false << QStringList{"Icon-60@3x.png"};
    // The set's own names stay, a slot we do not know (Mac 16 pt) included.
    QTest::newRow("other names in Contents.json: kept")
        << other << QStringList{} << QList<int>{kFillItsSlots} << QStringList{kInstructions, kSetHasSlots(2)}
        << QString() << true << QStringList{"old.png", "mac16.png"};
    QTest::newRow("other names in Contents.json, ticked categories: kept too")
        << other << QStringList{} << QList<int>{kUseTicked} << QStringList{kInstructions, kSetHasSlots(2)}
        << QString() << true << QStringList{"old.png", "mac16.png", "Icon-20@2x.png", "Icon-76@2x.png"};
    QTest::newRow("a slot held by a file elsewhere, replaced")
        << elsewhere << QStringList{} << QList<int>{kUseTicked, kReplace}
        << QStringList{kInstructions, kSetHasSlots(1), kImagesExist} << QString("•iPhone 60pt (@3x)\n")
        << true << QStringList{"Icon-60@3x.png", "Icon-20@2x.png", "Icon-76@2x.png"};
    // The icons are written by then, so the folder is remembered all the same.
    QTest::newRow("a slot held by a file elsewhere, cancelled")
        << elsewhere << QStringList{} << QList<int>{kUseTicked, kCancel}
        << QStringList{kInstructions, kSetHasSlots(1), kImagesExist} << QString("•iPhone 60pt (@3x)\n")
        << true << QStringList{"sub/old.png"};
    QTest::newRow("icon files exist, cancelled: no Contents.json")
        << QByteArray() << QStringList{"Icon-20@2x.png"} << QList<int>{kCancel}
        << QStringList{kInstructions, kFilesExist} << QString("•Icon-20@2x.png\n") << false
        << QStringList{"(no Contents.json)"};
    QTest::newRow("icon files exist, replaced")
        << QByteArray() << QStringList{"Icon-20@2x.png"} << QList<int>{kReplace}
        << QStringList{kInstructions, kFilesExist} << QString("•Icon-20@2x.png\n") << true << ours;
    // Files the set names are its icons: refreshed without a question.
    QTest::newRow("files the set names are refreshed without a question")
        << same << QStringList{"Icon-60@3x.png"} << QList<int>{kFillItsSlots}
        << QStringList{kInstructions, kSetHasSlots(1)} << QString() << true << QStringList{"Icon-60@3x.png"};
}

void TestSaveFlows::saveToXcode()
{
    QFETCH(QByteArray, contents);
    QFETCH(QStringList, existing);
    QFETCH(QList<int>, answers);
    QFETCH(QStringList, asked);
    QFETCH(QString, listed);
    QFETCH(bool, remembered);
    QFETCH(QStringList, catalogue);

    const QString iconSet = folder(QStringLiteral("Assets.xcassets/AppIcon.appiconset"));
    if (!contents.isEmpty()) {
        QFile file(QDir(iconSet).filePath("Contents.json"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size());
    }
    for (const QString& name : existing)
        QVERIFY(!writeImage(QDir(iconSet).filePath(name), 8, 8).isEmpty());

    ScopedAlertPresenter alerts;
    alerts->answers = QList<int>{Alert::FirstButtonReturn} + answers;
    ScopedPanelPresenter panel;
    ScopedWorkspace workspace;
    panel->response = OpenPanelOptions::OKResponse;
    panel->urls = {QUrl::fromLocalFile(iconSet)};

    controller_->saveDocumentToXcode();
    QTRY_VERIFY(!controller_->isWriting());

    QCOMPARE(messages(alerts->alerts), asked);
    const Alert& instructions = alerts->alerts.first();
    QCOMPARE(instructions.style, Alert::Style::Informational);
    QVERIFY(instructions.showsSuppressionButton && instructions.buttonTitles.isEmpty());
    if (!listed.isEmpty())
        QVERIFY2(alerts->alerts.last().informativeText.contains(QStringLiteral("“%1”").arg(iconSet) + "") &&
                     alerts->alerts.last().informativeText.contains(":\n" + listed + "\n"),
                 qPrintable(alerts->alerts.last().informativeText));
    if (asked.size() > 1 && asked.at(1).startsWith("This icon set")) {
        const Alert& question = alerts->alerts.at(1);
        QCOMPARE(question.buttonTitles, (QStringList{"Fill Its Slots", "Use Ticked Categories", "Cancel"}));
        QVERIFY2(question.informativeText.contains("3 icons of the ticked sets"),
                 qPrintable(question.informativeText));
    }
    // Every file the set names is there, with the pixels its slot asks for.
    const QMap<QString, int> sides{{"old.png", 180},
                                   {"mac16.png", 16},
                                   {"Icon-20@2x.png", 40},
                                   {"Icon-60@3x.png", 180},
                                   {"Icon-76@2x.png", 152}};
    // The unknown Mac slot is only drawn when the set's own slots are filled.
    const bool ownSlots = !answers.isEmpty() && answers.first() == kFillItsSlots;
    for (const QString& name : catalogue)
        if (remembered && sides.contains(name) && (name != "mac16.png" || ownSlots))
            QCOMPARE(QImageReader(QDir(iconSet).filePath(name)).size(), QSize(sides[name], sides[name]));
    QCOMPARE(panel->begun.size(), 1);
    QVERIFY(panel->begun.first().treatsFilePackagesAsDirectories &&
            panel->begun.first().canChooseDirectories);
    QCOMPARE(panel->begun.first().title, QStringLiteral("Choose the App Icon Set in Your Xcode Project"));

    QCOMPARE(controller_->xcodeIconSetURL(), remembered ? QUrl::fromLocalFile(iconSet) : QUrl());
    QVERIFY(controller_->directoryURL().isEmpty());
    QVERIFY(workspace->opened.isEmpty()); // the icon set is not shown in the file browser
    QCOMPARE(catalogueFiles(iconSet), catalogue);
    QVERIFY(!defaults_->saveToXcodeAlertSuppression());
}

// The instructions come on every use until their checkbox is ticked once.
void TestSaveFlows::instructionsUntilSuppressed()
{
    ScopedAlertPresenter alerts;
    alerts->holdAnswers = true;
    ScopedPanelPresenter panel; // cancels

    const QList<bool> ticks{false, true, false};
    for (bool tick : ticks) {
        controller_->saveDocumentToXcode();
        if (!alerts->open.isEmpty()) {
            alerts->open.first().first.suppressionButtonChecked = tick;
            alerts->answer(0, Alert::FirstButtonReturn);
        }
    }
    QCOMPARE(messages(alerts->alerts), (QStringList{kInstructions, kInstructions}));
    QCOMPARE(panel->begun.size(), 3);
    // Stored at once, so a restart does not ask again.
    QVERIFY(Defaults(path(QStringLiteral("settings.ini"))).saveToXcodeAlertSuppression());
}

void TestSaveFlows::save_data()
{
    QTest::addColumn<bool>("folderRemembered");
    QTest::addColumn<bool>("iconSetRemembered");
    QTest::addColumn<QStringList>("inFolder");
    QTest::addColumn<QStringList>("inIconSet");

    const QStringList before{"Icon-20@2x.png"};
    const QStringList icons{"Icon-20@2x.png", "Icon-60@3x.png", "Icon-76@2x.png"};
    QTest::newRow("nothing remembered") << false << false << before << before;
    QTest::newRow("a folder") << true << false << icons << before;
    QTest::newRow("an icon set") << false << true << before << QStringList{"Contents.json"} + icons;
    QTest::newRow("both: the icon set wins")
        << true << true << before << QStringList{"Contents.json"} + icons;
}

// Save repeats the last save without any question, over files that exist.
void TestSaveFlows::save()
{
    QFETCH(bool, folderRemembered);
    QFETCH(bool, iconSetRemembered);
    QFETCH(QStringList, inFolder);
    QFETCH(QStringList, inIconSet);

    const QString out = folder(QStringLiteral("out")), iconSet = folder(QStringLiteral("AppIcon.appiconset"));
    for (const QString& where : {out, iconSet})
        QVERIFY(!writeImage(QDir(where).filePath("Icon-20@2x.png"), 8, 8).isEmpty());
    if (folderRemembered)
        controller_->setDirectoryURL(QUrl::fromLocalFile(out));
    if (iconSetRemembered)
        controller_->setXcodeIconSetURL(QUrl::fromLocalFile(iconSet));

    ScopedAlertPresenter alerts;
    ScopedPanelPresenter panel;
    ScopedWorkspace workspace;
    controller_->saveDocument();
    QTRY_VERIFY(!controller_->isWriting());

    QVERIFY(alerts->alerts.isEmpty() && panel->begun.isEmpty() && workspace->opened.isEmpty());
    QCOMPARE(namesIn(out), inFolder);
    QCOMPARE(namesIn(iconSet), inIconSet);
    if (inFolder.size() > 1 || inIconSet.size() > 1) {
        // The old 8-pixel file was replaced.
        const QString written = inFolder.size() > 1 ? out : iconSet;
        QCOMPARE(QImageReader(QDir(written).filePath("Icon-20@2x.png")).size(), QSize(40, 40));
    }
}

void TestSaveFlows::retriesAFailedWrite_data()
{
    QTest::addColumn<QString>("blocked"); // a folder sits where this file goes
    QTest::addColumn<QList<int>>(
        "answers"); // to the error alerts, in order; the block is lifted before the last
    QTest::addColumn<bool>("result");
    QTest::addColumn<QStringList>("written"); // what is in the icon set afterwards

    const QStringList icons{"Icon-20@2x.png", "Icon-60@3x.png", "Icon-76@2x.png"};
    QTest::newRow("icon: retry succeeds") << "Icon-60@3x.png" << QList<int>{kRetry} << true << icons;
    QTest::newRow("icon: retry twice") << "Icon-60@3x.png" << QList<int>{kRetry, kRetry} << true << icons;
    // Cancel keeps what the failed attempt wrote.
    QTest::newRow("icon: cancel") << "Icon-60@3x.png" << QList<int>{kCancel} << false
                                  << QStringList{"Icon-20@2x.png", "Icon-76@2x.png"};
    QTest::newRow("Contents.json: retry succeeds")
        << "Contents.json" << QList<int>{kRetry} << true << QStringList{"Contents.json"} + icons;
    QTest::newRow("Contents.json: cancel") << "Contents.json" << QList<int>{kCancel} << true << icons;
}

// A write that fails shows why, with Retry and Cancel, as often as it fails.
void TestSaveFlows::retriesAFailedWrite()
{
    QFETCH(QString, blocked);
    QFETCH(QList<int>, answers);
    QFETCH(bool, result);
    QFETCH(QStringList, written);

    test::ScopedRecordingLogger log;
    const QString iconSet = folder(QStringLiteral("AppIcon.appiconset"));
    const QString block = QDir(iconSet).filePath(blocked);
    QVERIFY(QDir().mkpath(block + "/inside"));
    controller_->setXcodeIconSetURL(QUrl::fromLocalFile(iconSet));

    ScopedAlertPresenter alerts;
    alerts->holdAnswers = true;
    const bool icon = blocked.endsWith(".png");
    std::optional<bool> done;
    if (icon)
        controller_->saveImageFilesUnconditionallyToURL(QUrl::fromLocalFile(iconSet),
                                                        [&done](bool ok) { done = ok; });
    else
        controller_->saveDocument();

    for (qsizetype i = 0; i < answers.size(); ++i) {
        QTRY_COMPARE(alerts->open.size(), 1);
        const Alert& alert = alerts->open.first().first;
        QCOMPARE(alert.style, Alert::Style::Critical);
        QCOMPARE(alert.messageText, icon ? kSaveError : kJSONError);
        QCOMPARE(alert.buttonTitles, (QStringList{"Retry", "Cancel"}));
        QVERIFY2(!alert.informativeText.isEmpty(), "the error's own description");
        if (i == answers.size() - 1 && answers[i] == kRetry)
            QVERIFY(QDir(block).removeRecursively());
        alerts->answer(0, answers[i]);
    }
    QTRY_VERIFY(!controller_->isWriting());
    QVERIFY(alerts->open.isEmpty());
    QCOMPARE(alerts->alerts.size(), answers.size());
    if (icon) {
        QVERIFY(done.has_value());
        QCOMPARE(*done, result);
    }
    QDir(block).removeRecursively();
    QCOMPARE(namesIn(iconSet), written);
    const QString logged =
        icon ? "Error during resizeAndSaveImage: " : "Error during saveJSONforCategories: ";
    QCOMPARE(log->linesWith(LogFlagError, {logged}).size(), answers.size());
}

void TestSaveFlows::scratchFolder_data()
{
    QTest::addColumn<QStringList>("before"); // under <temp>/co.velmora.IconFoundry; "/" ends a folder
    QTest::addColumn<bool>("made");
    QTest::addColumn<QString>("logged");

    QTest::newRow("absent: made with its parents") << QStringList{} << true << QString();
    QTest::newRow("there: emptied, files and folders")
        << QStringList{"pasteboard/a.png", "pasteboard/.hidden", "pasteboard/sub/b.png", "pasteboard/empty/"}
        << true << QString();
    QTest::newRow("parent is a file")
        << QStringList{"#"} << false << QString("Creating 'pasteboard' directory failed. Error: [");
    QTest::newRow("a file in its place")
        << QStringList{"pasteboard"} << true
        << QString("Getting contents of directory '%1/co.velmora.IconFoundry/pasteboard' failed. Error: [");
}

void TestSaveFlows::scratchFolder()
{
    QFETCH(QStringList, before);
    QFETCH(bool, made);
    QFETCH(QString, logged);

    test::ScopedRecordingLogger log;
    const QString temp = folder(QStringLiteral("tmp"));
    qputenv("TMPDIR", QFile::encodeName(temp));
    const QString root = temp + "/co.velmora.IconFoundry";
    for (const QString& entry : before) {
        if (entry == "#") {
            QFile file(root);
            QVERIFY(file.open(QIODevice::WriteOnly));
        } else if (entry.endsWith('/')) {
            QVERIFY(QDir().mkpath(root + '/' + entry));
        } else {
            QVERIFY(QDir().mkpath(QFileInfo(root + '/' + entry).absolutePath()));
            QFile file(root + '/' + entry);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
    }

    const QString result = MainWindowController::createOrEraseTempDirWithName(QStringLiteral("pasteboard"));
    qunsetenv("TMPDIR");

    QCOMPARE(result, made ? root + "/pasteboard" : QString());
    if (made && QFileInfo(result).isDir())
        QCOMPARE(namesIn(result) + QDir(result).entryList(QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{});
    if (logged.isEmpty())
        QVERIFY(log->linesWith(LogFlagError, {}).isEmpty());
    else
        QCOMPARE(log->linesWith(LogFlagError, {QString(logged).replace("%1", temp)}).size(), 1);
}

// A write that outlasts the delay shows the progress window, which goes away when it is done.
// With no delay the window is due on the next turn of the event loop, long before the largest
// icon of a 4096-pixel image is drawn.
void TestSaveFlows::showsProgressOfALongWrite()
{
    const QString image = writeImage(path(QStringLiteral("large.png")), 4096, 4096, Qt::blue);
    QVERIFY(controller_->openDocumentWithContentsOfURL(QUrl::fromLocalFile(image)));
    controller_->setSelectedImageCategores(categoriesWithIds({101, 111, 201}));
    controller_->setDirectoryURL(QUrl::fromLocalFile(folder(QStringLiteral("out"))));
    controller_->showWindow();
    controller_->setProgressDelay(0);

    controller_->saveDocument();
    QVERIFY(controller_->isWriting());
    // No second write can start meanwhile.
    QVERIFY(!controller_->saveDocumentAction()->isEnabled());
    QVERIFY(!controller_->saveDocumentAsAction()->isEnabled());
    QTRY_VERIFY(controller_->progressWindowController()->isVisible());
    const QString shots = qEnvironmentVariable("ICONFOUNDRY_SCREENSHOT_DIR");
    if (!shots.isEmpty())
        QVERIFY(
            controller_->progressWindowController()->window()->grab().save(shots + "/progress-window.png"));
    QVERIFY(controller_->progressWindowController()->window()->isModal() ||
            controller_->progressWindowController()->window()->windowModality() == Qt::WindowModal);
    QTRY_VERIFY(!controller_->isWriting());
    QVERIFY(!controller_->progressWindowController()->isVisible());
    QVERIFY(controller_->saveDocumentAction()->isEnabled());
    QCOMPARE(namesIn(path("out")).size(), 4);
}

void TestSaveFlows::showsWhatASaveWillWrite_data()
{
    QTest::addColumn<QList<qint64>>("ticked");
    QTest::addColumn<bool>("pasted"); // else opened from source.png
    QTest::addColumn<QString>("count");
    QTest::addColumn<QString>("info");

    const QString opened = QStringLiteral("source.png\n1024\u00a0×\u00a01024 pixels");
    QTest::newRow("two sets") << QList<qint64>{101, 111} << false << "The ticked sets write 3 files."
                              << opened;
    QTest::newRow("one size") << QList<qint64>{111} << false << "The ticked sets write 1 file." << opened;
    QTest::newRow("none") << QList<qint64>{} << false << "Tick at least one set to save icons." << opened;
    QTest::newRow("pasted image") << QList<qint64>{201} << true << "The ticked sets write 1 file."
                                  << QStringLiteral("Pasted or dropped image\n2048\u00a0×\u00a01024 pixels");
}

// Beside the image: its file and size, how many files a save writes, and the save buttons.
void TestSaveFlows::showsWhatASaveWillWrite()
{
    QFETCH(QList<qint64>, ticked);
    QFETCH(bool, pasted);
    QFETCH(QString, count);
    QFETCH(QString, info);

    ScopedAlertPresenter alerts;
    alerts->answers = {Alert::FirstButtonReturn};
    if (pasted) {
        QImage wide(2048, 1024, QImage::Format_ARGB32);
        wide.fill(Qt::blue);
        controller_->setSourceImage(Image::fromQImage(wide));
    }
    controller_->setSelectedImageCategores(categoriesWithIds(ticked));
    QCOMPARE(controller_->filesCountLabel()->text(), count);
    QTRY_COMPARE(controller_->imageInfoLabel()->text(), info);
    QVERIFY(!controller_->imageInfoLabel()->isHidden());

    QCOMPARE(controller_->saveDocumentAsAction()->shortcut(), QKeySequence(QStringLiteral("Ctrl+Shift+S")));
    QCOMPARE(controller_->saveAsButton()->text(), QStringLiteral("Save As…"));
    QTRY_VERIFY(controller_->saveAsButton()->isEnabled() && controller_->saveToXcodeButton()->isEnabled());
    controller_->newDocument();
    QVERIFY(!controller_->saveAsButton()->isEnabled() && !controller_->saveToXcodeButton()->isEnabled());
    QVERIFY(controller_->imageInfoLabel()->isHidden());
}

QTEST_MAIN(TestSaveFlows)
#include "tst_saveflows.moc"
