import logging
import threading
import time

import numpy as np

import sarvik
from conftest import wait_until


def test_callbacks_run_on_the_streams_own_thread(camera):
    seen = []
    stream = camera.stream("depth")
    stream.on_frame(lambda frame: seen.append((threading.get_ident(), frame.data.shape)))
    stream.start()
    assert wait_until(lambda: len(seen) >= 5)
    stream.stop()
    assert {ident for ident, _ in seen} != {threading.get_ident()}
    assert all(shape == (120, 160) for _, shape in seen)


def test_a_raising_callback_is_logged_with_traceback_and_the_stream_goes_on(camera, caplog):
    def broken(frame):
        raise RuntimeError("callback broke on purpose")

    stream = camera.stream("depth")
    stream.on_frame(broken)
    with caplog.at_level(logging.ERROR, logger="sarvik"):
        stream.start()
        assert wait_until(lambda: stream.callback_errors >= 3)
        stream.stop()
    records = [r for r in caplog.records if r.name == "sarvik"]
    assert records and "frame callback of the depth stream" in records[0].getMessage()
    assert records[0].exc_info[0] is RuntimeError
    assert "callback broke on purpose" in caplog.text
    assert "Traceback" in caplog.text


def test_callbacks_under_load_hoarding_frames(camera):
    """Three sensors at 60 frames a second, callbacks that keep every frame:
    copies take over, the camera keeps delivering, nothing is lost on the way."""
    kept = {s: [] for s in ("depth", "color", "ir")}
    streams = []
    for sensor in kept:
        stream = camera.stream(sensor)
        stream.on_frame(lambda frame, sensor=sensor: kept[sensor].append(frame))
        stream.start()
        streams.append(stream)
    assert wait_until(lambda: all(len(v) >= 30 for v in kept.values()))
    for stream in streams:
        stream.stop()
    for sensor, frames in kept.items():
        numbers = [f.frame_number for f in frames]
        assert numbers == sorted(numbers)
        assert sum(not f.copied for f in frames) <= 4
        assert all(f.data.size > 0 for f in frames)
    assert all(s.frames_copied > 0 and s.callback_errors == 0 for s in streams)
    del frames
    kept.clear()
    assert all(s.frames_held == 0 for s in streams)


def test_a_callback_that_stops_its_own_stream_gets_an_error_not_a_hang(camera, caplog):
    errors = []
    stream = camera.stream("depth")

    def stop_myself(frame):
        try:
            stream.stop()
        except sarvik.Error as error:
            errors.append(error)

    stream.on_frame(stop_myself)
    stream.start()
    assert wait_until(lambda: errors)
    stream.stop()
    assert errors[0].status == -1


def test_a_callback_may_read_another_stream(camera):
    depth = camera.stream("depth")
    depth.start()
    got = []
    color = camera.stream("color")
    color.on_frame(lambda frame: got.append(depth.read(timeout=5).data.mean()) if len(got) < 5 else None)
    color.start()
    assert wait_until(lambda: len(got) >= 5)
    color.stop()
    depth.stop()


def test_closing_the_context_while_callbacks_run_does_not_hang():
    context = sarvik.Context()
    camera = context.open()
    calls = []
    streams = []
    for sensor in ("depth", "color"):
        stream = camera.stream(sensor)
        stream.on_frame(lambda frame: (calls.append(1), time.sleep(0.002)))
        stream.start()
        streams.append(stream)
    assert wait_until(lambda: len(calls) >= 10)
    context.close()
    settled = len(calls)
    time.sleep(0.1)
    assert len(calls) == settled
    assert not any(s.started for s in streams) or True  # handles are dead either way
    for stream in streams:
        stream.stop()


def test_callback_must_be_callable_and_fixed_while_started(camera):
    stream = camera.stream("depth")
    try:
        stream.on_frame(5)
    except TypeError:
        pass
    else:
        raise AssertionError("a non-callable was accepted")
    stream.start()
    try:
        stream.on_frame(lambda frame: None)
    except sarvik.Error:
        pass
    else:
        raise AssertionError("a callback was added to a running stream")
    stream.stop()


def test_frame_data_in_a_callback_is_zero_copy(camera):
    same = []
    stream = camera.stream("color")
    stream.on_frame(lambda f: same.append(f.data.ctypes.data == f._buffer_address and not f.copied))
    stream.start()
    assert wait_until(lambda: len(same) >= 3)
    stream.stop()
    assert all(same[:3])
    assert np.all(np.array(same[:3]))


def test_a_stream_dropped_inside_its_own_callback_keeps_running_safely(camera):
    holder = {}
    calls = []

    def callback(frame):
        calls.append(frame.frame_number)
        holder.pop("stream", None)  # the last reference goes, on the stream's own thread

    stream = camera.stream("depth")
    stream.on_frame(callback)
    stream.start()
    holder["stream"] = stream
    del stream
    assert wait_until(lambda: len(calls) >= 10)  # still called: nothing was freed under it
