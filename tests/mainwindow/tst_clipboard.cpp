// Runs on a real X server (xvfb-run): the clipboard is checked and filled from outside the
// process with xclip, the way another program sees and uses it.
#include "common/testsupport.h"
#include "helper_iconcatalogue.h"
#include "helper_scriptedalerts.h"
#include "iconset/imageprocessor.h"
#include "mainwindow/dragdropimageview.h"
#include "mainwindow/mainwindowcontroller.h"
#include "platform/defaults.h"

#include <QAction>
#include <QBuffer>
#include <QClipboard>
#include <QDrag>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QImageReader>
#include <QMainWindow>
#include <QMimeData>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;

namespace {

const QString kNotSquare = QStringLiteral("The image is not square.");

// Runs xclip on the clipboard selection and returns what it printed. The event loop keeps
// running meanwhile, so this process can answer xclip's requests for its own clipboard.
QByteArray xclip(const QStringList& arguments)
{
    QProcess process;
    // Offering data makes xclip fork a server that outlives it: its output goes nowhere, so
    // nobody waits for the server to close it.
    if (arguments.contains(QLatin1String("-i"))) {
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
    }
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(QStringLiteral("xclip"), QStringList{"-selection", "clipboard"} + arguments);
    if (!process.waitForStarted(5000) || !finished.wait(10000))
        return "(xclip did not finish)";
    return arguments.contains(QLatin1String("-i")) ? QByteArray() : process.readAllStandardOutput();
}

QByteArray fileContents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A window that takes any drop and keeps the file URLs it was given.
class DropRecorder : public QWidget
{
public:
    DropRecorder() { setAcceptDrops(true); }
    QList<QUrl> urls;

protected:
    void dragEnterEvent(QDragEnterEvent* event) override { event->acceptProposedAction(); }
    void dropEvent(QDropEvent* event) override
    {
        urls = event->mimeData()->urls();
        event->acceptProposedAction();
    }
};

// A window that, pressed and moved, drags one file URL the way a file manager offers a file.
class FileDragSource : public QWidget
{
public:
    explicit FileDragSource(QUrl url) : url_(std::move(url)) {}

protected:
    void mouseMoveEvent(QMouseEvent* event) override
    {
        if (!(event->buttons() & Qt::LeftButton) || dragging_)
            return;
        dragging_ = true;
        auto* data = new QMimeData;
        data->setUrls({url_});
        auto* drag = new QDrag(this);
        drag->setMimeData(data);
        drag->exec(Qt::CopyAction);
    }

private:
    QUrl url_;
    bool dragging_ = false;
};

// Shows `window` at `position` on the screen (Xvfb has no window manager to move it elsewhere).
bool showAt(QWidget* window, QPoint position)
{
    window->resize(200, 200);
    window->move(position);
    window->show();
    return QTest::qWaitForWindowExposed(window);
}

// Presses the left button at `from`, moves in steps to `to` and lets go there, as a user's
// hand would, from outside the process through the X server's test extension.
void startPointerDrag(QProcess& xdotool, QPoint from, QPoint to)
{
    QStringList arguments{"mousemove", QString::number(from.x()), QString::number(from.y()),
                          "mousedown", "1"};
    for (int step = 1; step <= 8; ++step) {
        const QPoint at = from + (to - from) * step / 8;
        arguments << "sleep" << "0.15" << "mousemove" << QString::number(at.x()) << QString::number(at.y());
    }
    arguments << "sleep" << "0.3" << "mousemove" << QString::number(to.x() + 1) << QString::number(to.y())
              << "sleep" << "0.3" << "mouseup" << "1";
    xdotool.start(QStringLiteral("xdotool"), arguments);
}

} // namespace

class TestClipboard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup() { qunsetenv("TMPDIR"); }

    void copyPutsTheIconsOnTheClipboard_data();
    void copyPutsTheIconsOnTheClipboard();
    void pastesWhatAnotherProgramOffers_data();
    void pastesWhatAnotherProgramOffers();
    void dropTarget_data();
    void dropTarget();
    void dragOutOffersTheWrittenFiles();
    void dragsThroughTheXServer_data();
    void dragsThroughTheXServer();

private:
    QString path(const QString& name) const { return dir_->filePath(name); }

    std::unique_ptr<QTemporaryDir> dir_;
    std::unique_ptr<Defaults> defaults_;
    ImageProcessor processor_;
    std::unique_ptr<MainWindowController> controller_;
    QUrl green_;
};

void TestClipboard::initTestCase()
{
    QVERIFY2(QGuiApplication::platformName() == QLatin1String("xcb"), "runs on an X server");
    QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("xclip")).isEmpty(),
             "needs xclip (scripts/setup.sh)");
    processor_.setAllImageCategories(iconCatalogueCategories());
    processor_.setAllImageSizes(iconCatalogueSizes());
}

// A fresh, shown window holding a green 1024-pixel square from a file, iPhone and iPad ticked;
// scratch folders go under the test's own folder.
void TestClipboard::init()
{
    controller_.reset();
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
    QVERIFY(QDir().mkpath(path(QStringLiteral("tmp"))));
    qputenv("TMPDIR", QFile::encodeName(path(QStringLiteral("tmp"))));
    defaults_ = std::make_unique<Defaults>(path(QStringLiteral("settings.ini")));
    controller_ = std::make_unique<MainWindowController>(defaults_.get());
    controller_->setImageProcessor(&processor_);
    controller_->setSelectedImageCategores(categoriesWithIds({101, 111}));
    green_ = QUrl::fromLocalFile(writeImage(path(QStringLiteral("green.png")), 1024, 1024, Qt::green));
    QVERIFY(controller_->openDocumentWithContentsOfURL(green_));
    controller_->showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(controller_->window()));
}

void TestClipboard::copyPutsTheIconsOnTheClipboard_data()
{
    QTest::addColumn<QList<qint64>>("ticked");
    QTest::addColumn<QStringList>("files"); // in the uri-list, in catalogue order
    QTest::addColumn<int>("pngSide");       // of the image/png data: the largest icon

    QTest::newRow("iPhone") << QList<qint64>{101} << QStringList{"Icon-20@2x.png", "Icon-60@3x.png"} << 180;
    QTest::newRow("iPad") << QList<qint64>{111} << QStringList{"Icon-76@2x.png"} << 152;
    QTest::newRow("iPhone and iPad") << QList<qint64>{101, 111}
                                     << QStringList{"Icon-20@2x.png", "Icon-60@3x.png", "Icon-76@2x.png"}
                                     << 180;
}

void TestClipboard::copyPutsTheIconsOnTheClipboard()
{
    QFETCH(QList<qint64>, ticked);
    QFETCH(QStringList, files);
    QFETCH(int, pngSide);

    // What an earlier copy left is cleared away.
    const QString scratch = path(QStringLiteral("tmp/co.velmora.IconFoundry/pasteboard"));
    QVERIFY(!writeImage(scratch + "/stale.png", 4, 4).isEmpty());
    controller_->setSelectedImageCategores(categoriesWithIds(ticked));

    ScopedAlertPresenter alerts;
    controller_->copy();
    QTRY_VERIFY(!controller_->isWriting());
    QVERIFY(alerts->alerts.isEmpty());
    QStringList sorted = files;
    sorted.sort();
    QCOMPARE(namesIn(scratch), sorted);

    // Seen from another program.
    const QList<QByteArray> targets = xclip({"-t", "TARGETS", "-o"}).split('\n');
    QVERIFY2(targets.contains("image/png") && targets.contains("text/uri-list"),
             targets.join(' ').constData());
    QByteArray expectedList;
    for (const QString& file : files)
        expectedList += QUrl::fromLocalFile(scratch + '/' + file).toEncoded() + "\r\n";
    QCOMPARE(xclip({"-t", "text/uri-list", "-o"}).trimmed(), expectedList.trimmed());
    QImage png;
    QVERIFY(png.loadFromData(xclip({"-t", "image/png", "-o"}), "PNG"));
    QCOMPARE(png.size(), QSize(pngSide, pngSide));
    QCOMPARE(png.pixelColor(pngSide / 2, pngSide / 2), QColor(Qt::green));
    // A copy stores the ticked sets, like every write of icons.
    QCOMPARE(ImageCategory::unarchive(defaults_->selectedImageCategories().value_or(QByteArray()))
                 .value_or(QList<ImageCategory>{})
                 .size(),
             ticked.size());
}

void TestClipboard::pastesWhatAnotherProgramOffers_data()
{
    QTest::addColumn<QString>("offered"); // how: "xclip <target>" or "in process"
    QTest::addColumn<QString>("content"); // file name, or "url:<file>" for its URL
    QTest::addColumn<QColor>("shown");
    QTest::addColumn<QString>("recorded"); // currentImageFileURL afterwards: "green", "red" or ""
    QTest::addColumn<QString>("status");   // start of the status bar's message

    const QColor green(Qt::green), red(Qt::red), blue(Qt::blue);
    QTest::newRow("PNG data") << "xclip image/png"
                              << "blue.png" << blue << "green"
                              << "";
    QTest::newRow("a file URL") << "xclip text/uri-list"
                                << "url:red.png" << red << "red"
                                << "";
    QTest::newRow("URL of a text file") << "xclip text/uri-list"
                                        << "url:notes.png" << green << "green"
                                        << "";
    QTest::newRow("truncated PNG data") << "xclip image/png"
                                        << "truncated-idat.png" << green << "green"
                                        << "The image on the clipboard could not be read: ";
    QTest::newRow("URL and image data: the URL wins") << "in process"
                                                      << "url:red.png" << red << "red"
                                                      << "";
    QTest::newRow("text only") << "xclip UTF8_STRING"
                               << "notes.png" << green << "green"
                               << "";
}

void TestClipboard::pastesWhatAnotherProgramOffers()
{
    QFETCH(QString, offered);
    QFETCH(QString, content);
    QFETCH(QColor, shown);
    QFETCH(QString, recorded);
    QFETCH(QString, status);

    const QString red = writeImage(path(QStringLiteral("red.png")), 1024, 1024, Qt::red);
    const QString blue = writeImage(path(QStringLiteral("blue.png")), 1024, 1024, Qt::blue);
    QVERIFY(QFile::copy(test::testData("not-an-image.png"), path("notes.png")));
    QVERIFY(QFile::copy(test::testData("truncated-idat.png"), path("truncated-idat.png")));

    const bool url = content.startsWith(QLatin1String("url:"));
    const QString file = path(url ? content.mid(4) : content);
    if (offered == QLatin1String("in process")) {
        auto* data = new QMimeData;
        data->setUrls({QUrl::fromLocalFile(file)});
        data->setData(QStringLiteral("image/png"), fileContents(blue));
        QGuiApplication::clipboard()->setMimeData(data);
    } else {
        const QString listFile = path(QStringLiteral("offered.txt"));
        QFile list(listFile);
        QVERIFY(list.open(QIODevice::WriteOnly));
        list.write(url ? QUrl::fromLocalFile(file).toEncoded() + "\r\n" : fileContents(file));
        list.close();
        // Taken from this process, so the hand-over to xclip is something to wait for.
        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
        QTRY_VERIFY(QGuiApplication::clipboard()->ownsClipboard());
        xclip({"-t", offered.section(' ', 1), "-i", listFile});
        QTRY_VERIFY(!QGuiApplication::clipboard()->ownsClipboard());
    }
    // The Paste command follows what is offered.
    const bool pastable = shown != QColor(Qt::green) || !status.isEmpty();
    QTRY_COMPARE(controller_->validateMenuItem(controller_->pasteAction()), pastable);

    ScopedAlertPresenter alerts;
    controller_->paste();

    QVERIFY(alerts->alerts.isEmpty());
    QCOMPARE(colorOf(controller_->sourceImage()), shown);
    const QUrl expected = recorded == QLatin1String("red") ? QUrl::fromLocalFile(red) : green_;
    QCOMPARE(controller_->currentImageFileURL(), expected);
    QCOMPARE(defaults_->recentDocuments().value(0), expected);
    const QString message = controller_->window()->statusBar()->currentMessage();
    if (status.isEmpty())
        QVERIFY2(message.isEmpty(), qPrintable(message));
    else
        QVERIFY2(message.startsWith(status) && message.size() > status.size(), qPrintable(message));
}

void TestClipboard::dropTarget_data()
{
    QTest::addColumn<QString>("content"); // "file:<name>" or "data:<name>"
    QTest::addColumn<int>("actions");     // offered by the drag
    QTest::addColumn<bool>("accepted");   // and highlighted while over the view
    QTest::addColumn<QList<int>>("answers");
    QTest::addColumn<QStringList>("asked");
    QTest::addColumn<QColor>("shown");

    const int copy = Qt::CopyAction, move = Qt::MoveAction, link = Qt::LinkAction;
    const QColor green(Qt::green), blue(Qt::blue), red(Qt::red);
    const QList<int> none;
    QTest::newRow("PNG file, copy") << "file:blue.png" << copy << true << none << QStringList{} << blue;
    QTest::newRow("PNG file, copy or move")
        << "file:blue.png" << (copy | move) << true << none << QStringList{} << blue;
    QTest::newRow("PNG file, move only: refused")
        << "file:blue.png" << move << false << none << QStringList{} << green;
    QTest::newRow("PNG file, link only: refused")
        << "file:blue.png" << link << false << none << QStringList{} << green;
    QTest::newRow("PNG data, copy") << "data:blue.png" << copy << true << none << QStringList{} << blue;
    QTest::newRow("text named .png: refused")
        << "file:notes.png" << copy << false << none << QStringList{} << green;
    QTest::newRow("not square, cancelled: the image stays")
        << "file:wide.png" << copy << true << QList<int>{Alert::SecondButtonReturn} << QStringList{kNotSquare}
        << green;
    QTest::newRow("not square, used anyway")
        << "file:wide.png" << copy << true << QList<int>{Alert::FirstButtonReturn} << QStringList{kNotSquare}
        << red;
}

void TestClipboard::dropTarget()
{
    QFETCH(QString, content);
    QFETCH(int, actions);
    QFETCH(bool, accepted);
    QFETCH(QList<int>, answers);
    QFETCH(QStringList, asked);
    QFETCH(QColor, shown);

    writeImage(path(QStringLiteral("blue.png")), 1024, 1024, Qt::blue);
    writeImage(path(QStringLiteral("wide.png")), 1600, 900, Qt::red);
    QVERIFY(QFile::copy(test::testData("not-an-image.png"), path("notes.png")));
    DragDropImageView* view = controller_->imageView();
    QTRY_COMPARE(view->image(), controller_->sourceImage());

    QMimeData data;
    const QString file = path(content.section(':', 1));
    if (content.startsWith(QLatin1String("file:")))
        data.setUrls({QUrl::fromLocalFile(file)});
    else
        data.setData(QStringLiteral("image/png"), fileContents(file));

    // An outline point of the highlight: 4 px in from the left edge, half-way down.
    const QPoint outline(4, view->height() / 2);
    const QColor before = view->grab().toImage().pixelColor(outline);

    const QPoint centre = view->rect().center();
    QDragEnterEvent enter(centre, Qt::DropActions(actions), &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(view, &enter);
    QCOMPARE(enter.isAccepted(), accepted);
    QCOMPARE(view->isHighlighted(), accepted);
    if (accepted) {
        QCOMPARE(enter.dropAction(), Qt::CopyAction);
        const QColor drawn = view->grab().toImage().pixelColor(outline);
        QVERIFY2(drawn != before && qAbs(drawn.red() - drawn.green()) < 8 && drawn.red() > 96 &&
                     drawn.red() < 200,
                 qPrintable(drawn.name()));
        const QString shots = qEnvironmentVariable("ICONFOUNDRY_SCREENSHOT_DIR");
        if (!shots.isEmpty() && QTest::currentDataTag() == QLatin1String("PNG file, copy"))
            QVERIFY(controller_->window()->grab().save(shots + "/drop-highlight.png"));
        // Leaving takes the highlight away; coming back brings it again.
        QDragLeaveEvent leave;
        QCoreApplication::sendEvent(view, &leave);
        QVERIFY(!view->isHighlighted());
        QCOMPARE(view->grab().toImage().pixelColor(outline), before);
        QDragEnterEvent again(centre, Qt::DropActions(actions), &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view, &again);

        ScopedAlertPresenter alerts;
        alerts->answers = answers;
        QDropEvent drop(centre, Qt::DropActions(actions), &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view, &drop);
        QVERIFY(drop.isAccepted());
        QVERIFY(!view->isHighlighted());
        QCOMPARE(messages(alerts->alerts), asked);
    }
    QCOMPARE(colorOf(controller_->sourceImage()), shown);
    QTRY_COMPARE(view->image(), controller_->sourceImage());
    // A dropped picture has no file the window records.
    QCOMPARE(controller_->currentImageFileURL(), green_);
}

// Dragging out of the view offers the icon files at once and writes them meanwhile; whoever
// reads the drag's data finds them complete.
void TestClipboard::dragOutOffersTheWrittenFiles()
{
    const QString scratch = path(QStringLiteral("tmp/co.velmora.IconFoundry/drag"));
    std::unique_ptr<QMimeData> data(controller_->mimeDataForDrag());
    QVERIFY(data);
    const QStringList names{"Icon-20@2x.png", "Icon-60@3x.png", "Icon-76@2x.png"};
    QList<QUrl> expected;
    for (const QString& name : names)
        expected.append(QUrl::fromLocalFile(scratch + '/' + name));
    QCOMPARE(data->urls(), expected);
    QCOMPARE(namesIn(scratch), names);
    const QList<int> sides{40, 180, 152};
    for (qsizetype i = 0; i < names.size(); ++i)
        QCOMPARE(QImageReader(scratch + '/' + names[i]).size(), QSize(sides[i], sides[i]));
    QTRY_VERIFY(!controller_->isWriting());

    // Nothing ticked: no drag, and the status bar says why.
    controller_->setSelectedImageCategores({});
    QVERIFY(!controller_->mimeDataForDrag());
    QCOMPARE(controller_->window()->statusBar()->currentMessage(),
             QStringLiteral("No icon sizes are chosen."));
}

void TestClipboard::dragsThroughTheXServer_data()
{
    QTest::addColumn<bool>("out"); // from the view to another window; else from another window in
    QTest::newRow("icons dragged out of the view") << true;
    QTest::newRow("a file dropped on the view") << false;
}

// The same two drags as above, now made with the pointer on the X server: Qt's XDND machinery
// carries the data between the windows.
void TestClipboard::dragsThroughTheXServer()
{
    QFETCH(bool, out);
    if (QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty())
        QSKIP("needs xdotool (scripts/setup.sh)");
    DragDropImageView* view = controller_->imageView();
    QTRY_COMPARE(view->image(), controller_->sourceImage());
    controller_->window()->move(0, 0);
    const QPoint viewCentre = view->mapToGlobal(view->rect().center());

    const QString blue = writeImage(path(QStringLiteral("blue.png")), 1024, 1024, Qt::blue);
    DropRecorder recorder;
    FileDragSource source(QUrl::fromLocalFile(blue));
    QWidget* other = out ? static_cast<QWidget*>(&recorder) : &source;
    QVERIFY(showAt(other, QPoint(controller_->window()->frameGeometry().right() + 40, 100)));
    const QPoint otherCentre = other->mapToGlobal(other->rect().center());

    QProcess xdotool;
    startPointerDrag(xdotool, out ? viewCentre : otherCentre, out ? otherCentre : viewCentre);
    QVERIFY(xdotool.waitForStarted(5000));
    if (out) {
        const QString scratch = path(QStringLiteral("tmp/co.velmora.IconFoundry/drag"));
        const QList<QUrl> expected{QUrl::fromLocalFile(scratch + "/Icon-20@2x.png"),
                                   QUrl::fromLocalFile(scratch + "/Icon-60@3x.png"),
                                   QUrl::fromLocalFile(scratch + "/Icon-76@2x.png")};
        QTRY_COMPARE_WITH_TIMEOUT(recorder.urls, expected, 15000);
        QTRY_VERIFY(!controller_->isWriting());
        QCOMPARE(QImageReader(expected[1].toLocalFile()).size(), QSize(180, 180));
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(colorOf(controller_->sourceImage()), QColor(Qt::blue), 15000);
        QVERIFY(!view->isHighlighted());
    }
    if (xdotool.state() != QProcess::NotRunning)
        QVERIFY(xdotool.waitForFinished(10000));
    QCOMPARE(xdotool.exitCode(), 0);
}

QTEST_MAIN(TestClipboard)
#include "tst_clipboard.moc"
