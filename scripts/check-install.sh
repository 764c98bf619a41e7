#!/usr/bin/env bash
# Checks what a user of the SDK meets after installing it, from a finished
# build folder: `cmake --install` into a prefix chosen now, the examples built
# against it with find_package and with pkg-config and run, the installed
# program, the binary contract, the Debian package unpacked into a throwaway
# root, and an install into a prefix that cannot be made.
#   scripts/check-install.sh [BUILD_DIR]      (default: build)
# Runs in a temporary folder it removes; exit 0 when every check passed.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$src/build}" && pwd)
cmake=${CMAKE:-cmake}
cpack=${CPACK:-cpack}
cxx=${CXX:-c++}
# Compiles of a second run hit the cache when there is one.
CCACHE=$(command -v ccache || true)
[ -z "$CCACHE" ] || cxx="$CCACHE $cxx"
unset SARVIK_MODULE
work=$(mktemp -d "${TMPDIR:-/tmp}/sarvik-install-check.XXXXXX")
trap 'rm -rf "$work"' EXIT

step() { echo "== $*"; }
fail() { echo "FAILED: $*" >&2; exit 1; }
cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
# Each program must end within a minute whatever happens to it.
run() { timeout --kill-after=5 60 "$@"; }

module_dir=$(cached SARVIK_INSTALL_MODULE_DIR)
libdir=$(cached CMAKE_INSTALL_LIBDIR)
[ -n "$module_dir" ] && [ -n "$libdir" ] || fail "$build is not a configured build folder"
have_sarvik=no
[ -x "$build/bin/sarvik" ] && have_sarvik=yes

step "install into a prefix chosen now"
prefix=$work/prefix
"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log"
for f in "$module_dir"/libSarvikCommonDriver.so "$module_dir"/libSarvikUvcDriver.so \
    "$module_dir"/libSarvikNetDriver.so "$module_dir"/libSarvikLogDriver.so \
    include/sarvik/SarvikBaseContext.h include/sarvik/SarvikLoader.h include/sarvik/SarvikInstallDirs.h \
    "$libdir"/cmake/Sarvik/SarvikConfig.cmake "$libdir"/cmake/Sarvik/SarvikConfigVersion.cmake \
    "$libdir"/pkgconfig/sarvik.pc; do
  [ -f "$prefix/$f" ] || fail "not installed: $f"
done
if [ $have_sarvik = yes ]; then
  [ -x "$prefix/bin/sarvik" ] || fail "not installed: bin/sarvik"
  if command -v help2man >/dev/null; then
    grep -q '^\.TH SARVIK' "$prefix/share/man/man1/sarvik.1" || fail "no man page in share/man/man1"
  fi
fi

step "the installed module: no RPATH, exactly two exports"
module=$prefix/$module_dir/libSarvikCommonDriver.so
dynamic=$(readelf -d "$module")
! grep -Eq 'RPATH|RUNPATH' <<<"$dynamic" || fail "installed module carries an RPATH"
exports=$(nm -D --defined-only "$module" | awk '{print $3}' | sort | tr '\n' ' ')
[ "$exports" = "ContextFactory deleteContext " ] || fail "module exports: $exports"

step "the binary contract, against the installed headers alone"
$cxx -std=c++17 -Wall -Wextra -Werror -I"$prefix/include" "$src/tests/package/abi_check.cpp" -ldl \
  -o "$work/abi_check"
mkdir "$work/abi-scratch"
(cd "$work/abi-scratch" && run "$work/abi_check" "$prefix/$module_dir" "$work/abi-scratch")

run_examples() {  # folder with the six programs, label
  local bin=$1
  (cd "$work" &&
    run "$bin/list_devices" >"$work/$2.devices" && grep -q 'usb://sim/0' "$work/$2.devices" &&
    run "$bin/read_depth" >/dev/null &&
    run "$bin/frame_callback" >/dev/null &&
    run "$bin/wait_streams" >/dev/null &&
    run "$bin/record_inspect" "$work/$2.rec" >/dev/null &&
    run "$bin/point_cloud_ply" "$work/$2.ply" >/dev/null) || fail "an example built with $2 failed"
  head -c 3 "$work/$2.ply" | grep -q ply || fail "no PLY file from the $2 build"
}

step "examples as a project of their own, with find_package(Sarvik)"
"$cmake" -S "$src/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$prefix" \
  ${CCACHE:+-DCMAKE_CXX_COMPILER_LAUNCHER=ccache} >"$work/examples.log"
"$cmake" --build "$work/examples" -j2 >>"$work/examples.log" || { cat "$work/examples.log"; fail "examples"; }
run_examples "$work/examples" find_package

step "examples with pkg-config --cflags --libs sarvik"
mkdir "$work/pc"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
flags=$(pkg-config --cflags --libs sarvik)
export cxx flags src work
# Two at a time, like the CMake build.
printf '%s\n' list_devices read_depth frame_callback wait_streams record_inspect point_cloud_ply |
  xargs -P 2 -I{} sh -c '$cxx -std=c++17 "$src/examples/{}.cpp" $flags -o "$work/pc/{}"' ||
  fail "examples do not build with pkg-config"
run_examples "$work/pc" pkg-config

if [ $have_sarvik = yes ]; then
  step "the installed sarvik lists the simulated cameras"
  run "$prefix/bin/sarvik" devices >"$work/devices.txt" 2>&1 || { cat "$work/devices.txt"; fail "installed sarvik devices"; }
  grep -q 'usb://sim/0' "$work/devices.txt" || fail "installed sarvik devices lists no usb://sim/0"
fi

step "Debian package"
"$cpack" -G DEB --config "$build/CPackConfig.cmake" -B "$work/deb" >"$work/cpack.log" ||
  { cat "$work/cpack.log"; fail "cpack -G DEB"; }
deb=$(ls "$work"/deb/*.deb)
dpkg-deb -c "$deb" >"$work/contents.txt"
for f in "usr/$module_dir/libSarvikCommonDriver.so" "usr/$module_dir/libSarvikUvcDriver.so" \
    "usr/$module_dir/libSarvikNetDriver.so" "usr/$module_dir/libSarvikLogDriver.so" \
    usr/include/sarvik/SarvikBaseContext.h usr/include/sarvik/SarvikInstallDirs.h \
    "usr/$libdir/cmake/Sarvik/SarvikConfig.cmake" "usr/$libdir/pkgconfig/sarvik.pc"; do
  grep -q " \./$f\$" "$work/contents.txt" || fail "the package lacks /$f"
done
dpkg-deb -x "$deb" "$work/root"
grep -q "\"/usr/$module_dir\"" "$work/root/usr/include/sarvik/SarvikInstallDirs.h" ||
  fail "SarvikInstallDirs.h of the package does not name /usr/$module_dir"
if [ $have_sarvik = yes ]; then
  [ -x "$work/root/usr/bin/sarvik" ] || fail "the package lacks /usr/bin/sarvik"
  # Output to a file first: grep -q ending a pipe early would fail it by SIGPIPE.
  timeout 60 "$work/root/usr/bin/sarvik" devices >"$work/root-devices.txt" &&
    grep -q 'usb://sim/0' "$work/root-devices.txt" || fail "sarvik of the unpacked package lists no usb://sim/0"
fi

step "the CMake package still points at the module once the tree has moved"
mv "$prefix" "$work/moved"
"$cmake" -S "$src/examples" -B "$work/moved-examples" -DCMAKE_PREFIX_PATH="$work/moved" >"$work/moved.log"
grep -q "SARVIK_MODULE_DIR=.*$work/moved/$module_dir" "$work/moved-examples/CMakeFiles/list_devices.dir/flags.make" ||
  fail "Sarvik::sdk of a moved tree does not name $work/moved/$module_dir"

step "an install into a prefix that cannot be made fails with CMake's message"
if "$cmake" --install "$build" --prefix /dev/null/sarvik >"$work/bad.log" 2>&1; then
  fail "install into /dev/null/sarvik succeeded"
fi
grep -q 'CMake Error' "$work/bad.log" || { cat "$work/bad.log"; fail "no CMake error message"; }

echo "install checks passed"
