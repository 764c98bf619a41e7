// The JSON API through a real HTTP client on 127.0.0.1, against the
// simulated camera.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <png.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <vector>

#include "sarvik/SarvikRecordFile.h"
#include "viewer_fixture.h"

namespace viewer_test {
namespace {

using nlohmann::json;

TEST_F(ViewerTest, ListsCamerasAndTheOpenOne) {
  json reply;
  ASSERT_EQ(get("/api/devices", &reply), 200);
  EXPECT_EQ(reply["current"], "usb://sim/0");
  ASSERT_GE(reply["devices"].size(), 1u);
  EXPECT_EQ(reply["devices"][0]["serial"], "SIM0U0000001");

  ASSERT_EQ(get("/api/device", &reply), 200);
  EXPECT_EQ(reply["open"], true);
  EXPECT_EQ(reply["sensors"].size(), 4u);
  EXPECT_EQ(reply["sensors"][1]["name"], "depth");
}

TEST_F(ViewerTest, ChoosesACameraByAddressSerialOrIndex) {
  json reply;
  EXPECT_EQ(post("/api/device", {{"address", "net://sim/0"}}), 200);
  ASSERT_EQ(get("/api/device", &reply), 200);
  EXPECT_EQ(reply["address"], "net://sim/0");
  EXPECT_EQ(post("/api/device", {{"address", "SIM0U0000001"}}), 200);
  ASSERT_EQ(get("/api/device", &reply), 200);
  EXPECT_EQ(reply["address"], "usb://sim/0");

  EXPECT_EQ(post("/api/device", {{"address", "usb://sim/9"}}, &reply), 404);
  EXPECT_NE(reply["error"].get<std::string>().find("usb://sim/9"), std::string::npos);
  EXPECT_EQ(post("/api/device", {{"address", "57"}}), 404);
  EXPECT_EQ(post("/api/device", {{"address", std::string(300, 'a')}}), 404);
  EXPECT_EQ(post("/api/device", {{"address", 5}}), 400);
  // A refused choice leaves the open camera as it was.
  ASSERT_EQ(get("/api/device", &reply), 200);
  EXPECT_EQ(reply["address"], "usb://sim/0");
}

TEST_F(ViewerTest, ModesListAndChangeAndRefuseBadOnes) {
  json reply;
  ASSERT_EQ(get("/api/modes?sensor=color", &reply), 200);
  ASSERT_EQ(reply["modes"].size(), 3u);
  EXPECT_EQ(reply["current"], 0);
  EXPECT_EQ(reply["modes"][1]["width"], 1280);
  EXPECT_EQ(reply["modes"][1]["format"], "rgb24");

  ASSERT_EQ(post("/api/start", {{"sensor", "color"}}), 200);
  ASSERT_EQ(post("/api/mode", {{"sensor", "color"}, {"index", 2}}), 200);
  ASSERT_EQ(get("/api/modes?sensor=color", &reply), 200);
  EXPECT_EQ(reply["current"], 2);
  // A running stream restarts in the new mode.
  ASSERT_TRUE(eventually([&] {
    json status;
    get("/api/status", &status);
    return status["streams"].size() == 1 && status["streams"][0]["width"] == 320;
  }));

  EXPECT_EQ(post("/api/mode", {{"sensor", "color"}, {"index", 3}}, &reply), 404);
  EXPECT_NE(reply["error"].get<std::string>().find("no mode 3"), std::string::npos);
  EXPECT_EQ(post("/api/mode", {{"sensor", "color"}, {"index", -1}}), 400);
  EXPECT_EQ(post("/api/mode", {{"sensor", "color"}, {"index", 1e12}}), 400);
  EXPECT_EQ(post("/api/mode", {{"sensor", "color"}, {"index", 4294967296ull}}), 404);
  EXPECT_EQ(post("/api/mode", {{"sensor", "sonar"}, {"index", 0}}), 400);
  EXPECT_EQ(get("/api/modes?sensor="), 400);
  EXPECT_EQ(get("/api/modes"), 400);
}

TEST_F(ViewerTest, StreamsStartStopAndCountFrames) {
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);  // already running: no change
  ASSERT_TRUE(eventually([&] { return framesOf("depth") > 5; }));
  ASSERT_EQ(post("/api/stop", {{"sensor", "depth"}}), 200);
  ASSERT_EQ(post("/api/stop", {{"sensor", "depth"}}), 200);
  json status;
  ASSERT_EQ(get("/api/status", &status), 200);
  EXPECT_TRUE(status["streams"].empty());
  EXPECT_EQ(post("/api/start", {{"sensor", 2}}), 400);
}

TEST_F(ViewerTest, MalformedRequestsGetClearErrorsAndTheServerGoesOn) {
  json reply;
  auto raw = m_client->Post("/api/start", "{\"sensor\": ", "application/json");
  ASSERT_TRUE(raw);
  EXPECT_EQ(raw->status, 400);
  EXPECT_NE(raw->body.find("not a JSON object"), std::string::npos);
  raw = m_client->Post("/api/start", "[1,2]", "application/json");
  ASSERT_TRUE(raw);
  EXPECT_EQ(raw->status, 400);
  std::string noise(4096, '\0');
  for (size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<char>((i * 7919u) & 0xff);
  raw = m_client->Post("/api/property", noise, "application/octet-stream");
  ASSERT_TRUE(raw);
  EXPECT_EQ(raw->status, 400);
  raw = m_client->Post("/api/report", std::string(200 * 1024, ' '), "application/json");
  ASSERT_TRUE(raw);
  EXPECT_EQ(raw->status, 413);
  EXPECT_EQ(get("/api/nothing", &reply), 404);
  EXPECT_NE(reply["error"].get<std::string>().find("/api/nothing"), std::string::npos);
  EXPECT_EQ(get("/../../etc/passwd"), 404);
  EXPECT_EQ(get("/" + std::string(300, 'x') + ".js"), 404);
  EXPECT_EQ(post("/api/property", {{"id", 80}, {"value", 1ll << 40}}), 400);
  EXPECT_EQ(post("/api/property", {{"id", "80"}, {"value", 1}}), 400);

  // Bytes that are not HTTP at all, then a client that hangs up mid-request.
  for (const std::string& junk : {std::string("\x16\x03\x01\x02\x00garbage\r\n\r\n"), std::string("GET /api/dev")}) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(m_server->port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(send(fd, junk.data(), junk.size(), MSG_NOSIGNAL), static_cast<ssize_t>(junk.size()));
    close(fd);
  }
  EXPECT_EQ(get("/api/devices"), 200);
}

TEST_F(ViewerTest, PropertiesOfACameraThatListsNoneAreAnEmptyList) {
  json reply;
  ASSERT_EQ(get("/api/properties", &reply), 200);
  EXPECT_TRUE(reply["properties"].is_array());
  EXPECT_TRUE(reply["intrinsics"].is_object());
  // Ids below 0x100 round-trip on the simulated camera.
  EXPECT_EQ(post("/api/property", {{"id", 80}, {"value", -7}}), 200);
}

TEST_F(ViewerTest, AFloodOfRequestsIsAnsweredAndLeavesNoThreads) {
  ASSERT_EQ(get("/api/status"), 200);
  const int threadsBefore = threadCount();
  std::atomic<int> answered{0};
  std::vector<std::thread> clients;
  for (int t = 0; t < 4; ++t) {
    clients.emplace_back([&, t] {
      auto client = makeClient();
      for (int i = 0; i < 100; ++i) {
        auto result = (i + t) % 3 == 0 ? client->Get("/api/devices")
                                       : (i + t) % 3 == 1 ? client->Get("/api/status")
                                                          : client->Post("/api/stop", "{\"sensor\":\"ir\"}", "application/json");
        if (result && result->status == 200) ++answered;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(answered.load(), 400);
  // Worker threads are the server's fixed pool: none is added for the flood.
  EXPECT_TRUE(eventually([&] { return threadCount() <= threadsBefore; })) << threadCount() << " > " << threadsBefore;
}

bool readPng(const std::string& path, png_uint_32* width, png_uint_32* height, int* bitDepth, int* colourType) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  bool ok = false;
  if (!setjmp(png_jmpbuf(png))) {
    png_init_io(png, file);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    *width = png_get_image_width(png, info);
    *height = png_get_image_height(png, info);
    *bitDepth = png_get_bit_depth(png, info);
    *colourType = png_get_color_type(png, info);
    ok = true;
  }
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(file);
  return ok;
}

TEST_F(ViewerTest, SnapshotWritesOnePngPerRunningStream) {
  json reply;
  EXPECT_EQ(post("/api/snapshot", json::object(), &reply), 409);  // nothing running yet
  ASSERT_EQ(post("/api/start", {{"sensor", "color"}}), 200);
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);
  ASSERT_TRUE(eventually([&] { return framesOf("color") > 2 && framesOf("depth") > 2; }));
  ASSERT_EQ(post("/api/snapshot", {{"name", "shot.png"}}, &reply), 200);
  ASSERT_EQ(reply["files"].size(), 2u);
  EXPECT_EQ(reply["files"][0], m_folder + "/shot-color.png");
  png_uint_32 width = 0, height = 0;
  int bitDepth = 0, colourType = 0;
  ASSERT_TRUE(readPng(m_folder + "/shot-color.png", &width, &height, &bitDepth, &colourType));
  EXPECT_EQ(width, 640u);
  EXPECT_EQ(height, 480u);
  EXPECT_EQ(colourType, PNG_COLOR_TYPE_RGB);
  ASSERT_TRUE(readPng(m_folder + "/shot-depth.png", &width, &height, &bitDepth, &colourType));
  EXPECT_EQ(bitDepth, 16);
  EXPECT_EQ(colourType, PNG_COLOR_TYPE_GRAY);

  for (const char* bad : {"../escape", "/etc/x", "a/b", ".hidden", ""}) {
    EXPECT_EQ(post("/api/snapshot", {{"name", bad}}), 400) << bad;
  }
  EXPECT_EQ(post("/api/snapshot", {{"name", std::string(300, 'a')}}), 400);
}

TEST_F(ViewerTest, RecordingHasStreamsOfItsOwnAndWritesARecordFile) {
  ASSERT_EQ(post("/api/start", {{"sensor", "depth"}}), 200);
  json reply;
  ASSERT_EQ(post("/api/record/start", {{"name", "take"}, {"sensors", {"depth", "color"}}}, &reply), 200);
  const std::string path = reply["path"];
  EXPECT_EQ(path, m_folder + "/take.rec");
  EXPECT_EQ(post("/api/record/start", json::object()), 409);
  // The page's own stream goes on beside the recorder's.
  const uint64_t shown = framesOf("depth");
  ASSERT_TRUE(eventually([&] { return framesOf("depth") > shown + 10; }));
  ASSERT_EQ(post("/api/record/stop", json::object(), &reply), 200);
  EXPECT_EQ(post("/api/record/stop", json::object()), 409);

  std::ifstream file(path, std::ios::binary);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  ASSERT_EQ(reply["bytes"].get<size_t>(), bytes.size());
  // Walk every entry: each is a sound tag and its frame, and both sensors are there.
  size_t at = 0, entries = 0;
  bool sawDepth = false, sawColour = false;
  while (at + kSarvikRecordTagBytes <= bytes.size()) {
    const SarvikRecordTag tag = sarvikDecodeRecordTag(bytes.data() + at);
    ASSERT_EQ(sarvikRecordTagProblem(tag, bytes.size() - at - kSarvikRecordTagBytes), nullptr) << "entry " << entries;
    sawDepth = sawDepth || tag.streamType == SARVIK_STREAM_DEPTH;
    sawColour = sawColour || tag.streamType == SARVIK_STREAM_COLOR;
    at += kSarvikRecordTagBytes + tag.dataSize;
    ++entries;
  }
  EXPECT_EQ(at, bytes.size());
  EXPECT_GT(entries, 5u);
  EXPECT_TRUE(sawDepth);
  EXPECT_TRUE(sawColour);

  EXPECT_EQ(post("/api/record/start", {{"sensors", {"depth", "sonar"}}}), 400);
  EXPECT_EQ(post("/api/record/start", {{"sensors", "depth"}}), 400);
  EXPECT_EQ(post("/api/record/start", {{"name", "x/y"}}), 400);
}

TEST_F(ViewerTest, RecordingWithNothingRunningOrNamedIsRefused) {
  json reply;
  EXPECT_EQ(post("/api/record/start", json::object(), &reply), 400);
  EXPECT_NE(reply["error"].get<std::string>().find("nothing to record"), std::string::npos);
}

TEST_F(ViewerTest, ColourBarIsTheModulesAndPageFilesAreServed) {
  auto bar = m_client->Get("/api/colourbar");
  ASSERT_TRUE(bar);
  ASSERT_EQ(bar->body.size(), 4096u * 3);
  // The module's bar starts blue-green and ends red.
  EXPECT_EQ(static_cast<uint8_t>(bar->body[1016 * 3 + 1]), 255);
  EXPECT_EQ(static_cast<uint8_t>(bar->body[1016 * 3 + 2]), 255);
  EXPECT_EQ(static_cast<uint8_t>(bar->body[4076 * 3]), 255);
  EXPECT_EQ(static_cast<uint8_t>(bar->body[4076 * 3 + 1]), 0);
  for (const char* path : {"/", "/index.html", "/viewer.js", "/stream.js", "/cloud.js", "/viewer.css"}) {
    auto page = m_client->Get(path);
    ASSERT_TRUE(page) << path;
    EXPECT_EQ(page->status, 200) << path;
    EXPECT_FALSE(page->body.empty()) << path;
    // Nothing from outside: no address of another site in the page.
    EXPECT_EQ(page->body.find("http://"), std::string::npos) << path;
    EXPECT_EQ(page->body.find("https://"), std::string::npos) << path;
  }
}

}  // namespace
}  // namespace viewer_test
