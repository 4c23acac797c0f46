# shellcheck shell=sh
# What a kernel does in the router when a printer or a phone comes or goes: its folder in sysfs, and the event.
# attach|detach printer|phone
set -eu
action=$1 what=$2

sys_of() { echo "/sys/devices/pci0000:00/0000:00:12.0/usb${1%%-*}/$1"; }

# add_device PORT CLASS VENDOR PRODUCT_ID PRODUCT SERIAL: PORT is BUS-NUMBER. Bus 1 is USB 2, bus 2 is USB 3.
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
# and does not wait for it before the next one; we wait for it at the end.
announce() {
    number=$(($(cat /dev/.seqnum 2>/dev/null || echo 0) + 1))
    echo $number >/dev/.seqnum
    env -i HOME=/ PATH=/sbin:/bin:/usr/sbin:/usr/bin ACTION="$1" DEVPATH="${3#/sys}" SUBSYSTEM="$2" \
        SEQNUM=$number /sbin/hotplug "$2" <&- >&- 2>&- &
}

case $what in
printer) port=1-9 subsystem=usbmisc node=$(sys_of 1-9)/1-9:1.0/usbmisc/lp0 ;;
phone) port=2-9 subsystem=net node=$(sys_of 2-9)/2-9:1.0/net/usb0 ;;
esac

case $action-$what in
attach-printer)
    add_device "$port" 07 03f0 1017 'Laser 1000' 00X1
    mkdir -p "$node"
    ln -s "../..${node#/sys}" /sys/class/usbmisc/lp0
    touch /tmp/usb-printer # the printing system's own way to it: adapters/cups-usb-backend
    announce add "$subsystem" "$node"
    ;;
detach-printer)
    rm -f /tmp/usb-printer /sys/class/usbmisc/lp0
    remove_device "$port"
    announce remove "$subsystem" "$node"
    ;;
attach-phone)
    add_device "$port" 02 18d1 4ee3 Phone PH0001
    mkdir -p "$node"
    announce add "$subsystem" "$node"
    ;;
detach-phone)
    remove_device "$port"
    announce remove "$subsystem" "$node"
    ;;
esac
wait
