import threading
import time
import _thread

import pytest

import sarvik
from conftest import wait_until


def quiet_stream(camera):
    """A started stream that has just delivered: its next frame is a second away
    (one frame a second), so short reads time out."""
    stream = camera.stream("light_ir")
    stream.start()
    stream.read(timeout=10).release()
    return stream


def test_iteration_yields_frames_in_order(depth):
    numbers = []
    for frame in depth:
        numbers.append(frame.frame_number)
        frame.release()
        if len(numbers) == 5:
            break
    assert numbers == sorted(numbers) and len(set(numbers)) == 5


def test_iteration_ends_when_another_thread_stops_the_stream(depth):
    stopper = threading.Timer(0.3, depth.stop)
    stopper.start()
    count = 0
    start = time.monotonic()
    for frame in depth:
        frame.release()
        count += 1
    stopper.join()
    assert count > 0
    assert time.monotonic() - start < 20


def test_read_times_out_with_timeout_error(camera):
    stream = quiet_stream(camera)
    start = time.monotonic()
    with pytest.raises(sarvik.Timeout) as caught:
        stream.read(timeout=0.2)
    assert time.monotonic() - start >= 0.2
    assert caught.value.status == -11
    assert caught.value.last_error == 0x80300107
    with pytest.raises(TimeoutError):
        stream.read(timeout=0)
    stream.stop()


@pytest.mark.parametrize("timeout, error", [(-1, ValueError), (float("nan"), ValueError), ("1", TypeError)])
def test_bad_timeouts_are_refused(depth, timeout, error):
    with pytest.raises(error):
        depth.read(timeout=timeout)


def test_reading_a_stream_not_started_raises(camera):
    stream = camera.stream("depth")
    with pytest.raises(sarvik.Error, match="not started"):
        stream.read(timeout=0.1)
    stream.start()
    stream.stop()
    stream.stop()
    with pytest.raises(sarvik.Error, match="not started"):
        stream.read(timeout=0.1)
    stream.start()  # again after a stop
    assert stream.read(timeout=10).data is not None
    stream.stop()


def test_a_stop_from_another_thread_ends_a_blocked_read(camera):
    stream = quiet_stream(camera)
    stopper = threading.Timer(0.2, stream.stop)
    stopper.start()
    with pytest.raises(sarvik.Error, match="not started"):
        stream.read(timeout=30)
    stopper.join()


def test_other_threads_run_while_read_blocks(camera):
    stream = quiet_stream(camera)
    ticks = []
    done = threading.Event()

    def ticker():
        while not done.is_set():
            ticks.append(1)
            time.sleep(0.001)

    thread = threading.Thread(target=ticker)
    thread.start()
    with pytest.raises(sarvik.Timeout):
        stream.read(timeout=0.3)
    done.set()
    thread.join()
    assert len(ticks) > 20
    stream.stop()


def test_ctrl_c_interrupts_a_read_without_limit(camera):
    stream = quiet_stream(camera)
    timer = threading.Timer(0.2, _thread.interrupt_main)
    timer.start()
    start = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        stream.read()
    timer.join()
    assert time.monotonic() - start < 20
    stream.stop()


def test_wait_any_names_the_stream_with_a_frame(camera):
    depth = camera.stream("depth")
    color = camera.stream("color")
    depth.start()
    color.start()
    ready = sarvik.wait_any([depth, color], timeout=10)
    assert ready is depth or ready is color
    assert ready.read(timeout=10) is not None
    depth.stop()
    color.stop()


def test_wait_any_gives_none_on_timeout_and_refuses_bad_lists(camera):
    quiet = quiet_stream(camera)
    assert sarvik.wait_any([quiet], timeout=0.2) is None
    with pytest.raises(ValueError):
        sarvik.wait_any([], timeout=0.1)
    with pytest.raises(TypeError):
        sarvik.wait_any([quiet, "depth"], timeout=0.1)
    unstarted = camera.stream("depth")
    with pytest.raises(sarvik.Error, match="not started"):
        sarvik.wait_any([quiet, unstarted], timeout=0.1)
    quiet.stop()


def test_threads_reading_different_streams_do_not_block_each_other(camera):
    streams = [camera.stream(s) for s in ("depth", "color", "ir")]
    counts = [0, 0, 0]
    errors = []

    def reader(index):
        try:
            for _ in range(30):
                streams[index].read(timeout=10).release()
                counts[index] += 1
        except Exception as error:  # reported below
            errors.append(error)

    for stream in streams:
        stream.start()
    threads = [threading.Thread(target=reader, args=(i,)) for i in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(60)
    assert not errors and counts == [30, 30, 30]
    for stream in streams:
        stream.stop()


def test_a_stream_as_context_manager_starts_and_stops(camera):
    with camera.stream("depth") as stream:
        assert stream.started
        stream.read(timeout=10).release()
    assert not stream.started


def test_a_collected_stream_stops_itself(camera):
    stream = camera.stream("depth")
    stream.start()
    stream.read(timeout=10).release()
    del stream
    again = camera.stream("depth")
    again.start()
    again.read(timeout=10).release()
    again.stop()
