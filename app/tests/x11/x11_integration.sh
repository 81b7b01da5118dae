#!/usr/bin/env bash
# The desktop program on a real X server: a private Xvfb with a tray host,
# another application holding a selection, the shortcut pressed through XTest.
# Checks the popup's readings, the clipboard left exactly as it was, focus
# given back on Escape, a shortcut recorded in Settings, and saves
# screenshots into ARTIFACTS.
#
# usage: x11_integration.sh TALVO TEST_TARGET DICT ARTIFACTS
# exit: 0 passed, 1 failed, 77 skipped (tools missing)
set -uo pipefail

talvo=$1
target=$2
dict=$3
artifacts=$4

source "$(dirname "$(readlink -f "$0")")/../desktop_prereqs.sh"
require_tools_and_dictionary "$dict" Xvfb xdotool xclip trayer import xterm
mkdir -p "$artifacts"

source "$(dirname "$0")/session.sh"

private_environment "$dict"

step "X server and tray"
start_x_with_tray 1280x800x24

step "another application owns the clipboard and has 傷寒論 selected"
"$target" own-clipboard >"$work/clipboard.log" 2>&1 &
pids+=($!)
wait_line "$work/clipboard.log" ready || fail "clipboard owner did not start"
"$target" window "傷寒論" primary >"$work/target1.log" 2>&1 &
target1=$!
pids+=($target1)
wait_line "$work/target1.log" ready || fail "target window did not start"

step "talvo starts"
start_until_ready "$talvo" "$work/talvo.log"
talvo_pid=$ready_pid

step "Alt+D over the PRIMARY selection"
win=$(wait_window '^talvo-test-target$') || fail "no target window"
xdotool windowfocus --sync "$win"
xdotool key alt+d
popup=$(wait_window '^Talvo — 傷寒論') || fail "no popup for 傷寒論"
name=$(xdotool getwindowname "$popup")
[[ $name == "Talvo — 傷寒論 — Thương Hàn Luận" ]] || fail "popup reads '$name'"
[[ $(xdotool getwindowfocus) == "$popup" ]] || fail "the popup does not have keyboard focus"
sleep 0.3
import -window root "$artifacts/popup-primary.png"

step "Escape closes the popup and gives focus back"
xdotool key Escape
wait_gone '^Talvo — 傷寒論' || fail "Escape did not close the popup"
[[ $(xdotool getwindowfocus) == "$win" ]] || fail "focus did not return to the target"

step "from the keyboard: add 傷寒論 to study, correct 論 to luân; the correction sticks"
xdotool windowfocus --sync "$win"
xdotool key alt+d
popup=$(wait_window '^Talvo — 傷寒論') || fail "no popup for the second press"
# Focus order from the card: close, copy ×3, translate, add to study, the
# words (傷寒 and 論), then each row's reading editor. Adding disables the
# button, which hands focus to the first word. Each press waits for the
# last one's effect on a loaded machine.
sleep 0.4
xdotool key --delay 80 Tab Tab Tab Tab Tab Tab space
sleep 0.4
xdotool key --delay 80 Tab Tab Tab Tab space
sleep 0.5
xdotool type --delay 40 "luân"
sleep 0.3
import -window root "$artifacts/popup-editing.png"
xdotool key Return
wait_window '^Talvo — 傷寒論 — Thương Hàn Luân$' >/dev/null || fail "the popup did not refresh with luân"
sleep 0.3
import -window root "$artifacts/popup-corrected.png"
xdotool key Escape
wait_gone '^Talvo — 傷寒論' || fail "Escape did not close the corrected popup"
study=$XDG_DATA_HOME/Mirelo/study.sqlite
if command -v sqlite3 >/dev/null; then
    [[ $(sqlite3 "$study" "SELECT am FROM card WHERE uid = 'phrase:傷寒論'") == "Thương Hàn Luận" ]] ||
        fail "no study card for 傷寒論"
fi
xdotool windowfocus --sync "$win"
xdotool mousemove 200 150
xdotool key alt+d
wait_window '^Talvo — 傷寒論 — Thương Hàn Luân$' >/dev/null || fail "the correction did not stick"
sleep 0.3
import -window root "$artifacts/popup-at-pointer.png"
xdotool key Escape
wait_gone '^Talvo — 傷寒論' || fail "Escape did not close the popup"

step "the popup closes when focus goes elsewhere"
xdotool key alt+d
wait_window '^Talvo — 傷寒論' >/dev/null || fail "no popup"
xdotool windowfocus --sync "$win"
wait_gone '^Talvo — 傷寒論' || fail "the popup stayed open after losing focus"

step "copy fallback: no PRIMARY, Ctrl+C into CLIPBOARD, CLIPBOARD restored"
kill "$target1"
wait "$target1" 2>/dev/null
"$target" window "數" copy >"$work/target2.log" 2>&1 &
pids+=($!)
wait_line "$work/target2.log" ready || fail "second target did not start"
if [[ -n $(xclip -o -selection primary 2>/dev/null) ]]; then
    fail "PRIMARY is not empty"
fi
win=$(wait_window '^talvo-test-target$') || fail "no second target window"
xdotool windowfocus --sync "$win"
xdotool key alt+d
popup=$(wait_window '^Talvo — 數') || fail "no popup for 數"
name=$(xdotool getwindowname "$popup")
[[ $name =~ ^Talvo\ —\ 數\ —\ [[:alpha:]]+ ]] || fail "popup reads '$name'"
wait_line "$work/target2.log" copied || fail "the target never saw the copy keystroke"
# Ctrl alone reached the target: no Alt left over from the shortcut.
grep -q "^key C mods 67108864$" "$work/target2.log" || fail "copy keystroke: $(grep '^key C' "$work/target2.log")"
sleep 0.3
import -window root "$artifacts/popup-copy.png"
targets=$(xclip -o -selection clipboard -t TARGETS)
for t in text/plain text/html application/x-talvo-test; do
    grep -qx "$t" <<<"$targets" || fail "clipboard lost $t (has: $targets)"
done
[[ $(xclip -o -selection clipboard -t text/plain) == "the user's clipboard" ]] || fail "text/plain changed"
[[ $(xclip -o -selection clipboard -t text/html) == "<b>the user's</b> clipboard" ]] || fail "text/html changed"
[[ $(xclip -o -selection clipboard -t application/x-talvo-test | od -An -tx1 | tr -d ' \n') == 000102ff ]] ||
    fail "binary format changed"
xdotool key Escape
wait_gone '^Talvo — 數' || fail "Escape did not close the second popup"

step "a PRIMARY left over from earlier work is not looked up again"
"$target" window "無" none >"$work/quiet.log" 2>&1 &
pids+=($!)
wait_line "$work/quiet.log" ready || fail "quiet target did not start"
# After the window: it gives up any PRIMARY as it starts.
xclip -selection primary <<<"天"
quiet=$(wait_window '^talvo-test-quiet$') || fail "no quiet window"
xdotool windowfocus --sync "$quiet"
sleep 1.2  # past the key-repeat window of the last press
xdotool key alt+d
wait_window '^Talvo — 天' >/dev/null || fail "a PRIMARY taken since the last lookup was not read"
xdotool key Escape
wait_gone '^Talvo — 天' || fail "Escape did not close the 天 popup"
xdotool windowfocus --sync "$quiet"
sleep 1.2
xdotool key alt+d
wait_window '^Talvo — Không đọc được vùng chọn' >/dev/null ||
    fail "the stale PRIMARY was looked up again: $(xdotool search --onlyvisible --name '^Talvo — ' getwindowname %@ 2>/dev/null)"
wait_line "$work/quiet.log" "^key C mods 67108864$" || fail "outside a terminal the copy was not tried"
xdotool key Escape

step "a line of 傷寒論 reads by words; Enter on the first word shows its characters"
xclip -selection primary <<<"太陽之為病，脈浮，頭項強痛而惡寒"
xdotool windowfocus --sync "$quiet"
sleep 1.2
xdotool key alt+d
wait_window '^Talvo — 太陽之為病脈浮頭項強痛而惡寒' >/dev/null || fail "no popup for the line"
# Close, copy ×3, translate, add to study, then the first word (太陽).
sleep 0.4
xdotool key --delay 80 Tab Tab Tab Tab Tab Tab Tab Return
sleep 0.4
import -window root "$artifacts/popup-words.png"
xdotool key Escape
wait_gone '^Talvo — 太陽之為病' || fail "Escape did not close the line's popup"

step "a terminal the class list does not know: never a keystroke, PRIMARY only"
# xterm under another name and class: only the pseudo-terminal master it
# holds says it is a terminal. The program in it traps SIGINT.
cp "$(command -v xterm)" "$work/footerm"
printf 'trap "echo INT >>%s" INT\nprintf "\\344\\271\\213\\n"\nwhile :; do sleep 0.1; done\n' \
    "$work/trap.log" >"$work/trapped.sh"
pkill -x xclip  # nothing selected anywhere now
LANG=C.UTF-8 LC_ALL=C.UTF-8 "$work/footerm" -class Footerm -name footerm -title footerm \
    -geometry 30x4+60+300 -fa 'Noto Sans Mono CJK SC' -fs 18 -e bash "$work/trapped.sh" \
    >"$work/footerm.log" 2>&1 &
pids+=($!)
term=$(wait_window '^footerm$') || fail "the terminal did not open"
sleep 0.5
xdotool windowfocus --sync "$term"
sleep 1.2
xdotool key alt+d
wait_window '^Talvo — Không đọc được vùng chọn' >/dev/null || fail "no message for a terminal without a selection"
xdotool key Escape
sleep 0.3
[[ ! -s $work/trap.log ]] || fail "the program in the terminal got SIGINT"
eval "$(xdotool getwindowgeometry --shell "$term")"
xdotool mousemove $((X + 30)) $((Y + 16)) click --repeat 3 --delay 80 1  # select the first line
sleep 0.3
[[ $(xclip -o -selection primary 2>/dev/null) == "之" ]] || fail "the terminal's selection is '$(xclip -o -selection primary 2>/dev/null)'"
xdotool windowfocus --sync "$term"
sleep 1.2
xdotool key alt+d
wait_window '^Talvo — 之' >/dev/null || fail "no popup for the terminal's selection"
sleep 0.3
import -window root "$artifacts/popup-terminal.png"
xdotool key Escape
sleep 0.3
[[ ! -s $work/trap.log ]] || fail "the program in the terminal got SIGINT"

step "talvo --lookup does what the shortcut does"
xdotool windowfocus --sync "$term"
"$talvo" --lookup >"$work/lookup-command.log" 2>&1 || fail "talvo --lookup failed"
wait_window '^Talvo — 之' >/dev/null || fail "talvo --lookup showed no popup"
kill -0 "$talvo_pid" || fail "the first program ended"
xdotool key Escape

step "a second launch opens Settings; a new shortcut is recorded"
"$talvo" >"$work/talvo2.log" 2>&1 || fail "second launch failed"
settings=$(wait_window '^Talvo — Cài đặt$') || fail "Settings did not open"
kill -0 "$talvo_pid" || fail "the first program ended"
sleep 0.3
import -window root "$artifacts/settings.png"
xdotool windowfocus --sync "$settings"
xdotool key space          # the focused "Change shortcut…" button
sleep 0.2
xdotool key ctrl+shift+l
sleep 0.3
conf=$XDG_CONFIG_HOME/Mirelo/Talvo.conf
grep -q "hotkey.keyCode=37" "$conf" || fail "shortcut key not saved: $(cat "$conf")"
grep -q "hotkey.carbonModifiers=4608" "$conf" || fail "shortcut modifiers not saved: $(cat "$conf")"
import -window root "$artifacts/settings-recorded.png"

step "the new shortcut looks up; the old one no longer does"
xdotool windowfocus --sync "$win"
xdotool key alt+d
sleep 0.5
if xdotool search --onlyvisible --name '^Talvo — 數' >/dev/null 2>&1; then
    fail "Alt+D still answers after the shortcut changed"
fi
xdotool key ctrl+shift+l
wait_window '^Talvo — 數' >/dev/null || fail "Ctrl+Shift+L did not look up"
xdotool key Escape

step "the status menu"
# trayer's panel window holds the embedded status icon.
tray=$(xdotool search --name '^panel$' 2>/dev/null | head -n 1)
[[ -n $tray ]] || fail "no tray panel"
eval "$(xdotool getwindowgeometry --shell "$tray")"
before=$(xdotool search --onlyvisible --classname talvo 2>/dev/null | sort)
xdotool mousemove $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) click 1
menu=""
for _ in $(seq 30); do
    # The menu is the window of ours that the click brought up.
    menu=$(comm -13 <(echo "$before") <(xdotool search --onlyvisible --classname talvo 2>/dev/null | sort) | head -n 1)
    [[ -n $menu ]] && break
    sleep 0.1
done
[[ -n $menu ]] || fail "clicking the status icon opened no menu"
import -window root "$artifacts/tray-menu.png"
xdotool key Escape
kill -0 "$talvo_pid" || fail "talvo ended"

step "Vietnamese syllables: the reverse popup"
"$target" window "thương hàn" primary >"$work/target3.log" 2>&1 &
pids+=($!)
wait_line "$work/target3.log" ready || fail "third target did not start"
win=$(xdotool search --name '^talvo-test-target$' | tail -n 1)
xdotool windowfocus --sync "$win"
xdotool mousemove 300 200
# Past the key-repeat window of the last press, so this one counts as new.
sleep 1.2
xdotool key ctrl+shift+l
wait_window '^Talvo — thương hàn$' >/dev/null || fail "no reverse popup"
sleep 0.3
import -window root "$artifacts/popup-reverse.png"
xdotool key Escape

step "a shortcut another program holds: kept, shown, never fires, nothing breaks"
kill "$talvo_pid"
wait "$talvo_pid" 2>/dev/null
sed -i -e 's/^hotkey.keyCode=.*/hotkey.keyCode=2/' -e 's/^hotkey.carbonModifiers=.*/hotkey.carbonModifiers=2048/' "$conf"
"$target" grab-alt-d >"$work/grabber.log" 2>&1 &
pids+=($!)
wait_line "$work/grabber.log" ready || fail "the grabbing program did not start"
start_until_ready "$talvo" "$work/talvo3.log"
talvo_pid=$ready_pid
xdotool windowfocus --sync "$win"
xdotool key alt+d
wait_line "$work/grabber.log" grabbed || fail "the other program did not get Alt+D"
sleep 0.3
if xdotool search --onlyvisible --name '^Talvo — ' >/dev/null 2>&1; then
    fail "a popup opened for a shortcut another program holds"
fi
kill -0 "$talvo_pid" || fail "talvo ended when its shortcut was taken"
echo "PASS (screenshots in $artifacts)"
