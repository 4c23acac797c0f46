# shellcheck shell=bash
# A process is known by number, start time and boot: numbers alone come back.

# identify PROC_DIRECTORY: sets IDENTITY to "PID START_TIME BOOT_ID"; fails when the process is gone.
# A variable and not output, because $(...) would be another process and /proc/self another folder.
identify() {
    local stat fields
    { read -r stat <"$1/stat"; } 2>/dev/null || return 1
    read -ra fields <<<"${stat##*) }" # what follows the parenthesised name: state first, start time as the 20th
    [ "${fields[0]}" != Z ] || return 1
    # shellcheck disable=SC2034 # the result
    IDENTITY="${stat%% *} ${fields[19]} $(cat /proc/sys/kernel/random/boot_id)"
}
