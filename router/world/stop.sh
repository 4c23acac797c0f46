# shellcheck shell=sh
# Runs in the router: ends every process, then takes every volume down.
# A process that serves a FUSE volume ends by itself when the volume is unmounted; killed before that, it would wait for
# itself for ever. It is known by the open /dev/fuse.

# shellcheck disable=SC2010 # one process for all descriptors, and no names but the kernel's
serves_fuse() { ls -l "/proc/$1/fd" 2>/dev/null | grep -q '/dev/fuse$'; }

# others: all but init, this shell and its children, and the FUSE drivers
others() {
    for process in /proc/[0-9]*; do
        pid=${process#/proc/}
        case $pid in 1 | "$$") continue ;; esac
        read -r stat 2>/dev/null <"$process/stat" || continue
        # state and parent follow the parenthesised name
        # shellcheck disable=SC2086
        set -- ${stat##*) }
        case "$1 $2" in Z\ * | *\ "$$") continue ;; esac
        serves_fuse "$pid" || echo "$pid"
    done
}

signal_others() {
    for pid in $(others); do kill "-$1" "$pid" 2>/dev/null; done
}

kill -TERM 1 # serviced is not started anew
signal_others TERM
tries=20
while [ -n "$(others)" ] && [ $tries -gt 0 ]; do
    tries=$((tries - 1))
    usleep 50000
done
signal_others KILL

# the last mount first; blanks and the like are octal in /proc/mounts
cut -d' ' -f2 /proc/mounts | grep '^/tmp/' | tac | while read -r escaped; do
    folder=$(printf '%b' "$escaped")
    umount "$folder" 2>/dev/null || umount -l "$folder"
done

# the drivers of what was mounted
tries=600
while [ $tries -gt 0 ]; do
    left=
    for process in /proc/[0-9]*; do serves_fuse "${process#/proc/}" && left=1; done
    [ -n "$left" ] || break
    tries=$((tries - 1))
    usleep 50000
done
