#include "mainwindow/mainwindowcontroller.h"

#include "iconset/defaultcategories.h"
#include "iconset/imageprocessor.h"
#include "iconset/imagesuitability.h"
#include "iconset/sourceimagenotificationcenter.h"
#include "logging/log.h"
#include "mainwindow/appearancewells.h"
#include "mainwindow/categoryselection.h"
#include "mainwindow/dragdropimageview.h"
#include "mainwindow/pasteboardreader.h"
#include "mainwindow/platformsetsbox.h"
#include "mainwindow/progresswindowcontroller.h"
#include "mainwindow/recentdocumentsmenu.h"
#include "mainwindow/sourcefilewatch.h"
#include "platform/defaults.h"
#include "platform/texts.h"
#include "ui/alerts.h"
#include "ui/panels.h"
#include "ui_mainwindowcontroller.h"

#include <QAction>
#include <QButtonGroup>
#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLayout>
#include <QMainWindow>
#include <QMenu>
#include <QPointer>
#include <QScreen>
#include <QStatusBar>

namespace iconfoundry {

namespace {

constexpr int kStatusMessageMilliseconds = 5000;

QString urlText(const QUrl& url)
{
    return url.toString(QUrl::FullyEncoded);
}

void makeSecondary(QWidget* widget)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    widget->setPalette(palette);
}

void scaleFont(QWidget* widget, qreal factor, QFont::Weight weight)
{
    QFont font = widget->font();
    font.setPointSizeF(font.pointSizeF() * factor);
    font.setWeight(weight);
    widget->setFont(font);
}

void keepSpaceWhenHidden(QWidget* widget)
{
    QSizePolicy policy = widget->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    widget->setSizePolicy(policy);
}

} // namespace

MainWindowController::MainWindowController(Defaults* defaults, QObject* parent)
    : QObject(parent), defaults_(defaults ? *defaults : Defaults::standardUserDefaults()),
      fileWatch_(std::make_unique<SourceFileWatch>())
{
    if (const QColor stored = QColor::fromString(defaults_.iconBackgroundColour());
        stored.isValid() && stored.alpha() == 255)
        backgroundColour_ = stored.toRgb();
    connect(fileWatch_.get(), &SourceFileWatch::reloadDue, this, [this](const QUrl& url) {
        loadImageWithContentsOfURL(url);
        // Shown even when the reload failed: the file did change.
        setUpdateNoticeVisible(true);
    });
    connect(fileWatch_.get(), &SourceFileWatch::noticeExpired, this,
            [this] { setUpdateNoticeVisible(false); });
}

MainWindowController::~MainWindowController() = default;

QMainWindow* MainWindowController::window()
{
    if (!window_) {
        // The layout's texts are looked up while it is built.
        Texts::installTranslations();
        window_ = std::make_unique<QMainWindow>();
        ui_ = std::make_unique<Ui::MainWindowController>();
        ui_->setupUi(window_.get());
        windowDidLoad();
    }
    return window_.get();
}

void MainWindowController::showWindow()
{
    QMainWindow* w = window();
    if (!w->isVisible())
        fitWindowToColumn();
    w->show();
    w->raise();
    w->activateWindow();
}

void MainWindowController::windowDidLoad()
{
    scaleFont(ui_->instructions1TextField, 1.6, QFont::DemiBold);
    makeSecondary(ui_->instructions2TextField);
    scaleFont(ui_->categoriesTitleLabel, 1.0, QFont::DemiBold);
    makeSecondary(ui_->categoriesHintLabel);
    scaleFont(ui_->categoriesHintLabel, 0.9, QFont::Normal);
    makeSecondary(ui_->imageUpdatedTextField);
    keepSpaceWhenHidden(ui_->imageUpdatedTextField);
    ui_->loadImageButton->setMinimumSize(150, 34);
    // The category list sits on the same kind of panel as the image.
    ui_->categoriesContainer->setStyleSheet(QStringLiteral(
        "#categoriesContainer { background-color: palette(base); border: 1px solid palette(mid);"
        " border-radius: 10px; }"));

    ui_->imageView->setController(this);
    ui_->imageView->setDraggingSource(this);
    connect(ui_->imageView, &DragDropImageView::dropFailed, this, [this](const QString& why) {
        showStatusMessage(Texts::text("MainWindow.Status.DropUnreadable").arg(why));
    });
    connectActions();
    rebuildCategoryCheckboxes();
    // Last in the categories' panel: their checkboxes are inserted above it whenever they are built.
    platformSetsBox_ = new PlatformSetsBox(ui_->categoriesContainer);
    ui_->categoriesLayout->addWidget(platformSetsBox_);
    platformSetsBox_->setChoice({defaults_.platformIconSets().contains(QLatin1String("android")),
                                 defaults_.platformIconSets().contains(QLatin1String("web")),
                                 defaults_.platformIconPadding(), defaults_.platformIconTrim()});
    connect(platformSetsBox_, &PlatformSetsBox::changed, this, &MainWindowController::platformSetsChanged);

    // The wells sit under the count of files, where the user looks before saving.
    appearanceWells_ = new AppearanceWells(ui_->centralwidget);
    ui_->categoryColumn->insertWidget(ui_->categoryColumn->indexOf(ui_->filesCountLabel) + 1,
                                      appearanceWells_);
    appearanceWells_->setBackgroundColour(backgroundColour_);
    appearanceWells_->setDarkImage(darkImage_);
    appearanceWells_->setTintedImage(tintedImage_);
    connect(appearanceWells_, &AppearanceWells::chooseDarkImage, this,
            &MainWindowController::chooseDarkImage);
    connect(appearanceWells_, &AppearanceWells::clearDarkImage, this, &MainWindowController::clearDarkImage);
    connect(appearanceWells_, &AppearanceWells::chooseTintedImage, this,
            &MainWindowController::chooseTintedImage);
    connect(appearanceWells_, &AppearanceWells::clearTintedImage, this,
            &MainWindowController::useTintedFromSource);
    connect(appearanceWells_, &AppearanceWells::chooseBackgroundColour, this,
            &MainWindowController::chooseBackgroundColour);
    createAppearanceMenu();

    if (auto* group = ui_->categoriesContainer->findChild<QButtonGroup*>())
        connect(group, &QButtonGroup::idToggled, this, &MainWindowController::refreshImageInfo);
    makeSecondary(ui_->filesCountLabel);
    makeSecondary(ui_->imageInfoLabel);

    restoreImageCategoryCheckboxState();
    refreshView();
}

void MainWindowController::fitWindowToColumn()
{
    // The right-hand column (the sets, the other platforms, the wells, the buttons) is taller than
    // the layout's default window: open tall enough for all of it. The sets' panel keeps its
    // height, and the window's minimum follows its layout's (which grows with the column, say
    // when an image's details add a line): the panel is never squeezed and its last rows never
    // hidden. A screen too small for that gets the
    // largest window it can hold.
    QMainWindow* w = window_.get();
    // Sizes are only right once the style (fonts, the panel's style sheet) has been applied.
    w->ensurePolished();
    w->centralWidget()->layout()->activate();
    ui_->categoriesContainer->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    w->layout()->setSizeConstraint(QLayout::SetMinimumSize);
    QSize size = w->size().expandedTo(w->sizeHint());
    if (const QScreen* screen = w->screen())
        size = size.boundedTo(screen->availableGeometry().size());
    w->resize(size);
}

void MainWindowController::connectActions()
{
    ui_->actionNewDocument->setShortcut(QKeySequence::New);
    ui_->actionOpenDocument->setShortcut(QKeySequence::Open);
    ui_->actionSaveDocument->setShortcut(QKeySequence::Save);
    // Spelled out: the platform's SaveAs sequence is empty on some desktops.
    ui_->actionSaveDocumentAs->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S));
    ui_->actionSaveDocumentToXcode->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_S));
    ui_->actionPerformClose->setShortcut(QKeySequence::Close);
    ui_->actionTerminate->setShortcut(QKeySequence::Quit);
    ui_->actionCopy->setShortcut(QKeySequence::Copy);
    ui_->actionPaste->setShortcut(QKeySequence::Paste);

    connect(ui_->actionNewDocument, &QAction::triggered, this, &MainWindowController::newDocument);
    connect(ui_->actionOpenDocument, &QAction::triggered, this, &MainWindowController::openDocument);
    connect(ui_->loadImageButton, &QPushButton::clicked, this, &MainWindowController::openDocument);
    connect(ui_->actionSaveDocument, &QAction::triggered, this, &MainWindowController::saveDocument);
    connect(ui_->actionSaveDocumentAs, &QAction::triggered, this, &MainWindowController::saveDocumentAs);
    connect(ui_->actionSaveDocumentToXcode, &QAction::triggered, this,
            &MainWindowController::saveDocumentToXcode);
    connect(ui_->actionCopy, &QAction::triggered, this, &MainWindowController::copy);
    // The buttons are the menu commands in plain sight: they run and are enabled alike.
    connect(ui_->saveAsButton, &QPushButton::clicked, ui_->actionSaveDocumentAs, &QAction::trigger);
    connect(ui_->saveToXcodeButton, &QPushButton::clicked, ui_->actionSaveDocumentToXcode, &QAction::trigger);
    ui_->saveAsButton->setEnabled(ui_->actionSaveDocumentAs->isEnabled());
    ui_->saveToXcodeButton->setEnabled(ui_->actionSaveDocumentToXcode->isEnabled());
    connect(ui_->actionSaveDocumentAs, &QAction::enabledChanged, ui_->saveAsButton, &QWidget::setEnabled);
    connect(ui_->actionSaveDocumentToXcode, &QAction::enabledChanged, ui_->saveToXcodeButton,
            &QWidget::setEnabled);
    connect(ui_->actionPaste, &QAction::triggered, this, &MainWindowController::paste);
    addPlatformIconActions();
    connect(ui_->actionPerformClose, &QAction::triggered, window_.get(), &QWidget::close);
    connect(ui_->actionTerminate, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);

    // Menus are checked when they open; the state is also kept current for the shortcuts, which
    // work while the menus are closed.
    connect(ui_->menuFile, &QMenu::aboutToShow, this, &MainWindowController::validateMenuItems);
    connect(ui_->menuEdit, &QMenu::aboutToShow, this, &MainWindowController::validateMenuItems);
    if (QClipboard* clipboard = QGuiApplication::clipboard())
        connect(clipboard, &QClipboard::dataChanged, this, &MainWindowController::validateMenuItems);

    recentDocumentsMenu_ = std::make_unique<RecentDocumentsMenu>(
        ui_->menuOpenRecent, defaults_, [this](const QUrl& url) { openDocumentWithContentsOfURL(url); });
}

void MainWindowController::setImageProcessor(ImageProcessor* processor)
{
    imageProcessor_ = processor;
    if (window_) {
        rebuildCategoryCheckboxes();
        restoreImageCategoryCheckboxState();
    }
}

void MainWindowController::rebuildCategoryCheckboxes()
{
    if (!categorySelection_)
        categorySelection_ = std::make_unique<CategorySelection>(ui_->categoriesContainer);
    if (!imageProcessor_) {
        categorySelection_->buildCheckboxes({}, {});
        return;
    }
    categorySelection_->buildCheckboxes(imageProcessor_->allImageCategories(), DefaultCategories::ids());
}

// MARK: - Source image

bool MainWindowController::loadImageWithContentsOfURL(const QUrl& url)
{
    LOG_INFO("loadImageWithContentsOfURL: %s", qUtf8Printable(urlText(url)));

    if (!url.isLocalFile()) {
        LOG_ERROR("Not loading '%s': only local files can be opened", qUtf8Printable(urlText(url)));
        showStatusMessage(Texts::text("MainWindow.Status.NotLocal").arg(urlText(url)));
        return false;
    }
    Error error;
    ImagePtr image = Image::fromFile(url.toLocalFile(), &error);
    if (!image) {
        LOG_ERROR("Not loading '%s': %s", qUtf8Printable(url.toLocalFile()),
                  qUtf8Printable(error.localizedDescription));
        // Not worth an alert, but the user should not have to guess why nothing happened.
        showStatusMessage(Texts::text("MainWindow.Status.Unreadable")
                              .arg(QFileInfo(url.toLocalFile()).fileName(), error.localizedDescription));
        return false;
    }

    clearImage();
    loadingImageURL_ = url;
    setSourceImage(image);
    monitorFileForChanges(url);
    return true;
}

void MainWindowController::setSourceImage(const ImagePtr& image)
{
    LOG_INFO("setSourceImage");

    // A newer image supersedes a check still waiting for the user: only the latest request may
    // install its image, whatever order the answers come in.
    const quint64 request = ++imageRequest_;
    // Which file the image came from, for the window's caption of it; none for a paste or drop.
    const QUrl fileURL = std::exchange(loadingImageURL_, QUrl());
    QPointer<MainWindowController> self(this);
    isImageSizeProper(image, [self, image, request, fileURL](bool proper) {
        if (!self || request != self->imageRequest_)
            return;
        if (proper) {
            self->sourceImage_ = image;
            self->sourceImageURL_ = fileURL;
            QMetaObject::invokeMethod(self, &MainWindowController::refreshView, Qt::QueuedConnection);
            SourceImageNotificationCenter::defaultCenter().post(image);
        } else if (self->window_) {
            self->ui_->imageView->setImage(self->sourceImage_);
        }
    });
}

void MainWindowController::isImageSizeProper(const ImagePtr& image, std::function<void(bool)> completion)
{
    if (!image) {
        completion(true);
        return;
    }

    // The next question, asked only after the shape was accepted.
    auto askSize = [image, completion]() {
        if (ImageSuitability::isLargeEnough(*image)) {
            completion(true);
            return;
        }
        const QSize pixels = image->pixelSize();
        Alert alert;
        alert.style = Alert::Style::Warning;
        alert.messageText = Texts::text("OpenImage.ImageTooSmall.MessageText");
        alert.informativeText =
            Texts::text("OpenImage.ImageTooSmall.InformativeText").arg(pixels.width()).arg(pixels.height());
        alert.buttonTitles = {Texts::text("Button.UseAnyway"), Texts::text("Button.Cancel")};
        beginAlert(alert, [completion](int response, const Alert&) {
            completion(response != Alert::SecondButtonReturn);
        });
    };
    if (ImageSuitability::hasProperShape(*image)) {
        askSize();
        return;
    }
    Alert alert;
    alert.style = Alert::Style::Warning;
    alert.messageText = Texts::text("OpenImage.ImageNotSquare.MessageText");
    alert.informativeText = Texts::text("OpenImage.ImageNotSquare.InformativeText");
    alert.buttonTitles = {Texts::text("Button.UseAnyway"), Texts::text("Button.Cancel")};
    beginAlert(alert, [askSize, completion](int response, const Alert&) {
        if (response == Alert::SecondButtonReturn)
            completion(false);
        else
            askSize();
    });
}

void MainWindowController::clearImage()
{
    LOG_INFO("clearImage");
    // No notification: preview windows go on showing the last image.
    sourceImage_.reset();
    cancelMonitorCurrentImageFileForChanges();
    currentImageFileURL_.clear();
    refreshView();
}

void MainWindowController::newDocument()
{
    clearImage();
}

void MainWindowController::openDocument()
{
    OpenPanelOptions options;
    options.canChooseFiles = true;
    options.canChooseDirectories = false;
    options.allowsMultipleSelection = false;
    options.allowedFileTypes = PanelPresenter::readableImageFileTypes();
    options.allowedFileTypesDescription = Texts::text("OpenImage.Panel.FileTypes");
    options.title = Texts::text("OpenImage.Panel.Title");
    options.parent = window();

    QPointer<MainWindowController> self(this);
    PanelPresenter::shared().beginOpenPanel(options, [self](int response, const QList<QUrl>& urls) {
        if (!self || response != OpenPanelOptions::OKResponse || urls.size() != 1)
            return;
        self->openDocumentWithContentsOfURL(urls.first());
    });
}

bool MainWindowController::openDocumentWithContentsOfURL(const QUrl& url)
{
    if (!loadImageWithContentsOfURL(url))
        return false;
    // Recorded even when the user refused the image: the file was opened and is being watched.
    currentImageFileURL_ = url;
    defaults_.noteNewRecentDocumentURL(url);
    return true;
}

void MainWindowController::monitorFileForChanges(const QUrl& url)
{
    LOG_INFO("monitorFileForChanges: %s", qUtf8Printable(urlText(url)));
    fileWatch_->monitor(url);
}

void MainWindowController::cancelMonitorCurrentImageFileForChanges()
{
    LOG_INFO("cancelMonitorCurrentImageFileForChanges");
    fileWatch_->cancel();
}

void MainWindowController::reloadCurrentImageFile()
{
    if (loadImageWithContentsOfURL(currentImageFileURL_))
        setUpdateNoticeVisible(true);
}

void MainWindowController::refreshView()
{
    LOG_INFO("refreshView");
    if (!window_)
        return;
    ui_->imageView->setImage(sourceImage_);
    const bool empty = !sourceImage_;
    ui_->instructions1TextField->setVisible(empty);
    ui_->instructions2TextField->setVisible(empty);
    ui_->loadImageButton->setVisible(empty);
    if (empty)
        setUpdateNoticeVisible(false);
    validateMenuItems();
    refreshImageInfo();
}

void MainWindowController::refreshImageInfo()
{
    if (!window_)
        return;
    if (sourceImage_) {
        const QSize pixels = sourceImage_->pixelSize();
        const QString name = sourceImageURL_.isEmpty() ? Texts::text("MainWindow.ImageInfo.NoFile")
                                                       : QFileInfo(sourceImageURL_.toLocalFile()).fileName();
        ui_->imageInfoLabel->setText(
            Texts::text("MainWindow.ImageInfo").arg(name).arg(pixels.width()).arg(pixels.height()));
    }
    ui_->imageInfoLabel->setVisible(sourceImage_ != nullptr);
    const qsizetype files = iconFileURLs(QString(), selectedImageCategories()).size() + platformFileCount();
    ui_->filesCountLabel->setText(files == 0   ? Texts::text("MainWindow.FileCount.None")
                                  : files == 1 ? Texts::text("MainWindow.FileCount.One")
                                               : Texts::text("MainWindow.FileCount").arg(files));
}

void MainWindowController::setUpdateNoticeVisible(bool visible)
{
    if (window_)
        ui_->imageUpdatedTextField->setVisible(visible);
}

// MARK: - Categories

QList<ImageCategory> MainWindowController::selectedImageCategories()
{
    if (!imageProcessor_)
        return {};
    window();
    return categorySelection_->selectedImageCategories(imageProcessor_->allImageCategories());
}

void MainWindowController::setSelectedImageCategores(const QList<ImageCategory>& categories)
{
    window();
    categorySelection_->setSelectedImageCategories(categories);
}

void MainWindowController::restoreImageCategoryCheckboxState()
{
    window();
    categorySelection_->restore(defaults_);
}

void MainWindowController::saveImageCategoryCheckboxState()
{
    if (!imageProcessor_)
        return;
    window();
    if (!categorySelection_->save(imageProcessor_->allImageCategories(), defaults_))
        LOG_ERROR("Could not store the selected image categories in '%s'",
                  qUtf8Printable(defaults_.fileName()));
}

// MARK: - Menus

bool MainWindowController::validateMenuItem(QAction* item)
{
    if (!item || !window_)
        return true;
    // One write at a time: the commands that write wait until the current one is done.
    if (item == ui_->actionSaveDocument)
        return hasImage() && !isWriting() && (!directoryURL_.isEmpty() || !xcodeIconSetURL_.isEmpty());
    // Nothing ticked still enables these: they explain that no sizes are chosen.
    if (item == ui_->actionSaveDocumentAs || item == ui_->actionSaveDocumentToXcode ||
        item == ui_->actionCopy || item == saveAndroidIconsAction_ || item == saveWebIconsAction_)
        return hasImage() && !isWriting();
    if (item == ui_->actionPaste) {
        const QClipboard* clipboard = QGuiApplication::clipboard();
        return clipboard && PasteboardReader::canPaste(clipboard->mimeData());
    }
    return true;
}

void MainWindowController::validateMenuItems()
{
    if (!window_)
        return;
    for (QAction* action :
         {ui_->actionSaveDocument, ui_->actionSaveDocumentAs, ui_->actionSaveDocumentToXcode, ui_->actionCopy,
          ui_->actionPaste, saveAndroidIconsAction_, saveWebIconsAction_})
        if (action)
            action->setEnabled(validateMenuItem(action));
    if (clearDarkImageAction_) {
        clearDarkImageAction_->setEnabled(darkImage_ != nullptr);
        tintedFromSourceAction_->setEnabled(tintedImage_ != nullptr);
    }
}

void MainWindowController::showStatusMessage(const QString& message)
{
    if (window_)
        window_->statusBar()->showMessage(message, kStatusMessageMilliseconds);
}

// MARK: - Parts of the window

DragDropImageView* MainWindowController::imageView()
{
    window();
    return ui_->imageView;
}

QLabel* MainWindowController::imageUpdatedTextField()
{
    window();
    return ui_->imageUpdatedTextField;
}

QLabel* MainWindowController::instructions1TextField()
{
    window();
    return ui_->instructions1TextField;
}

QLabel* MainWindowController::instructions2TextField()
{
    window();
    return ui_->instructions2TextField;
}

QPushButton* MainWindowController::loadImageButton()
{
    window();
    return ui_->loadImageButton;
}

QPushButton* MainWindowController::saveAsButton()
{
    window();
    return ui_->saveAsButton;
}

QPushButton* MainWindowController::saveToXcodeButton()
{
    window();
    return ui_->saveToXcodeButton;
}

QLabel* MainWindowController::imageInfoLabel()
{
    window();
    return ui_->imageInfoLabel;
}

QLabel* MainWindowController::filesCountLabel()
{
    window();
    return ui_->filesCountLabel;
}

QMenu* MainWindowController::fileMenu()
{
    window();
    return ui_->menuFile;
}

QMenu* MainWindowController::editMenu()
{
    window();
    return ui_->menuEdit;
}

QMenu* MainWindowController::openRecentMenu()
{
    window();
    return ui_->menuOpenRecent;
}

QAction* MainWindowController::newDocumentAction()
{
    window();
    return ui_->actionNewDocument;
}

QAction* MainWindowController::openDocumentAction()
{
    window();
    return ui_->actionOpenDocument;
}

QAction* MainWindowController::saveDocumentAction()
{
    window();
    return ui_->actionSaveDocument;
}

QAction* MainWindowController::saveDocumentAsAction()
{
    window();
    return ui_->actionSaveDocumentAs;
}

QAction* MainWindowController::saveDocumentToXcodeAction()
{
    window();
    return ui_->actionSaveDocumentToXcode;
}

QAction* MainWindowController::copyAction()
{
    window();
    return ui_->actionCopy;
}

QAction* MainWindowController::pasteAction()
{
    window();
    return ui_->actionPaste;
}

QAction* MainWindowController::chooseDarkImageAction()
{
    window();
    return chooseDarkImageAction_;
}

QAction* MainWindowController::clearDarkImageAction()
{
    window();
    return clearDarkImageAction_;
}

QAction* MainWindowController::chooseTintedImageAction()
{
    window();
    return chooseTintedImageAction_;
}

QAction* MainWindowController::tintedFromSourceAction()
{
    window();
    return tintedFromSourceAction_;
}

QAction* MainWindowController::chooseBackgroundColourAction()
{
    window();
    return chooseBackgroundColourAction_;
}

AppearanceWells* MainWindowController::appearanceWells()
{
    window();
    return appearanceWells_;
}

PlatformSetsBox* MainWindowController::platformSetsBox()
{
    window();
    return platformSetsBox_;
}

} // namespace iconfoundry
