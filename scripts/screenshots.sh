#!/usr/bin/env bash
# Takes the README's pictures of the built application again, on a virtual X screen, with the bundled
# sample image. Builds nothing: run it after "cmake --build build". Writes docs/screenshots/*.png.
# Usage: bash scripts/screenshots.sh [BUILD_DIR]
# Needs xvfb-run, xdotool and ImageMagick's import (scripts/setup.sh installs them).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
exe=$build/bin/iconfoundry
sample=$root/resources/images/SampleIcon.png
shots=$root/docs/screenshots
[ -x "$exe" ] || { echo "screenshots: no $exe; build first" >&2; exit 1; }
mkdir -p "$shots"

if [ -z "${ICONFOUNDRY_SCREENSHOTS_ON_XVFB:-}" ]; then
    # Again, inside a virtual screen of a common laptop size.
    ICONFOUNDRY_SCREENSHOTS_ON_XVFB=1 exec xvfb-run -a -s "-screen 0 1280x800x24" bash "$0" "$build"
fi

# A fresh user: no settings, recent files or logs of whoever runs this end up in the pictures.
home=$(mktemp -d)
trap 'kill "$app" 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$home"' EXIT
export HOME=$home XDG_CONFIG_HOME=$home/config XDG_STATE_HOME=$home/state XDG_DATA_HOME=$home/data
export XDG_RUNTIME_DIR=$home/runtime QT_QPA_PLATFORM=xcb LANG=C.UTF-8
mkdir -m 700 "$XDG_RUNTIME_DIR"

# The first visible window whose title matches $1, waited for up to ten seconds.
wait_for_window()
{
    local id
    for _ in $(seq 100); do
        id=$(xdotool search --onlyvisible --name "$1" 2>/dev/null | head -1) || true
        [ -n "$id" ] && { echo "$id"; return 0; }
        sleep 0.1
    done
    echo "screenshots: no window named '$1' appeared" >&2
    return 1
}

# Writes the window $1 to docs/screenshots/$2 once it has drawn itself.
shoot()
{
    sleep 1
    import -window "$1" "$shots/$2"
    echo "screenshots: wrote docs/screenshots/$2"
}

# The log goes to the console too; keep it out of the way.
"$exe" "$sample" 2>"$home/app.log" &
app=$!
main=$(wait_for_window "IconFoundry")
xdotool windowsize "$main" 900 600 windowmove "$main" 0 0
shoot "$main" main-window.png

# A preview window: Window > Phone Preview (the menu has no mnemonic; it is opened with a click on
# its title, the third in the menu bar, and its first item is chosen from the keyboard).
xdotool mousemove --window "$main" 100 8 click 1
sleep 0.5
xdotool key Down Return
preview=$(wait_for_window "Phone Preview")
xdotool windowmove "$preview" 0 0
shoot "$preview" preview-window.png

# --- The Save to Xcode flow (to be filled in once the window saves icon sets) ---
# Ask for Save to Xcode and take the folder dialog with an icon-set folder chosen:
#   project=$home/MyApp/Assets.xcassets/AppIcon.appiconset && mkdir -p "$project"
#   xdotool key --window "$main" ctrl+alt+s               # File > Save to Xcode…
#   dialog=$(wait_for_window "Save to Xcode")              # the dialog's title
#   xdotool type --window "$dialog" "$project"
#   shoot "$dialog" save-to-xcode.png
