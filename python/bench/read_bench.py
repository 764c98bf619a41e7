#!/usr/bin/python3
"""Frames a second and per-frame overhead of Stream.read() against a plain C++
readFrame loop over the same simulated camera, measured in the same run.

    PYTHONPATH=build/python /usr/bin/python3 python/bench/read_bench.py \\
        --reference build/bin/sarvik_py_reference

The camera is paced (120 frames a second by default), so both loops get every
frame; what a loop costs is the CPU time of its reading thread per frame, and
the difference of the two is what Python adds. (A flat-out camera would
measure the consumer directly, but the simulated camera's flat-out producer
starves the readers on a small machine: readFrame then times out.) Runs
alternate and the median of each is reported.
"""

import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

CONF = """\
usb.cameras = 1
net.cameras = 0
modes.depth = {mode}@{fps}
pixels = {pixels}
control = none
"""

LIBS = ("libSarvikCommonDriver.so", "libSarvikUvcDriver.so", "libSarvikNetDriver.so")


def make_lib_copy(module_path, mode, fps, pixels):
    folder = tempfile.mkdtemp(prefix="sarvik-bench-")
    source = os.path.dirname(module_path)
    for name in LIBS:
        shutil.copy(os.path.join(source, name), folder)
    with open(os.path.join(folder, "simcam.conf"), "w") as conf:
        conf.write(CONF.format(mode=mode, fps=fps, pixels=pixels))
    return folder


def cpp_loop(reference, frames):
    out = subprocess.run([reference, "readloop", "usb://sim/0", "2", str(frames)], env=os.environ,
                         capture_output=True, text=True, timeout=600)
    if out.returncode != 0:
        raise SystemExit("the C++ loop failed: " + out.stderr.splitlines()[-1])
    out = out.stdout.split()
    frames = int(out[1])
    if int(out[7]) > 0:
        print(f"  note: {out[7]} C++ reads timed out although frames kept coming", file=sys.stderr)
    return float(out[3]) / frames, float(out[5]) / frames


def python_loop(sarvik, frames, touch_data):
    with sarvik.Context() as ctx, ctx.open("usb://sim/0") as camera:
        stream = camera.stream("depth")
        stream.start()
        stream.read(timeout=5.0).release()
        start = time.perf_counter()
        cpu_start = time.thread_time()
        for _ in range(frames):
            frame = stream.read(timeout=5.0)
            if touch_data:
                frame.data
            frame.release()
        seconds = time.perf_counter() - start
        cpu = time.thread_time() - cpu_start
        stream.stop()
    return seconds / frames, cpu / frames


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--reference", required=True, help="the sarvik_py_reference program")
    parser.add_argument("--frames", type=int, default=600)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--fps", type=int, default=120)
    parser.add_argument("--mode", default="64x48")
    parser.add_argument("--pixels", default="none", choices=("none", "scene"))
    args = parser.parse_args()

    from sarvik import _paths
    folder = make_lib_copy(_paths.MODULE_PATH, args.mode, args.fps, args.pixels)
    os.environ["SARVIK_MODULE"] = os.path.join(folder, "libSarvikCommonDriver.so")
    import sarvik

    try:
        cpp, py_read, py_data = [], [], []
        for _ in range(args.rounds):
            cpp.append(cpp_loop(args.reference, args.frames))
            py_read.append(python_loop(sarvik, args.frames, touch_data=False))
            py_data.append(python_loop(sarvik, args.frames, touch_data=True))
    finally:
        shutil.rmtree(folder, ignore_errors=True)

    def medians(values):
        return statistics.median(v[0] for v in values), statistics.median(v[1] for v in values)

    wall, base = medians(cpp)
    print(f"depth {args.mode}@{args.fps}, pixels {args.pixels}, {args.frames} frames x {args.rounds} rounds "
          f"(medians; cpu = the reading thread's CPU time)")
    print(f"  {'C++ readFrame + releaseFrame':36s}: {1 / wall:7.1f} frames/s  cpu {base * 1e6:7.2f} us/frame")
    for name, values in (("Python read() + release()", py_read), ("Python read() + .data + release()", py_data)):
        wall, cpu = medians(values)
        print(f"  {name:36s}: {1 / wall:7.1f} frames/s  cpu {cpu * 1e6:7.2f} us/frame  "
              f"(+{(cpu - base) * 1e6:5.2f} us, {cpu / base:4.2f}x)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
