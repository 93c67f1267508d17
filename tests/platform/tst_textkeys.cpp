// Every text key the code and the layouts use must have an English text in the translation
// sources; a key without one shows up in the window as the bare key. The keys are found by reading
// the source tree, so a new Texts::text() call or <string id> is checked without a change here.

#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QTest>
#include <QXmlStreamReader>

namespace iconfoundry {

namespace {

struct TextKeyUse
{
    QString key;
    QString place; // file:line, relative to the scanned root
};

struct TranslationEntry
{
    QString text;
    bool finished = true;
};

struct TextKeyScan
{
    QList<TextKeyUse> uses;
    QStringList problems; // look-ups whose keys cannot be known from the source
};

QString readAll(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

int lineOf(const QString& text, qsizetype offset)
{
    return int(text.left(offset).count(QLatin1Char('\n'))) + 1;
}

// The values of one key in every dictionary of an XML property list.
QStringList plistValues(const QString& path, const QString& key)
{
    QStringList values;
    static const QRegularExpression pair(QStringLiteral("<key>([^<]*)</key>\\s*<string>([^<]*)</string>"));
    const QString text = readAll(path);
    for (auto it = pair.globalMatch(text); it.hasNext();) {
        const auto match = it.next();
        if (match.captured(1) == key && !values.contains(match.captured(2)))
            values.append(match.captured(2));
    }
    return values;
}

// Reads root/src. A key built at run time ("Prefix." + value) is known only through `families`,
// which gives the values each prefix is completed with; any other computed key is a problem.
TextKeyScan scanTextKeys(const QString& root, const QHash<QString, QStringList>& families)
{
    static const QRegularExpression literalCall(
        QStringLiteral("(?:\\bTexts::text|\\bqtTrId)\\(\\s*\"([^\"]+)\"\\s*\\)"));
    static const QRegularExpression computedCall(
        QStringLiteral("(?:\\bTexts::text|\\bqtTrId)\\((?!\\s*\"[^\"]+\"\\s*\\))"));
    static const QRegularExpression prefix(QStringLiteral("\"([A-Za-z][A-Za-z0-9.-]*\\.)\"\\s*\\+"));
    static const QRegularExpression tableKey(
        QStringLiteral("[{,]\\s*\"([A-Za-z][A-Za-z0-9]*(?:\\.[A-Za-z0-9-]+)+)\"\\s*[,}]"));
    static const QRegularExpression layoutString(QStringLiteral("<string\\s+id=\"([^\"]+)\""));

    TextKeyScan scan;
    const QString sources = root + QStringLiteral("/src");
    QDirIterator it(sources, {QStringLiteral("*.cpp"), QStringLiteral("*.h"), QStringLiteral("*.ui")},
                    QDir::Files, QDirIterator::Subdirectories);
    QStringList files;
    while (it.hasNext())
        files.append(it.next());
    files.sort();

    // Comments are blanked out (keeping offsets, for the line numbers): they may name the look-up.
    static const QRegularExpression comment(QStringLiteral("(^|\\s)//[^\n]*"),
                                            QRegularExpression::MultilineOption);
    for (const QString& path : files) {
        QString text = readAll(path);
        if (!path.endsWith(QLatin1String(".ui"))) {
            for (auto m = comment.globalMatch(text); m.hasNext();) {
                const auto match = m.next();
                text.replace(match.capturedStart(), match.capturedLength(),
                             QString(match.capturedLength(), u' '));
            }
        }
        const QString name = path.mid(root.size() + 1);
        const auto place = [&](qsizetype offset) {
            return name + QLatin1Char(':') + QString::number(lineOf(text, offset));
        };

        if (path.endsWith(QLatin1String(".ui"))) {
            for (auto m = layoutString.globalMatch(text); m.hasNext();) {
                const auto match = m.next();
                scan.uses.append({match.captured(1), place(match.capturedStart())});
            }
            continue;
        }
        // The look-up itself lives in texts.cpp and takes whatever key it is given.
        if (name == QLatin1String("src/platform/texts.cpp"))
            continue;
        for (auto m = literalCall.globalMatch(text); m.hasNext();) {
            const auto match = m.next();
            scan.uses.append({match.captured(1), place(match.capturedStart(1))});
        }
        bool tableKeysTaken = false;
        for (auto m = computedCall.globalMatch(text); m.hasNext();) {
            const auto match = m.next();
            // The key is put together in the same file from a literal prefix...
            bool known = false;
            for (auto p = prefix.globalMatch(text); p.hasNext();) {
                const QString start = p.next().captured(1);
                if (!families.contains(start))
                    continue;
                known = true;
                for (const QString& value : families.value(start))
                    scan.uses.append({start + value, place(match.capturedStart())});
            }
            // ...or picked from a table of keys in the same file: each dotted literal in a braced list.
            if (!known && tableKey.match(text).hasMatch()) {
                known = true;
                for (auto t = tableKey.globalMatch(text); !tableKeysTaken && t.hasNext();) {
                    const auto key = t.next();
                    scan.uses.append({key.captured(1), place(key.capturedStart(1))});
                }
                tableKeysTaken = true;
            }
            if (!known)
                scan.problems.append(place(match.capturedStart()) +
                                     QStringLiteral(": a key built at run time"));
        }
    }
    return scan;
}

// The English texts by key, from every *_en.ts under root/resources/translations.
QHash<QString, TranslationEntry> englishTexts(const QString& root)
{
    QHash<QString, TranslationEntry> entries;
    QDirIterator it(root + QStringLiteral("/resources/translations"), {QStringLiteral("*_en.ts")},
                    QDir::Files);
    while (it.hasNext()) {
        QFile file(it.next());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        QXmlStreamReader xml(&file);
        QString id;
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            if (xml.name() == QLatin1String("message")) {
                id = xml.attributes().value(QLatin1String("id")).toString();
            } else if (xml.name() == QLatin1String("translation") && !id.isEmpty()) {
                const QStringView type = xml.attributes().value(QLatin1String("type"));
                TranslationEntry entry;
                entry.finished = type.isEmpty();
                entry.text = xml.readElementText();
                entries.insert(id, entry);
                id.clear();
            }
        }
    }
    return entries;
}

// Why `key` has no usable English text, or an empty string when it has one.
QString englishProblem(const QHash<QString, TranslationEntry>& english, const QString& key)
{
    const auto found = english.constFind(key);
    if (found == english.cend())
        return QStringLiteral("no English text");
    if (!found->finished)
        return QStringLiteral("English text not finished");
    if (found->text.trimmed().isEmpty())
        return QStringLiteral("English text empty");
    return {};
}

QString sourceRoot()
{
    return qEnvironmentVariable("ICONFOUNDRY_SOURCE_DIR");
}

// A small tree of sources and translations whose keys and their faults are written down below.
QString fixtureRoot()
{
    return qEnvironmentVariable("ICONFOUNDRY_TEST_DATA") + QStringLiteral("/textkeys");
}

QHash<QString, QStringList> projectFamilies(const QString& root)
{
    // An icon size's description starts with the name of its idiom.
    return {{QStringLiteral("ImageSize.Idiom.Description."),
             plistValues(root + QStringLiteral("/resources/ImageSizes.plist"), QStringLiteral("idiom"))}};
}

} // namespace

class TestTextKeys : public QObject
{
    Q_OBJECT

private slots:
    void scannerFindsKeys_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("place");
        QTest::addColumn<QString>("problem");
        QTest::newRow("literal") << "Fixture.Translated"
                                 << "src/area/widget.cpp:4"
                                 << "";
        QTest::newRow("literal over two lines") << "Fixture.Untranslated"
                                                << "src/area/widget.cpp:6"
                                                << "no English text";
        QTest::newRow("built from a prefix, translated") << "Fixture.Idiom.iphone"
                                                         << "src/area/widget.cpp:8"
                                                         << "";
        QTest::newRow("built from a prefix, untranslated") << "Fixture.Idiom.watch"
                                                           << "src/area/widget.cpp:8"
                                                           << "no English text";
        QTest::newRow("from a table, translated") << "Fixture.Menu.First"
                                                  << "src/area/menu.cpp:5"
                                                  << "";
        QTest::newRow("from a table, untranslated") << "Fixture.Menu.Second"
                                                    << "src/area/menu.cpp:6"
                                                    << "no English text";
        QTest::newRow("layout, unfinished") << "Fixture.Unfinished"
                                            << "src/area/widget.ui:5"
                                            << "English text not finished";
        QTest::newRow("layout, empty") << "Fixture.EmptyTranslation"
                                       << "src/area/widget.ui:8"
                                       << "English text empty";
    }

    void scannerFindsKeys()
    {
        QFETCH(QString, key);
        QFETCH(QString, place);
        QFETCH(QString, problem);
        const QString root = fixtureRoot();
        const QHash<QString, QStringList> families{
            {QStringLiteral("Fixture.Idiom."),
             plistValues(root + QStringLiteral("/resources/ImageSizes.plist"), QStringLiteral("idiom"))}};
        const TextKeyScan scan = scanTextKeys(root, families);
        QStringList places;
        for (const TextKeyUse& use : scan.uses) {
            if (use.key == key)
                places.append(use.place);
        }
        QCOMPARE(places, QStringList{place});
        QCOMPARE(englishProblem(englishTexts(root), key), problem);
    }

    void scannerFindsNothingElse()
    {
        const QString root = fixtureRoot();
        const TextKeyScan withFamily = scanTextKeys(
            root, {{QStringLiteral("Fixture.Idiom."), {QStringLiteral("iphone"), QStringLiteral("watch")}}});
        QCOMPARE(withFamily.uses.size(), 8);
        QCOMPARE(withFamily.problems, QStringList{});
        // Without the values of its prefix, the built key cannot be checked and is reported.
        const TextKeyScan without = scanTextKeys(root, {});
        QCOMPARE(without.uses.size(), 6);
        QCOMPARE(without.problems,
                 QStringList{QStringLiteral("src/area/widget.cpp:8: a key built at run time")});
    }

    // Every look-up in the project has keys the scan can know, and the scan still sees the calls.
    void projectScan()
    {
        const QString root = sourceRoot();
        QVERIFY2(QFile::exists(root + QStringLiteral("/src")), qPrintable(root));
        const TextKeyScan scan = scanTextKeys(root, projectFamilies(root));
        QVERIFY2(scan.problems.isEmpty(), qPrintable(scan.problems.join(QLatin1Char('\n'))));
        QVERIFY2(scan.uses.size() >= 30, qPrintable(QString::number(scan.uses.size())));
    }

    void everyKeyHasEnglishText_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("place");
        const QString root = sourceRoot();
        QSet<QString> seen;
        for (const TextKeyUse& use : scanTextKeys(root, projectFamilies(root)).uses) {
            if (!seen.contains(use.key)) {
                seen.insert(use.key);
                QTest::newRow(qPrintable(use.key)) << use.key << use.place;
            }
        }
    }

    void everyKeyHasEnglishText()
    {
        QFETCH(QString, key);
        QFETCH(QString, place);
        static const QHash<QString, TranslationEntry> english = englishTexts(sourceRoot());
        const QString problem = englishProblem(english, key);
        QVERIFY2(problem.isEmpty(),
                 qPrintable(place + QStringLiteral(": ") + key + QStringLiteral(": ") + problem));
    }
};

} // namespace iconfoundry

QTEST_GUILESS_MAIN(iconfoundry::TestTextKeys)
#include "tst_textkeys.moc"
