#!/usr/bin/env bash
# Sets everything up, builds the library and zetdip-cad, and runs the
# detection chain on the built-in synthetic mammogram: the report and the
# overlay picture go to ./zetdip-out/, and the program says where.
# Arguments are passed to zetdip-cad (e.g. detect FILE --out DIR).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
"$root/scripts/build.sh" "$root/build" -DZETDIP_BUILD_TESTS=OFF
"$root/build/apps/zetdip-cad" "$@"
