"""Device-state callbacks, driven by the simulated camera's own hot-plug export."""

import ctypes
import os
import threading

import pytest

import sarvik
from conftest import LIB_COPY, wait_until


@pytest.fixture
def simcam():
    # The same file the module loaded: dlopen gives the already loaded copy.
    library = ctypes.CDLL(os.path.join(LIB_COPY, "libSarvikUvcDriver.so"))
    library.simcamUnplug.argtypes = library.simcamPlug.argtypes = [ctypes.c_char_p]
    yield library
    library.simcamPlug(b"usb://sim/1")


def test_device_changes_reach_python_on_the_plugins_thread(ctx, simcam, caplog):
    events = []
    ctx.on_device_change(lambda uri, serial, present: events.append((uri, serial, present, threading.get_ident())))

    def broken(uri, serial, present):
        raise ValueError("device callback broke on purpose")

    ctx.on_device_change(broken)
    assert simcam.simcamUnplug(b"usb://sim/1") == 0
    assert wait_until(lambda: events)
    assert events[0][:3] == ("usb://sim/1", "PYCAM-B", False)
    assert events[0][3] != threading.get_ident()
    assert wait_until(lambda: [d.uri for d in ctx.devices()] == ["usb://sim/0"])
    assert simcam.simcamPlug(b"usb://sim/1") == 0
    assert wait_until(lambda: any(e[2] for e in events))
    assert wait_until(lambda: "device callback broke on purpose" in caplog.text)


def test_callbacks_must_be_callable(ctx):
    with pytest.raises(TypeError):
        ctx.on_device_change("not callable")
