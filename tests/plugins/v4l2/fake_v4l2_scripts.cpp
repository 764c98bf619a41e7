// Test data: what a UVC webcam, a depth camera and a metadata node answer.
// Formats, sizes, intervals and control ranges follow the V4L2 documentation
// and what uvcvideo reports for ordinary cameras.
#include <linux/videodev2.h>

#include "fake_v4l2_device.h"

namespace v4l2test {

namespace {
constexpr uint32_t kCaptureCaps = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING | V4L2_CAP_EXT_PIX_FORMAT;
}

FakeScript webcamScript() {
  FakeScript s;
  s.card = "USB2.0 HD UVC WebCam: USB2.0 HD";
  s.deviceCaps = kCaptureCaps;
  s.formats = {
      {V4L2_PIX_FMT_MJPEG, {{1280, 720, {30}}, {640, 480, {30}}}},
      {V4L2_PIX_FMT_YUYV, {{640, 480, {30, 15}}, {1280, 720, {10}}}},
      {V4L2_PIX_FMT_RGB24, {{320, 240, {30}}}},
  };
  s.controls = {
      {V4L2_CID_BRIGHTNESS, V4L2_CTRL_TYPE_INTEGER, "Brightness", -64, 64, 1, 0, 0},
      {V4L2_CID_CONTRAST, V4L2_CTRL_TYPE_INTEGER, "Contrast", 0, 95, 1, 32, 0},
      {V4L2_CID_AUTO_WHITE_BALANCE, V4L2_CTRL_TYPE_BOOLEAN, "White Balance, Automatic", 0, 1, 1, 1, 0},
      {V4L2_CID_WHITE_BALANCE_TEMPERATURE, V4L2_CTRL_TYPE_INTEGER, "White Balance Temperature", 2800, 6500, 10,
       4600, V4L2_CTRL_FLAG_INACTIVE},
      {V4L2_CID_POWER_LINE_FREQUENCY, V4L2_CTRL_TYPE_MENU, "Power Line Frequency", 0, 2, 1, 1, 0},
      {V4L2_CID_CAMERA_CLASS, V4L2_CTRL_TYPE_CTRL_CLASS, "Camera Controls", 0, 0, 0, 0,
       V4L2_CTRL_FLAG_READ_ONLY | V4L2_CTRL_FLAG_WRITE_ONLY},
      {V4L2_CID_EXPOSURE_AUTO, V4L2_CTRL_TYPE_MENU, "Auto Exposure", 0, 3, 1, 3, 0},
      {V4L2_CID_EXPOSURE_ABSOLUTE, V4L2_CTRL_TYPE_INTEGER, "Exposure Time, Absolute", 1, 5000, 1, 157, 0},
      {V4L2_CID_PAN_ABSOLUTE, V4L2_CTRL_TYPE_INTEGER, "Pan, Absolute", -36000, 36000, 3600, 0,
       V4L2_CTRL_FLAG_DISABLED},
      {V4L2_CID_FOCUS_ABSOLUTE, V4L2_CTRL_TYPE_INTEGER, "Focus, Absolute", 0, 250, 5, 0, V4L2_CTRL_FLAG_READ_ONLY},
  };
  s.identity = {"USB2.0 HD UVC WebCam: USB2.0 HD", 0x0bda, 0x58f4, "200901010001", "1-2.3"};
  return s;
}

FakeScript depthScript() {
  FakeScript s;
  s.card = "Depth Camera 400: Depth";
  s.deviceCaps = kCaptureCaps;
  s.formats = {
      {v4l2_fourcc('Z', '1', '6', ' '), {{640, 480, {30, 15, 6}}, {1280, 720, {15}}}},
      {V4L2_PIX_FMT_Y16, {{640, 480, {30}}}},
      {V4L2_PIX_FMT_GREY, {{640, 480, {30}}}},
      {v4l2_fourcc('Y', '8', 'I', ' '), {{640, 480, {30}}}},
  };
  s.controls = {
      {V4L2_CID_EXPOSURE_ABSOLUTE, V4L2_CTRL_TYPE_INTEGER, "Exposure Time, Absolute", 1, 1660, 1, 333, 0},
      {V4L2_CID_GAIN, V4L2_CTRL_TYPE_INTEGER, "Gain", 16, 248, 1, 16, 0},
  };
  s.identity = {"Depth Camera 400: Depth", 0x8086, 0x0b07, "913522070157", "2-1"};
  return s;
}

FakeScript metadataScript() {
  FakeScript s = webcamScript();
  s.deviceCaps = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING;
  s.formats = {};
  s.controls = {};
  return s;
}

}  // namespace v4l2test
