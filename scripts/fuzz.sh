#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, AddressSanitizer and UndefinedBehaviorSanitizer in
# build-fuzz/, then runs each for SECONDS (default 60), one after the other, starting from its
# seed corpus in tests/fuzz/corpus/. Naming targets (compile, bin_file, ...) runs only those.
# Prints runs, coverage and faults per target; a fault's input is kept under
# build-fuzz/fuzz-runs/artifacts/. Exit status 1 if any target found a fault.
#   scripts/fuzz.sh [SECONDS] [TARGET...]
set -uo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
case "$seconds" in
  '' | *[!0-9]*) echo "usage: scripts/fuzz.sh [SECONDS] [TARGET...]" >&2; exit 2 ;;
esac
shift $(($# > 0 ? 1 : 0))

scripts/setup.sh || exit 1
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DVORN_FUZZ=ON -DVORN_SANITIZE=ON -DVORN_BENCH=OFF \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null || exit 1

targets=()
if [ $# -gt 0 ]; then
  for name in "$@"; do targets+=("fuzz_${name#fuzz_}"); done
else
  for source in tests/fuzz/fuzz_*.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi
cmake --build build-fuzz -j 2 --target "${targets[@]}" || exit 1

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
work=build-fuzz/fuzz-runs
total_faults=0
printf '%-16s %8s %12s %9s %9s %7s\n' target seconds runs coverage features faults
for target in "${targets[@]}"; do
  name=${target#fuzz_}
  seeds=tests/fuzz/corpus/$name
  # New inputs go to a working corpus, so that the seeds in the tree stay as they are.
  corpus=$work/corpus/$name
  artifacts=$work/artifacts/$name
  log=$work/$name.log
  mkdir -p "$corpus" "$artifacts"
  start=$(date +%s)
  "build-fuzz/tests/fuzz/$target" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -close_fd_mask=3 \
    -print_final_stats=1 -artifact_prefix="$artifacts/" "$corpus" "$seeds" >"$log" 2>&1
  elapsed=$(($(date +%s) - start))
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' | tail -1)
  if [ -z "$runs" ]; then
    runs=$(grep -oE '^#[0-9]+' "$log" | tail -1 | tr -d '#')
  fi
  coverage=$(grep -oE 'cov: [0-9]+' "$log" | tail -1 | grep -oE '[0-9]+')
  features=$(grep -oE 'ft: [0-9]+' "$log" | tail -1 | grep -oE '[0-9]+')
  faults=$(find "$artifacts" -newermt "@$start" -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' \
    -o -name 'oom-*' \) | wc -l)
  printf '%-16s %8s %12s %9s %9s %7s\n' "$name" "$elapsed" "${runs:-?}" "${coverage:-?}" "${features:-?}" "$faults"
  if [ "$faults" -gt 0 ]; then
    grep -m1 -E 'ERROR: (AddressSanitizer|UndefinedBehaviorSanitizer|LeakSanitizer|libFuzzer)|runtime error' "$log"
    echo "  see $log"
  fi
  total_faults=$((total_faults + faults))
done
[ "$total_faults" -eq 0 ]
