// Mode texts, caps built from a camera's modes, and the lending budget.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include "gstreamer/camera_modes.h"
#include "gstreamer/frame_ledger.h"

namespace sarvik_gst {
namespace {

SarvikModeRecord mode(uint16_t index, uint16_t w, uint16_t h, int8_t fps, uint16_t format) {
  SarvikModeRecord m{};
  m.mode.modeValue1 = w;
  m.mode.modeValue3 = h;
  m.mode.modeValue4 = format;
  m.mode.modeValue2 = fps;
  m.modeIndex = index;
  m.sensorType = SARVIK_STREAM_DEPTH;
  return m;
}

TEST(ModeSelector, ReadsIndexSizeAndRate) {
  ModeSelector s;
  ASSERT_TRUE(parseModeSelector("", &s));
  EXPECT_TRUE(s.any);
  ASSERT_TRUE(parseModeSelector("2", &s));
  EXPECT_EQ(s.index, 2);
  ASSERT_TRUE(parseModeSelector("640x480", &s));
  EXPECT_EQ(s.width, 640);
  EXPECT_EQ(s.height, 480);
  EXPECT_EQ(s.fps, -1);
  ASSERT_TRUE(parseModeSelector("320X240@60", &s));
  EXPECT_EQ(s.fps, 60);
}

TEST(ModeSelector, RefusesWhatIsNoMode) {
  ModeSelector s;
  for (const char* text : {"x", "640x", "x480", "640x480@", "640x480@30fps", "-1", "0x480", "640x0",
                           "640x480@200", "99999999999999999999", "640 x 480", "1.5", "640x480@-1"}) {
    EXPECT_FALSE(parseModeSelector(text, &s)) << text;
  }
}

TEST(ModeCaps, OneFixedStructurePerModeTheCurrentFirstAndUnknownPixelsLeftOut) {
  const std::vector<SarvikModeRecord> modes = {mode(0, 640, 480, 30, SARVIK_PIXEL_DEPTH16),
                                               mode(1, 320, 240, 0, SARVIK_PIXEL_DEPTH16),
                                               mode(2, 320, 240, 30, 77)};
  GstCaps* caps = modesToCaps(modes, ModeSelector(), &modes[1].mode);
  ASSERT_EQ(gst_caps_get_size(caps), 2u);
  int width = 0, num = -1, den = 0;
  GstStructure* first = gst_caps_get_structure(caps, 0);
  gst_structure_get_int(first, "width", &width);
  gst_structure_get_fraction(first, "framerate", &num, &den);
  EXPECT_EQ(width, 320);
  EXPECT_EQ(num, 0) << "a rate of 0 is variable";
  EXPECT_STREQ(gst_structure_get_string(first, "format"), "GRAY16_LE");
  GstCaps* second = gst_caps_copy_nth(caps, 1);
  EXPECT_TRUE(gst_caps_is_fixed(second));
  gst_caps_unref(second);
  gst_caps_unref(caps);
}

TEST(ModeCaps, FixedCapsFindTheirModeAndOtherCapsNone) {
  const std::vector<SarvikModeRecord> modes = {mode(0, 640, 480, 30, SARVIK_PIXEL_RGB24),
                                               mode(1, 640, 480, 15, SARVIK_PIXEL_RGB24)};
  GstCaps* fifteen = gst_caps_from_string("video/x-raw,format=RGB,width=640,height=480,framerate=15/1");
  GstCaps* gray = gst_caps_from_string("video/x-raw,format=GRAY8,width=640,height=480,framerate=15/1");
  EXPECT_EQ(modeForCaps(modes, fifteen), 1);
  EXPECT_EQ(modeForCaps(modes, gray), -1);
  EXPECT_EQ(modeForCaps(modes, nullptr), -1);
  gst_caps_unref(fifteen);
  gst_caps_unref(gray);
}

TEST(LendingBudget, FourForOneElementNoneForTwoOrMore) {
  EXPECT_EQ(wrapBudget(0), 4);
  EXPECT_EQ(wrapBudget(1), 4);
  EXPECT_EQ(wrapBudget(2), 0);
  EXPECT_EQ(wrapBudget(5), 0);
}

}  // namespace
}  // namespace sarvik_gst

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
