#pragma once

#include "iconset/iconfileplan.h"
#include "iconset/platformiconrenderer.h"

#include <QString>

namespace iconfoundry {

// The icons of a web site or web app, made for the folder that holds its manifest (or its
// index.html):
// - favicon.ico with 16, 32 and 48 pixel entries;
// - apple-touch-icon.png, 180 pixels, opaque (iOS would fill transparency with black);
// - the manifest's icons: 192 and 512 pixels with purpose "any" (icon-192.png, icon-512.png,
//   transparency kept) and with purpose "maskable" (icon-192-maskable.png,
//   icon-512-maskable.png: opaque, the artwork's visible pixels inside the central circle of 40%
//   of the side in radius, which every mask leaves whole);
// - the manifest itself: manifest.webmanifest, else manifest.json, merged (WebManifest), or a new
//   manifest.webmanifest when the folder has neither. A slot the manifest already names keeps its
//   file name.
// Stateless and thread-safe.
class WebIconSet
{
public:
    static constexpr int kAppleTouchSide = 180;
    static constexpr double kMaskableSafeDiameter = 0.8;

    // How many files plan() gives: favicon.ico, apple-touch-icon.png, four manifest icons and the
    // manifest.
    static constexpr int kFileCount = 7;

    // The manifest's name in the folder: the one there, else manifest.webmanifest.
    static QString manifestName(const QString& folder);

    // All the files, states not yet examined. Fails when the manifest cannot be read or merged
    // (error in WebManifest's domain) or nothing could be drawn.
    static bool plan(const PlatformIconRenderer& renderer, const QString& folder, IconFilePlan& out,
                     Error* error = nullptr);
};

} // namespace iconfoundry
