#pragma once

#include "platform/error.h"

#include <QByteArray>
#include <QList>
#include <QSize>
#include <QString>
#include <QStringList>
#include <functional>

namespace iconfoundry {

// The files of an Android or web icon set before they are written: every byte is made first, so
// the caller can look at what would change on disk, ask about it, and then write it all.
//
// How an existing file is judged (examine()):
// - the same bytes: Unchanged, and never rewritten (so a second run leaves even the times alone);
// - a file of ours by its name (icons whose names the platform fixes or a project's manifest
//   names) or whose content we recognise as ours: Refreshed;
// - anything else: Replaced; the command line wants --force for these.
// Not thread-safe; a plain value.
class IconFilePlan
{
public:
    enum class State
    {
        New,
        Unchanged,
        Refreshed,
        Replaced
    };
    struct File
    {
        QString name; // relative to the folder; may lead out of it ("../x.png")
        QByteArray bytes;
        QSize pixels; // empty for text
        // Set for files we own only when their content says so: true for content of ours.
        std::function<bool(const QByteArray& existing)> ownsExisting;
        // A file our part is merged into (a web manifest): its other content stays, so changing
        // it replaces nothing.
        bool merged = false;
        State state = State::New;
    };

    IconFilePlan() = default;
    explicit IconFilePlan(QString folder) : folder_(std::move(folder)) {}

    const QString& folder() const { return folder_; }
    QString path(const File& file) const;
    const QList<File>& files() const { return files_; }
    void add(File file) { files_.append(std::move(file)); }
    QStringList warnings;

    // Fills each file's state from what is on disk now.
    void examine();
    // Names of the files in that state, in order.
    QStringList names(State state) const;
    static QString stateName(State state);
    // The files that are there and would get other bytes, merged ones left out: what a user is
    // asked about before replacing.
    QStringList wouldChange() const;

    // Writes every file that is not Unchanged, atomically, making folders as needed. Goes on after
    // a failure and reports the last one. progress(done, total, name) after each file.
    bool write(Error* error = nullptr,
               const std::function<void(int, int, const QString&)>& progress = {}) const;

private:
    QString folder_;
    QList<File> files_;
};

} // namespace iconfoundry
