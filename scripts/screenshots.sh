#!/usr/bin/env bash
# Takes the README's pictures of the built application again, on a virtual X screen, with the bundled
# sample image. Builds nothing: run it after "cmake --build build". Writes docs/screenshots/*.png.
# Usage: bash scripts/screenshots.sh [BUILD_DIR]
# Needs xvfb-run, xdotool and ImageMagick's import (scripts/setup.sh installs them).
set -euo pipefail

# A screen of a common laptop size.
screen=1280x800
source "$(dirname "$0")/screenshot-session.sh" "$@"
sample=$root/resources/images/SampleIcon.png

# Writes the window $1 to docs/screenshots/$2 once it has drawn itself.
shoot()
{
    sleep 1
    import -window "$1" "$shots/$2"
    echo "screenshots: wrote docs/screenshots/$2"
}

# Android and Web ticked, so that the main window shows their options in use.
mkdir -p "$XDG_CONFIG_HOME/co.velmora"
printf '[General]\nPlatformIconSets=android, web\n' >"$XDG_CONFIG_HOME/co.velmora/co.velmora.IconFoundry.conf"
# The log goes to the console too; keep it out of the way.
# From the new user's home, where the folder dialogs start. No launch announcement in these
# pictures ("about:blank" gives no feed); the announcement pictures come last.
(cd "$home" && ICONFOUNDRY_ANNOUNCEMENTS_URL=about:blank exec "$exe" "$sample" 2>"$home/app.log") &
app=$!
main=$(wait_for_window "IconFoundry")
xdotool windowsize "$main" 1000 740 windowmove "$main" 0 0
shoot "$main" main-window.png

# The Save to Xcode flow into an icon set of the current Xcode template (one size, dark, tinted):
# the instructions alert, then (after the folder dialog) the question whether to fill the set's
# own slots or the ticked ones.
project=$home/MyApp/Assets.xcassets/AppIcon.appiconset
mkdir -p "$project"
"$exe" generate --quiet --xcode "$project" --category 132 "$sample"
xdotool key --window "$main" ctrl+alt+s   # File > Save to Xcode…
sleep 1.5
import -window root -crop 1000x740+0+0 "$shots/save-to-xcode-instructions.png"
echo "screenshots: wrote docs/screenshots/save-to-xcode-instructions.png"
xdotool key Return
sleep 1.5
# The folder dialog's name field has the focus. The path is pasted: typed, the field's completer
# swallows a key now and then.
printf '%s' "$project" | xclip -selection clipboard
sleep 0.3
xdotool key --delay 150 ctrl+a ctrl+v
sleep 0.5
xdotool key Return
sleep 1.5
import -window root -crop 1000x740+0+0 "$shots/save-to-xcode-slots.png"
echo "screenshots: wrote docs/screenshots/save-to-xcode-slots.png"
xdotool key Escape
sleep 0.5


# A preview window: Window > Phone Preview (the menu has no mnemonic; it is opened with a click on
# its title, the third in the menu bar, and its first item is chosen from the keyboard).
xdotool mousemove --window "$main" 100 8 click 1
sleep 0.5
xdotool key Down Return
preview=$(wait_for_window "Phone Preview")
xdotool windowmove "$preview" 0 0
shoot "$preview" preview-window.png

# The drop highlight and the progress window are drawn by the window tests, which can keep their
# pictures: ICONFOUNDRY_SCREENSHOT_DIR=docs/screenshots ctest --test-dir build -R "clipboard|saveflows"

# The announcements: a second first launch, whose welcome comes up over the main window, then
# Help > Announcements (the fourth menu, its third item) on the feed's last entry. Qt WebEngine refuses to run as
# root with its sandbox; only then is the sandbox turned off.
kill "$app" 2>/dev/null || true
wait "$app" 2>/dev/null || true
rm -rf "$XDG_CONFIG_HOME"
[ "$(id -u)" -eq 0 ] && export QTWEBENGINE_DISABLE_SANDBOX=1
(cd "$home" && exec "$exe" "$sample" 2>"$home/app.log") &
app=$!
main=$(wait_for_window "IconFoundry")
xdotool windowsize "$main" 1000 740 windowmove "$main" 0 0
welcome=$(wait_for_window "IconFoundry News")
xdotool windowmove "$welcome" 220 110
sleep 3
import -window root -crop 1000x740+0+0 "$shots/announcement-launch.png"
echo "screenshots: wrote docs/screenshots/announcement-launch.png"
xdotool key --window "$welcome" Return
sleep 0.5
xdotool mousemove --window "$main" 150 8 click 1
sleep 0.5
# About, Home Page, then Announcements.
xdotool key Down Down Down Return
history=$(wait_for_window "^Announcements$")
xdotool windowmove "$history" 220 110
sleep 3
import -window root -crop 1000x740+0+0 "$shots/announcement-history.png"
echo "screenshots: wrote docs/screenshots/announcement-history.png"
