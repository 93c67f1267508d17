#pragma once

#include "iconset/iconfileplan.h"
#include "iconset/platformiconrenderer.h"

#include <QByteArray>
#include <QColor>
#include <QString>
#include <array>

namespace iconfoundry {

// The launcher icons of an Android app, made for its `res` folder:
// - per density (mdpi 1x to xxxhdpi 4x), in mipmap-<density>/: the legacy square icon
//   ic_launcher.png (48 dp, opaque) and the round one ic_launcher_round.png (48 dp, cut to a
//   circle), and the layers of the adaptive icon (108 dp): ic_launcher_foreground.png,
//   ic_launcher_monochrome.png (the themed icon: only its alpha counts) and, for a background
//   image, ic_launcher_background.png;
// - mipmap-anydpi-v26/ic_launcher.xml and ic_launcher_round.xml, the adaptive icon, and for a
//   background colour values/ic_launcher_background.xml, in the form Android Studio writes;
// - the 512 px Play Store icon ic_launcher-playstore.png, opaque, beside the res folder (in
//   src/main, where Android Studio keeps it), or inside the folder when it is not named res.
//
// Layers: launchers show the middle 72 dp of the 108 dp layers through a mask, and only a circle
// of 66 dp is visible under every mask, so the artwork is placed inside the 72 dp square with all
// its visible pixels inside that circle: nothing is cut whatever the device's mask.
// Stateless and thread-safe.
class AndroidIconSet
{
public:
    struct Density
    {
        const char* name;
        int percent; // of mdpi
    };
    static const std::array<Density, 5>& densities();

    // Sizes in dp (mdpi pixels).
    static constexpr int kLegacySide = 48;
    static constexpr int kLayerSide = 108;
    static constexpr int kSafeSide = 72;
    static constexpr int kVisibleDiameter = 66;
    static constexpr int kPlayStoreSide = 512;
    static constexpr qint64 kPlayStoreMaxBytes = 1024 * 1024;

    // All the files for the folder, states not yet examined. Fails when nothing could be drawn.
    static bool plan(const PlatformIconRenderer& renderer, const QString& resFolder, IconFilePlan& out,
                     Error* error = nullptr);

    // How many files plan() gives, without drawing them.
    static int fileCount(bool backgroundImage);

    // The adaptive icon's XML (the same for ic_launcher and ic_launcher_round).
    static QByteArray adaptiveIconXml(bool backgroundImage);
    // values/ic_launcher_background.xml for the colour (#RRGGBB, upper case).
    static QByteArray backgroundColourXml(const QColor& colour);
    // True for a resources file holding nothing but the ic_launcher_background colour: Android
    // Studio's and ours, whatever the colour.
    static bool isBackgroundColourXml(const QByteArray& text);
    // Where the Play Store icon goes, relative to the folder.
    static QString playStoreName(const QString& resFolder);
};

} // namespace iconfoundry
