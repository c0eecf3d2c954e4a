#!/usr/bin/env bash
# Sets everything up, builds with warnings as errors and runs every test,
# then runs the whole suite again under AddressSanitizer and
# UndefinedBehaviorSanitizer, runs every fuzz target for a short fixed time
# and the concurrent-calls test under ThreadSanitizer. Fails when any test
# fails or any fuzz target finds something.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc)
"$root/scripts/setup.sh"

echo "== release build"
"$root/scripts/build.sh" "$root/build" -DZETDIP_WERROR=ON -DZETDIP_BUILD_TESTS=ON
(cd "$root/build" && ctest --output-on-failure --parallel "$jobs")

echo "== sanitizer build"
# Without debug information: it would add a quarter to the build, and a
# report still names the functions (rebuild with -g for the lines).
"$root/scripts/build.sh" "$root/build-asan" -DZETDIP_WERROR=ON -DZETDIP_BUILD_TESTS=ON \
  -DZETDIP_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -DNDEBUG"
# The real film through the whole program twice is the release run's check;
# the sanitizers see the same chain on the same film in Mg1.* at a third
# of the time.
(cd "$root/build-asan" && ctest --output-on-failure --parallel "$jobs" \
  -E 'RealFilmSameClustersFromDicomAndItsDecodedPixels')

echo "== fuzz smoke"
"$root/scripts/fuzz.sh" "${ZETDIP_FUZZ_SECONDS:-120}"

echo "== thread sanitizer"
CC=$(command -v clang || command -v clang-14) CXX=$(command -v clang++ || command -v clang++-14) \
  "$root/scripts/build.sh" "$root/build-tsan" -DZETDIP_WERROR=ON -DZETDIP_BUILD_TESTS=OFF \
  -DZETDIP_BUILD_HOST=OFF -DZETDIP_BUILD_PYTHON=OFF -DZETDIP_BUILD_TSAN_TEST=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
(cd "$root/build-tsan" && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure)
