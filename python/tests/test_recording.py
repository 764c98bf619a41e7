import struct

import pytest

import sarvik
from conftest import wait_until

TAG = struct.Struct("<HIQIII")  # streamType, frameIndex, frameStamp, dataSize, width, height: 26 bytes


def read_tags(path):
    tags = []
    data = path.read_bytes()
    at = 0
    while at + TAG.size <= len(data):
        tag = TAG.unpack_from(data, at)
        tags.append(tag)
        at += TAG.size + tag[3]
    assert at == len(data), "the file ends inside an entry"
    return tags


def test_recording_writes_tagged_frames_of_each_stream(ctx, camera, tmp_path):
    depth = camera.stream("depth")
    color = camera.stream("color")
    depth.start()
    color.start()
    path = tmp_path / "take.rec"
    with ctx.record(path, [depth, color]):
        assert wait_until(lambda: path.stat().st_size > 20 * (26 + 160 * 120 * 3))
    depth.stop()
    color.stop()
    tags = read_tags(path)
    assert {t[0] for t in tags} == {1, 2}
    for stream_type, size in ((2, 160 * 120 * 2), (1, 160 * 120 * 3)):
        mine = [t for t in tags if t[0] == stream_type]
        assert all(t[3] == size and (t[4], t[5]) == (160, 120) for t in mine)
        assert [t[1] for t in mine] == list(range(len(mine)))


def test_record_refuses_streams_not_started_and_bad_paths(ctx, camera, tmp_path):
    stream = camera.stream("depth")
    with pytest.raises(sarvik.Error, match="not started"):
        ctx.record(tmp_path / "a.rec", [stream])
    stream.start()
    with pytest.raises(sarvik.Error):
        ctx.record(str(tmp_path / ("x" * 300)) + ".rec", [stream])
    with pytest.raises(ValueError):
        ctx.record(str(tmp_path / "a\0b.rec"), [stream])
    with pytest.raises(ValueError):
        ctx.record(tmp_path / "a.rec", [])
    with pytest.raises(TypeError):
        ctx.record(tmp_path / "a.rec", ["depth"])
    stream.stop()


def test_a_recorder_closes_twice_and_after_its_stream_stopped(ctx, camera, tmp_path):
    stream = camera.stream("depth")
    stream.start()
    recorder = ctx.record(tmp_path / "b.rec", [stream])
    stream.read(timeout=10).release()
    stream.stop()
    recorder.stop()
    recorder.close()
    recorder.close()
    assert recorder.closed
