// Making and ending streams through the application's interface: the limit of
// 60 streams, what openStream refuses and rolls back, and what closeStream
// and destroyStream do with a started stream or a handle they do not know.
#include <string>
#include <vector>

#include "context/stream_test_support.h"

namespace sarvik_test {
namespace {

using StreamOperations = StreamTest;

constexpr uint32_t kErrStreamCreate = 0x8030059c;
constexpr uint32_t kNamedTypes[] = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR,
                                    SARVIK_STREAM_LIGHT_IR};

sarvik::VideoStream* const kBogusStream = reinterpret_cast<sarvik::VideoStream*>(uintptr_t{0x80});

// Warnings and errors, without the milestones of level 4.
std::vector<LogRecord> complaints(const MemoryLog& log) {
  std::vector<LogRecord> found;
  for (const LogRecord& record : log.records()) {
    if (record.level == 2 || record.level == 3) found.push_back(record);
  }
  return found;
}

TEST_F(StreamOperations, TheSixtyFirstStreamAcrossDevicesIsRefusedUntilOneCloses) {
  startCameras();
  std::vector<sarvik::VideoStream*> streams;
  for (int i = 0; i < 60; ++i) {
    streams.push_back(openStream(i % 2 == 0 ? usbCamera() : netCamera(), kNamedTypes[i % 4]));
  }
  log().clear();
  clearLastError();

  sarvik::VideoStream* refused = nullptr;
  EXPECT_EQ(-5, ctx()->openStream(netCamera(), SARVIK_STREAM_DEPTH, &refused, nullptr, nullptr));
  EXPECT_EQ(kErrTooManyStreams, lastError());
  EXPECT_EQ(nullptr, refused);
  // The limit itself is silent; only openStream says that its step failed.
  const auto loud = complaints(log());
  ASSERT_EQ(1u, loud.size());
  EXPECT_EQ(3, loud[0].level);
  EXPECT_EQ("Create stream failed", loud[0].text);

  // A stream of one device makes room for a stream of the other.
  ASSERT_EQ(0, ctx()->closeStream(streams[0]));
  sarvik::VideoStream* replacement = openStream(netCamera(), SARVIK_STREAM_COLOR);
  EXPECT_NE(nullptr, replacement);
  EXPECT_EQ(-5, ctx()->openStream(usbCamera(), SARVIK_STREAM_COLOR, &refused, nullptr, nullptr));
}

TEST_F(StreamOperations, AnUnnamedStreamTypeIsRefusedEvenBeforeInitialize) {
  load();
  sarvik::Device* const bogusDevice = reinterpret_cast<sarvik::Device*>(uintptr_t{0x40});
  sarvik::VideoStream* stream = kBogusStream;
  EXPECT_EQ(-4, ctx()->openStream(bogusDevice, 3, &stream, nullptr, nullptr));
  EXPECT_TRUE(logged(3, "Can  not open stream[type = 3], Stream Type is Invalid"));
  EXPECT_FALSE(logged(3, "not Initialized! ")) << "the type is looked at before anything else";
  EXPECT_EQ(kBogusStream, stream);
}

TEST_F(StreamOperations, OnlyTheFourNamedTypesReachThePlugin) {
  startCameras();
  uvc().clearCalls();
  for (uint32_t type : {0u, 3u, 8u, 16u, 64u, 0xFFFFFFFFu}) {
    sarvik::VideoStream* stream = nullptr;
    EXPECT_EQ(-4, ctx()->openStream(usbCamera(), type, &stream, nullptr, nullptr)) << type;
    EXPECT_TRUE(logged(3, "Can  not open stream[type = " + std::to_string(static_cast<int32_t>(type)) +
                              "], Stream Type is Invalid"))
        << type;
    EXPECT_EQ(nullptr, stream);
  }
  EXPECT_TRUE(uvc().calls().empty()) << uvc().calls().front();
}

TEST_F(StreamOperations, AFailedPluginStartGivesItsStatusAndFreesTheSlot) {
  startCameras();
  for (int i = 0; i < 59; ++i) openStream(netCamera(), kNamedTypes[i % 4]);
  uvc().setResult(FakeOp::kStreamStart, -7);

  sarvik::VideoStream* stream = kBogusStream;
  EXPECT_EQ(-7, ctx()->openStream(usbCamera(), SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr));
  EXPECT_EQ(nullptr, stream);
  EXPECT_TRUE(logged(3, "Open depth stream failed ,ret = -7"));

  // The roll-back gave the sensor its count back: the next start reaches the
  // plug-in again, and frames flow.
  uvc().setResult(FakeOp::kStreamStart, 0);
  sarvik::VideoStream* sixtieth = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  EXPECT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  typedefSarvikFrame* frame = nullptr;
  ASSERT_EQ(0, ctx()->readFrame(sixtieth, &frame, 0));
  EXPECT_EQ(0, ctx()->releaseFrame(frame));

  sarvik::VideoStream* refused = nullptr;
  EXPECT_EQ(-5, ctx()->openStream(usbCamera(), SARVIK_STREAM_COLOR, &refused, nullptr, nullptr))
      << "the failed stream freed exactly one slot";
}

TEST_F(StreamOperations, APluginThatMakesNoStreamObjectGivesMinus8) {
  startCameras();
  uvc().setCreateStreamNull(true);
  sarvik::VideoStream* stream = kBogusStream;
  EXPECT_EQ(-8, ctx()->openStream(usbCamera(), SARVIK_STREAM_IR, &stream, nullptr, nullptr));
  EXPECT_EQ(nullptr, stream);
  EXPECT_TRUE(logged(3, "Created driver stream failed!"));
  EXPECT_TRUE(logged(3, "Open ir stream failed ,ret = -8"));

  uvc().setCreateStreamNull(false);
  EXPECT_NE(nullptr, openStream(usbCamera(), SARVIK_STREAM_IR)) << "the sensor is asked again";
}

// A type past the device's sensor table is refused before the table is touched.
TEST_F(StreamOperations, CreateRefusesATypeBeyondTheSensorTable) {
  startCameras();
  for (uint32_t type : {64u, 255u, 0xFFFFFFFFu}) {
    clearLastError();
    sarvik::VideoStream* stream = nullptr;
    EXPECT_EQ(-1, createStream(usbCamera(), type, &stream)) << type;
    EXPECT_EQ(kErrStreamCreate, lastError()) << type;
    EXPECT_EQ(nullptr, stream);
  }
  EXPECT_TRUE(logged(3, " Create Stream handle failed!"));

  // createStream itself takes any type the table can hold.
  sarvik::VideoStream* unnamed = nullptr;
  ASSERT_EQ(0, createStream(usbCamera(), 63, &unnamed));
  EXPECT_EQ(0, destroyStream(unnamed));
}

TEST_F(StreamOperations, CloseStreamStopsDestroysAndSaysSo) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_LIGHT_IR);
  log().clear();
  uvc().clearCalls();

  EXPECT_EQ(0, ctx()->closeStream(stream));
  EXPECT_TRUE(has(uvc().calls(), "stop(32)"));
  const auto records = log().records();
  std::vector<std::string> milestones;
  for (const LogRecord& record : records) {
    if (record.level == 4) milestones.push_back(record.text);
    EXPECT_NE(2, record.level) << "no recorder to detach from, nothing to warn of: " << record.text;
  }
  EXPECT_EQ((std::vector<std::string>{"Start stop light ir stream ", "Finish stop stream"}), milestones);
  EXPECT_EQ(-13, ctx()->closeStream(stream));
}

TEST_F(StreamOperations, DestroyingAStartedStreamStopsItFirst) {
  startCameras();
  sarvik::VideoStream* stream = openStream(netCamera(), SARVIK_STREAM_COLOR);
  net().clearCalls();

  EXPECT_EQ(0, destroyStream(stream));
  EXPECT_TRUE(has(net().calls(), "stop(1)"));
  EXPECT_EQ(-1, net().deliverFrame(SARVIK_STREAM_COLOR)) << "the plug-in's stream object is no longer started";
  EXPECT_TRUE(logged(1, "After remove stream, the size=0"));
}

// The handles are a closed stream (freed memory: a read through it is caught
// by the address sanitizer) and an address that cannot be read at all.
TEST_F(StreamOperations, AnUnknownHandleIsRefusedWithoutBeingRead) {
  startCameras();
  sarvik::VideoStream* closed = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  ASSERT_EQ(0, ctx()->closeStream(closed));
  uvc().clearCalls();

  typedefSarvikFrame* frame = nullptr;
  for (sarvik::VideoStream* handle : {closed, kBogusStream, static_cast<sarvik::VideoStream*>(nullptr)}) {
    sarvik::VideoStream* list[1] = {handle};
    const struct {
      const char* name;
      std::function<int32_t()> call;
    } rows[] = {
        {"closeStream", [&] { return ctx()->closeStream(handle); }},
        {"destroyStream", [&] { return destroyStream(handle); }},
        {"startStream", [&] { return startStream(handle); }},
        {"stopStream", [&] { return stopStream(handle); }},
        {"setFrameCallback", [&] { return ctx()->setFrameCallback(handle, nullptr, nullptr); }},
        {"readFrame", [&] { return ctx()->readFrame(handle, &frame, 0); }},
        {"waitForStreams", [&] { return ctx()->waitForStreams(list, 1, nullptr, 0); }},
    };
    for (const auto& row : rows) {
      log().clear();
      clearLastError();
      EXPECT_EQ(-13, row.call()) << row.name;
      EXPECT_EQ(kErrInvalidStream, lastError()) << row.name;
      EXPECT_TRUE(logged(3, "Stream Handle is Valid!")) << row.name;
    }
  }
  EXPECT_EQ(nullptr, frame);
  EXPECT_TRUE(uvc().calls().empty()) << uvc().calls().front();
}

}  // namespace
}  // namespace sarvik_test
