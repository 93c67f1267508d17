// Save flows of MainWindowController: Save As, Save to Xcode and Save, the writing steps they
// share with copy and drag, and the scratch folders.
//
// Rendering and writing run on the thread pool; questions, alerts and the steps that follow them
// run on the main thread. A step hands its result to a completion instead of returning it, so a
// flow reads as a chain: question -> write -> alert with Retry -> next step.
#include "iconset/appearanceimages.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/iconsetplan.h"
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
    // A ticked Android or Web set is enough to save.
    if (!hasImage() || isWriting() ||
        (platformFileCount() == 0 && !checkImageSizesChosen(selectedImageCategories())))
        return;
    QPointer<MainWindowController> self(this);
    chooseFolder(Texts::text("SaveDocument.Panel.Title"), false, [self](const QUrl& url) {
        self->saveImageFilesToURL(url, [self, url](bool ok) {
            if (!self || !ok)
                return;
            Workspace::shared().openURL(url);
            self->directoryURL_ = url;
            self->validateMenuItems();
        });
    });
}

void MainWindowController::chooseFolder(const QString& panelTitle, bool intoPackages,
                                        std::function<void(const QUrl&)> chosen)
{
    OpenPanelOptions options = folderPanelOptions(panelTitle, window());
    options.treatsFilePackagesAsDirectories = intoPackages;
    QPointer<MainWindowController> self(this);
    PanelPresenter::shared().beginOpenPanel(options, [self, chosen](int response, const QList<QUrl>& urls) {
        if (self && response == OpenPanelOptions::OKResponse && urls.size() == 1)
            chosen(urls.first());
    });
}

void MainWindowController::saveDocumentToXcode()
{
    // No check of the ticked categories here: an icon set that has slots decides by itself.
    if (!hasImage() || isWriting())
        return;
    QPointer<MainWindowController> self(this);
    auto choose = [self] {
        if (self)
            self->chooseFolder(Texts::text("SaveDocumentXcode.Panel.Title"), true,
                               [self](const QUrl& url) { self->saveToIconSet(url); });
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

bool MainWindowController::planSave(const QUrl& url, bool iconSet, bool useTicked, IconSetPlan& plan,
                                    Error* error)
{
    if (!imageProcessor_)
        return false;
    const QList<ImageCategory> ticked = selectedImageCategories();
    return IconSetPlan::make(*imageProcessor_, url.toLocalFile(), iconSet,
                             useTicked ? ticked : QList<ImageCategory>{}, ticked, plan, error);
}

void MainWindowController::saveToIconSet(const QUrl& url)
{
    QPointer<MainWindowController> self(this);
    IconSetPlan setPlan;
    Error error;
    if (!planSave(url, true, false, setPlan, &error)) {
        if (!imageProcessor_)
            return;
        LOG_ERROR("Error reading the icon set's Contents.json: %s",
                  qUtf8Printable(error.localizedDescription));
        beginAlert(retryAlert(Texts::text("SaveContentsJSON.Error"), error),
                   [self, url](int response, const Alert&) {
                       if (self && response == Alert::FirstButtonReturn)
                           self->saveToIconSet(url);
                   });
        return;
    }
    auto save = [self, url](const IconSetPlan& plan, bool useTicked) {
        if (!self)
            return;
        if (plan.sizes().isEmpty()) {
            self->checkImageSizesChosen({});
            return;
        }
        self->saveImageCategoryCheckboxState();
        self->saveImageFiles(url, plan, [self, url, plan, useTicked](bool ok) {
            if (!self || !ok)
                return;
            // Remembered even if the catalogue question is cancelled: the icons are there.
            self->xcodeIconSetURL_ = url;
            self->xcodeUsesTickedCategories_ = useTicked;
            self->validateMenuItems();
            self->saveContentsJSON(url, plan, [self, url, plan](bool written) {
                if (self && written)
                    self->showStatusMessage(self->describeIconSetSave(url, plan));
            });
        });
    };
    const QList<ImageCategory> ticked = selectedImageCategories();
    if (setPlan.slotsFrom() != IconSetPlan::SlotsFrom::IconSet) {
        save(setPlan, true);
        return;
    }
    IconSetPlan tickedPlan;
    if (ticked.isEmpty() || !planSave(url, true, true, tickedPlan, nullptr) ||
        setPlan.fillsSameSlots(tickedPlan)) {
        save(setPlan, false);
        return;
    }
    // The set and the ticks disagree. Its own slots are what the project uses, so filling them
    // is the default; the ticks win only when the user says so.
    Alert question;
    question.style = Alert::Style::Warning;
    question.messageText = Texts::text("SaveToXcode.SetHasSlots.MessageText").arg(setPlan.sizes().size());
    question.informativeText =
        Texts::text("SaveToXcode.SetHasSlots.InformativeText").arg(tickedPlan.sizes().size());
    question.buttonTitles = {Texts::text("Button.FillItsSlots"), Texts::text("Button.UseTickedCategories"),
                             Texts::text("Button.Cancel")};
    beginAlert(question, [save, setPlan, tickedPlan](int response, const Alert&) {
        if (response == Alert::FirstButtonReturn)
            save(setPlan, false);
        else if (response == Alert::SecondButtonReturn)
            save(tickedPlan, true);
    });
}

QString MainWindowController::describeIconSetSave(const QUrl& url, const IconSetPlan& plan) const
{
    const QString folder = QDir::toNativeSeparators(url.toLocalFile());
    QString text =
        plan.slotsFrom() == IconSetPlan::SlotsFrom::IconSet
            ? Texts::text("MainWindow.Status.FilledSetSlots")
                  .arg(plan.sizes().size())
                  .arg(folder)
                  .arg(plan.files().size())
                  .arg(plan.refreshedFiles().size())
            : Texts::text("MainWindow.Status.SavedWithContentsJSON").arg(plan.files().size()).arg(folder);
    return text + opaqueNote(plan);
}

QString MainWindowController::opaqueNote(const IconSetPlan& plan) const
{
    const QStringList opaque = plan.opaqueSlots();
    if (opaque.isEmpty() || !sourceImage_ || !AppearanceImages::hasTransparency(*sourceImage_))
        return QString();
    return QLatin1Char(' ') + Texts::text("MainWindow.Status.OpaqueOverBackground")
                                  .arg(backgroundColour_.name(), opaque.join(QStringLiteral(", ")));
}

void MainWindowController::saveDocument()
{
    if (!hasImage() || isWriting())
        return;
    QPointer<MainWindowController> self(this);
    if (!xcodeIconSetURL_.isEmpty()) {
        const QUrl url = xcodeIconSetURL_;
        IconSetPlan plan;
        // A Contents.json that broke since is reported by its writer, with Retry, after the icons
        // of the ticked sets are written as they would be into any folder.
        if (!planSave(url, true, xcodeUsesTickedCategories_, plan, nullptr))
            planSave(url, false, true, plan, nullptr);
        saveImageFilesUnconditionally(url, plan, [self, url, plan](bool saved) {
            if (self && saved)
                self->saveContentsJSONUnconditionally(url, plan, {});
        });
    } else if (!directoryURL_.isEmpty()) {
        // Save repeats Save As, the Android and web sets included.
        const QList<PlatformTarget> targets = tickedPlatformTargets(directoryURL_.toLocalFile());
        if (targets.isEmpty()) {
            saveImageFilesUnconditionallyToURL(directoryURL_);
            return;
        }
        IconSetPlan plan;
        planSave(directoryURL_, false, true, plan, nullptr);
        saveWithPlatformSets(directoryURL_, plan, targets, false, {});
    }
}

// MARK: - Writing steps

void MainWindowController::saveImageFilesToURL(const QUrl& url, std::function<void(bool)> completion)
{
    saveImageCategoryCheckboxState();
    IconSetPlan plan;
    planSave(url, false, true, plan, nullptr);
    const QList<PlatformTarget> targets = tickedPlatformTargets(url.toLocalFile());
    if (targets.isEmpty())
        saveImageFiles(url, plan, std::move(completion));
    else
        saveWithPlatformSets(url, plan, targets, true, std::move(completion));
}

void MainWindowController::saveImageFiles(const QUrl& url, const IconSetPlan& plan,
                                          std::function<void(bool)> completion)
{
    // Files the icon set references are its own icons: refreshing them is what the user asked.
    if (plan.existingFiles().isEmpty()) {
        saveImageFilesUnconditionally(url, plan, std::move(completion));
        return;
    }
    QPointer<MainWindowController> self(this);
    beginAlert(replaceQuestion(Texts::text("SaveImageFiles.FilesExist.MessageText"),
                               Texts::text("SaveImageFiles.FilesExist.InformativeText"), url.toLocalFile(),
                               plan.existingFiles()),
               [self, url, plan, completion](int response, const Alert&) {
                   if (self && response == Alert::FirstButtonReturn)
                       self->saveImageFilesUnconditionally(url, plan, completion);
                   else if (completion)
                       completion(false);
               });
}

void MainWindowController::saveImageFilesUnconditionallyToURL(const QUrl& url,
                                                              std::function<void(bool)> completion)
{
    IconSetPlan plan;
    planSave(url, false, true, plan, nullptr);
    saveImageFilesUnconditionally(url, plan, std::move(completion));
}

void MainWindowController::saveImageFilesUnconditionally(const QUrl& url, const IconSetPlan& plan,
                                                         std::function<void(bool)> completion)
{
    // A save that asks nothing would otherwise pass without a sign: the status bar says where the
    // icons went.
    QPointer<MainWindowController> self(this);
    writeIconFiles(url, plan, [self, url, plan, completion = std::move(completion)](bool saved) {
        if (self && saved)
            self->showStatusMessage(Texts::text("MainWindow.Status.Saved")
                                        .arg(plan.files().size())
                                        .arg(QDir::toNativeSeparators(url.toLocalFile())) +
                                    self->opaqueNote(plan));
        if (completion)
            completion(saved);
    });
}

QFuture<MainWindowController::WriteResult>
MainWindowController::writeIconFiles(const QUrl& url, const QList<ImageCategory>& categories,
                                     std::function<void(bool)> completion)
{
    IconSetPlan plan;
    if (imageProcessor_)
        IconSetPlan::make(*imageProcessor_, url.toLocalFile(), false, categories, {}, plan);
    return writeIconFiles(url, plan, std::move(completion));
}

QFuture<MainWindowController::WriteResult>
MainWindowController::writeIconFiles(const QUrl& url, const IconSetPlan& plan,
                                     std::function<void(bool)> completion)
{
    ImageProcessor* processor = imageProcessor_;
    if (!processor) {
        if (completion)
            completion(false);
        return QtFuture::makeReadyFuture(WriteResult{});
    }
    // The workers get their own copies: rendering sets the nominal size of the image it draws
    // from, and the window's images may be replaced while they run.
    const auto copy = [](const ImagePtr& image) { return image ? std::make_shared<Image>(*image) : nullptr; };
    const IconSetPlan::Sources sources{copy(sourceImage_), copy(darkImage_), copy(tintedImage_)};
    // The catalogue is loaded lazily and without a lock: load it here, before the workers read it.
    processor->allImageSizes();
    processor->setBackgroundColour(backgroundColour_);

    QPointer<MainWindowController> self(this);
    return beginWrite(
        [processor, sources, plan](const Progress& progress) {
            Error error;
            IconSetPlan::Sources complete = sources;
            if (!plan.completeSources(complete)) {
                Error::set(&error, QStringLiteral("MainWindowController"), 1,
                           Texts::text("SaveImageFiles.NoTintedImage"));
                return WriteResult{false, error};
            }
            const bool ok =
                plan.write(*processor, complete, &error,
                           [&progress](int done, int total, const QString&) { progress(done, total); });
            return WriteResult{ok, filled(error)};
        },
        [self, url, plan, completion](const WriteResult& result) {
            if (!self)
                return;
            if (result.error)
                LOG_ERROR("Error during resizeAndSaveImage: %s",
                          qUtf8Printable(result.error->localizedDescription));
            self->completeWrite(
                result, Texts::text("SaveImageFiles.Error"),
                [self, url, plan, completion] { self->writeIconFiles(url, plan, completion); }, completion,
                result.ok);
        });
}

void MainWindowController::saveContentsJSONToURL(const QUrl& url, std::function<void()> completion)
{
    IconSetPlan plan;
    const bool planned = planSave(url, true, true, plan, nullptr);
    auto done = [completion](bool) {
        if (completion)
            completion();
    };
    // A broken file is reported by the writer, with Retry.
    if (!planned)
        saveContentsJSONUnconditionallyToURL(url, std::move(completion));
    else
        saveContentsJSON(url, plan, done);
}

void MainWindowController::saveContentsJSON(const QUrl& url, const IconSetPlan& plan,
                                            std::function<void(bool)> completion)
{
    if (plan.takenSlots().isEmpty()) {
        saveContentsJSONUnconditionally(url, plan, std::move(completion));
        return;
    }
    QStringList descriptions;
    for (const ImageSize& size : plan.takenSlots())
        descriptions.append(size.description());
    QPointer<MainWindowController> self(this);
    beginAlert(replaceQuestion(Texts::text("SaveContentsJSON.ImagesExist.MessageText"),
                               Texts::text("SaveContentsJSON.ImagesExist.InformativeText"), url.toLocalFile(),
                               descriptions),
               [self, url, plan, completion](int response, const Alert&) {
                   if (self && response == Alert::FirstButtonReturn)
                       self->saveContentsJSONUnconditionally(url, plan, completion);
                   else if (completion)
                       completion(false);
               });
}

void MainWindowController::saveContentsJSONUnconditionallyToURL(const QUrl& url,
                                                                std::function<void()> completion)
{
    IconSetPlan plan;
    // A file that cannot be read is reported by the writer, which reads it again.
    if (!planSave(url, true, true, plan, nullptr))
        planSave(url, false, true, plan, nullptr);
    saveContentsJSONUnconditionally(url, plan, [completion](bool) {
        if (completion)
            completion();
    });
}

void MainWindowController::saveContentsJSONUnconditionally(const QUrl& url, const IconSetPlan& plan,
                                                           std::function<void(bool)> completion)
{
    ContentsJSONProcessor* processor = contentsJSONProcessor_;
    if (!processor) {
        if (completion)
            completion(false);
        return;
    }
    const QList<ImageSize> sizes = plan.sizes();
    const QString path = url.toLocalFile();

    QPointer<MainWindowController> self(this);
    beginWrite(
        [processor, sizes, path](const Progress&) {
            Error error;
            // Only the error counts: writing nothing for categories without sizes is no failure.
            const bool ok = processor->saveJSONforCategories(sizes, path, &error);
            return WriteResult{ok, filled(error)};
        },
        [self, url, plan, completion](const WriteResult& result) {
            if (!self)
                return;
            if (result.error)
                LOG_ERROR("Error during saveJSONforCategories: %s",
                          qUtf8Printable(result.error->localizedDescription));
            self->completeWrite(
                result, Texts::text("SaveContentsJSON.Error"),
                [self, url, plan, completion] {
                    self->saveContentsJSONUnconditionally(url, plan, completion);
                },
                completion, false);
        });
}

// MARK: - Writing off the main thread

void MainWindowController::completeWrite(const WriteResult& result, const QString& messageText,
                                         std::function<void()> retry, std::function<void(bool)> completion,
                                         bool cancelled)
{
    if (!result.error) {
        if (completion)
            completion(result.ok);
        return;
    }
    QPointer<MainWindowController> self(this);
    beginAlert(retryAlert(messageText, *result.error),
               [self, retry = std::move(retry), completion = std::move(completion), cancelled](int response,
                                                                                               const Alert&) {
                   if (self && response == Alert::FirstButtonReturn)
                       retry();
                   else if (completion)
                       completion(cancelled);
               });
}

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
