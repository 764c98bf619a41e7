// SarvikLoader.h as applications use it: where it looks for the module, in
// which order, and what it says when nothing there is the module.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>

#include "sarvik/SarvikLoader.h"

namespace {

TEST(ModuleCandidates, ExplicitPathThenEnvironmentWinAlone) {
  EXPECT_EQ(sarvik::moduleCandidates("/a/m.so", "/env/m.so", "/opt/app/bin/prog"),
            std::vector<std::string>{"/a/m.so"});
  EXPECT_EQ(sarvik::moduleCandidates("", "/env/m.so", "/opt/app/bin/prog"), std::vector<std::string>{"/env/m.so"});
}

TEST(ModuleCandidates, BesideTheProgramThenInstalledFoldersThenBareName) {
  // This test is built with SARVIK_MODULE_DIR_FROM_BIN and SARVIK_MODULE_DIR
  // set (see CMakeLists.txt); an empty environment value counts as unset.
  const std::vector<std::string> expected = {
      "/opt/app/bin/../lib/" SARVIK_MODULE_FILE,
      "/opt/app/bin/../lib/sarvik/" SARVIK_MODULE_FILE,
      "/opt/app/bin/../lib64/sarvik/" SARVIK_MODULE_FILE,
      "/usr/lib/sarvik-test/" SARVIK_MODULE_FILE,
#ifdef SARVIK_INSTALLED_MODULE_DIR  // an installed SDK's header on the system include path
      SARVIK_INSTALLED_MODULE_DIR "/" SARVIK_MODULE_FILE,
#endif
      SARVIK_MODULE_FILE,
  };
  EXPECT_EQ(sarvik::moduleCandidates("", "", "/opt/app/bin/prog"), expected);
  EXPECT_EQ(sarvik::moduleCandidates("", nullptr, "/opt/app/bin/prog"), expected);
}

TEST(ModuleCandidates, UnknownProgramFileSkipsTheRelativeFolders) {
  const std::vector<std::string> expected = {"/usr/lib/sarvik-test/" SARVIK_MODULE_FILE,
#ifdef SARVIK_INSTALLED_MODULE_DIR
                                             SARVIK_INSTALLED_MODULE_DIR "/" SARVIK_MODULE_FILE,
#endif
                                             SARVIK_MODULE_FILE};
  EXPECT_EQ(sarvik::moduleCandidates("", nullptr, ""), expected);
  EXPECT_EQ(sarvik::moduleCandidates("", nullptr, "prog-without-folder"), expected);
}

// Every refused file is named in the message, with the reason.
struct BadModule {
  const char* what;
  std::string path;
  const char* reason;
};

class LoaderRefuses : public ::testing::TestWithParam<BadModule> {};

TEST_P(LoaderRefuses, WithAMessageAndNothingLoaded) {
  sarvik::ModuleLoader loader;
  std::string error;
  EXPECT_FALSE(loader.load(GetParam().path, &error));
  EXPECT_FALSE(loader.loaded());
  EXPECT_EQ(loader.contextFactory(), nullptr);
  EXPECT_NE(error.find("cannot load the SDK module"), std::string::npos) << error;
  EXPECT_NE(error.find(GetParam().reason), std::string::npos) << error;
  EXPECT_FALSE(loader.load(GetParam().path, nullptr));  // no message wanted: still no crash
}

std::string textFile() {
  const std::string path = testing::TempDir() + "sarvik-loader-not-elf.so";
  FILE* file = std::fopen(path.c_str(), "w");
  std::fputs("not a shared object\n", file);
  std::fclose(file);
  return path;
}

INSTANTIATE_TEST_SUITE_P(
    Files, LoaderRefuses,
    ::testing::Values(BadModule{"missing", "/nonexistent/libSarvikCommonDriver.so", "No such file"},
                      BadModule{"long", "/" + std::string(300, 'x') + ".so", "cannot open"},
                      BadModule{"text", textFile(), "not-elf.so"},
                      // A real shared object that lacks the module's exports.
                      BadModule{"plugin", SARVIK_BUILD_LIB_DIR "/libSarvikLogDriver.so", "lacks ContextFactory"}),
    [](const ::testing::TestParamInfo<BadModule>& info) { return std::string(info.param.what); });

TEST(ModuleLoader, LoadsTheBuiltModuleAndGivesOneContext) {
  sarvik::ModuleLoader loader;
  std::string error;
  const std::string path = SARVIK_BUILD_LIB_DIR "/" SARVIK_MODULE_FILE;
  ASSERT_TRUE(loader.load(path, &error)) << error;
  EXPECT_EQ(loader.path(), path);
  SarvikBaseContext* context = loader.contextFactory()();
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(loader.contextFactory()(), context);
  loader.deleteContext()(context);
}

}  // namespace
