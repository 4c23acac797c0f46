# shellcheck shell=sh
# What a kernel does in the router when a USB disk comes or goes: device nodes, /proc/partitions, sysfs, and the events.
# attach DISK MAJOR MINOR KILOBYTES | detach DISK. The whole image is one partition, DISK1.
#
# sda sits in the USB 2 port (bus 1), sdb in the USB 3 port (bus 2), the next ones in turn further down.
set -eu
action=$1 disk=$2
letter=$(printf '%d' "'${disk#sd}")
index=$((letter - 97))
bus=$((index % 2 + 1))
device=$bus-$((index / 2 + 1))
sys=/sys/devices/pci0000:00/0000:00:12.0/usb$bus/$device
block=$sys/$device:1.0/host$index/target$index:0:0/$index:0:0:0/block/$disk

make_nodes() {
    for node in "$disk" "${disk}1"; do mknod -m 660 "/dev/$node" b "$1" "$2"; done
}

# the kernel's own numbers of SCSI disks, and a disk that is a little larger than its partition
make_partitions() {
    printf '%4d  %7d %10d %s\n' 8 $((index * 16)) $(($1 + 1024)) "$disk" 8 $((index * 16 + 1)) "$1" "${disk}1" \
        >>/proc/partitions
}

make_sys() {
    mkdir -p "$block/${disk}1"
    echo $((($1 + 1024) * 2)) >"$block/size"
    echo $(($1 * 2)) >"$block/${disk}1/size"
    echo 08 >"$sys/$device:1.0/bInterfaceClass"
    (
        cd "$sys"
        echo 0781 >idVendor
        echo 5567 >idProduct
        echo Virtual >manufacturer
        echo 'USB Disk' >product
        echo "VR000000$index" >serial
        echo "$bus" >busnum
        echo $((index / 2 + 2)) >devnum
        case $bus in # the kernel writes the version with a leading blank
        1) echo 480 >speed; echo ' 2.00' >version ;;
        2) echo 5000 >speed; echo ' 3.00' >version ;;
        esac
    )
    ln -s "../../..${sys#/sys}" "/sys/bus/usb/devices/$device"
    ln -s "../../..${sys#/sys}/$device:1.0" "/sys/bus/usb/devices/$device:1.0"
    ln -s "..${block#/sys}" "/sys/block/$disk"
}

# /proc/partitions is a mounted file: written in place, never replaced
remove_partitions() {
    left=$(grep -vE " ${disk}[0-9]*\$" /proc/partitions)
    printf '%s\n' "$left" >/proc/partitions
    [ "$(wc -l </proc/partitions)" -gt 1 ] || echo >>/proc/partitions
}

# announce ADD_OR_REMOVE NAME: an event. The kernel starts its handler with a few variables and no open file, and does not
# wait for it before the next one; we wait for all of them at the end.
announce() {
    number=$(($(cat /dev/.seqnum 2>/dev/null || echo 0) + 1))
    echo $number >/dev/.seqnum
    env -i HOME=/ PATH=/sbin:/bin:/usr/sbin:/usr/bin ACTION="$1" DEVPATH="${block#/sys}$2" SUBSYSTEM=block \
        SEQNUM=$number /sbin/hotplug block <&- >&- 2>&- &
}

case $action in
attach)
    make_nodes "$3" "$4"
    make_sys "$5"
    make_partitions "$5"
    announce add ""
    announce add "/${disk}1"
    ;;
detach)
    remove_partitions
    rm -f "/sys/block/$disk" "/sys/bus/usb/devices/$device" "/sys/bus/usb/devices/$device:1.0"
    rm -rf "$sys"
    rm -f "/dev/$disk" "/dev/${disk}1"
    announce remove "/${disk}1"
    announce remove ""
    ;;
esac
wait
