# For scripts that have a device server started: which process it is, and ending it. To be sourced.

# Neither gone nor a zombie that its parent has yet to collect.
is_running() { grep -q '^State:[[:space:]]*[^ZX]' "/proc/$1/status" 2>/dev/null; }

# The process that serves the socket, as its lock file names it; nothing when there is none.
server_pid() {
    local pid
    pid=$(head -n 1 "${TMPDIR:-/tmp}/tarnSver.lock" 2>/dev/null) || return 0
    # The number may be another process's since.
    if is_running "$pid" && [ "$(cat "/proc/$pid/comm")" = KVTServerMaster ]; then echo "$pid"; fi
}

stop_server() {
    local pid
    pid=$(server_pid)
    [ -n "$pid" ] || return 0
    kill -TERM "$pid"
    for _ in $(seq 100); do
        is_running "$pid" || return 0
        sleep 0.1
    done
    echo "the device server (process $pid) does not stop" >&2
    exit 1
}
