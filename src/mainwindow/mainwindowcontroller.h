#pragma once

#include "iconset/image.h"
#include "iconset/imagecategory.h"
#include "mainwindow/sourceimage.h"

#include <QList>
#include <QObject>
#include <QUrl>
#include <functional>
#include <memory>

class QAction;
class QLabel;
class QMainWindow;
class QMenu;
class QPushButton;
namespace Ui {
class MainWindowController;
}

namespace iconfoundry {

class CategorySelection;
class ContentsJSONProcessor;
class Defaults;
class DragDropImageView;
class ImageProcessor;
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
// - Main thread only.
class MainWindowController : public QObject, public SourceImage
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
    void copy();
    void paste();

    // The window's parts (the window is loaded by asking).
    DragDropImageView* imageView();
    QLabel* imageUpdatedTextField();
    QLabel* instructions1TextField();
    QLabel* instructions2TextField();
    QPushButton* loadImageButton();
    QMenu* fileMenu();
    QMenu* editMenu();
    QMenu* openRecentMenu();
    QAction* newDocumentAction();
    QAction* openDocumentAction();
    QAction* saveDocumentAction();
    QAction* saveDocumentAsAction();
    QAction* saveDocumentToXcodeAction();
    QAction* copyAction();
    QAction* pasteAction();

private:
    void windowDidLoad();
    void connectActions();
    void rebuildCategoryCheckboxes();
    void setUpdateNoticeVisible(bool visible);
    void notYetAvailable(const char* action);

    Defaults& defaults_;
    ContentsJSONProcessor* contentsJSONProcessor_ = nullptr;
    ImageProcessor* imageProcessor_ = nullptr;
    QUrl directoryURL_;
    QUrl currentImageFileURL_;
    QUrl xcodeIconSetURL_;
    ImagePtr sourceImage_;
    // Counts setSourceImage() calls, so that only the latest one installs its image.
    quint64 imageRequest_ = 0;

    std::unique_ptr<Ui::MainWindowController> ui_;
    std::unique_ptr<QMainWindow> window_;
    std::unique_ptr<SourceFileWatch> fileWatch_;
    std::unique_ptr<RecentDocumentsMenu> recentDocumentsMenu_;
    std::unique_ptr<CategorySelection> categorySelection_;
};

} // namespace iconfoundry
