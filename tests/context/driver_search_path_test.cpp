// The bare-name stage of the plug-in search. ctest runs this program with
// LD_LIBRARY_PATH naming a folder that holds a good copy of the fake plug-in
// under the UVC plug-in's name; beside the module lies a file of that name
// without driverInstance, which must be passed over for the good copy.
#include <cstdlib>
#include <string>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

using DriverSearchPath = ContextTest;

const char* const kSearchCopy = SARVIK_BUILD_LIB_DIR "/testplugins/search/libSarvikUvcDriver.so";

TEST_F(DriverSearchPath, ARejectedFileBesideTheModuleGivesWayToTheSearchPath) {
  const char* searchPath = std::getenv("LD_LIBRARY_PATH");
  if (searchPath == nullptr || std::string(searchPath).find("testplugins/search") == std::string::npos) {
    GTEST_SKIP() << "run through ctest, which sets LD_LIBRARY_PATH for this test";
  }
  load({PluginKind::kNoInstance, PluginKind::kNone});
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_TRUE(logged(4, "cur Driver Path = libSarvikUvcDriver.so"));
  EXPECT_TRUE(logged(4, "Load uvc driver succeed!"));
  EXPECT_FALSE(isLoaded(pluginPath(PluginSlot::kUvc)));
  EXPECT_TRUE(isLoaded(kSearchCopy));
  EXPECT_EQ(0, ctx()->setUvcDriverFlag(3)) << "the copy from the search path is the bound plug-in";
  EXPECT_EQ(0, ctx()->shutdown());
  EXPECT_FALSE(isLoaded(kSearchCopy)) << "and it is freed at shutdown like any other";
}

}  // namespace
}  // namespace sarvik_test
