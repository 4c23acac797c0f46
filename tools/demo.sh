#!/usr/bin/env bash
# tools/demo.sh STAGE: the road of one service, end to end, in a virtual router that is left up.
set -euo pipefail
cd "$(dirname "$0")/.."
stage=$1
work=build/router/demo
vr=router/vr

step() { printf '\n\033[1m%s\033[0m\n' "$*"; }
# Each word is shown as it would be typed.
show() { printf '$'; printf ' %q' "$@"; printf '\n'; "$@"; }

if $vr status > /dev/null 2>&1; then
    echo "The virtual router is up already ('make stop' ends it):"
    $vr status
    exit 0
fi

step "A home router with its LAN, its upstream gateway and the internet, private to this machine"
show $vr up --stage "$stage"

step "A USB disk with a film on it is plugged in"
rm -rf $work
mkdir -p $work/disk/Movies
cp router/demo/test-pattern.mp4 "$work/disk/Movies/Test Pattern.mp4"
$vr image $work/disk.img --fs ext4 --label Disk1 --size 32M --from $work/disk
show $vr plug $work/disk.img

step "The media server is switched on"
show $vr exec nasctl service set media "name=Living room" disk=Disk1 folder=Movies --no-apply
show $vr exec nasctl service enable media
printf '\nThe library wrote /etc/minidlna.conf:\n'
$vr exec sed 's/^/    /;s/\(.\{100\}\).*/\1.../' /etc/minidlna.conf
printf 'and told the user:\n'
$vr exec nasctl events | sed 's/^/    /'

step "A client on the LAN lists the film, and fetches it"
show $vr net lan /usr/bin/python3 router/dlna-list --timeout 30
$vr net lan /usr/bin/python3 router/dlna-list --timeout 30 --fetch "Test Pattern" $work/fetched.mp4
cmp router/demo/test-pattern.mp4 $work/fetched.mp4
echo "What came over the network is the film, byte for byte."

step "It stays up. How to go on"
cat <<'END'
        router/vr exec                     a shell in the router
        router/vr exec nasctl status       services and disks
        router/vr exec nasctl --help       everything else
        router/vr net lan CMD...           run a program on the LAN
        router/vr unplug sda               pull the disk out
        make stop                          end it; nothing stays behind
END
