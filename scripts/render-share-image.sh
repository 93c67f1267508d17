#!/usr/bin/env bash
# Renders the share menu's picture (resources/images/ShareAppImage.svg, drawn by hand) into the
# PNG the application loads. Run again after changing the SVG.
set -euo pipefail
cd "$(dirname "$0")/.."
rsvg-convert -w 512 -h 512 resources/images/ShareAppImage.svg -o resources/images/ShareAppImage.png
