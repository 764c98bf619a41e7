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

}  // namespace
}  // namespace sarvik
