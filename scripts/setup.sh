#!/usr/bin/env bash
# Installs every Debian package that building, running and testing IconFoundry needs.
# Safe to run again: packages already present are skipped by apt.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins
  qt6-svg-dev qt6-image-formats-plugins
  qt6-webengine-dev
  qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools
  libplist-dev libplist++-dev
  libdeflate-dev
  librsvg2-dev librsvg2-bin zlib1g-dev
  libsystemd-dev
  xvfb xauth fonts-dejavu-core
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
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
echo "setup: installed ${missing[*]}"
