# Sourced by the Wayland end-to-end test and benchmark: a headless sway in a
# private D-Bus session, as an unprivileged user (sway refuses to run as
# root), in a throwaway folder that user owns.

# Outside: runs `bash SCRIPT --inner WORK ARGS...` in that session and
# returns its status; WORK is removed afterwards unless KEEP_WORK names a
# function to call with it first (to copy screenshots out).
headless_sway_session() {  # SCRIPT ARGS...
    local script work status inner
    script=$(readlink -f "$1")
    shift
    work=$(mktemp -d)
    chmod 755 "$work"
    inner=(dbus-run-session -- bash "$script" --inner "$work" "$@")
    if [[ $(id -u) -eq 0 ]]; then
        command -v setpriv >/dev/null || { echo "SKIP: setpriv is not installed"; rm -rf "$work"; return 77; }
        chown 65534:65534 "$work"
        env -i PATH="$PATH" LANG=C.UTF-8 WATCH=${WATCH:-} setpriv --reuid=65534 --regid=65534 --clear-groups "${inner[@]}"
    else
        env -i PATH="$PATH" LANG=C.UTF-8 WATCH=${WATCH:-} "${inner[@]}"
    fi
    status=$?
    [[ -n ${KEEP_WORK:-} ]] && "$KEEP_WORK" "$work"
    rm -rf "$work"
    return $status
}

# Inside: a home, a runtime folder and a Qt that speaks Wayland, all in WORK.
headless_sway_environment() {  # WORK
    local work=$1
    export HOME=$work/home XDG_CONFIG_HOME=$work/home/config XDG_DATA_HOME=$work/home/data
    export XDG_RUNTIME_DIR=$work/run TMPDIR=$work/tmp
    export QT_QPA_PLATFORM=wayland WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1
    export WLR_RENDERER=pixman
    unset DISPLAY WAYLAND_DISPLAY TALVO_PLATFORM TALVO_DATA_DIR
    mkdir -p "$HOME" "$XDG_RUNTIME_DIR" "$TMPDIR"
    chmod 700 "$XDG_RUNTIME_DIR"
}

# Inside: starts sway on CONFIG (a 1280 × 800 screen at the origin, with a
# tray host, plus the lines given) and points WAYLAND_DISPLAY and SWAYSOCK
# at it; prints why and returns 77 when it cannot start. Its pid lands in
# SWAY_PID.
headless_sway_start() {  # WORK [CONFIG LINE...]
    local work=$1
    shift
    {
        echo "xwayland disable"
        echo "output HEADLESS-1 resolution 1280x800 position 0 0"
        echo "bar { tray_output * }"
        printf '%s\n' "$@"
    } >"$work/sway.conf"
    sway -c "$work/sway.conf" >"$work/sway.log" 2>&1 &
    SWAY_PID=$!
    for _ in $(seq 100); do
        [[ -S $XDG_RUNTIME_DIR/wayland-1 ]] && break
        sleep 0.05
    done
    if [[ ! -S $XDG_RUNTIME_DIR/wayland-1 ]]; then
        echo "SKIP: sway did not start: $(tail -n 3 "$work/sway.log")"
        return 77
    fi
    export WAYLAND_DISPLAY=wayland-1
    SWAYSOCK=$(ls "$XDG_RUNTIME_DIR"/sway-ipc.*.sock 2>/dev/null | head -n 1)
    export SWAYSOCK
    [[ -S $SWAYSOCK ]] || { echo "SKIP: no sway IPC socket"; return 77; }
}
