#!/bin/sh
# lint.sh [PATTERN ...]: formatting, static analysis of the sources that match (all by default) and shell scripts; says
# what is wrong and fails. The analysis shows the compiler's own warnings, too; a whole build with clang is
# "cmake --build --preset clang".
set -eu
cd "$(dirname "$0")/.."

sources=$(git ls-files '*.cpp' '*.h' '*.c')
# shellcheck disable=SC2086 # lists of file names
clang-format --dry-run --Werror $sources

cmake --preset clang > /dev/null
[ $# -gt 0 ] || set -- 'src/*.cpp' 'host/*.cpp'
checked=$(git ls-files "$@")
# shellcheck disable=SC2086
printf '%s\n' $checked | xargs -P "$(nproc)" -n 4 clang-tidy -p build/clang --quiet

# shellcheck disable=SC2046
shellcheck -x -P . $(git grep -lE '^(#!/(usr/bin/env bash|bin/(ba)?sh)|# shellcheck shell=)' -- . ':!*.md')
echo "lint: clean"
