#include "iconset/sourceimagenotificationcenter.h"
#include "mainwindow/helper_capturinglogger.h"
#include "platform/bundle.h"
#include "previews/messagesscreenwindowcontroller.h"
#include "previews/padscreenwindowcontroller.h"
#include "previews/phonescreenwindowcontroller.h"
#include "previews/previewimageview.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;

namespace {

QString fixtures()
{
    return qEnvironmentVariable("ICONFOUNDRY_TEST_DATA") + QStringLiteral("/previews");
}

ImagePtr solidImage(int width, int height)
{
    QImage bitmap(width, height, QImage::Format_ARGB32_Premultiplied);
    bitmap.fill(Qt::darkCyan);
    return Image::fromQImage(bitmap);
}

// The fixture screens (tests/data/previews), by window: phone 0 "Grid" (24 slots of 60 x 60,
// a watch icon), phone 1 "Six" (50 x 100); pad 0 "Three" (60 x 60), pad 1 (40 x 30);
// messages 0 (74 x 55), messages 1 (60 x 57).
std::unique_ptr<BaseScreenImageWindowController> makeController(const QString& kind)
{
    if (kind == QLatin1String("phone"))
        return std::make_unique<PhoneScreenWindowController>();
    if (kind == QLatin1String("pad"))
        return std::make_unique<PadScreenWindowController>();
    return std::make_unique<MessagesScreenWindowController>();
}

void selectSegment(BaseScreenImageWindowController& controller, int segment)
{
    if (controller.selectedSegment() != segment)
        controller.segmentedControl()->button(segment)->click();
}

} // namespace

class TestPreviewWindows : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Bundle::setResourceDirectory(fixtures());
        BaseScreenImageWindowController::setCurrentSlotIndex(0);
    }
    void cleanup() { Bundle::setResourceDirectory(QString()); }

    void segmentsFollowTheLayout_data();
    void segmentsFollowTheLayout();
    void cropsOnlyWhenProportionsDiffer_data();
    void cropsOnlyWhenProportionsDiffer();
    void placesIconsFromTheBottom_data();
    void placesIconsFromTheBottom();
    void nextWraps_data();
    void nextWraps();
    void switchingScreensDrawsAFreshSlot();
    void followsNewSourceImages();
    void missingDefinitionsLeaveAWindowThatDoesNothing();
};

void TestPreviewWindows::segmentsFollowTheLayout_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("nib");
    QTest::addColumn<int>("segments");
    QTest::newRow("phone") << "phone"
                           << "PhoneScreenWindowController" << 2;
    QTest::newRow("pad") << "pad"
                         << "PadScreenWindowController" << 2;
    QTest::newRow("messages") << "messages"
                              << "MessagesScreenWindowController" << 2;
}

void TestPreviewWindows::segmentsFollowTheLayout()
{
    QFETCH(QString, kind);
    QFETCH(QString, nib);
    QFETCH(int, segments);
    auto controller = makeController(kind);
    QCOMPARE(controller->windowNibName(), nib);
    QVERIFY(controller->window());
    QVERIFY(controller->backgroundImageView() && controller->appIconImageView() &&
            controller->watchIconImageView() && controller->nextButton());
    QCOMPARE(controller->segmentedControl()->buttons().size(), segments);
    QCOMPARE(controller->selectedSegment(), 0);
    for (int i = 0; i < segments; ++i)
        QCOMPARE(controller->segmentedControl()->button(i)->objectName(), QStringLiteral("segment%1").arg(i));
}

void TestPreviewWindows::cropsOnlyWhenProportionsDiffer_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("segment");
    QTest::addColumn<QSize>("source"); // empty: no image
    QTest::addColumn<bool>("unchanged");
    QTest::addColumn<QSize>("shown");

    QTest::newRow("square on 60 x 60") << "phone" << 0 << QSize(100, 100) << true << QSize(100, 100);
    // trunc(55 / 74 x 10) = 7: the full width, rows 12 to 87 of the centre.
    QTest::newRow("square on 74 x 55") << "messages" << 0 << QSize(100, 100) << false << QSize(100, 76);
    QTest::newRow("1024 x 768 on 40 x 30") << "pad" << 1 << QSize(1024, 768) << true << QSize(1024, 768);
    // trunc(57 / 60 x 10) = 9 against 10: cut although nearly square.
    QTest::newRow("square on 60 x 57") << "messages" << 1 << QSize(100, 100) << false << QSize(100, 96);
    QTest::newRow("100 x 95 on 60 x 57") << "messages" << 1 << QSize(100, 95) << true << QSize(100, 95);
    // The tall cut reaches outside the image on both sides and comes back whole.
    QTest::newRow("square on 50 x 100") << "phone" << 1 << QSize(100, 100) << false << QSize(100, 100);
    QTest::newRow("no image, square slot") << "phone" << 0 << QSize() << true << QSize();
    QTest::newRow("no image, wide slot") << "messages" << 0 << QSize() << true << QSize();
}

void TestPreviewWindows::cropsOnlyWhenProportionsDiffer()
{
    QFETCH(QString, kind);
    QFETCH(int, segment);
    QFETCH(QSize, source);
    QFETCH(bool, unchanged);
    QFETCH(QSize, shown);
    auto controller = makeController(kind);
    const ImagePtr image = source.isEmpty() ? nullptr : solidImage(source.width(), source.height());
    controller->setSourceImage(image);
    controller->window();
    selectSegment(*controller, segment);

    const ImagePtr& onScreen = controller->appIconImageView()->image();
    QCOMPARE(onScreen == image, unchanged);
    QCOMPARE(onScreen ? onScreen->pixelSize() : QSize(), shown);
    if (controller->watchIconImageView()->isVisibleTo(controller->window()))
        QCOMPARE(controller->watchIconImageView()->image(), image);
}

void TestPreviewWindows::placesIconsFromTheBottom_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("segment");
    QTest::addColumn<quint32>("slot");
    QTest::addColumn<QRect>("appFrame");
    QTest::addColumn<double>("appRadius");
    QTest::addColumn<QRect>("watchFrame"); // empty: hidden

    // The phone's background is 620 high at the top of the window; y counts up from its bottom.
    QTest::newRow("phone grid, first slot")
        << "phone" << 0 << 0u << QRect(0, 540, 60, 60) << 13.0 << QRect(250, 20, 40, 40);
    QTest::newRow("phone grid, slot 5")
        << "phone" << 0 << 5u << QRect(70, 460, 60, 60) << 13.0 << QRect(250, 20, 40, 40);
    QTest::newRow("phone grid, last slot")
        << "phone" << 0 << 23u << QRect(210, 140, 60, 60) << 13.0 << QRect(250, 20, 40, 40);
    QTest::newRow("phone six, slot 4") << "phone" << 1 << 4u << QRect(20, 320, 50, 100) << 8.0 << QRect();
    QTest::newRow("pad three, slot 2") << "pad" << 0 << 2u << QRect(150, 380, 60, 60) << 12.0 << QRect();
}

void TestPreviewWindows::placesIconsFromTheBottom()
{
    QFETCH(QString, kind);
    QFETCH(int, segment);
    QFETCH(quint32, slot);
    QFETCH(QRect, appFrame);
    QFETCH(double, appRadius);
    QFETCH(QRect, watchFrame);
    auto controller = makeController(kind);
    controller->setSourceImage(solidImage(64, 64));
    controller->window();
    selectSegment(*controller, segment);

    BaseScreenImageWindowController::setCurrentSlotIndex(slot);
    controller->refreshIconLocation();
    QCOMPARE(controller->appIconImageView()->geometry(), appFrame);
    QCOMPARE(controller->appIconImageView()->cornerRadius(), appRadius);
    PreviewImageView* watch = controller->watchIconImageView();
    QCOMPARE(watch->isVisibleTo(controller->window()), !watchFrame.isEmpty());
    if (!watchFrame.isEmpty()) {
        QCOMPARE(watch->geometry(), watchFrame);
        QCOMPARE(watch->cornerRadius(), 20.0);
    }
    // The rounded corners are really cut: the corner pixel is clear, the centre is not.
    const QImage shown = controller->appIconImageView()->renderedImage(2);
    QCOMPARE(shown.size(), appFrame.size() * 2);
    QCOMPARE(qAlpha(shown.pixel(0, 0)), 0);
    QCOMPARE(qAlpha(shown.pixel(appFrame.width(), appFrame.height())), 255);
}

void TestPreviewWindows::nextWraps_data()
{
    QTest::addColumn<quint32>("from");
    QTest::addColumn<quint32>("to");
    QTest::newRow("0 to 1") << 0u << 1u;
    QTest::newRow("1 to 2") << 1u << 2u;
    QTest::newRow("2 wraps to 0") << 2u << 0u;
    QTest::newRow("beyond the screen wraps to 0") << 20u << 0u;
}

void TestPreviewWindows::nextWraps()
{
    QFETCH(quint32, from);
    QFETCH(quint32, to);
    PadScreenWindowController controller; // screen 0 has three slots at x 10, 80, 150
    controller.setSourceImage(solidImage(64, 64));
    controller.window();
    BaseScreenImageWindowController::setCurrentSlotIndex(from);
    controller.nextButton()->click();
    QCOMPARE(BaseScreenImageWindowController::currentSlotIndex(), to);
    QCOMPARE(controller.appIconImageView()->x(), QList<int>({10, 80, 150}).at(to));
}

void TestPreviewWindows::switchingScreensDrawsAFreshSlot()
{
    PhoneScreenWindowController controller;
    controller.setSourceImage(solidImage(64, 64));
    controller.window();
    const QList<QRect> sixSlots = {QRect(10, 420, 50, 100), QRect(20, 420, 50, 100), QRect(30, 420, 50, 100),
                                   QRect(10, 320, 50, 100), QRect(20, 320, 50, 100), QRect(30, 320, 50, 100)};
    QSet<quint32> drawn;
    for (int round = 0; round < 60; ++round) {
        selectSegment(controller, 0);
        BaseScreenImageWindowController::setCurrentSlotIndex(20);
        controller.segmentedControl()->button(1)->click();
        const quint32 index = BaseScreenImageWindowController::currentSlotIndex();
        QVERIFY2(index < 6, qPrintable(QString::number(index)));
        QCOMPARE(controller.appIconImageView()->geometry(), sixSlots.at(index));
        drawn.insert(index);
    }
    // 60 draws leave a slot out with a chance of 6 x (5/6)^60, about 1 in 10,000.
    QCOMPARE(drawn.size(), 6);
}

void TestPreviewWindows::followsNewSourceImages()
{
    PhoneScreenWindowController phone;
    MessagesScreenWindowController messages;
    phone.window();
    messages.window();
    QVERIFY(!phone.appIconImageView()->image());

    const ImagePtr image = solidImage(100, 100);
    SourceImageNotificationCenter::defaultCenter().post(image);
    QCOMPARE(phone.sourceImage(), image);
    QCOMPARE(phone.appIconImageView()->image(), image);
    QCOMPARE(phone.watchIconImageView()->image(), image);
    QCOMPARE(messages.sourceImage(), image);
    QCOMPARE(messages.appIconImageView()->image()->pixelSize(), QSize(100, 76));

    SourceImageNotificationCenter::defaultCenter().post(nullptr);
    QVERIFY(!phone.appIconImageView()->image());
    QVERIFY(!phone.watchIconImageView()->image());
    QVERIFY(!messages.appIconImageView()->image());
}

void TestPreviewWindows::missingDefinitionsLeaveAWindowThatDoesNothing()
{
    QTemporaryDir emptyBundle;
    Bundle::setResourceDirectory(emptyBundle.path());
    ScopedCapturingLogger logger;
    PhoneScreenWindowController controller;
    controller.setSourceImage(solidImage(100, 100));
    controller.window();
    QCOMPARE(logger.linesWith(LogFlagError, {"ERROR: File not found in bundle: PhoneScreenDefinitions.plist"})
                 .size(),
             1);
    QVERIFY(controller.iconScreenDefinitions().isEmpty());
    QVERIFY(!controller.appIconImageView()->image());

    const QRect before = controller.appIconImageView()->geometry();
    BaseScreenImageWindowController::setCurrentSlotIndex(3);
    controller.nextButton()->click();
    controller.segmentedControl()->button(1)->click();
    QCOMPARE(BaseScreenImageWindowController::currentSlotIndex(), 3u);
    QCOMPARE(controller.appIconImageView()->geometry(), before);
}

QTEST_MAIN(TestPreviewWindows)
#include "tst_previewwindows.moc"
