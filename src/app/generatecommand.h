#pragma once

#include <QString>
#include <QStringList>

namespace iconfoundry {

// `iconfoundry generate SOURCE`: renders the icon files of chosen categories without a display
// and, with --xcode, merges them into the icon set's Contents.json.
//
// Promises:
// 1. Every input is checked before anything is written: the options, the categories, the source
//    image (decoded), the folder (exists, is a folder, takes a new file), the existing
//    Contents.json (for --xcode) and the files and catalogue slots that would be replaced.
// 2. Nothing existing is replaced silently: without --force the command lists what would be
//    replaced and exits with WouldReplace, writing nothing.
// 3. Every failure prints one clear message on standard error and exits with its own code.
// 4. Progress goes to standard error only when it is a terminal; --quiet silences progress and the
//    summary; --json prints a machine-readable report on standard output instead of the summary.
// Runs on the calling thread inside an existing QCoreApplication.
class GenerateCommand
{
public:
    enum ExitCode
    {
        Success = 0,
        Failure = 1,            // the icon catalogue could not be read
        Usage = 2,              // bad options or arguments
        SourceUnusable = 3,     // the source image is missing or cannot be decoded
        UnknownCategory = 4,    // a --category names no catalogue category
        FolderMissing = 5,      // the output folder does not exist
        FolderUnwritable = 6,   // the output folder is a file or does not take new files
        ContentsJSONBroken = 7, // the icon set's Contents.json cannot be merged into
        WouldReplace = 8,       // existing files or slots would be replaced and --force is not given
        WriteFailed = 9,        // writing an icon file or Contents.json failed
    };

    // arguments: everything after "generate".
    static int run(const QStringList& arguments);
    // The usage text, options and exit codes.
    static QString helpText();
};

} // namespace iconfoundry
