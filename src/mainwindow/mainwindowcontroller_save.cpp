// Save flows of MainWindowController: Save As, Save to Xcode and Save, the writing steps they
// share with copy and drag, and the scratch folders.
//
// Rendering and writing run on the thread pool; questions, alerts and the steps that follow them
// run on the main thread. A step hands its result to a completion instead of returning it, so a
// flow reads as a chain: question -> write -> alert with Retry -> next step.
#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"
#include "logging/log.h"
#include "mainwindow/mainwindowcontroller.h"
#include "mainwindow/progresswindowcontroller.h"
#include "mainwindow/savequestions.h"
#include "platform/bundle.h"
#include "platform/defaults.h"
#include "platform/texts.h"
#include "ui/alerts.h"
#include "ui/panels.h"
#include "ui/workspace.h"

#include <QDir>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QMainWindow>
#include <QPointer>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

namespace iconfoundry {

namespace {

using savequestions::folderPanelOptions;
using savequestions::replaceQuestion;
using savequestions::retryAlert;

// An Error that was filled in, or none: the writers leave it untouched when nothing went wrong.
std::optional<Error> filled(const Error& error)
{
    if (error.domain.isEmpty() && error.code == 0 && error.localizedDescription.isEmpty())
        return std::nullopt;
    return error;
}

} // namespace

// MARK: - Menu commands

bool MainWindowController::checkImageSizesChosen(const QList<ImageCategory>& categories)
{
    if (!categories.isEmpty())
        return true;
    Alert alert;
    alert.style = Alert::Style::Warning;
    alert.messageText = Texts::text("SaveDocument.NoImageSizes.MessageText");
    alert.informativeText = Texts::text("SaveDocument.NoImageSizes.InformativeText");
    beginAlert(alert, [](int, const Alert&) {});
    return false;
}

void MainWindowController::saveDocumentAs()
{
    if (!hasImage() || isWriting() || !checkImageSizesChosen(selectedImageCategories()))
        return;
    QPointer<MainWindowController> self(this);
    chooseFolderAndSave(Texts::text("SaveDocument.Panel.Title"), false, [self](const QUrl& url) {
        Workspace::shared().openURL(url);
        self->directoryURL_ = url;
        self->validateMenuItems();
    });
}

void MainWindowController::chooseFolderAndSave(const QString& panelTitle, bool intoPackages,
                                               std::function<void(const QUrl&)> saved)
{
    OpenPanelOptions options = folderPanelOptions(panelTitle, window());
    options.treatsFilePackagesAsDirectories = intoPackages;
    QPointer<MainWindowController> self(this);
    PanelPresenter::shared().beginOpenPanel(options, [self, saved](int response, const QList<QUrl>& urls) {
        if (!self || response != OpenPanelOptions::OKResponse || urls.size() != 1)
            return;
        const QUrl url = urls.first();
        self->saveImageFilesToURL(url, [self, url, saved](bool ok) {
            if (self && ok)
                saved(url);
        });
    });
}

void MainWindowController::saveDocumentToXcode()
{
    if (!hasImage() || isWriting() || !checkImageSizesChosen(selectedImageCategories()))
        return;
    QPointer<MainWindowController> self(this);
    auto choose = [self] {
        if (!self)
            return;
        self->chooseFolderAndSave(Texts::text("SaveDocumentXcode.Panel.Title"), true,
                                  [self](const QUrl& url) {
                                      // Remembered even if the catalogue question is cancelled: the icons are
                                      // there.
                                      self->xcodeIconSetURL_ = url;
                                      self->validateMenuItems();
                                      self->saveContentsJSONToURL(url);
                                  });
    };
    if (defaults_.saveToXcodeAlertSuppression()) {
        choose();
        return;
    }
    Alert alert;
    alert.style = Alert::Style::Informational;
    alert.messageText = Texts::text("SaveToXcode.Instructions.MessageText");
    alert.informativeText = Texts::text("SaveToXcode.Instructions.InformativeText");
    alert.showsSuppressionButton = true;
    alert.suppressionButtonTitle = Texts::text("Alert.Suppression");
    beginAlert(alert, [self, choose](int, const Alert& answered) {
        if (!self)
            return;
        if (answered.suppressionButtonChecked) {
            self->defaults_.setSaveToXcodeAlertSuppression(true);
            self->defaults_.synchronize();
        }
        choose();
    });
}

void MainWindowController::saveDocument()
{
    if (!hasImage() || isWriting())
        return;
    QPointer<MainWindowController> self(this);
    if (!xcodeIconSetURL_.isEmpty()) {
        const QUrl url = xcodeIconSetURL_;
        saveImageFilesUnconditionallyToURL(url, [self, url](bool saved) {
            if (self && saved)
                self->saveContentsJSONUnconditionallyToURL(url);
        });
    } else if (!directoryURL_.isEmpty()) {
        saveImageFilesUnconditionallyToURL(directoryURL_);
    }
}

// MARK: - Writing steps

void MainWindowController::saveImageFilesToURL(const QUrl& url, std::function<void(bool)> completion)
{
    saveImageCategoryCheckboxState();
    const QList<ImageCategory> categories = selectedImageCategories();
    const QString path = url.toLocalFile();
    const std::optional<QStringList> existing =
        imageProcessor_ ? imageProcessor_->fileNamesThatExistForCategories(categories, path) : std::nullopt;
    if (!existing) {
        saveImageFilesUnconditionallyToURL(url, std::move(completion));
        return;
    }
    QPointer<MainWindowController> self(this);
    beginAlert(replaceQuestion(Texts::text("SaveImageFiles.FilesExist.MessageText"),
                               Texts::text("SaveImageFiles.FilesExist.InformativeText"), path, *existing),
               [self, url, completion](int response, const Alert&) {
                   if (self && response == Alert::FirstButtonReturn)
                       self->saveImageFilesUnconditionallyToURL(url, completion);
                   else if (completion)
                       completion(false);
               });
}

void MainWindowController::saveImageFilesUnconditionallyToURL(const QUrl& url,
                                                              std::function<void(bool)> completion)
{
    // A save that asks nothing would otherwise pass without a sign: the status bar says where the
    // icons went.
    const QList<ImageCategory> categories = selectedImageCategories();
    const qsizetype files = iconFileURLs(QString(), categories).size();
    QPointer<MainWindowController> self(this);
    writeIconFiles(url, categories, [self, url, files, completion = std::move(completion)](bool saved) {
        if (self && saved)
            self->showStatusMessage(Texts::text("MainWindow.Status.Saved")
                                        .arg(files)
                                        .arg(QDir::toNativeSeparators(url.toLocalFile())));
        if (completion)
            completion(saved);
    });
}

QFuture<MainWindowController::WriteResult>
MainWindowController::writeIconFiles(const QUrl& url, const QList<ImageCategory>& categories,
                                     std::function<void(bool)> completion)
{
    ImageProcessor* processor = imageProcessor_;
    if (!processor) {
        if (completion)
            completion(false);
        return QtFuture::makeReadyFuture(WriteResult{});
    }
    // The workers get their own copy: rendering sets the nominal size of the image it draws from,
    // and the window's image may be replaced while they run.
    const ImagePtr image = sourceImage_ ? std::make_shared<Image>(*sourceImage_) : nullptr;
    const QString path = url.toLocalFile();
    // The catalogue is loaded lazily and without a lock: load it here, before the workers read it.
    processor->allImageSizes();

    QPointer<MainWindowController> self(this);
    return beginWrite(
        [processor, image, categories, path](const Progress& progress) {
            Error error;
            const bool ok = processor->resizeAndSaveImage(image, categories, path, &error, progress);
            return WriteResult{ok, filled(error)};
        },
        [self, url, categories, completion](const WriteResult& result) {
            if (!self)
                return;
            if (!result.error) {
                if (completion)
                    completion(result.ok);
                return;
            }
            LOG_ERROR("Error during resizeAndSaveImage: %s",
                      qUtf8Printable(result.error->localizedDescription));
            const bool ok = result.ok;
            beginAlert(retryAlert(Texts::text("SaveImageFiles.Error"), *result.error),
                       [self, url, categories, completion, ok](int response, const Alert&) {
                           if (self && response == Alert::FirstButtonReturn)
                               self->writeIconFiles(url, categories, completion);
                           else if (completion)
                               completion(ok);
                       });
        });
}

void MainWindowController::saveContentsJSONToURL(const QUrl& url, std::function<void()> completion)
{
    const QList<ImageCategory> categories = selectedImageCategories();
    const QString path = url.toLocalFile();
    std::optional<QList<ImageSize>> existing;
    if (contentsJSONProcessor_)
        existing = contentsJSONProcessor_->imageJSONThatExistForCategories(categories, path);
    if (!existing) {
        saveContentsJSONUnconditionallyToURL(url, std::move(completion));
        return;
    }
    QStringList descriptions;
    for (const ImageSize& size : std::as_const(*existing))
        descriptions.append(size.description());
    QPointer<MainWindowController> self(this);
    beginAlert(replaceQuestion(Texts::text("SaveContentsJSON.ImagesExist.MessageText"),
                               Texts::text("SaveContentsJSON.ImagesExist.InformativeText"), path,
                               descriptions),
               [self, url, completion](int response, const Alert&) {
                   if (self && response == Alert::FirstButtonReturn)
                       self->saveContentsJSONUnconditionallyToURL(url, completion);
                   else if (completion)
                       completion();
               });
}

void MainWindowController::saveContentsJSONUnconditionallyToURL(const QUrl& url,
                                                                std::function<void()> completion)
{
    ContentsJSONProcessor* processor = contentsJSONProcessor_;
    if (!processor) {
        if (completion)
            completion();
        return;
    }
    const QList<ImageCategory> categories = selectedImageCategories();
    const QString path = url.toLocalFile();
    if (ImageProcessor* images = processor->imageProcessor())
        images->allImageSizes();

    QPointer<MainWindowController> self(this);
    beginWrite(
        [processor, categories, path](const Progress&) {
            Error error;
            // Only the error counts: writing nothing for categories without sizes is no failure.
            const bool ok = processor->saveJSONforCategories(categories, path, &error);
            return WriteResult{ok, filled(error)};
        },
        [self, url, completion](const WriteResult& result) {
            if (!self)
                return;
            if (!result.error) {
                if (completion)
                    completion();
                return;
            }
            LOG_ERROR("Error during saveJSONforCategories: %s",
                      qUtf8Printable(result.error->localizedDescription));
            beginAlert(retryAlert(Texts::text("SaveContentsJSON.Error"), *result.error),
                       [self, url, completion](int response, const Alert&) {
                           if (self && response == Alert::FirstButtonReturn)
                               self->saveContentsJSONUnconditionallyToURL(url, completion);
                           else if (completion)
                               completion();
                       });
        });
}

// MARK: - Writing off the main thread

QFuture<MainWindowController::WriteResult>
MainWindowController::beginWrite(std::function<WriteResult(const Progress&)> work,
                                 std::function<void(const WriteResult&)> done)
{
    if (writing_++ == 0) {
        validateMenuItems();
        // Short writes never flash a window; long ones say what is going on.
        QPointer<MainWindowController> self(this);
        QTimer::singleShot(progressDelay_, this, [self] {
            if (self && self->isWriting() && self->window_)
                self->progressWindowController()->showWindow();
        });
    }
    // Progress is reported from the workers; the window is updated on the main thread.
    QPointer<MainWindowController> self(this);
    Progress progress = [self](int doneCount, int total) {
        QMetaObject::invokeMethod(
            self.data(),
            [self, doneCount, total] {
                if (self && self->progressWindowController_)
                    self->progressWindowController_->setProgress(doneCount, total);
            },
            Qt::QueuedConnection);
    };
    auto* watcher = new QFutureWatcher<WriteResult>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, done] {
        watcher->deleteLater();
        // The next step (often another write) begins before this one ends, so the window does
        // not flicker between the steps of one flow.
        done(watcher->result());
        endWrite();
    });
    const QFuture<WriteResult> future =
        QtConcurrent::run([work = std::move(work), progress] { return work(progress); });
    watcher->setFuture(future);
    writes_.addFuture(future);
    return future;
}

void MainWindowController::endWrite()
{
    if (--writing_ > 0)
        return;
    writes_.clearFutures();
    if (progressWindowController_)
        progressWindowController_->close();
    validateMenuItems();
}

ProgressWindowController* MainWindowController::progressWindowController()
{
    if (!progressWindowController_)
        progressWindowController_ = std::make_unique<ProgressWindowController>(window());
    return progressWindowController_.get();
}

// MARK: - Scratch folders

QString MainWindowController::createOrEraseTempDirWithName(const QString& name)
{
    const QString path =
        QDir(QDir::tempPath()).filePath(Bundle::bundleIdentifier() + QLatin1Char('/') + name);
    const QFileInfo info(path);
    if (info.exists() || info.isSymLink()) {
        removeFilesInDirectory(path);
    } else if (!QDir().mkpath(path)) {
        LOG_ERROR("Creating '%s' directory failed. Error: [%s]", qUtf8Printable(name),
                  qUtf8Printable(QStringLiteral("The folder '%1' could not be created.").arg(path)));
    }
    return QFileInfo::exists(path) ? path : QString();
}

void MainWindowController::removeFilesInDirectory(const QString& path)
{
    const QDir folder(path);
    if (!QFileInfo(path).isDir()) {
        LOG_ERROR("Getting contents of directory '%s' failed. Error: [%s]", qUtf8Printable(path),
                  qUtf8Printable(QStringLiteral("'%1' is not a readable folder.").arg(path)));
        return;
    }
    const QFileInfoList entries =
        folder.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        // A link is removed as a link: what it points to is not ours.
        QString failure;
        if (entry.isDir() && !entry.isSymLink()) {
            if (!QDir(entry.filePath()).removeRecursively())
                failure =
                    QStringLiteral("The folder '%1' could not be removed completely.").arg(entry.filePath());
        } else {
            QFile file(entry.filePath());
            if (!file.remove())
                failure = file.errorString();
        }
        if (!failure.isEmpty())
            LOG_ERROR("Removing file '%s' from path '%s' failed. Error: [%s]",
                      qUtf8Printable(entry.fileName()), qUtf8Printable(path), qUtf8Printable(failure));
    }
}

} // namespace iconfoundry
