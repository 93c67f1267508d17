#pragma once

#include "platform/error.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace iconfoundry {

// Puts our icons into a web app manifest (manifest.webmanifest or manifest.json) and changes
// nothing else: the text outside the "icons" array stays byte for byte as it was, so other keys,
// their order, their spelling and the file's indentation all survive.
//
// Merging the array: an entry whose "sizes" is exactly one of our sizes and whose "purpose"
// (default "any") is exactly our purpose is our slot; it is rewritten in its place, and when its
// "src" is a plain relative path to a PNG file below the manifest's folder, our icon takes that
// name, so a project that already names its icons keeps them and no file is orphaned. Entries of
// other sizes or purposes are kept as they are written; slots nobody had are appended. The new
// array is indented one step deeper than the "icons" key, one member per line.
// Stateless and thread-safe.
class WebManifest
{
public:
    struct Icon
    {
        QString src; // in: our name; out: the name the manifest already uses for the slot, if any
        int side = 0;
        QString purpose; // "any" or "maskable"
    };

    static inline const QString errorDomain = QStringLiteral("WebManifest");
    enum ErrorCode
    {
        NotJson = 1,      // not well-formed JSON (or not UTF-8, or keys twice)
        NotAnObject = 2,  // the top level is not an object
        IconsNotArray = 3 // "icons" holds something else than an array
    };

    // text: the manifest as it is, empty for none (a new manifest holding only "icons" is
    // written). On failure returns false, fills error and leaves out and icons alone.
    static bool merge(const QByteArray& text, QList<Icon>& icons, QByteArray& out, Error* error = nullptr);
};

} // namespace iconfoundry
