// The frame stream as a browser sees it: one chunked response of messages,
// read here with an HTTP client on 127.0.0.1.
#include <cstring>
#include <map>

#include "frame_message.h"
#include "viewer_fixture.h"

namespace viewer_test {
namespace {

using sarvik_viewer::FrameMessageHeader;

// Reads the stream until `enough` says so (or 20 s pass); collects headers
// and checks that every message is whole and well formed.
struct StreamReading {
  std::vector<FrameMessageHeader> headers;
  std::string buffer;
  bool malformed = false;

  bool take(const char* data, size_t length) {
    buffer.append(data, length);
    size_t at = 0;
    while (buffer.size() - at >= sizeof(FrameMessageHeader)) {
      FrameMessageHeader header;
      std::memcpy(&header, buffer.data() + at, sizeof header);
      if (std::memcmp(header.magic, "SVF1", 4) != 0 || header.headerBytes != sizeof header) {
        malformed = true;
        return false;
      }
      if (buffer.size() - at < sizeof header + header.payloadBytes) break;
      if (header.kind != sarvik_viewer::kKindKeepAlive) headers.push_back(header);
      at += sizeof header + header.payloadBytes;
    }
    buffer.erase(0, at);
    return true;
  }

  size_t count(uint32_t kind) const {
    size_t n = 0;
    for (const auto& h : headers) n += h.kind == kind;
    return n;
  }
};

StreamReading readStream(httplib::Client& client, const std::string& path,
                         const std::function<bool(const StreamReading&)>& enough, int* status = nullptr) {
  StreamReading reading;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  auto result = client.Get(path.c_str(), [&](const char* data, size_t length) {
    return reading.take(data, length) && !enough(reading) && std::chrono::steady_clock::now() < deadline;
  });
  if (status != nullptr) *status = result ? result->status : -1;
  return reading;
}

TEST_F(ViewerTest, StreamCarriesWholeFramesOfTheStartedSensors) {
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);
  ASSERT_EQ(post("/api/start", {{"sensor", "color"}}), 200);
  auto client = makeClient();
  StreamReading reading = readStream(*client, "/api/stream?kinds=color,depth,cloud", [](const StreamReading& r) {
    return r.count(SARVIK_STREAM_DEPTH) >= 10 && r.count(SARVIK_STREAM_COLOR) >= 10 && r.count(sarvik_viewer::kKindCloud) >= 2;
  });
  EXPECT_FALSE(reading.malformed);
  ASSERT_GE(reading.count(SARVIK_STREAM_DEPTH), 10u);
  ASSERT_GE(reading.count(SARVIK_STREAM_COLOR), 10u);
  ASSERT_GE(reading.count(sarvik_viewer::kKindCloud), 2u);
  std::map<uint32_t, uint32_t> lastSequence;
  for (const FrameMessageHeader& h : reading.headers) {
    if (h.kind == SARVIK_STREAM_DEPTH) {
      EXPECT_EQ(h.width, 640u);
      EXPECT_EQ(h.height, 480u);
      EXPECT_EQ(h.format, SARVIK_PIXEL_DEPTH16);
      EXPECT_EQ(h.payloadBytes, 640u * 480 * 2);
      EXPECT_GT(h.frameStamp, 0u);
    } else if (h.kind == SARVIK_STREAM_COLOR) {
      EXPECT_EQ(h.payloadBytes, 640u * 480 * 3);
    } else if (h.kind == sarvik_viewer::kKindCloud) {
      // Every fourth pixel each way at most, and the wall is in view.
      EXPECT_LE(h.width, 160u * 120);
      EXPECT_GT(h.width, 1000u);
      EXPECT_EQ(h.payloadBytes, h.width * 12);
    }
    EXPECT_GT(h.sequence, lastSequence[h.kind]);  // newest wins: never an older one
    lastSequence[h.kind] = h.sequence;
  }
}

TEST_F(ViewerTest, APageThatAcknowledgesGetsOnlyTwoFramesAhead) {
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);
  std::atomic<uint64_t> id{0};
  std::atomic<size_t> frames{0};
  std::atomic<bool> running{true};
  std::thread page([&] {
    auto client = makeClient();
    StreamReading reading;
    client->Get(
        "/api/stream?ack=1&kinds=depth",
        [&](const httplib::Response& response) {
          if (response.has_header("X-Sarvik-Stream")) id = std::stoull(response.get_header_value("X-Sarvik-Stream"));
          return true;
        },
        [&](const char* data, size_t length) {
          const bool ok = reading.take(data, length);
          frames = reading.count(SARVIK_STREAM_DEPTH);
          return ok && running.load();
        });
  });
  ASSERT_TRUE(eventually([&] { return frames.load() == 2; }));
  // The camera runs on, but nothing more comes until the page says it drew one.
  const uint64_t shown = framesOf("depth");
  ASSERT_TRUE(eventually([&] { return framesOf("depth") > shown + 5; }));
  EXPECT_EQ(frames.load(), 2u);
  ASSERT_NE(id.load(), 0u);
  EXPECT_EQ(post("/api/ack", {{"stream", id.load()}, {"acks", {{"depth", 1}}}}), 200);
  ASSERT_TRUE(eventually([&] { return frames.load() == 3; }));
  // However many it acknowledges at once, it is never more than two ahead.
  EXPECT_EQ(post("/api/ack", {{"stream", id.load()}, {"acks", {{"depth", 1000}}}}), 200);
  ASSERT_TRUE(eventually([&] { return frames.load() == 5; }));
  EXPECT_EQ(frames.load(), 5u);

  EXPECT_EQ(post("/api/ack", {{"stream", 999999}, {"acks", {{"depth", 1}}}}), 404);
  EXPECT_EQ(post("/api/ack", {{"stream", id.load()}, {"acks", {{"sonar", 1}}}}), 400);
  EXPECT_EQ(post("/api/ack", {{"stream", id.load()}, {"acks", {{"depth", -1}}}}), 400);
  EXPECT_EQ(post("/api/ack", {{"stream", id.load()}}), 400);
  running = false;
  EXPECT_EQ(post("/api/ack", {{"stream", id.load()}, {"acks", {{"depth", 1}}}}), 200);  // wakes the page's reader
  page.join();
  ASSERT_TRUE(eventually([&] { return m_server->pages() == 0; }));
}

TEST_F(ViewerTest, BadKindsAreRefused) {
  auto client = makeClient();
  for (const char* kinds : {"", "sonar", "depth,,color", "depth,"}) {
    auto result = client->Get(("/api/stream?kinds=" + std::string(kinds)).c_str());
    ASSERT_TRUE(result) << kinds;
    EXPECT_EQ(result->status, 400) << kinds;
  }
}

TEST_F(ViewerTest, TwoBrowsersBothGetFramesAndAThirdIsTurnedAway) {
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);
  std::atomic<bool> firstRunning{true};
  StreamReading first;
  std::thread firstPage([&] {
    auto client = makeClient();
    first = readStream(*client, "/api/stream?kinds=depth", [&](const StreamReading&) { return !firstRunning.load(); });
  });
  ASSERT_TRUE(eventually([&] { return m_server->pages() == 1; }));
  std::atomic<bool> secondRunning{true};
  std::thread secondPage([&] {
    auto client = makeClient();
    readStream(*client, "/api/stream?kinds=depth", [&](const StreamReading&) { return !secondRunning.load(); });
  });
  ASSERT_TRUE(eventually([&] { return m_server->pages() == 2; }));
  // The limit of this server is two pages.
  auto client = makeClient();
  auto refused = client->Get("/api/stream?kinds=depth");
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->status, 503);
  EXPECT_NE(refused->body.find("too many pages"), std::string::npos);
  // The API is still served while both pages stream.
  EXPECT_EQ(get("/api/status"), 200);
  secondRunning = false;
  ASSERT_TRUE(eventually([&] { return m_server->pages() == 1; }));
  firstRunning = false;
  firstPage.join();
  secondPage.join();
  EXPECT_GE(first.count(SARVIK_STREAM_DEPTH), 1u);
  ASSERT_TRUE(eventually([&] { return m_server->pages() == 0; }));
}

TEST_F(ViewerTest, ABrowserClosingMidStreamFreesItsPlace) {
  ASSERT_EQ(post("/api/start", {{"sensor", "color"}}), 200);
  ASSERT_EQ(get("/api/status"), 200);
  const int threadsBefore = threadCount();
  for (int round = 0; round < 5; ++round) {
    // The server notices a closed page at its next write or keep-alive.
    ASSERT_TRUE(eventually([&] { return m_server->pages() == 0; }));
    auto client = makeClient();
    // Hang up in the middle of a frame: after the first few kilobytes.
    size_t received = 0;
    client->Get("/api/stream?kinds=color", [&](const char*, size_t length) {
      received += length;
      return received < 5000;
    });
    EXPECT_GE(received, 5000u);
  }
  ASSERT_TRUE(eventually([&] { return m_server->pages() == 0; }));
  // A page that closes while no frame flows is noticed by the keep-alive.
  ASSERT_EQ(post("/api/stop", {{"sensor", "color"}}), 200);
  {
    auto client = makeClient();
    client->Get("/api/stream?kinds=ir", [&](const char*, size_t) { return false; });
  }
  ASSERT_TRUE(eventually([&] { return m_server->pages() == 0; }));
  EXPECT_TRUE(eventually([&] { return threadCount() <= threadsBefore; })) << threadCount() << " > " << threadsBefore;
  // And streaming works again afterwards.
  ASSERT_EQ(post("/api/start", {{"sensor", "color"}}), 200);
  auto client = makeClient();
  StreamReading again = readStream(*client, "/api/stream?kinds=color",
                                   [](const StreamReading& r) { return r.count(SARVIK_STREAM_COLOR) >= 3; });
  EXPECT_GE(again.count(SARVIK_STREAM_COLOR), 3u);
}

TEST_F(ViewerTest, StoppingTheServerEndsOpenStreams) {
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);
  std::thread page([&] {
    auto client = makeClient();
    readStream(*client, "/api/stream?kinds=depth", [](const StreamReading&) { return false; });
  });
  ASSERT_TRUE(eventually([&] { return m_server->pages() == 1; }));
  m_server->stop();  // must not wait for the page to go
  page.join();
  EXPECT_EQ(m_server->pages(), 0);
}

}  // namespace
}  // namespace viewer_test
