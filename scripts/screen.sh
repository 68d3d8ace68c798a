# An X server of one's own, and something to see on it. Source this file.
#
# Both functions add the processes that they start to the array children, which the caller has and ends
# (last started, first ended); width, height and the folder work are the caller's, too.

# Sets the variable display. The server leaves its number in a file as soon as it is ready.
start_screen() {
    local number=$work/display waited=0
    Xvfb -displayfd 3 -screen 0 "${width}x${height}x24" -nolisten tcp -noreset 3>"$number" >"$work/xvfb.log" 2>&1 &
    children+=($!)
    until [[ -s $number ]]; do
        if ! kill -0 "${children[-1]}" 2>/dev/null || ((++waited > 600)); then
            cat "$work/xvfb.log" >&2
            echo "error: Xvfb does not start" >&2
            exit 1
        fi
        sleep 0.1
    done
    display=:$(<"$number")
}

# What a screen under remote support shows: a screenful of text that scrolls, and a clock.
start_content() {
    local scroll='rows=$(tput lines)
        for ((n = 1; ; n++)); do
            printf "\e[1;%dm%(%T)T  item %5d of the log  %s  %3d files checked, all is well\e[0m\n" \
                $((31 + n % 6)) -1 $n ======== $((RANDOM % 1000))
            ((n < rows)) || sleep 0.03
        done'
    # A character of this font is about 9x18 pixels.
    DISPLAY=$display xterm -fa 'DejaVu Sans Mono' -fs 11 -bg gray10 -fg white \
        -geometry "$((width / 9 + 1))x$((height / 18 + 1))+0+0" -e bash -c "$scroll" >/dev/null 2>&1 &
    children+=($!)
    DISPLAY=$display xclock -digital -update 1 -geometry "+$((width / 2))+$((height * 3 / 4))" >/dev/null 2>&1 &
    children+=($!)
    sleep 1 # until the first screenful is there
}
