import gc

import numpy as np
import pytest

import sarvik
from conftest import wait_until


@pytest.mark.parametrize("sensor, shape, dtype", [
    ("depth", (120, 160), np.uint16),
    ("color", (120, 160, 3), np.uint8),
    ("ir", (120, 160), np.uint8),
])
def test_frames_come_shaped_by_pixel_format(camera, sensor, shape, dtype):
    stream = camera.stream(sensor)
    stream.start()
    frame = stream.read(timeout=10)
    assert frame.data.shape == shape
    assert frame.data.dtype == dtype
    assert frame.stream_type == stream.type
    assert frame.data_size == np.prod(shape) * np.dtype(dtype).itemsize
    assert frame.timestamp > 0
    stream.stop()


def test_sixteen_bit_infrared_is_uint16(camera):
    camera.set_mode("ir", 1)
    stream = camera.stream("ir")
    stream.start()
    assert stream.read(timeout=10).data.dtype == np.uint16
    stream.stop()


def test_data_is_the_frames_own_buffer_read_only(depth):
    frame = depth.read(timeout=10)
    data = frame.data
    assert data.ctypes.data == frame._buffer_address
    assert frame.data.ctypes.data == data.ctypes.data  # a second array, same memory
    assert not data.flags.writeable
    with pytest.raises(ValueError):
        data[0, 0] = 1
    assert not frame.copied
    assert data.max() > 0  # the simulated scene is a wall about 2 m away


def test_the_frame_goes_back_when_the_last_array_dies(depth):
    frame = depth.read(timeout=10)
    data = frame.data
    view = data[10:20, 5:]
    assert depth.frames_held == 1
    del frame, data
    gc.collect()
    assert depth.frames_held == 1  # the view still holds it
    assert view.sum() >= 0
    del view
    assert depth.frames_held == 0


def test_release_gives_the_frame_back_and_refuses_access(depth):
    frame = depth.read(timeout=10)
    number = frame.frame_number
    frame.release()
    assert depth.frames_held == 0
    assert frame.released and frame.frame_number == number
    with pytest.raises(sarvik.Error, match="released"):
        frame.data
    with pytest.raises(sarvik.Error, match="released"):
        frame.buffer
    frame.release()  # twice is harmless


def test_arrays_taken_before_release_stay_valid(depth):
    frame = depth.read(timeout=10)
    data = frame.data
    expected = data.copy()
    frame.release()
    assert depth.frames_held == 1
    for _ in range(20):
        depth.read(timeout=10).release()
    np.testing.assert_array_equal(data, expected)
    del data
    assert depth.frames_held == 0


def test_leaving_a_with_block_gives_the_frame_back(depth):
    with depth.read(timeout=10) as frame:
        assert frame.data.shape == (120, 160)
        assert depth.frames_held == 1
    assert depth.frames_held == 0
    assert frame.released


def test_hoarding_frames_never_stalls_the_camera(depth):
    kept = []
    copies_before = sarvik.frames_copied()
    for _ in range(40):
        frame = depth.read(timeout=10)
        kept.append((frame.frame_number, frame.data, frame.data.copy()))
        assert depth.frames_held <= 4
    assert depth.frames_held == 4
    assert depth.frames_copied == 36
    assert sarvik.frames_copied() - copies_before == 36
    numbers = [n for n, _, _ in kept]
    assert numbers == sorted(numbers)
    for _, data, snapshot in kept:
        np.testing.assert_array_equal(data, snapshot)
    kept.clear()
    assert depth.frames_held == 0
    assert not depth.read(timeout=10).copied


def test_the_limit_is_per_context_setting():
    with sarvik.Context(frames_held_per_sensor=1) as context:
        with context.open() as camera:
            stream = camera.stream("depth")
            stream.start()
            first = stream.read(timeout=10)
            second = stream.read(timeout=10)
            assert not first.copied and second.copied
            stream.stop()


def test_frames_outlive_their_stream_device_and_context():
    context = sarvik.Context()
    camera = context.open()
    stream = camera.stream("color")
    stream.start()
    frame = stream.read(timeout=10)
    data = frame.data
    expected = data.copy()
    stream.stop()
    camera.close()
    context.close()
    np.testing.assert_array_equal(frame.data, expected)
    np.testing.assert_array_equal(data, expected)
    frame.release()
    del data


def test_buffer_gives_the_raw_bytes(depth):
    frame = depth.read(timeout=10)
    raw = frame.buffer
    assert raw.dtype == np.uint8 and raw.shape == (frame.data_size,)
    assert raw.ctypes.data == frame.data.ctypes.data
    np.testing.assert_array_equal(raw.view(np.uint16).reshape(120, 160), frame.data)


def test_frames_of_two_streams_of_one_sensor_share_the_limit(camera):
    first = camera.stream("depth")
    second = camera.stream("depth")
    first.start()
    second.start()
    kept = [first.read(timeout=10) for _ in range(3)] + [second.read(timeout=10) for _ in range(3)]
    assert first.frames_held == second.frames_held == 4
    assert sum(f.copied for f in kept) == 2
    kept.clear()
    assert wait_until(lambda: first.frames_held == 0)
    first.stop()
    second.stop()
