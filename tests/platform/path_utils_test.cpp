#include "platform/path_utils.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

#include "logging/temp_folder.h"

namespace sarvik {
namespace {

std::string fullPath(const char* path) {
  char out[4096] = {0};
  const uint32_t length = fullPathName(path, out, sizeof(out));
  EXPECT_EQ(std::strlen(out), length) << path;
  return out;
}

TEST(FullPathNameTest, FoldsDotsAndSlashesLexicallyAndKeepsATrailingSlash) {
  EXPECT_EQ("/a/c", fullPath("/a/./b/../c"));
  EXPECT_EQ("/a/b", fullPath("//a///b"));
  EXPECT_EQ("/", fullPath("/.."));
  EXPECT_EQ("/a", fullPath("/../../a"));
  EXPECT_EQ("/a/b/", fullPath("/a/b/"));
  EXPECT_EQ("/a/", fullPath("/a/b/../"));
  EXPECT_EQ("/a", fullPath("/a/b/.."));
}

TEST(FullPathNameTest, JoinsARelativePathToTheWorkingDirectory) {
  char buffer[PATH_MAX];
  ASSERT_NE(nullptr, getcwd(buffer, sizeof(buffer)));
  const std::string cwd = buffer;
  const std::string base = cwd == "/" ? "" : cwd;
  EXPECT_EQ(base + "/x/y.bin", fullPath("x/y.bin"));
  EXPECT_EQ(base + "/", fullPath("./"));
  EXPECT_EQ(cwd, fullPath("."));
  EXPECT_EQ(base + "/rec.bin", fullPath("rec.bin"));
}

TEST(FullPathNameTest, TouchesNothingOnDisk) {
  sarvik_test::TempFolder folder;
  const std::string missing = folder.file("no/such/dir/");
  EXPECT_EQ(missing, fullPath(missing.c_str()));
  EXPECT_FALSE(pathExists(folder.file("no").c_str()));
}

TEST(FullPathNameTest, TooSmallABufferGetsTheNeededSizeAndStaysUntouched) {
  const char* path = "/abc/def";  // 8 characters
  char out[16];
  std::memset(out, '#', sizeof(out));
  EXPECT_EQ(9u, fullPathName(path, out, 8));
  EXPECT_EQ('#', out[0]);
  EXPECT_EQ(9u, fullPathName(path, nullptr, 0));
  EXPECT_EQ(8u, fullPathName(path, out, 9));
  EXPECT_STREQ(path, out);
  EXPECT_EQ(0u, fullPathName(nullptr, out, sizeof(out)));
  EXPECT_EQ(0u, fullPathName("", out, sizeof(out)));
}

TEST(PathQueriesTest, PlainFileIsNoDirectoryAndMkdirNeedsItsParent) {
  sarvik_test::TempFolder folder;
  const std::string file = folder.file("plain.bin");
  sarvik_test::writeFile(file, "x");
  EXPECT_TRUE(pathExists(file.c_str()));
  EXPECT_FALSE(isDirectory(file.c_str()));
  EXPECT_TRUE(isDirectory(folder.path().c_str()));

  const std::string dir = folder.file("sub");
  EXPECT_FALSE(makeDirectory(folder.file("sub/deeper").c_str()));
  EXPECT_TRUE(makeDirectory(dir.c_str()));
  EXPECT_TRUE(isDirectory((dir + "/").c_str()));
  EXPECT_FALSE(makeDirectory(dir.c_str()));
}

TEST(PathQueriesTest, MakeDirectoriesMakesEveryMissingLevelAndPassesOverExistingOnes) {
  sarvik_test::TempFolder folder;
  EXPECT_TRUE(makeDirectories(folder.file("a/b/c").c_str()));
  EXPECT_TRUE(isDirectory(folder.file("a/b/c").c_str()));
  EXPECT_TRUE(makeDirectories(folder.file("a/b/").c_str())) << "all there already";

  // A plain file on the way passes; the level below it cannot be made.
  sarvik_test::writeFile(folder.file("plain"), "x");
  EXPECT_TRUE(makeDirectories(folder.file("plain").c_str()));
  EXPECT_FALSE(makeDirectories(folder.file("plain/below").c_str()));
  EXPECT_FALSE(makeDirectories(nullptr));

  // Only the first 255 characters count: a longer path makes its first levels.
  const std::string deep = folder.file(std::string(100, 'd') + "/" + std::string(300, 'e'));
  ASSERT_GT(deep.size(), 256u);
  EXPECT_TRUE(makeDirectories(deep.c_str()));
  EXPECT_TRUE(isDirectory(deep.substr(0, 255).c_str()));
  EXPECT_FALSE(pathExists(deep.substr(0, 256).c_str()));
}

TEST(PathQueriesTest, SplitFolderAndNameReadsBothSeparators) {
  const struct {
    const char* path;
    const char* folder;
    const char* name;
  } cases[] = {
      {"rec.bin", "./", "rec.bin"},        {"", "./", ""},
      {"/rec.bin", "/", "rec.bin"},        {"a/b/rec.bin", "a/b/", "rec.bin"},
      {"a\\b\\rec.bin", "a/b/", "rec.bin"}, {"a/b/", "a/b/", ""},
  };
  for (const auto& c : cases) {
    std::string folder;
    std::string name;
    splitFolderAndName(c.path, &folder, &name);
    EXPECT_EQ(c.folder, folder) << c.path;
    EXPECT_EQ(c.name, name) << c.path;
  }
}

}  // namespace
}  // namespace sarvik
