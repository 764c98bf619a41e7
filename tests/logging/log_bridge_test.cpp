#include "logging/log_bridge.h"

#include <gtest/gtest.h>

#include <string>

#include "support/memory_log.h"

#define SARVIK_NO_GLOBAL_LEVEL_LOG_PATH SARVIK_BUILD_LIB_DIR "/testplugins/libSarvikTestLogNoGlobalLevel.so"

namespace sarvik {
namespace {

using sarvik_test::LogConfigCall;
using sarvik_test::LogRecord;
using sarvik_test::MemoryLog;

class LogBridge : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_log.loaded()) << SARVIK_MEMORY_LOG_PATH;
    m_log.reset();
  }
  void TearDown() override {
    unbindLogDriver();
    m_log.reset();
  }
  void bindMemoryLog() { ASSERT_EQ(bindLogDriverFrom(SARVIK_MEMORY_LOG_PATH), 0); }

  MemoryLog m_log;
};

TEST_F(LogBridge, ARecordCarriesTheModuleTagTheLevelAndTheFormattedText) {
  bindMemoryLog();
  EXPECT_TRUE(logDriverBound());

  const std::string text = "Open device failed ret = -3!";
  // The memory plug-in answers with the length it kept: the result is its own.
  EXPECT_EQ(logMessage(4, "Open device failed ret = %d!", -3), static_cast<int32_t>(text.size()));

  std::vector<LogRecord> records = m_log.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].exportName, "sarvikLogSimplify");
  EXPECT_EQ(records[0].tag, "SarvikCommonDriver");
  EXPECT_EQ(records[0].level, 4);
  EXPECT_EQ(records[0].text, text);
}

TEST_F(LogBridge, TextsAreCutAt2046CharactersAndLevelsPassUnfiltered) {
  bindMemoryLog();
  const std::string exact(2046, 'a');
  const std::string over(3000, 'b');

  logMessage(3, "%s", exact.c_str());
  logMessage(3, "%s", over.c_str());
  logMessage(3, "%s", (exact + "\n").c_str());
  logMessage(7, "");
  logMessage(0, "zero");
  logMessage(0xFFFFFFFFu, "all ones");

  std::vector<LogRecord> records = m_log.records();
  ASSERT_EQ(records.size(), 6u);
  EXPECT_EQ(records[0].text, exact);
  EXPECT_EQ(records[1].text, over.substr(0, 2046));
  EXPECT_EQ(records[2].text, exact) << "the line end is the 2047th character";
  EXPECT_EQ(records[3].text, "");
  EXPECT_EQ(records[3].level, 7);
  EXPECT_EQ(records[4].level, 0);
  EXPECT_EQ(records[5].level, -1);
}

TEST_F(LogBridge, UnboundEverythingAnswersZeroAndNothingIsFormatted) {
  bindMemoryLog();
  EXPECT_EQ(unbindLogDriver(), 0);
  EXPECT_EQ(unbindLogDriver(), 0);
  EXPECT_FALSE(logDriverBound());

  // Formatting this would read through a wild pointer.
  EXPECT_EQ(logMessage(3, "%s", reinterpret_cast<const char*>(16)), 0);
  EXPECT_EQ(logDriverSetLevel(2), 0);
  EXPECT_EQ(logDriverSetFilePath("/tmp/x.log"), 0);
  EXPECT_EQ(logDriverConfigFileWriter(true), 0);
  EXPECT_EQ(logDriverConfigConsoleWriter(false), 0);
  EXPECT_EQ(m_log.recordCount(), 0u);
  EXPECT_EQ(m_log.configCount(), 0u);
}

TEST_F(LogBridge, ConfigurationCallsPassArgumentsAndResultsThrough) {
  bindMemoryLog();
  m_log.setFilePathResult(-3);

  EXPECT_EQ(logDriverSetFilePath("/var/log/a.log"), -3);
  EXPECT_EQ(logDriverSetFilePath(nullptr), -3);
  EXPECT_EQ(logDriverSetLevel(4), 0);
  EXPECT_EQ(logDriverConfigFileWriter(true), 0);
  EXPECT_EQ(logDriverConfigConsoleWriter(false), 0);

  std::vector<LogConfigCall> calls = m_log.configCalls();
  ASSERT_EQ(calls.size(), 5u);
  EXPECT_EQ(calls[0].exportName, "sarvikLogSetFilePathEntry");
  EXPECT_EQ(calls[0].text, "/var/log/a.log");
  EXPECT_FALSE(calls[1].hasText) << "a null path is handed on as null";
  EXPECT_EQ(calls[2].exportName, "sarvikLogSetlogLevel");
  EXPECT_EQ(calls[2].argument, 4);
  EXPECT_EQ(calls[3].exportName, "sarvikLogConfigFileWriter");
  EXPECT_EQ(calls[3].argument, 1);
  EXPECT_EQ(calls[4].exportName, "sarvikLogConfigConsoleWriter");
  EXPECT_EQ(calls[4].argument, 0);
}

TEST_F(LogBridge, BindingAgainKeepsTheFirstPlugIn) {
  bindMemoryLog();
  EXPECT_EQ(bindLogDriverFrom("/nonexistent/libSarvikLogDriver.so"), 0);
  EXPECT_EQ(bindLogDriver(), 0);
  logMessage(2, "still here");
  EXPECT_TRUE(m_log.contains(2, "still here"));
}

TEST_F(LogBridge, AMissingFileOrAPlugInLackingOneUncalledExportIsNotBound) {
  EXPECT_EQ(bindLogDriverFrom("/nonexistent/libSarvikLogDriver.so"), -1);
  EXPECT_FALSE(logDriverBound());
  MemoryLog partial(SARVIK_NO_GLOBAL_LEVEL_LOG_PATH);
  ASSERT_TRUE(partial.loaded()) << SARVIK_NO_GLOBAL_LEVEL_LOG_PATH;

  EXPECT_EQ(bindLogDriverFrom(SARVIK_NO_GLOBAL_LEVEL_LOG_PATH), -1);
  EXPECT_FALSE(logDriverBound());
  EXPECT_EQ(logMessage(3, "lost"), 0);
  EXPECT_EQ(logDriverSetLevel(1), 0);
  EXPECT_EQ(partial.recordCount(), 0u);
  EXPECT_EQ(partial.configCount(), 0u);

  // The failed attempt leaves nothing behind that would stop a good binding.
  bindMemoryLog();
  logMessage(3, "found");
  EXPECT_TRUE(m_log.contains(3, "found"));
}

}  // namespace
}  // namespace sarvik
