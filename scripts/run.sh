#!/usr/bin/env bash
# Sets everything up, builds the library and runs the detection chain on a synthetic mammogram.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
"$root/scripts/build.sh" "$root/build" -DZETDIP_BUILD_TESTS=OFF
"$root/build/apps/zetdip-cad" "$@"
