#!/usr/bin/env bash
# Installs every Debian package that building, running and testing IconFoundry needs.
# Safe to run again: packages already present are skipped by apt.
set -euo pipefail

packages=(
  # compilers and the build: CMake with Ninja, pkg-config finds the C libraries, git for the sources
  build-essential cmake ninja-build pkg-config git
  # Qt: widgets and the platform plugins, SVG rendering and the extra image formats (TIFF, WebP)
  qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins
  qt6-svg-dev qt6-image-formats-plugins
  # Qt WebEngine: the announcement windows show their pages in a web view (Qt Network comes with
  # qt6-base-dev and fetches the feed)
  qt6-webengine-dev
  # Qt's translation tools: lrelease compiles resources/translations/*.ts at build time
  qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools
  # property lists (the icon catalogue), fast PNG compression, the systemd journal for the log
  libplist-dev libplist++-dev
  libdeflate-dev
  librsvg2-dev librsvg2-bin zlib1g-dev
  libsystemd-dev
  # crash reports of earlier runs: function names and source lines from the modules' debug information
  libdw-dev
  # the clipboard tests check and fill the X11 clipboard from outside the process
  xclip
  # the manual page is made at build time from the --help texts
  help2man
  # the installed-tree test checks the desktop entry, the AppStream file and the manual page
  desktop-file-utils appstream man-db groff-base
  # an X server without a screen for the window tests and scripts/screenshots.sh, a font to draw with;
  # xdotool drives the window and ImageMagick's import takes the pictures in scripts/screenshots.sh
  xvfb xauth fonts-dejavu-core xdotool imagemagick
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#packages[@]} packages present"
  exit 0
fi

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
echo "setup: installing ${missing[*]}"
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
echo "setup: installed ${missing[*]}"
