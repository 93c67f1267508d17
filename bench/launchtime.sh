#!/usr/bin/env bash
# Prints how long `iconfoundry` takes from being started to its first window being on screen
# (mapped and visible on the X display), and, when a second window follows (the launch
# announcement), until that one is on screen too. Several builds given at once are run in turn,
# run by run, so that they share the machine's load alike. Median of RUNS runs (default 11), each
# with a fresh settings folder, so every run is a first launch.
#
#   xvfb-run -a -s "-screen 0 1280x800x24" bench/launchtime.sh build/bin/iconfoundry [OTHER-BUILD...]
#
# Needs a display (the command above gives it one) and xdotool. Not a test: it prints figures.
set -euo pipefail

(( $# >= 1 )) || { echo "usage: launchtime.sh PATH/TO/iconfoundry [OTHER...]" >&2; exit 2; }
runs=${RUNS:-11}
: "${DISPLAY:?run under xvfb-run or on a display}"

now_ms() { echo $(( $(date +%s%N) / 1000000 )); }
median() { sort -n | awk 'NF { v[++n] = $1 } END { if (n == 0) print "-"; else print v[int((n + 1) / 2)] }'; }

# One launch: prints "FIRST SECOND" in milliseconds, "-" for a window that did not come.
launch() {
  local binary=$1 home start pid count first="" second=""
  home=$(mktemp -d)
  start=$(now_ms)
  HOME=$home XDG_CONFIG_HOME=$home/config XDG_STATE_HOME=$home/state QT_QPA_PLATFORM=xcb \
    "$binary" >/dev/null 2>&1 &
  pid=$!
  while (( $(now_ms) - start < 20000 )); do
    count=$(xdotool search --onlyvisible --pid "$pid" 2>/dev/null | wc -l || true)
    if [[ -z $first && $count -ge 1 ]]; then first=$(( $(now_ms) - start )); fi
    if [[ -n $first && $count -ge 2 ]]; then second=$(( $(now_ms) - start )); break; fi
    # Without an announcement there is no second window: give up 4 s after the first.
    if [[ -n $first ]] && (( $(now_ms) - start - first > 4000 )); then break; fi
    sleep 0.005
  done
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
  rm -rf "$home"
  echo "${first:--} ${second:--}"
}

declare -A firsts seconds
for ((i = 1; i <= runs; ++i)); do
  for binary in "$@"; do
    read -r first second < <(launch "$binary")
    echo "run $i $binary: first window $first ms, second window $second ms"
    [[ $first != - ]] && firsts[$binary]+="$first "
    [[ $second != - ]] && seconds[$binary]+="$second "
  done
done
for binary in "$@"; do
  echo "median of $runs runs, $binary: first window $(tr ' ' '\n' <<<"${firsts[$binary]:-}" | median) ms," \
       "second window $(tr ' ' '\n' <<<"${seconds[$binary]:-}" | median) ms"
done
