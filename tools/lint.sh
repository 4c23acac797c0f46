#!/bin/sh
# Formatting, static analysis and shell scripts; says what is wrong and fails.
set -eu
cd "$(dirname "$0")/.."

sources=$(git ls-files '*.cpp' '*.h' '*.c')
# shellcheck disable=SC2086 # lists of file names
clang-format --dry-run --Werror $sources

cmake --preset clang > /dev/null
cmake --build --preset clang
checked=$(git ls-files 'src/*.cpp' 'host/*.cpp')
# shellcheck disable=SC2086
printf '%s\n' $checked | xargs -P "$(nproc)" -n 4 clang-tidy -p build/clang --quiet

# shellcheck disable=SC2046
shellcheck -x -P . $(git grep -lE '^#!/(usr/bin/env bash|bin/(ba)?sh)' -- . ':!*.md')
echo "lint: clean"
