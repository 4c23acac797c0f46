# shellcheck shell=bash
# What every command of vr needs: messages, checks, the lock, the record of a running world.

BUILD=$(dirname "$ROUTER")/build/router # everything that is generated
STATE=$BUILD/run                        # one world; --state names another
VERBOSE=

# Exit codes of vr itself: 1 failed, 2 called wrongly or without the needed rights, 3 the world is not up.
die() { printf 'vr: %s\n' "$*" >&2; exit 1; }
usage() { printf "vr: %s (try 'vr --help')\n" "$*" >&2; exit 2; }
warn() { printf 'vr: %s\n' "$*" >&2; }
note() { [ -z "$VERBOSE" ] || printf '%s\n' "$*" >&2; }

need_root() {
    [ "$(id -u)" -eq 0 ] && return
    warn 'root is needed: namespaces, mounts, loop devices and virtual network links are made'
    warn '(all of them private; nothing of this machine is changed)'
    exit 2
}

need_programs() {
    local program
    for program; do
        command -v "$program" >/dev/null || die "the program '$program' is needed and not installed"
    done
}

# need_kernel FILE_SYSTEM...: loading the module is tried first, as mount itself would do.
need_kernel() {
    local name
    for name; do
        kernel_offers "$name" && continue
        modprobe -q "$name" 2>/dev/null || true
        kernel_offers "$name" || die "this kernel does not offer '$name' (module missing, or a container that hides it)"
    done
}

kernel_offers() {
    case $1 in
    loop) [ -e /dev/loop-control ] ;;
    *) grep -qw "$1" /proc/filesystems ;;
    esac
}

need_namespaces() {
    unshare --mount --pid --net --uts --ipc --fork true 2>/dev/null ||
        die 'this machine does not let root make namespaces (a container needs --privileged)'
}

# One command at a time begins or ends a world. The lock is the descriptor 9, closed for whatever outlives the command.
lock_state() {
    mkdir -p "$STATE"
    STATE=$(cd "$STATE" && pwd)
    exec 9>"$STATE/lock"
    flock "$@" -w 120 9 || die "another vr is busy with $STATE"
}

# Several commands may use a world at the same time, as long as none begins or ends it.
share_state() { lock_state --shared; }

# --- a running world: $STATE/world.pid and $STATE/router.pid hold the identities of the two first processes ---

# shellcheck source=router/lib/identity.sh
. "$ROUTER/lib/identity.sh"

# recorded_process world|router: its number, as long as anything of it is there
recorded_process() {
    local recorded pid
    recorded=$(cat "$STATE/$1.pid" 2>/dev/null) || return 1
    pid=${recorded%% *}
    identify "/proc/${pid:-none}" && [ "$IDENTITY" = "$recorded" ] && printf '%s\n' "$pid"
}

# first_process world|router: its number, when it runs. One that is ending, but waits for its children, has no program.
first_process() {
    local pid
    pid=$(recorded_process "$1") && readlink "/proc/$pid/exe" >/dev/null && printf '%s\n' "$pid"
}

# Up is when both have done their work and have become init.
is_up() {
    local pid name
    for name in world router; do
        pid=$(first_process $name) && [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = init ] || return 1
    done
}

need_up() {
    is_up && return
    warn "the virtual router is not up ($STATE); 'vr up' brings it up"
    exit 3
}

# wait_for SECONDS COMMAND...: until it succeeds
wait_for() {
    local left=$(($1 * 50))
    shift
    until "$@"; do
        [ "$((left -= 1))" -gt 0 ] || return 1
        sleep 0.02
    done
}
