#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer and
# UndefinedBehaviorSanitizer) into build-fuzz and runs them one after the
# other from their committed seeds, SECONDS in all (default 600), an equal
# share each. Prints the executions of every target and fails when any target finds something (a crash, a sanitizer
# report, a broken contract, a timeout or an out-of-memory); the input that
# did it is left in build-fuzz/findings/.
# A single input running longer than ZETDIP_FUZZ_TIMEOUT seconds (default 5)
# counts as a finding.
# Usage: scripts/fuzz.sh [SECONDS] [FAMILY...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
total=${1:-600}
shift || true
build="$root/build-fuzz"

cxx=$(command -v clang++ || command -v clang++-14 || true)
cc=$(command -v clang || command -v clang-14 || true)
if [ -z "$cxx" ] || [ -z "$cc" ]; then
  echo "fuzz.sh: clang is not installed; run scripts/setup.sh" >&2
  exit 1
fi
CC="$cc" CXX="$cxx" cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZETDIP_BUILD_FUZZ=ON -DZETDIP_BUILD_TESTS=OFF -DZETDIP_BUILD_HOST=OFF -DZETDIP_BUILD_PYTHON=OFF >/dev/null
cmake --build "$build" --parallel "$(nproc)" >/dev/null

families=("$@")
if [ ${#families[@]} -eq 0 ]; then
  for seeds in "$root"/fuzz/corpus/*/; do families+=("$(basename "$seeds")"); done
fi

seconds=$(( total / ${#families[@]} ))
[ "$seconds" -ge 1 ] || seconds=1
echo "fuzz: ${#families[@]} targets, ${seconds} s each"
mkdir -p "$build/findings"
failed=()
for family in "${families[@]}"; do
  # New inputs go to a scratch corpus; the committed seeds are only read.
  work="$build/corpus/$family"
  mkdir -p "$work"
  log="$build/fuzz_$family.log"
  status=0
  ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "$build/fuzz/fuzz_$family" "$work" "$root/fuzz/corpus/$family" \
      -dict="$root/fuzz/zetdip.dict" -max_total_time="$seconds" -timeout="${ZETDIP_FUZZ_TIMEOUT:-5}" \
      -rss_limit_mb=2560 -print_final_stats=1 \
      -artifact_prefix="$build/findings/$family-" >"$log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  if [ "$status" -ne 0 ]; then
    failed+=("$family")
    echo "fuzz $family: FINDING after ${runs:-?} executions (exit $status), see $log"
    grep -m 5 -E 'ERROR|runtime error|contract broken' "$log" || true
  else
    echo "fuzz $family: ${runs:-?} executions in ${seconds} s, nothing found"
  fi
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz: findings in ${failed[*]}" >&2
  exit 1
fi
