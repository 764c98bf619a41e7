// What goes wrong reaches the application as a clear bus message, never a hang.
#include "gst_test_support.h"

namespace sarvik_gst_test {
namespace {

using std::chrono::seconds;

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

struct RefusalCase {
  const char* name;
  const char* pipeline;
  GQuark (*domain)();
  int code;
  const char* says;  // part of the error message
};

class Refusals : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(Refusals, FailWithAClearElementError) {
  const RefusalCase& c = GetParam();
  Pipeline pipeline(c.pipeline);
  const Outcome outcome = pipeline.run(seconds(20));
  ASSERT_TRUE(outcome.error) << outcome;
  EXPECT_EQ(outcome.domain, c.domain()) << outcome;
  EXPECT_EQ(outcome.code, c.code) << outcome;
  EXPECT_TRUE(contains(outcome.message, c.says)) << outcome;
}

INSTANTIATE_TEST_SUITE_P(
    BadSettings, Refusals,
    ::testing::Values(
        RefusalCase{"missing_mode", "sarviksrc stream=depth mode=123x45 ! fakesink", gst_core_error_quark,
                    GST_CORE_ERROR_NEGOTIATION, "has no depth mode \"123x45\""},
        RefusalCase{"missing_index", "sarviksrc stream=color mode=7 ! fakesink", gst_core_error_quark,
                    GST_CORE_ERROR_NEGOTIATION, "has no color mode \"7\""},
        RefusalCase{"downstream_wants_another_size",
                    "sarviksrc stream=depth ! video/x-raw,width=1000 ! fakesink", gst_core_error_quark,
                    GST_CORE_ERROR_NEGOTIATION, "no depth mode of camera usb://sim/0 suits the pipeline"},
        RefusalCase{"downstream_wants_another_format", "sarviksrc stream=depth ! video/x-raw,format=RGB ! fakesink",
                    gst_core_error_quark, GST_CORE_ERROR_NEGOTIATION, "suits the pipeline"},
        RefusalCase{"mode_text", "sarviksrc mode=fast ! fakesink", gst_resource_error_quark,
                    GST_RESOURCE_ERROR_SETTINGS, "is not an index, WxH or WxH@fps"},
        RefusalCase{"mode_huge", "sarviksrc mode=99999999999999999999x1 ! fakesink", gst_resource_error_quark,
                    GST_RESOURCE_ERROR_SETTINGS, "is not an index"},
        RefusalCase{"no_such_address", "sarviksrc device=usb://sim/9 ! fakesink", gst_resource_error_quark,
                    GST_RESOURCE_ERROR_NOT_FOUND, "no camera with address or serial usb://sim/9"},
        RefusalCase{"no_such_index", "sarviksrc device=3 ! fakesink", gst_resource_error_quark,
                    GST_RESOURCE_ERROR_NOT_FOUND, "no camera with index 3"}),
    [](const ::testing::TestParamInfo<RefusalCase>& info) { return std::string(info.param.name); });

TEST(Refusals, AnAddressOfThreeHundredCharactersIsRefusedNotTruncatedIntoAnother) {
  const std::string address = "usb://sim/0" + std::string(300, 'x');
  Pipeline pipeline("sarviksrc device=" + address + " ! fakesink");
  const Outcome outcome = pipeline.run(seconds(20));
  ASSERT_TRUE(outcome.error) << outcome;
  EXPECT_EQ(outcome.code, GST_RESOURCE_ERROR_NOT_FOUND);
}

TEST(Refusals, TheSerialNumberNamesTheCameraToo) {
  Pipeline pipeline("sarviksrc device=SIM0U0000001 stream=depth num-buffers=2 ! fakesink");
  const Outcome outcome = pipeline.run();
  EXPECT_TRUE(outcome.eos) << outcome;
}

// Runs until `buffers` have passed, unplugs the camera, and gives the outcome.
Outcome unplugMidStream(const std::string& properties, size_t* seenBeforeEnd) {
  Pipeline pipeline("sarviksrc stream=depth " + properties + " ! fakesink name=sink");
  BufferLog log(pipeline.element("sink"));
  EXPECT_NE(pipeline.play(), GST_STATE_CHANGE_FAILURE);
  EXPECT_TRUE(waitUntil([&] { return log.count() >= 5; }));
  controlCamera(std::string("unplug ") + kCamera);
  const Outcome outcome = pipeline.wait(seconds(20));
  *seenBeforeEnd = log.count();
  pipeline.stop();
  controlCamera(std::string("plug ") + kCamera);
  return outcome;
}

TEST(Unplug, MidStreamPostsAnErrorNamingTheCamera) {
  size_t seen = 0;
  const Outcome outcome = unplugMidStream("", &seen);
  ASSERT_TRUE(outcome.error) << outcome;
  EXPECT_EQ(outcome.domain, GST_RESOURCE_ERROR);
  EXPECT_EQ(outcome.code, GST_RESOURCE_ERROR_READ);
  EXPECT_TRUE(contains(outcome.message, "camera usb://sim/0 was unplugged")) << outcome;
  EXPECT_GE(seen, 5u);
}

TEST(Unplug, MidStreamEndsWithEosWhenAskedTo) {
  size_t seen = 0;
  const Outcome outcome = unplugMidStream("eos-on-unplug=true", &seen);
  EXPECT_TRUE(outcome.eos) << outcome;
  EXPECT_GE(seen, 5u);
}

TEST(Unplug, EndsEveryElementThatSharesTheCamera) {
  Pipeline pipeline(
      "sarviksrc stream=depth eos-on-unplug=true ! fakesink name=dsink "
      "sarviksrc stream=color eos-on-unplug=true ! fakesink name=csink");
  BufferLog depth(pipeline.element("dsink"));
  BufferLog colour(pipeline.element("csink"));
  ASSERT_NE(pipeline.play(), GST_STATE_CHANGE_FAILURE);
  ASSERT_TRUE(waitUntil([&] { return depth.count() >= 3 && colour.count() >= 3; }));
  controlCamera(std::string("unplug ") + kCamera);
  // A bin posts EOS only once every sink has it.
  const Outcome outcome = pipeline.wait(seconds(20));
  pipeline.stop();
  controlCamera(std::string("plug ") + kCamera);
  EXPECT_TRUE(outcome.eos) << outcome;
}

TEST(Unplug, TheCameraStreamsAgainOncePluggedBackAndReopened) {
  size_t seen = 0;
  ASSERT_TRUE(unplugMidStream("eos-on-unplug=true", &seen).eos);
  // The plug line was written; the camera comes back within a few polls.
  bool streamed = false;
  for (int attempt = 0; attempt < 50 && !streamed; ++attempt) {
    Pipeline again("sarviksrc stream=depth num-buffers=3 ! fakesink");
    streamed = again.run(seconds(20)).eos;
    if (!streamed) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_TRUE(streamed);
}

}  // namespace
}  // namespace sarvik_gst_test
