#!/usr/bin/python3
"""Shows live statistics of a camera's depth: range, mean and the share of
pixels without depth, once per frame, until Ctrl-C (or --frames N).

    PYTHONPATH=build/python /usr/bin/python3 examples/python/depth_stats.py [--device usb://sim/0]
"""

import argparse
import time

import numpy as np

import sarvik


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--device", default=None, help="address, serial or index (default: the first camera)")
    parser.add_argument("--frames", type=int, default=0, help="stop after this many frames (0: until Ctrl-C)")
    args = parser.parse_args()

    with sarvik.Context() as ctx, ctx.open(args.device) as camera:
        depth = camera.stream("depth")
        depth.start()
        start = time.monotonic()
        count = 0
        try:
            for frame in depth:
                with frame:  # gives the frame back to the camera at the end of the block
                    data = frame.data
                    valid = data[data > 0]
                    hole_share = 1.0 - valid.size / data.size
                    low, high = (int(valid.min()), int(valid.max())) if valid.size else (0, 0)
                    mean = float(valid.mean()) if valid.size else 0.0
                    count += 1
                    rate = count / max(time.monotonic() - start, 1e-9)
                    print(f"frame {frame.frame_number:6d}  {frame.width}x{frame.height}  "
                          f"min {low:5d}  max {high:5d}  mean {mean:8.1f}  holes {hole_share:6.1%}  "
                          f"{rate:5.1f} fps", flush=True)
                del data, valid
                if args.frames and count >= args.frames:
                    break
        except KeyboardInterrupt:
            print()
        depth.stop()
    return 0


if __name__ == "__main__":
    raise SystemExit(main())
