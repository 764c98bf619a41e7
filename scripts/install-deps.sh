#!/usr/bin/env bash
# Installs the Debian packages that are missing, and only those.
#   scripts/install-deps.sh          what the product needs to build and run
#   scripts/install-deps.sh --test   that, and what the tests, sanitizer and
#                                    fuzz runs, benchmarks and package checks need
set -euo pipefail

build=(cmake g++ make binutils pkg-config libcli11-dev libpng-dev help2man nlohmann-json3-dev
  pybind11-dev python3-numpy python3-dev
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
  libcpp-httplib-dev libwebsocketpp-dev libasio-dev libzmq3-dev libturbojpeg0-dev libudev-dev)
test=(libgtest-dev libgmock-dev libbenchmark-dev clang libclang-rt-dev
  python3-pytest python3-open3d chromium
  gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good dpkg-dev file)

wanted=("${build[@]}")
case "${1:-}" in
  "") ;;
  --test) wanted+=("${test[@]}") ;;
  *) echo "usage: $0 [--test]" >&2; exit 2 ;;
esac

missing=()
for p in "${wanted[@]}"; do
  # dpkg -s also knows packages that were removed but left their settings.
  [ "$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null)" = "install ok installed" ] || missing+=("$p")
done
((${#missing[@]})) || exit 0

echo "installing: ${missing[*]}"
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
