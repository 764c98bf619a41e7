// Recorder operations and the record path rules, on an in-process context
// that runs without any camera plug-in.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "context/context.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "support/memory_log.h"

namespace sarvik_test {
namespace {

namespace fs = std::filesystem;
using sarvik::StreamRecorder;

class RecorderOperationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char folder[] = "/tmp/sarvik-paths-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    m_folder = folder;
    m_previous = fs::current_path();
    fs::current_path(m_folder);
    m_context.reset(new sarvik::Context());
    ASSERT_EQ(sarvik::bindLogDriverFrom(SARVIK_MEMORY_LOG_PATH), 0);
    m_log.clear();
  }
  void TearDown() override {
    if (m_context->isInitialized()) m_context->shutdown();
    m_context.reset();
    fs::current_path(m_previous);
    fs::remove_all(m_folder);
  }

  void start() { ASSERT_EQ(m_context->initialize(), 0); }
  uint32_t lastError() { return *sarvik::lastErrorCell(); }

  std::string m_folder;
  fs::path m_previous;
  std::unique_ptr<sarvik::Context> m_context;
  MemoryLog m_log;
};

TEST_F(RecorderOperationsTest, EveryOperationNeedsAnInitialisedContext) {
  StreamRecorder* recorder = nullptr;
  EXPECT_EQ(m_context->createRecorder("a.rec", &recorder), -2);
  EXPECT_EQ(lastError(), 0x80300101u);
  EXPECT_EQ(m_context->startRecorder(recorder), -2);
  EXPECT_EQ(m_context->stopRecorder(recorder), -2);
  EXPECT_EQ(m_context->destroyRecorder(recorder), -2);
  EXPECT_EQ(m_context->attachStreamToRecorder(recorder, nullptr), -2);
  EXPECT_EQ(m_log.count(3, "not Initialized! "), 5u);
  EXPECT_FALSE(fs::exists("a.rec"));
}

TEST_F(RecorderOperationsTest, ABareNameLandsInTheCurrentFolderUnderAnAbsolutePath) {
  start();
  StreamRecorder* recorder = nullptr;
  ASSERT_EQ(m_context->createRecorder("plain.rec", &recorder), 0);
  EXPECT_TRUE(fs::exists(m_folder + "/plain.rec"));
  EXPECT_TRUE(m_log.contains(4, "Recorder recordFile:" + m_folder + "/plain.rec"));
  EXPECT_EQ(m_context->startRecorder(recorder), 0);
  EXPECT_EQ(m_context->startRecorder(recorder), 0);
  EXPECT_EQ(m_context->stopRecorder(recorder), 0);
  EXPECT_EQ(m_context->stopRecorder(recorder), 0);
  EXPECT_EQ(m_context->destroyRecorder(recorder), 0);
  EXPECT_TRUE(m_log.contains(1, "After remove recorder, the size=0"));
  EXPECT_EQ(m_context->destroyRecorder(recorder), -13);
  EXPECT_TRUE(m_log.contains(3, "Invalid Recorder Handler!"));
  EXPECT_EQ(fs::file_size(m_folder + "/plain.rec"), 0u);
}

TEST_F(RecorderOperationsTest, BackslashesAndSlashesAreOneSeparatorAndMissingFoldersAreMade) {
  start();
  StreamRecorder* first = nullptr;
  StreamRecorder* second = nullptr;
  ASSERT_EQ(m_context->createRecorder("a\\b\\c.bin", &first), 0);
  EXPECT_TRUE(fs::is_directory(m_folder + "/a/b"));
  EXPECT_TRUE(fs::exists(m_folder + "/a/b/c.bin"));
  ASSERT_EQ(m_context->destroyRecorder(first), 0);
  ASSERT_EQ(m_context->createRecorder("a/b/c.bin", &second), 0);
  EXPECT_EQ(m_log.count(4, "Recorder recordFile:" + m_folder + "/a/b/c.bin"), 2u);
}

// The limit counts the absolute path, so a short name in a deep current
// folder can still be too long.
TEST_F(RecorderOperationsTest, PathLengthLimitIs255) {
  start();
  const std::string head = m_folder + "/";
  const std::string exact = head + std::string(255 - head.size(), 'n');
  const std::string over = head + "sub/" + std::string(256 - head.size() - 4, 'n');
  StreamRecorder* recorder = nullptr;
  EXPECT_EQ(m_context->createRecorder(exact.c_str(), &recorder), 0);
  EXPECT_TRUE(fs::exists(exact));
  StreamRecorder* refused = nullptr;
  EXPECT_EQ(m_context->createRecorder(over.c_str(), &refused), -1);
  EXPECT_EQ(refused, nullptr);
  EXPECT_TRUE(m_log.contains(3, "file path:" + over + " length:256 more than 255, not support!"));
  EXPECT_FALSE(fs::exists(head + "sub"));  // refused before the disk is touched

  std::string deep = m_folder;
  while (deep.size() < 230) {
    deep += "/dddddddddd";
    ASSERT_TRUE(fs::create_directory(deep));
  }
  fs::current_path(deep);
  EXPECT_EQ(m_context->createRecorder("a-name-of-some-thirty-characters.rec", &refused), -1);
  EXPECT_TRUE(m_log.contains(3, "Dir + name length more than 255!"));
}

TEST_F(RecorderOperationsTest, InvalidPathsAndNullArgumentsAreRefused) {
  start();
  StreamRecorder* recorder = nullptr;
  m_context->setLastError(0);
  EXPECT_EQ(m_context->createRecorder("n.rec", nullptr), -4);
  EXPECT_EQ(lastError(), 0x80300206u);
  EXPECT_EQ(m_context->createRecorder(nullptr, &recorder), -1);
  EXPECT_EQ(m_log.countContaining("Enter Create Recorder"), 0u);

  // Folders of a path without a file name are made before it fails.
  EXPECT_EQ(m_context->createRecorder("x/y/", &recorder), -1);
  EXPECT_TRUE(fs::is_directory(m_folder + "/x/y"));
  EXPECT_EQ(m_context->createRecorder("", &recorder), -1);
  EXPECT_TRUE(m_log.contains(1, "FileDir:./, file name:"));

  std::ofstream("blocker") << "x";
  EXPECT_EQ(m_context->createRecorder("blocker/out.rec", &recorder), -1);
  EXPECT_TRUE(m_log.contains(3, "File opened, retcode:-1"));
  EXPECT_EQ(m_log.count(3, "Create Recorder failed because File path invalid!"), 4u);
  EXPECT_EQ(recorder, nullptr);
}

TEST_F(RecorderOperationsTest, SixtyRecordersAtMost) {
  start();
  std::vector<StreamRecorder*> recorders(60, nullptr);
  for (size_t i = 0; i < recorders.size(); ++i) {
    ASSERT_EQ(m_context->createRecorder(("r" + std::to_string(i) + ".rec").c_str(), &recorders[i]), 0);
  }
  StreamRecorder* extra = nullptr;
  EXPECT_EQ(m_context->createRecorder("extra.rec", &extra), -5);
  EXPECT_TRUE(m_log.contains(3, "Reached Max Stream number!"));
  EXPECT_FALSE(fs::exists("extra.rec"));
  ASSERT_EQ(m_context->destroyRecorder(recorders[7]), 0);
  EXPECT_EQ(m_context->createRecorder("extra.rec", &extra), 0);
}

TEST_F(RecorderOperationsTest, TheRecorderIsCheckedBeforeTheStream) {
  start();
  StreamRecorder* recorder = nullptr;
  ASSERT_EQ(m_context->createRecorder("r.rec", &recorder), 0);
  auto* bogusStream = reinterpret_cast<sarvik::VideoStream*>(0x10);
  m_context->setLastError(0);
  EXPECT_EQ(m_context->attachStreamToRecorder(reinterpret_cast<StreamRecorder*>(0x20), bogusStream), -13);
  EXPECT_EQ(lastError(), 0u);
  EXPECT_TRUE(m_log.contains(3, "Invalid Recorder Handler!"));
  EXPECT_EQ(m_context->attachStreamToRecorder(recorder, bogusStream), -13);
  EXPECT_EQ(lastError(), 0x80300105u);
  EXPECT_TRUE(m_log.contains(3, "Stream Handle is Valid!"));
}

TEST_F(RecorderOperationsTest, ShutdownEndsRecordersAndTheirFilesStay) {
  start();
  StreamRecorder* recorder = nullptr;
  ASSERT_EQ(m_context->createRecorder("kept.rec", &recorder), 0);
  ASSERT_EQ(m_context->startRecorder(recorder), 0);
  ASSERT_EQ(m_context->shutdown(), 0);
  EXPECT_TRUE(m_log.contains(1, "~StreamRecorder()"));
  EXPECT_TRUE(fs::exists("kept.rec"));
  EXPECT_EQ(m_context->startRecorder(recorder), -2);
}

}  // namespace
}  // namespace sarvik_test
