#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# but only those that are missing.
set -euo pipefail
packages=(cmake g++ make binutils libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev clang libclang-rt-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi
