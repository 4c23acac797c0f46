# shellcheck shell=bash
# How a root is made from the template: the router's, the clients', and the one in which images are made.
# Every mount is private to the namespaces of whoever sources this.

# prepare_layers PLACE TEMPLATE: a tmpfs at PLACE with the layers, and PLACE as the current folder.
# The layers are named relative to it, because the options of an overlay cannot hold every path.
prepare_layers() {
    mount --make-rprivate /
    mount -t tmpfs -o mode=755 place "$1"
    cd "$1" || return
    mkdir template packages stage
    mount --bind "$2" template
    mount --bind "$(readlink -f "$2/packages")" packages
}

# make_root NAME: a root at PLACE/NAME, with the /proc of the caller's PID namespace
make_root() {
    local root=$1 layers=template/usr:packages/usr
    mkdir "$root"
    mount -t tmpfs -o mode=755 root "$root"
    cp -a template/root/. "$root"
    [ ! -d stage/usr ] || layers=stage/usr:$layers
    mount -t overlay -o "ro,lowerdir=$layers" usr "$root/usr"
    mount -t proc proc "$root/proc"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=620,gid=5 devpts "$root/dev/pts"
}
