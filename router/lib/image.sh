# shellcheck shell=bash
# vr image: a file with one file system, as the partition of a USB disk.

command_image() {
    local image='' fs='' label='' size=64M from=
    while [ $# -gt 0 ]; do
        case $1 in
        --fs) fs=${2:-} ;;
        --label) label=${2:-} ;;
        --size) size=${2:-} ;;
        --from) from=${2:-} ;;
        -*) usage "image: unknown option '$1'" ;;
        *)
            [ -z "$image" ] || usage 'image takes one file'
            image=$1
            shift
            continue
            ;;
        esac
        [ $# -ge 2 ] || usage "$1 wants a value"
        shift 2
    done
    [ -n "$image" ] || usage 'image: which file?'
    case $fs in
    ext4 | vfat) ;;
    exfat | ntfs) need_kernel fuse ;;
    *) usage "--fs is ext4, exfat, ntfs or vfat (not '$fs')" ;;
    esac
    [[ $size =~ ^[1-9][0-9]*[KMG]?$ ]] || usage "a size is a number with K, M or G (not '$size')"
    [ -z "$from" ] || [ -d "$from" ] || die "no such folder: $from"
    need_root
    command_build
    need_kernel overlay
    need_namespaces
    make_image "$image" "$fs" "$label" "$size" "$from"
}

# The image comes into being beside its final name, so that a failure leaves nothing that looks like one.
make_image() {
    local image=$1 place
    [ ! -e "$image" ] || need_free_image "$image"
    place=$(mktemp -d "$BUILD/image.XXXXXX")
    truncate -s "$4" "$image.new" || { rmdir "$place"; die "cannot write $image"; }
    if unshare --mount --pid --ipc --fork --kill-child --propagation private \
        "$ROUTER/world/image" "$place" "$TEMPLATE" "$image.new" "$2" "$3" "$5" >"$BUILD/image.log" 2>&1; then
        rmdir "$place"
        mv "$image.new" "$image"
    else
        cat "$BUILD/image.log" >&2
        rmdir "$place"
        rm -f "$image.new"
        die "making the image failed"
    fi
}
