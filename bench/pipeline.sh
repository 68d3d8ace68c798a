#!/usr/bin/env bash
# Measures a session from the screen to H.264, and ffmpeg's screen capture beside it, on the same screen:
# bench/pipeline.sh BUILD_FOLDER SECONDS ROUNDS. Prints what bench_report reads: medians over the rounds, in each of
# which every one has its turn.
set -euo pipefail
cd "$(dirname "$0")/.."

build=$1 seconds=$2 rounds=$3
width=1280 height=720 bitrate=4000000 fps=30
frames=$((seconds * fps))

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
. scripts/java.sh


# run_session: the engine's turn. Its lines, each of them a figure.
run_session() {
    if ! DISPLAY=$display "$java" -cp "$build/java/zem.jar" -Djava.library.path="$build/lib" \
        com.tarvoln.zem.demo.PipelineBench $width $height $bitrate "$seconds" "$work/sent.h264" 2>"$work/engine.log"; then
        cat "$work/engine.log" >&2
        echo "error: the session fails" >&2
        exit 1
    fi
}

encoding=(-c:v libx264 -preset superfast -tune zerolatency -profile:v high -sc_threshold 0 -g 60
    -b:v $bitrate -maxrate $bitrate -bufsize $bitrate -f h264)

# ffmpeg_grab FRAMES ARGUMENT...: captures so many frames into what the arguments say, all on one thread.
ffmpeg_grab() {
    local count=$1
    shift
    ffmpeg -hide_banner -nostdin -benchmark -copyts -f x11grab -framerate $fps -video_size ${width}x$height -draw_mouse 0 \
        -i "$display" -frames:v "$count" -fps_mode passthrough -threads 1 -filter_threads 1 -pix_fmt yuv420p "$@" </dev/null
}

# CPU milliseconds of such a run.
ffmpeg_ms() {
    ffmpeg_grab "$@" 2>&1 | sed -nE 's/^bench: utime=([0-9.]+)s stime=([0-9.]+)s.*/\1 \2/p' |
        awk '{ print ($1 + $2) * 1000; done = 1 } END { exit !done }'
}

# figure CASE NAME VALUE UNIT
figure() {
    printf 'pipeline\t%s\t%s\t%s\t%s\n' "$@"
}

# report_ffmpeg CASE FIGURE ARGUMENT...: what a frame takes; starting and ending is subtracted.
report_ffmpeg() {
    local case=$1 name=$2 long short
    shift 2
    short=$(ffmpeg_ms 2 "$@")
    long=$(ffmpeg_ms $((frames + 2)) "$@")
    figure "$case" "$name" "$(awk "BEGIN { printf \"%.3f\", ($long - $short) / $frames }")" ms
}

# From the moment that a frame is stamped with, before it is captured, to its picture's arrival at the other end of
# a pipe; with the frames that start the encoder left out.
report_ffmpeg_latency() {
    ffmpeg_grab $((frames + fps)) -vf showinfo=checksum=0,format=yuv420p "${encoding[@]}" -flush_packets 1 pipe:1 \
        2>"$work/ffmpeg.log" | "$build/bin/bench_picture_times" >"$work/arrivals"
    sed -nE 's/.*showinfo.* n: *[0-9]+ pts: *([0-9]+) .*/\1/p' "$work/ffmpeg.log" >"$work/stamps"
    if (($(wc -l <"$work/stamps") != $(wc -l <"$work/arrivals"))); then
        echo "error: of $(wc -l <"$work/stamps") frames that ffmpeg captured $(wc -l <"$work/arrivals") arrived" >&2
        exit 1
    fi
    paste "$work/stamps" "$work/arrivals" | awk -v skip=$fps 'NR > skip { print ($2 - $1) / 1000 }' | sort -n |
        awk -v name="$1" '{ ms[NR] = $1 }
            END {
                if (!NR) exit 1
                printf "pipeline\t%s\tlatency p50 (ms)\t%.3f\tms\n", name, ms[int((NR + 1) / 2)]
                printf "pipeline\t%s\tlatency p95 (ms)\t%.3f\tms\n", name, ms[int((NR * 95 + 99) / 100)]
            }'
}

start_screen
start_content
for ((round = 0; round < rounds; round++)); do
    run_session
    report_ffmpeg 'ffmpeg: x11grab to yuv420p' 'without encoder_ms' -c:v rawvideo -f null -
    report_ffmpeg 'ffmpeg: x11grab to H.264' process_ms "${encoding[@]}" -y /dev/null
    report_ffmpeg_latency 'ffmpeg: x11grab to H.264'
done >"$work/lines"
# The median of each figure, in the order in which they came, and those of ffmpeg as quotients, too.
awk -F '\t' -v OFS='\t' '
    !(($2, $3) in count) { key[++keys] = $2 SUBSEP $3; unit[$2, $3] = $5 }
    { value[$2, $3, ++count[$2, $3]] = $4 }
    function median(name,   i, j, n, held, sorted) {
        n = count[name]
        for (i = 1; i <= n; i++) {
            held = value[name, i]
            for (j = i - 1; j > 0 && sorted[j] > held; j--) sorted[j + 1] = sorted[j]
            sorted[j + 1] = held
        }
        return (sorted[int((n + 1) / 2)] + sorted[int(n / 2) + 1]) / 2
    }
    END {
        for (i = 1; i <= keys; i++) {
            split(key[i], part, SUBSEP)
            printf "pipeline\t%s\t%s\t%.3f\t%s\n", part[1], part[2], median(key[i]), unit[key[i]]
            # The engine is the first; round by round, what slows the machine slows both.
            ours = "engine: X11 to H.264 in Java" SUBSEP part[2]
            if (part[1] ~ /^ffmpeg/ && part[2] ~ /_ms$/ && count[ours] == count[key[i]]) {
                name = part[1] SUBSEP "engine/ffmpeg"
                count[name] = count[ours]
                for (n = 1; n <= count[ours]; n++) value[name, n] = value[ours, n] / value[key[i], n]
                printf "pipeline\t%s\tengine/ffmpeg\t%.3f\tratio\n", part[1], median(name)
            }
        }
    }' "$work/lines"
