// When the USB plug-in lists its simulated cameras: the environment is the
// strongest word, then the plug-in's settings, and by default they are listed
// because no real camera is there. The network plug-in always lists its own.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "simcam_harness.h"

namespace {

using simcamtest::Driver;
using simcamtest::Plugin;
using simcamtest::TempDir;

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : m_name(name) {
    const char* old = getenv(name);
    m_had = old != nullptr;
    if (m_had) m_old = old;
    if (value != nullptr) setenv(name, value, 1);
    else unsetenv(name);
  }
  ~ScopedEnv() {
    if (m_had) setenv(m_name.c_str(), m_old.c_str(), 1);
    else unsetenv(m_name.c_str());
  }

 private:
  std::string m_name, m_old;
  bool m_had = false;
};

struct Case {
  const char* env;          // SARVIK_SIM_CAMERAS, null: unset
  const char* uvcSettings;  // sarvikUvc.conf beside the plug-in, null: none
  const char* userSettings; // the user's sarvikUvc.conf, null: none
  uint32_t listed;
};

TEST(SimcamListingTest, EnvironmentThenSettingsThenDefaultDecideWhatIsListed) {
  const Case cases[] = {
      {nullptr, nullptr, nullptr, 1},              // auto: no real camera, so listed
      {nullptr, "simulated = no\n", nullptr, 0},
      {nullptr, "simulated = yes\n", nullptr, 1},
      {nullptr, "simulated = no\n", "simulated = auto\n", 1},  // the user's copy wins
      {"3", "simulated = no\n", nullptr, 3},     // the environment wins and sets the number
      {"0", nullptr, nullptr, 0},
      {"many", nullptr, nullptr, 0},             // refused: the configured count stays, but forced off
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string("env=") + (c.env ? c.env : "-") + " conf=" + (c.uvcSettings ? c.uvcSettings : "-"));
    TempDir dir;
    TempDir user;
    ScopedEnv xdg("XDG_CONFIG_HOME", user.path().c_str());
    ScopedEnv sim("SARVIK_SIM_CAMERAS", c.env);
    if (c.uvcSettings != nullptr) dir.write("sarvikUvc.conf", c.uvcSettings);
    if (c.userSettings != nullptr) {
      ASSERT_EQ(system(("mkdir -p " + user.path() + "/sarvik").c_str()), 0);
      user.write("sarvik/sarvikUvc.conf", c.userSettings);
    }
    Plugin plugin(dir);
    Driver driver(plugin);
    EXPECT_EQ(driver.listedCount(), c.listed);
  }
}

TEST(SimcamListingTest, TheNetworkPluginListsItsSimulatedCamerasWhateverTheUsbSettingsSay) {
  TempDir dir;
  ScopedEnv sim("SARVIK_SIM_CAMERAS", "0");
  dir.write("sarvikUvc.conf", "simulated = no\n");
  Plugin plugin(dir, "libSarvikNetDriver.so");
  Driver driver(plugin);
  EXPECT_EQ(driver.listedCount(), 1u);
}

}  // namespace
