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


def cpp_loop(reference, frames, pause_us=0):
    out = subprocess.run([reference, "readloop", "usb://sim/0", "2", str(frames), str(pause_us)], env=os.environ,
                         capture_output=True, text=True, timeout=600)
    if out.returncode != 0:
        raise SystemExit("the C++ loop failed: " + out.stderr.splitlines()[-1])
    out = out.stdout.split()
    frames = int(out[1])
    if int(out[7]) > 0:
        print(f"  note: {out[7]} C++ reads timed out although frames kept coming", file=sys.stderr)
    return float(out[3]) / frames, float(out[5]) / frames


def python_loop(sarvik, frames, touch_data, pause_us=0):
    with sarvik.Context() as ctx, ctx.open("usb://sim/0") as camera:
        stream = camera.stream("depth")
        stream.start()
        stream.read(timeout=5.0).release()
        start = time.perf_counter()
        cpu_start = time.thread_time()
        for _ in range(frames):
            if pause_us:
                time.sleep(pause_us * 1e-6)
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
        # Waiting: each read waits for the camera's next frame. Queued: a pause
        # of two frame intervals before each read leaves a frame queued, so
        # the read takes its fast path and the CPU time is the read alone.
        pause = int(2e6 / args.fps)
        results = {key: [] for key in ("cpp", "py_read", "py_data", "cpp_q", "py_q", "py_data_q")}
        for _ in range(args.rounds):
            results["cpp"].append(cpp_loop(args.reference, args.frames))
            results["py_read"].append(python_loop(sarvik, args.frames, touch_data=False))
            results["py_data"].append(python_loop(sarvik, args.frames, touch_data=True))
            results["cpp_q"].append(cpp_loop(args.reference, args.frames // 2, pause))
            results["py_q"].append(python_loop(sarvik, args.frames // 2, touch_data=False, pause_us=pause))
            results["py_data_q"].append(python_loop(sarvik, args.frames // 2, touch_data=True, pause_us=pause))
    finally:
        shutil.rmtree(folder, ignore_errors=True)

    def medians(values):
        return statistics.median(v[0] for v in values), statistics.median(v[1] for v in values)

    print(f"depth {args.mode}@{args.fps}, pixels {args.pixels}, {args.frames} frames x {args.rounds} rounds "
          f"(medians; cpu = the reading thread's CPU time)")
    for title, cpp_key, rows in (
            ("waiting for each frame", "cpp", (("py_read", "read() + release()"),
                                               ("py_data", "read() + .data + release()"))),
            ("frame already queued", "cpp_q", (("py_q", "read() + release()"),
                                               ("py_data_q", "read() + .data + release()")))):
        wall, base = medians(results[cpp_key])
        print(f"  {title}:")
        print(f"    {'C++ readFrame + releaseFrame':34s}: {1 / wall:7.1f} frames/s  cpu {base * 1e6:7.2f} us/frame")
        for key, name in rows:
            wall, cpu = medians(results[key])
            print(f"    {'Python ' + name:34s}: {1 / wall:7.1f} frames/s  cpu {cpu * 1e6:7.2f} us/frame  "
                  f"(+{(cpu - base) * 1e6:5.2f} us, {cpu / base:4.2f}x)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
