#include "platform/module_path.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "platform/dynamic_library.h"
#include "logging/temp_folder.h"

namespace sarvik {
namespace {

TEST(ModulePathTest, TestProgramFindsItsOwnFolder) {
  char out[kModulePathBytes] = {0};
  ASSERT_EQ(0, getCurrentModulePath(out));
  EXPECT_EQ(std::string(SARVIK_TEST_BIN_DIR), out);
}

TEST(ModulePathTest, SharedObjectLinkedIntoAnotherFolderFindsThatFolder) {
  // Tests place a module beside plug-ins by linking it there; the folder of
  // the link must win over the folder of the real file.
  sarvik_test::TempFolder folder;
  const std::string link = folder.file("libLinkedModule.so");
  ASSERT_EQ(0, symlink(MODULE_PATH_FIXTURE_PATH, link.c_str()));
  void* library = loadLibrary(link.c_str());
  ASSERT_NE(nullptr, library) << dlerror();
  auto where = reinterpret_cast<int32_t (*)(char*)>(findSymbol(library, "fixtureModulePath"));
  ASSERT_NE(nullptr, where);
  char out[kModulePathBytes] = {0};
  EXPECT_EQ(0, where(out));
  EXPECT_EQ(folder.path(), out);
  freeLibrary(library);
}

TEST(ModuleFolderTest, KeepsTheTrailingSlashAndMakesThePathAbsolute) {
  char out[kModulePathBytes] = {0};
  ASSERT_EQ(0, moduleFolderOf("/opt/sdk/lib/libX.so", out));
  EXPECT_STREQ("/opt/sdk/lib/", out);
  ASSERT_EQ(0, moduleFolderOf("/libX.so", out));
  EXPECT_STREQ("/", out);

  char cwd[4096];
  ASSERT_NE(nullptr, getcwd(cwd, sizeof(cwd)));
  ASSERT_EQ(0, moduleFolderOf("lib/../lib/libX.so", out));
  const std::string base = std::strcmp(cwd, "/") == 0 ? "" : cwd;
  EXPECT_EQ(base + "/lib/", out);
}

TEST(ModuleFolderTest, FolderOf255CharactersFitsAnd256FailsWithTheBufferUnchanged) {
  // "/" + 253 characters + "/" is 255.
  const std::string fits = "/" + std::string(253, 'd') + "/";
  char out[kModulePathBytes] = {0};
  ASSERT_EQ(0, moduleFolderOf((fits + "libX.so").c_str(), out));
  EXPECT_EQ(fits, out);

  const std::string tooLong = "/" + std::string(254, 'd') + "/";
  std::memset(out, '#', sizeof(out));
  EXPECT_NE(0, moduleFolderOf((tooLong + "libX.so").c_str(), out));
  for (char c : out) ASSERT_EQ('#', c);
}

}  // namespace
}  // namespace sarvik
