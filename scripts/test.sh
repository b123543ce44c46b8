#!/usr/bin/env bash
# Set-up, build and every test. With --sanitize: the same under AddressSanitizer and
# UndefinedBehaviorSanitizer, in a build directory of its own.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/build_config.sh

build_dir=$vorn_build_dir
cmake_args=("${vorn_cmake_args[@]}" -DVORN_TESTS=ON -DVORN_BENCH=ON)
for arg in "$@"; do
  case "$arg" in
    --sanitize) build_dir=build-sanitize; cmake_args+=(-DVORN_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug) ;;
    *) echo "usage: scripts/test.sh [--sanitize]" >&2; exit 2 ;;
  esac
done

scripts/setup.sh
cmake -S . -B "$build_dir" "${cmake_args[@]}" >/dev/null
cmake --build "$build_dir" -j "$vorn_jobs"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
# The leak checker's tracer faults reading the thread-local blocks of a library loaded at run
# time; without them as roots, memory held only there is reported as a leak, which is stricter.
# The GL driver's own leaks are not ours (scripts/lsan.supp).
export LSAN_OPTIONS=${LSAN_OPTIONS:-use_tls=0:suppressions=$PWD/scripts/lsan.supp}
cd "$build_dir"
ctest --output-on-failure -j "$vorn_jobs"
