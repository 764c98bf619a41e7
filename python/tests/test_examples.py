"""The examples run as a user runs them, against the simulated cameras."""

import os
import subprocess
import sys

import pytest

EXAMPLES = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python")


def run(name, *args):
    result = subprocess.run([sys.executable, os.path.join(EXAMPLES, name), *args], env=os.environ,
                            capture_output=True, text=True, timeout=120)
    assert result.returncode == 0, result.stderr
    return result.stdout


def test_list_devices_shows_cameras_and_modes():
    out = run("list_devices.py")
    assert "usb://sim/0" in out and "PYCAM-B" in out
    assert "160x120@60 depth16" in out


def test_depth_stats_prints_a_line_per_frame():
    out = run("depth_stats.py", "--frames", "5")
    lines = [line for line in out.splitlines() if line.startswith("frame")]
    assert len(lines) == 5
    assert "holes" in lines[0] and "160x120" in lines[0]


def test_save_cloud_writes_a_ply_open3d_reads_back(tmp_path):
    o3d = pytest.importorskip("open3d")
    path = tmp_path / "cloud.ply"
    out = run("save_cloud.py", str(path), "--device", "PYCAM-B")
    written = int(out.split()[0])
    assert written > 0
    assert len(o3d.io.read_point_cloud(str(path)).points) == written
