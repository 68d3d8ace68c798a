#!/usr/bin/env bash
# Measures a session from the screen to H.264, and ffmpeg's screen capture beside it, on the same screen:
# bench/pipeline.sh BUILD_FOLDER SECONDS. Prints what bench_report reads.
#
# CPU time is the kernel's count of each thread (schedstat), from one moment of the session to another, when
# Java has compiled what it will; of ffmpeg that of a long run less that of a short one.
set -euo pipefail
cd "$(dirname "$0")/.."

build=$1 seconds=$2
width=1280 height=720 bitrate=4000000
warm_up=3 # seconds of the session that are not measured

work=$(mktemp -d)
children=()
finish() {
    local status=$?
    trap - EXIT
    for ((i = ${#children[@]} - 1; i >= 0; i--)); do
        kill "${children[i]}" 2>/dev/null || true
        wait "${children[i]}" 2>/dev/null || true
    done
    rm -rf "$work"
    exit "$status"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP
. scripts/screen.sh

# figure CASE NAME VALUE UNIT
figure() {
    printf 'pipeline\t%s\t%s\t%s\t%s\n' "$@"
}

# Nanoseconds of CPU and name of each thread of a process.
threads() {
    local task
    for task in /proc/"$1"/task/*; do
        echo "${task##*/} $(cut -d' ' -f1 "$task/schedstat") $(tr ' ' _ <"$task/comm")"
    done 2>/dev/null
}

# sender_of DEMO: sets the variable sender to the process that captures.
sender_of() {
    local child
    sender=
    for child in $(<"/proc/$1/task/$1/children"); do
        if tr '\0' ' ' <"/proc/$child/cmdline" 2>/dev/null | grep -q ' com.tarvoln.zem.demo.Demo '; then
            sender=$child
        fi
    done
}

# Captures into the folder session; leaves threads.before, threads.after and times there.
run_session() {
    local demo waited=0
    ZEM_BUILD_DIR=$build scripts/demo --display "$display" --seconds $((seconds + warm_up + 2)) --audio none \
        --size ${width}x$height --bitrate $bitrate --gop 60 --out "$work/session" >"$work/demo.log" 2>&1 &
    demo=$!
    children+=("$demo")
    sender=
    until [[ -n $sender ]] && grep -qs . "$work/session/sent.h264"; do
        if ! kill -0 "$demo" 2>/dev/null || ((++waited > 600)); then
            cat "$work/demo.log" >&2
            echo "error: the session does not start" >&2
            exit 1
        fi
        sleep 0.1
        sender_of "$demo"
    done
    sleep "$warm_up"
    date +%s%N >"$work/times"
    threads "$sender" >"$work/threads.before"
    sleep "$seconds"
    date +%s%N >>"$work/times"
    threads "$sender" >"$work/threads.after"
    wait "$demo" || { cat "$work/demo.log" >&2; exit 1; }
    unset 'children[-1]'
}

# of_summary KEY [PERCENTILE]: the first such number of summary.json, which is the sender's.
of_summary() {
    grep -m 1 "\"$1\"" "$work/session/summary.json" | sed -E "s/.*${2:-$1}\": ([0-9.]+).*/\1/"
}

report_session() {
    local case='engine: X11 to H.264 in Java' frames
    fps=$(of_summary fps)
    frames=$(awk -v fps="$fps" 'NR == 1 { start = $1 } END { print fps * ($1 - start) / 1e9 }' "$work/times")
    # The threads that carry a frame: the one that captures ("java"), and those of the component, of which
    # one does nothing but encode.
    read -r engine encoder process < <(awk -v frames="$frames" '
        NR == FNR { before[$1] = $2; next }
        {
            ms = ($2 - before[$1]) / 1e6 / frames
            all += ms
            if ($3 ~ /^omx-work/) encoder += ms
            else if ($3 ~ /^(omx-|java$)/) engine += ms
        }
        END {
            printf "%.3f %.3f %.3f\n", engine, encoder, all
        }' "$work/threads.before" "$work/threads.after")
    figure "$case" 'without encoder_ms' "$engine" ms
    figure "$case" encoder_ms "$encoder" ms
    figure "$case" process_ms "$process" ms
    figure "$case" 'latency p50 (ms)' "$(of_summary delivery_ms p50)" ms
    figure "$case" 'latency p95 (ms)' "$(of_summary delivery_ms p95)" ms
    figure "$case" 'frames a second' "$fps" fps
}

# CPU milliseconds of ffmpeg that captures FRAMES frames into what the other arguments say.
ffmpeg_ms() {
    local frames=$1
    shift
    ffmpeg -hide_banner -nostdin -benchmark -f x11grab -framerate "$rate" -video_size ${width}x$height -draw_mouse 0 \
        -i "$display" -frames:v "$frames" -threads 1 -filter_threads 1 -pix_fmt yuv420p "$@" 2>&1 </dev/null |
        sed -nE 's/^bench: utime=([0-9.]+)s stime=([0-9.]+)s.*/\1 \2/p' | awk '{ print ($1 + $2) * 1000; done = 1 }
            END { exit !done }'
}

# report_ffmpeg CASE FIGURE OURS ARGUMENT...: OURS is the engine's value of the same figure.
report_ffmpeg() {
    local case=$1 name=$2 ours=$3 frames=$((rate * seconds)) long short value
    shift 3
    short=$(ffmpeg_ms 2 "$@")
    long=$(ffmpeg_ms $((frames + 2)) "$@")
    value=$(awk "BEGIN { printf \"%.3f\", ($long - $short) / $frames }")
    figure "$case" "$name" "$value" ms
    figure "$case" engine/ffmpeg "$(awk "BEGIN { printf \"%.3f\", $ours / $value }")" ratio
}

start_screen
start_content
run_session
report_session
rate=$(printf '%.0f' "$fps")
report_ffmpeg 'ffmpeg: x11grab to yuv420p' 'without encoder_ms' "$engine" -c:v rawvideo -f null -
report_ffmpeg 'ffmpeg: x11grab to H.264' process_ms "$process" -c:v libx264 -preset superfast -tune zerolatency \
    -profile:v high -sc_threshold 0 -g 60 -b:v $bitrate -maxrate $bitrate -bufsize $bitrate -f h264 -y /dev/null
