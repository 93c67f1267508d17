#!/usr/bin/env bash
# Installs the build into a fresh prefix, as a user would with "cmake --install", and checks that
# the installed tree works on its own: the program finds its catalogue and translations there, and
# the desktop files, the manual page and the completion are where desktops and shells look.
# Usage: installedtree.sh BUILD_DIR TEST_DATA_DIR
set -uo pipefail

build=$(cd "$1" && pwd)
data=$(cd "$2" && pwd)
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
failures=0

fail()
{
    echo "FAIL: $*"
    failures=$((failures + 1))
}

expect_file()
{
    [ -s "$prefix/$1" ] || fail "$1 is not installed"
}

if ! cmake --install "$build" --prefix "$prefix" >"$prefix/install.log" 2>&1; then
    cat "$prefix/install.log"
    echo "FAIL: cmake --install"
    exit 1
fi

for file in \
    bin/iconfoundry \
    lib/iconfoundry/libiconfoundry-announcements.so \
    share/iconfoundry/resources/ImageSizes.plist \
    share/iconfoundry/resources/ImageCategories.plist \
    share/iconfoundry/resources/translations/iconfoundry_mainwindow_en.qm \
    share/applications/co.velmora.IconFoundry.desktop \
    share/metainfo/co.velmora.IconFoundry.metainfo.xml \
    share/icons/hicolor/scalable/apps/co.velmora.IconFoundry.svg \
    share/icons/hicolor/256x256/apps/co.velmora.IconFoundry.png \
    share/icons/hicolor/64x64/apps/co.velmora.IconFoundry.png \
    share/man/man1/iconfoundry.1 \
    share/man/man1/iconfoundry-generate.1 \
    share/bash-completion/completions/iconfoundry; do
    expect_file "$file"
done

# Nothing of the build tree may be reachable: a resource folder beside the installed program would
# hide a broken look-up in share/.
[ ! -e "$prefix/bin/resources" ] || fail "bin/resources is installed"

exe=$prefix/bin/iconfoundry
# Run from elsewhere and without the variable that points the program at resources, so only the
# installed layout can answer.
run()
{
    (cd "$prefix" && exec env -u ICONFOUNDRY_RESOURCE_DIR QT_QPA_PLATFORM=offscreen "$exe" "$@")
}

version=$(run --version) || fail "--version exits with $?"
[ "$version" = "iconfoundry 0.1.0 (build 1)" ] || fail "--version prints '$version'"

list=$(run list) || fail "list exits with $?"
for line in "iPhone (101, iphone)" "App Store (121, ios-marketing)" "Mac (201, mac)" "CarPlay (401, car)"; do
    grep -qxF "$line" <<<"$list" || fail "list has no line '$line'"
done
grep -qE '^  AppIcon-60@3x\.png +60 pt +@3x +180x180 px +iphone$' <<<"$list" ||
    fail "list has no 60 pt @3x iPhone size"

# The sizes are read from the PNG header: width and height are the big-endian words at byte 16.
pixel_size()
{
    local bytes
    bytes=($(od -An -tu1 -j16 -N8 "$1"))
    echo "$(((bytes[0] << 24) | (bytes[1] << 16) | (bytes[2] << 8) | bytes[3]))x$(((bytes[4] << 24) | (bytes[5] << 16) | (bytes[6] << 8) | bytes[7]))"
}

out=$prefix/icons
run generate "$prefix/share/iconfoundry/resources/images/SampleIcon.png" --out "$out" -c iPhone -q ||
    fail "generate of the installed sample exits with $?"
for expected in AppIcon-20@2x.png:40x40 AppIcon-20@3x.png:60x60 AppIcon-29@2x.png:58x58 \
    AppIcon-29@3x.png:87x87 AppIcon-40@2x.png:80x80 AppIcon-40@3x.png:120x120 \
    AppIcon-60@2x.png:120x120 AppIcon-60@3x.png:180x180; do
    name=${expected%%:*}
    if [ ! -f "$out/$name" ]; then
        fail "generate wrote no $name"
    elif [ "$(pixel_size "$out/$name")" != "${expected#*:}" ]; then
        fail "$name is $(pixel_size "$out/$name"), not ${expected#*:}"
    fi
done
[ "$(ls "$out" | wc -l)" -eq 8 ] || fail "generate -c iPhone wrote $(ls "$out" | wc -l) files, not 8"

# A small, oblong image: warned about, used all the same.
small=$prefix/small
warnings=$(run generate "$data/blue-20x10-no-dpi.png" --out "$small" -c 'App Store' 2>&1 >/dev/null) ||
    fail "generate of a 20 x 10 image exits with $?"
grep -q "neither square nor 4:3" <<<"$warnings" || fail "no warning about the shape: $warnings"
grep -q "only 20 x 10 pixels" <<<"$warnings" || fail "no warning about the size: $warnings"
[ "$(pixel_size "$small/AppIcon-1024.png" 2>/dev/null)" = "1024x1024" ] ||
    fail "the App Store icon of a small image is not 1024x1024"

# The web engine is the announcement module's alone, and Qt Widgets and Qt Network are the window
# module's: the program itself loads none of them at start, so the command line starts quickly.
[ -s "$prefix/lib/iconfoundry/libiconfoundry-window.so" ] || fail "the window module is not installed"
for library in WebEngine Widgets Network; do
    if readelf -d "$exe" | grep -q "NEEDED.*Qt6$library"; then
        fail "bin/iconfoundry links Qt $library"
    fi
done
# The installed program finds the installed module when the launch announcement comes (the shipped
# feed's welcome), and every symbol the module needs resolves against it and the window module.
state=$prefix/state
# exec: $! is then the program itself, which the kill below must reach (a subshell would be
# killed in its place and leave the program running).
(cd "$prefix" && exec env -u ICONFOUNDRY_RESOURCE_DIR -u ICONFOUNDRY_ANNOUNCEMENTS_URL -u ICONFOUNDRY_ANNOUNCEMENTS_MODULE \
    -u ICONFOUNDRY_WINDOW_MODULE \
    QT_QPA_PLATFORM=offscreen QTWEBENGINE_DISABLE_SANDBOX=1 ICONFOUNDRY_LOG_JOURNAL=0 \
    HOME="$prefix/home" XDG_CONFIG_HOME="$prefix/config" XDG_STATE_HOME="$state" \
    "$exe" >"$prefix/window.log" 2>&1) &
window=$!
loaded=""
for _ in $(seq 1 200); do
    loaded=$(grep -rhoE "(Loaded|Cannot load) the announcement windows.*" "$state" 2>/dev/null | head -n 1)
    [ -n "$loaded" ] && break
    sleep 0.1
done
kill "$window" 2>/dev/null
wait "$window" 2>/dev/null
[ "$loaded" = "Loaded the announcement windows from $prefix/lib/iconfoundry/libiconfoundry-announcements.so" ] ||
    fail "the installed program does not load its announcement module: '${loaded:-no log line}'"

if ! report=$(desktop-file-validate "$prefix/share/applications/co.velmora.IconFoundry.desktop" 2>&1) ||
    [ -n "$report" ]; then
    fail "desktop-file-validate: $report"
fi
report=$(appstreamcli validate --no-net "$prefix/share/metainfo/co.velmora.IconFoundry.metainfo.xml" 2>&1) ||
    fail "appstreamcli validate: $report"

# The page must render without a groff warning; the second name must lead to the same page.
page=$(cd "$prefix/share/man" && MANWIDTH=80 man --warnings -l man1/iconfoundry.1 2>"$prefix/man.err") ||
    fail "man -l iconfoundry.1 exits with $?"
[ ! -s "$prefix/man.err" ] || fail "man warns: $(cat "$prefix/man.err")"
for heading in NAME SYNOPSIS DESCRIPTION EXAMPLES FILES; do
    grep -q "^$heading" <<<"$page" || fail "the manual page has no $heading section"
done
grep -q -- "--xcode DIR" <<<"$page" || fail "the manual page does not describe --xcode"
grep -q "co.velmora.IconFoundry.conf" <<<"$page" || fail "the manual page does not name the settings file"
generate_page=$(cd "$prefix/share/man" && MANWIDTH=80 man -l man1/iconfoundry-generate.1 2>&1)
[ "$generate_page" = "$page" ] || fail "iconfoundry-generate.1 is not the iconfoundry page"

completion=$prefix/share/bash-completion/completions/iconfoundry
bash -n "$completion" || fail "the completion does not parse"
# Completing "-c i" after generate offers the catalogue's categories from the installed program.
offered=$(PATH=$prefix/bin:$PATH bash -c '
    source "$1"
    COMP_WORDS=(iconfoundry generate icon.png -c iP); COMP_CWORD=4; _iconfoundry
    printf "%s\n" "${COMPREPLY[@]}"' _ "$completion")
expected_offered=$'iPhone\niPhone\\,\\ iOS\\ 6\\ and\\ older\niPad\niPad\\,\\ iOS\\ 6\\ and\\ older'
[ "$offered" = "$expected_offered" ] || fail "completing '-c iP' offers: $offered"

if [ "$failures" -gt 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "installed tree in a temporary prefix: all checks passed"
