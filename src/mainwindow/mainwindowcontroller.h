#pragma once

#include "iconset/image.h"
#include "iconset/imagecategory.h"
#include "iconset/platformiconoptions.h"
#include "mainwindow/dragdropimageview.h"
#include "mainwindow/sourceimage.h"
#include "platform/error.h"

#include <QColor>
#include <QFutureSynchronizer>
#include <QList>
#include <QObject>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

class QAction;
class QLabel;
class QMainWindow;
class QMenu;
class QMimeData;
class QPushButton;
namespace Ui {
class MainWindowController;
}

namespace iconfoundry {

class AppearanceWells;
class CategorySelection;
class ContentsJSONProcessor;
class Defaults;
class IconFilePlan;
class IconSetPlan;
class ImageProcessor;
class PlatformSetsBox;
class ProgressWindowController;
class RecentDocumentsMenu;
class SourceFileWatch;

// The main window: owns the single source image every icon is generated from, shows it, checks
// new images with the user, watches the file it came from, keeps the category checkboxes and
// says which menu commands apply.
//
// - Ownership: the controller owns its window (built from mainwindowcontroller.ui on first
//   access of window(), never released before the controller) and its helpers. It does not own
//   the processors or the defaults; the application keeps them alive for the controller's life.
// - Every accepted image is posted as NewSourceImageNotification, synchronously, before the
//   view refreshes on a later turn of the event loop.
// - Questions go through the alert seam and the open panel through the panel seam, so every flow
//   can run without a display.
// - Icons are rendered and written on the thread pool, from a private copy of the source image;
//   every question, alert and result comes back on the main thread, so the window never freezes.
//   While a write runs the commands that write are disabled, and a write that takes longer than
//   progressDelay() shows the progress window.
// - Main thread only.
class MainWindowController : public QObject, public SourceImage, public DraggingSource
{
    Q_OBJECT

public:
    // Settings come from defaults, or the standard user defaults when null.
    explicit MainWindowController(Defaults* defaults = nullptr, QObject* parent = nullptr);
    ~MainWindowController() override;

    // The window, loaded on first access.
    QMainWindow* window();
    bool isWindowLoaded() const { return window_ != nullptr; }
    void showWindow();

    ContentsJSONProcessor* contentsJSONProcessor() const { return contentsJSONProcessor_; }
    void setContentsJSONProcessor(ContentsJSONProcessor* processor) { contentsJSONProcessor_ = processor; }
    ImageProcessor* imageProcessor() const { return imageProcessor_; }
    // Also rebuilds the category checkboxes of a loaded window from the new catalogue.
    void setImageProcessor(ImageProcessor* processor);

    QUrl directoryURL() const { return directoryURL_; }
    void setDirectoryURL(const QUrl& url) { directoryURL_ = url; }
    QUrl currentImageFileURL() const { return currentImageFileURL_; }
    void setCurrentImageFileURL(const QUrl& url) { currentImageFileURL_ = url; }
    QUrl xcodeIconSetURL() const { return xcodeIconSetURL_; }
    void setXcodeIconSetURL(const QUrl& url) { xcodeIconSetURL_ = url; }
    ImagePtr sourceImage() const { return sourceImage_; }

    // Source image lifecycle.
    //
    // Decodes url and, when that works, replaces the image: clearImage(), setSourceImage(),
    // monitorFileForChanges(). True when the file decoded, even when the user then refused the
    // image. A file that does not decode changes nothing and is logged with the reason.
    bool loadImageWithContentsOfURL(const QUrl& url);
    // Keeps image once isImageSizeProper() accepts it, posts NewSourceImageNotification and
    // refreshes the view later; a refused image leaves everything as it was. The questions are
    // answered later: a newer call made meanwhile wins, and the older answer is ignored.
    void setSourceImage(const ImagePtr& image) override;
    // Asks about a shape that is neither square nor 4:3 landscape (in pixels), then about fewer
    // than 1024 x 768 pixels; completion gets false when the user cancels either question. Returns
    // at once; completion runs at once when nothing needs asking.
    void isImageSizeProper(const ImagePtr& image, std::function<void(bool)> completion);
    void clearImage();
    void newDocument();
    bool hasImage() const { return sourceImage_ != nullptr; }
    // Begins the open panel; a single chosen file is loaded, recorded and remembered as recent.
    void openDocument();
    // Opens url as if chosen in the open panel (also used by Open Recent).
    bool openDocumentWithContentsOfURL(const QUrl& url);
    void monitorFileForChanges(const QUrl& url);
    void cancelMonitorCurrentImageFileForChanges();
    void reloadCurrentImageFile();
    void refreshView();

    // What the icons need besides the main image. Without a dark image the dark slots get the
    // main image; without a tinted image the tinted slots get a grey image made from it. The
    // background colour shows through the transparent parts of the icons that must be opaque
    // (App Store icons, the single-size iOS icon); it is kept in the defaults.
    ImagePtr darkImage() const { return darkImage_; }
    void setDarkImage(const ImagePtr& image);
    ImagePtr tintedImage() const { return tintedImage_; }
    void setTintedImage(const ImagePtr& image);
    QColor backgroundColour() const { return backgroundColour_; }
    void setBackgroundColour(const QColor& colour);
    // Menu commands: an open panel for the image, the colour panel for the colour.
    void chooseDarkImage();
    void chooseTintedImage();
    void chooseBackgroundColour();
    void clearDarkImage() { setDarkImage(nullptr); }
    void useTintedFromSource() { setTintedImage(nullptr); }

    // Categories.
    QList<ImageCategory> selectedImageCategories();
    // Ticks exactly the boxes of categories (the name is spelled this way on purpose).
    void setSelectedImageCategores(const QList<ImageCategory>& categories);
    void restoreImageCategoryCheckboxState();
    // Stores the ticked categories; called whenever icons are written.
    void saveImageCategoryCheckboxState();

    // Menu validation: whether item applies now. Updates no state.
    bool validateMenuItem(QAction* item);
    // Sets the enabled state of every menu command from validateMenuItem().
    void validateMenuItems();

    // Save flows and the clipboard, enabled by validateMenuItem().
    void saveDocument();
    void saveDocumentAs();
    void saveDocumentToXcode();
    // The Android launcher icons into a res folder, and the web icons into a web project's folder
    // (its manifest merged), chosen in a folder panel; files that would change are asked about
    // first. Drawn over the window's background colour, with the padding and trim of the Other
    // Platforms group.
    void saveAndroidIcons();
    void saveWebIcons();
    void copy();
    void paste();
    // The data of a drag out of the image view: the URLs of the icon files, written into the
    // scratch folder "drag" while the drag goes on; reading the data waits until they are
    // written. nullptr, with a word in the status bar, when there is nothing to drag.
    QMimeData* mimeDataForDrag() override;

    // Writing steps; each completes on the main thread, after any question or alert it raised was
    // answered. Images are written with the ticked categories of the moment the step starts.
    //
    // Stores the ticked categories, asks before replacing files that exist, then writes. With
    // Android or Web ticked their sets go into android/res and web in the same folder, and the one
    // question lists the files of every set.
    void saveImageFilesToURL(const QUrl& url, std::function<void(bool)> completion = {});
    // Writes the icon files; a failure is shown with Retry and Cancel, and Cancel completes with
    // what the writer returned.
    void saveImageFilesUnconditionallyToURL(const QUrl& url, std::function<void(bool)> completion = {});
    // Asks before replacing entries that Contents.json holds for other files, then writes it.
    void saveContentsJSONToURL(const QUrl& url, std::function<void()> completion = {});
    void saveContentsJSONUnconditionallyToURL(const QUrl& url, std::function<void()> completion = {});
    // True while icons or Contents.json are being written.
    bool isWriting() const { return writing_ > 0; }

    // Scratch folders: <temp>/<bundle identifier>/<name>, made or emptied; the path, or empty
    // when the folder cannot be made.
    static QString createOrEraseTempDirWithName(const QString& name);
    // Deletes everything in the folder at path (the folder stays); failures are logged and the
    // next entry is tried.
    static void removeFilesInDirectory(const QString& path);

    // How long a write runs before the progress window appears (500 ms unless changed).
    int progressDelay() const { return progressDelay_; }
    void setProgressDelay(int milliseconds) { progressDelay_ = milliseconds; }
    ProgressWindowController* progressWindowController();

    // The window's parts (the window is loaded by asking).
    DragDropImageView* imageView();
    QLabel* imageUpdatedTextField();
    QLabel* instructions1TextField();
    QLabel* instructions2TextField();
    QPushButton* loadImageButton();
    QPushButton* saveAsButton();
    QPushButton* saveToXcodeButton();
    QLabel* imageInfoLabel();
    QLabel* filesCountLabel();
    QMenu* fileMenu();
    QMenu* editMenu();
    QMenu* openRecentMenu();
    QAction* newDocumentAction();
    QAction* openDocumentAction();
    QAction* saveDocumentAction();
    QAction* saveDocumentAsAction();
    QAction* saveDocumentToXcodeAction();
    QAction* saveAndroidIconsAction() { return saveAndroidIconsAction_; }
    QAction* saveWebIconsAction() { return saveWebIconsAction_; }
    QAction* copyAction();
    QAction* pasteAction();
    QAction* chooseDarkImageAction();
    QAction* clearDarkImageAction();
    QAction* chooseTintedImageAction();
    QAction* tintedFromSourceAction();
    QAction* chooseBackgroundColourAction();
    AppearanceWells* appearanceWells();
    PlatformSetsBox* platformSetsBox();

private:
    void windowDidLoad();
    void fitWindowToColumn();
    void connectActions();
    void rebuildCategoryCheckboxes();
    void setUpdateNoticeVisible(bool visible);
    // The image's file name and pixel size, and how many files the ticked sets write.
    void refreshImageInfo();
    void showStatusMessage(const QString& message);

    // What a write on the thread pool hands back.
    struct WriteResult
    {
        bool ok = false;
        std::optional<Error> error;
    };
    using Progress = std::function<void(int done, int total)>;
    // Runs work on the thread pool (with a progress callback safe to call there) and done on the
    // main thread with its result.
    QFuture<WriteResult> beginWrite(std::function<WriteResult(const Progress&)> work,
                                    std::function<void(const WriteResult&)> done);
    // Writes the icons of categories into path on the thread pool; a failure is shown with Retry.
    QFuture<WriteResult> writeIconFiles(const QUrl& url, const QList<ImageCategory>& categories,
                                        std::function<void(bool)> completion);
    QFuture<WriteResult> writeIconFiles(const QUrl& url, const IconSetPlan& plan,
                                        std::function<void(bool)> completion);
    void endWrite();
    // After a write: completion(ok) when it reported no error; otherwise the error is shown with
    // Retry, which runs retry, and Cancel, which completes with cancelled.
    void completeWrite(const WriteResult& result, const QString& messageText, std::function<void()> retry,
                       std::function<void(bool)> completion, bool cancelled);
    // The plan of a save into url: a plain folder with the ticked categories, or an icon set
    // whose own slots decide unless useTicked. False with the error for a broken Contents.json.
    bool planSave(const QUrl& url, bool iconSet, bool useTicked, IconSetPlan& plan, Error* error);
    // Save to Xcode once the folder is chosen: asks which slots to fill when the set's differ from
    // the ticked ones, then writes the icons and Contents.json.
    void saveToIconSet(const QUrl& url);
    void saveImageFiles(const QUrl& url, const IconSetPlan& plan, std::function<void(bool)> completion);
    void saveImageFilesUnconditionally(const QUrl& url, const IconSetPlan& plan,
                                       std::function<void(bool)> completion);
    // Complete with whether Contents.json was written.
    void saveContentsJSON(const QUrl& url, const IconSetPlan& plan, std::function<void(bool)> completion);
    void saveContentsJSONUnconditionally(const QUrl& url, const IconSetPlan& plan,
                                         std::function<void(bool)> completion);
    // What the status bar says after a Save to Xcode, and the note about transparent parts laid
    // over the background colour (empty when there are none).
    QString describeIconSetSave(const QUrl& url, const IconSetPlan& plan) const;
    QString opaqueNote(const IconSetPlan& plan) const;
    // Loads the image of an appearance from a file chosen in the open panel.
    void chooseAppearanceImage(const QString& title, std::function<void(const ImagePtr&)> chosen);
    void createAppearanceMenu();
    // Asks for one folder with a panel titled panelTitle and hands it to chosen.
    void chooseFolder(const QString& panelTitle, bool intoPackages, std::function<void(const QUrl&)> chosen);
    // The Save Android Icons and Save Web Icons commands, added to the File menu after Save to
    // Xcode.
    void addPlatformIconActions();
    enum class Platform
    {
        Android,
        Web
    };
    void savePlatformIcons(Platform platform);
    // One Android or web set to write, and its folder.
    struct PlatformTarget
    {
        Platform platform;
        QString folder;
    };
    // The ticked Android and web sets, in folder/android/res and folder/web.
    QList<PlatformTarget> tickedPlatformTargets(const QString& folder);
    // The window's background colour with the padding and trim of the Other Platforms group.
    PlatformIconOptions platformIconOptions();
    // How many files the ticked Android and web sets write.
    int platformFileCount();
    // Draws the platform sets on the thread pool and compares them with their folders, asks once
    // (unless !ask) before changing the Apple files of applePlan that exist or platform files
    // that would change, listed relative to url, then writes the Apple files and the platform
    // sets. The status line counts them all. Completes with whether everything was written.
    void saveWithPlatformSets(const QUrl& url, const IconSetPlan& applePlan,
                              const QList<PlatformTarget>& targets, bool ask,
                              std::function<void(bool)> completion);
    using PlatformPlans = std::shared_ptr<const QList<IconFilePlan>>;
    void writeAllSets(const QUrl& url, const IconSetPlan& applePlan, const PlatformPlans& plans,
                      std::function<void(bool)> completion);
    // Writes the plans on the thread pool; a failure is shown with Retry.
    void writePlatformPlans(const PlatformPlans& plans, std::function<void(bool)> completion);
    // Stores the Other Platforms group in the defaults and counts the files again.
    void platformSetsChanged();
    // False, after telling the user, when no category is ticked.
    bool checkImageSizesChosen(const QList<ImageCategory>& categories);
    // The URLs of the icon files the categories give, in folder, each file once.
    QList<QUrl> iconFileURLs(const QString& folder, const QList<ImageCategory>& categories);

    Defaults& defaults_;
    ContentsJSONProcessor* contentsJSONProcessor_ = nullptr;
    ImageProcessor* imageProcessor_ = nullptr;
    QUrl directoryURL_;
    QUrl currentImageFileURL_;
    QUrl xcodeIconSetURL_;
    ImagePtr sourceImage_;
    QUrl sourceImageURL_;  // the file sourceImage_ was read from; empty for a paste or drop
    QUrl loadingImageURL_; // the file whose image setSourceImage() is about to check
    ImagePtr darkImage_;
    ImagePtr tintedImage_;
    QColor backgroundColour_ = QColor(255, 255, 255);
    // How the last Save to Xcode chose its slots, for Save to repeat it.
    bool xcodeUsesTickedCategories_ = false;
    AppearanceWells* appearanceWells_ = nullptr; // owned by the window
    PlatformSetsBox* platformSetsBox_ = nullptr; // owned by the window
    QMenu* appearanceMenu_ = nullptr;            // owned by the window
    QAction* chooseDarkImageAction_ = nullptr;
    QAction* clearDarkImageAction_ = nullptr;
    QAction* chooseTintedImageAction_ = nullptr;
    QAction* tintedFromSourceAction_ = nullptr;
    QAction* chooseBackgroundColourAction_ = nullptr;
    // Counts setSourceImage() calls, so that only the latest one installs its image.
    quint64 imageRequest_ = 0;

    std::unique_ptr<Ui::MainWindowController> ui_;
    std::unique_ptr<QMainWindow> window_;
    std::unique_ptr<SourceFileWatch> fileWatch_;
    std::unique_ptr<RecentDocumentsMenu> recentDocumentsMenu_;
    std::unique_ptr<CategorySelection> categorySelection_;
    std::unique_ptr<ProgressWindowController> progressWindowController_;
    QAction* saveAndroidIconsAction_ = nullptr;
    QAction* saveWebIconsAction_ = nullptr;
    int writing_ = 0;
    int progressDelay_ = 500;
    // Last member: destroyed first, so it waits for writes still running while everything they
    // report to still exists.
    QFutureSynchronizer<WriteResult> writes_;
};

} // namespace iconfoundry
