#!/usr/bin/env bash
# Sets everything up, builds with warnings as errors and runs every test,
# then runs the whole suite again under AddressSanitizer and
# UndefinedBehaviorSanitizer. Fails when any test fails.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc)
"$root/scripts/setup.sh"

echo "== release build"
"$root/scripts/build.sh" "$root/build" -DZETDIP_WERROR=ON -DZETDIP_BUILD_TESTS=ON
(cd "$root/build" && ctest --output-on-failure --parallel "$jobs")

echo "== sanitizer build"
"$root/scripts/build.sh" "$root/build-asan" -DZETDIP_WERROR=ON -DZETDIP_BUILD_TESTS=ON \
  -DZETDIP_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
(cd "$root/build-asan" && ctest --output-on-failure --parallel "$jobs")
