#include "helper_capturinglogger.h"
#include "helper_scriptedalerts.h"
#include "iconset/imageprocessor.h"
#include "mainwindow/dragdropimageview.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"
#include "platform/notificationcenter.h"
#include "platform/notificationcenterconstants.h"

#include <QAbstractButton>
#include <QAction>
#include <QBuffer>
#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>

namespace {

constexpr int kTimeout = 5000;

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

// A PNG at 72 dpi, so its point size equals its pixel size.
QString writeImage(const QString& path, int width, int height, QColor color = Qt::red)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(color);
    image.setDotsPerMeterX(2835);
    image.setDotsPerMeterY(2835);
    QDir().mkpath(QFileInfo(path).absolutePath());
    return image.save(path, "PNG") ? path : QString();
}

bool replaceAtomically(const QString& path, int size, QColor color)
{
    const QString temporary = QFileInfo(path).absolutePath() + QStringLiteral("/.saving.png");
    if (writeImage(temporary, size, size, color).isEmpty())
        return false;
    std::error_code error;
    std::filesystem::rename(QFile::encodeName(temporary).toStdString(), QFile::encodeName(path).toStdString(),
                            error);
    return !error;
}

QColor colorOf(const ImagePtr& image)
{
    return image ? image->bitmap().pixelColor(0, 0) : QColor();
}

QList<qint64> ids(const QList<ImageCategory>& categories)
{
    QList<qint64> result;
    for (const ImageCategory& category : categories)
        result.append(category.categoryId());
    return result;
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void checksShapeAndSize_data();
    void checksShapeAndSize();
    void refusedImageKeepsThePreviousOne_data();
    void refusedImageKeepsThePreviousOne();
    void switchesBetweenEmptyAndFilledLooks();
    void openPanel_data();
    void openPanel();
    void reloadsTheWatchedFile_data();
    void reloadsTheWatchedFile();
    void reloadsOnEveryWrite();
    void badInputKeepsTheImage_data();
    void badInputKeepsTheImage();
    void deletedWatchedFileKeepsTheImage();
    void logsTheLoadingSteps();
    void restoresCategories_data();
    void restoresCategories();
    void checkboxStateSurvivesARestart();
    void menuRules_data();
    void menuRules();

private:
    std::unique_ptr<MainWindowController> makeController();
    QString path(const QString& name) const { return dir_->filePath(name); }

    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    std::unique_ptr<ImageProcessor> processor_;
    std::unique_ptr<MainWindowController> controller_;
    QList<ImagePtr> posted_;
};

void TestMainWindow::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    processor_ = std::make_unique<ImageProcessor>();
    processor_->setAllImageCategories(testCatalogue());
    controller_ = makeController();
    posted_.clear();
    NotificationCenter::defaultCenter().addObserver(this, QString::fromLatin1(NewSourceImageNotification),
                                                    [this](const Notification& n) {
                                                        QCOMPARE(n.sender, controller_.get());
                                                        posted_.append(std::any_cast<ImagePtr>(n.object));
                                                    });
}

void TestMainWindow::cleanup()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    controller_.reset();
    processor_.reset();
    defaults_.reset();
    dir_.reset();
    QGuiApplication::clipboard()->clear();
}

std::unique_ptr<MainWindowController> TestMainWindow::makeController()
{
    auto controller = std::make_unique<MainWindowController>(defaults_.get());
    controller->setImageProcessor(processor_.get());
    controller->window();
    return controller;
}

void TestMainWindow::checksShapeAndSize_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QList<int>>("answers");
    QTest::addColumn<QStringList>("expectedAlerts");
    QTest::addColumn<bool>("accepted");

    const int use = Alert::FirstButtonReturn;
    const int cancel = Alert::SecondButtonReturn;
    QTest::newRow("1024 square: silent") << 1024 << 1024 << QList<int>{} << QStringList{} << true;
    QTest::newRow("1023 square: too small only")
        << 1023 << 1023 << QList<int>{use} << QStringList{kTooSmall} << true;
    QTest::newRow("1023 square, cancelled")
        << 1023 << 1023 << QList<int>{cancel} << QStringList{kTooSmall} << false;
    QTest::newRow("1000 square is too small")
        << 1000 << 1000 << QList<int>{use} << QStringList{kTooSmall} << true;
    QTest::newRow("1024 x 768 landscape 4:3: silent") << 1024 << 768 << QList<int>{} << QStringList{} << true;
    QTest::newRow("2048 x 1536: silent") << 2048 << 1536 << QList<int>{} << QStringList{} << true;
    QTest::newRow("800 x 600 is 4:3 but too small")
        << 800 << 600 << QList<int>{use} << QStringList{kTooSmall} << true;
    QTest::newRow("768 x 1024 portrait: both questions")
        << 768 << 1024 << QList<int>{use, use} << QStringList{kNotSquare, kTooSmall} << true;
    QTest::newRow("768 x 1024, cancel the shape question")
        << 768 << 1024 << QList<int>{cancel} << QStringList{kNotSquare} << false;
    QTest::newRow("768 x 1024, cancel the size question")
        << 768 << 1024 << QList<int>{use, cancel} << QStringList{kNotSquare, kTooSmall} << false;
    QTest::newRow("1600 x 900: not square only")
        << 1600 << 900 << QList<int>{use} << QStringList{kNotSquare} << true;
    QTest::newRow("1600 x 900, cancelled")
        << 1600 << 900 << QList<int>{cancel} << QStringList{kNotSquare} << false;
    QTest::newRow("1536 x 2048 portrait 3:4 is asked")
        << 1536 << 2048 << QList<int>{use} << QStringList{kNotSquare} << true;
    QTest::newRow("1024 x 767: both questions")
        << 1024 << 767 << QList<int>{use, use} << QStringList{kNotSquare, kTooSmall} << true;
    QTest::newRow("1 x 1") << 1 << 1 << QList<int>{use} << QStringList{kTooSmall} << true;
}

void TestMainWindow::checksShapeAndSize()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(QList<int>, answers);
    QFETCH(QStringList, expectedAlerts);
    QFETCH(bool, accepted);

    ScopedAlertPresenter alerts;
    alerts->answers = answers;
    const QString file = writeImage(path(QStringLiteral("source.png")), width, height);
    QVERIFY(!file.isEmpty());

    // True whenever the file decodes, whatever the user answered.
    QVERIFY(controller_->loadImageWithContentsOfURL(QUrl::fromLocalFile(file)));

    QCOMPARE(alerts->messageTexts(), expectedAlerts);
    for (const Alert& alert : std::as_const(alerts->alerts)) {
        QCOMPARE(alert.style, Alert::Style::Warning);
        QCOMPARE(alert.buttonTitles, (QStringList{QStringLiteral("Use Anyway"), QStringLiteral("Cancel")}));
        if (alert.messageText == kTooSmall)
            QVERIFY2(
                alert.informativeText.contains(QStringLiteral("%1\u00a0×\u00a0%2").arg(width).arg(height)),
                qPrintable(alert.informativeText));
    }
    QCOMPARE(controller_->hasImage(), accepted);
    QCOMPARE(posted_.size(), accepted ? 1 : 0);
    if (accepted) {
        QCOMPARE(posted_.first(), controller_->sourceImage());
        QCOMPARE(controller_->sourceImage()->pixelSize(), QSize(width, height));
    }
}

void TestMainWindow::refusedImageKeepsThePreviousOne_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QList<int>>("answers");
    QTest::newRow("not square, cancelled") << 1600 << 900 << QList<int>{Alert::SecondButtonReturn};
    QTest::newRow("too small, cancelled") << 512 << 512 << QList<int>{Alert::SecondButtonReturn};
    QTest::newRow("portrait, shape accepted, size cancelled")
        << 768 << 1024 << QList<int>{Alert::FirstButtonReturn, Alert::SecondButtonReturn};
}

void TestMainWindow::refusedImageKeepsThePreviousOne()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(QList<int>, answers);

    ScopedAlertPresenter alerts;
    const QUrl first =
        QUrl::fromLocalFile(writeImage(path(QStringLiteral("first.png")), 1024, 1024, Qt::green));
    QVERIFY(controller_->openDocumentWithContentsOfURL(first));
    const ImagePtr kept = controller_->sourceImage();
    QVERIFY(kept);
    posted_.clear();

    // An image without a file (a paste or a drop) that the user refuses.
    alerts->answers = answers;
    QImage bitmap(width, height, QImage::Format_ARGB32);
    bitmap.fill(Qt::blue);
    controller_->setSourceImage(Image::fromQImage(bitmap));

    QCOMPARE(alerts->alerts.size(), answers.size());
    QCOMPARE(controller_->sourceImage(), kept);
    QCOMPARE(controller_->imageView()->image(), kept);
    QCOMPARE(controller_->currentImageFileURL(), first);
    QVERIFY(posted_.isEmpty());
}

void TestMainWindow::switchesBetweenEmptyAndFilledLooks()
{
    controller_->showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(controller_->window()));
    QVERIFY(!controller_->hasImage());
    QVERIFY(!controller_->instructions1TextField()->isHidden());
    QVERIFY(!controller_->instructions2TextField()->isHidden());
    QVERIFY(!controller_->loadImageButton()->isHidden());
    QVERIFY(controller_->imageUpdatedTextField()->isHidden());
    QCOMPARE(controller_->instructions1TextField()->text(), QStringLiteral("Drop an image here"));

    const QString file = writeImage(path(QStringLiteral("icon.png")), 1024, 1024);
    QVERIFY(controller_->loadImageWithContentsOfURL(QUrl::fromLocalFile(file)));
    // The view is refreshed on a later turn of the event loop.
    QTRY_VERIFY_WITH_TIMEOUT(controller_->instructions1TextField()->isHidden(), kTimeout);
    QVERIFY(controller_->instructions2TextField()->isHidden());
    QVERIFY(controller_->loadImageButton()->isHidden());
    QCOMPARE(controller_->imageView()->image(), controller_->sourceImage());
    QVERIFY(!controller_->imageView()->imageRect().isEmpty());

    controller_->newDocument();
    QVERIFY(!controller_->hasImage());
    QVERIFY(!controller_->imageView()->image());
    QVERIFY(!controller_->loadImageButton()->isHidden());
    QVERIFY(controller_->currentImageFileURL().isEmpty());
    // New on an empty window is harmless.
    controller_->newDocument();
    QVERIFY(!controller_->hasImage());
    QCOMPARE(posted_.size(), 1);
}

void TestMainWindow::openPanel_data()
{
    QTest::addColumn<int>("response");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QList<int>>("answers");
    QTest::addColumn<bool>("loaded");
    QTest::addColumn<bool>("recorded");

    const QStringList one{QStringLiteral("a.png")};
    QTest::newRow("OK, one file") << int(OpenPanelOptions::OKResponse) << one << QList<int>{} << true << true;
    QTest::newRow("Cancel") << int(OpenPanelOptions::CancelResponse) << one << QList<int>{} << false << false;
    QTest::newRow("OK, two files") << int(OpenPanelOptions::OKResponse)
                                   << QStringList{QStringLiteral("a.png"), QStringLiteral("b.png")}
                                   << QList<int>{} << false << false;
    QTest::newRow("OK, no file") << int(OpenPanelOptions::OKResponse) << QStringList{} << QList<int>{}
                                 << false << false;
    QTest::newRow("OK, not an image")
        << int(OpenPanelOptions::OKResponse) << QStringList{QStringLiteral("notes.png")} << QList<int>{}
        << false << false;
    // The refused file is still recorded and remembered: it was opened and is watched.
    QTest::newRow("OK, not square, cancelled")
        << int(OpenPanelOptions::OKResponse) << QStringList{QStringLiteral("wide.png")}
        << QList<int>{Alert::SecondButtonReturn} << false << true;
}

void TestMainWindow::openPanel()
{
    QFETCH(int, response);
    QFETCH(QStringList, files);
    QFETCH(QList<int>, answers);
    QFETCH(bool, loaded);
    QFETCH(bool, recorded);

    writeImage(path(QStringLiteral("a.png")), 1024, 1024);
    writeImage(path(QStringLiteral("b.png")), 1024, 1024);
    writeImage(path(QStringLiteral("wide.png")), 1600, 900);
    QFile notes(path(QStringLiteral("notes.png")));
    QVERIFY(notes.open(QIODevice::WriteOnly) && notes.write("plain text, not a picture") > 0);
    notes.close();

    ScopedAlertPresenter alerts;
    alerts->answers = answers;
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
}

void TestMainWindow::reloadsTheWatchedFile_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<bool>("atomically");
    QTest::newRow("written in place") << QStringLiteral("icon.png") << false;
    QTest::newRow("new file renamed over it") << QStringLiteral("icon.png") << true;
    QTest::newRow("non-ASCII path, in place") << QStringLiteral("Entwürfe 图标/Ícone ✓.png") << false;
    QTest::newRow("non-ASCII path, renamed over") << QStringLiteral("Entwürfe 图标/Ícone ✓.png") << true;
}

void TestMainWindow::reloadsTheWatchedFile()
{
    QFETCH(QString, fileName);
    QFETCH(bool, atomically);

    const QString file = writeImage(path(fileName), 1024, 1024, Qt::red);
    QVERIFY(!file.isEmpty());
    QVERIFY(controller_->openDocumentWithContentsOfURL(QUrl::fromLocalFile(file)));
    QCOMPARE(colorOf(controller_->sourceImage()), QColor(Qt::red));

    // Twice: the second change proves the watch survived the first reload.
    for (const QColor color : {QColor(Qt::blue), QColor(Qt::yellow)}) {
        if (atomically)
            QVERIFY(replaceAtomically(file, 1024, color));
        else
            QVERIFY(!writeImage(file, 1024, 1024, color).isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(colorOf(controller_->sourceImage()), color, kTimeout);
        QVERIFY(!controller_->imageUpdatedTextField()->isHidden());
        QCOMPARE(posted_.last(), controller_->sourceImage());
    }
    // The notice goes away 2 s after the last change.
    QTRY_VERIFY_WITH_TIMEOUT(controller_->imageUpdatedTextField()->isHidden(), kTimeout);
    // An automatic reload forgets the recorded file, yet goes on watching.
    QVERIFY(controller_->currentImageFileURL().isEmpty());
}

void TestMainWindow::reloadsOnEveryWrite()
{
    ScopedCapturingLogger log;
    const QString file = writeImage(path(QStringLiteral("icon.png")), 1024, 1024, Qt::red);
    QVERIFY(controller_->loadImageWithContentsOfURL(QUrl::fromLocalFile(file)));
    posted_.clear();
    const auto changesSeen = [&] {
        return log->linesWith(LogFlagInfo, {QStringLiteral("File changed: ")}).size();
    };

    // Two saves well within half a second, each seen by the watch before the next: each
    // schedules its own reload, nothing is merged.
    QVERIFY(replaceAtomically(file, 1024, Qt::blue));
    QTRY_COMPARE_WITH_TIMEOUT(changesSeen(), 1, kTimeout);
    QVERIFY(replaceAtomically(file, 1024, Qt::green));
    QTRY_COMPARE_WITH_TIMEOUT(changesSeen(), 2, kTimeout);
    QTRY_COMPARE_WITH_TIMEOUT(posted_.size(), 2, kTimeout);
    QCOMPARE(colorOf(controller_->sourceImage()), QColor(Qt::green));
}

void TestMainWindow::badInputKeepsTheImage_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("kind");

    QTest::newRow("text named .png") << QStringLiteral("notes.png") << QByteArray("just some words\n")
                                     << QStringLiteral("file");
    QTest::newRow("empty file") << QStringLiteral("empty.png") << QByteArray() << QStringLiteral("file");
    QByteArray truncated;
    {
        QImage image(64, 64, QImage::Format_ARGB32);
        image.fill(Qt::cyan);
        QBuffer buffer(&truncated);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        truncated.truncate(40);
    }
    QTest::newRow("truncated PNG") << QStringLiteral("cut.png") << truncated << QStringLiteral("file");
    QTest::newRow("directory") << QStringLiteral("folder.png") << QByteArray() << QStringLiteral("directory");
    QTest::newRow("missing file") << QStringLiteral("missing.png") << QByteArray()
                                  << QStringLiteral("missing");
}

void TestMainWindow::badInputKeepsTheImage()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, contents);
    QFETCH(QString, kind);

    ScopedCapturingLogger log;
    const QUrl good = QUrl::fromLocalFile(writeImage(path(QStringLiteral("good.png")), 1024, 1024));
    QVERIFY(controller_->openDocumentWithContentsOfURL(good));
    const ImagePtr kept = controller_->sourceImage();

    const QString bad = path(name);
    if (kind == QLatin1String("file")) {
        QFile file(bad);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
    } else if (kind == QLatin1String("directory")) {
        QVERIFY(QDir().mkpath(bad));
    }

    QVERIFY(!controller_->loadImageWithContentsOfURL(QUrl::fromLocalFile(bad)));
    QCOMPARE(controller_->sourceImage(), kept);
    QCOMPARE(controller_->currentImageFileURL(), good);
    QCOMPARE(posted_.size(), 1);
    // Errors are logged synchronously: the reason is there at once, naming the file.
    const QStringList lines = log->linesWith(LogFlagError, {QStringLiteral("Not loading"), bad});
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().size() > QStringLiteral("Not loading '%1': ").arg(bad).size(),
             qPrintable(lines.first()));
}

void TestMainWindow::deletedWatchedFileKeepsTheImage()
{
    ScopedCapturingLogger log;
    const QString file = writeImage(path(QStringLiteral("icon.png")), 1024, 1024);
    QVERIFY(controller_->loadImageWithContentsOfURL(QUrl::fromLocalFile(file)));
    const ImagePtr kept = controller_->sourceImage();

    QVERIFY(QFile::remove(file));
    QTRY_COMPARE_WITH_TIMEOUT(log->linesWith(LogFlagError, {QStringLiteral("Not loading"), file}).size(), 1,
                              kTimeout);
    QCOMPARE(controller_->sourceImage(), kept);
    // The notice is shown for the change and hidden again.
    QVERIFY(!controller_->imageUpdatedTextField()->isHidden());
    QTRY_VERIFY_WITH_TIMEOUT(controller_->imageUpdatedTextField()->isHidden(), kTimeout);

    // The path is still watched: a file put back there is loaded.
    QVERIFY(!writeImage(file, 1024, 1024, Qt::magenta).isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(colorOf(controller_->sourceImage()), QColor(Qt::magenta), kTimeout);
}

void TestMainWindow::logsTheLoadingSteps()
{
    ScopedCapturingLogger log;
    const QString file = writeImage(path(QStringLiteral("Mein Symbol ✓.png")), 1024, 1024);
    const QUrl url = QUrl::fromLocalFile(file);
    const QString urlText = url.toString(QUrl::FullyEncoded);
    QVERIFY(controller_->loadImageWithContentsOfURL(url));
    QVERIFY(QFile::remove(file));

    const QStringList expected{QStringLiteral("loadImageWithContentsOfURL: ") + urlText,
                               QStringLiteral("clearImage"),
                               QStringLiteral("cancelMonitorCurrentImageFileForChanges"),
                               QStringLiteral("refreshView"),
                               QStringLiteral("setSourceImage"),
                               QStringLiteral("monitorFileForChanges: ") + urlText,
                               QStringLiteral("refreshView"),
                               QStringLiteral("File changed: ") + urlText};
    auto infoLines = [&] {
        QStringList lines;
        for (const QString& line : log->linesWith(LogFlagInfo, {}))
            if (line != QLatin1String("Cancelled currentImageFileVnode monitoring."))
                lines.append(line);
        return lines.first(qMin(lines.size(), expected.size()));
    };
    QTRY_COMPARE_WITH_TIMEOUT(infoLines(), expected, kTimeout);

    controller_->newDocument();
    QTRY_COMPARE_WITH_TIMEOUT(
        log->linesWith(LogFlagInfo, {QStringLiteral("Cancelled currentImageFileVnode monitoring.")}).size(),
        1, kTimeout);
}

void TestMainWindow::restoresCategories_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QList<qint64>>("expected");

    const auto archive = [](QList<qint64> list) {
        QList<ImageCategory> categories;
        for (qint64 id : list)
            categories.append(ImageCategory(id, QStringLiteral("name"), QStringLiteral("idiom")));
        return ImageCategory::archive(categories);
    };
    // Nothing stored: the first-launch choice.
    QTest::newRow("nothing stored") << QByteArray() << QList<qint64>{101, 111, 121};
    QTest::newRow("two stored") << archive({111, 201}) << QList<qint64>{111, 201};
    QTest::newRow("stored out of order") << archive({501, 101}) << QList<qint64>{101, 501};
    QTest::newRow("empty list stored") << archive({}) << QList<qint64>{};
    QTest::newRow("one no longer in the catalogue") << archive({102, 201, 999}) << QList<qint64>{201};
    QTest::newRow("foreign data") << QByteArray("\x00\x01garbage", 9) << QList<qint64>{101, 111, 121};
}

void TestMainWindow::restoresCategories()
{
    QFETCH(QByteArray, stored);
    QFETCH(QList<qint64>, expected);

    if (!stored.isNull()) {
        defaults_->setSelectedImageCategories(stored);
        QVERIFY(defaults_->synchronize());
    }
    const auto controller = makeController();
    QCOMPARE(ids(controller->selectedImageCategories()), expected);
    for (const ImageCategory& category : testCatalogue()) {
        auto* box = controller->window()->findChild<QAbstractButton*>(
            QStringLiteral("categoryCheckbox%1").arg(category.categoryId()));
        QVERIFY(box);
        QCOMPARE(box->text(), *category.name());
        QCOMPARE(box->isChecked(), expected.contains(category.categoryId()));
    }
}

void TestMainWindow::checkboxStateSurvivesARestart()
{
    controller_->setSelectedImageCategores(
        {ImageCategory(201, {}, {}), ImageCategory(111, {}, {}), ImageCategory(404, {}, {})});
    QCOMPARE(ids(controller_->selectedImageCategories()), (QList<qint64>{111, 201}));
    controller_->saveImageCategoryCheckboxState();

    // Ticking without saving is not kept.
    controller_->setSelectedImageCategores({ImageCategory(501, {}, {})});
    controller_.reset();
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));

    controller_ = makeController();
    QCOMPARE(ids(controller_->selectedImageCategories()), (QList<qint64>{111, 201}));
    const QList<ImageCategory> selected = controller_->selectedImageCategories();
    QCOMPARE(selected.first().name(), std::optional<QString>(QStringLiteral("iPad")));
}

void TestMainWindow::menuRules_data()
{
    QTest::addColumn<bool>("image");
    QTest::addColumn<bool>("folder");
    QTest::addColumn<bool>("iconSet");
    QTest::addColumn<QString>("clipboard");
    // Expected: save, save as, save to Xcode, copy, paste.
    QTest::addColumn<QList<bool>>("enabled");

    using L = QList<bool>;
    const QString none = QStringLiteral("none");
    QTest::newRow("empty window") << false << false << false << none << L{false, false, false, false, false};
    QTest::newRow("empty window, folders remembered")
        << false << true << true << none << L{false, false, false, false, false};
    QTest::newRow("image, no folder") << true << false << false << none << L{false, true, true, true, false};
    QTest::newRow("image, folder") << true << true << false << none << L{true, true, true, true, false};
    QTest::newRow("image, icon set") << true << false << true << none << L{true, true, true, true, false};
    QTest::newRow("image, both") << true << true << true << none << L{true, true, true, true, false};
    QTest::newRow("text on the clipboard")
        << false << false << false << QStringLiteral("text") << L{false, false, false, false, false};
    QTest::newRow("image data on the clipboard")
        << false << false << false << QStringLiteral("bitmap") << L{false, false, false, false, true};
    QTest::newRow("PNG bytes on the clipboard")
        << false << false << false << QStringLiteral("png") << L{false, false, false, false, true};
    QTest::newRow("image file URL") << false << false << false << QStringLiteral("imageFile")
                                    << L{false, false, false, false, true};
    QTest::newRow("text file URL") << false << false << false << QStringLiteral("textFile")
                                   << L{false, false, false, false, false};
    QTest::newRow("text renamed .png")
        << false << false << false << QStringLiteral("fakePng") << L{false, false, false, false, false};
    QTest::newRow("URL of a missing file")
        << false << false << false << QStringLiteral("missingFile") << L{false, false, false, false, false};
    QTest::newRow("web URL of an image")
        << false << false << false << QStringLiteral("webImage") << L{false, false, false, false, false};
}

void TestMainWindow::menuRules()
{
    QFETCH(bool, image);
    QFETCH(bool, folder);
    QFETCH(bool, iconSet);
    QFETCH(QString, clipboard);
    QFETCH(QList<bool>, enabled);

    if (image)
        QVERIFY(controller_->loadImageWithContentsOfURL(
            QUrl::fromLocalFile(writeImage(path(QStringLiteral("icon.png")), 1024, 1024))));
    if (folder)
        controller_->setDirectoryURL(QUrl::fromLocalFile(dir_->path()));
    if (iconSet)
        controller_->setXcodeIconSetURL(QUrl::fromLocalFile(path(QStringLiteral("AppIcon.appiconset"))));

    auto* data = new QMimeData;
    const QString png = writeImage(path(QStringLiteral("clip.png")), 16, 16);
    const QString text = path(QStringLiteral("readme.txt"));
    const QString fake = path(QStringLiteral("fake.png"));
    for (const QString& file : {text, fake}) {
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write("hello, not a picture\n") > 0);
    }
    if (clipboard == QLatin1String("text"))
        data->setText(QStringLiteral("some text"));
    else if (clipboard == QLatin1String("bitmap"))
        data->setImageData(QImage(8, 8, QImage::Format_ARGB32));
    else if (clipboard == QLatin1String("png")) {
        QFile f(png);
        QVERIFY(f.open(QIODevice::ReadOnly));
        data->setData(QStringLiteral("image/png"), f.readAll());
    } else if (clipboard == QLatin1String("imageFile"))
        data->setUrls({QUrl::fromLocalFile(png)});
    else if (clipboard == QLatin1String("textFile"))
        data->setUrls({QUrl::fromLocalFile(text)});
    else if (clipboard == QLatin1String("fakePng"))
        data->setUrls({QUrl::fromLocalFile(fake)});
    else if (clipboard == QLatin1String("missingFile"))
        data->setUrls({QUrl::fromLocalFile(path(QStringLiteral("gone.png")))});
    else if (clipboard == QLatin1String("webImage"))
        data->setUrls({QUrl(QStringLiteral("https://example.org/icon.png"))});
    QGuiApplication::clipboard()->setMimeData(data);

    const QList<QAction*> actions{controller_->saveDocumentAction(), controller_->saveDocumentAsAction(),
                                  controller_->saveDocumentToXcodeAction(), controller_->copyAction(),
                                  controller_->pasteAction()};
    for (qsizetype i = 0; i < actions.size(); ++i)
        QVERIFY2(controller_->validateMenuItem(actions.at(i)) == enabled.at(i),
                 qPrintable(actions.at(i)->text()));

    // Opening the menus brings the actions up to date.
    emit controller_->fileMenu()->aboutToShow();
    emit controller_->editMenu()->aboutToShow();
    for (qsizetype i = 0; i < actions.size(); ++i)
        QCOMPARE(actions.at(i)->isEnabled(), enabled.at(i));
    // Commands without a rule are always available.
    QVERIFY(controller_->validateMenuItem(controller_->newDocumentAction()));
    QVERIFY(controller_->validateMenuItem(controller_->openDocumentAction()));
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
