# A sound server of one's own without a desktop, for what captures or plays sound. Source this file.
#
#   start_sound_server DIR [MODULE...]
#       Starts a server whose default sink "sys" plays to nowhere (44100 Hz, stereo), with all its files in DIR
#       (which must exist; its path at most 90 characters). Each further word is one more module with its
#       arguments, "module-sine sink=sys frequency=440" for a tone that does not end. Returns when the server
#       answers: PULSE_SERVER is exported then, and sound_server is the server's process, a child of the caller.
#       It ends when that is killed, and with the caller whatever way the caller ends. 1 and DIR/log on
#       stderr when it does not start.
#   exec_sound_server DIR [MODULE...]
#       The same in place of the caller's own process, without waiting and without PULSE_SERVER.
#
# A module more for a server that runs: PULSE_SERVER=... pactl load-module ... (package pulseaudio-utils).

# norewinds: with rewinds those who record a null sink stall for seconds.
exec_sound_server() {
    local dir=$1 module modules=()
    shift
    for module in "module-null-sink sink_name=sys norewinds=1 rate=44100 channels=2 format=s16le" "$@" \
        "module-native-protocol-unix socket=$dir/native auth-anonymous=1 auth-cookie-enabled=0"; do
        modules+=(-L "$module")
    done
    exec env -u DISPLAY -u PULSE_SERVER -u DBUS_SESSION_BUS_ADDRESS -u LD_PRELOAD \
        HOME="$dir" XDG_RUNTIME_DIR="$dir" PULSE_RUNTIME_PATH="$dir" PULSE_STATE_PATH="$dir" \
        pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no --disable-shm=yes --realtime=no \
        --high-priority=no --log-target=stderr "${modules[@]}" >"$dir/log" 2>&1
}

start_sound_server() {
    local waited=0 caller=$BASHPID
    rm -f "$1/native" "$1/log"
    # The caller may have ended before its death could be watched.
    (
        export -f exec_sound_server
        exec setpriv --pdeathsig TERM bash -c \
            '[[ $PPID -eq $1 ]] && exec_sound_server "${@:2}"' sound-server "$caller" "$@"
    ) &
    sound_server=$!
    until [[ -S $1/native ]] || ! kill -0 "$sound_server" 2>/dev/null || ((++waited > 200)); do
        sleep 0.1
    done
    sleep 0.1 # the socket is there a moment before it is listened to
    # The server goes on without a module that it cannot load.
    if [[ ! -S $1/native ]] || grep -q 'Failed to .* module' "$1/log"; then
        kill "$sound_server" 2>/dev/null || true
        wait "$sound_server" 2>/dev/null || true
        cat "$1/log" >&2
        echo "error: the sound server does not start" >&2
        return 1
    fi
    export PULSE_SERVER=unix:$1/native
}
