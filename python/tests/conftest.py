"""Shared set-up: a private copy of the SDK's lib folder with a simulated
camera configuration of its own, so the tests know what cameras exist.

The module is loaded once per process, so the whole session uses this copy.
Run as `PYTHONPATH=build/python /usr/bin/python3 -m pytest python/tests`.
"""

import os
import shutil
import tempfile

import pytest

import sarvik
from sarvik import _paths

SIMCAM_CONF = """\
usb.cameras = 2
net.cameras = 0
usb.1.serial = PYCAM-B
modes.depth = 160x120@60, 64x48@30
modes.color = 160x120@60, 32x24@30
modes.ir = 160x120@60:y8, 80x60@60:y16
modes.lightir = 32x24@1:y8
control = none
"""

_LIB_FILES = (
    "libSarvikCommonDriver.so",
    "libSarvikUvcDriver.so",
    "libSarvikNetDriver.so",
    "libSarvikLogDriver.so",
)


def _make_lib_copy():
    source = os.path.dirname(_paths.MODULE_PATH)
    folder = tempfile.mkdtemp(prefix="sarvik-pytest-")
    for name in _LIB_FILES:
        if os.path.exists(os.path.join(source, name)):
            shutil.copy(os.path.join(source, name), folder)
    with open(os.path.join(folder, "simcam.conf"), "w") as conf:
        conf.write(SIMCAM_CONF)
    return folder


LIB_COPY = _make_lib_copy()
MODULE_COPY = os.path.join(LIB_COPY, "libSarvikCommonDriver.so")
# Before any Context exists: the module is loaded at the first one.
os.environ["SARVIK_MODULE"] = MODULE_COPY


def pytest_sessionfinish(session, exitstatus):
    shutil.rmtree(LIB_COPY, ignore_errors=True)


@pytest.fixture
def ctx():
    with sarvik.Context() as context:
        yield context


@pytest.fixture
def camera(ctx):
    with ctx.open("usb://sim/0") as device:
        yield device


@pytest.fixture
def depth(camera):
    stream = camera.stream("depth")
    stream.start()
    yield stream
    stream.stop()


def wait_until(condition, seconds=20.0):
    """Polls condition until it holds or the (generous) limit passes."""
    import time

    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if condition():
            return True
        time.sleep(0.01)
    return condition()
