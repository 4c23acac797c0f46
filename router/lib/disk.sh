# shellcheck shell=bash
# vr plug, unplug: an image file becomes a USB disk of the router.
# A disk's record is $STATE/disks/DISK, lines "key value".

record_field() { sed -n "s/^$2 //p" "$1"; }

# is_attached LOOP IMAGE
is_attached() { [ "$(cat "/sys/block/${1#/dev/}/loop/backing_file" 2>/dev/null)" = "$2" ]; }

# need_free_image IMAGE: two mounts of one file system would destroy it, in whatever worlds they are
need_free_image() {
    local users
    users=$(losetup --associated "$1" --noheadings --output NAME) || true
    [ -z "$users" ] || die "$1 is in use already (${users//$'\n'/, })"
}

command_plug() {
    local image='' disk='' folder=''
    while [ $# -gt 0 ]; do
        case $1 in
        --disk) disk=${2:-} ;;
        --folder) folder=${2:-} ;;
        -*) usage "plug: unknown option '$1'" ;;
        *)
            [ -z "$image" ] || usage 'plug takes one image'
            image=$1
            shift
            continue
            ;;
        esac
        [ $# -ge 2 ] || usage "$1 wants a value"
        shift 2
    done
    [ -n "$image" ] || usage 'plug: which image?'
    need_root
    [ -f "$image" ] || die "no such image: $image"
    image=$(readlink -f "$image")
    lock_state
    need_up
    need_kernel loop
    forget_finished
    [ -n "$disk" ] || disk=$(free_disk)
    check_plug "$image" "$disk" "$folder"
    [ -z "$folder" ] || name_folder "$image" "$folder"
    attach "$image" "$disk"
    mount_disk "$disk"
}

# Pulled out while in use, and let go since
forget_finished() {
    local record
    for record in "$STATE"/disks/*.busy; do
        [ -e "$record" ] || continue
        is_attached "$(record_field "$record" loop)" "$(record_field "$record" image)" || rm "$record"
    done
}

free_disk() {
    local letter
    for letter in {a..p}; do
        [ -e "$STATE/disks/sd$letter" ] || { echo "sd$letter"; return; }
    done
    die 'sixteen disks are plugged in already'
}

check_plug() {
    local image=$1 disk=$2 folder=$3
    [[ $disk =~ ^sd[a-p]$ ]] || usage "a disk is called sda to sdp, not '$disk'"
    [[ $folder =~ ^([A-Za-z0-9_][A-Za-z0-9._-]{0,14})?$ ]] ||
        usage "a folder is made of up to 15 letters, digits, '.', '_' and '-', not '$folder'"
    in_router test -x /sbin/hotplug || die "nobody handles disks in this root: bring it up with --stage"
    [ ! -e "$STATE/disks/$disk" ] || die "$disk is plugged in already"
    need_free_image "$image"
    [ -z "$folder" ] || ! in_router test -e "/tmp/mnt/$folder" || die "the folder $folder is in use"
}

# attach IMAGE DISK: the loop device is kept by a process of the world alone, so it goes when the world goes.
attach() {
    local image=$1 disk=$2 loop holder
    loop=$(losetup --find --show "$image") || die "no loop device for $image"
    printf 'image %s\nloop %s\n' "$image" "$loop" >"$STATE/disks/$disk"
    # shellcheck disable=SC2016 # expanded by the inner shell
    holder=$(nsenter --target "$(first_process world)" --mount --pid \
        sh -c 'sleep infinity <"$1" >/dev/null 2>&1 9<&- & echo $!' sh "$loop")
    echo "holder $holder" >>"$STATE/disks/$disk"
    losetup --detach "$loop" # in use: detached as soon as its last user is gone
    in_router sh -s attach "$disk" "$((16#$(stat -c %t "$loop")))" "$((16#$(stat -c %T "$loop")))" \
        "$(($(stat -c %s "$image") / 1024))" <"$ROUTER/world/usb.sh" || die "making the device nodes of $disk failed"
}

# The events of the kernel have been handled when attach ends; serviced mounts the disk then.
mount_disk() {
    local disk=$1
    wait_for 600 is_handled "$disk" || warn "serviced does not mount $disk"
    if [ -z "$(mount_point "$disk")" ]; then
        remove_disk "$disk"
        die "$disk could not be mounted; the router's /var/log/nas-serviced says why"
    fi
    echo "$disk $(mount_point "$disk")"
}

# Mounted, or given up: neither waits the request in the queue, nor does a worker perform it.
# shellcheck disable=SC2016 # expanded by the inner shell
is_handled() {
    [ -n "$(mount_point "$1")" ] || in_router sh -c '
        for look in 1 2 3; do
            ! grep -qszx "mount:$1" /var/run/nas/requests && [ "$(cat /var/run/nas/worker.lock)" != "mount:$1" ] || exit 1
            usleep 20000
        done' sh "$1"
}

# A volume finds the folder again that it had: so it is told which one it shall have.
name_folder() {
    local uuid
    uuid=$(blkid -p -o value -s UUID "$1") || die "$1 has no UUID to know it by: --folder cannot be used"
    # shellcheck disable=SC2016 # expanded by the inner shell
    in_router sh -c 'mkdir -p /etc/nas && touch /etc/nas/volumes && sed -i "/^$1 /d" /etc/nas/volumes &&
        echo "$1 $2" >>/etc/nas/volumes' sh "$uuid" "$2"
}

# shellcheck disable=SC2016 # the program is awk's
mount_point() { in_router awk -v device="/dev/${1}1" '$1 == device { print $2; exit }' /proc/mounts; }

command_unplug() {
    local disk=${1#/dev/}
    [ $# -eq 1 ] || usage 'unplug: which disk?'
    need_root
    lock_state
    need_up
    [[ $disk =~ ^sd[a-p]$ ]] || usage "a disk is called sda to sdp, not '$disk'"
    [ -e "$STATE/disks/$disk" ] || die "no such disk: $disk"
    remove_disk "$disk"
}

remove_disk() {
    local disk=$1 record=$STATE/disks/$1 loop image
    in_router sh -s detach "$disk" <"$ROUTER/world/usb.sh"
    nsenter --target "$(first_process world)" --mount --pid kill "$(record_field "$record" holder)"
    loop=$(record_field "$record" loop) image=$(record_field "$record" image)
    if wait_for 50 is_detached "$loop" "$image"; then
        rm "$record"
    else
        warn "$disk is still in use inside; $loop is let go when its last file is closed"
        mv "$record" "$record.${loop#/dev/}.busy"
    fi
}

is_detached() { ! is_attached "$@"; }

list_disks() {
    local record disk folder
    for record in "$STATE"/disks/sd?; do
        [ -e "$record" ] || continue
        disk=$(basename "$record")
        folder=$(mount_point "$disk")
        printf '%-7s %s from %s\n' "$disk" "${folder:-not mounted}" "$(record_field "$record" image)"
    done
}
