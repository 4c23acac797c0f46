# shellcheck shell=bash
# vr printer, phone, cable: what else is plugged in and pulled out.

# want_in_or_out COMMAND WORD...
want_in_or_out() {
    case $#,${2:-} in
    2,in | 2,out) ;;
    *) usage "$1: in or out?" ;;
    esac
    need_root
    lock_state
    need_up
}

# peripheral attach|detach printer|phone
peripheral() {
    in_router test -x /sbin/hotplug || die 'nobody handles devices in this root: bring it up with --stage'
    in_router usbperipheral "$@"
}

is_plugged_in() { in_router test -e "/sys/bus/usb/devices/$1"; }

# Its jobs become files of the router's folder /tmp/printed.
command_printer() {
    want_in_or_out printer "$@"
    case $1 in
    in)
        ! is_plugged_in 1-9 || die 'the printer is plugged in already'
        peripheral attach printer
        ;;
    out)
        is_plugged_in 1-9 || die 'no printer is plugged in'
        peripheral detach printer
        ;;
    esac
}

# The interface comes and goes before the event tells of it.
command_phone() {
    want_in_or_out phone "$@"
    case $1 in
    in)
        ! is_plugged_in 2-9 || die 'the phone is plugged in already'
        with_packages phone /usr/bin/ip link add usb0 type veth peer name lte0 netns router
        with_packages phone /usr/bin/ip addr add 192.168.42.129/24 brd + dev usb0
        with_packages phone /usr/bin/ip link set usb0 up
        with_packages phone udhcpd -a 50 /etc/udhcpd.conf
        peripheral attach phone
        ;;
    out)
        is_plugged_in 2-9 || die 'no phone is plugged in'
        # shellcheck disable=SC2016 # expanded by the inner shell
        with_packages phone sh -c 'kill "$(cat /run/udhcpd.pid)"; /usr/bin/ip link del usb0'
        peripheral detach phone
        ;;
    esac
}

# The cable of the WAN port, pulled at the gateway's end: a route goes with its link.
command_cable() {
    want_in_or_out cable "$@"
    case $1 in
    in)
        with_packages igd /usr/bin/ip link set lan0 up
        with_packages igd /usr/bin/ip route replace 239.0.0.0/8 dev lan0
        ;;
    out) with_packages igd /usr/bin/ip link set lan0 down ;;
    esac
}
