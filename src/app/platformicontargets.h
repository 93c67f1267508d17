#pragma once

#include "iconset/iconfileplan.h"
#include "iconset/platformiconoptions.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <functional>

namespace iconfoundry {

// The Android and web part of `iconfoundry generate` (--android DIR, --web DIR): prepares both
// icon sets completely before anything is written, so the command can refuse, and then writes
// them. Folders are made when missing, like --out.
//
// Replacing: the files of both sets are ours by name (the launcher and web icons, and files the
// web manifest already names for our slots), so refreshing them needs no --force; the manifest
// is merged, never replaced. Only XML we do not recognise as ours in a mipmap-anydpi-v26 or
// values file of that name needs --force. Files whose bytes would not change are not rewritten.
class PlatformIconTargets
{
public:
    struct Outcome
    {
        int exitCode = 0; // a GenerateCommand::ExitCode
        QString message;
    };

    PlatformIconTargets(QString androidFolder, QString webFolder, PlatformIconOptions options);

    bool any() const { return !android_.folder.isEmpty() || !web_.folder.isEmpty(); }

    // Checks the folders, draws every file and compares with what is on disk. Without force, files
    // that would be replaced make it fail with WouldReplace, naming them.
    Outcome prepare(const ImagePtr& source, bool force);
    // What the user should know before the files are used (after prepare()).
    QStringList warnings() const;
    // The number of files write() goes through.
    int fileCount() const;
    Outcome write(const std::function<void(int done, const QString& name)>& progress = {});

    // {"android": {...}, "web": {...}} for the sets asked for: folder, and each file's name,
    // pixels and state.
    QJsonObject report() const;
    // One line per set, for the summary.
    QStringList summary() const;

private:
    struct Target
    {
        QString what;
        QString folder;
        IconFilePlan plan;
    };
    Outcome prepareFolder(const Target& target) const;

    PlatformIconOptions options_;
    Target android_;
    Target web_;
};

} // namespace iconfoundry
