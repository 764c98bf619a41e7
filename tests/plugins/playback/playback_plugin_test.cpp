// Record files as cameras of the USB plug-in, driven the way the module
// drives it: listing, run-time "play", the frames and their bytes, pacing,
// loop, pause, seek, the end of a file, damaged and vanishing files, and
// several files at once.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>

#include "plugins/playback/playback_backend.h"
#include "plugins/simcam/simcam_harness.h"
#include "record_maker.h"
#include "sarvik/SarvikCamera.h"

namespace {

using simcamtest::Driver;
using simcamtest::EventLog;
using simcamtest::FakeAllocator;
using simcamtest::Plugin;
using simcamtest::TempDir;
using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(10);

// Checks every frame's bytes against the pattern of its stamp.
class CheckingSink {
 public:
  static void onFrame(sarvik::SarvikFrameRef* frame, void* user) {
    CheckingSink* self = static_cast<CheckingSink*>(user);
    playbacktest::EntrySpec spec{static_cast<uint16_t>(frame->streamType), frame->width, frame->height,
                                 frame->width * frame->height == 0 ? 0 : frame->dataSize / (frame->width * frame->height),
                                 frame->frameStamp};
    std::vector<uint8_t> expected = playbacktest::patternOf(spec);
    bool same = expected.size() == frame->dataSize && std::memcmp(expected.data(), frame->data, expected.size()) == 0;
    std::lock_guard<std::mutex> lock(self->m_lock);
    self->m_stamps.push_back(frame->frameStamp);
    if (!same) ++self->m_mismatches;
    self->m_changed.notify_all();
  }
  bool waitFor(size_t count) {
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, kPatience, [&] { return m_stamps.size() >= count; });
  }
  std::vector<uint64_t> stamps() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_stamps;
  }
  size_t mismatches() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_mismatches;
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<uint64_t> m_stamps;
  size_t m_mismatches = 0;
};

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value) : m_name(name) { setenv(name, value.c_str(), 1); }
  ~ScopedEnv() { unsetenv(m_name); }

 private:
  const char* m_name;
};

template <typename T>
int32_t setValue(sarvik::DeviceInterfaceBase* device, uint32_t id, T value) {
  return device->setProperty(id, &value, sizeof value);
}

template <typename T>
T getValue(sarvik::DeviceInterfaceBase* device, uint32_t id) {
  T value{};
  uint32_t length = sizeof value;
  EXPECT_EQ(device->getProperty(id, &value, &length), 0);
  EXPECT_EQ(length, sizeof value);
  return value;
}

sarvik::StreamInterfaceBase* start(sarvik::DeviceInterfaceBase* device, uint32_t type, FakeAllocator& pool,
                                   CheckingSink& sink) {
  sarvik::StreamInterfaceBase* stream = nullptr;
  if (device->createStream(type, &stream) != 0 || stream == nullptr) return nullptr;
  stream->setNewFrameCallback(&CheckingSink::onFrame, &sink);
  pool.setBufferSize(stream->getFrameBufferSize());
  stream->setFrameAllocator(&pool);
  return stream->start() == 0 ? stream : nullptr;
}

bool waitUntil(const std::function<bool()>& condition) {
  auto end = Clock::now() + kPatience;
  while (Clock::now() < end) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return condition();
}

std::vector<typedefSarvikDeviceInfo> listed(Driver& driver) {
  std::vector<typedefSarvikDeviceInfo> records(60);
  uint32_t count = 60;
  driver->getDeviceList(records.data(), &count);
  records.resize(count);
  return records;
}

bool isListed(Driver& driver, const std::string& uri) {
  for (const auto& r : listed(driver)) {
    if (uri == r.uri) return true;
  }
  return false;
}

// A folder with record files and a USB plug-in that plays them; no
// simulated cameras, so that the table holds only files.
struct Fixture {
  explicit Fixture(const std::string& playFiles = "")
      : noSim("SARVIK_SIM_CAMERAS", "0"), play("SARVIK_PLAY_FILES", playFiles), plugin(dir),
        driver(plugin, &EventLog::onState, &events) {
    events.m_driver = driver.get();
  }
  std::string path(const std::string& name) const { return files.file(name); }
  std::string make(const std::string& name, const std::vector<uint8_t>& bytes) const {
    playbacktest::writeFile(path(name), bytes);
    return path(name);
  }

  TempDir files;
  TempDir dir;
  ScopedEnv noSim;
  ScopedEnv play;
  Plugin plugin;
  EventLog events;
  Driver driver;
};

TEST(PlaybackPluginTest, FilesNamedInTheEnvironmentAreListedAndPlayEveryByteOfEveryEntry) {
  TempDir files;
  std::string a = files.file("a.rec"), b = files.file("b.rec");
  playbacktest::writeFile(a, playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 16, 12, 2, 20, 5000, 33333));
  playbacktest::writeFile(b, playbacktest::makeRecord(SARVIK_STREAM_COLOR, 8, 4, 3, 10, 9000, 33333));
  Fixture f(a + ":" + b + "::relative.rec");
  auto records = listed(f.driver);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(std::string(records[0].uri), "file://" + a);
  EXPECT_EQ(records[0].ConnectionType, 1u);
  EXPECT_EQ(std::string(records[1].name), "Sarvik Playback");

  // Both at once, flat out: every entry in file order with its own bytes.
  sarvik::DeviceInterfaceBase* da = f.driver.open(("file://" + a).c_str());
  sarvik::DeviceInterfaceBase* db = f.driver.open(("file://" + b).c_str());
  ASSERT_NE(da, nullptr);
  ASSERT_NE(db, nullptr);
  uint32_t count = 0;
  EXPECT_EQ(da->getFrameModeList(SARVIK_STREAM_COLOR, 0, reinterpret_cast<uintptr_t>(&count)), kSarvikErrNotFound);
  ASSERT_EQ(da->getFrameModeList(SARVIK_STREAM_DEPTH, 0, reinterpret_cast<uintptr_t>(&count)), 0);
  EXPECT_EQ(count, 1u);
  const typedefSarvikFrameMode* mode = da->getCurrentFrameMode(SARVIK_STREAM_DEPTH);
  ASSERT_NE(mode, nullptr);
  EXPECT_EQ(mode->modeValue1, 16);
  EXPECT_EQ(mode->modeValue2, 30);
  EXPECT_EQ(getValue<uint64_t>(da, kSarvikPropertyPlaybackLength), 20u);
  for (auto* d : {da, db}) ASSERT_EQ(setValue<float>(d, kSarvikPropertyPlaybackSpeed, 0.0f), 0);
  FakeAllocator poolA, poolB;
  CheckingSink sinkA, sinkB;
  ASSERT_NE(start(da, SARVIK_STREAM_DEPTH, poolA, sinkA), nullptr);
  ASSERT_NE(start(db, SARVIK_STREAM_COLOR, poolB, sinkB), nullptr);
  ASSERT_TRUE(sinkA.waitFor(20));
  ASSERT_TRUE(sinkB.waitFor(10));
  EXPECT_EQ(sinkA.mismatches(), 0u);
  EXPECT_EQ(sinkB.mismatches(), 0u);
  for (size_t i = 0; i < 20; ++i) EXPECT_EQ(sinkA.stamps()[i], 5000 + i * 33333);
  f.driver->closeDevice(&da);
  f.driver->closeDevice(&db);
}

TEST(PlaybackPluginTest, PlayAtRunTimeIsAnsweredByAnEventAndBadPathsAreRefusedWithout) {
  Fixture f;
  std::string good = f.make("good.rec", playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 4, 4, 2, 3, 0, 1000));
  std::string random = f.make("random.rec", std::vector<uint8_t>(1000, 0x5A));
  std::string empty = f.make("empty.rec", {});
  std::string longName = f.files.path() + "/" + std::string(240, 'n') + ".rec";
  playbacktest::writeFile(longName, playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 4, 4, 2, 3, 0, 1000));
  const std::string refused[] = {random, empty, "relative.rec", "/nonexistent/x.rec", "/dev/video0",
                                 f.files.path() + "/dev/video3.rec", f.files.path(), ""};
  for (const std::string& path : refused) EXPECT_EQ(f.driver->setText("play " + path), kSarvikErrArgument) << path;
  ASSERT_EQ(f.driver->setText("play " + good), 0);
  ASSERT_TRUE(f.events.waitFor(1));
  auto event = f.events.events()[0];
  EXPECT_EQ(event.uri, "file://" + good);  // the first event is the good file's: no event for the refused
  EXPECT_EQ(event.state, 0u);
  EXPECT_NE(event.thread, std::this_thread::get_id());
  EXPECT_EQ(event.listedInside, 1u);
  // A path of 300 characters plays too.
  ASSERT_EQ(f.driver->setText("play " + longName), 0);
  ASSERT_TRUE(f.events.waitFor(2));
  EXPECT_TRUE(isListed(f.driver, "file://" + longName));
  // Playing a listed file again changes nothing.
  EXPECT_EQ(f.driver->setText("play " + good), 0);
  EXPECT_EQ(f.driver->setText("unplay " + good), 0);
  ASSERT_TRUE(f.events.waitFor(3));
  EXPECT_EQ(f.events.events()[2].state, 1u);
  EXPECT_EQ(f.events.events().size(), 3u);
  EXPECT_FALSE(isListed(f.driver, "file://" + good));
  EXPECT_EQ(f.driver->setText("unplay " + good), kSarvikErrArgument);
  EXPECT_EQ(f.driver->setText("something else"), 0);  // for no back end: kept, as before
}

TEST(PlaybackPluginTest, TheEndOfAFileIsAnUnplugAndClosingBringsTheFileBack) {
  Fixture f;
  std::string path = f.make("short.rec", playbacktest::makeRecord(SARVIK_STREAM_IR, 8, 8, 1, 5, 100, 1000));
  ASSERT_EQ(f.driver->setText("play " + path), 0);
  ASSERT_TRUE(f.events.waitFor(1));
  sarvik::DeviceInterfaceBase* device = f.driver.open(("file://" + path).c_str());
  ASSERT_NE(device, nullptr);
  FakeAllocator pool;
  CheckingSink sink;
  ASSERT_NE(start(device, SARVIK_STREAM_IR, pool, sink), nullptr);
  ASSERT_TRUE(f.events.waitFor(2));
  EXPECT_EQ(f.events.events()[1].state, 1u);
  EXPECT_EQ(f.events.events()[1].listedInside, 0u);
  EXPECT_EQ(sink.stamps().size(), 5u);
  EXPECT_EQ(device->getConnectionState(), 1u);
  EXPECT_EQ(getValue<uint32_t>(device, kSarvikPropertyConnection), 1u);
  f.driver->closeDevice(&device);
  ASSERT_TRUE(f.events.waitFor(3));
  EXPECT_EQ(f.events.events()[2].state, 0u);
  EXPECT_TRUE(isListed(f.driver, "file://" + path));
}

TEST(PlaybackPluginTest, LoopPauseSeekAndSpeedAreControlledThroughPropertiesThatRefuseBadValues) {
  Fixture f;
  std::string path = f.make("ctl.rec", playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 8, 8, 2, 10, 1000, 10000));
  ASSERT_EQ(f.driver->setText("play " + path), 0);
  ASSERT_TRUE(f.events.waitFor(1));
  sarvik::DeviceInterfaceBase* device = f.driver.open(("file://" + path).c_str());
  ASSERT_NE(device, nullptr);

  const std::pair<uint32_t, std::vector<uint8_t>> bad[] = {
      {kSarvikPropertyPlaybackSpeed, {0, 0, 0x80, 0x7f}},  // infinity
      {kSarvikPropertyPlaybackSpeed, {0, 0, 0xc0, 0x7f}},  // NaN
      {kSarvikPropertyPlaybackSpeed, {0, 0, 0x10, 0x41}},  // 9
      {kSarvikPropertyPlaybackSpeed, {0xcd, 0xcc, 0xcc, 0x3d}},  // 0.1
      {kSarvikPropertyPlaybackSpeed, {0, 0}},
      {kSarvikPropertyPlaybackLoop, {2, 0, 0, 0}},
      {kSarvikPropertyPlaybackPaused, {1}},
      {kSarvikPropertyPlaybackSeekIndex, {10, 0, 0, 0, 0, 0, 0, 0}},  // one past the last
      {kSarvikPropertyPlaybackSeekStamp, {0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0}},
  };
  for (const auto& c : bad) {
    std::vector<uint8_t> value = c.second;
    EXPECT_EQ(device->setProperty(c.first, value.data(), static_cast<uint32_t>(value.size())), kSarvikErrArgument)
        << std::hex << c.first;
  }
  EXPECT_FLOAT_EQ(getValue<float>(device, kSarvikPropertyPlaybackSpeed), 1.0f);  // nothing changed
  EXPECT_NE(setValue<uint64_t>(device, kSarvikPropertyPlaybackLength, 3), 0);   // read only
  EXPECT_NE(setValue<uint64_t>(device, kSarvikPropertyPlaybackPosition, 3), 0);

  // Paused before starting; seek to the entry stamped 61000 (index 6).
  ASSERT_EQ(setValue<uint32_t>(device, kSarvikPropertyPlaybackPaused, 1), 0);
  ASSERT_EQ(setValue<uint64_t>(device, kSarvikPropertyPlaybackSeekStamp, 55000), 0);
  EXPECT_EQ(getValue<uint64_t>(device, kSarvikPropertyPlaybackPosition), 6u);
  ASSERT_EQ(setValue<uint32_t>(device, kSarvikPropertyPlaybackLoop, 1), 0);
  ASSERT_EQ(setValue<float>(device, kSarvikPropertyPlaybackSpeed, 8.0f), 0);
  FakeAllocator pool;
  CheckingSink sink;
  ASSERT_NE(start(device, SARVIK_STREAM_DEPTH, pool, sink), nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_TRUE(sink.stamps().empty()) << "paused plays nothing";
  ASSERT_EQ(setValue<uint32_t>(device, kSarvikPropertyPlaybackPaused, 0), 0);
  // 6..9, then the loop starts over at 0: more entries than the file has.
  ASSERT_TRUE(sink.waitFor(16));
  std::vector<uint64_t> stamps = sink.stamps();
  EXPECT_EQ(stamps[0], 61000u);
  EXPECT_EQ(stamps[4], 1000u);
  EXPECT_EQ(stamps[13], 91000u);
  EXPECT_EQ(stamps[14], 1000u);
  EXPECT_EQ(sink.mismatches(), 0u);
  EXPECT_EQ(device->getConnectionState(), 0u);

  // Pause holds: the count stops growing (at most the entry in flight follows).
  ASSERT_EQ(setValue<uint32_t>(device, kSarvikPropertyPlaybackPaused, 1), 0);
  size_t atPause = sink.stamps().size();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  size_t later = sink.stamps().size();
  EXPECT_LE(later, atPause + 1);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(sink.stamps().size(), later);

  // Seek by index while paused: the next entry played is that one.
  ASSERT_EQ(setValue<uint64_t>(device, kSarvikPropertyPlaybackSeekIndex, 2), 0);
  ASSERT_EQ(setValue<uint32_t>(device, kSarvikPropertyPlaybackPaused, 0), 0);
  ASSERT_TRUE(sink.waitFor(later + 1));
  EXPECT_EQ(sink.stamps()[later], 21000u);
  f.driver->closeDevice(&device);
}

TEST(PlaybackPluginTest, RealTimePacingFollowsTheStampsAndSpeedScalesIt) {
  Fixture f;
  // 21 entries 20 ms apart: 400 ms of recording.
  std::string path = f.make("paced.rec", playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 4, 4, 2, 21, 0, 20000));
  ASSERT_EQ(f.driver->setText("play " + path), 0);
  ASSERT_TRUE(f.events.waitFor(1));
  for (float speed : {1.0f, 4.0f}) {
    sarvik::DeviceInterfaceBase* device = f.driver.open(("file://" + path).c_str());
    ASSERT_NE(device, nullptr);
    ASSERT_EQ(setValue<float>(device, kSarvikPropertyPlaybackSpeed, speed), 0);
    FakeAllocator pool;
    CheckingSink sink;
    auto begin = Clock::now();
    ASSERT_NE(start(device, SARVIK_STREAM_DEPTH, pool, sink), nullptr);
    ASSERT_TRUE(sink.waitFor(21));
    double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    // A lower bound only: a loaded machine may be slower, never faster.
    EXPECT_GE(seconds, 0.4 / speed * 0.9) << "speed " << speed;
    EXPECT_EQ(sink.stamps().size(), 21u) << "none lost at real-time pacing";
    f.driver->closeDevice(&device);
    ASSERT_TRUE(waitUntil([&] { return isListed(f.driver, "file://" + path); }));
  }
}

TEST(PlaybackPluginTest, ADamagedTailPlaysUpToTheLastWholeEntryAndThenEnds) {
  Fixture f;
  std::vector<uint8_t> bytes = playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 8, 8, 2, 6, 0, 1000);
  bytes.resize(bytes.size() - 30);                       // the last entry is cut
  bytes.insert(bytes.end(), {0xde, 0xad, 0xbe, 0xef});  // and garbage follows
  std::string path = f.make("cut.rec", bytes);
  ASSERT_EQ(f.driver->setText("play " + path), 0);
  ASSERT_TRUE(f.events.waitFor(1));
  sarvik::DeviceInterfaceBase* device = f.driver.open(("file://" + path).c_str());
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(getValue<uint64_t>(device, kSarvikPropertyPlaybackLength), 5u);
  ASSERT_EQ(setValue<float>(device, kSarvikPropertyPlaybackSpeed, 0.0f), 0);
  FakeAllocator pool;
  CheckingSink sink;
  ASSERT_NE(start(device, SARVIK_STREAM_DEPTH, pool, sink), nullptr);
  ASSERT_TRUE(f.events.waitFor(2));
  EXPECT_EQ(sink.stamps().size(), 5u);
  EXPECT_EQ(sink.mismatches(), 0u);
  f.driver->closeDevice(&device);
}

TEST(PlaybackPluginTest, AFileThatShrinksOrVanishesEndsItsCameraWithoutACrash) {
  Fixture f;
  std::string shrinking = f.make("shrink.rec", playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 8, 8, 2, 50, 0, 20000));
  std::string vanishing = f.make("vanish.rec", playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 8, 8, 2, 50, 0, 20000));
  ASSERT_EQ(f.driver->setText("play " + shrinking), 0);
  ASSERT_EQ(f.driver->setText("play " + vanishing), 0);
  ASSERT_TRUE(f.events.waitFor(2));
  sarvik::DeviceInterfaceBase* a = f.driver.open(("file://" + shrinking).c_str());
  sarvik::DeviceInterfaceBase* b = f.driver.open(("file://" + vanishing).c_str());
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  FakeAllocator poolA, poolB;
  CheckingSink sinkA, sinkB;
  ASSERT_NE(start(a, SARVIK_STREAM_DEPTH, poolA, sinkA), nullptr);
  ASSERT_NE(start(b, SARVIK_STREAM_DEPTH, poolB, sinkB), nullptr);
  ASSERT_TRUE(sinkA.waitFor(2));
  ASSERT_TRUE(sinkB.waitFor(2));
  ASSERT_EQ(truncate(shrinking.c_str(), 100), 0);
  ASSERT_EQ(unlink(vanishing.c_str()), 0);
  EXPECT_TRUE(waitUntil([&] { return a->getConnectionState() == 1 && b->getConnectionState() == 1; }));
  EXPECT_TRUE(f.events.waitFor(4));
  EXPECT_FALSE(isListed(f.driver, "file://" + vanishing));
  EXPECT_EQ(sinkA.mismatches(), 0u);
  f.driver->closeDevice(&a);
  f.driver->closeDevice(&b);
  EXPECT_FALSE(isListed(f.driver, "file://" + vanishing));
}

TEST(PlaybackPluginTest, ASidecarMakesTheFileAnswerLikeTheRecordedCamera) {
  Fixture f;
  std::string path = f.make("side.rec", playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 8, 6, 2, 3, 0, 1000));
  std::string json = R"({"sidecar":1,"camera":{"name":"Desk Camera","serial":"SN42","firmware":"FW 1.2"},
    "depthUnit":{"encoding":0,"metresPerUnit":0.00025},
    "streams":[{"streamType":2,"width":8,"height":6,"fps":15,"intrinsics":{"fx":5,"fy":6,"cx":3.5,"cy":2.5}}]})";
  playbacktest::writeFile(path + ".json", std::vector<uint8_t>(json.begin(), json.end()));
  ASSERT_EQ(f.driver->setText("play " + path), 0);
  ASSERT_TRUE(f.events.waitFor(1));
  EXPECT_EQ(f.events.events()[0].serial, "SN42");
  auto records = listed(f.driver);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_STREQ(records[0].name, "Desk Camera");
  sarvik::DeviceInterfaceBase* device = f.driver.open(("file://" + path).c_str());
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(device->getCurrentFrameMode(SARVIK_STREAM_DEPTH)->modeValue2, 15);
  SarvikIntrinsics k = getValue<SarvikIntrinsics>(device, kSarvikPropertyIntrinsicsBase + SARVIK_STREAM_DEPTH);
  EXPECT_EQ(k.width, 8u);
  EXPECT_FLOAT_EQ(k.fy, 6.0f);
  SarvikDepthUnit unit = getValue<SarvikDepthUnit>(device, kSarvikPropertyDepthUnit);
  EXPECT_FLOAT_EQ(unit.metresPerUnit, 0.00025f);
  SarvikDeviceInfoBlock info = getValue<SarvikDeviceInfoBlock>(device, kSarvikPropertyDeviceInfo);
  EXPECT_STREQ(info.serialNumber, "SN42");
  EXPECT_EQ(info.sensorMask, SARVIK_STREAM_DEPTH);
  char reply[32];
  uint32_t room = sizeof reply;
  ASSERT_EQ(device->sendCommand(const_cast<char*>("version"), 7, reinterpret_cast<uintptr_t>(reply),
                                reinterpret_cast<uintptr_t>(&room)), 0);
  EXPECT_STREQ(reply, "FW 1.2");
  // Without intrinsics for colour, or for a sensor it lacks: clear statuses.
  uint32_t length = sizeof k;
  EXPECT_EQ(device->getProperty(kSarvikPropertyIntrinsicsBase + SARVIK_STREAM_COLOR, &k, &length),
            kSarvikErrNotFound);
  f.driver->closeDevice(&device);
}

}  // namespace

namespace {

TEST(PlaybackPluginTest, NewCamerasStartWithTheSpeedAndLoopTheEnvironmentSets) {
  ScopedEnv speed("SARVIK_PLAY_SPEED", "0");
  ScopedEnv loop("SARVIK_PLAY_LOOP", "1");
  Fixture f;
  std::string path = f.make("env.rec", playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 4, 4, 2, 3, 0, 1000));
  ASSERT_EQ(f.driver->setText("play " + path), 0);
  ASSERT_TRUE(f.events.waitFor(1));
  sarvik::DeviceInterfaceBase* device = f.driver.open(("file://" + path).c_str());
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(getValue<float>(device, kSarvikPropertyPlaybackSpeed), 0.0f);
  EXPECT_EQ(getValue<uint32_t>(device, kSarvikPropertyPlaybackLoop), 1u);
  f.driver->closeDevice(&device);
}

TEST(PlaybackPluginTest, DefaultsOutOfRangeAreReportedAndLeftOut) {
  std::vector<std::string> errors;
  playback::PlaybackDefaults d = playback::PlaybackBackend::defaultsFrom("0.5", "yes", &errors);
  EXPECT_FLOAT_EQ(d.speed, 0.5f);
  EXPECT_TRUE(d.loop);
  EXPECT_TRUE(errors.empty());
  d = playback::PlaybackBackend::defaultsFrom("9", "2", &errors);
  EXPECT_FLOAT_EQ(d.speed, 1.0f);
  EXPECT_FALSE(d.loop);
  EXPECT_EQ(errors.size(), 2u);
  d = playback::PlaybackBackend::defaultsFrom("fast", "", &errors);
  EXPECT_FLOAT_EQ(d.speed, 1.0f);
  EXPECT_EQ(errors.size(), 3u);
}

}  // namespace

namespace {

TEST(PlaybackPluginTest, ControlsChangedWhileFramesFlowNeverTearAFrameOrStopTheStream) {
  Fixture f;
  std::string path = f.make("busy.rec", playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 16, 16, 2, 40, 0, 1000));
  ASSERT_EQ(f.driver->setText("play " + path), 0);
  ASSERT_TRUE(f.events.waitFor(1));
  sarvik::DeviceInterfaceBase* device = f.driver.open(("file://" + path).c_str());
  ASSERT_NE(device, nullptr);
  ASSERT_EQ(setValue<uint32_t>(device, kSarvikPropertyPlaybackLoop, 1), 0);
  ASSERT_EQ(setValue<float>(device, kSarvikPropertyPlaybackSpeed, 0.0f), 0);
  FakeAllocator pool;
  pool.m_failEvery = 7;  // a pool that sometimes has nothing to give
  CheckingSink sink;
  sarvik::StreamInterfaceBase* stream = start(device, SARVIK_STREAM_DEPTH, pool, sink);
  ASSERT_NE(stream, nullptr);
  for (uint32_t i = 0; i < 300; ++i) {
    setValue<uint64_t>(device, kSarvikPropertyPlaybackSeekIndex, i % 40);
    setValue<uint64_t>(device, kSarvikPropertyPlaybackSeekStamp, (i * 7919) % 40000);
    setValue<float>(device, kSarvikPropertyPlaybackSpeed, i % 3 == 0 ? 8.0f : 0.0f);
    setValue<uint32_t>(device, kSarvikPropertyPlaybackPaused, i % 5 == 0 ? 1 : 0);
    if (i % 50 == 0) {
      ASSERT_EQ(stream->stop(), 0);
      ASSERT_EQ(stream->start(), 0);
    }
  }
  ASSERT_EQ(setValue<uint32_t>(device, kSarvikPropertyPlaybackPaused, 0), 0);
  size_t before = sink.stamps().size();
  ASSERT_TRUE(sink.waitFor(before + 40));
  EXPECT_EQ(sink.mismatches(), 0u);
  EXPECT_EQ(device->getConnectionState(), 0u);
  ASSERT_EQ(stream->stop(), 0);  // counters hold still only once nothing is in flight
  SarvikDeviceStatus status{};
  status.size = sizeof status;
  ASSERT_EQ(device->queryData(&status), 0);
  EXPECT_EQ(status.sensors[1].sensorType, SARVIK_STREAM_DEPTH);
  EXPECT_EQ(status.sensors[1].produced, status.sensors[1].delivered + status.sensors[1].dropped);
  EXPECT_GT(status.sensors[1].dropped, 0u);
  f.driver->closeDevice(&device);
}

}  // namespace
