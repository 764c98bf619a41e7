// Frames of each stream come out with the camera's caps, stamps and memory.
#include <gst/app/gstappsink.h>

#include "gst_test_support.h"

namespace sarvik_gst_test {
namespace {

using std::chrono::seconds;

struct StreamCase {
  const char* properties;
  const char* caps;  // what the sink must see, as caps text
  gsize size;
};

class StreamFormats : public ::testing::TestWithParam<StreamCase> {};

TEST_P(StreamFormats, ThirtyBuffersOfTheModesSizeAndCapsEachTheFramesOwnMemory) {
  const StreamCase& c = GetParam();
  Pipeline pipeline(std::string("sarviksrc name=src num-buffers=30 ") + c.properties + " ! fakesink name=sink");
  BufferLog log(pipeline.element("sink"));
  const Outcome outcome = pipeline.run();
  ASSERT_TRUE(outcome.eos) << outcome;

  GstCaps* expected = gst_caps_from_string(c.caps);
  GstCaps* seen = gst_caps_from_string(sinkCaps(pipeline.element("sink")).c_str());
  EXPECT_TRUE(gst_caps_is_equal(expected, seen)) << sinkCaps(pipeline.element("sink"));
  gst_caps_unref(expected);
  gst_caps_unref(seen);

  const std::vector<SeenBuffer> buffers = log.buffers();
  ASSERT_EQ(buffers.size(), 30u);
  for (size_t i = 0; i < buffers.size(); ++i) {
    EXPECT_EQ(buffers[i].size, c.size) << i;
    EXPECT_TRUE(buffers[i].frameMemory) << "buffer " << i << " is not the frame's buffer";
    if (i > 0) {
      EXPECT_GT(buffers[i].pts, buffers[i - 1].pts) << i;
      EXPECT_EQ(buffers[i].pts - buffers[0].pts, (buffers[i].frameStamp - buffers[0].frameStamp) * GST_USECOND)
          << "the stamp, in microseconds, counted from the first frame";
      EXPECT_GT(buffers[i].offset, buffers[i - 1].offset) << "frame numbers go up";
    }
  }
  EXPECT_EQ(uint64Property(pipeline.element("src"), "copies"), 0u);
  EXPECT_EQ(uint64Property(pipeline.element("src"), "wrapped"), 30u);
}

INSTANTIATE_TEST_SUITE_P(
    EveryStream, StreamFormats,
    ::testing::Values(
        StreamCase{"stream=depth", "video/x-raw, format=GRAY16_LE, width=640, height=480, framerate=30/1",
                   640 * 480 * 2},
        StreamCase{"stream=color", "video/x-raw, format=RGB, width=640, height=480, framerate=30/1", 640 * 480 * 3},
        StreamCase{"stream=ir", "video/x-raw, format=GRAY8, width=640, height=480, framerate=30/1", 640 * 480},
        StreamCase{"stream=ir mode=1", "video/x-raw, format=GRAY16_LE, width=640, height=480, framerate=30/1",
                   640 * 480 * 2},
        StreamCase{"stream=depth mode=320x240@60",
                   "video/x-raw, format=GRAY16_LE, width=320, height=240, framerate=60/1", 320 * 240 * 2},
        StreamCase{"stream=depth mode=2", "video/x-raw, format=GRAY16_LE, width=320, height=240, framerate=60/1",
                   320 * 240 * 2}));

TEST(SourceNegotiation, DownstreamCapsChooseAmongTheCamerasModes) {
  Pipeline pipeline(
      "sarviksrc stream=depth num-buffers=5 ! video/x-raw,width=320,framerate=30/1 ! fakesink name=sink");
  const Outcome outcome = pipeline.run();
  ASSERT_TRUE(outcome.eos) << outcome;
  EXPECT_NE(sinkCaps(pipeline.element("sink")).find("width=(int)320, height=(int)240, framerate=(fraction)30/1"),
            std::string::npos)
      << sinkCaps(pipeline.element("sink"));
}

TEST(SourceMemory, RowsThatGStreamerPadsAreCopiedForPlainSinksAndLentWithVideoMetaOtherwise) {
  // 318 one-byte pixels make a row that GStreamer pads to 320.
  Pipeline plain("sarviksrc name=src stream=lightir num-buffers=10 ! fakesink name=sink");
  BufferLog plainLog(plain.element("sink"));
  ASSERT_TRUE(plain.run().eos);
  EXPECT_EQ(uint64Property(plain.element("src"), "copies"), 10u);
  for (const SeenBuffer& b : plainLog.buffers()) EXPECT_EQ(b.size, 320u * 240u);
  plain.stop();  // else it still counts as a second element on the sensor

  Pipeline meta("sarviksrc name=src stream=lightir num-buffers=10 ! videoconvert ! "
                "video/x-raw,format=GRAY16_LE ! fakesink name=sink");
  ASSERT_TRUE(meta.run().eos);
  EXPECT_EQ(uint64Property(meta.element("src"), "wrapped"), 10u);
  EXPECT_EQ(uint64Property(meta.element("src"), "copies"), 0u);
}

TEST(SourceMemory, BuffersHeldDownstreamAreCopiedOnceThePoolRunsLowAndTheCameraNeverStalls) {
  // The app sink keeps every buffer until the end: lent frames would pile up.
  Pipeline pipeline(
      "sarviksrc name=src stream=depth num-buffers=40 ! appsink name=sink sync=false max-buffers=0 drop=false");
  ASSERT_NE(pipeline.play(), GST_STATE_CHANGE_FAILURE);
  GstElement* src = pipeline.element("src");
  ASSERT_TRUE(waitUntil([&] { return uint64Property(src, "wrapped") + uint64Property(src, "copies") == 40; }))
      << "the camera stalled";
  // The app sink ends only once it is emptied.
  GstAppSink* sink = GST_APP_SINK(pipeline.element("sink"));
  std::vector<GstSample*> held;
  while (GstSample* sample = gst_app_sink_try_pull_sample(sink, GST_SECOND)) held.push_back(sample);
  EXPECT_TRUE(pipeline.wait(seconds(20)).eos);
  EXPECT_EQ(held.size(), 40u);
  const guint64 wrapped = uint64Property(pipeline.element("src"), "wrapped");
  EXPECT_EQ(wrapped, 4u) << "one element may lend four frames of the pool";
  EXPECT_EQ(uint64Property(pipeline.element("src"), "copies"), 40u - wrapped);
  for (GstSample* sample : held) {
    EXPECT_EQ(gst_buffer_get_size(gst_sample_get_buffer(sample)), 640u * 480u * 2u);
    gst_sample_unref(sample);
  }
}

TEST(SourceMemory, MaxWrappedZeroCopiesEveryFrame) {
  Pipeline pipeline("sarviksrc name=src stream=color max-wrapped=0 num-buffers=10 ! fakesink");
  ASSERT_TRUE(pipeline.run().eos);
  EXPECT_EQ(uint64Property(pipeline.element("src"), "copies"), 10u);
  EXPECT_EQ(uint64Property(pipeline.element("src"), "wrapped"), 0u);
}

TEST(SourceSharing, DepthAndColourOfOneCameraNamedTwoWaysShareTheOpenedDevice) {
  Pipeline pipeline(
      "sarviksrc name=depth device=0 stream=depth num-buffers=20 ! fakesink name=dsink "
      "sarviksrc name=colour device=usb://sim/0 stream=color num-buffers=20 ! fakesink name=csink");
  BufferLog depth(pipeline.element("dsink"));
  BufferLog colour(pipeline.element("csink"));
  const Outcome outcome = pipeline.run();
  ASSERT_TRUE(outcome.eos) << outcome;
  EXPECT_EQ(depth.count(), 20u);
  EXPECT_EQ(colour.count(), 20u);
  for (const SeenBuffer& b : depth.buffers()) EXPECT_EQ(b.size, 640u * 480u * 2u);
  for (const SeenBuffer& b : colour.buffers()) EXPECT_EQ(b.size, 640u * 480u * 3u);
}

TEST(SourceSharing, TwoElementsOnOneSensorBothStreamButLendNothing) {
  Pipeline pipeline(
      "sarviksrc name=a stream=depth num-buffers=15 ! fakesink "
      "sarviksrc name=b stream=depth mode=0 num-buffers=15 ! fakesink");
  const Outcome outcome = pipeline.run();
  ASSERT_TRUE(outcome.eos) << outcome;
  for (const char* name : {"a", "b"}) {
    EXPECT_EQ(uint64Property(pipeline.element(name), "copies"), 15u) << name;
    EXPECT_EQ(uint64Property(pipeline.element(name), "wrapped"), 0u) << name;
  }
}

TEST(SourceLifecycle, BackToNullClosesTheCameraAndPlayingAgainReopensIt) {
  Pipeline pipeline("sarviksrc name=src stream=depth ! fakesink name=sink");
  BufferLog log(pipeline.element("sink"));
  size_t before = 0;
  for (int round = 0; round < 3; ++round) {
    ASSERT_NE(pipeline.play(), GST_STATE_CHANGE_FAILURE) << round;
    ASSERT_TRUE(waitUntil([&] { return log.count() >= before + 5; })) << round;
    ASSERT_EQ(pipeline.stop(), GST_STATE_CHANGE_SUCCESS) << round;
    before = log.count();
  }
  // Closed for good: another pipeline opens the same camera afresh.
  Pipeline other("sarviksrc stream=depth device=usb://sim/0 num-buffers=3 ! fakesink");
  EXPECT_TRUE(other.run().eos);
}

TEST(SourceLifecycle, ElementsOfManyPipelinesComeAndGoWhileOneStreams) {
  Pipeline steady("sarviksrc stream=color ! fakesink name=sink");
  BufferLog log(steady.element("sink"));
  ASSERT_NE(steady.play(), GST_STATE_CHANGE_FAILURE);
  for (int i = 0; i < 4; ++i) {
    Pipeline visitor("sarviksrc stream=depth num-buffers=3 ! fakesink");
    ASSERT_TRUE(visitor.run().eos) << i;
  }
  const size_t seen = log.count();
  EXPECT_TRUE(waitUntil([&] { return log.count() >= seen + 3; })) << "the colour stream went on";
}

}  // namespace
}  // namespace sarvik_gst_test
