#!/usr/bin/env bash
# Installs OpenCV (needed by the comparison benchmark only), builds the
# benchmarks and runs the comparison with OpenCV.
# Usage: scripts/bench.sh [rounds]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh"
if ! dpkg-query -W -f='${Status}' libopencv-dev 2>/dev/null | grep -q "install ok installed"; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -q
  $SUDO apt-get install -y -q --no-install-recommends libopencv-dev
fi
cmake -S "$root" -B "$root/build-bench" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DZETDIP_BUILD_BENCH=ON -DZETDIP_BUILD_TESTS=OFF >/dev/null
cmake --build "$root/build-bench" --target bench_opencv
"$root/build-bench/bench/bench_opencv" "$@"
