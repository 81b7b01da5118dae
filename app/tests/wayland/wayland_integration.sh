#!/usr/bin/env bash
# The desktop program in a real Wayland session: a headless sway (with a
# tray host), a selection held in PRIMARY by another client, and the lookup
# triggered by `talvo --lookup` and by a key bound in the compositor. Checks
# the one-time notice, the panel's title, that CLIPBOARD is never touched,
# that nothing selected (or a selection left from before) gives the message,
# the place of the panel, the read through the focused panel (GNOME's way),
# `talvo --ocr` saying plainly that no screenshot portal answers here,
# and saves screenshots into ARTIFACTS.
#
# sway refuses to run as root: as root, the session runs as nobody.
#
# usage: wayland_integration.sh TALVO DICT ARTIFACTS
# exit: 0 passed, 1 failed, 77 skipped (tools missing, or the compositor
# cannot start here)
set -uo pipefail

source "$(dirname "$(readlink -f "$0")")/headless_sway.sh"

if [[ ${1:-} == --inner ]]; then
    work=$2 talvo=$3 dict=$4
    # ---- inside the session, as the compositor's user --------------------
    headless_sway_environment "$work"
    export TALVO_DICT=$dict QT_LOGGING_RULES="talvo.*.debug=true"
    mkdir -p "$work/shots"
    pids=()
    trap 'for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done; wait 2>/dev/null' EXIT
    fail() {
        echo "FAIL: $*"
        grim "$work/shots/failure-wayland.png" 2>/dev/null
        echo "running: $(pgrep -a talvo)"
        tail -n 20 "$work"/*.log
        exit 1
    }
    step() { echo "== $*"; }
    # The name of the window whose title matches (a jq-free walk of the tree).
    window() {
        swaymsg -t get_tree 2>/dev/null | python3 -c '
import json, re, sys
def walk(n):
    for c in n.get("nodes", []) + n.get("floating_nodes", []):
        if c.get("name") and re.search(sys.argv[1], c["name"]) and c.get("visible", True):
            print(c["type"], c["name"])
        walk(c)
walk(json.load(sys.stdin))' "$1"
    }
    wait_window() {
        for _ in $(seq 80); do
            found=$(window "$1")
            [[ -n $found ]] && { echo "$found"; return 0; }
            sleep 0.1
        done
        return 1
    }
    # x y width height of the visible window whose title matches.
    rect() {
        swaymsg -t get_tree 2>/dev/null | python3 -c '
import json, re, sys
def walk(n):
    for c in n.get("nodes", []) + n.get("floating_nodes", []):
        if c.get("name") and re.search(sys.argv[1], c["name"]) and c.get("visible", True):
            r = c["rect"]
            print(r["x"], r["y"], r["width"], r["height"])
        walk(c)
walk(json.load(sys.stdin))' "$1"
    }
    wait_gone() {
        for _ in $(seq 60); do
            [[ -z $(window "$1") ]] && return 0
            sleep 0.1
        done
        return 1
    }
    # Until the selection's owner has taken PRIMARY (a loaded machine is slow).
    wait_primary() {
        local held
        for _ in $(seq 50); do
            held=$(wl-paste --primary --no-newline 2>&1)
            [[ $held == "$1" ]] && return 0
            sleep 0.1
        done
        fail "PRIMARY never held $1: $held"
    }
    wait_ready() {
        for _ in $(seq 50); do
            "$talvo" --ping >/dev/null 2>&1 && return 0
            sleep 0.1
        done
        return 1
    }
    step "headless sway"
    headless_sway_start "$work" \
        "bindsym Mod1+d exec echo pressed >>$work/bound.log; exec $talvo --lookup >>$work/bound.log 2>&1" ||
        exit 77
    pids+=($SWAY_PID)

    step "the user's clipboard, which no lookup may change"
    wl-copy --foreground "the user's clipboard" >"$work/clipboard.log" 2>&1 &
    pids+=($!)

    step "talvo starts and says once how to give it a shortcut"
    "$talvo" >"$work/talvo.log" 2>&1 &
    talvo_pid=$!
    pids+=($talvo_pid)
    wait_window '^Talvo$' >/dev/null || fail "no notice about the shortcut"
    sleep 0.3
    grim "$work/shots/wayland-notice.png"
    wtype -s 150 -k Return
    wait_gone '^Talvo$' || fail "the notice did not close"
    wait_ready || fail "talvo did not get ready"

    step "talvo --lookup over a selection held by another client"
    wl-copy --primary --foreground "傷寒論" >"$work/primary.log" 2>&1 &
    primary=$!
    pids+=($primary)
    wait_primary "傷寒論"
    started=$(date +%s%N)
    "$talvo" --lookup || fail "talvo --lookup failed"
    found=$(wait_window '^Talvo — 傷寒論') || fail "no panel for 傷寒論"
    echo "   panel mapped $(( ($(date +%s%N) - started) / 1000000 )) ms after the command"
    [[ $found == "floating_con Talvo — 傷寒論 — Thương Hàn Luận" ]] || fail "panel: $found"
    sleep 0.5
    # No pointer position on Wayland: centred in the upper third of the
    # 1280 × 800 screen, its top edge 800 / 6 down.
    read -r x y w h < <(rect '^Talvo — 傷寒論')
    echo "   panel at $x,$y size ${w}x$h"
    (( x + w / 2 >= 638 && x + w / 2 <= 642 && y >= 131 && y <= 135 )) ||
        fail "panel at $x,$y size ${w}x$h, not in the upper third"
    grim "$work/shots/wayland-panel.png"
    wtype -s 150 -k Escape
    wait_gone '^Talvo — 傷寒論' || fail "Escape did not close the panel"
    # Reading never takes the selection from its owner.
    kill -0 "$primary" 2>/dev/null || fail "the selection's owner lost PRIMARY"

    step "a key bound in the compositor runs the same lookup"
    kill "$primary"
    wl-copy --primary --foreground "數" >"$work/primary2.log" 2>&1 &
    primary=$!
    pids+=($primary)
    wait_primary "數"
    # wtype's first event can be lost while the compositor takes its new keymap.
    wtype -s 150 -M shift -m shift -M alt d -m alt
    wait_window '^Talvo — 數' >/dev/null ||
        fail "the bound key showed no panel; windows: $(window .); key: $(cat "$work/bound.log" 2>/dev/null)"
    wtype -s 150 -k Escape
    wait_gone '^Talvo — 數' || fail "Escape did not close the panel"

    step "the same selection again, left from before: the message"
    sleep 0.3
    "$talvo" --lookup || fail "talvo --lookup failed"
    wait_window '^Talvo — Không đọc được vùng chọn' >/dev/null || fail "a selection already looked up was read again"
    wtype -s 150 -k Escape

    step "nothing selected: the message"
    kill "$primary"
    sleep 0.3
    "$talvo" --lookup || fail "talvo --lookup failed"
    wait_window '^Talvo — Không đọc được vùng chọn' >/dev/null || fail "no message without a selection"
    sleep 0.3
    grim "$work/shots/wayland-message.png"
    wtype -s 150 -k Escape

    step "talvo --ocr where no screenshot portal answers: said plainly"
    sleep 0.3
    "$talvo" --ocr || fail "talvo --ocr failed"
    wait_window '^Talvo — Màn hình này không cho chương trình chụp ảnh' >/dev/null ||
        fail "no message about the missing screenshot portal; windows: $(window .)"
    sleep 0.3
    grim "$work/shots/wayland-no-screenshot.png"
    wtype -s 150 -k Escape
    wait_gone '^Talvo — Màn hình này' || fail "Escape did not close the message"

    step "Settings show the command to bind"
    "$talvo" --open settings || fail "talvo --open settings failed"
    wait_window '^Talvo — Cài đặt$' >/dev/null || fail "Settings did not open"
    sleep 0.5
    grim "$work/shots/wayland-settings.png"
    swaymsg '[title="^Talvo — Cài đặt$"] kill' >/dev/null
    wait_gone '^Talvo — Cài đặt$' || fail "Settings did not close"

    step "no status icon host here: said once, and the menu's window stands in"
    sleep 5  # the program waits that long for a tray host to come up
    wait_window '^Talvo$' >/dev/null || fail "no notice about the missing tray"
    wtype -s 150 -k Return
    wait_window '^Talvo \(墨\)$' >/dev/null || fail "no menu window"
    sleep 0.3
    grim "$work/shots/wayland-menu-window.png"
    swaymsg '[title="^Talvo \(墨\)$"] kill' >/dev/null
    wait_gone '^Talvo \(墨\)$' || fail "the menu window did not close"
    "$talvo" || fail "a second launch failed"
    wait_window '^Talvo \(墨\)$' >/dev/null || fail "a second launch did not bring the menu window back"
    [[ -z $(window '^Talvo$') ]] || fail "the notice came again"

    step "where only the focused client sees the selection: the panel comes first, then the lookup"
    kill "$talvo_pid"
    wait "$talvo_pid" 2>/dev/null
    # As on GNOME: Settings offer to bind the key in its keyboard settings.
    TALVO_WAYLAND_SELECTION=focused XDG_CURRENT_DESKTOP=GNOME GSETTINGS_BACKEND=keyfile \
        "$talvo" >"$work/talvo-focused.log" 2>&1 &
    pids+=($!)
    wait_ready || fail "talvo did not get ready with the focused read"
    wl-copy --primary --foreground "脈浮" >"$work/primary3.log" 2>&1 &
    pids+=($!)
    wait_primary "脈浮"
    "$talvo" --lookup || fail "talvo --lookup failed"
    wait_window '^Talvo — 脈浮' >/dev/null || fail "no panel for 脈浮 read as the focused client; windows: $(window .)"
    sleep 0.3
    grim "$work/shots/wayland-focused-read.png"
    wtype -s 150 -k Escape
    wait_gone '^Talvo — 脈浮' || fail "Escape did not close the panel"
    "$talvo" --open settings || fail "talvo --open settings failed"
    wait_window '^Talvo — Cài đặt$' >/dev/null || fail "Settings did not open"
    sleep 0.5
    grim "$work/shots/wayland-settings-gnome.png"
    swaymsg '[title="^Talvo — Cài đặt$"] kill' >/dev/null

    [[ $(wl-paste --no-newline 2>/dev/null) == "the user's clipboard" ]] ||
        fail "CLIPBOARD changed: '$(wl-paste --no-newline 2>/dev/null)'"
    echo "PASS"
    exit 0
fi

# ---- outside: tools, then the session ------------------------------------
talvo=$1 dict=$2 artifacts=$3
source "$(dirname "$(readlink -f "$0")")/../desktop_prereqs.sh"
require_tools_and_dictionary "$dict" sway swaymsg wl-copy wl-paste grim wtype dbus-run-session python3
mkdir -p "$artifacts"
keep_shots() { cp "$1"/shots/*.png "$artifacts"/ 2>/dev/null; }
KEEP_WORK=keep_shots headless_sway_session "$0" "$talvo" "$dict"
