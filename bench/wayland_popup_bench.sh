#!/usr/bin/env bash
# `talvo --lookup` → the lookup's panel mapped, in a headless sway: the time
# a key bound in the desktop takes to show a lookup on Wayland. Each round
# puts new text into PRIMARY (held by wl-copy), runs the command, and takes
# the moment sway announces the new window (its IPC's window events); then
# closes the panel with Escape. Prints the median, the fastest and the
# slowest.
#
# usage: wayland_popup_bench.sh TALVO DICT [ROUNDS]
set -uo pipefail
source "$(dirname "$(readlink -f "$0")")/../app/tests/wayland/headless_sway.sh"

if [[ ${1:-} == --inner ]]; then
    work=$2 talvo=$3 dict=$4 rounds=$5
    headless_sway_environment "$work"
    export TALVO_DICT=$dict
    headless_sway_start "$work" || exit 77
    "$talvo" >"$work/talvo.log" 2>&1 &
    talvo_pid=$!
    # The launch's one-time notice about the shortcut, then ready.
    for _ in $(seq 50); do
        swaymsg -t get_tree | grep -q '"name": "Talvo"' && break
        sleep 0.1
    done
    swaymsg '[title="^Talvo$"] kill' >/dev/null
    for _ in $(seq 50); do
        "$talvo" --ping >/dev/null 2>&1 && break
        sleep 0.1
    done
    python3 - "$talvo" "$rounds" "$talvo_pid" <<'PY'
import json, os, socket, statistics, struct, subprocess, sys, time

talvo, rounds, talvo_pid = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
MAGIC = b"i3-ipc"

def connect():
    s = socket.socket(socket.AF_UNIX)
    s.connect(os.environ["SWAYSOCK"])
    return s

def send(s, kind, payload=b""):
    s.sendall(MAGIC + struct.pack("=II", len(payload), kind) + payload)

def receive(s):
    head = b""
    while len(head) < 14:
        head += s.recv(14 - len(head))
    length, kind = struct.unpack("=II", head[6:])
    body = b""
    while len(body) < length:
        body += s.recv(length - len(body))
    return kind, json.loads(body)

events = connect()
send(events, 2, b'["window"]')
receive(events)

def wait_for(change, timeout=3.0):
    events.settimeout(timeout)
    while True:
        kind, e = receive(events)
        # At "new" the window has no title yet: it is ours by its process.
        if e.get("change") == change and e["container"].get("pid") == talvo_pid:
            return time.monotonic()

texts = ["傷寒論", "太陽病", "脈浮緊", "惡寒發熱", "少陽", "黃帝內經"]
times = []
owner = None
for i in range(rounds + 1):
    if owner:
        owner.kill()
        owner.wait()
    text = texts[i % len(texts)]
    owner = subprocess.Popen(["wl-copy", "--primary", "--foreground", text])
    for _ in range(50):
        held = subprocess.run(["wl-paste", "--primary", "--no-newline"], capture_output=True)
        if held.stdout.decode() == text:
            break
        time.sleep(0.05)
    time.sleep(0.2)
    start = time.monotonic()
    subprocess.run([talvo, "--lookup"], check=True)
    try:
        mapped = wait_for("new")
    except socket.timeout:
        print("wayland_popup_bench: no panel within 3 s", file=sys.stderr)
        sys.exit(1)
    if i > 0:  # the first round warms the caches
        times.append((mapped - start) * 1000)
    # Escape, as a reader closes it.
    subprocess.run(["wtype", "-s", "100", "-k", "Escape"], check=True)
    wait_for("close")
    time.sleep(0.2)
owner.kill()
print(f"Wayland (headless sway)  talvo --lookup → panel mapped: median {statistics.median(times):.1f} ms, "
      f"fastest {min(times):.1f} ms, slowest {max(times):.1f} ms over {len(times)} lookups")
PY
    status=$?
    kill "$talvo_pid" "$SWAY_PID" 2>/dev/null
    exit $status
fi

talvo=$1 dict=$2 rounds=${3:-20}
for tool in sway swaymsg wl-copy wl-paste dbus-run-session python3; do
    command -v "$tool" >/dev/null || { echo "wayland_popup_bench: $tool is not installed; skipped"; exit 0; }
done
headless_sway_session "$0" "$talvo" "$dict" "$rounds"
