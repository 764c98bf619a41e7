"""Python bindings of the Sarvik depth-camera SDK.

    import sarvik
    with sarvik.Context() as ctx:
        with ctx.open() as camera:
            depth = camera.stream("depth")
            depth.start()
            with depth.read(timeout=1.0) as frame:
                print(frame.data.mean())

Frames are numpy arrays over the camera's own buffers (no copy). A program
that keeps many of them gets copies once it holds more than a few frames of
one sensor, so that the camera never stalls; see Frame and frames_copied().
"""

import atexit as _atexit
import os as _os

from ._errors import Error, Timeout
from . import _paths
from ._sarvik import (
    Context,
    Device,
    DeviceInfo,
    Frame,
    Mode,
    Recorder,
    Stream,
    depth_to_coloured_cloud,
    depth_to_point_cloud,
    frames_copied,
    module_path,
    status_name,
    wait_any,
)
from . import _sarvik

_sarvik._set_module_path(_paths.MODULE_PATH)
# Streams must stop, and their callback threads end, while the interpreter
# can still run their callbacks.
_atexit.register(_sarvik._close_all)

depth_to_colored_cloud = depth_to_coloured_cloud

COLOR = 1
DEPTH = 2
IR = 4
LIGHT_IR = 32

__all__ = [
    "COLOR", "DEPTH", "IR", "LIGHT_IR",
    "Context", "Device", "DeviceInfo", "Error", "Frame", "Mode", "Recorder", "Stream", "Timeout",
    "depth_to_colored_cloud", "depth_to_coloured_cloud", "depth_to_point_cloud", "frames_copied",
    "module_path", "status_name", "wait_any",
]
