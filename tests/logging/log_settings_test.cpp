#include "logging/log_settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <vector>

#include "logging/log_bridge.h"
#include "logging/temp_folder.h"
#include "support/memory_log.h"

namespace sarvik {
namespace {

using sarvik_test::fileExists;
using sarvik_test::LogConfigCall;
using sarvik_test::MemoryLog;
using sarvik_test::readFile;
using sarvik_test::TempFolder;
using sarvik_test::writeFile;

const char kDefaultsText[] = "[Log]\r\nLogFile=0\r\nLogLevel=3\r\nLogConsole=1\r\n";

// What the plug-in was told, in order, as "name(argument)" or "name(path)".
std::vector<std::string> describe(const std::vector<LogConfigCall>& calls) {
  std::vector<std::string> out;
  for (const LogConfigCall& c : calls) {
    std::string argument = c.exportName == "sarvikLogSetFilePathEntry"
                               ? (c.hasText ? c.text : std::string("null"))
                               : std::to_string(c.argument);
    out.push_back(c.exportName + "(" + argument + ")");
  }
  return out;
}

std::vector<std::string> applied(int file, int console, int level) {
  return {"sarvikLogConfigFileWriter(" + std::to_string(file) + ")",
          "sarvikLogConfigConsoleWriter(" + std::to_string(console) + ")",
          "sarvikLogSetlogLevel(" + std::to_string(level) + ")"};
}

class LogSettings : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(m_folder.path().empty());
    ASSERT_TRUE(m_log.loaded()) << SARVIK_MEMORY_LOG_PATH;
    m_log.reset();
    ASSERT_EQ(bindLogDriverFrom(SARVIK_MEMORY_LOG_PATH), 0);
  }
  void TearDown() override {
    unbindLogDriver();
    m_log.reset();
  }

  // Applies the settings of the test folder and returns what the plug-in was
  // told; the module must log nothing while doing so.
  std::vector<std::string> setUp(const char* path = nullptr, int32_t* result = nullptr) {
    m_log.clear();
    int32_t r = applyLogSetupIn(m_folder.path().c_str(), path);
    if (result != nullptr) *result = r;
    EXPECT_EQ(m_log.recordCount(), 0u);
    return describe(m_log.configCalls());
  }
  std::string settingsFile() { return m_folder.file("sarvikLog.ini"); }
  std::string settingsText() { return readFile(settingsFile()); }
  void given(const std::string& text) { writeFile(settingsFile(), text); }

  TempFolder m_folder;
  MemoryLog m_log;
};

TEST_F(LogSettings, TheFirstSetUpInAFolderWritesAndAppliesTheDefaults) {
  int32_t result = -99;
  EXPECT_EQ(setUp(nullptr, &result), applied(0, 1, 3));
  EXPECT_EQ(result, 0);
  EXPECT_EQ(settingsText(), kDefaultsText);
  EXPECT_EQ(std::string(logSettingsPath()), settingsFile());

  EXPECT_EQ(setUp(), applied(0, 1, 3));
  EXPECT_EQ(settingsText(), kDefaultsText) << "a second set-up changes nothing";
}

// Present values are never rewritten, even when out of range; missing keys
// are added with their defaults.
TEST_F(LogSettings, PresentValuesApplyAsLeadingIntegersAndMissingOnesAreAdded) {
  const std::string other = "[Other]\r\nLogLevel=1\r\n";
  const struct {
    std::string file;
    std::vector<std::string> expected;
    std::string after;  // empty: unchanged
  } cases[] = {
      {"[Log]\r\nLogLevel=1\r\n", applied(0, 1, 1), "[Log]\r\nLogFile=0\r\nLogConsole=1\r\nLogLevel=1\r\n"},
      {other, applied(0, 1, 3), other + kDefaultsText},
      {"[Log]\r\nLogFile=0\r\nLogLevel=9\r\nLogConsole=1\r\n", applied(0, 1, 3), ""},
      {"[Log]\r\nLogFile=0\r\nLogLevel=-1\r\nLogConsole=1\r\n", applied(0, 1, 3), ""},
      {"[Log]\r\nLogFile=0\r\nLogLevel=5\r\nLogConsole=1\r\n", applied(0, 1, 3), ""},
      {"[Log]\r\nLogFile=1\r\nLogLevel=4\r\nLogConsole=2\r\n", applied(1, 1, 4), ""},
      {"[Log]\r\nLogFile=-1\r\nLogLevel=0\r\nLogConsole=-1\r\n", applied(0, 0, 0), ""},
      {"[Log]\r\nLogFile=\r\nLogLevel=\"2\"\r\nLogConsole=0\r\n", applied(0, 0, 2), ""},
      {"[Log]\nLogFile=1 ; on\nLogLevel=1 ; verbose\nLogConsole=x\n", applied(1, 0, 1), ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    given(c.file);
    EXPECT_EQ(setUp(), c.expected);
    EXPECT_EQ(settingsText(), c.after.empty() ? c.file : c.after);
  }
}

TEST_F(LogSettings, AnUnwritableFolderAppliesTheDefaultsSilently) {
  // Below a regular file nothing can be created, not even by root.
  writeFile(m_folder.file("plain"), "x");
  m_log.clear();
  EXPECT_EQ(applyLogSetupIn(m_folder.file("plain/").c_str(), nullptr), 0);
  EXPECT_EQ(describe(m_log.configCalls()), applied(0, 1, 3));
  EXPECT_EQ(m_log.recordCount(), 0u);
  EXPECT_EQ(readFile(m_folder.file("plain")), "x");
}

TEST_F(LogSettings, APathGoesToThePlugInFirstAndItsRefusalIsTheResult) {
  m_log.setFilePathResult(-3);
  int32_t result = 0;
  std::vector<std::string> expected = {"sarvikLogSetFilePathEntry(/tmp/sarvik.log)"};
  for (const std::string& call : applied(0, 1, 3)) expected.push_back(call);

  EXPECT_EQ(setUp("/tmp/sarvik.log", &result), expected);
  EXPECT_EQ(result, -3);
  EXPECT_EQ(settingsText(), kDefaultsText);
}

TEST_F(LogSettings, WithoutAPlugInTheFileIsStillWrittenAndTheResultIsZero) {
  unbindLogDriver();
  EXPECT_EQ(applyLogSetupIn(m_folder.path().c_str(), "/tmp/sarvik.log"), 0);
  EXPECT_EQ(settingsText(), kDefaultsText);
  EXPECT_EQ(m_log.configCount(), 0u);
}

TEST_F(LogSettings, AFolderTooLongForThePathIsNeitherReadNorWritten) {
  // Folders of exactly 242 and 243 characters, trailing '/' included.
  auto folderOfLength = [](std::string folder, size_t length) {
    mkdir(folder.c_str(), 0777);
    while (folder.size() < length) {
      size_t room = length - folder.size();
      size_t part = room <= 150 ? room : (room - 150 >= 2 ? 150 : 100);  // each part is "d...d/"
      folder += std::string(part - 1, 'd') + "/";
      mkdir(folder.c_str(), 0777);
    }
    return folder;
  };
  const std::string fits = folderOfLength(m_folder.path(), 242);
  const std::string tooLong = folderOfLength(m_folder.file("e/"), 243);
  ASSERT_EQ(fits.size(), 242u);
  ASSERT_EQ(tooLong.size(), 243u);

  for (const std::string& folder : {fits, tooLong}) writeFile(folder + "sarvikLog.ini", "[Log]\r\nLogLevel=1\r\n");
  m_log.clear();
  EXPECT_EQ(applyLogSetupIn(fits.c_str(), nullptr), 0);
  EXPECT_EQ(describe(m_log.configCalls()), applied(0, 1, 1));

  m_log.clear();
  m_log.setFilePathResult(-3);
  EXPECT_EQ(applyLogSetupIn(tooLong.c_str(), "/tmp/sarvik.log"), -3) << "the path is still handed on";
  std::vector<std::string> calls = describe(m_log.configCalls());
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(std::vector<std::string>(calls.begin() + 1, calls.end()), applied(0, 1, 3));
  EXPECT_EQ(readFile(tooLong + "sarvikLog.ini"), "[Log]\r\nLogLevel=1\r\n");
  EXPECT_EQ(m_log.recordCount(), 0u);
}

TEST(LogSettingValues, AreReadWithAtoiRulesAndLeftAloneOnFailure) {
  TempFolder folder;
  const std::string file = folder.file("sarvikLog.ini");
  std::snprintf(logSettingsPath(), kLogSettingsPathSize, "%s", file.c_str());
  int32_t value = 77;
  EXPECT_EQ(readLogSetting("LogLevel", &value), -1);
  EXPECT_EQ(value, 77);
  EXPECT_FALSE(fileExists(file));
  EXPECT_EQ(readLogSetting("LogLevel", nullptr), -4);

  writeFile(file, "[Log]\r\nA=  -12abc\r\nB=x\r\nC=\r\n");
  EXPECT_EQ(readLogSetting("A", &value), 0);
  EXPECT_EQ(value, -12);
  EXPECT_EQ(readLogSetting("B", &value), 0);
  EXPECT_EQ(value, 0);
  value = 5;
  EXPECT_EQ(readLogSetting("C", &value), 0);
  EXPECT_EQ(value, 0);

  EXPECT_EQ(writeLogSetting("D", -42), 0);
  EXPECT_EQ(readFile(file), "[Log]\r\nD=-42\r\nA=  -12abc\r\nB=x\r\nC=\r\n");
}

}  // namespace
}  // namespace sarvik
