#!/usr/bin/env bash
# The viewer driven by real X input: Xvfb gives the display, xdotool moves
# the mouse and presses keys, ImageMagick's `import` grabs the screen. Every
# step waits for the line the viewer logs on stdout (docs/viewer.md), with
# generous time limits, never for a fixed time.
#
#   run-viewer-tests.sh <orvview> <scene.json> <work dir>
#
# Exit 0: passed; 77: skipped (no X server can be started here); else failed.
set -u
viewer=$(realpath "$1")
scene=$(realpath "$2")
work=$3
timeout=${ORVVIEW_TEST_TIMEOUT:-90}

skip() { echo "SKIPPED: $*"; exit 77; }
fail() {
    echo "FAILED: $*"
    echo "--- viewer output (last 40 lines) ---"; tail -n 40 "$log" 2>/dev/null
    echo "--- viewer errors ---"; tail -n 40 "$work/viewer.err" 2>/dev/null
    exit 1
}

for tool in Xvfb xdotool import convert; do
    command -v "$tool" >/dev/null || skip "$tool is not installed (scripts/setup installs xvfb, xdotool and imagemagick)"
done

rm -rf "$work"
mkdir -p "$work"
log="$work/viewer.log"
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
    wait 2>/dev/null
}
trap cleanup EXIT

# A display of our own: Xvfb picks a free number and writes it to fd 3.
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp +extension GLX 3>"$work/display" 2>"$work/xvfb.err" &
pids+=($!)
for _ in $(seq 1 200); do
    [ -s "$work/display" ] && break
    kill -0 "${pids[0]}" 2>/dev/null || break
    sleep 0.1
done
[ -s "$work/display" ] || skip "no X server could be started ($(head -c 300 "$work/xvfb.err"))"
export DISPLAY=":$(head -n 1 "$work/display")"

# wait_for <regex> [after line]: the first line after the given line number
# (default: after the mark) that matches, into $found; fails after $timeout
# seconds (run in this shell, never in a subshell, so that failing exits).
mark=0
set_mark() { mark=$(wc -l < "$log"); }
wait_for() {
    local pattern=$1 after=${2:-$mark} line
    for _ in $(seq 1 $((timeout * 10))); do
        line=$(tail -n +"$((after + 1))" "$log" | grep -m 1 -E -- "$pattern")
        if [ -n "$line" ]; then found=$line; return 0; fi
        kill -0 "$viewer_pid" 2>/dev/null || fail "the viewer exited while waiting for: $pattern"
        sleep 0.1
    done
    fail "no line matching '$pattern' within ${timeout}s"
}
# The latest anchor of a name: "x y".
anchor() {
    grep -F "anchor name=\"$1\" " "$log" | tail -n 1 | sed -E 's/.* x=([-0-9.]+) y=([-0-9.]+).*/\1 \2/'
}
# Pixel colour of the screen at x y as "r g b" (0-255).
pixel() {
    import -window root "$work/screen.png" 2>/dev/null || return 1
    convert "$work/screen.png" -format "%[fx:int(255*p{$1,$2}.r)] %[fx:int(255*p{$1,$2}.g)] %[fx:int(255*p{$1,$2}.b)]" info:
}
# Window-relative mouse motion (the window may not sit at the screen origin).
move() { xdotool mousemove --window "$wid" "$1" "$2"; }
round() { printf '%.0f' "$1"; }

cd "$work"
"$viewer" "$scene" --log-anchors --size 1280x720 --no-vsync >"$log" 2>"$work/viewer.err" &
viewer_pid=$!
pids+=($viewer_pid)

wait_for '^ready ' 0
wait_for '^anchor name="cube/top"' 0
wid=$(xdotool search --onlyvisible --name '^orvview' | head -n 1)
[ -n "$wid" ] || fail "no orvview window on $DISPLAY"
echo "viewer window $wid on $DISPLAY: $(grep -m1 '^ready' "$log")"

# 1. Hover: the block under the cursor is highlighted, on screen too.
read -r lx ly <<<"$(anchor 'left block')"
lx=$(round "$lx"); ly=$(round "$ly")
move 700 60   # the empty background first
before=$(pixel "$lx" "$ly")
set_mark
move "$lx" "$ly"
wait_for '^hover what=node name="left block" '
changed=""
for _ in $(seq 1 50); do   # the frame after the event, as soon as it is shown
    after=$(pixel "$lx" "$ly")
    [ "$after" != "$before" ] && { changed=1; break; }
    sleep 0.2
done
[ -n "$changed" ] || fail "the hovered block looks the same on screen ($before)"
echo "ok hover: pixel $before -> $after"

# 2. Click selects; Ctrl-click adds; Esc clears.
set_mark
xdotool click 1
wait_for '^select count=1 item="left block"$'
read -r rx ry <<<"$(anchor 'right block')"
set_mark
move "$(round "$rx")" "$(round "$ry")"
xdotool keydown ctrl click 1 keyup ctrl
wait_for '^select count=2 item="left block" item="right block"$'
set_mark
xdotool key Escape
wait_for '^select count=0$'
echo "ok click, ctrl-click, escape"

# 3. Shift-drag a rectangle over both blocks.
read -r x0 y0 x1 y1 <<<"$(awk -v lx="$lx" -v ly="$ly" -v rx="$rx" -v ry="$ry" 'BEGIN {
    printf "%d %d %d %d", lx - 40, (ly < ry ? ly : ry) - 30, rx + 40, (ly > ry ? ly : ry) + 30 }')"
set_mark
move "$x0" "$y0"
xdotool keydown shift mousedown 1
move "$(( (x0 + x1) / 2 ))" "$(( (y0 + y1) / 2 ))"
move "$x1" "$y1"
xdotool mouseup 1 keyup shift
wait_for '^select count='; line=$found
echo "$line" | grep -q 'item="left block"' && echo "$line" | grep -q 'item="right block"' ||
    fail "the rectangle did not select both blocks: $line"
echo "ok rectangle: $line"

# 4. A standard view key: 5 is the top view, looking down -Z.
set_mark
xdotool key 5
wait_for '^camera view=top '; line=$found
eye=$(echo "$line" | sed -E 's/.* eye=\(([^)]*)\).*/\1/')
target=$(echo "$line" | sed -E 's/.* target=\(([^)]*)\).*/\1/')
IFS=, read -r ex ey ez <<<"$eye"; IFS=, read -r tx ty tz <<<"$target"
awk -v ex="$ex" -v ey="$ey" -v ez="$ez" -v tx="$tx" -v ty="$ty" -v tz="$tz" 'BEGIN {
    dx = tx - ex; dy = ty - ey; dz = tz - ez; n = sqrt(dx*dx + dy*dy + dz*dz);
    exit !(n > 0 && dz / n < -0.999) }' || fail "the top view does not look down: $line"
echo "ok top view: $line"

# 5. Drag the move widget's X arrow 100 pixels right in the orthographic
#    top view: the selection moves 100 pixel sizes along +X, and only so.
set_mark
xdotool key p
wait_for '^camera view=top projection=orthographic '; line=$found
pixelsize=$(echo "$line" | sed -E 's/.* pixel=([0-9.]+).*/\1/')
read -r lx ly <<<"$(anchor 'left block')"
set_mark
move "$(round "$lx")" "$(round "$ly")"
xdotool click 1
wait_for '^select count=1 item="left block"$'
wait_for '^anchor name="widget/x"'
read -r wx wy <<<"$(anchor 'widget/x')"
wx=$(round "$wx"); wy=$(round "$wy")
set_mark
move "$wx" "$wy"
wait_for '^hover what=widget name="x"'
xdotool mousedown 1
for step in 20 40 60 80 100; do move "$((wx + step))" "$wy"; done
xdotool mouseup 1
wait_for '^moved name="left block" '; line=$found
delta=$(echo "$line" | sed -E 's/.* delta=\(([^)]*)\).*/\1/')
IFS=, read -r dx dy dz <<<"$delta"
awk -v dx="$dx" -v dy="$dy" -v dz="$dz" -v p="$pixelsize" 'BEGIN {
    want = 100 * p; exit !(dx > 0.97 * want && dx < 1.03 * want && dy*dy + dz*dz < (0.02 * want)^2) }' ||
    fail "the block moved by ($delta), expected 100 pixel sizes ($pixelsize) along +X"
echo "ok widget drag: $line (pixel $pixelsize)"

# 6. Back to the isometric view, then a click on the view cube's TOP face.
set_mark
xdotool key 0
wait_for '^camera view=isometric '
wait_for '^anchor name="cube/top"'
read -r cx cy <<<"$(anchor 'cube/top')"
set_mark
move "$(round "$cx")" "$(round "$cy")"
wait_for '^hover what=cube name="top"'
xdotool click 1
wait_for '^overlay what=cube view=top$'
wait_for '^camera view=top '
echo "ok view cube top"

# 7. Ctrl+S writes a screenshot; Ctrl+Q quits cleanly.
set_mark
xdotool key ctrl+s
wait_for '^screenshot '; line=$found
echo "$line" | grep -q 'ok=1' || fail "screenshot failed: $line"
path=$(echo "$line" | sed -E 's/.*path="([^"]*)".*/\1/')
[ -s "$work/$path" ] || fail "no screenshot file $path"
xdotool key ctrl+q
for _ in $(seq 1 $((timeout * 10))); do kill -0 "$viewer_pid" 2>/dev/null || break; sleep 0.1; done
wait "$viewer_pid"
status=$?
[ "$status" -eq 0 ] || fail "the viewer exited with status $status"
echo "ok screenshot $path, clean exit"
echo "PASSED"
