// Times merging icon entries into the largest Contents.json the processor accepts.
//
// The file is generated: tens of thousands of entries of slots the catalogue does not know (some
// with unknown keys holding long numbers and escapes), then one entry per slot of the shipped
// catalogue held by another file, placed last so that a search from the front finds them late;
// blanks after the closing brace bring it to exactly the size limit.

#include "iconset/contentsjsonprocessor.h"
#include "iconset/imageprocessor.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

using namespace iconfoundry;

namespace {

QByteArray entryText(const QByteArray& members)
{
    return "    {\n" + members + "\n    }";
}

QByteArray member(const char* key, const QByteArray& value, bool last = false)
{
    return "      \"" + QByteArray(key) + "\" : " + value + (last ? "" : ",\n");
}

QByteArray quoted(const QString& text)
{
    return '"' + text.toUtf8() + '"';
}

// Unknown slots first, the catalogue's slots last, padded with blanks to exactly `bytes`.
QByteArray generate(const QList<ImageSize>& sizes, qint64 bytes, qsizetype* entries)
{
    QByteArrayList catalogueEntries;
    QSet<QByteArray> seen;
    for (const ImageSize& size : sizes) {
        const QJsonObject d = size.dictionary();
        if (!d.contains(QLatin1String("size")) || !d.contains(QLatin1String("scale")))
            continue;
        const QByteArray key = (d.value("idiom").toString() + ' ' + d.value("size").toString() + ' ' +
                                d.value("scale").toString())
                                   .toUtf8();
        if (seen.contains(key))
            continue;
        seen.insert(key);
        catalogueEntries.append(
            entryText(member("filename", "\"Designer-" + QByteArray::number(seen.size()) + ".png\"") +
                      member("idiom", quoted(d.value("idiom").toString())) +
                      member("scale", quoted(d.value("scale").toString())) +
                      member("size", quoted(d.value("size").toString()), true)));
    }
    const QByteArray head = "{\n  \"images\" : [\n";
    const QByteArray tail =
        "\n  ],\n  \"info\" : {\n    \"author\" : \"xcode\",\n    \"version\" : 1\n  }\n}\n";
    const QByteArray known = catalogueEntries.join(",\n");
    QByteArray text = head;
    qsizetype count = 0;
    for (qint64 n = 1;; ++n) {
        // Every sixteenth entry carries values only their own text can keep.
        const QByteArray unknown = n % 16 ? QByteArray()
                                          : member("note", "\"caf\\u00e9 \\ud800 \\\"q\\\"\"") +
                                                member("order", "12345678901234567890");
        const QByteArray entry = entryText(
            member("filename", "\"mac-" + QByteArray::number(n) + ".png\"") + member("idiom", "\"mac\"") +
            unknown + member("scale", n % 2 ? "\"1x\"" : "\"2x\"") +
            member("size", '"' + QByteArray::number(n) + 'x' + QByteArray::number(n) + '"', n % 16) +
            (n % 16 ? QByteArray() : member("weight", "-0.0e+27", true)));
        if (text.size() + entry.size() + 2 + known.size() + tail.size() > bytes)
            break;
        text += entry + ",\n";
        ++count;
    }
    text += known + tail;
    text.append(bytes - text.size(), ' ');
    *entries = count + catalogueEntries.size();
    return text;
}

// CPU time of this process: on a machine shared with other work it says more than the wall time.
double cpuMs()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    int runs = 3;
    qint64 bytes = ContentsJSONProcessor::maxFileSize;
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--runs") && i + 1 < args.size()) {
            runs = std::max(1, args[++i].toInt());
        } else if (args[i] == QLatin1String("--bytes") && i + 1 < args.size()) {
            bytes = std::clamp<qint64>(args[++i].toLongLong(), 1024, ContentsJSONProcessor::maxFileSize);
        } else {
            std::fprintf(stderr, "usage: bench_contentsjson [--runs N] [--bytes SIZE]\n");
            return 2;
        }
    }

    ImageProcessor images;
    const QList<ImageCategory> categories = images.allImageCategories();
    if (categories.isEmpty() || images.allImageSizes().isEmpty()) {
        std::fprintf(stderr, "bench_contentsjson: the shipped catalogue was not found beside the program\n");
        return 1;
    }
    qsizetype entries = 0;
    const QByteArray original = generate(images.allImageSizes(), bytes, &entries);
    QTemporaryDir dir;
    const QString path = QDir(dir.path()).filePath(ContentsJSONProcessor::fileName);
    const auto put = [&] {
        QFile file(path);
        return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
               file.write(original) == original.size();
    };
    std::printf("Contents.json: %lld bytes, %lld entries; all %lld categories of the shipped catalogue; "
                "median of %d runs\n",
                qint64(original.size()), qint64(entries), qint64(categories.size()), runs);

    ContentsJSONProcessor processor(&images);
    // Wall and CPU milliseconds of each step, per run.
    struct Step
    {
        const char* name;
        std::vector<double> wall, cpu;
    };
    Step steps[] = {{"check (checkContentsJSONInPath)", {}, {}},
                    {"question (imageJSONThatExistForCategories)", {}, {}},
                    {"merge (saveJSONforCategories)", {}, {}}};
    qsizetype listed = 0;
    bool saved = true;
    for (int run = 0; run < runs; ++run) {
        if (!put()) {
            std::fprintf(stderr, "bench_contentsjson: cannot write %s\n", qPrintable(path));
            return 1;
        }
        const auto timed = [](Step& step, const auto& work) {
            QElapsedTimer timer;
            const double cpu = cpuMs();
            timer.start();
            work();
            step.wall.push_back(timer.nsecsElapsed() / 1e6);
            step.cpu.push_back(cpuMs() - cpu);
        };
        timed(steps[0], [&] { saved = ContentsJSONProcessor::checkContentsJSONInPath(dir.path()) && saved; });
        timed(steps[1], [&] {
            listed = processor.imageJSONThatExistForCategories(categories, dir.path())
                         .value_or(QList<ImageSize>())
                         .size();
        });
        timed(steps[2], [&] { saved = processor.saveJSONforCategories(categories, dir.path()) && saved; });
    }
    std::printf("%-44s %10s %10s\n", "", "wall ms", "CPU ms");
    for (const Step& step : steps)
        std::printf("%-44s %10.1f %10.1f\n", step.name, median(step.wall), median(step.cpu));
    std::printf("%lld sizes listed as held by other files; the merge %s\n", qint64(listed),
                saved ? "wrote the file" : "FAILED");
    return saved ? 0 : 1;
}
