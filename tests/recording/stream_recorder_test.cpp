// The recorder against real streams on the in-process fake camera. Each frame
// is delivered by the test itself, and the test waits until the stream's
// signal has reached a probe connected behind the recorder: delivery is in
// connection order, so by then the recorder has handled that frame.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <tuple>

#include "pipeline/camera_fixture.h"
#include "platform/sigslot.h"
#include "platform/wait_until.h"
#include "recording/record_file_check.h"
#include "recording/stream_recorder.h"

namespace sarvik_test {
namespace {

using sarvik::FrameRefPtr;
using sarvik::StreamRecorder;
using sarvik::VideoStream;

std::string pointerText(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof(text), "%p", pointer);
  return text;
}

struct Probe : sigslot::has_slots<sigslot::multi_threaded_local> {
  std::atomic<int> seen{0};
  void onFrame(VideoStream*) { seen.fetch_add(1); }
};

class RecorderTest : public CameraTest {
 protected:
  void SetUp() override {
    CameraTest::SetUp();
    char folder[] = "/tmp/sarvik-recorder-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    m_folder = folder;
    m_path = m_folder + "/out.rec";
  }
  void TearDown() override {
    m_recorder.reset();
    CameraTest::TearDown();
    std::filesystem::remove_all(m_folder);
  }

  VideoStream* startedStream(uint32_t type) {
    VideoStream* stream = makeStream(type);
    EXPECT_EQ(stream->start(), 0);
    return stream;
  }

  StreamRecorder& recorder() {
    if (!m_recorder) m_recorder.reset(new StreamRecorder(m_path.c_str()));
    return *m_recorder;
  }

  // Connect after the recorder's attach, so that the probe hears each frame last.
  void watch(VideoStream* stream) { stream->m_newFrameSignal.connect(&m_probe, &Probe::onFrame); }

  // A started stream, attached and watched; attaching to a started recorder
  // would do nothing, so only the last stream of a test starts it.
  VideoStream* recorded(uint32_t type, bool startRecorder = true) {
    VideoStream* stream = startedStream(type);
    EXPECT_EQ(recorder().attachStream(stream, type), 0);
    watch(stream);
    recorder().setStarted(startRecorder);
    return stream;
  }

  // One frame through the stream's sensor, filled by `fill`, and the wait until
  // the stream's listeners have had it.
  void deliver(VideoStream* stream, const std::function<void(sarvik::SarvikFrameRef&)>& fill) {
    const int before = m_probe.seen.load();
    {
      FrameRefPtr frame = stream->m_sensor->m_frameAllocator.allocate();
      ASSERT_TRUE(frame);
      frame->streamType = stream->m_sensor->m_sensorType;
      frame->width = 4;
      frame->height = 2;
      frame->dataSize = 8;
      frame->frameStamp = ++m_stamp;
      std::memcpy(frame->data, &m_stamp, sizeof(m_stamp));
      fill(*frame);
      sarvik::Sensor::onDriverFrame(frame.get(), stream->m_sensor);
    }
    ASSERT_TRUE(waitUntil([&] { return m_probe.seen.load() > before; }));
  }
  void deliver(VideoStream* stream) {
    deliver(stream, [](sarvik::SarvikFrameRef&) {});
  }

  std::vector<RecordedEntry> entries() {
    recorder().flush();
    return readEntries(m_path);
  }

  std::string m_folder;
  std::string m_path;
  std::unique_ptr<StreamRecorder> m_recorder;
  Probe m_probe;
  uint64_t m_stamp = 1000;
};

TEST_F(RecorderTest, FileIsCutAtCreationAndStaysEmptyWithoutFrames) {
  std::ofstream(m_path, std::ios::binary) << "old content";
  StreamRecorder& rec = recorder();
  EXPECT_TRUE(rec.isOpened());
  EXPECT_EQ(std::filesystem::file_size(m_path), 0u);
  rec.setStarted(true);
  rec.setStarted(false);
  rec.flush();
  EXPECT_EQ(std::filesystem::file_size(m_path), 0u);

  StreamRecorder unopenable((m_folder + "/missing/dir/out.rec").c_str());
  EXPECT_FALSE(unopenable.isOpened());
  EXPECT_TRUE(m_log.contains(3, "File opened, retcode:-1"));
}

TEST_F(RecorderTest, OneStreamWritesTagThenRawBytesPerFrame) {
  VideoStream* depth = recorded(SARVIK_STREAM_DEPTH);
  for (int i = 0; i < 3; ++i) deliver(depth);

  const auto written = entries();
  ASSERT_EQ(written.size(), 3u);
  EXPECT_EQ(std::filesystem::file_size(m_path), 3u * (26 + 8));
  for (uint32_t i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    const RecordedEntry& e = written[i];
    EXPECT_EQ(std::make_tuple(e.streamType, e.frameIndex, e.frameStamp, e.dataSize, e.width, e.height),
              std::make_tuple(uint16_t{SARVIK_STREAM_DEPTH}, i, uint64_t{1001u + i}, 8u, 4u, 2u));
    uint64_t stamp = 0;
    std::memcpy(&stamp, written[i].data.data(), sizeof(stamp));
    EXPECT_EQ(stamp, written[i].frameStamp);
  }
  // The frame stays queued for the application: recording takes nothing away.
  FrameRefPtr queued;
  EXPECT_EQ(depth->getFrame(queued, false), 0);
}

TEST_F(RecorderTest, TwoStreamsInterleaveEachTypeCountingFromZero) {
  VideoStream* colour = recorded(SARVIK_STREAM_COLOR, false);
  VideoStream* depth = recorded(SARVIK_STREAM_DEPTH);
  for (int i = 0; i < 4; ++i) deliver(colour);
  deliver(depth);
  deliver(colour);
  deliver(depth);

  const auto written = entries();
  ASSERT_EQ(written.size(), 7u);
  const uint16_t types[] = {1, 1, 1, 1, 2, 1, 2};
  const uint32_t indices[] = {0, 1, 2, 3, 0, 4, 1};
  for (size_t i = 0; i < written.size(); ++i) {
    EXPECT_EQ(written[i].streamType, types[i]) << i;
    EXPECT_EQ(written[i].frameIndex, indices[i]) << i;
    EXPECT_EQ(written[i].data.size(), written[i].dataSize);
  }
}

TEST_F(RecorderTest, DroppedFramesUseUpTheirIndex) {
  VideoStream* depth = recorded(SARVIK_STREAM_DEPTH);
  deliver(depth);                                                          // 0
  deliver(depth, [](sarvik::SarvikFrameRef& f) { f.streamType = 4; });     // 1: other type
  deliver(depth);                                                          // 2
  deliver(depth, [](sarvik::SarvikFrameRef& f) { f.dataSize = 0; });       // 3: empty
  deliver(depth);                                                          // 4
  // A frame claiming more than its buffer never gets past the Sensor, so it
  // reaches no recorder and uses up no index.

  const auto written = entries();
  ASSERT_EQ(written.size(), 3u);
  EXPECT_EQ(written[0].frameIndex, 0u);
  EXPECT_EQ(written[1].frameIndex, 2u);
  EXPECT_EQ(written[2].frameIndex, 4u);
}

// Stop and start continue the file and the index; detach and attach restart
// the index in the same file.
TEST_F(RecorderTest, IndexContinuesOverStopAndRestartsOnReattach) {
  VideoStream* depth = recorded(SARVIK_STREAM_DEPTH);
  deliver(depth);
  recorder().setStarted(false);
  recorder().flush();
  deliver(depth);  // not recorded, and no index used
  recorder().setStarted(true);
  deliver(depth);
  recorder().setStarted(false);
  ASSERT_EQ(recorder().detachStream(depth), 0);
  ASSERT_EQ(recorder().attachStream(depth, SARVIK_STREAM_DEPTH), 0);
  depth->m_newFrameSignal.disconnect(&m_probe);
  watch(depth);  // behind the recorder again
  recorder().setStarted(true);
  deliver(depth);

  const auto written = entries();
  ASSERT_EQ(written.size(), 3u);
  EXPECT_EQ(written[0].frameIndex, 0u);
  EXPECT_EQ(written[1].frameIndex, 1u);
  EXPECT_EQ(written[1].frameStamp, 1003u);
  EXPECT_EQ(written[2].frameIndex, 0u);
}

TEST_F(RecorderTest, AttachAndDetachAnswers) {
  VideoStream* depth = startedStream(SARVIK_STREAM_DEPTH);
  VideoStream* colour = startedStream(SARVIK_STREAM_COLOR);
  StreamRecorder& rec = recorder();
  EXPECT_EQ(rec.detachStream(depth), -4);
  EXPECT_TRUE(m_log.contains(2, "Stream[" + pointerText(depth) + "] is not Attached"));
  ASSERT_EQ(rec.attachStream(depth, SARVIK_STREAM_DEPTH), 0);
  EXPECT_EQ(rec.attachStream(depth, SARVIK_STREAM_DEPTH), -4);
  rec.setStarted(true);
  // The started test comes first: success, and nothing attached.
  EXPECT_EQ(rec.attachStream(depth, SARVIK_STREAM_DEPTH), 0);
  EXPECT_EQ(rec.attachStream(colour, SARVIK_STREAM_COLOR), 0);
  EXPECT_EQ(rec.detachStream(colour), -4);
  EXPECT_EQ(rec.detachStream(depth), 0);

  rec.setStarted(false);
  camera().hasMode.store(false);
  EXPECT_EQ(rec.attachStream(colour, SARVIK_STREAM_COLOR), -1);
  EXPECT_TRUE(m_log.contains(3, "get current Framamode failed!"));
}

TEST_F(RecorderTest, WriteFailuresAreLoggedAndRecordingGoesOn) {
  // Frames large enough to bypass the stream's buffer, so that each write
  // meets the full device at once. The camera's stream object exists after
  // the first start; the new size counts from the next one.
  m_path = "/dev/full";
  VideoStream* depth = startedStream(SARVIK_STREAM_DEPTH);
  depth->stop();
  cameraStream(SARVIK_STREAM_DEPTH).bufferSize.store(1 << 16);
  ASSERT_EQ(depth->start(), 0);
  ASSERT_TRUE(recorder().isOpened());
  ASSERT_EQ(recorder().attachStream(depth, SARVIK_STREAM_DEPTH), 0);
  watch(depth);
  recorder().setStarted(true);
  for (int i = 0; i < 2; ++i) deliver(depth, [](sarvik::SarvikFrameRef& f) { f.dataSize = 1 << 16; });
  EXPECT_GE(m_log.countContaining("write Data failed, errno:0x"), 2u);
  m_recorder.reset();
}

TEST_F(RecorderTest, DestroyWhileFramesArriveEndsCleanly) {
  VideoStream* depth = startedStream(SARVIK_STREAM_DEPTH);
  depth->stop();
  cameraStream(SARVIK_STREAM_DEPTH).deliverOnThread.store(true);
  ASSERT_EQ(depth->start(), 0);
  for (int round = 0; round < 20; ++round) {
    m_recorder.reset(new StreamRecorder(m_path.c_str()));
    ASSERT_EQ(m_recorder->attachStream(depth, SARVIK_STREAM_DEPTH), 0);
    m_recorder->setStarted(true);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    m_recorder.reset();  // disconnects first: no delivery reaches a half-destroyed recorder
  }
  depth->stop();
}

}  // namespace
}  // namespace sarvik_test
