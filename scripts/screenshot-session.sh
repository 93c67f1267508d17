# Sourced first by the screenshot scripts, with the script's arguments and $screen (WIDTHxHEIGHT)
# set. Sets root, build, exe and shots; starts the script again inside xvfb-run when it is not
# there yet; then makes a fresh user, so nobody's own settings, recent files, logs or crash reports
# end up in the pictures ($home, removed on exit with the app whose pid is in $app), and defines
# wait_for_window.

name=$(basename "$0" .sh)
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
exe=$build/bin/iconfoundry
shots=$root/docs/screenshots
[ -x "$exe" ] || { echo "$name: no $exe; build first" >&2; exit 1; }
mkdir -p "$shots"

if [ -z "${ICONFOUNDRY_SCREENSHOTS_ON_XVFB:-}" ]; then
    ICONFOUNDRY_SCREENSHOTS_ON_XVFB=1 exec xvfb-run -a -s "-screen 0 ${screen}x24" bash "$0" "$build"
fi

app=
home=$(mktemp -d)
trap '[ -n "$app" ] && kill "$app" 2>/dev/null; wait 2>/dev/null || true; rm -rf "$home"' EXIT
export HOME=$home XDG_CONFIG_HOME=$home/config XDG_STATE_HOME=$home/state XDG_DATA_HOME=$home/data
export XDG_RUNTIME_DIR=$home/runtime QT_QPA_PLATFORM=xcb LANG=C.UTF-8
mkdir -m 700 "$XDG_RUNTIME_DIR"

# The newest visible window whose title matches $1, waited for up to ten seconds.
wait_for_window()
{
    local id
    for _ in $(seq 100); do
        id=$(xdotool search --onlyvisible --name "$1" 2>/dev/null | tail -1) || true
        [ -n "$id" ] && { echo "$id"; return 0; }
        sleep 0.1
    done
    echo "$name: no window named '$1' appeared" >&2
    return 1
}
