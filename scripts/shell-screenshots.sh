#!/usr/bin/env bash
# Takes the pictures of the About window, the feedback window and the offer of a crash report of
# an earlier run, on a virtual X screen, from the built application. Builds nothing: run it after
# "cmake --build build". Writes docs/screenshots/{about-window,feedback-window,crash-report-offer}.png.
# Usage: bash scripts/shell-screenshots.sh [BUILD_DIR]
# Needs xvfb-run, xdotool and ImageMagick's import (scripts/setup.sh installs them).
set -euo pipefail

# The screen the pictures are taken on.
screen=1100x760
source "$(dirname "$0")/screenshot-session.sh" "$@"

shoot()
{
    sleep 1
    import -window root "$shots/$1"
    echo "shell-screenshots: wrote docs/screenshots/$1"
}

start()
{
    (cd "$home" && exec "$exe" "$@" 2>>"$home/app.log") &
    app=$!
}

stop()
{
    kill "$app" 2>/dev/null || true
    wait "$app" 2>/dev/null || true
    app=
}

# About and feedback, from the Help menu.
start "$root/resources/images/SampleIcon.png"
main=$(wait_for_window "IconFoundry")
xdotool windowmove "$main" 0 0
sleep 1
xdotool windowfocus --sync "$main" key alt+h
sleep 0.5
xdotool key a
about=$(wait_for_window "About IconFoundry")
shoot about-window.png
xdotool windowfocus --sync "$about" key Escape
xdotool windowfocus --sync "$main" key alt+h
sleep 0.5
xdotool key f
feedback=$(wait_for_window "Send Feedback")
xdotool windowmove "$feedback" 300 120
xdotool windowfocus --sync "$feedback"
xdotool type --delay 20 "The 20 pt icon of the phone set looks soft; could it be sharpened?"
shoot feedback-window.png
stop

# A run that crashes on purpose, then the next launch with its offer, details shown.
ICONFOUNDRY_TEST_CRASH=segv "$exe" 2>>"$home/app.log" || true
start
sleep 3
# "Show Details…", the middle button, unfolds the report.
xdotool mousemove 603 394 click 1   # where the box opens on this screen without a window manager
shoot crash-report-offer.png
stop
