// The log plug-in's filter by set of levels and its file override, as the
// program sets them through the environment before the module loads.
#include <dlfcn.h>
#include <stdlib.h>

#include <gtest/gtest.h>

#include <string>

#include "sarvik/SarvikLogDriver.h"
#include "tools/scratch_folder.h"

namespace sarvik {
namespace tools {
namespace {

// What reaches the log file when the plug-in is loaded with `levels` in
// SARVIK_LOG_LEVELS and one record of each level 0..4 is written after the
// module's usual settings calls.
std::string passedWith(const char* levels) {
  ScratchFolder folder;
  // Each load is of a fresh copy: the variables are read when it is loaded.
  const std::string copy = folder.file("libSarvikLogDriver.so");
  sarvik_test::writeFile(copy, readFile(SARVIK_BUILD_LIB_DIR "/libSarvikLogDriver.so"));
  const std::string log = folder.file("chosen.log");
  setenv("SARVIK_LOG_LEVELS", levels, 1);
  setenv("SARVIK_LOG_FILE", log.c_str(), 1);
  void* library = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  unsetenv("SARVIK_LOG_LEVELS");
  unsetenv("SARVIK_LOG_FILE");
  if (library == nullptr) return "<no library>";
  auto simplify = reinterpret_cast<SarvikLogSimplifyFn>(dlsym(library, "sarvikLogSimplify"));
  auto setLevel = reinterpret_cast<SarvikLogSetlogLevelFn>(dlsym(library, "sarvikLogSetlogLevel"));
  auto fileWriter = reinterpret_cast<SarvikLogConfigFileWriterFn>(dlsym(library, "sarvikLogConfigFileWriter"));
  auto setPath = reinterpret_cast<SarvikLogSetFilePathEntryFn>(dlsym(library, "sarvikLogSetFilePathEntry"));
  // What a settings file would ask for; the environment outranks it.
  setLevel(0);
  fileWriter(false);
  setPath(folder.file("other.log").c_str());
  for (int32_t level = 0; level <= 5; ++level) simplify("T", level, ("level" + std::to_string(level)).c_str());
  const std::string text = readFile(log);
  std::string passed;
  for (int32_t level = 0; level <= 5; ++level) {
    if (text.find("level" + std::to_string(level)) != std::string::npos) passed += std::to_string(level);
  }
  EXPECT_EQ(readFile(folder.file("other.log")), "");
  return passed;
}

TEST(LogFilterTest, ExactlyTheListedLevelsPass) {
  EXPECT_EQ(passedWith("2,3"), "23");
  EXPECT_EQ(passedWith("2, 3,4"), "234");
  EXPECT_EQ(passedWith("0,1,2,3,4"), "01234");
  EXPECT_EQ(passedWith("4"), "4");
}

// A list that cannot be read is ignored as a whole: the threshold the
// settings calls chose (0 here) decides, as without the variable.
TEST(LogFilterTest, MalformedListsLeaveTheThresholdInCharge) {
  for (const char* bad : {"", "5", "2,", ",2", "2,,3", "23", "two", "-1"}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(passedWith(bad), "012345");
  }
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
