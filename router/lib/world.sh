# shellcheck shell=bash
# vr up, down, status: the life of a world.

command_up() {
    local stage=
    while [ $# -gt 0 ]; do
        case $1 in
        --stage)
            [ $# -ge 2 ] || usage '--stage wants a folder'
            stage=$(cd "$2" 2>/dev/null && pwd) || die "no such folder: $2"
            shift 2
            ;;
        *) usage "up: unknown argument '$1'" ;;
        esac
    done
    need_root
    lock_state
    if is_up; then
        [ -s "$STATE/namespaces" ] || record_namespaces # its vr up was interrupted
        echo 'the virtual router is up already'
        return
    fi
    need_programs unshare nsenter mount pivot_root losetup setsid
    need_kernel overlay
    need_namespaces
    command_build
    clean_up || die 'a world that ended badly left the above behind'
    start_world "$stage"
}

start_world() {
    local unshare
    mkdir -p "$STATE"/{disks,share,world}
    exec 8<"$TEMPLATE"
    flock --shared 8 # as long as the world lives, vr build leaves its template alone
    setsid unshare --mount --pid --net --uts --ipc --fork --kill-child --propagation private \
        "$ROUTER/world/start" "$STATE" "$TEMPLATE" "$1" </dev/null >"$STATE/log" 2>&1 9<&- &
    unshare=$!
    disown
    exec 8<&-
    wait_for 120 has_settled "$unshare" || true
    if ! is_up; then
        warn "the world did not come up; its log ($STATE/log):"
        cat "$STATE/log" >&2
        clean_up || true
        exit 1
    fi
    record_namespaces
    [ ! -s "$STATE/log" ] || note "$(cat "$STATE/log")"
}

has_settled() { is_up || [ -e "$STATE/failed" ] || ! kill -0 "$1" 2>/dev/null; }

# The names of every namespace of the world, to look for what is left when it has ended.
record_namespaces() {
    local world
    world=$(first_process world)
    {
        readlink "/proc/$world"/ns/{mnt,pid,net,uts,ipc} "/proc/$(first_process router)"/ns/{mnt,pid,net,uts,ipc}
        stat -c 'net:[%i]' "/proc/$world/root$STATE"/world/clients/run/netns/*
    } | sort -u >"$STATE/namespaces"
}

command_down() {
    [ $# -eq 0 ] || usage 'down takes no arguments'
    need_root
    lock_state
    if first_process router >/dev/null; then
        in_router sh -s <"$ROUTER/world/stop.sh" || warn 'stopping the daemons failed; the world is ended anyway'
    fi
    clean_up || die 'the above is left'
}

# clean_up: ends what is left of a world, whole or half. Says what is left then and fails; else forgets the world.
clean_up() {
    local world
    ! world=$(recorded_process world) || kill -KILL "$world"
    abort_fuse
    if ! wait_for 60 nothing_left; then
        report_left
        return 1
    fi
    rm -f "$STATE"/{world.pid,router.pid,namespaces,failed} "$STATE"/disks/*
    [ ! -d "$STATE/world" ] || rmdir "$STATE/world"
}

nothing_left() { [ -z "$(left_processes)$(recorded_loops)" ]; }

report_left() {
    local line
    left_processes | while read -r line; do warn "left: process $line: $(tr '\0' ' ' <"/proc/$line/cmdline")"; done
    recorded_loops | while read -r line; do warn "left: loop device $line"; done
}

# The first processes, and those in one of the world's namespaces. Without a process, a mount or a descriptor a
# namespace ends by itself, and no mount of the world is visible outside.
left_processes() {
    {
        recorded_process world || true
        recorded_process router || true
        [ ! -s "$STATE/namespaces" ] || find /proc/[0-9]*/ns -type l -printf '%h %l\n' 2>/dev/null |
            awk -v file="$STATE/namespaces" 'BEGIN { while ((getline name < file) > 0) ours[name] = 1 }
                $2 in ours { split($1, part, "/"); print part[3] }'
    } | sort -un
}

# A FUSE driver that was killed together with its world waits for itself for ever, unless the kernel is told to end the
# connection. It bears the number of the loop device.
abort_fuse() {
    local loop
    for loop in $(recorded_loops); do
        # shellcheck disable=SC2016 # expanded by the inner shell
        unshare --mount sh -c 'mount -t fusectl fusectl /sys/fs/fuse/connections &&
            [ ! -e "/sys/fs/fuse/connections/$1/abort" ] || echo 1 >"/sys/fs/fuse/connections/$1/abort"' \
            sh "$((7 << 20 | ${loop#/dev/loop}))" 2>/dev/null || true
    done
}

command_status() {
    [ $# -eq 0 ] || usage 'status takes no arguments'
    need_root
    if ! is_up; then
        echo 'down'
        exit 3
    fi
    cat <<-END
		up      state $STATE, router's first process $(first_process router)
		lan     192.168.1.10; the router is 192.168.1.1 (br-lan)
		wan     10.20.0.2 (wan1), behind the gateway igd 11.0.0.1
		inet    11.0.0.2
	END
    list_disks
}
