#!/usr/bin/env bash
# Reading text off the screen on a real X server (Xvfb): a printed page in a
# window, the second shortcut pressed through XTest, the dimmed screen and a
# drag with the pointer, the panel's recognised text checked by its title.
# Also Escape over the dimmed screen, a click that selects nothing,
# `talvo --ocr`, and that the recognition thread exists only once used.
# Screenshots of the dimmed screen mid-drag and of the panel go to ARTIFACTS.
#
# usage: screen_text.sh TALVO TEST_TARGET DICT ARTIFACTS ENGINE
#   ENGINE: ON when talvo was built with the recognition engine (talvo_ocr)
# exit: 0 passed, 1 failed, 77 skipped (tools missing, or no engine: then
# everything but the recognised text was checked, and the reason is printed)
set -uo pipefail

talvo=$1
target=$2
dict=$3
artifacts=$4
engine=$5

source "$(dirname "$(readlink -f "$0")")/../desktop_prereqs.sh"
require_tools_and_dictionary "$dict" Xvfb xdotool trayer import
mkdir -p "$artifacts"

source "$(dirname "$0")/session.sh"

private_environment "$dict"

# Whether the program has its recognition thread (named by the program).
recognition_thread() {  # PID
    grep -qx 'talvo-recogniti' /proc/"$1"/task/*/comm 2>/dev/null
}

step "X server, tray and a printed page"
start_x_with_tray 1280x800x24
"$target" page "傷寒論" >"$work/page.log" 2>&1 &
pids+=($!)
wait_line "$work/page.log" ready || fail "the page did not open"
page=$(wait_window '^talvo-test-page$') || fail "no page window"

step "talvo starts; nothing of the reading is made yet"
start_until_ready "$talvo" "$work/talvo.log"
talvo_pid=$ready_pid
sleep 2  # past the word index's warm-up, for the memory figure
! recognition_thread "$talvo_pid" || fail "the recognition thread exists before any use"
echo "resident memory when settled: $(grep VmRSS /proc/"$talvo_pid"/status)"

step "Alt+Shift+D dims the screen; Escape takes it away and shows nothing"
xdotool key alt+shift+d
overlay=$(wait_window '^Talvo — Kéo chuột quanh chữ Hán') || fail "the screen was not dimmed"
sleep 0.3
xdotool key Escape
wait_gone '^Talvo — Kéo chuột quanh chữ Hán' || fail "Escape left the dimmed screen"
sleep 0.3
if xdotool search --onlyvisible --name '^Talvo — ' >/dev/null 2>&1; then
    fail "something opened after Escape: $(xdotool search --onlyvisible --name '^Talvo — ' getwindowname %@)"
fi

step "a click without a drag: the region is too small, said plainly"
sleep 1.2  # past the key-repeat window of the last press
xdotool key alt+shift+d
wait_window '^Talvo — Kéo chuột quanh chữ Hán' >/dev/null || fail "the screen was not dimmed"
xdotool mousemove 600 600 click 1
wait_window '^Talvo — Vùng chọn quá nhỏ' >/dev/null || fail "no message for a click"
xdotool key Escape
wait_gone '^Talvo — Vùng chọn quá nhỏ' || fail "Escape did not close the message"

step "a drag around the printed text"
eval "$(xdotool getwindowgeometry --shell "$page")"
sleep 1.2
xdotool key alt+shift+d
wait_window '^Talvo — Kéo chuột quanh chữ Hán' >/dev/null || fail "the screen was not dimmed"
# From below right to above left: any direction goes.
xdotool mousemove $((X + WIDTH - 60)) $((Y + HEIGHT - 70)) mousedown 1
xdotool mousemove $((X + 200)) $((Y + 120))
xdotool mousemove $((X + 60)) $((Y + 70))
sleep 0.3
import -window root "$artifacts/screen-text-drag.png"
xdotool mouseup 1
wait_gone '^Talvo — Kéo chuột quanh chữ Hán' || fail "the dimmed screen stayed after the drag"
panel=$(wait_window '^Talvo — ') || fail "no panel after the drag"
# Under the text it reads, not over it.
eval "$(xdotool getwindowgeometry --shell "$panel" | sed 's/^/PANEL_/')"
((PANEL_Y >= Y + HEIGHT - 70)) || fail "the panel covers the region (panel at y=$PANEL_Y)"
recognition_thread "$talvo_pid" || fail "no recognition thread after the first reading"

if [[ $engine == ON ]]; then
    step "the panel reads 傷寒論 and looks it up"
    wait_window '^Talvo — 傷寒論 — Thương Hàn Luận$' >/dev/null ||
        fail "the panel reads '$(xdotool getwindowname "$panel")'"
    [[ $(xdotool getwindowfocus) == "$panel" ]] || fail "the panel does not have keyboard focus"
else
    step "built without the engine: the panel says so"
    wait_window '^Talvo — Bản Talvo này không có phần nhận dạng chữ' >/dev/null ||
        fail "the panel reads '$(xdotool getwindowname "$panel")'"
fi
sleep 0.3
import -window root "$artifacts/screen-text-panel.png"
echo "resident memory after one reading: $(grep VmRSS /proc/"$talvo_pid"/status)"
xdotool key Escape
wait_gone '^Talvo — ' || fail "Escape did not close the panel"

step "talvo --ocr does what the shortcut does"
"$talvo" --ocr >"$work/ocr-command.log" 2>&1 || fail "talvo --ocr failed"
wait_window '^Talvo — Kéo chuột quanh chữ Hán' >/dev/null || fail "talvo --ocr did not dim the screen"
xdotool key Escape
wait_gone '^Talvo — Kéo chuột quanh chữ Hán' || fail "Escape left the dimmed screen"
kill -0 "$talvo_pid" || fail "talvo ended"

if [[ $engine != ON ]]; then
    echo "SKIP: talvo was built without the recognition engine (talvo_ocr): the dimmed screen, the drag, the second shortcut and the panel were checked, the recognised text was not (screenshots in $artifacts)"
    exit 77
fi
echo "PASS (screenshots in $artifacts)"
