// The module loaded once for the whole test program, with the simulated
// cameras the build puts beside it, and a viewer server on a free port of
// 127.0.0.1 for each test.
#ifndef SARVIK_VIEWER_TESTS_VIEWER_FIXTURE_H
#define SARVIK_VIEWER_TESTS_VIEWER_FIXTURE_H

#include <dirent.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "sarvik/SarvikLoader.h"
#include "viewer_server.h"

namespace viewer_test {

inline SarvikBaseContext*& sharedContext() {
  static SarvikBaseContext* context = nullptr;
  return context;
}

class ModuleEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(m_loader.load(SARVIK_BUILD_LIB_DIR "/libSarvikCommonDriver.so", &error)) << error;
    SarvikBaseContext* context = m_loader.contextFactory()();
    ASSERT_EQ(context->initialize(), 0);
    sharedContext() = context;
  }
  void TearDown() override {
    if (sharedContext() == nullptr) return;
    sharedContext()->shutdown();
    m_loader.deleteContext()(sharedContext());
    sharedContext() = nullptr;
  }

 private:
  sarvik::ModuleLoader m_loader;
};

// Waits for `condition` up to `limit`, checking every 20 ms.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return condition();
}

inline int threadCount() {
  int count = 0;
  if (DIR* dir = opendir("/proc/self/task")) {
    while (dirent* entry = readdir(dir)) count += entry->d_name[0] != '.';
    closedir(dir);
  }
  return count;
}

class ViewerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(sharedContext(), nullptr);
    char folder[] = "/tmp/sarvik-viewer-test-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    m_folder = folder;
    sarvik_viewer::ViewerOptions options;
    options.port = 0;
    options.outputFolder = m_folder;
    options.maxPages = 2;
    options.threads = 8;
    m_server = std::make_unique<sarvik_viewer::ViewerServer>(sharedContext(), options);
    std::string error;
    ASSERT_TRUE(m_server->bind(&error)) << error;
    ASSERT_TRUE(m_server->session().open("usb://sim/0").ok());
    m_server->serve();
    m_client = makeClient();
  }

  void TearDown() override {
    m_client.reset();
    m_server.reset();
    std::system(("rm -rf '" + m_folder + "'").c_str());
  }

  std::unique_ptr<httplib::Client> makeClient() const {
    auto client = std::make_unique<httplib::Client>("127.0.0.1", m_server->port());
    client->set_connection_timeout(5, 0);
    client->set_read_timeout(10, 0);
    return client;
  }

  // A POST with a JSON body; the reply's status, and its body as JSON.
  int post(const std::string& path, const nlohmann::json& body, nlohmann::json* reply = nullptr) {
    auto result = m_client->Post(path.c_str(), body.dump(), "application/json");
    if (!result) return -1;
    if (reply != nullptr) *reply = nlohmann::json::parse(result->body, nullptr, false);
    return result->status;
  }

  int get(const std::string& path, nlohmann::json* reply = nullptr) {
    auto result = m_client->Get(path.c_str());
    if (!result) return -1;
    if (reply != nullptr) *reply = nlohmann::json::parse(result->body, nullptr, false);
    return result->status;
  }

  // Frames the server has read from a stream so far.
  uint64_t framesOf(const std::string& sensor) {
    nlohmann::json status;
    if (get("/api/status", &status) != 200) return 0;
    for (const auto& stream : status["streams"]) {
      if (stream["sensor"] == sensor) return stream["frames"].get<uint64_t>();
    }
    return 0;
  }

  std::string m_folder;
  std::unique_ptr<sarvik_viewer::ViewerServer> m_server;
  std::unique_ptr<httplib::Client> m_client;
};

}  // namespace viewer_test

#endif  // SARVIK_VIEWER_TESTS_VIEWER_FIXTURE_H
