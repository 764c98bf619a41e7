// The source feeding what users feed it to: image files written by GStreamer's
// encoders and read back by libpng, and a stream carried to another pipeline
// over TCP on 127.0.0.1 with GStreamer's own RTP elements.
#include <gst/app/gstappsink.h>

#ifdef SARVIK_TEST_HAVE_PNG
#include <png.h>
#endif

#include <algorithm>
#include <map>

#include "gst_test_support.h"

namespace sarvik_gst_test {
namespace {

using std::chrono::seconds;

#ifdef SARVIK_TEST_HAVE_PNG
struct PngFacts {
  bool read = false;
  png_uint_32 width = 0, height = 0, format = 0;
};

PngFacts readPng(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  PngFacts facts;
  if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return facts;
  facts.width = image.width;
  facts.height = image.height;
  facts.format = image.format;
  std::vector<png_byte> pixels(PNG_IMAGE_SIZE(image));
  facts.read = png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) != 0;
  png_image_free(&image);
  return facts;
}

std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(folder)) files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

TEST(SourceToFiles, ColourBecomesPngFilesOfTheCamerasSize) {
  const std::string folder = scratchFolder("colour-png");
  Pipeline pipeline("sarviksrc stream=color num-buffers=5 ! videoconvert ! pngenc ! multifilesink location=" +
                    folder + "/colour-%03d.png");
  ASSERT_TRUE(pipeline.run().eos);
  const std::vector<std::string> files = filesIn(folder);
  ASSERT_EQ(files.size(), 5u);
  for (const std::string& file : files) {
    const PngFacts png = readPng(file);
    EXPECT_TRUE(png.read) << file;
    EXPECT_EQ(png.width, 640u);
    EXPECT_EQ(png.height, 480u);
    EXPECT_TRUE(png.format & PNG_FORMAT_FLAG_COLOR) << file;
  }
}

TEST(SourceToFiles, DepthBecomesSixteenBitPngFilesWithTheDepthValues) {
  const std::string folder = scratchFolder("depth-png");
  // The README's pipeline: PNG keeps 16-bit samples big-endian.
  Pipeline pipeline("sarviksrc stream=depth mode=320x240@30 num-buffers=3 ! videoconvert ! "
                    "video/x-raw,format=GRAY16_BE ! pngenc ! multifilesink location=" +
                    folder + "/depth-%03d.png");
  ASSERT_TRUE(pipeline.run().eos);
  const std::vector<std::string> files = filesIn(folder);
  ASSERT_EQ(files.size(), 3u);
  for (const std::string& file : files) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&image, file.c_str()), 0) << file;
    EXPECT_EQ(image.width, 320u);
    EXPECT_EQ(image.height, 240u);
    EXPECT_TRUE(image.format & PNG_FORMAT_FLAG_LINEAR) << "16-bit samples";
    png_image_free(&image);
  }
}
#endif

TEST(SourceToFiles, ColourEncodedToWebmPlaysBackAtTheCamerasSize) {
  const std::string file = scratchFolder("colour-webm") + "/colour.webm";
  // The README's encoding pipeline, bounded.
  Pipeline encode("sarviksrc stream=color num-buffers=10 ! videoconvert ! vp8enc deadline=1 ! webmmux ! "
                  "filesink location=" + file);
  const Outcome encoded = encode.run(seconds(60));
  ASSERT_TRUE(encoded.eos) << encoded;
  Pipeline decode("filesrc location=" + file + " ! matroskademux ! vp8dec ! fakesink name=sink");
  BufferLog log(decode.element("sink"));
  const Outcome decoded = decode.run(seconds(60));
  ASSERT_TRUE(decoded.eos) << decoded;
  EXPECT_EQ(log.count(), 10u);
  EXPECT_NE(sinkCaps(decode.element("sink")).find("width=(int)640, height=(int)480"), std::string::npos)
      << sinkCaps(decode.element("sink"));
}

// Bytes of every buffer an app sink receives, in order, with the caps.
struct Received {
  std::mutex lock;
  std::vector<std::vector<uint8_t>> frames;
  std::string caps;
};

GstFlowReturn keepSample(GstAppSink* sink, gpointer user) {
  auto* received = static_cast<Received*>(user);
  GstSample* sample = gst_app_sink_pull_sample(sink);
  if (sample == nullptr) return GST_FLOW_ERROR;
  GstMapInfo map;
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
    std::lock_guard<std::mutex> guard(received->lock);
    received->frames.emplace_back(map.data, map.data + map.size);
    gchar* caps = gst_caps_to_string(gst_sample_get_caps(sample));
    received->caps = caps;
    g_free(caps);
    gst_buffer_unmap(buffer, &map);
  }
  gst_sample_unref(sample);
  return GST_FLOW_OK;
}

void collect(GstElement* appsink, Received* into) {
  GstAppSinkCallbacks callbacks{};
  callbacks.new_sample = keepSample;
  gst_app_sink_set_callbacks(GST_APP_SINK(appsink), &callbacks, into, nullptr);
}

// The README's pair: the sender serves on a free port of 127.0.0.1, the
// receiver connects to it. The sender also keeps what it sent.
constexpr const char* kSender =
    "sarviksrc stream=depth mode=320x240@30 num-buffers=90 ! tee name=t "
    "t. ! queue ! appsink name=sent sync=false "
    "t. ! queue ! rtpgstpay config-interval=1 ! rtpstreampay ! "
    "tcpserversink name=server host=127.0.0.1 port=0 sync=false";
constexpr const char* kReceiver =
    "tcpclientsrc host=127.0.0.1 port=%d ! "
    "application/x-rtp-stream,media=application,clock-rate=90000,encoding-name=X-GST ! "
    "rtpstreamdepay ! rtpgstdepay ! appsink name=received sync=false";

TEST(SourceAcrossMachines, DepthArrivesBitIdenticalThroughRtpOverTcp) {
  Pipeline sender(kSender);
  Received sent;
  collect(sender.element("sent"), &sent);
  ASSERT_NE(sender.play(), GST_STATE_CHANGE_FAILURE);
  int port = 0;
  ASSERT_TRUE(waitUntil([&] {
    g_object_get(sender.element("server"), "current-port", &port, nullptr);
    return port > 0;
  }));

  gchar* description = g_strdup_printf(kReceiver, port);
  Pipeline receiver(description);
  g_free(description);
  Received received;
  collect(receiver.element("received"), &received);
  ASSERT_NE(receiver.play(), GST_STATE_CHANGE_FAILURE);

  const Outcome sendOutcome = sender.wait(seconds(30));
  ASSERT_TRUE(sendOutcome.eos) << sendOutcome;
  // The server closes its clients when the sender stops: the receiver ends.
  ASSERT_TRUE(waitUntil([&] {
    std::lock_guard<std::mutex> guard(received.lock);
    return received.frames.size() >= 10;
  }));
  sender.stop();
  receiver.wait(seconds(10));
  receiver.stop();

  std::lock_guard<std::mutex> a(sent.lock);
  std::lock_guard<std::mutex> b(received.lock);
  ASSERT_EQ(sent.frames.size(), 90u);
  EXPECT_NE(received.caps.find("GRAY16_LE"), std::string::npos) << received.caps;
  EXPECT_NE(received.caps.find("width=(int)320"), std::string::npos) << received.caps;
  // The receiver joined late: what it got is a run of what was sent, in
  // order, every byte the same.
  auto first = std::find(sent.frames.begin(), sent.frames.end(), received.frames.front());
  ASSERT_NE(first, sent.frames.end()) << "the first frame received was never sent as it arrived";
  const size_t offset = static_cast<size_t>(first - sent.frames.begin());
  ASSERT_LE(offset + received.frames.size(), sent.frames.size());
  for (size_t i = 0; i < received.frames.size(); ++i) {
    EXPECT_TRUE(received.frames[i] == sent.frames[offset + i]) << "frame " << i << " differs";
  }
}

TEST(SourceAcrossMachines, ColourArrivesAsJpegOfTheCamerasSize) {
  Pipeline sender(
      "sarviksrc stream=color num-buffers=60 ! videoconvert ! jpegenc ! rtpgstpay config-interval=1 ! "
      "rtpstreampay ! tcpserversink name=server host=127.0.0.1 port=0 sync=false");
  ASSERT_NE(sender.play(), GST_STATE_CHANGE_FAILURE);
  int port = 0;
  ASSERT_TRUE(waitUntil([&] {
    g_object_get(sender.element("server"), "current-port", &port, nullptr);
    return port > 0;
  }));
  gchar* description = g_strdup_printf(
      "tcpclientsrc host=127.0.0.1 port=%d ! "
      "application/x-rtp-stream,media=application,clock-rate=90000,encoding-name=X-GST ! rtpstreamdepay ! "
      "rtpgstdepay ! jpegdec ! videoconvert ! video/x-raw,format=RGB ! appsink name=received sync=false",
      port);
  Pipeline receiver(description);
  g_free(description);
  Received received;
  collect(receiver.element("received"), &received);
  ASSERT_NE(receiver.play(), GST_STATE_CHANGE_FAILURE);
  EXPECT_TRUE(waitUntil([&] {
    std::lock_guard<std::mutex> guard(received.lock);
    return received.frames.size() >= 5;
  }));
  sender.stop();
  receiver.stop();
  std::lock_guard<std::mutex> guard(received.lock);
  ASSERT_FALSE(received.frames.empty());
  EXPECT_EQ(received.frames.front().size(), 640u * 480u * 3u);
  EXPECT_NE(received.caps.find("width=(int)640, height=(int)480"), std::string::npos) << received.caps;
}

}  // namespace
}  // namespace sarvik_gst_test
