#!/bin/sh
# Fails when a C++ file under src/, tests/, bench/ or fuzz/ differs from the
# committed .clang-format style; lists the files. `--fix` rewrites them instead.
set -eu
cd "$(dirname "$0")/.."
command -v clang-format >/dev/null || { echo "check-format: clang-format is missing" >&2; exit 1; }
files=$(git ls-files 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' 'bench/*.h' 'fuzz/*.cpp' 'fuzz/*.h')
if [ "${1:-}" = "--fix" ]; then
    # shellcheck disable=SC2086
    clang-format -i $files
    exit 0
fi
bad=""
for f in $files; do
    clang-format --dry-run -Werror "$f" >/dev/null 2>&1 || bad="$bad $f"
done
if [ -n "$bad" ]; then
    echo "check-format: these files differ from .clang-format (scripts/check-format.sh --fix):" >&2
    for f in $bad; do echo "  $f" >&2; done
    exit 1
fi
echo "check-format: $(echo "$files" | wc -w) files follow .clang-format"
