# Sourced by the screenshot scripts once they run on the virtual screen. A fresh user, so nobody's
# own settings, recent files, logs or crash reports end up in the pictures: sets $home (the caller's
# EXIT trap removes it) and the environment, and defines wait_for_window.

home=$(mktemp -d)
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
    echo "$(basename "$0" .sh): no window named '$1' appeared" >&2
    return 1
}
