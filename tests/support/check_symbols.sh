#!/bin/sh
# usage: check_symbols.sh LIBRARY VERSION_SCRIPT HEADER_FOLDER HOST_OPERATIONS [C_LIBRARY]
# Checks what the library's file exports, leaves undefined, needs, asks of the stack, and runs when it is loaded: a line
# of complaint for each fault, and what it found on standard output. C_LIBRARY is the file of a C library whose symbols
# carry no version.
set -eu
export LC_ALL=C

library=$1
version_script=$2
headers=$3
host_operations=$4
c_library=${5:-}
nm=${NM:-nm}
readelf=${READELF:-readelf}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

complain() {
  echo "$*" >&2
  failed=1
}

# same WHAT FILE_A NAME_A FILE_B NAME_B
same() {
  [ -s "$2" ] || complain "$1: $3 holds no name at all"
  only_a=$(comm -23 "$2" "$4")
  only_b=$(comm -13 "$2" "$4")
  # shellcheck disable=SC2086 # lists of names
  [ -z "$only_a" ] || complain "$1: only in $3:" $only_a
  # shellcheck disable=SC2086
  [ -z "$only_b" ] || complain "$1: only in $5:" $only_b
}

# The version itself is a symbol of the dynamic table, too (type A).
$nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort -u > "$work/exported"

# Every name carries the version of the interface that it came with.
unversioned=$($nm -D --defined-only "$library" | awk '$2 != "A" && $3 !~ /@@NAS_[0-9]+$/ { print $3 }')
# shellcheck disable=SC2086
[ -z "$unversioned" ] || complain "exported without a version:" $unversioned

sed 's|/\*.*\*/||' "$version_script" |
  awk '/global:/ { on = 1; sub(/.*global:/, "") } /local:/ { on = 0 } on' |
  tr -c 'A-Za-z0-9_*\n' '\n' | grep . | sort -u > "$work/listed"

# Declarations are what is left of the headers without comments, directives and the bodies of records.
cat "$headers"/*.h | sed -e 's|/\*.*\*/||' -e '/\/\*/,/\*\//d' -e '/^#/d' -e '/^extern "C" {$/d' -e '/^}$/d' |
  tr '\n' ' ' | sed -e 's/{[^}]*}//g' | tr ';' '\n' > "$work/declarations"
{
  sed -n 's/^[^(]*[ *]\([A-Za-z_][A-Za-z0-9_]*\)(.*/\1/p' "$work/declarations"
  sed -n 's/^ *extern .*[ *]\([A-Za-z_][A-Za-z0-9_]*\)\[.*/\1/p' "$work/declarations"
} | sort -u > "$work/declared"

same "exports" "$work/exported" "the library" "$work/listed" "$version_script"
same "declarations" "$work/exported" "the library" "$work/declared" "$headers"

# Undefined: the host's operations, all of them; libiconv's three; the C library's (which carry a version, or are its
# file's). A few weak ones are the tool chain's own.
sort -u "$host_operations" > "$work/operations"
printf '%s\n' libiconv libiconv_close libiconv_open > "$work/libiconv"
[ -z "$c_library" ] || $nm -D --defined-only "$c_library" | awk '{ print $3 }' > "$work/unversioned"
touch "$work/unversioned"
$nm -D --undefined-only "$library" | awk '{ print $2 }' | grep -vxE '_ITM_.*|__gmon_start__' | sort -u \
  > "$work/undefined"
sort -u "$work/unversioned" | comm -23 "$work/undefined" - | grep -v '@GLIBC_' > "$work/not_c"
comm -23 "$work/not_c" "$work/libiconv" > "$work/asked_of_host"
same "undefined symbols" "$work/asked_of_host" "the library" "$work/operations" "$host_operations"

needed=$($readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | xargs)
for file in $needed; do
  case $file in
    libc.so.6 | libc.so.0 | libiconv.so.2) ;;
    *) complain "needs $file" ;;
  esac
done

all=$(wc -l < "$work/undefined")
not_c=$(wc -l < "$work/not_c")
host=$(wc -l < "$work/asked_of_host")
echo "needs $needed;" \
  "undefined: $host operations of the host, $((not_c - host)) of libiconv, $((all - not_c)) of the C library"

# Nothing of the library runs when it is loaded: one entry, the tool chain's own.
entry=$($readelf -hW "$library" | awk '/Class:/ { print $2 == "ELF64" ? 8 : 4 }')
size=$($readelf -SW "$library" | sed -n 's/.* \.init_array *INIT_ARRAY *[0-9a-f]* [0-9a-f]* \([0-9a-f]*\).*/\1/p')
[ $((0x${size:-0})) -le "$entry" ] || complain "static constructors: .init_array has 0x$size bytes"
if $nm "$library" 2> "$work/nm_says" | grep -q '_GLOBAL__sub_I'; then
  # shellcheck disable=SC2046
  complain "static constructors:" $($nm "$library" | grep '_GLOBAL__sub_I')
fi

# A library that asks for an executable stack makes that of the whole process executable.
$readelf -lW "$library" | grep -q 'GNU_STACK .* RW ' || complain "asks for an executable stack"

exit $failed
