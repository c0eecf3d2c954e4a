#!/usr/bin/env bash
# Configures and builds ZetDIP into the given build directory.
# Usage: scripts/build.sh BUILD_DIR [extra cmake arguments...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=$1; shift
cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
cmake --build "$dir" --parallel "$(nproc)"
