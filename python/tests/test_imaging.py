import os
import subprocess

import numpy as np
import pytest

import sarvik

REFERENCE = os.environ.get("SARVIK_PY_REFERENCE", "")
needs_reference = pytest.mark.skipif(not os.path.exists(REFERENCE), reason="sarvik_py_reference not built")


def random_depth(height, width, seed):
    rng = np.random.default_rng(seed)
    depth = rng.integers(0, 65536, size=(height, width), dtype=np.uint16)
    depth[rng.random((height, width)) < 0.1] = 0
    return depth


def reference_cloud(tmp_path, depth, fx, fy, cx, cy, scale, encoding, clip):
    height, width = depth.shape
    source, out = tmp_path / "depth.raw", tmp_path / "points.raw"
    depth.astype("<u2").tofile(source)
    args = [REFERENCE, "cloud", str(source), str(width), str(height)]
    args += [repr(float(np.float32(v))) for v in (fx, fy, cx, cy, scale)]
    args += [str(encoding), "1" if clip else "0", str(out)]
    subprocess.run(args, check=True, env=os.environ, timeout=120)
    return np.fromfile(out, dtype=np.float32).reshape(-1, 3)


@needs_reference
@pytest.mark.parametrize("height, width, fx, fy, cx, cy, scale, encoding, clip", [
    (48, 64, 525.0, 525.0, 31.5, 23.5, 1000.0, 0, False),
    (61, 284, 300.25, 301.5, 141.0, 30.0, 4.0, 1, True),
    (30, 568, 410.0, 410.0, 280.0, 15.0, 1.0, 2, False),
    (33, 50, 500.0, 500.0, 0.0, 16.0, 1000.0, 0, True),   # cx 0: the fall-back set
])
def test_point_cloud_is_bit_identical_to_the_cpp_result(tmp_path, height, width, fx, fy, cx, cy, scale,
                                                         encoding, clip):
    depth = random_depth(height, width, seed=width)
    points = sarvik.depth_to_point_cloud(depth, fx, fy, cx, cy, scale, encoding=encoding, clip=clip)
    assert points.dtype == np.float32 and points.shape == (height * width, 3)
    expected = reference_cloud(tmp_path, depth, fx, fy, cx, cy, scale, encoding, clip)
    assert points.tobytes() == expected.tobytes()


@needs_reference
def test_coloured_cloud_is_bit_identical_to_the_cpp_result(tmp_path):
    depth = random_depth(41, 700, seed=3)
    points, colours = sarvik.depth_to_coloured_cloud(depth, 1000.0, encoding=1)
    assert points.shape == (41 * 700, 3) and colours.shape == (41 * 700, 4)
    source = tmp_path / "depth.raw"
    depth.tofile(source)
    subprocess.run([REFERENCE, "coloured", str(source), "700", "41", "1000.0", "1",
                    str(tmp_path / "p.raw"), str(tmp_path / "c.raw")], check=True, timeout=120)
    assert points.tobytes() == (tmp_path / "p.raw").read_bytes()
    assert colours.tobytes() == (tmp_path / "c.raw").read_bytes()


def test_point_cloud_of_a_live_frame_feeds_open3d(depth, tmp_path):
    o3d = pytest.importorskip("open3d")
    frame = depth.read(timeout=10)
    points = sarvik.depth_to_point_cloud(frame.data, 200.0, 200.0, 80.0, 60.0, 1000.0)
    valid = points[np.any(points != 0, axis=1)]
    assert len(valid) > 0
    cloud = o3d.geometry.PointCloud(o3d.utility.Vector3dVector(valid))
    assert len(cloud.points) == len(valid)
    np.testing.assert_allclose(np.asarray(cloud.points), valid, rtol=1e-6)
    path = str(tmp_path / "cloud.ply")
    assert o3d.io.write_point_cloud(path, cloud)
    assert len(o3d.io.read_point_cloud(path).points) == len(valid)


def test_clouds_work_without_an_open_context_and_beside_one(ctx):
    depth = random_depth(8, 8, seed=1)
    first = sarvik.depth_to_point_cloud(depth, 5.0, 5.0, 4.0, 4.0, 1.0)
    assert ctx.depth_to_point_cloud(depth, 5.0, 5.0, 4.0, 4.0, 1.0).tobytes() == first.tobytes()


def test_a_non_contiguous_depth_gives_the_same_cloud():
    depth = random_depth(20, 40, seed=9)
    strided = np.asfortranarray(depth)
    assert not strided.flags.c_contiguous
    a = sarvik.depth_to_point_cloud(depth, 50.0, 50.0, 20.0, 10.0, 1000.0)
    b = sarvik.depth_to_point_cloud(strided, 50.0, 50.0, 20.0, 10.0, 1000.0)
    assert a.tobytes() == b.tobytes()


@pytest.mark.parametrize("depth, error", [
    (np.zeros((4, 4), dtype=np.float32), TypeError),
    (np.zeros((4, 4), dtype=np.int32), TypeError),
    (np.zeros(16, dtype=np.uint16), ValueError),
    (np.zeros((2, 4, 4), dtype=np.uint16), ValueError),
    ("not an array", TypeError),
    (None, TypeError),
])
def test_bad_depth_arguments_are_refused(depth, error):
    with pytest.raises(error):
        sarvik.depth_to_point_cloud(depth, 1.0, 1.0, 1.0, 1.0, 1.0)
    with pytest.raises(error):
        sarvik.depth_to_coloured_cloud(depth, 1.0)


def test_a_huge_depth_image_is_refused_before_allocating():
    huge = np.lib.stride_tricks.as_strided(np.zeros(1, dtype=np.uint16), shape=(70000, 70000), strides=(0, 0))
    with pytest.raises(ValueError, match="too large"):
        sarvik.depth_to_point_cloud(huge, 1.0, 1.0, 1.0, 1.0, 1.0)


def test_an_empty_depth_image_gives_an_empty_cloud():
    points = sarvik.depth_to_point_cloud(np.zeros((0, 7), dtype=np.uint16), 1.0, 1.0, 1.0, 1.0, 1.0)
    assert points.shape == (0, 3)
    points, colours = sarvik.depth_to_coloured_cloud(np.zeros((3, 0), dtype=np.uint16), 1.0)
    assert points.shape == (0, 3) and colours.shape == (0, 4)
