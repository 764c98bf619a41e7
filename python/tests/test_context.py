import os

import pytest

import sarvik


def test_devices_lists_the_configured_cameras(ctx):
    devices = ctx.devices()
    assert [d.uri for d in devices] == ["usb://sim/0", "usb://sim/1"]
    assert devices[1].serial == "PYCAM-B"
    assert devices[0].connection == 1
    assert devices[0].name


@pytest.mark.parametrize("selector", [None, 0, "usb://sim/0", "SIM0U0000001"])
def test_open_picks_by_address_serial_index_or_default(ctx, selector):
    with ctx.open(selector) as camera:
        assert camera.uri == "usb://sim/0"


def test_open_of_the_second_camera_by_serial(ctx):
    with ctx.open("PYCAM-B") as camera:
        assert camera.uri == "usb://sim/1"


@pytest.mark.parametrize("selector", [7, "no-such-serial", -1, "usb://sim/9"])
def test_open_of_an_unknown_camera_raises(ctx, selector):
    with pytest.raises((sarvik.Error, IndexError)):
        ctx.open(selector)


def test_open_of_an_unknown_device_path_carries_status_and_last_error(ctx):
    with pytest.raises(sarvik.Error) as caught:
        ctx.open("/dev/video99")
    assert caught.value.status == -4
    assert caught.value.last_error == 0x80300208
    assert caught.value.status_name == "bad argument"


def test_a_second_open_of_an_open_camera_is_refused(ctx, camera):
    with pytest.raises(sarvik.Error, match="open already"):
        ctx.open("usb://sim/0")


def test_only_one_context_at_a_time(ctx):
    with pytest.raises(sarvik.Error, match="one context"):
        sarvik.Context()


def test_a_new_context_after_close_works():
    for _ in range(3):
        with sarvik.Context() as context:
            assert len(context.devices()) == 2


def test_everything_raises_after_the_context_closed():
    context = sarvik.Context()
    camera = context.open()
    stream = camera.stream("depth")
    stream.start()
    context.close()
    assert context.closed
    for call in (context.devices, lambda: context.open(), lambda: camera.modes("depth"),
                 lambda: stream.read(timeout=0.1), lambda: camera.stream("depth").start()):
        with pytest.raises(sarvik.Error, match="closed|not started"):
            call()
    stream.stop()  # nothing left to stop: quiet
    camera.close()
    context.close()


def test_net_servers_are_set_before_initialising():
    with sarvik.Context(net_servers=["127.0.0.1:5601", "localhost:5602"]):
        assert os.environ["SARVIK_NET_SERVERS"] == "127.0.0.1:5601,localhost:5602"


@pytest.mark.parametrize("servers, error", [
    ("127.0.0.1:1", TypeError),
    (["a,b"], ValueError),
    ([""], ValueError),
    ([1], TypeError),
])
def test_bad_net_servers_are_refused(servers, error):
    with pytest.raises(error):
        sarvik.Context(net_servers=servers)


@pytest.mark.parametrize("limit", [0, 7, -1])
def test_held_frame_limit_is_bounded(limit):
    with pytest.raises(ValueError):
        sarvik.Context(frames_held_per_sensor=limit)


def test_module_path_is_the_loaded_file(ctx):
    assert sarvik.module_path() == os.environ["SARVIK_MODULE"]


def test_status_names():
    assert sarvik.status_name(-11) == "timed out"
    assert sarvik.status_name(-103) == "camera: disconnected"
    assert sarvik.status_name(12345) is None
    assert issubclass(sarvik.Timeout, sarvik.Error)
    assert issubclass(sarvik.Timeout, TimeoutError)
