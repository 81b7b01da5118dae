#!/usr/bin/env bash
# The study side of the desktop program on a real X server: a fresh deck
# studied with the keyboard, the profile and the quiz, lessons fetched from a
# real talvo-server and added to the queue, the popup writing a character,
# then a deck after a week of daily study. Saves screenshots into ARTIFACTS.
#
# usage: study_windows.sh TALVO SERVER SEED_DECK TEST_TARGET DICT LESSONS_JSON ARTIFACTS
# exit: 0 passed, 1 failed, 77 skipped (tools missing)
set -uo pipefail

talvo=$1
server=$2
seed=$3
target=$4
dict=$5
lessons=$6
artifacts=$7

source "$(dirname "$(readlink -f "$0")")/../desktop_prereqs.sh"
require_tools_and_dictionary "$dict" Xvfb xdotool trayer import sqlite3
mkdir -p "$artifacts"

source "$(dirname "$0")/session.sh"

# Waits up to 8 s for an SQL count to reach a value.
wait_count() {  # SQL EXPECTED
    local got
    for _ in $(seq 80); do
        got=$(sqlite3 "$study" "$1" 2>/dev/null)
        [[ $got == "$2" ]] && return 0
        sleep 0.1
    done
    echo "($1 gave '$got', wanted $2)"
    return 1
}
shot() {  # WINDOW FILE
    sleep 0.4
    import -window "$1" "$artifacts/$2"
}
# Opens a window through the running program and brings it to the front.
open_window() {  # NAME TITLE_REGEX
    "$talvo" --open "$1" >/dev/null 2>&1
    local id
    id=$(wait_window "$2") || return 1
    xdotool windowactivate --sync "$id" 2>/dev/null || xdotool windowfocus --sync "$id"
    sleep 0.3
    echo "$id"
}
start_talvo() {
    start_until_ready "$talvo" "$work/talvo-$1.log"
    talvo_pid=$ready_pid
}
stop_talvo() {
    kill "$talvo_pid"
    wait "$talvo_pid" 2>/dev/null
}

private_environment "$dict"
mkdir -p "$XDG_CONFIG_HOME/Mirelo"
study=$XDG_DATA_HOME/Mirelo/study.sqlite

step "a server with the starter lessons"
"$server" --db "sqlite:$work/server.sqlite" lessons import "$lessons" >"$work/import.log" 2>&1 ||
    fail "lessons import failed"
port=$((20000 + RANDOM % 20000))
"$server" --db "sqlite:$work/server.sqlite" serve --listen "127.0.0.1:$port" >"$work/server.log" 2>&1 &
pids+=($!)
printf '[General]\nservice.baseURL=http://127.0.0.1:%s\n' "$port" >"$XDG_CONFIG_HOME/Mirelo/Talvo.conf"

step "X server and tray"
start_x_with_tray 1280x900x24

start_talvo fresh

step "a fresh deck: 2 picks the second reading, 2 again grades hard"
win=$(open_window study 'Học hôm nay') || fail "the study window did not open"
shot "$win" study-fresh-front.png
xdotool key 2
shot "$win" study-fresh-picked.png
xdotool key 2
wait_count "SELECT COUNT(*) FROM review_log WHERE rating=2" 1 || fail "key 2 did not grade hard"
step "Space reveals, Space grades good"
xdotool key space
shot "$win" study-fresh-revealed.png
xdotool key space
wait_count "SELECT COUNT(*) FROM review_log WHERE rating=3" 1 || fail "Space did not grade good"
step "Alt+1 is not the window's"
xdotool key alt+1
sleep 0.3
wait_count "SELECT COUNT(*) FROM review_log" 2 || fail "Alt+1 graded a card"

step "the profile and a quiz"
win=$(open_window profile 'Hồ sơ học tập') || fail "the profile did not open"
shot "$win" profile-fresh.png
win=$(open_window quiz 'Kiểm tra') || fail "the quiz did not open"
shot "$win" quiz-picker.png

step "lessons from the server; adding one puts its cards in the deck"
win=$(open_window lessons 'Lộ trình học') || fail "the lessons window did not open"
sleep 1
shot "$win" lessons.png
before=$(sqlite3 "$study" "SELECT COUNT(*) FROM card WHERE source='lesson'")
[[ $before == 0 ]] || fail "lesson cards before adding: $before"
# Tab through the window until an add button has the focus, pressing it.
added=0
for _ in $(seq 12); do
    xdotool key --delay 80 Tab space
    sleep 0.2
    added=$(sqlite3 "$study" "SELECT COUNT(*) FROM card WHERE source='lesson'")
    [[ $added != 0 ]] && break
done
[[ $added != 0 ]] || fail "adding a lesson added no cards"
shot "$win" lessons-added.png
echo "   $added lesson cards added"

step "the popup writes a single character"
"$target" window "數" primary >"$work/target.log" 2>&1 &
pids+=($!)
wait_line "$work/target.log" ready || fail "target window did not start"
twin=$(wait_window '^talvo-test-target$') || fail "no target window"
xdotool windowfocus --sync "$twin"
sleep 1.2
xdotool key alt+d
popup=$(wait_window '^Talvo — 數') || fail "no popup for 數"
sleep 0.6
import -window root "$artifacts/popup-strokes-playing.png"
sleep 4
import -window root "$artifacts/popup-strokes-done.png"
xdotool key Escape
stop_talvo

step "a deck after a week of daily study"
rm -f "$study"
"$seed" "$study" "$dict" 7 >"$work/seed.log" 2>&1 || fail "seeding failed"
start_talvo week
win=$(open_window profile 'Hồ sơ học tập') || fail "the profile did not open"
shot "$win" profile-week.png
earned=$(sqlite3 "$study" "SELECT COUNT(*) FROM badge")
[[ $earned -ge 2 ]] || fail "a week of study earned $earned badges"
win=$(open_window study 'Học hôm nay') || fail "the study window did not open"
shot "$win" study-week.png
kill -0 "$talvo_pid" || fail "talvo ended"
echo "PASS (screenshots in $artifacts)"
