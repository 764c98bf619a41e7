import struct

import pytest

import sarvik


def test_modes_describe_the_configured_list(camera):
    modes = camera.modes("depth")
    assert [(m.width, m.height, m.fps, m.pixel_format) for m in modes] == [
        (160, 120, 60, "depth16"), (64, 48, 30, "depth16")]
    assert modes[1].index == 1
    assert modes[0].frame_bytes == 160 * 120 * 2
    assert camera.current_mode("depth") == modes[0]
    assert camera.modes(sarvik.IR)[1].pixel_format == "gray16"


def test_set_mode_applies_at_the_next_start(camera):
    camera.set_mode("depth", 1)
    assert camera.current_mode("depth").width == 64
    stream = camera.stream("depth")
    stream.start()
    frame = stream.read(timeout=10)
    assert frame.data.shape == (48, 64)
    stream.stop()
    camera.set_mode("depth", camera.modes("depth")[0])
    stream.start()
    assert stream.read(timeout=10).data.shape == (120, 160)
    stream.stop()


@pytest.mark.parametrize("sensor, error", [
    ("thermal", ValueError), (3, ValueError), (8, ValueError), (None, TypeError), (2.0, TypeError)])
def test_bad_sensors_are_refused(camera, sensor, error):
    with pytest.raises(error):
        camera.modes(sensor)
    with pytest.raises(error):
        camera.stream(sensor)


@pytest.mark.parametrize("mode, error", [(5, IndexError), (-1, IndexError), ("640x480", TypeError)])
def test_bad_modes_are_refused(camera, mode, error):
    with pytest.raises(error):
        camera.set_mode("depth", mode)


def test_properties_round_trip(camera):
    camera.set_property(10, 1234)
    assert struct.unpack("<i", camera.get_property(10, 4)) == (1234,)
    camera.set_property(11, 2.5)
    assert struct.unpack("<f", camera.get_property(11, 4)) == (2.5,)
    camera.set_property(12, b"\x01\x02\x03")
    assert camera.get_property(12, 16) == b"\x01\x02\x03"


def test_bad_property_values_are_refused(camera):
    with pytest.raises(ValueError):
        camera.set_property(10, 1 << 40)
    with pytest.raises(TypeError):
        camera.set_property(10, "text")
    with pytest.raises(ValueError):
        camera.get_property(10, 1 << 30)


def test_commands_and_their_errors(camera):
    assert camera.command("ping") == "pong"
    assert camera.command("serial") == "SIM0U0000001"
    with pytest.raises(sarvik.Error) as caught:
        camera.command("no such command")
    assert caught.value.status == -102


def test_a_closed_device_refuses_and_stops_its_streams(ctx):
    camera = ctx.open()
    stream = camera.stream("depth")
    stream.start()
    frame = stream.read(timeout=10)
    camera.close()
    assert camera.closed and not stream.started
    assert frame.data.shape == (120, 160)  # a frame taken stays readable
    with pytest.raises(sarvik.Error, match="closed"):
        camera.modes("depth")
    with pytest.raises(sarvik.Error, match="closed"):
        camera.stream("depth")
    with pytest.raises(sarvik.Error, match="not started"):
        stream.read(timeout=0.1)
    camera.close()
