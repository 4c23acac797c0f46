# shellcheck shell=bash
# Completes nasctl's command line in bash. What there is to type nasctl tells itself: `nasctl reference`.

# _nasctl_names COMMAND...: the first column of a table that nasctl prints, without its title.
_nasctl_names() {
    "${COMP_WORDS[0]}" "$@" 2> /dev/null | awk 'NR > 1 { print $1 }'
}

# _nasctl_values COMMAND WHAT SERVICE: what can stand for an option or argument.
_nasctl_values() {
    case "$1:$2" in
        service*:NAME | *:*--service) _nasctl_names service list ;;
        "service set:KEY=VALUE") _nasctl_names service show "$3" | sed 's/$/=/' ;;
        user*:NAME) [ -z "$3" ] || "${COMP_WORDS[0]}" user list --service "$3" --json 2> /dev/null |
            sed -n 's/^ *"name": *"\(.*\)",*$/\1/p' ;;
        config*:*) _nasctl_names config list ;;
        *:*--permission) printf '%s\n' rw ro none ;;
        *:*--folder) _nasctl_names mounts ;;
    esac
}

_nasctl() {
    local reference line path='' kind names service='' awaited='' i word
    local -a arguments=() found=()
    reference=$("${COMP_WORDS[0]}" reference 2> /dev/null) || return

    # What stands before the word under the cursor: the command, how many arguments, an option that waits for its value.
    local given=0
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [ -n "$awaited" ]; then
            [[ $awaited != *--service* ]] || service=$word
            awaited=
        elif line=$(awk -F '\t' -v path="$path" -v word="$word" \
            '$1 == path && $2 != "argument" && index("," $3 ",", "," word ",") { print $2 "\t" $3 }' \
            <<< "$reference") && [ -n "$line" ]; then
            IFS=$'\t' read -r kind names <<< "$line"
            case $kind in
                command) path=${path:+$path }$word ;;
                option) awaited=$names ;;
            esac
        elif [[ $word != -* ]]; then
            given=$((given + 1))
            [[ $path != service* ]] || service=${service:-$word}
        fi
    done

    mapfile -t arguments < <(awk -F '\t' -v path="$path" '$1 == path && $2 == "argument" { print $3 }' <<< "$reference")
    word=${COMP_WORDS[COMP_CWORD]}
    if [ -n "$awaited" ]; then
        mapfile -t found < <(_nasctl_values "$path" "$awaited" "$service")
    elif [[ $word == -* ]]; then
        mapfile -t found < <(awk -F '\t' -v path="$path" \
            '($1 == path || $1 == "") && $2 ~ /flag|option/ { gsub(",", "\n", $3); print $3 }' <<< "$reference")
    else
        mapfile -t found < <(
            awk -F '\t' -v path="$path" '$1 == path && $2 == "command" { print $3 }' <<< "$reference"
            # The last argument may be given more than once.
            [ ${#arguments[@]} -eq 0 ] ||
                _nasctl_values "$path" "${arguments[given < ${#arguments[@]} ? given : ${#arguments[@]} - 1]}" "$service"
        )
    fi
    mapfile -t COMPREPLY < <(compgen -W "${found[*]}" -- "$word")
    [[ ${COMPREPLY[0]-} != *= ]] || compopt -o nospace 2> /dev/null
}

complete -F _nasctl nasctl
