# shellcheck shell=bash
# vr exec, net, cli: into the router, into a network with a program of this machine, or with one of the packages.

# shellcheck source=router/lib/limits.sh
. "$ROUTER/lib/limits.sh"

# What starts here may outlive the command and must not keep its lock (descriptor 9).
in_router() {
    local pid
    pid=$(first_process router)
    nsenter --target "$pid" --mount --pid --net --uts --ipc --root --wd \
        /usr/bin/setpriv --bounding-set="$DROPPED" --inh-caps="$DROPPED" /bin/env -i \
        PATH=/bin:/sbin:/usr/bin:/usr/sbin HOME=/root TERM="${TERM:-dumb}" "$@" 9<&-
}

# in_network NETWORK CMD...
in_network() {
    local netns=$1 world
    shift
    world=$(first_process world)
    nsenter --target "$world" --mount --pid --uts --ipc --wdns="$PWD" \
        --net="/proc/$world/root$STATE/world/clients/run/netns/$netns" "$@" 9<&-
}

command_exec() {
    need_root
    need_up
    [ $# -gt 0 ] || set -- /bin/sh -i
    in_router "$@"
}

check_network() {
    case ${1:-} in
    lan | igd | inet | phone) [ $# -ge 2 ] || usage 'which command?' ;;
    *) usage "which network: lan, igd, inet or phone? (not '${1:-}')" ;;
    esac
    need_root
    need_up
}

command_net() {
    check_network "$@"
    in_network "$@"
}

# with_packages NETWORK CMD...: a program of the packages, in the clients' root
with_packages() {
    in_network "$1" chroot "$STATE/world/clients" /bin/env -i \
        PATH=/usr/bin:/usr/sbin:/bin:/sbin HOME=/root TERM="${TERM:-dumb}" "${@:2}"
}

command_cli() {
    check_network "$@"
    with_packages "$@"
}
