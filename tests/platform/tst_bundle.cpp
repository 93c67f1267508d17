#include "common/testsupport.h"
#include "platform/bundle.h"
#include "platform/texts.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace iconfoundry;

class TestBundle : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { Bundle::setResourceDirectory({}); }

    void resourceDirectoryPrecedence_data()
    {
        QTest::addColumn<QStringList>("setting"); // the override, the environment, the folder expected
        const QString build = QDir(qEnvironmentVariable("ICONFOUNDRY_BINARY_DIR")).filePath("resources");
        QTest::newRow("neither: beside the executable") << QStringList{"", "", build};
        QTest::newRow("environment") << QStringList{"", "/tmp/from-env", "/tmp/from-env"};
        QTest::newRow("override beats environment")
            << QStringList{"/tmp/override", "/tmp/from-env", "/tmp/override"};
        QTest::newRow("override alone") << QStringList{"/tmp/override", "", "/tmp/override"};
    }

    void resourceDirectoryPrecedence()
    {
        QFETCH(QStringList, setting);
        Bundle::setResourceDirectory(setting[0]);
        const test::ScopedEnvironmentVariable environment(
            "ICONFOUNDRY_RESOURCE_DIR",
            setting[1].isEmpty() ? std::nullopt : std::optional(setting[1].toUtf8()));
        QCOMPARE(QDir::cleanPath(Bundle::resourceDirectory()), QDir::cleanPath(setting[2]));
    }

    void pathForResource_data()
    {
        QTest::addColumn<QStringList>("lookUp"); // name, type, then the path found in the folder or ""
        QTest::newRow("name and type") << QStringList{"Catalogue", "plist", "Catalogue.plist"};
        QTest::newRow("type empty") << QStringList{"README", "", "README"};
        QTest::newRow("missing") << QStringList{"Missing", "plist", ""};
        QTest::newRow("other type") << QStringList{"Catalogue", "json", ""};
        QTest::newRow("folder of that name") << QStringList{"Folder", "plist", ""};
        QTest::newRow("empty name") << QStringList{"", "plist", ""};
        QTest::newRow("case matters") << QStringList{"catalogue", "plist", ""};
        QTest::newRow("in a subfolder") << QStringList{"translations/x", "qm", "translations/x.qm"};
    }

    void pathForResource()
    {
        QFETCH(QStringList, lookUp);
        QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkpath("translations") && QDir(folder.path()).mkdir("Folder.plist"));
        for (const char* file : {"Catalogue.plist", "README", "translations/x.qm"})
            QVERIFY(QFile(folder.filePath(file)).open(QIODevice::WriteOnly));
        Bundle::setResourceDirectory(folder.path());

        const QString path = Bundle::pathForResource(lookUp[0], lookUp[1]);
        QCOMPARE(path, lookUp[2].isEmpty() ? QString() : folder.filePath(lookUp[2]));
        QVERIFY(path.isEmpty() || QFileInfo(path).isAbsolute());
    }

    void versionIsDotted()
    {
        QVERIFY(QRegularExpression("^\\d+\\.\\d+\\.\\d+$").match(Bundle::shortVersion()).hasMatch());
    }

    void textsFallBackToTheKey()
    {
        QVERIFY(Texts::installTranslations() >= 1);
        QCOMPARE(Texts::installTranslations(), 0); // once per application object
        QCOMPARE(Texts::text("No.Such.Key.MessageText"), QStringLiteral("No.Such.Key.MessageText"));
        QCOMPARE(Texts::text("ImageSize.Idiom.Description.ipad"), QStringLiteral("iPad"));
    }
};

QTEST_GUILESS_MAIN(TestBundle)
#include "tst_bundle.moc"
