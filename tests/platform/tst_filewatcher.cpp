#include "platform/filewatcher.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>

namespace {

constexpr int kTimeout = 5000;

bool writeFile(const QString& path, const QByteArray& bytes, QIODevice::OpenMode mode = QIODevice::WriteOnly)
{
    QFile file(path);
    return file.open(mode) && file.write(bytes) == bytes.size();
}

// What editors do on save: a new file beside the old one, renamed over it.
bool replaceAtomically(const QString& path, const QByteArray& bytes)
{
    const QString temporary = path + QStringLiteral(".saving");
    if (!writeFile(temporary, bytes))
        return false;
    std::error_code error;
    std::filesystem::rename(QFile::encodeName(temporary).toStdString(), QFile::encodeName(path).toStdString(),
                            error);
    return !error;
}

enum class Change
{
    Overwrite,
    Append,
    Truncate,
    RenameOver,
    Delete,
    RenameAway
};

bool apply(Change change, const QString& path)
{
    switch (change) {
    case Change::Overwrite:
        return writeFile(path, "second contents, longer than the first");
    case Change::Append:
        return writeFile(path, "+more", QIODevice::Append);
    case Change::Truncate:
        return writeFile(path, {});
    case Change::RenameOver:
        return replaceAtomically(path, "a whole new file");
    case Change::Delete:
        return QFile::remove(path);
    case Change::RenameAway:
        return QFile::rename(path, path + QStringLiteral(".old"));
    }
    return false;
}

} // namespace

class TestFileWatcher : public QObject
{
    Q_OBJECT

private slots:
    void reportsEachKindOfChange_data();
    void reportsEachKindOfChange();
    void followsSuccessiveAtomicSaves_data();
    void followsSuccessiveAtomicSaves();
    void reportsAFileThatReappears();
    void ignoresUnrelatedEvents_data();
    void ignoresUnrelatedEvents();
    void watchesAFileNotYetCreated();
    void refusesAFolderThatDoesNotExist();
    void cancelStopsReports();
    void receiverMayCancelFromTheSignal();
};

void TestFileWatcher::reportsEachKindOfChange_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<Change>("change");

    const QString ascii = QStringLiteral("icon.png");
    // Folder and file names outside ASCII: accents, CJK, an emoji, a space.
    const QString wide = QStringLiteral("Entwürfe 图标/Symbol ✓ 🎨.png");
    QTest::newRow("write in place") << ascii << Change::Overwrite;
    QTest::newRow("append") << ascii << Change::Append;
    QTest::newRow("truncate to empty") << ascii << Change::Truncate;
    QTest::newRow("new file renamed over it") << ascii << Change::RenameOver;
    QTest::newRow("deleted") << ascii << Change::Delete;
    QTest::newRow("renamed away") << ascii << Change::RenameAway;
    QTest::newRow("non-ASCII path, write in place") << wide << Change::Overwrite;
    QTest::newRow("non-ASCII path, renamed over") << wide << Change::RenameOver;
    QTest::newRow("non-ASCII path, deleted") << wide << Change::Delete;
}

void TestFileWatcher::reportsEachKindOfChange()
{
    QFETCH(QString, fileName);
    QFETCH(Change, change);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(fileName);
    QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
    QVERIFY(writeFile(path, "first"));

    FileWatcher watcher;
    QSignalSpy changed(&watcher, &FileWatcher::changed);
    QVERIFY(watcher.watch(path));
    QVERIFY(apply(change, path));

    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, kTimeout);
    QCOMPARE(changed.first().first().toString(), path);
}

void TestFileWatcher::followsSuccessiveAtomicSaves_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::newRow("ASCII") << QStringLiteral("source.png");
    QTest::newRow("non-ASCII") << QStringLiteral("Ícone de aplicação.png");
}

void TestFileWatcher::followsSuccessiveAtomicSaves()
{
    QFETCH(QString, fileName);
    QTemporaryDir dir;
    const QString path = dir.filePath(fileName);
    QVERIFY(writeFile(path, "v0"));

    FileWatcher watcher;
    QSignalSpy changed(&watcher, &FileWatcher::changed);
    QVERIFY(watcher.watch(path));

    // Each save replaces the inode the watch was on; every one of them must still be seen,
    // and a plain write after them too.
    for (int save = 1; save <= 3; ++save) {
        QVERIFY(replaceAtomically(path, QByteArray("version ") + QByteArray::number(save)));
        QTRY_COMPARE_WITH_TIMEOUT(changed.size(), save, kTimeout);
    }
    QVERIFY(writeFile(path, "written in place after the renames"));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 4, kTimeout);
}

void TestFileWatcher::reportsAFileThatReappears()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("icon.png"));
    QVERIFY(writeFile(path, "first"));

    FileWatcher watcher;
    QSignalSpy changed(&watcher, &FileWatcher::changed);
    QVERIFY(watcher.watch(path));

    QVERIFY(QFile::remove(path));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, kTimeout);
    QVERIFY(writeFile(path, "back again"));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 2, kTimeout);
    // The new file is watched itself, not only seen through its folder.
    QVERIFY(writeFile(path, "and written again", QIODevice::Append));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 3, kTimeout);
}

void TestFileWatcher::ignoresUnrelatedEvents_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("permissions of the file") << QStringLiteral("chmod");
    QTest::newRow("another file in the folder written") << QStringLiteral("sibling");
    QTest::newRow("another file in the folder renamed") << QStringLiteral("sibling-rename");
    QTest::newRow("a sub-folder created") << QStringLiteral("mkdir");
}

void TestFileWatcher::ignoresUnrelatedEvents()
{
    QFETCH(QString, what);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("icon.png"));
    const QString sibling = dir.filePath(QStringLiteral("notes.txt"));
    QVERIFY(writeFile(path, "first"));
    QVERIFY(writeFile(sibling, "notes"));

    FileWatcher watcher;
    QSignalSpy changed(&watcher, &FileWatcher::changed);
    QVERIFY(watcher.watch(path));

    if (what == QLatin1String("chmod"))
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner));
    else if (what == QLatin1String("sibling"))
        QVERIFY(writeFile(sibling, "more notes", QIODevice::Append));
    else if (what == QLatin1String("sibling-rename"))
        QVERIFY(QFile::rename(sibling, dir.filePath(QStringLiteral("renamed.txt"))));
    else
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("sub")));

    // A real change afterwards is the latch: once it is reported, the unrelated event before
    // it has been delivered too, so exactly one report means it was ignored.
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
    QVERIFY(writeFile(path, "the real change"));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, kTimeout);
    QCoreApplication::processEvents();
    QCOMPARE(changed.size(), 1);
}

void TestFileWatcher::watchesAFileNotYetCreated()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("later.png"));
    FileWatcher watcher;
    QSignalSpy changed(&watcher, &FileWatcher::changed);
    QVERIFY(watcher.watch(path));
    QVERIFY(writeFile(path, "created"));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, kTimeout);
}

void TestFileWatcher::refusesAFolderThatDoesNotExist()
{
    QTemporaryDir dir;
    FileWatcher watcher;
    QSignalSpy cancelled(&watcher, &FileWatcher::cancelled);
    QVERIFY(!watcher.watch(dir.filePath(QStringLiteral("missing/folder/icon.png"))));
    QVERIFY(!watcher.isWatching());
    watcher.cancel();
    QCOMPARE(cancelled.size(), 0);
}

void TestFileWatcher::cancelStopsReports()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("icon.png"));
    QVERIFY(writeFile(path, "first"));

    FileWatcher watcher;
    FileWatcher latch;
    QSignalSpy changed(&watcher, &FileWatcher::changed);
    QSignalSpy cancelled(&watcher, &FileWatcher::cancelled);
    QSignalSpy latchChanged(&latch, &FileWatcher::changed);
    QVERIFY(watcher.watch(path));
    QVERIFY(latch.watch(path));

    watcher.cancel();
    QCOMPARE(cancelled.size(), 1);
    QCOMPARE(cancelled.first().first().toString(), path);
    watcher.cancel();
    QCOMPARE(cancelled.size(), 1);

    QVERIFY(replaceAtomically(path, "after cancel"));
    QTRY_COMPARE_WITH_TIMEOUT(latchChanged.size(), 1, kTimeout);
    QCoreApplication::processEvents();
    QCOMPARE(changed.size(), 0);

    // Watching again works like the first time, and restarting cancels the running watch.
    QVERIFY(watcher.watch(path));
    QVERIFY(watcher.watch(path));
    QCOMPARE(cancelled.size(), 2);
    QVERIFY(writeFile(path, "watched again"));
    QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, kTimeout);
}

void TestFileWatcher::receiverMayCancelFromTheSignal()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("icon.png"));
    QVERIFY(writeFile(path, "first"));

    FileWatcher watcher;
    int reports = 0;
    connect(&watcher, &FileWatcher::changed, this, [&](const QString& changedPath) {
        ++reports;
        // What a reload does: stop the old watch and start a new one on the same path.
        watcher.cancel();
        watcher.watch(changedPath);
    });
    QVERIFY(watcher.watch(path));
    QVERIFY(replaceAtomically(path, "one"));
    QTRY_COMPARE_WITH_TIMEOUT(reports, 1, kTimeout);
    QVERIFY(replaceAtomically(path, "two, longer"));
    QTRY_COMPARE_WITH_TIMEOUT(reports, 2, kTimeout);
}

QTEST_GUILESS_MAIN(TestFileWatcher)
#include "tst_filewatcher.moc"
