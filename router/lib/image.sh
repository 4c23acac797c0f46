# shellcheck shell=bash
# vr image: a file that is a USB disk: with a partition for every --fs, or one file system without a partition table.

# What a volume is made with: item I of each list is the I-th volume's
VOLUME_FS=() VOLUME_LABEL=() VOLUME_SIZE=() VOLUME_FROM=()

command_image() {
    local image='' table=1 volume=-1
    while [ $# -gt 0 ]; do
        case $1 in
        --no-table) table='' ;;
        --fs | --label | --size | --from)
            [ $# -ge 2 ] || usage "$1 wants a value"
            [ "$1" != --fs ] || volume=$((volume + 1))
            [ $volume -ge 0 ] || usage "$1 stands behind the --fs that it belongs to"
            set_volume $volume "$1" "$2"
            shift
            ;;
        -*) usage "image: unknown option '$1'" ;;
        *)
            [ -z "$image" ] || usage 'image takes one file'
            image=$1
            ;;
        esac
        shift
    done
    [ -n "$image" ] || usage 'image: which file?'
    check_volumes "$table"
    need_root
    command_build
    need_kernel overlay
    need_namespaces
    make_image "$image" "$table"
}

set_volume() {
    case $2 in
    --fs) VOLUME_FS[$1]=$3 VOLUME_LABEL[$1]='' VOLUME_SIZE[$1]=64M VOLUME_FROM[$1]='' ;;
    --label) VOLUME_LABEL[$1]=$3 ;;
    --size) VOLUME_SIZE[$1]=$3 ;;
    --from) VOLUME_FROM[$1]=$3 ;;
    esac
}

check_volumes() {
    local table=$1 i count=${#VOLUME_FS[@]}
    [ "$count" -ge 1 ] || usage 'image: which file system? (--fs ext4, exfat, ntfs or vfat)'
    [ -n "$table" ] || [ "$count" -eq 1 ] || usage 'without a partition table there is one file system'
    [ "$count" -le 4 ] || usage 'a partition table has room for four'
    for ((i = 0; i < count; i++)); do
        case ${VOLUME_FS[i]} in
        ext4 | vfat) ;;
        exfat | ntfs) need_kernel fuse ;;
        *) usage "--fs is ext4, exfat, ntfs or vfat (not '${VOLUME_FS[i]}')" ;;
        esac
        [[ ${VOLUME_SIZE[i]} =~ ^[1-9][0-9]*[KMG]?$ ]] ||
            usage "a size is a number with K, M or G (not '${VOLUME_SIZE[i]}')"
        [ -z "${VOLUME_FROM[i]}" ] || [ -d "${VOLUME_FROM[i]}" ] || die "no such folder: ${VOLUME_FROM[i]}"
    done
}

# The image comes into being beside its final name, so that a failure leaves nothing that looks like one.
make_image() {
    local image=$1 table=$2 volume=$1.volume i
    [ ! -e "$image" ] || need_free_image "$image"
    # shellcheck disable=SC2064 # these names
    trap "$(printf 'rm -f %q %q' "$image.new" "$volume")" EXIT
    : >"$image.new" || die "cannot write $image"
    [ -z "$table" ] || truncate -s 1M "$image.new"
    for i in "${!VOLUME_FS[@]}"; do
        rm -f "$volume"
        truncate -s "${VOLUME_SIZE[i]}" "$volume"
        make_volume "$volume" "$i" || die 'making the image failed'
        [ -z "$table" ] || write_entry "$image.new" "$volume" "$i"
        append_volume "$image.new" "$volume"
    done
    mv "$image.new" "$image"
}

make_volume() {
    local place status=0
    place=$(mktemp -d "$BUILD/image.XXXXXX")
    unshare --mount --pid --ipc --fork --kill-child --propagation private "$ROUTER/world/image" "$place" "$TEMPLATE" \
        "$1" "${VOLUME_FS[$2]}" "${VOLUME_LABEL[$2]}" "${VOLUME_FROM[$2]}" >"$place.log" 2>&1 || status=1
    [ $status -eq 0 ] || cat "$place.log" >&2
    rmdir "$place"
    rm "$place.log"
    return $status
}

# write_entry IMAGE VOLUME INDEX: the entry of the partition table (MBR) for the volume that is to be appended
write_entry() {
    local at=$((446 + 16 * $3)) type
    case ${VOLUME_FS[$3]} in
    ext4) type=83 ;;
    vfat) type=0c ;;
    exfat | ntfs) type=07 ;;
    esac
    # no boot mark; cylinders, heads and sectors are beyond what can be told; then the type, the start, the length
    write_bytes "$1" $at 00 fe ff ff $type fe ff ff
    # shellcheck disable=SC2046 # bytes are words
    write_bytes "$1" $((at + 8)) $(little_endian $(($(stat -c %s "$1") / 512)))
    # shellcheck disable=SC2046 # as above
    write_bytes "$1" $((at + 12)) $(little_endian $(($(stat -c %s "$2") / 512)))
    write_bytes "$1" 510 55 aa
}

little_endian() { printf '%02x ' $(($1 & 255)) $(($1 >> 8 & 255)) $(($1 >> 16 & 255)) $(($1 >> 24 & 255)); }

# write_bytes FILE OFFSET HEX...
write_bytes() {
    local file=$1 offset=$2
    shift 2
    printf '%b' "$(printf '\\x%s' "$@")" | dd of="$file" bs=1 seek="$offset" conv=notrunc status=none
}

# append_volume IMAGE VOLUME: holes stay holes, and what follows begins at a whole MiB
append_volume() {
    local start
    start=$(stat -c %s "$1")
    dd if="$2" of="$1" bs=1M seek=$((start >> 20)) conv=notrunc,sparse status=none
    truncate -s $(((start + $(stat -c %s "$2") + (1 << 20) - 1) >> 20 << 20)) "$1"
}
