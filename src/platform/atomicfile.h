#pragma once

#include "platform/error.h"

#include <QByteArray>
#include <QString>

namespace iconfoundry {

// Writes whole files so that a reader sees either the old file or the complete new one: the data
// goes to a hidden temporary file in the same folder, which is then renamed over the target. A
// failure removes the temporary file, so nothing partial is ever left behind. Safe to call from
// several threads at once for different paths.
class AtomicFile
{
public:
    enum class Durability
    {
        // Survives a failure of this process (fast: for files that can be made again).
        ProcessCrash,
        // Also synced to disk before the rename, so that a power loss cannot leave a broken file.
        PowerLoss,
    };

    static QString errorDomain() { return QStringLiteral("QFileDevice"); }

    // On failure returns false and fills error (domain errorDomain(), a QFileDevice::FileError
    // code, a sentence naming the file's path and the cause).
    static bool write(const QString& path, const QByteArray& data, Error* error = nullptr,
                      Durability durability = Durability::ProcessCrash);

    // A file written (and, for PowerLoss, synced) under its temporary name by stage(), and put in
    // place only by commit(): the slow part can run while the caller finishes what the file must
    // not appear before. Dropped uncommitted, the temporary file is removed. One thread at a time.
    class Staged
    {
    public:
        Staged() = default;
        Staged(const Staged&) = delete;
        Staged& operator=(const Staged&) = delete;
        ~Staged() { discard(); }

        // On failure returns false, fills error like write() and leaves nothing behind.
        bool stage(const QString& path, const QByteArray& data, Error* error = nullptr,
                   Durability durability = Durability::ProcessCrash);
        // Renames the staged file over the target; false with the error when that fails (the
        // temporary file is then removed) or when nothing is staged.
        bool commit(Error* error = nullptr);
        // Removes the staged file, if any.
        void discard();
        bool isStaged() const { return !temporary_.isEmpty(); }
        // The target of the last stage().
        const QString& path() const { return path_; }

    private:
        QString path_;
        QString temporary_;
    };

    // Whether a new file can be made in the folder. Permissions, read-only mounts and access
    // control lists all have a say, so the only reliable test is to make one (and remove it).
    static bool folderTakesNewFiles(const QString& folder, QString* reason = nullptr);
};

} // namespace iconfoundry
