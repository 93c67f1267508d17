#include "platform/bundle.h"
#include "platform/texts.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

class TestBundle : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void resourceDirectoryPrecedence_data();
    void resourceDirectoryPrecedence();
    void pathForResource_data();
    void pathForResource();
    void identity();
    void textsFallBackToTheKey();
};

void TestBundle::cleanup()
{
    Bundle::setResourceDirectory({});
    qunsetenv("ICONFOUNDRY_RESOURCE_DIR");
}

void TestBundle::resourceDirectoryPrecedence_data()
{
    QTest::addColumn<QString>("override");
    QTest::addColumn<QString>("environment");
    QTest::addColumn<QString>("expected"); // "build": <executable's folder>/resources

    QTest::newRow("neither: beside the executable") << ""
                                                    << ""
                                                    << "build";
    QTest::newRow("environment") << ""
                                 << "/tmp/from-env"
                                 << "/tmp/from-env";
    QTest::newRow("override beats environment") << "/tmp/override"
                                                << "/tmp/from-env"
                                                << "/tmp/override";
    QTest::newRow("override alone") << "/tmp/override"
                                    << ""
                                    << "/tmp/override";
}

void TestBundle::resourceDirectoryPrecedence()
{
    QFETCH(QString, override);
    QFETCH(QString, environment);
    QFETCH(QString, expected);
    Bundle::setResourceDirectory(override);
    if (!environment.isEmpty())
        qputenv("ICONFOUNDRY_RESOURCE_DIR", environment.toUtf8());
    if (expected == QLatin1String("build"))
        expected = QDir(qEnvironmentVariable("ICONFOUNDRY_BINARY_DIR")).filePath("resources");
    QCOMPARE(QDir::cleanPath(Bundle::resourceDirectory()), QDir::cleanPath(expected));
}

void TestBundle::pathForResource_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("expected"); // relative to the folder; "" = not found

    QTest::newRow("name and type") << "Catalogue"
                                   << "plist"
                                   << "Catalogue.plist";
    QTest::newRow("type empty") << "README"
                                << ""
                                << "README";
    QTest::newRow("missing") << "Missing"
                             << "plist"
                             << "";
    QTest::newRow("other type") << "Catalogue"
                                << "json"
                                << "";
    QTest::newRow("folder of that name") << "Folder"
                                         << "plist"
                                         << "";
    QTest::newRow("empty name") << ""
                                << "plist"
                                << "";
    QTest::newRow("case matters") << "catalogue"
                                  << "plist"
                                  << "";
    QTest::newRow("in a subfolder") << "translations/x"
                                    << "qm"
                                    << "translations/x.qm";
}

void TestBundle::pathForResource()
{
    QFETCH(QString, name);
    QFETCH(QString, type);
    QFETCH(QString, expected);
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    for (const char* file : {"Catalogue.plist", "README", "translations/x.qm"}) {
        QDir(folder.path()).mkpath(QFileInfo(folder.filePath(file)).path());
        QFile f(folder.filePath(file));
        QVERIFY(f.open(QIODevice::WriteOnly));
    }
    QVERIFY(QDir(folder.path()).mkdir("Folder.plist"));
    Bundle::setResourceDirectory(folder.path());

    const QString path = Bundle::pathForResource(name, type);
    QCOMPARE(path, expected.isEmpty() ? QString() : folder.filePath(expected));
    if (!path.isEmpty())
        QVERIFY(QFileInfo(path).isAbsolute());
}

void TestBundle::identity()
{
    QCOMPARE(Bundle::bundleIdentifier(), QStringLiteral("co.velmora.IconFoundry"));
    QVERIFY(
        QRegularExpression(QStringLiteral("^\\d+\\.\\d+\\.\\d+$")).match(Bundle::shortVersion()).hasMatch());
    QVERIFY(!Bundle::buildNumber().isEmpty());
    QCOMPARE(QDir::cleanPath(Bundle::executableDirectory()),
             QDir::cleanPath(qEnvironmentVariable("ICONFOUNDRY_BINARY_DIR")));
}

void TestBundle::textsFallBackToTheKey()
{
    QVERIFY(Texts::installTranslations() >= 1);
    QCOMPARE(Texts::installTranslations(), 0); // once per application object
    QCOMPARE(Texts::text("No.Such.Key.MessageText"), QStringLiteral("No.Such.Key.MessageText"));
    QCOMPARE(Texts::text("ImageSize.Idiom.Description.ipad"), QStringLiteral("iPad"));
}

QTEST_GUILESS_MAIN(TestBundle)
#include "tst_bundle.moc"
