# shellcheck shell=sh
# What a kernel does for every USB device that comes or goes: its folder in sysfs, and the event. Read by usbport and
# usbperipheral. A device is known by its port, BUS-NUMBER; bus 1 is USB 2, bus 2 is USB 3.

die() { echo "${0##*/}: $*" >&2; exit 1; }
usage() { echo "${0##*/}: $*" >&2; exit 2; }

# One process at a time changes what is plugged in. Nothing that outlives us may keep the descriptor.
lock() {
    exec 9>/var/run/usbport.lock
    flock -w 60 9 || die 'another one does not end'
}
unlock() { exec 9>&-; }

sys_of() { echo "/sys/devices/pci0000:00/0000:00:12.0/usb${1%%-*}/$1"; }

# add_device PORT CLASS VENDOR PRODUCT_ID PRODUCT SERIAL
add_device() {
    sys=$(sys_of "$1")
    mkdir -p "$sys/$1:1.0"
    echo "$2" >"$sys/$1:1.0/bInterfaceClass"
    echo "$3" >"$sys/idVendor"
    echo "$4" >"$sys/idProduct"
    echo Virtual >"$sys/manufacturer"
    echo "$5" >"$sys/product"
    echo "$6" >"$sys/serial"
    echo "${1%%-*}" >"$sys/busnum"
    echo $((${1#*-} + 1)) >"$sys/devnum"
    case $1 in # the kernel writes the version with a leading blank
    1-*) echo 480 >"$sys/speed"; echo ' 2.00' >"$sys/version" ;;
    2-*) echo 5000 >"$sys/speed"; echo ' 3.00' >"$sys/version" ;;
    esac
    ln -s "../../..${sys#/sys}" "/sys/bus/usb/devices/$1"
    ln -s "../../..${sys#/sys}/$1:1.0" "/sys/bus/usb/devices/$1:1.0"
}

remove_device() {
    rm -f "/sys/bus/usb/devices/$1" "/sys/bus/usb/devices/$1:1.0"
    rm -rf "$(sys_of "$1")"
}

# announce ADD_OR_REMOVE SUBSYSTEM PATH: an event. The kernel starts its handler with a few variables and no open file,
# and does not wait for it before the next one.
announce() {
    number=$(($(cat /dev/.seqnum 2>/dev/null || echo 0) + 1))
    echo $number >/dev/.seqnum
    env -i HOME=/ PATH=/sbin:/bin:/usr/sbin:/usr/bin ACTION="$1" DEVPATH="${3#/sys}" SUBSYSTEM="$2" \
        SEQNUM=$number /sbin/hotplug "$2" <&- >&- 2>&- 9>&- &
}
