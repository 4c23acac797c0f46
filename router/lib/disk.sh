# shellcheck shell=bash
# vr plug, unplug: an image file becomes a USB disk of the router. The work is done inside, by root/usbport; here is
# what concerns the machine: its files, and the records of disks ($STATE/disks) when the router is gone.

record_field() { sed -n "s/^$2 //p" "$1"; }

# need_free_image IMAGE: two mounts of one file system would destroy it, in whatever worlds they are
need_free_image() {
    local users
    users=$(losetup --associated "$1" --noheadings --output NAME) || true
    [ -z "$users" ] || die "$1 is in use already (${users//$'\n'/, })"
}

command_plug() {
    local image=${1:-}
    [[ $image != '' && $image != -* ]] || usage 'plug: which image?'
    shift
    need_root
    [ -f "$image" ] || die "no such image: $image"
    image=$(readlink -f "$image")
    share_state
    need_up
    need_kernel loop
    need_free_image "$image"
    # the image's path means nothing inside, an open file does
    # shellcheck disable=SC2094 # the name is for messages
    in_router usbport plug /proc/self/fd/3 --name "$image" "$@" 3<"$image"
}

command_unplug() {
    need_root
    share_state
    need_up
    in_router usbport unplug "$@"
}

list_disks() { in_router usbport list; }

# recorded_loops: the loop devices of recorded disks that are still there, with their images in them. A loop device with
# another file in it has found another user.
recorded_loops() {
    local record minor
    for record in "$STATE"/disks/*; do
        [ -e "$record" ] || continue
        for minor in $(record_field "$record" volume | cut -d' ' -f2); do
            [ "$(backing_file "/dev/loop$minor")" != "$(record_field "$record" identity)" ] || echo "/dev/loop$minor"
        done
    done
}

backing_file() { losetup --noheadings --output BACK-MAJ:MIN,BACK-INO "$1" 2>/dev/null | xargs; }
