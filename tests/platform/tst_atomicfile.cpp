#include "platform/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace iconfoundry;

// A file staged now and put in place later: until the commit a reader sees the old file (or none),
// after it the new one, and whatever way it ends no temporary file is left in the folder.
class TestAtomicFile : public QObject
{
    Q_OBJECT

private slots:
    void stagedLifecycle_data();
    void stagedLifecycle();
    void stagingIntoAMissingFolderFails();
    void commitWithNothingStagedFails();
};

namespace {

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
}

} // namespace

void TestAtomicFile::stagedLifecycle_data()
{
    QTest::addColumn<QByteArray>("before"); // "<none>": no file yet
    QTest::addColumn<bool>("powerLoss");
    QTest::addColumn<QString>("end");       // commit, discard, drop (destroyed uncommitted), restage
    QTest::addColumn<QByteArray>("after");

    QTest::newRow("new file, committed") << QByteArray("<none>") << false << "commit" << QByteArray("new");
    QTest::newRow("new file, synced, committed") << QByteArray("<none>") << true << "commit" << QByteArray("new");
    QTest::newRow("replaced file, committed") << QByteArray("old") << true << "commit" << QByteArray("new");
    QTest::newRow("new file, discarded") << QByteArray("<none>") << true << "discard" << QByteArray("<none>");
    QTest::newRow("replaced file, discarded") << QByteArray("old") << false << "discard" << QByteArray("old");
    QTest::newRow("replaced file, dropped") << QByteArray("old") << true << "drop" << QByteArray("old");
    QTest::newRow("staged twice, the second committed") << QByteArray("old") << false << "restage"
                                                         << QByteArray("newer");
}

void TestAtomicFile::stagedLifecycle()
{
    QFETCH(QByteArray, before);
    QFETCH(bool, powerLoss);
    QFETCH(QString, end);
    QFETCH(QByteArray, after);

    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("Contents.json"));
    if (before != "<none>") {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(before);
    }
    const auto durability = powerLoss ? AtomicFile::Durability::PowerLoss : AtomicFile::Durability::ProcessCrash;
    {
        AtomicFile::Staged staged;
        Error error;
        QVERIFY(staged.stage(path, "new", &error, durability));
        QVERIFY(staged.isStaged());
        QCOMPARE(staged.path(), path);
        // Staged: the old file is untouched, the new bytes wait under a hidden name.
        QCOMPARE(contents(path), before);
        QCOMPARE(entries(folder.path()).size(), before == "<none>" ? 1 : 2);
        if (end == "commit") {
            QVERIFY(staged.commit(&error));
            QVERIFY(!staged.isStaged());
        } else if (end == "discard") {
            staged.discard();
        } else if (end == "restage") {
            QVERIFY(staged.stage(path, "newer", &error, durability));
            QCOMPARE(entries(folder.path()).size(), 2); // the first temporary file is gone
            QVERIFY(staged.commit(&error));
        }
    }
    QCOMPARE(contents(path), after);
    QCOMPARE(entries(folder.path()), after == "<none>" ? QStringList() : QStringList{"Contents.json"});
}

void TestAtomicFile::stagingIntoAMissingFolderFails()
{
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    AtomicFile::Staged staged;
    Error error;
    QVERIFY(!staged.stage(folder.filePath(QStringLiteral("missing/Contents.json")), "new", &error));
    QVERIFY(!staged.isStaged());
    QCOMPARE(error.domain, AtomicFile::errorDomain());
    QVERIFY2(error.localizedDescription.contains(QStringLiteral("Contents.json")),
             qPrintable(error.localizedDescription));
    QVERIFY(entries(folder.path()).isEmpty());
}

void TestAtomicFile::commitWithNothingStagedFails()
{
    AtomicFile::Staged staged;
    Error error;
    QVERIFY(!staged.commit(&error));
    QCOMPARE(error.code, int(QFileDevice::RenameError));
}

QTEST_GUILESS_MAIN(TestAtomicFile)
#include "tst_atomicfile.moc"
