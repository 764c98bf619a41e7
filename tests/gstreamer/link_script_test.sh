#!/bin/bash
# The cross-machine example script on 127.0.0.1: a sender serves a simulated
# camera, a receiver writes what arrives as PNG files. Every wait is bounded.
# Usage: link_script_test.sh SCRIPT PLUGIN_DIR LIB_DIR
set -u
script=$1 plugin_dir=$2 lib_dir=$3
work=$(mktemp -d /tmp/sarvik-gst-link-XXXXXX)
sender=
cleanup() {
  [ -n "$sender" ] && kill "$sender" 2>/dev/null && wait "$sender" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

cp "$lib_dir/libSarvikCommonDriver.so" "$lib_dir/libSarvikUvcDriver.so" "$work/"
printf 'usb.cameras = 1\nnet.cameras = 0\ncontrol = none\n' > "$work/simcam.conf"
export GST_PLUGIN_PATH=$plugin_dir SARVIK_MODULE=$work/libSarvikCommonDriver.so

# A free pair of ports: the kernel picks one, the next must be free too.
port=
for _ in $(seq 20); do
  candidate=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
  [ "$candidate" -lt 65535 ] || continue
  if ! (exec 3<>"/dev/tcp/127.0.0.1/$((candidate + 1))") 2>/dev/null; then port=$candidate; break; fi
done
[ -n "$port" ] || fail "no free port pair"

timeout 120 "$script" send --bind 127.0.0.1 --port "$port" --frames 600 > "$work/send.log" 2>&1 &
sender=$!
up=
for _ in $(seq 200); do
  if (exec 3<>"/dev/tcp/127.0.0.1/$((port + 1))") 2>/dev/null; then up=1; break; fi
  kill -0 "$sender" 2>/dev/null || break
  sleep 0.1
done
[ -n "$up" ] || { cat "$work/send.log" >&2; fail "the sender did not listen"; }

timeout 60 "$script" receive 127.0.0.1 --port "$port" --frames 5 --out "$work/out" > "$work/receive.log" 2>&1 \
  || { cat "$work/receive.log" >&2; fail "the receiver failed"; }

depth=$(ls "$work/out" | grep -c '^depth-.*\.png$')
colour=$(ls "$work/out" | grep -c '^colour-.*\.png$')
[ "$depth" -eq 5 ] || fail "$depth depth files, not 5"
[ "$colour" -eq 5 ] || fail "$colour colour files, not 5"
file "$work/out/depth-00000.png" | grep -q '640 x 480, 16-bit grayscale' || fail "depth is not 16-bit 640x480"
file "$work/out/colour-00000.png" | grep -q '640 x 480, 8-bit/color RGB' || fail "colour is not RGB 640x480"
echo "PASS: 5 depth and 5 colour frames crossed 127.0.0.1:$port"
