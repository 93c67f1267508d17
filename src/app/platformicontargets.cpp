#include "app/platformicontargets.h"

#include "app/generatecommand.h"
#include "iconset/androidiconset.h"
#include "iconset/platformiconrenderer.h"
#include "iconset/webiconset.h"
#include "platform/atomicfile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

namespace iconfoundry {

PlatformIconTargets::PlatformIconTargets(QString androidFolder, QString webFolder,
                                         PlatformIconOptions options)
    : options_(std::move(options)), android_{QStringLiteral("Android"), std::move(androidFolder), {}},
      web_{QStringLiteral("web"), std::move(webFolder), {}}
{
}

PlatformIconTargets::Outcome PlatformIconTargets::prepareFolder(const Target& target) const
{
    const QString& folder = target.folder;
    if (!QFileInfo::exists(folder) && !QDir().mkpath(folder))
        return {GenerateCommand::FolderUnwritable,
                QStringLiteral("cannot create the folder '%1'.").arg(folder)};
    if (!QFileInfo(folder).isDir())
        return {GenerateCommand::FolderUnwritable,
                QStringLiteral("'%1' is a file, not a folder.").arg(folder)};
    if (QString reason; !AtomicFile::folderTakesNewFiles(folder, &reason))
        return {GenerateCommand::FolderUnwritable,
                QStringLiteral("cannot write into the folder '%1': %2").arg(folder, reason)};
    return {};
}

PlatformIconTargets::Outcome PlatformIconTargets::prepare(const ImagePtr& source, bool force)
{
    for (const Target* target : {&android_, &web_})
        if (!target->folder.isEmpty())
            if (Outcome outcome = prepareFolder(*target); outcome.exitCode != 0)
                return outcome;
    const PlatformIconRenderer renderer(source, options_);
    Error error;
    if (!android_.folder.isEmpty() && !AndroidIconSet::plan(renderer, android_.folder, android_.plan, &error))
        return {GenerateCommand::SourceUnusable,
                QStringLiteral("cannot draw the Android icons: %1").arg(error.localizedDescription)};
    if (!web_.folder.isEmpty() && !WebIconSet::plan(renderer, web_.folder, web_.plan, &error))
        return {error.domain == Image::errorDomain() ? int(GenerateCommand::SourceUnusable)
                                                     : int(GenerateCommand::ContentsJSONBroken),
                error.domain == Image::errorDomain()
                    ? QStringLiteral("cannot draw the web icons: %1").arg(error.localizedDescription)
                    : error.localizedDescription + QStringLiteral(" Mend or remove it and try again.")};
    QStringList replaced;
    for (Target* target : {&android_, &web_}) {
        target->plan.examine();
        for (const QString& name : target->plan.names(IconFilePlan::State::Replaced))
            replaced.append(QDir::cleanPath(QDir(target->folder).filePath(name)));
    }
    if (!force && !replaced.isEmpty())
        return {GenerateCommand::WouldReplace,
                QStringLiteral(
                    "nothing written; these would be replaced (use --force to replace them):\n  file ") +
                    replaced.join(QStringLiteral("\n  file "))};
    return {};
}

QStringList PlatformIconTargets::warnings() const
{
    return android_.plan.warnings + web_.plan.warnings;
}

int PlatformIconTargets::fileCount() const
{
    return int(android_.plan.files().size() + web_.plan.files().size());
}

PlatformIconTargets::Outcome
PlatformIconTargets::write(const std::function<void(int, const QString&)>& progress)
{
    int before = 0;
    for (const Target* target : {&android_, &web_}) {
        Error error;
        const bool written = target->plan.write(&error, [&](int done, int, const QString& name) {
            if (progress)
                progress(before + done, name);
        });
        if (!written)
            return {GenerateCommand::WriteFailed, QStringLiteral("writing the %1 icons failed: %2")
                                                      .arg(target->what, error.localizedDescription)};
        before += int(target->plan.files().size());
    }
    return {};
}

QJsonObject PlatformIconTargets::report() const
{
    QJsonObject object;
    for (const Target* target : {&android_, &web_}) {
        if (target->folder.isEmpty())
            continue;
        QJsonArray files;
        for (const IconFilePlan::File& file : target->plan.files()) {
            QJsonObject entry{{QStringLiteral("filename"), file.name},
                              {QStringLiteral("state"), IconFilePlan::stateName(file.state)}};
            if (!file.pixels.isEmpty()) {
                entry.insert(QStringLiteral("pixelWidth"), file.pixels.width());
                entry.insert(QStringLiteral("pixelHeight"), file.pixels.height());
            }
            files.append(entry);
        }
        object.insert(target->what.toLower(),
                      QJsonObject{{QStringLiteral("folder"), QFileInfo(target->folder).absoluteFilePath()},
                                  {QStringLiteral("files"), files}});
    }
    return object;
}

QStringList PlatformIconTargets::summary() const
{
    QStringList lines;
    for (const Target* target : {&android_, &web_}) {
        if (target->folder.isEmpty())
            continue;
        const qsizetype total = target->plan.files().size();
        const qsizetype unchanged = target->plan.names(IconFilePlan::State::Unchanged).size();
        if (unchanged == total)
            lines.append(QStringLiteral("The %1 %2 in %3 are up to date")
                             .arg(total)
                             .arg(target->what + QStringLiteral(" files"), target->folder));
        else
            lines.append(QStringLiteral("Wrote %1 of %2 %3 files in %4%5")
                             .arg(total - unchanged)
                             .arg(total)
                             .arg(target->what, target->folder,
                                  unchanged ? QStringLiteral(" (%1 unchanged)").arg(unchanged) : QString()));
    }
    return lines;
}

} // namespace iconfoundry
