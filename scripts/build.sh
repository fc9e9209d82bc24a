#!/usr/bin/env bash
# The two ways in:
#   scripts/build.sh example   install packages, build, calculate the example plant document
#   scripts/build.sh test      install packages, build, run every test (also under sanitizers)
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
jobs="${JOBS:-$(nproc 2>/dev/null || echo 2)}"
[ "$jobs" -gt 2 ] 2>/dev/null && jobs=2

bash "$root/scripts/install-deps.sh"

configure_and_build() { # build-dir, cmake options...
    local dir="$1"
    shift
    cmake -S "$root" -B "$dir" -G Ninja "$@" >/dev/null
    cmake --build "$dir" -j "$jobs"
}

case "${1:-}" in
example)
    configure_and_build "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
    cd "$root" && build/cli/tarvex calc --values examples/station.xml
    ;;
test)
    configure_and_build "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
    ctest --test-dir "$root/build" --output-on-failure -j "$jobs"
    configure_and_build "$root/build-sanitize" -DCMAKE_BUILD_TYPE=Debug -DTARVEX_SANITIZE=ON
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        ctest --test-dir "$root/build-sanitize" --output-on-failure -j "$jobs"
    ;;
*)
    echo "usage: $0 example|test" >&2
    exit 2
    ;;
esac
