#!/usr/bin/env bash
# Installs the system packages that building and testing ZetDIP need.
# Idempotent and non-interactive; asks apt only for what is missing.
set -euo pipefail

packages=(build-essential cmake ninja-build libgtest-dev libgmock-dev git pkg-config
          libgdcm-dev libgdcm-tools libpng-dev libtiff-dev nlohmann-json3-dev libcli11-dev
          pybind11-dev python3-dev python3-numpy python3-pytest python3-dask python3-distributed
          python3-jsonschema dicom3tools
          clang libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -q
  $SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
