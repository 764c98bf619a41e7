#!/usr/bin/python3
"""Takes one depth frame and saves it as a point cloud in a PLY file, through
Open3D (Debian: python3-open3d).

    PYTHONPATH=build/python /usr/bin/python3 examples/python/save_cloud.py cloud.ply [--device ...]
"""

import argparse

import numpy as np
import open3d as o3d

import sarvik


def intrinsics(camera, frame):
    """The camera's depth intrinsics, or a plausible guess for a camera that has none."""
    try:
        k = camera.intrinsics("depth")
        return k["fx"], k["fy"], k["cx"], k["cy"]
    except sarvik.Error:
        focal = 0.8 * frame.width
        return focal, focal, frame.width / 2.0, frame.height / 2.0


def depth_scale(camera):
    """Divisor from decoded depth to metres."""
    try:
        encoding, metres_per_unit = camera.depth_unit()
        return encoding, 1.0 / metres_per_unit
    except sarvik.Error:
        return 0, 1000.0  # the SDK's cameras count millimetres


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("output", help="PLY file to write")
    parser.add_argument("--device", default=None, help="address, serial or index (default: the first camera)")
    args = parser.parse_args()

    with sarvik.Context() as ctx, ctx.open(args.device) as camera:
        depth = camera.stream("depth")
        depth.start()
        with depth.read(timeout=10.0) as frame:
            fx, fy, cx, cy = intrinsics(camera, frame)
            encoding, scale = depth_scale(camera)
            points = sarvik.depth_to_point_cloud(frame.data, fx, fy, cx, cy, scale, encoding=encoding)
        depth.stop()

    points = points[np.any(points != 0.0, axis=1)]  # (0, 0, 0) marks a pixel without depth
    cloud = o3d.geometry.PointCloud(o3d.utility.Vector3dVector(points.astype(np.float64)))
    if not o3d.io.write_point_cloud(args.output, cloud):
        print(f"cannot write {args.output}")
        return 1
    print(f"{len(points)} points written to {args.output}")
    return 0


if __name__ == "__main__":
    raise SystemExit(main())
