# shellcheck shell=bash
# The lower layer of every /usr: the closure of router/packages, downloaded by name and unpacked, nothing else.

# apt with an empty idea of what is installed, so that the result does not depend on this machine,
# and with every file that it writes below build/.
vr_apt() {
    local apt=$BUILD/apt
    mkdir -p "$apt/debs/partial" "$apt/lists/partial"
    : >"$apt/nothing-installed"
    apt-get -q -y \
        -o Dir::State::status="$apt/nothing-installed" \
        -o Dir::State::lists="$apt_lists" \
        -o Dir::Cache="$apt" \
        -o Dir::Cache::archives="$apt/debs" \
        -o APT::Sandbox::User=root \
        -o Debug::NoLocking=1 \
        -o APT::Install-Recommends=0 \
        -o Acquire::Retries=2 \
        "$@"
}

# The machine's own package lists serve as long as they are there; else we keep lists of our own.
choose_lists() {
    local lists=/var/lib/apt/lists
    if ! compgen -G "$lists/*_Packages*" >/dev/null; then
        refresh_lists
        return
    fi
    apt_lists=$lists
}

refresh_lists() {
    apt_lists=$BUILD/apt/lists
    say 'package lists: updating (a copy below build/)'
    vr_apt update >>"$BUILD/build.log" 2>&1 || die "apt-get update failed; see $BUILD/build.log"
}

package_names() { sed 's/#.*//' "$ROUTER/packages" | xargs; }

fetch_packages() {
    choose_lists
    download && return
    warn 'the download failed; once more with fresh lists'
    refresh_lists
    download || die "the download failed; see $BUILD/build.log"
}

# Leaves the list of files in $BUILD/apt/files: the cache may hold older packages besides.
download() {
    local apt=$BUILD/apt names
    mkdir -p "$apt"
    read -ra names < <(package_names)
    # print-uris lists 'URL' FILE SIZE HASH of the whole closure as long as the cache looks empty
    vr_apt --print-uris -o Dir::Cache::archives="$apt/empty" install "${names[@]}" 2>>"$BUILD/build.log" |
        awk '/^\x27/ { print $2, $3 }' >"$apt/files.new" || return 1
    [ -s "$apt/files.new" ] || return 1
    say "packages: $(wc -l <"$apt/files.new"), $(awk '{ s += $2 } END { printf "%d MB", s / 1e6 }' "$apt/files.new")"
    vr_apt --download-only install "${names[@]}" 2>>"$BUILD/build.log" | show_downloads || return 1
    mv "$apt/files.new" "$apt/files"
}

show_downloads() {
    local line count=0
    while read -r line; do
        case $line in Get:*) [ $(((count += 1) % 50)) -ne 0 ] || say "  $count downloaded" ;; esac
    done
}

# unpack_packages DIR: no maintainer script, no dpkg database, no documentation
unpack_packages() {
    local to=$1 link
    mkdir -p "$to"/usr/{bin,sbin,lib,lib64} "$to"/{proc,dev,tmp,run}
    for link in bin sbin lib lib64; do ln -s "usr/$link" "$to/$link"; done
    say "packages: unpacking"
    # shellcheck disable=SC2016 # expanded by the inner shell
    cut -d' ' -f1 "$BUILD/apt/files" | xargs -P "$(nproc)" -I{} sh -c '
        dpkg-deb --fsys-tarfile "$1" | tar -x -C "$2" --keep-directory-symlink --no-same-owner \
            --exclude=./usr/share/doc --exclude=./usr/share/man --exclude=./usr/share/locale \
            --exclude=./usr/share/info --exclude=./usr/share/icons
    ' sh "$BUILD/apt/debs/{}" "$to"
}
