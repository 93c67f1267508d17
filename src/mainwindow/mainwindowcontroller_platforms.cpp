// The icon sets of other platforms, from the same image, beside the Apple ones: the Other
// Platforms group of the Icon Sets panel, Save As with Android or Web ticked, and the Save
// Android Icons and Save Web Icons commands.
//
// A chain like the other saves: draw every file on the thread pool and compare with the folders
// -> one question before changing files that are there -> write the Apple files, then the other
// sets, on the thread pool -> status line, or an alert with Retry.
#include "iconset/androidiconset.h"
#include "iconset/iconfileplan.h"
#include "iconset/iconsetplan.h"
#include "iconset/platformiconrenderer.h"
#include "iconset/webiconset.h"
#include "logging/log.h"
#include "mainwindow/mainwindowcontroller.h"
#include "mainwindow/platformsetsbox.h"
#include "mainwindow/savequestions.h"
#include "platform/defaults.h"
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

void MainWindowController::platformSetsChanged()
{
    const PlatformSetsBox::Choice choice = platformSetsBox_->choice();
    QStringList sets;
    if (choice.android)
        sets.append(QStringLiteral("android"));
    if (choice.web)
        sets.append(QStringLiteral("web"));
    defaults_.setPlatformIconSets(sets);
    defaults_.setPlatformIconPadding(choice.paddingPercent);
    defaults_.setPlatformIconTrim(choice.trim);
    refreshImageInfo();
}

QList<MainWindowController::PlatformTarget> MainWindowController::tickedPlatformTargets(const QString& folder)
{
    window();
    const PlatformSetsBox::Choice choice = platformSetsBox_->choice();
    QList<PlatformTarget> targets;
    // The layout of `generate --android DIR/android/res --web DIR/web`: the Play Store icon lands
    // in DIR/android, beside res, as in an Android project.
    if (choice.android)
        targets.append({Platform::Android, QDir(folder).filePath(QStringLiteral("android/res"))});
    if (choice.web)
        targets.append({Platform::Web, QDir(folder).filePath(QStringLiteral("web"))});
    return targets;
}

PlatformIconOptions MainWindowController::platformIconOptions()
{
    window();
    const PlatformSetsBox::Choice choice = platformSetsBox_->choice();
    PlatformIconOptions options;
    options.background = backgroundColour_;
    options.paddingPercent = choice.paddingPercent;
    options.trim = choice.trim;
    return options;
}

int MainWindowController::platformFileCount()
{
    if (!platformSetsBox_)
        return 0;
    const PlatformSetsBox::Choice choice = platformSetsBox_->choice();
    // The window has no background image: Android's background layer is a colour.
    return (choice.android ? AndroidIconSet::fileCount(false) : 0) +
           (choice.web ? WebIconSet::kFileCount : 0);
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
    QPointer<MainWindowController> self(this);
    PanelPresenter::shared().beginOpenPanel(options, [self, platform](int response, const QList<QUrl>& urls) {
        if (!self || response != OpenPanelOptions::OKResponse || urls.size() != 1)
            return;
        const QUrl url = urls.first();
        self->saveWithPlatformSets(url, IconSetPlan(), {{platform, url.toLocalFile()}}, true, {});
    });
}

void MainWindowController::saveWithPlatformSets(const QUrl& url, const IconSetPlan& applePlan,
                                                const QList<PlatformTarget>& targets, bool ask,
                                                std::function<void(bool)> completion)
{
    if (!hasImage()) {
        if (completion)
            completion(false);
        return;
    }
    // A private copy, as for every write: the window's image may be replaced meanwhile.
    const ImagePtr image = std::make_shared<Image>(*sourceImage_);
    const PlatformIconOptions options = platformIconOptions();
    auto plans = std::make_shared<QList<IconFilePlan>>();
    QPointer<MainWindowController> self(this);
    // Draws everything and looks at the folders, then asks about what would change.
    beginWrite(
        [image, options, targets, plans](const Progress&) {
            const PlatformIconRenderer renderer(image, options);
            for (const PlatformTarget& target : targets) {
                IconFilePlan plan;
                Error error;
                const bool ok = target.platform == Platform::Android
                                    ? AndroidIconSet::plan(renderer, target.folder, plan, &error)
                                    : WebIconSet::plan(renderer, target.folder, plan, &error);
                if (!ok)
                    return WriteResult{false, error};
                plan.examine();
                plans->append(std::move(plan));
            }
            return WriteResult{true, std::nullopt};
        },
        [self, url, applePlan, targets, ask, completion, plans](const WriteResult& result) {
            if (!self)
                return;
            if (result.error) {
                LOG_ERROR("Error preparing icons for '%s': %s", qUtf8Printable(url.toLocalFile()),
                          qUtf8Printable(result.error->localizedDescription));
                self->completeWrite(
                    result, Texts::text("SaveImageFiles.Error"),
                    [self, url, applePlan, targets, ask, completion] {
                        self->saveWithPlatformSets(url, applePlan, targets, ask, completion);
                    },
                    completion, false);
                return;
            }
            // Every set's files in one list, named from the chosen folder, so that one answer
            // covers them all.
            const QDir folder(url.toLocalFile());
            QStringList changed = applePlan.existingFiles();
            for (const IconFilePlan& plan : *plans)
                for (const QString& name : plan.wouldChange())
                    changed.append(
                        QDir::cleanPath(folder.relativeFilePath(QDir(plan.folder()).filePath(name))));
            if (!ask || changed.isEmpty()) {
                self->writeAllSets(url, applePlan, plans, completion);
                return;
            }
            beginAlert(
                savequestions::replaceQuestion(Texts::text("SaveImageFiles.FilesExist.MessageText"),
                                               Texts::text("SaveImageFiles.FilesExist.InformativeText"),
                                               url.toLocalFile(), changed),
                [self, url, applePlan, plans, completion](int answer, const Alert&) {
                    if (self && answer == Alert::FirstButtonReturn)
                        self->writeAllSets(url, applePlan, plans, completion);
                    else if (completion)
                        completion(false);
                });
        });
}

void MainWindowController::writeAllSets(const QUrl& url, const IconSetPlan& applePlan,
                                        const PlatformPlans& plans, std::function<void(bool)> completion)
{
    QPointer<MainWindowController> self(this);
    auto platforms = [self, url, applePlan, plans, completion](bool appleWritten) {
        if (!self || !appleWritten) {
            if (completion)
                completion(false);
            return;
        }
        self->writePlatformPlans(plans, [self, url, applePlan, plans, completion](bool written) {
            if (self && written) {
                qsizetype files = applePlan.files().size();
                for (const IconFilePlan& plan : *plans)
                    files += plan.files().size();
                self->showStatusMessage(Texts::text("MainWindow.Status.Saved")
                                            .arg(files)
                                            .arg(QDir::toNativeSeparators(url.toLocalFile())) +
                                        self->opaqueNote(applePlan));
            }
            if (completion)
                completion(written);
        });
    };
    if (applePlan.files().isEmpty())
        platforms(true);
    else
        writeIconFiles(url, applePlan, platforms);
}

void MainWindowController::writePlatformPlans(const PlatformPlans& plans,
                                              std::function<void(bool)> completion)
{
    QPointer<MainWindowController> self(this);
    beginWrite(
        [plans](const Progress& progress) {
            int total = 0;
            for (const IconFilePlan& plan : *plans)
                total += int(plan.files().size());
            // Every set is written even after one failed; the last failure is reported.
            int before = 0;
            std::optional<Error> failure;
            for (const IconFilePlan& plan : *plans) {
                Error error;
                if (!plan.write(&error,
                                [&](int done, int, const QString&) { progress(before + done, total); }))
                    failure = error;
                before += int(plan.files().size());
            }
            return WriteResult{!failure, failure};
        },
        [self, plans, completion](const WriteResult& result) {
            if (!self)
                return;
            if (result.error)
                LOG_ERROR("Error saving icons: %s", qUtf8Printable(result.error->localizedDescription));
            self->completeWrite(
                result, Texts::text("SaveImageFiles.Error"),
                [self, plans, completion] { self->writePlatformPlans(plans, completion); }, completion,
                false);
        });
}

} // namespace iconfoundry
