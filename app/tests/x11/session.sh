# Sourced by the desktop tests: a scratch folder whose background programs
# end with the script, failure reporting with the logs, waits for windows and
# log lines, and a private X server with a tray host.
#
# Before sourcing, a script may set `artifacts` (a screenshot is saved there
# on failure).

work=$(mktemp -d)
pids=()
cleanup() {
    for p in "${pids[@]}"; do
        kill "$p" 2>/dev/null
    done
    wait 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAIL: $*"
    if [[ -n ${artifacts:-} && -n ${DISPLAY:-} ]]; then
        import -window root "$artifacts/failure-$(basename "$0" .sh).png" 2>/dev/null
    fi
    for log in "$work"/*.log; do
        [[ -f $log ]] || continue
        echo "--- $(basename "$log")"
        tail -n 20 "$log"
    done
    exit 1
}
step() { echo "== $*"; }

# Everything the program keeps goes into the scratch folder, and nothing of
# the caller's session (bus, data folder, platform choice) leaks in.
private_environment() {
    local dict=$1
    export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data
    export XDG_RUNTIME_DIR=$work/run TMPDIR=$work/tmp TALVO_DICT=$dict QT_QPA_PLATFORM=xcb
    mkdir -p "$HOME" "$XDG_RUNTIME_DIR" "$TMPDIR"
    chmod 700 "$XDG_RUNTIME_DIR"
    unset DBUS_SESSION_BUS_ADDRESS TALVO_DATA_DIR TALVO_PLATFORM TALVO_CONFIG
}

# Waits up to 8 s for a visible window whose name matches; prints its id.
wait_window() {
    local id
    for _ in $(seq 80); do
        id=$(xdotool search --onlyvisible --name "$1" 2>/dev/null | head -n 1)
        if [[ -n $id ]]; then
            echo "$id"
            return 0
        fi
        sleep 0.1
    done
    return 1
}
wait_gone() {
    for _ in $(seq 60); do
        if ! xdotool search --onlyvisible --name "$1" >/dev/null 2>&1; then
            return 0
        fi
        sleep 0.1
    done
    return 1
}
wait_line() {  # FILE TEXT
    for _ in $(seq 100); do
        grep -q "$2" "$1" 2>/dev/null && return 0
        sleep 0.05
    done
    return 1
}

# Xvfb on a free display and trayer as the tray host; exports DISPLAY.
start_x_with_tray() {  # SCREEN (e.g. 1280x800x24)
    Xvfb -displayfd 3 -screen 0 "$1" -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
    pids+=($!)
    for _ in $(seq 100); do
        [[ -s $work/display ]] && break
        sleep 0.05
    done
    [[ -s $work/display ]] || fail "Xvfb did not start"
    export DISPLAY=":$(head -n 1 "$work/display")"
    trayer --edge top --align right --widthtype request --height 28 --SetDockType true \
        --transparent false --tint 0xd8cbab >"$work/trayer.log" 2>&1 &
    pids+=($!)
}

# Runs a program in the background until it answers `PROGRAM --ping`.
start_until_ready() {  # PROGRAM LOG [ARGS...]
    local program=$1 log=$2
    shift 2
    "$program" "$@" >"$log" 2>&1 &
    ready_pid=$!
    pids+=($ready_pid)
    for _ in $(seq 100); do
        "$program" --ping >/dev/null 2>&1 && return 0
        sleep 0.1
    done
    fail "$(basename "$program") did not get ready"
}
