// Where the plug-ins look for their settings and how a settings file reads:
// the user's copy wins key by key, and a bad line is reported, not applied.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "plugins/host/host_settings.h"

namespace {

using sarvikhost::KeyValueFile;

// Sets or clears an environment variable for one test and puts it back.
class EnvGuard {
 public:
  EnvGuard(const char* name, const char* value) : m_name(name) {
    const char* old = getenv(name);
    m_had = old != nullptr;
    if (m_had) m_old = old;
    if (value != nullptr) setenv(name, value, 1);
    else unsetenv(name);
  }
  ~EnvGuard() {
    if (m_had) setenv(m_name.c_str(), m_old.c_str(), 1);
    else unsetenv(m_name.c_str());
  }

 private:
  std::string m_name;
  std::string m_old;
  bool m_had = false;
};

TEST(HostSettingsTest, LaterValuesWinAndRepeatedKeysAreAllKept) {
  KeyValueFile file;
  file.parse("simulated = auto\n# a comment\nplay = /a.rec\n\n  play=/b.rec  # trailing\nsimulated = no\n", "one");
  file.parse("simulated = yes\n", "two");
  EXPECT_EQ(file.get("simulated"), "yes");
  EXPECT_EQ(file.get("missing", "fallback"), "fallback");
  EXPECT_EQ(file.all("play"), (std::vector<std::string>{"/a.rec", "/b.rec"}));
  EXPECT_TRUE(file.errors().empty());
}

TEST(HostSettingsTest, MalformedLinesAreReportedWithTheirPlaceAndIgnored) {
  KeyValueFile file;
  file.parse("good = 1\njust words\n= no key\n", "conf");
  EXPECT_EQ(file.get("good"), "1");
  ASSERT_EQ(file.errors().size(), 2u);
  EXPECT_EQ(file.errors()[0], "conf:2: not a \"key = value\" line");
  EXPECT_EQ(file.errors()[1], "conf:3: not a \"key = value\" line");
  EXPECT_FALSE(file.load("/nonexistent/sarvik/x.conf"));
}

TEST(HostSettingsTest, UserFolderFollowsXdgThenHome) {
  {
    EnvGuard xdg("XDG_CONFIG_HOME", "/tmp/xdg");
    EXPECT_EQ(sarvikhost::userSettingsFolder(), "/tmp/xdg/sarvik/");
  }
  {
    // A relative XDG_CONFIG_HOME is to be ignored.
    EnvGuard xdg("XDG_CONFIG_HOME", "relative");
    EnvGuard home("HOME", "/home/someone");
    EXPECT_EQ(sarvikhost::userSettingsFolder(), "/home/someone/.config/sarvik/");
  }
  {
    EnvGuard xdg("XDG_CONFIG_HOME", nullptr);
    EnvGuard home("HOME", nullptr);
    EXPECT_EQ(sarvikhost::userSettingsFolder(), "");
  }
}

TEST(HostSettingsTest, TheUsersCopyIsReadAfterTheOneBesideThePlugin) {
  char pattern[] = "/tmp/sarvik_host_settings_XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  std::string root = pattern;
  std::string beside = sarvikhost::pluginFolder() + "host_settings_test.conf";
  ASSERT_EQ(mkdir((root + "/sarvik").c_str(), 0700), 0);
  std::ofstream(root + "/sarvik/host_settings_test.conf") << "key = user\n";
  std::ofstream(beside) << "key = beside\nonly = beside\n";
  {
    EnvGuard xdg("XDG_CONFIG_HOME", root.c_str());
    std::vector<std::string> files = sarvikhost::settingsFiles("host_settings_test.conf");
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0], beside);
    KeyValueFile merged = sarvikhost::loadSettings("host_settings_test.conf");
    EXPECT_EQ(merged.get("key"), "user");
    EXPECT_EQ(merged.get("only"), "beside");
  }
  std::remove(beside.c_str());
  std::remove((root + "/sarvik/host_settings_test.conf").c_str());
  rmdir((root + "/sarvik").c_str());
  rmdir(root.c_str());
}

}  // namespace
