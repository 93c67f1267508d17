// Save Android Icons and Save Web Icons: the icon sets of other platforms, from the same image,
// beside the Apple ones.
//
// A chain like the other saves: folder panel -> draw every file on the thread pool and compare
// with the folder -> ask before changing files that are there -> write on the thread pool ->
// status line, or an alert with Retry.
#include "iconset/androidiconset.h"
#include "iconset/iconfileplan.h"
#include "iconset/platformiconrenderer.h"
#include "iconset/webiconset.h"
#include "logging/log.h"
#include "mainwindow/mainwindowcontroller.h"
#include "mainwindow/savequestions.h"
#include "platform/texts.h"

#include <QAction>
#include <QDir>
#include <QMainWindow>
#include <QMenu>
#include <QPointer>

namespace iconfoundry {

void MainWindowController::addPlatformIconActions()
{
    saveAndroidIconsAction_ = new QAction(Texts::text("Menu.File.SaveAndroidIcons"), window_.get());
    saveWebIconsAction_ = new QAction(Texts::text("Menu.File.SaveWebIcons"), window_.get());
    // After Save to Xcode, before what follows it in the menu.
    QMenu* menu = fileMenu();
    const QList<QAction*> actions = menu->actions();
    const qsizetype xcode = actions.indexOf(saveDocumentToXcodeAction());
    QAction* before = xcode >= 0 && xcode + 1 < actions.size() ? actions[xcode + 1] : nullptr;
    menu->insertActions(before, {saveAndroidIconsAction_, saveWebIconsAction_});
    connect(saveAndroidIconsAction_, &QAction::triggered, this, &MainWindowController::saveAndroidIcons);
    connect(saveWebIconsAction_, &QAction::triggered, this, &MainWindowController::saveWebIcons);
}

void MainWindowController::saveAndroidIcons()
{
    savePlatformIcons(Platform::Android);
}

void MainWindowController::saveWebIcons()
{
    savePlatformIcons(Platform::Web);
}

void MainWindowController::savePlatformIcons(Platform platform)
{
    if (!hasImage() || isWriting())
        return;
    const bool android = platform == Platform::Android;
    const OpenPanelOptions options = savequestions::folderPanelOptions(
        android ? Texts::text("SaveAndroidIcons.Panel.Title") : Texts::text("SaveWebIcons.Panel.Title"),
        window());
    // A private copy, as for every write: the window's image may be replaced meanwhile.
    const ImagePtr image = std::make_shared<Image>(*sourceImage_);
    PlatformIconOptions iconOptions;
    iconOptions.background = backgroundColour_;
    QPointer<MainWindowController> self(this);
    PanelPresenter::shared().beginOpenPanel(options, [self, android, image,
                                                      iconOptions](int response, const QList<QUrl>& urls) {
        if (!self || response != OpenPanelOptions::OKResponse || urls.size() != 1)
            return;
        const QString folder = urls.first().toLocalFile();
        auto plan = std::make_shared<IconFilePlan>();
        // Writes the plan, offering Retry on failure. It holds itself weakly: the alerts and the
        // steps that may run it again hold it.
        auto write = std::make_shared<std::function<void()>>();
        *write = [self, plan, folder, weakWrite = std::weak_ptr(write)] {
            const std::shared_ptr<std::function<void()>> write = weakWrite.lock();
            if (!self || !write)
                return;
            self->beginWrite(
                [plan](const Progress& progress) {
                    Error error;
                    const bool ok = plan->write(
                        &error, [&](int done, int total, const QString&) { progress(done, total); });
                    return WriteResult{ok, ok ? std::nullopt : std::optional<Error>(error)};
                },
                [self, plan, folder, write](const WriteResult& result) {
                    if (!self)
                        return;
                    if (!result.error) {
                        self->showStatusMessage(Texts::text("MainWindow.Status.Saved")
                                                    .arg(plan->files().size())
                                                    .arg(QDir::toNativeSeparators(folder)));
                        return;
                    }
                    LOG_ERROR("Error saving icons into '%s': %s", qUtf8Printable(folder),
                              qUtf8Printable(result.error->localizedDescription));
                    beginAlert(savequestions::retryAlert(Texts::text("SaveImageFiles.Error"), *result.error),
                               [write](int answer, const Alert&) {
                                   if (answer == Alert::FirstButtonReturn)
                                       (*write)();
                               });
                });
        };
        // Draws everything and looks at the folder, then asks about what would change.
        self->beginWrite(
            [android, image, iconOptions, folder, plan](const Progress&) {
                const PlatformIconRenderer renderer(image, iconOptions);
                Error error;
                const bool ok = android ? AndroidIconSet::plan(renderer, folder, *plan, &error)
                                        : WebIconSet::plan(renderer, folder, *plan, &error);
                if (ok)
                    plan->examine();
                return WriteResult{ok, ok ? std::nullopt : std::optional<Error>(error)};
            },
            [self, plan, folder, write](const WriteResult& result) {
                if (!self)
                    return;
                if (result.error) {
                    beginAlert(savequestions::retryAlert(Texts::text("SaveImageFiles.Error"), *result.error),
                               [](int, const Alert&) {});
                    return;
                }
                const QStringList changed = plan->wouldChange();
                if (changed.isEmpty()) {
                    (*write)();
                    return;
                }
                beginAlert(savequestions::replaceQuestion(
                               Texts::text("SaveImageFiles.FilesExist.MessageText"),
                               Texts::text("SaveImageFiles.FilesExist.InformativeText"), folder, changed),
                           [write](int answer, const Alert&) {
                               if (answer == Alert::FirstButtonReturn)
                                   (*write)();
                           });
            });
    });
}

} // namespace iconfoundry
