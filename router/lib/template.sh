# shellcheck shell=bash
# vr build: the template of every root. Two layers, each a folder named by the hash of what it is made from, so that
# "up to date" is "the folder is there", and a change of an adapter does not unpack the packages again:
#
#   build/router/packages-HASH/   the unpacked packages
#   build/router/template-HASH/   root/ (the router's root), usr/ (our layer over the packages' /usr), packages (a link)

command_build() {
    [ $# -eq 0 ] || usage 'build takes no arguments'
    need_root
    need_programs apt-get dpkg-deb tar flock sha256sum unshare
    find_compiler
    mkdir -p "$BUILD"
    exec 7>"$BUILD/lock"
    flock 7
    name_layers
    if [ ! -e "$TEMPLATE" ]; then
        warn_foreign_system
        : >"$BUILD/build.log"
        build_packages
        build_template
    fi
    remove_old
    exec 7>&-
}

say() { printf '%s\n' "$*" >&2; }

warn_foreign_system() {
    # shellcheck disable=SC1091 # the machine's own
    local system
    system=$(. /etc/os-release && echo "$ID $VERSION_ID")
    [ "$system" = 'debian 12' ] || warn "made for Debian 12; package names may differ on '$system'"
}

# Two things are compiled: the first process of the router, and what holds a disk.
find_compiler() {
    CC=${CC:-$(command -v cc || command -v gcc || true)}
    [ -n "$CC" ] || die 'a C compiler is needed (apt-get install gcc libc6-dev)'
}

# hash_of FILE...: names and contents
hash_of() {
    (cd "$ROUTER" && find "$@" \( -type f -o -type l \) -print0 | sort -z | xargs -0 sha256sum) |
        sha256sum | cut -c1-12
}

name_layers() {
    PACKAGES=$BUILD/packages-$(hash_of packages lib/packages.sh)
    TEMPLATE=$BUILD/template-$(hash_of packages lib/packages.sh lib/template.sh root adapters)
}

build_packages() {
    [ ! -e "$PACKAGES" ] || return 0
    rm -rf "$PACKAGES.new"
    fetch_packages
    unpack_packages "$PACKAGES.new"
    mv "$PACKAGES.new" "$PACKAGES"
}

build_template() {
    local new=$TEMPLATE.new
    say 'root: building'
    rm -rf "$new"
    mkdir -p "$new"/{root,usr}
    ln -s "../$(basename "$PACKAGES")" "$new/packages"
    (
        umask 022
        fill_usr "$new/usr" "$PACKAGES/usr"
        fill_root "$new/root" "$PACKAGES"
    )
    mv "$new" "$TEMPLATE"
}

# A running world holds a lock on its template (lib/world.sh); packages stay as long as a template links to them.
remove_old() {
    local folder
    for folder in "$BUILD"/template-*; do
        [ "$folder" = "$TEMPLATE" ] || flock --nonblock "$folder" rm -rf "$folder" || true
    done
    for folder in "$BUILD"/packages-*; do
        readlink "$BUILD"/template-*/packages | grep -qxF "../$(basename "$folder")" || rm -rf "$folder"
    done
}

# --- our layer over the packages' /usr ---
fill_usr() {
    local usr=$1 packages_usr=$2 name module
    mkdir -p "$usr"/{bin,sbin,libexec,lib/cups/backend,share/locale}
    # busybox's, because of what they see (links to a daemon, long names) or how they are called
    for name in killall passwd wget find; do ln -s /bin/busybox "$usr/bin/$name"; done
    for name in telnetd chroot; do ln -s /bin/busybox "$usr/sbin/$name"; done
    cp "$packages_usr/bin/rsync" "$usr/bin/nalvexcloud" # no link: killall rsync would find it
    ln -s /bin/busybox "$usr/libexec/usbdhclient"
    # the web server's file names its module folder: /usr/lib
    for module in "$packages_usr"/lib/lighttpd/*.so; do
        name=$(basename "$module")
        ln -s "lighttpd/$name" "$usr/lib/$name"
    done
    install -m 700 "$ROUTER/adapters/cups-usb-backend" "$usr/lib/cups/backend/usb"
    install -m 644 "$ROUTER/root/usbdevice.sh" "$usr/libexec/usbdevice.sh"
}

# --- the router's root: /bin and /sbin are real, so that an adapter in /sbin does not hide the program in /usr/sbin ---
fill_root() {
    local root=$1 packages=$2 name
    mkdir -p "$root"/{bin,sbin,usr,etc,root,home,lib/modules,proc,share,opt}
    fill_tmp "$root"
    fill_dev "$root/dev"
    fill_sys "$root/sys"
    fill_bin "$root" "$packages/usr"
    fill_lib "$root" "$packages/usr"
    fill_etc "$root/etc" "$packages/etc"
    for name in init usbdisk; do
        "$CC" -std=gnu99 -static -Os -s -o "$root/sbin/$name" "$ROUTER/root/$name.c" ||
            die "cannot compile router/root/$name.c"
    done
    for name in usbport usbperipheral; do install -m 755 "$ROUTER/root/$name" "$root/sbin/$name"; done
}

# What is written at run time is below /tmp, as in a firmware with a read-only flash.
fill_tmp() {
    local root=$1 name
    mkdir -p "$root"/tmp/{mnt,webroot}
    ln -s /tmp/mnt "$root/tmp/webroot/list" # what the web file service lists
    chmod 1777 "$root/tmp"
    for name in run/{cups,minidlna,nas,proftpd,readme,samba/private} log/{cups,minidlna,samba} \
        cache/{cups,samba} spool/{cups/tmp,samba} lib/samba/private lock tmp; do
        mkdir -p "$root/tmp/var/$name"
    done
    chmod 1777 "$root/tmp/var/tmp"
    chown -R 7:7 "$root"/tmp/var/{spool,cache,log}/cups # lp
    ln -s tmp/var "$root/var"
    ln -s tmp/var/run "$root/run"
    ln -s tmp/mnt "$root/mnt"
}

fill_dev() {
    local dev=$1 name minor
    mkdir -p "$dev"/{pts,shm,.usb}
    while read -r name minor; do mknod -m 666 "$dev/$name" c 1 "$minor"; done <<-END
		null 3
		zero 5
		full 7
		random 8
		urandom 9
	END
    mknod -m 666 "$dev/tty" c 5 0
    mknod -m 600 "$dev/console" c 5 1
    mknod -m 666 "$dev/fuse" c 10 229
    mknod -m 600 "$dev/loop-control" c 10 237
    ln -s pts/ptmx "$dev/ptmx"
    ln -s /proc/self/fd "$dev/fd"
    ln -s fd/0 "$dev/stdin"
    ln -s fd/1 "$dev/stdout"
    ln -s fd/2 "$dev/stderr"
    printf 'major minor  #blocks  name\n\n' >"$dev/.partitions" # becomes /proc/partitions
}

# The kernel's tree would show the machine's devices; ours shows two USB controllers and, later, what is plugged in.
fill_sys() {
    local sys=$1
    mkdir -p "$sys"/{block,bus/usb/devices,class/usbmisc}
    add_root_hub "$sys" 1 480 ' 2.00'
    add_root_hub "$sys" 2 5000 ' 3.00'
}

# add_root_hub SYS BUS SPEED VERSION: the kernel writes the version with a leading blank
add_root_hub() {
    local sys=$1 bus=$2 path=devices/pci0000:00/0000:00:12.0/usb$2
    local hub=$sys/$path
    mkdir -p "$hub/$bus-0:1.0"
    echo 1d6b >"$hub/idVendor"
    echo "000$((bus + 1))" >"$hub/idProduct"
    echo "$3" >"$hub/speed"
    echo "$4" >"$hub/version"
    echo "$bus" >"$hub/busnum"
    echo 1 >"$hub/devnum"
    echo 09 >"$hub/$bus-0:1.0/bInterfaceClass"
    ln -s "../../../$path" "$sys/bus/usb/devices/usb$bus"
    ln -s "../../../$path/$bus-0:1.0" "$sys/bus/usb/devices/$bus-0:1.0"
}

fill_bin() {
    local root=$1 packages_usr=$2 name
    # its shell prefers its own programs to those of a path: two of them are renamed, in the order of the alphabet
    LC_ALL=C sed -z 's/^insmod$/insmoc/; s/^rmmod$/rmmoc/' "$packages_usr/bin/busybox" >"$root/bin/busybox"
    chmod 755 "$root/bin/busybox"
    for name in $("$root/bin/busybox" --list); do [ "$name" = busybox ] || ln -s busybox "$root/bin/$name"; done
    for name in ifconfig route udhcpc losetup; do ln -s ../bin/busybox "$root/sbin/$name"; done
    ln -s /usr/sbin/xtables-nft-multi "$root/sbin/iptables"
    ln -s /usr/sbin/minidlnad "$root/sbin/minidlna"
    for name in lighttpd lighttpd_kelsto; do ln -s /usr/sbin/lighttpd "$root/sbin/$name"; done
    for name in cupsd mount.exfat-fuse; do ln -s "/usr/sbin/$name" "$root/sbin/$name"; done
    # the project's own, from the stage
    for name in serviced hotplug usbmount usbumount; do ln -s "/usr/sbin/$name" "$root/sbin/$name"; done
    for name in transmission-daemon ntfs-3g; do ln -s "/usr/bin/$name" "$root/sbin/$name"; done
    for name in lpinfo lpadmin; do ln -s "/usr/sbin/$name" "$root/bin/$name"; done
    ln -s /usr/bin/lpstat "$root/bin/lpstat"
    # adapters take the place of what has their name
    rm -f "$root"/bin/{insmoc,rmmoc,blkid}
    cp -a --remove-destination "$ROUTER"/adapters/bin/. "$root/bin"
    cp -a --remove-destination "$ROUTER"/adapters/sbin/. "$root/sbin"
    chown -R root: "$root/bin" "$root/sbin"
}

# The loader's own path, and real files for those who copy the C library into a chroot of their own.
fill_lib() {
    local root=$1 packages_usr=$2 libraries name
    libraries=$(dirname "$(echo "$packages_usr"/lib/*/libc.so.6)")
    ln -s "/usr/lib/$(basename "$libraries")" "$root/lib/$(basename "$libraries")"
    ln -s usr/lib64 "$root/lib64"
    for name in ld-linux libc. libm. libcrypt. libdl. libnss_ libpthread. libresolv. libgcc_; do
        cp -L "$libraries/$name"* "$root/lib/"
    done
}

fill_etc() {
    local etc=$1 packages_etc=$2 service
    cp -r "$ROUTER/root/etc/." "$etc"
    mkdir -p "$etc"/{cups/ppd,nas,pam.d,samba,security}
    cp "$packages_etc"/{services,protocols} "$etc"
    for service in other login passwd cups proftpd samba; do cp "$ROUTER/root/pam-service" "$etc/pam.d/$service"; done
    : >"$etc/fstab"
    chown -R root: "$etc"
    chmod 640 "$etc/shadow"
}
