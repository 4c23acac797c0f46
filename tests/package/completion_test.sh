#!/usr/bin/env bash
# usage: completion_test.sh NASCTL COMPLETION: what the completion offers for a line, against a store of its own.
set -euo pipefail

nasctl=$1
# shellcheck source=/dev/null
source "$2"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf '%s\n' "config_store = $work/config.db" "status_store = $work/status.db" > "$work/host.conf"
export NAS_HOST_CONF="$work/host.conf"
"$nasctl" config set nas_user_url anna,secret,1
failed=0

# offers EXPECTED WORD...: the last word is the one under the cursor.
offers() {
    local expected=$1 offered
    shift
    COMP_WORDS=("$nasctl" "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _nasctl || true # outside of a completion nothing can be said about the blank behind a word
    offered=$(printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd ' ')
    [ "$offered" = "$expected" ] && return
    printf 'nasctl %s: offered "%s", expected "%s"\n' "$*" "$offered" "$expected" >&2
    failed=1
}

offers service ser
offers "user" us
offers "disable enable list set show start stop" service ""
offers "media" service enable me
offers "media" service set --no-apply me
offers "workgroup=" service set samba wor
offers "smb1= smb2=" service set samba name=ROUTER smb
offers "--no-apply" service enable --no
offers "samba" user add ben --service sa
offers "ro rw" user add ben -s ftp --permission r
offers "anna" user remove --service url ""
offers "nas_user_url" config get ""
offers "--json" disks --j
offers "" disks ""
exit $failed
