#include "platform/filewatcher.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>
#include <functional>
#include <map>

using namespace iconfoundry;

namespace {

bool writeFile(const QString& path, const QByteArray& bytes, QIODevice::OpenMode mode = QIODevice::WriteOnly)
{
    QFile file(path);
    return file.open(mode) && file.write(bytes) == bytes.size();
}

// What editors do on save: a new file beside the old one, renamed over it.
bool replaceAtomically(const QString& path, const QByteArray& bytes)
{
    const QString temporary = path + QStringLiteral(".saving");
    return writeFile(temporary, bytes) &&
           std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()) == 0;
}

// Applies a change named in a test row to path.
bool apply(const QString& change, const QString& path)
{
    const QString sibling = QFileInfo(path).dir().filePath(QStringLiteral("notes.txt"));
    const std::map<QString, std::function<bool()>> changes{
        {"write", [&] { return writeFile(path, "contents longer than the first"); }},
        {"append", [&] { return writeFile(path, "+more", QIODevice::Append); }},
        {"rename over", [&] { return replaceAtomically(path, "a whole new file"); }},
        {"delete", [&] { return QFile::remove(path); }},
        {"rename away", [&] { return QFile::rename(path, path + QStringLiteral(".old")); }},
        // Not changes of the watched file.
        {"ignored chmod", [&] { return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner); }},
        {"ignored sibling written", [&] { return writeFile(sibling, "notes"); }},
        {"ignored sibling renamed", [&] { return QFile::rename(sibling, sibling + QStringLiteral(".old")); }},
        {"ignored mkdir", [&] { return QFileInfo(path).dir().mkdir(QStringLiteral("sub")); }}};
    return changes.at(change)();
}

} // namespace

class TestFileWatcher : public QObject
{
    Q_OBJECT

private slots:
    void reportsChanges_data();
    void reportsChanges();
    void cancelStopsReports();
};

void TestFileWatcher::reportsChanges_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("setup"); // "absent": no file yet; "rewatch": re-watch on every report
    QTest::addColumn<QStringList>("changes");

    const QString ascii = QStringLiteral("icon.png");
    // Folder and file names outside ASCII: accents, CJK, an emoji, a space.
    const QString wide = QStringLiteral("Entwürfe 图标/Symbol ✓ 🎨.png");
    // Each save replaces the inode the watch was on: all must be seen, and a write in place after.
    const QStringList saves{"rename over", "rename over", "rename over", "write"};
    QTest::newRow("deleted") << ascii << QString() << QStringList{"delete"};
    QTest::newRow("renamed away") << ascii << QString() << QStringList{"rename away"};
    QTest::newRow("non-ASCII path, deleted") << wide << QString() << QStringList{"delete"};
    QTest::newRow("successive atomic saves") << ascii << QString() << saves;
    QTest::newRow("non-ASCII path, successive atomic saves") << wide << QString() << saves;
    QTest::newRow("receiver watches again")
        << ascii << "rewatch" << QStringList{"rename over", "rename over"};
    // The new file is watched itself, not only seen through its folder.
    QTest::newRow("deleted and put back") << ascii << QString() << QStringList{"delete", "write", "append"};
    QTest::newRow("not yet created") << ascii << "absent" << QStringList{"write"};
    // The real change after the ignored ones is the latch: once it is reported, the events before
    // it were delivered too.
    QTest::newRow("permissions, other files, a sub-folder")
        << ascii << QString()
        << QStringList{"ignored chmod", "ignored sibling written", "ignored sibling renamed", "ignored mkdir",
                       "write"};
}

void TestFileWatcher::reportsChanges()
{
    QFETCH(QString, fileName);
    QFETCH(QString, setup);
    QFETCH(QStringList, changes);

    QTemporaryDir dir;
    const QString path = dir.filePath(fileName);
    QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
    QVERIFY(setup == QLatin1String("absent") || writeFile(path, "first"));

    FileWatcher watcher;
    QSignalSpy changed(&watcher, &FileWatcher::changed);
    if (setup == QLatin1String("rewatch")) {
        // What a reload does: stop the old watch and start a new one on the same path.
        connect(&watcher, &FileWatcher::changed, this, [&](const QString& changedPath) {
            watcher.cancel();
            watcher.watch(changedPath);
        });
    }
    QVERIFY(watcher.watch(path));
    qsizetype reports = 0;
    for (const QString& change : changes) {
        QVERIFY2(apply(change, path), qPrintable(change));
        if (!change.startsWith(QLatin1String("ignored"))) {
            ++reports;
            QTRY_COMPARE(changed.size(), reports);
        }
    }
    QCoreApplication::processEvents();
    QCOMPARE(changed.size(), reports);
    for (const QList<QVariant>& arguments : std::as_const(changed))
        QCOMPARE(arguments.first().toString(), path);
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
    // A watch that never started is not cancelled.
    QVERIFY(!watcher.watch(dir.filePath(QStringLiteral("missing/folder/icon.png"))));
    QVERIFY(!watcher.isWatching());
    watcher.cancel();
    QCOMPARE(cancelled.size(), 0);

    QVERIFY(watcher.watch(path));
    QVERIFY(latch.watch(path));
    watcher.cancel();
    watcher.cancel();
    QCOMPARE(cancelled.size(), 1);
    QCOMPARE(cancelled.first().first().toString(), path);
    QVERIFY(replaceAtomically(path, "after cancel"));
    QTRY_COMPARE(latchChanged.size(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(changed.size(), 0);

    // Watching again works like the first time, and restarting cancels the running watch.
    QVERIFY(watcher.watch(path));
    QVERIFY(watcher.watch(path));
    QCOMPARE(cancelled.size(), 2);
    QVERIFY(writeFile(path, "watched again"));
    QTRY_COMPARE(changed.size(), 1);
}

QTEST_GUILESS_MAIN(TestFileWatcher)
#include "tst_filewatcher.moc"
