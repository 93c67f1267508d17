#include "common/testsupport.h"
#include "helper_scriptedalerts.h"
#include "iconset/imageprocessor.h"
#include "iconset/sourceimagenotificationcenter.h"
#include "mainwindow/dragdropimageview.h"
#include "mainwindow/mainwindowcontroller.h"
#include "mainwindow/platformsetsbox.h"
#include "platform/defaults.h"

#include <QAbstractButton>
#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>

using namespace iconfoundry;
using namespace iconfoundry::test;

namespace {

const QString kNotSquare = QStringLiteral("The image is not square.");
const QString kTooSmall = QStringLiteral("The image is too small.");

// A catalogue of our own, so the tests do not depend on the bundled one.
QList<ImageCategory> testCatalogue()
{
    return {ImageCategory(101, QStringLiteral("iPhone"), QStringLiteral("iphone")),
            ImageCategory(111, QStringLiteral("iPad"), QStringLiteral("ipad")),
            ImageCategory(121, QStringLiteral("App Store"), QStringLiteral("ios-marketing")),
            ImageCategory(201, QStringLiteral("Mac"), QStringLiteral("mac")),
            ImageCategory(501, QStringLiteral("Messages"), QStringLiteral("iphone"))};
}

// What editors do on save: a new file beside the old one, renamed over it.
bool replaceAtomically(const QString& path, QColor color)
{
    const QString temporary = QFileInfo(path).absolutePath() + QStringLiteral("/.saving.png");
    return !writeImage(temporary, 1024, 1024, color).isEmpty() &&
           std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()) == 0;
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { SourceImageNotificationCenter::defaultCenter().removeObserver(this); }
    void init();

    void checksShapeAndSize_data();
    void checksShapeAndSize();
    void newerImageWinsOverAnOpenQuestion_data();
    void newerImageWinsOverAnOpenQuestion();
    void switchesBetweenEmptyAndFilledLooks();
    void openPanel_data();
    void openPanel();
    void reloadsTheWatchedFile_data();
    void reloadsTheWatchedFile();
    void badInputKeepsTheImage_data();
    void badInputKeepsTheImage();
    void restoresCategories_data();
    void restoresCategories();
    void menuRules_data();
    void menuRules();
    void keepsTheWholeColumnInView();

private:
    std::unique_ptr<MainWindowController> makeController();
    QString path(const QString& name) const { return dir_->filePath(name); }
    // Opens a green 1024-pixel square as the current document.
    QUrl openGoodImage();

    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    ImageProcessor processor_;
    std::unique_ptr<MainWindowController> controller_;
    QList<ImagePtr> posted_;
};

void TestMainWindow::initTestCase()
{
    processor_.setAllImageCategories(testCatalogue());
    SourceImageNotificationCenter::defaultCenter().addObserver(
        this, [this](const ImagePtr& image) { posted_.append(image); });
}

// Every test starts on a fresh window with its own settings file.
void TestMainWindow::init()
{
    controller_.reset();
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    controller_ = makeController();
    posted_.clear();
}

std::unique_ptr<MainWindowController> TestMainWindow::makeController()
{
    auto controller = std::make_unique<MainWindowController>(defaults_.get());
    controller->setImageProcessor(&processor_);
    controller->window();
    return controller;
}

QUrl TestMainWindow::openGoodImage()
{
    const QUrl url = QUrl::fromLocalFile(writeImage(path(QStringLiteral("good.png")), 1024, 1024, Qt::green));
    return controller_->openDocumentWithContentsOfURL(url) ? url : QUrl();
}

void TestMainWindow::checksShapeAndSize_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QStringList>("questions");
    QTest::addColumn<bool>("accepted"); // every question answered "Use Anyway", else the last one cancelled
    QTest::addColumn<bool>("vector");
    QTest::addColumn<int>("dotsPerMeter"); // of a bitmap; 2835 is 72 dpi

    const QStringList none, small{kTooSmall}, shape{kNotSquare}, both{kNotSquare, kTooSmall};
    // The shape is a matter of pixels, whatever resolution the file states.
    QTest::newRow("1024 x 768 at 2834 px/m: silent") << 1024 << 768 << none << true << false << 2834;
    QTest::newRow("1024 x 768 at 300 dpi: silent") << 1024 << 768 << none << true << false << 11811;
    QTest::newRow("2048 x 1536 at 144 dpi: silent") << 2048 << 1536 << none << true << false << 5669;
    QTest::newRow("1024 square: silent") << 1024 << 1024 << none << true << false << 2835;
    QTest::newRow("1023 square: too small only") << 1023 << 1023 << small << true << false << 2835;
    QTest::newRow("1023 square, cancelled") << 1023 << 1023 << small << false << false << 2835;
    QTest::newRow("1024 x 768 landscape 4:3: silent") << 1024 << 768 << none << true << false << 2835;
    QTest::newRow("800 x 600 is 4:3 but too small") << 800 << 600 << small << true << false << 2835;
    QTest::newRow("768 x 1024 portrait: both questions") << 768 << 1024 << both << true << false << 2835;
    QTest::newRow("768 x 1024, cancel the shape question") << 768 << 1024 << shape << false << false << 2835;
    QTest::newRow("768 x 1024, cancel the size question") << 768 << 1024 << both << false << false << 2835;
    QTest::newRow("1600 x 900: not square only") << 1600 << 900 << shape << true << false << 2835;
    QTest::newRow("1024 x 767: both questions") << 1024 << 767 << both << true << false << 2835;
    // A vector is drawn at every icon's own size, so only its shape is questioned.
    QTest::newRow("SVG 24 x 24: silent") << 24 << 24 << none << true << true << 2835;
    QTest::newRow("SVG 48 x 24: not square only") << 48 << 24 << shape << true << true << 2835;
}

void TestMainWindow::checksShapeAndSize()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(QStringList, questions);
    QFETCH(bool, accepted);
    QFETCH(bool, vector);
    QFETCH(int, dotsPerMeter);

    ScopedAlertPresenter alerts;
    const QUrl first = openGoodImage();
    posted_.clear();

    // A pasted or dropped image, which has no file of its own. Unscripted questions are refused.
    alerts->answers = QList<int>(questions.size() - (accepted ? 0 : 1), Alert::FirstButtonReturn);
    QImage bitmap(width, height, QImage::Format_ARGB32);
    bitmap.fill(Qt::blue);
    bitmap.setDotsPerMeterX(dotsPerMeter);
    bitmap.setDotsPerMeterY(dotsPerMeter);
    const QByteArray svg = QStringLiteral("<svg xmlns='http://www.w3.org/2000/svg' width='%1' height='%2'>"
                                          "<rect width='%1' height='%2' fill='#0000ff'/></svg>")
                               .arg(width)
                               .arg(height)
                               .toUtf8();
    const ImagePtr image = vector ? Image::fromData(svg) : Image::fromQImage(bitmap);
    QVERIFY(image && image->hasVector() == vector);
    controller_->setSourceImage(image);

    QStringList asked;
    for (const Alert& alert : std::as_const(alerts->alerts)) {
        asked.append(alert.messageText);
        QCOMPARE(alert.style, Alert::Style::Warning);
        QCOMPARE(alert.buttonTitles, (QStringList{QStringLiteral("Use Anyway"), QStringLiteral("Cancel")}));
        if (alert.messageText == kTooSmall)
            QVERIFY2(
                alert.informativeText.contains(QStringLiteral("%1\u00a0×\u00a0%2").arg(width).arg(height)),
                qPrintable(alert.informativeText));
    }
    QCOMPARE(asked, questions);
    QCOMPARE(colorOf(controller_->sourceImage()), accepted ? QColor(Qt::blue) : QColor(Qt::green));
    QCOMPARE(posted_.size(), accepted ? 1 : 0);
    QCOMPARE(posted_.value(0, controller_->sourceImage()), controller_->sourceImage());
    QTRY_COMPARE(controller_->imageView()->image(), controller_->sourceImage());
    QCOMPARE(controller_->currentImageFileURL(), first);
}

// Questions are answered later, while timers and file watches go on: an image that arrives
// while an older one is still being asked about wins, whatever the user answers afterwards.
void TestMainWindow::newerImageWinsOverAnOpenQuestion_data()
{
    QTest::addColumn<QSize>("newer");
    QTest::addColumn<int>("olderAnswer");
    QTest::addColumn<QColor>("shown");
    QTest::addColumn<int>("postedCount");

    const int useAnyway = Alert::FirstButtonReturn, cancel = Alert::SecondButtonReturn;
    // The newer image needs no question and is shown at once; the late answer changes nothing.
    QTest::newRow("square newer, older used anyway")
        << QSize(1024, 1024) << useAnyway << QColor(Qt::blue) << 1;
    QTest::newRow("square newer, older cancelled") << QSize(1024, 1024) << cancel << QColor(Qt::blue) << 1;
    // The newer image is itself waiting: the older answer must not install the older image.
    QTest::newRow("both waiting, older used anyway")
        << QSize(1600, 900) << useAnyway << QColor(Qt::green) << 0;
}

void TestMainWindow::newerImageWinsOverAnOpenQuestion()
{
    QFETCH(QSize, newer);
    QFETCH(int, olderAnswer);
    QFETCH(QColor, shown);
    QFETCH(int, postedCount);

    ScopedAlertPresenter alerts;
    QVERIFY(openGoodImage().isValid()); // green
    posted_.clear();
    alerts->holdAnswers = true;

    QImage wide(1600, 900, QImage::Format_ARGB32);
    wide.fill(Qt::red);
    controller_->setSourceImage(Image::fromQImage(wide));
    QCOMPARE(alerts->open.size(), 1);

    QImage next(newer, QImage::Format_ARGB32);
    next.fill(Qt::blue);
    controller_->setSourceImage(Image::fromQImage(next));
    alerts->answer(0, olderAnswer);

    QCOMPARE(colorOf(controller_->sourceImage()), shown);
    QCOMPARE(posted_.size(), postedCount);
    QTRY_COMPARE(controller_->imageView()->image(), controller_->sourceImage());
}

void TestMainWindow::switchesBetweenEmptyAndFilledLooks()
{
    controller_->showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(controller_->window()));
    // Hidden or not: the instructions, the load button, the update notice.
    const auto hidden = [this] {
        return QList<bool>{controller_->instructions1TextField()->isHidden(),
                           controller_->instructions2TextField()->isHidden(),
                           controller_->loadImageButton()->isHidden(),
                           controller_->imageUpdatedTextField()->isHidden()};
    };
    const QList<bool> emptyLook{false, false, false, true};
    QCOMPARE(hidden(), emptyLook);
    QCOMPARE(controller_->instructions1TextField()->text(), QStringLiteral("Drop an image here"));

    QVERIFY(openGoodImage().isValid());
    // The view is refreshed on a later turn of the event loop.
    QTRY_COMPARE(hidden(), (QList<bool>{true, true, true, true}));
    QCOMPARE(controller_->imageView()->image(), controller_->sourceImage());
    QVERIFY(!controller_->imageView()->imageRect().isEmpty());

    // New, twice: the second time on an empty window is harmless.
    for (int i = 0; i < 2; ++i) {
        controller_->newDocument();
        QVERIFY(!controller_->hasImage() && !controller_->imageView()->image());
        QCOMPARE(hidden(), emptyLook);
        QVERIFY(controller_->currentImageFileURL().isEmpty());
    }
    QCOMPARE(posted_.size(), 1);
}

void TestMainWindow::openPanel_data()
{
    QTest::addColumn<int>("response");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<bool>("loaded");
    QTest::addColumn<bool>("recorded");

    const int ok = OpenPanelOptions::OKResponse;
    QTest::newRow("OK, one file") << ok << QStringList{"a.png"} << true << true;
    QTest::newRow("OK, a name with & and blanks") << ok << QStringList{"Tom & Jerry.png"} << true << true;
    QTest::newRow("Cancel") << int(OpenPanelOptions::CancelResponse) << QStringList{"a.png"} << false
                            << false;
    QTest::newRow("OK, two files") << ok << QStringList{"a.png", "b.png"} << false << false;
    QTest::newRow("OK, no file") << ok << QStringList{} << false << false;
    QTest::newRow("OK, not an image") << ok << QStringList{"notes.png"} << false << false;
    // Refused at the shape question, yet recorded and remembered: it was opened and is watched.
    QTest::newRow("OK, not square, refused") << ok << QStringList{"wide.png"} << false << true;
}

void TestMainWindow::openPanel()
{
    QFETCH(int, response);
    QFETCH(QStringList, files);
    QFETCH(bool, loaded);
    QFETCH(bool, recorded);

    writeImage(path(QStringLiteral("a.png")), 1024, 1024);
    writeImage(path(QStringLiteral("Tom & Jerry.png")), 1024, 1024);
    writeImage(path(QStringLiteral("wide.png")), 1600, 900);
    QVERIFY(QFile::copy(testData(QStringLiteral("not-an-image.png")), path(QStringLiteral("notes.png"))));

    ScopedAlertPresenter alerts; // refuses every question
    ScopedPanelPresenter panel;
    panel->response = response;
    for (const QString& file : files)
        panel->urls.append(QUrl::fromLocalFile(path(file)));

    controller_->openDocument();

    QCOMPARE(panel->begun.size(), 1);
    const OpenPanelOptions& options = panel->begun.first();
    QVERIFY(options.canChooseFiles && !options.canChooseDirectories && !options.allowsMultipleSelection);
    for (const char* type : {"png", "jpg", "jpeg", "tif", "tiff", "webp", "svg"})
        QVERIFY2(options.allowedFileTypes.contains(QLatin1String(type)), type);

    QCOMPARE(controller_->hasImage(), loaded);
    const QUrl expected = recorded ? panel->urls.first() : QUrl();
    QCOMPARE(controller_->currentImageFileURL(), expected);
    QCOMPARE(defaults_->recentDocuments(), recorded ? QList<QUrl>{expected} : QList<QUrl>{});
    // Open Recent shows the file's name as it is ("&" is no mnemonic there).
    emit controller_->openRecentMenu()->aboutToShow();
    if (recorded)
        QCOMPARE(controller_->openRecentMenu()->actions().first()->iconText(), files.first());
}

void TestMainWindow::reloadsTheWatchedFile_data()
{
    QTest::addColumn<QString>("fileName");
    // Each save: "write" in place, "rename" a new file over it, or "delete"; a "quick" one comes
    // before the reload of the one before is due.
    QTest::addColumn<QStringList>("saves");

    const QString wide = QStringLiteral("Entwürfe 图标/Ícone ✓.png");
    QTest::newRow("written in place") << "icon.png" << QStringList{"write", "write"};
    QTest::newRow("new file renamed over it") << "icon.png" << QStringList{"rename", "rename"};
    QTest::newRow("non-ASCII path, renamed over") << wide << QStringList{"rename", "rename"};
    QTest::newRow("deleted, then put back") << "icon.png" << QStringList{"delete", "write"};
    QTest::newRow("two saves within half a second")
        << "icon.png" << QStringList{"quick rename", "quick rename"};
}

void TestMainWindow::reloadsTheWatchedFile()
{
    QFETCH(QString, fileName);
    QFETCH(QStringList, saves);

    ScopedRecordingLogger log;
    const QString file = writeImage(path(fileName), 1024, 1024, Qt::red);
    QVERIFY(controller_->openDocumentWithContentsOfURL(QUrl::fromLocalFile(file)));
    const ImagePtr opened = controller_->sourceImage();
    posted_.clear();

    // Two saves: the second proves the watch survived the first.
    const QList<QColor> colors{Qt::blue, Qt::yellow};
    QColor expected = Qt::red;
    for (qsizetype i = 0; i < saves.size(); ++i) {
        if (saves[i] == QLatin1String("delete")) {
            QVERIFY(QFile::remove(file));
            QTRY_COMPARE(log->linesWith(LogFlagError, {QStringLiteral("Not loading"), file}).size(), 1);
            QCOMPARE(controller_->sourceImage(), opened);
        } else {
            expected = colors[i];
            QVERIFY(saves[i].endsWith(QLatin1String("rename"))
                        ? replaceAtomically(file, expected)
                        : !writeImage(file, 1024, 1024, expected).isEmpty());
            if (saves[i].startsWith(QLatin1String("quick"))) {
                QTRY_COMPARE(log->linesWith(LogFlagInfo, {QStringLiteral("File changed: ")}).size(), i + 1);
                continue;
            }
            QTRY_COMPARE(colorOf(controller_->sourceImage()), expected);
        }
        // Shown even when the reload failed: the file did change.
        QVERIFY(!controller_->imageUpdatedTextField()->isHidden());
    }
    // Every change has its own reload: none is merged into another.
    QTRY_COMPARE(posted_.size(), saves.size() - saves.count(QStringLiteral("delete")));
    QCOMPARE(posted_.last(), controller_->sourceImage());
    QCOMPARE(colorOf(controller_->sourceImage()), expected);
    // The notice goes away 2 s after the last change.
    QTRY_VERIFY(controller_->imageUpdatedTextField()->isHidden());
    // An automatic reload forgets the recorded file, yet goes on watching.
    QVERIFY(controller_->currentImageFileURL().isEmpty());

    // The steps of the first load and change in order; stopping a watch is logged whenever it happens.
    Log::flushLog();
    const QString url = QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded);
    QStringList steps = log->linesWith(LogFlagInfo, {});
    QVERIFY(steps.removeAll(QStringLiteral("Cancelled currentImageFileVnode monitoring.")) > 0);
    QCOMPARE(steps.first(qMin(steps.size(), 8)),
             (QStringList{"loadImageWithContentsOfURL: " + url, "clearImage",
                          "cancelMonitorCurrentImageFileForChanges", "refreshView", "setSourceImage",
                          "monitorFileForChanges: " + url, "refreshView", "File changed: " + url}));
}

void TestMainWindow::badInputKeepsTheImage_data()
{
    QTest::addColumn<QString>("fixture");
    QTest::newRow("text named .png") << QStringLiteral("not-an-image.png");
    QTest::newRow("empty file") << QStringLiteral("empty.png");
    QTest::newRow("truncated PNG") << QStringLiteral("truncated-idat.png");
    QTest::newRow("corrupt PNG data") << QStringLiteral("corrupt-idat-stream.png");
    QTest::newRow("header claims 30000 x 30000") << QStringLiteral("huge-30000x30000-header.png");
    QTest::newRow("header claims zero width") << QStringLiteral("zero-width-header.png");
    QTest::newRow("directory") << QStringLiteral("AppIcon.appiconset");
    QTest::newRow("missing file") << QStringLiteral("missing.png");
}

void TestMainWindow::badInputKeepsTheImage()
{
    QFETCH(QString, fixture);

    ScopedRecordingLogger log;
    const QUrl good = openGoodImage();
    const ImagePtr kept = controller_->sourceImage();
    QVERIFY(kept);

    const QString bad = testData(fixture);
    QVERIFY(!controller_->loadImageWithContentsOfURL(QUrl::fromLocalFile(bad)));
    QCOMPARE(controller_->sourceImage(), kept);
    QCOMPARE(controller_->currentImageFileURL(), good);
    QCOMPARE(posted_.size(), 1);
    // Errors are logged synchronously: the reason is there at once, after the file's name.
    const QStringList lines = log->linesWith(LogFlagError, {QStringLiteral("Not loading '%1': ").arg(bad)});
    QCOMPARE(lines.size(), 1);
    QVERIFY2(!lines.first().endsWith(QStringLiteral("': ")), qPrintable(lines.first()));
}

void TestMainWindow::restoresCategories_data()
{
    QTest::addColumn<QByteArray>("stored"); // null: nothing stored
    QTest::addColumn<QStringList>("expected");

    const auto archive = [](QList<qint64> list) {
        QList<ImageCategory> categories;
        for (qint64 id : list)
            categories.append(ImageCategory(id, QStringLiteral("name"), QStringLiteral("idiom")));
        return ImageCategory::archive(categories);
    };
    const QStringList firstLaunch{"iPhone", "iPad", "App Store"};
    QTest::newRow("nothing stored") << QByteArray() << firstLaunch;
    QTest::newRow("stored out of order") << archive({501, 101}) << QStringList{"iPhone", "Messages"};
    QTest::newRow("empty list stored") << archive({}) << QStringList{};
    QTest::newRow("one no longer in the catalogue") << archive({102, 201, 999}) << QStringList{"Mac"};
    QTest::newRow("foreign data") << QByteArray("\x00\x01garbage", 9) << firstLaunch;
    // Ticked and saved, then ticked again without saving.
    QTest::newRow("saved by the window") << QByteArray("window") << QStringList{"iPad", "Mac"};
}

void TestMainWindow::restoresCategories()
{
    QFETCH(QByteArray, stored);
    QFETCH(QStringList, expected);

    if (stored == "window") {
        controller_->setSelectedImageCategores(
            {ImageCategory(201, {}, {}), ImageCategory(111, {}, {}), ImageCategory(404, {}, {})});
        controller_->saveImageCategoryCheckboxState();
        controller_->setSelectedImageCategores({ImageCategory(501, {}, {})});
    } else if (!stored.isNull()) {
        defaults_->setSelectedImageCategories(stored);
    }
    // A restart: the settings are read afresh from their file.
    controller_.reset();
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    controller_ = makeController();

    QStringList names;
    for (const ImageCategory& category : controller_->selectedImageCategories())
        names.append(category.name().value_or(QStringLiteral("(no name)")));
    QCOMPARE(names, expected);
    for (const ImageCategory& category : testCatalogue()) {
        auto* box = controller_->window()->findChild<QAbstractButton*>(
            QStringLiteral("categoryCheckbox%1").arg(category.categoryId()));
        QVERIFY(box);
        QCOMPARE(box->text(), *category.name());
        QCOMPARE(box->isChecked(), expected.contains(box->text()));
    }
}

void TestMainWindow::menuRules_data()
{
    QTest::addColumn<QString>("window"); // what the window holds: an image, a folder, an icon set
    QTest::addColumn<QString>("format"); // of the clipboard's contents
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("enabled"); // of save, saveAs, xcode (save to Xcode), copy, paste

    const auto url = [](const char* fixture) { return QUrl::fromLocalFile(testData(fixture)).toEncoded(); };
    const QString uris = QStringLiteral("text/uri-list");
    QFile file(testData(QStringLiteral("blue-20x10-no-dpi.png")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray png = file.readAll();

    QTest::newRow("empty window") << "" << QString() << QByteArray() << "";
    QTest::newRow("empty window, folders remembered") << "folder iconSet" << QString() << QByteArray() << "";
    QTest::newRow("image, no folder") << "image" << QString() << QByteArray() << "saveAs xcode copy";
    QTest::newRow("image, folder") << "image folder" << QString() << QByteArray() << "save saveAs xcode copy";
    QTest::newRow("image, icon set") << "image iconSet" << QString() << QByteArray()
                                     << "save saveAs xcode copy";
    QTest::newRow("clipboard: text") << "" << QStringLiteral("text/plain") << QByteArray("some text") << "";
    QTest::newRow("clipboard: image data")
        << "" << QStringLiteral("application/x-qt-image") << png << "paste";
    QTest::newRow("clipboard: PNG bytes") << "" << QStringLiteral("image/png") << png << "paste";
    QTest::newRow("image file URL") << "" << uris << url("blue-20x10-no-dpi.png") << "paste";
    QTest::newRow("text file URL") << "" << uris << url("contents-truncated.json") << "";
    QTest::newRow("text renamed .png") << "" << uris << url("not-an-image.png") << "";
    QTest::newRow("URL of a missing file") << "" << uris << url("gone.png") << "";
    QTest::newRow("web URL of an image") << "" << uris << QByteArray("https://example.org/icon.png") << "";
}

void TestMainWindow::menuRules()
{
    QFETCH(QString, window);
    QFETCH(QString, format);
    QFETCH(QByteArray, data);
    QFETCH(QString, enabled);

    if (window.contains(QLatin1String("image")))
        QVERIFY(openGoodImage().isValid());
    if (window.contains(QLatin1String("folder")))
        controller_->setDirectoryURL(QUrl::fromLocalFile(dir_->path()));
    if (window.contains(QLatin1String("iconSet")))
        controller_->setXcodeIconSetURL(QUrl::fromLocalFile(path(QStringLiteral("AppIcon.appiconset"))));
    auto* mime = new QMimeData;
    if (!format.isEmpty())
        mime->setData(format, data);
    QGuiApplication::clipboard()->setMimeData(mime);

    // Opening the menus brings the actions up to date.
    emit controller_->fileMenu()->aboutToShow();
    emit controller_->editMenu()->aboutToShow();
    const QList<std::pair<const char*, QAction*>> actions{{"save", controller_->saveDocumentAction()},
                                                          {"saveAs", controller_->saveDocumentAsAction()},
                                                          {"xcode", controller_->saveDocumentToXcodeAction()},
                                                          {"copy", controller_->copyAction()},
                                                          {"paste", controller_->pasteAction()}};
    for (const auto& [name, action] : actions) {
        const bool expected = enabled.split(QLatin1Char(' ')).contains(QLatin1String(name));
        QVERIFY2(controller_->validateMenuItem(action) == expected && action->isEnabled() == expected, name);
    }
    // Commands without a rule are always available.
    QVERIFY(controller_->validateMenuItem(controller_->newDocumentAction()));
    QVERIFY(controller_->validateMenuItem(controller_->openDocumentAction()));
}

// The sets' panel, with the other platforms as its last rows, is not squeezed: not when the window
// first opens, not after an image adds its details.
void TestMainWindow::keepsTheWholeColumnInView()
{
    // Shorter than the column, like the layout's default size against the shipped catalogue.
    controller_->window()->resize(880, 300);
    controller_->showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(controller_->window()));
    QWidget* box = controller_->platformSetsBox();
    QWidget* panel = box->parentWidget();
    const auto whole = [&] {
        return panel->height() == panel->sizeHint().height() && box->geometry().bottom() < panel->height() &&
               box->height() >= box->minimumSizeHint().height();
    };
    const auto sizes = [&] {
        return QStringLiteral("panel %1 of %2, box bottom %3 height %4 of %5")
            .arg(panel->height())
            .arg(panel->sizeHint().height())
            .arg(box->geometry().bottom())
            .arg(box->height())
            .arg(box->minimumSizeHint().height());
    };
    QTRY_VERIFY2(whole(), qPrintable(sizes()));
    QVERIFY(openGoodImage().isValid());
    QTRY_VERIFY2(whole(), qPrintable(sizes()));
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
