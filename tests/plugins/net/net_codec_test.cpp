#include "net_codec.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace sn = sarvik::net;

namespace {

struct Parts {
  std::vector<uint8_t> head;
  std::vector<uint8_t> body;
};

template <typename Fixed>
Parts make(uint16_t type, const Fixed* fixed, std::vector<uint8_t> body = {}, int32_t status = 0) {
  Parts p;
  p.body = std::move(body);
  EXPECT_EQ(sn::encodeHead(type, 3, 77, status, fixed, p.body.size(), p.head), 0);
  return p;
}

Parts makeEmpty(uint16_t type, std::vector<uint8_t> body = {}, int32_t status = 0) {
  return make<uint8_t>(type, nullptr, std::move(body), status);
}

int32_t decode(const Parts& p, sn::Message& m, sn::CodecError& e, uint64_t limit = kSarvikNetMaxFrameBytes) {
  return sn::decode(p.head.data(), p.head.size(), p.body.data(), p.body.size(), m, e, limit);
}

SarvikNetHeader& headerOf(Parts& p) { return *reinterpret_cast<SarvikNetHeader*>(p.head.data()); }

// The decoder refuses with `status` and a single non-empty line that mentions `word`.
void expectRefused(const Parts& p, int32_t status, const std::string& word, uint64_t limit = kSarvikNetMaxFrameBytes) {
  sn::Message m;
  sn::CodecError e;
  EXPECT_EQ(decode(p, m, e, limit), status) << e.reason;
  EXPECT_EQ(e.status, status);
  EXPECT_NE(e.reason.find(word), std::string::npos) << e.reason;
  EXPECT_EQ(e.reason.find('\n'), std::string::npos);
  EXPECT_EQ(m.body, nullptr);
}

SarvikModeRecord modeRecord(uint16_t w, uint16_t h, uint16_t format, uint16_t index) {
  SarvikModeRecord r{};
  r.mode.modeValue1 = w;
  r.mode.modeValue3 = h;
  r.mode.modeValue4 = format;
  r.mode.modeValue2 = 30;
  r.bytesPerPixel = static_cast<uint8_t>(sarvikPixelBytes(format));
  r.modeIndex = index;
  r.sensorType = format == SARVIK_PIXEL_DEPTH16 ? 2 : 1;
  r.frameBytes = uint32_t{w} * h * r.bytesPerPixel;
  return r;
}

std::vector<sn::Camera> twoCameras() {
  std::vector<sn::Camera> cams(2);
  std::strcpy(cams[0].entry.serial, "SN-0001");
  std::strcpy(cams[0].entry.name, "simulated depth");
  cams[0].entry.sensorMask = 3;
  cams[0].modes = {modeRecord(640, 480, SARVIK_PIXEL_RGB24, 0), modeRecord(640, 480, SARVIK_PIXEL_DEPTH16, 0)};
  std::strcpy(cams[1].entry.serial, "SN-0002");
  std::strcpy(cams[1].entry.name, "no modes yet");
  return cams;
}

Parts hello() {
  Parts p;
  EXPECT_EQ(sn::encodeCameras(kSarvikNetHello, 0, 123456789ull, twoCameras(), p.head, p.body), 0);
  return p;
}

SarvikNetFrameHeader frameHeader(uint32_t w, uint32_t h, uint32_t format) {
  return SarvikNetFrameHeader{2, format, w, h, 41, 0, 987654321ull};
}

}  // namespace

TEST(NetCodec, HelloRoundTripKeepsClockCamerasAndModes) {
  Parts p = hello();
  sn::Message m;
  sn::CodecError e;
  ASSERT_EQ(decode(p, m, e), 0) << e.reason;
  EXPECT_EQ(m.header.type, kSarvikNetHello);
  EXPECT_EQ(m.fixed.hello.serverClockNs, 123456789ull);
  std::vector<sn::Camera> got;
  ASSERT_EQ(sn::decodeCameras(m, got, e), 0) << e.reason;
  const auto want = twoCameras();
  ASSERT_EQ(got.size(), 2u);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_STREQ(got[i].entry.serial, want[i].entry.serial);
    EXPECT_STREQ(got[i].entry.name, want[i].entry.name);
    EXPECT_EQ(got[i].entry.sensorMask, want[i].entry.sensorMask);
    ASSERT_EQ(got[i].modes.size(), want[i].modes.size());
    for (size_t k = 0; k < want[i].modes.size(); ++k)
      EXPECT_EQ(std::memcmp(&got[i].modes[k], &want[i].modes[k], sizeof(SarvikModeRecord)), 0);
  }
}

TEST(NetCodec, FixedRecordsAndBodiesRoundTrip) {
  SarvikNetSensor sensor{2};
  SarvikModeRecord mode = modeRecord(320, 240, SARVIK_PIXEL_DEPTH16, 1);
  SarvikNetDeviceState state{1, 0};
  SarvikNetProperty get{kSarvikPropertyDepthUnit, 64};
  SarvikNetProperty set{kSarvikPropertyStreamFlagMode, 4};
  SarvikNetProperty reply{kSarvikPropertyDepthUnit, sizeof(SarvikDepthUnit)};
  const std::vector<uint8_t> modes(3 * sizeof(SarvikModeRecord), 7);
  SarvikNetHello listRequest{};
  struct Case {
    Parts parts;
    uint16_t type;
  } cases[] = {
      {makeEmpty(kSarvikNetOpen), kSarvikNetOpen},
      {makeEmpty(kSarvikNetClose), kSarvikNetClose},
      {makeEmpty(kSarvikNetCommand, {'p', 'i', 'n', 'g'}), kSarvikNetCommand},
      {makeEmpty(kSarvikNetError, {'g', 'o', 'n', 'e'}, kSarvikErrDisconnected), kSarvikNetError},
      {make(kSarvikNetStartStream, &sensor), kSarvikNetStartStream},
      {make(kSarvikNetStopStream, &sensor), kSarvikNetStopStream},
      {make(kSarvikNetModeList, &sensor, modes), kSarvikNetModeList},
      {make(kSarvikNetSetMode, &mode), kSarvikNetSetMode},
      {make(kSarvikNetDeviceState, &state), kSarvikNetDeviceState},
      {make(kSarvikNetGetProperty, &get), kSarvikNetGetProperty},
      {make(kSarvikNetGetProperty, &reply, std::vector<uint8_t>(8, 1)), kSarvikNetGetProperty},
      {make(kSarvikNetSetProperty, &set, {1, 0, 0, 0}), kSarvikNetSetProperty},
      {make(kSarvikNetList, &listRequest), kSarvikNetList},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.type);
    sn::Message m;
    sn::CodecError e;
    ASSERT_EQ(decode(c.parts, m, e), 0) << e.reason;
    EXPECT_EQ(m.header.type, c.type);
    EXPECT_EQ(m.header.camera, 3u);
    EXPECT_EQ(m.header.requestId, 77u);
    const int fixed = sarvikNetFixedBytes(c.type);
    EXPECT_EQ(std::memcmp(m.fixed.raw, c.parts.head.data() + sizeof(SarvikNetHeader), fixed), 0);
    ASSERT_EQ(m.bodyBytes, c.parts.body.size());
    if (m.bodyBytes) {
      EXPECT_EQ(m.body, c.parts.body.data());
    }
  }
}

TEST(NetCodec, FramePixelsAreNotCopiedAndMustMatchTheHead) {
  const SarvikNetFrameHeader f = frameHeader(64, 48, SARVIK_PIXEL_DEPTH16);
  Parts p;
  ASSERT_EQ(sn::encodeFrameHead(5, f, p.head), 0);
  p.body.assign(64 * 48 * 2, 0xab);
  sn::Message m;
  sn::CodecError e;
  ASSERT_EQ(decode(p, m, e, 64 * 48 * 2), 0) << e.reason;
  EXPECT_EQ(m.body, p.body.data());
  EXPECT_EQ(m.fixed.frame.stampNs, 987654321ull);
  EXPECT_EQ(m.header.camera, 5u);

  expectRefused(p, kSarvikErrIo, "exceeds the mode", 64 * 48 * 2 - 1);
  Parts shortBody = p;
  shortBody.body.pop_back();
  expectRefused(shortBody, kSarvikErrIo, "head says");
  // Head and body agree with each other but not with the frame's own size.
  Parts lying = shortBody;
  headerOf(lying).bodyBytes -= 1;
  expectRefused(lying, kSarvikErrIo, "not 6144");
}

TEST(NetCodec, FramesThatAreNoFrameAreRefused) {
  for (auto f : {frameHeader(0, 48, SARVIK_PIXEL_RGB24), frameHeader(16385, 1, SARVIK_PIXEL_GRAY8),
                 frameHeader(8, 8, 9), frameHeader(0xffffffffu, 0xffffffffu, SARVIK_PIXEL_RGB24)}) {
    SCOPED_TRACE(f.width);
    Parts p = make(kSarvikNetFrame, &f, std::vector<uint8_t>(192));
    expectRefused(p, kSarvikErrIo, "is not a frame");
    std::vector<uint8_t> head;
    EXPECT_EQ(sn::encodeFrameHead(0, f, head), kSarvikErrArgument);
  }
}

TEST(NetCodec, BrokenHeadsAreRefusedWithAReason) {
  const Parts good = hello();
  for (size_t n = 0; n < good.head.size(); ++n) {
    Parts cut = good;
    cut.head.resize(n);
    expectRefused(cut, kSarvikErrIo, n < sizeof(SarvikNetHeader) ? "truncated" : "not 40");
  }
  Parts magic = good;
  headerOf(magic).magic ^= 1;
  expectRefused(magic, kSarvikErrIo, "magic");
  Parts version = good;
  headerOf(version).version = 2;
  expectRefused(version, kSarvikErrUnsupported, "version 2");
  for (uint16_t type : {uint16_t{0}, uint16_t{kSarvikNetTypeLast + 1}, uint16_t{0xffff}}) {
    Parts unknown = good;
    headerOf(unknown).type = type;
    expectRefused(unknown, kSarvikErrIo, "unknown message type");
  }
  Parts longer = good;
  longer.head.push_back(0);
  expectRefused(longer, kSarvikErrIo, "not 40");

  sn::Message m;
  sn::CodecError e;
  EXPECT_EQ(sn::decode(nullptr, 0, nullptr, 0, m, e), kSarvikErrArgument);
  EXPECT_EQ(sn::decode(good.head.data(), good.head.size(), nullptr, 5, m, e), kSarvikErrArgument);
}

TEST(NetCodec, HugeOrMismatchedLengthsAreRefusedBeforeAnyUse) {
  // A head that claims 4 GB while 3 bytes arrived: the limit speaks first.
  for (uint16_t type : {kSarvikNetCommand, kSarvikNetError, kSarvikNetOpen, kSarvikNetFrame, kSarvikNetHello}) {
    SCOPED_TRACE(type);
    const std::vector<uint8_t> fixed(32, 0);
    Parts p = make(type, fixed.data(), {}, -1);
    p.body = {1, 2, 3};
    headerOf(p).bodyBytes = 0xffffffffu;
    expectRefused(p, kSarvikErrIo, "beyond the limit");
  }
  Parts text = makeEmpty(kSarvikNetCommand, std::vector<uint8_t>(kSarvikNetMaxText));
  sn::Message m;
  sn::CodecError e;
  EXPECT_EQ(decode(text, m, e), 0);
  std::vector<uint8_t> head;
  EXPECT_EQ(sn::encodeHead(kSarvikNetCommand, 0, 0, 0, nullptr, kSarvikNetMaxText + 1, head), kSarvikErrArgument);
  EXPECT_EQ(sn::encodeHead(0, 0, 0, 0, nullptr, 0, head), kSarvikErrArgument);
  EXPECT_EQ(sn::encodeHead(kSarvikNetSetMode, 0, 0, 0, nullptr, 0, head), kSarvikErrArgument);
}

TEST(NetCodec, PropertiesKeepThePublicLengths) {
  struct Case {
    SarvikNetProperty record;
    size_t bodyBytes;
    const char* word;  // null: accepted
  } cases[] = {
      {{kSarvikPropertyDeviceInfo, 82}, 82, nullptr},
      {{kSarvikPropertyDeviceInfo, 80}, 80, "is 82 bytes"},
      {{kSarvikPropertyIntrinsicsBase + 2, 24}, 24, nullptr},
      {{kSarvikPropertyPlaybackSeekIndex, 4}, 4, "is 8 bytes"},
      {{kSarvikPropertyList, 128}, 128, nullptr},
      {{kSarvikPropertyList, 100}, 100, "whole entries"},
      {{kSarvikPropertyStreamFlagMode, 4}, 3, "carries 3"},
      {{kSarvikPropertyStreamFlagMode, 0xfffffff0u}, 0, "beyond the limit"},
      {{9, 12}, 12, nullptr},  // free storage: any length within the limit
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.record.id);
    for (uint16_t type : {kSarvikNetGetProperty, kSarvikNetSetProperty}) {
      Parts p = make(type, &c.record, std::vector<uint8_t>(c.bodyBytes, 0));
      if (c.word) {
        expectRefused(p, kSarvikErrIo, c.word);
      } else {
        sn::Message m;
        sn::CodecError e;
        EXPECT_EQ(decode(p, m, e), 0) << e.reason;
      }
    }
  }
  EXPECT_EQ(sarvikNetPropertyBytes(kSarvikPropertyList), 0u);
  EXPECT_EQ(sarvikNetPropertyBytes(kSarvikPropertyV4l2First + 1), 4u);
}

TEST(NetCodec, OtherBodiesAreChecked) {
  SarvikNetSensor sensor{1};
  expectRefused(make(kSarvikNetModeList, &sensor, std::vector<uint8_t>(25)), kSarvikErrIo, "whole modes");
  expectRefused(makeEmpty(kSarvikNetError, {'x'}, 0), kSarvikErrIo, "error status");
  Parts open = makeEmpty(kSarvikNetOpen);
  open.body = {'x'};
  headerOf(open).bodyBytes = 1;
  expectRefused(open, kSarvikErrIo, "beyond the limit");
}

TEST(NetCodec, CameraListsThatLieAreRefused) {
  auto decodeList = [](const Parts& p, sn::CodecError& e) {
    sn::Message m;
    std::vector<sn::Camera> cams;
    int32_t s = decode(p, m, e);
    if (s == 0) s = sn::decodeCameras(m, cams, e);
    if (s != 0) {
      EXPECT_TRUE(cams.empty());
    }
    return s;
  };
  sn::CodecError e;
  Parts many = hello();
  reinterpret_cast<SarvikNetHello*>(many.head.data() + sizeof(SarvikNetHeader))->cameraCount = 1000000000u;
  EXPECT_EQ(decodeList(many, e), kSarvikErrIo);
  EXPECT_NE(e.reason.find("1000000000 cameras"), std::string::npos) << e.reason;

  Parts modes = hello();
  reinterpret_cast<SarvikNetCamera*>(modes.body.data())->modeCount = 0xffffffffu;
  EXPECT_EQ(decodeList(modes, e), kSarvikErrIo);
  EXPECT_NE(e.reason.find("modes"), std::string::npos) << e.reason;

  Parts cut = hello();
  reinterpret_cast<SarvikNetCamera*>(cut.body.data())->modeCount = 5;
  EXPECT_EQ(decodeList(cut, e), kSarvikErrIo);
  EXPECT_NE(e.reason.find("truncated"), std::string::npos) << e.reason;

  Parts trailing = hello();
  trailing.body.push_back(0);
  headerOf(trailing).bodyBytes += 1;
  EXPECT_EQ(decodeList(trailing, e), kSarvikErrIo);
  EXPECT_NE(e.reason.find("after the last camera"), std::string::npos) << e.reason;

  // Texts without their NUL are cut short, never read past.
  Parts unterminated = hello();
  auto* entry = reinterpret_cast<SarvikNetCamera*>(unterminated.body.data());
  std::memset(entry->serial, 'S', sizeof entry->serial);
  sn::Message m;
  std::vector<sn::Camera> cams;
  ASSERT_EQ(decode(unterminated, m, e), 0);
  ASSERT_EQ(sn::decodeCameras(m, cams, e), 0);
  EXPECT_EQ(std::strlen(cams[0].entry.serial), sizeof entry->serial - 1);

  std::vector<sn::Camera> tooMany(kSarvikNetMaxCameras + 1);
  std::vector<uint8_t> head, body;
  EXPECT_EQ(sn::encodeCameras(kSarvikNetHello, 0, 0, tooMany, head, body), kSarvikErrArgument);
}

// Random bytes, and every single-byte change of a valid hello and frame:
// each either decodes or is refused with a reason, and nothing reads outside.
TEST(NetCodec, RandomAndMutatedInputNeverMisbehaves) {
  auto check = [](const Parts& p) {
    sn::Message m;
    sn::CodecError e;
    int32_t s = decode(p, m, e, 4096);
    if (s == 0 && (m.header.type == kSarvikNetHello || m.header.type == kSarvikNetList)) {
      std::vector<sn::Camera> cams;
      s = sn::decodeCameras(m, cams, e);
    }
    if (s != 0) {
      EXPECT_FALSE(e.reason.empty());
    }
  };
  std::mt19937 rng(18);
  for (int i = 0; i < 20000; ++i) {
    Parts p;
    p.head.resize(rng() % 64);
    p.body.resize(rng() % 64);
    for (auto& b : p.head) b = static_cast<uint8_t>(rng());
    for (auto& b : p.body) b = static_cast<uint8_t>(rng());
    if (p.head.size() >= 8 && rng() % 2) {  // get past the magic and version often
      const uint32_t magic = kSarvikNetMagic;
      std::memcpy(p.head.data(), &magic, 4);
      p.head[4] = 1;
      p.head[5] = 0;
    }
    check(p);
  }
  Parts frame;
  ASSERT_EQ(sn::encodeFrameHead(0, frameHeader(4, 4, SARVIK_PIXEL_RGB24), frame.head), 0);
  frame.body.assign(48, 1);
  for (const Parts& base : {hello(), frame}) {
    for (size_t at = 0; at < base.head.size() + base.body.size(); ++at) {
      for (uint8_t value : {uint8_t{0}, uint8_t{0xff}, uint8_t{0x80}}) {
        Parts p = base;
        (at < p.head.size() ? p.head[at] : p.body[at - p.head.size()]) = value;
        check(p);
      }
    }
  }
}
