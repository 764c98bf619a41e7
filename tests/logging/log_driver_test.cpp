// The shipped log plug-in, driven through its C exports as the module would.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "logging/temp_folder.h"
#include "sarvik/SarvikLogDriver.h"

namespace {

using sarvik_test::readFile;
using sarvik_test::TempFolder;
using sarvik_test::writeFile;

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// What follows "YYYY-MM-DD hh:mm:ss.mmm [tid] [tag] " in `line`, or a note
// that the line doesn't start that way. (No std::regex: g++ 12 warns inside
// it under the address sanitizer.)
std::string afterStamp(const std::string& line, const std::string& tag) {
  const std::string layout = "dddd-dd-dd dd:dd:dd.ddd [";
  if (line.size() < layout.size()) return "<short line> " + line;
  for (size_t i = 0; i < layout.size(); ++i) {
    bool ok = layout[i] == 'd' ? isdigit(static_cast<unsigned char>(line[i])) != 0 : line[i] == layout[i];
    if (!ok) return "<bad stamp> " + line;
  }
  size_t i = layout.size();
  size_t digits = 0;
  while (i < line.size() && isdigit(static_cast<unsigned char>(line[i]))) ++i, ++digits;
  const std::string tagPart = "] [" + tag + "] ";
  if (digits == 0 || line.compare(i, tagPart.size(), tagPart) != 0) return "<bad thread or tag> " + line;
  return line.substr(i + tagPart.size());
}

class LogDriver : public ::testing::Test {
 protected:
  void SetUp() override {
    // A C++ plug-in may be pinned in memory once loaded, so each test loads a
    // copy of its own: a fresh instance that starts from the defaults.
    const std::string copy = m_folder.file("libSarvikLogDriver.so");
    writeFile(copy, readFile(SARVIK_BUILD_LIB_DIR "/libSarvikLogDriver.so"));
    m_library = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(m_library, nullptr) << dlerror();
    ASSERT_TRUE(resolve("sarvikLogSimplify", &simplify) && resolve("sarvikLogWrite", &write) &&
                resolve("sarvikLogErrno", &writeErrno) && resolve("sarvikLogConfigFileWriter", &fileWriter) &&
                resolve("sarvikLogConfigConsoleWriter", &consoleWriter) &&
                resolve("sarvikLogSetFilePathEntry", &setFilePath) && resolve("sarvikLogSetlogLevel", &setLevel) &&
                resolve("sarvikLogSetMaxSize", &setMaxSize) && resolve("sarvikLogGetGlobalLevel", &globalLevel));
  }
  void TearDown() override {
    if (m_library != nullptr) dlclose(m_library);
  }
  template <typename Fn>
  bool resolve(const char* name, Fn* slot) {
    *slot = reinterpret_cast<Fn>(dlsym(m_library, name));
    return *slot != nullptr;
  }
  // File output only, into the test folder.
  void toFileOnly() {
    ASSERT_EQ(setFilePath(m_logFile.c_str()), 0);
    fileWriter(true);
    consoleWriter(false);
  }

  void* m_library = nullptr;
  TempFolder m_folder;
  std::string m_logFile = m_folder.file("driver.log");
  SarvikLogSimplifyFn simplify = nullptr;
  SarvikLogWriteFn write = nullptr;
  SarvikLogErrnoFn writeErrno = nullptr;
  SarvikLogConfigFileWriterFn fileWriter = nullptr;
  SarvikLogConfigConsoleWriterFn consoleWriter = nullptr;
  SarvikLogSetFilePathEntryFn setFilePath = nullptr;
  SarvikLogSetlogLevelFn setLevel = nullptr;
  SarvikLogSetMaxSizeFn setMaxSize = nullptr;
  SarvikLogGetGlobalLevelFn globalLevel = nullptr;
};

TEST_F(LogDriver, RecordsAtOrAboveTheLevelBecomeOneStampedLineEach) {
  EXPECT_EQ(globalLevel(), 3);
  toFileOnly();
  simplify("Tag", 2, "dropped at the default level");
  simplify("Tag", 3, "an error");
  simplify("Tag", 4, "a milestone\n");
  EXPECT_EQ(setLevel(0), 0);
  simplify("Tag", 0, "");
  write("Tag", 1, "formatted %d", 42);
  writeErrno("Tag", 2, 2, "open failed");
  simplify("Tag", 9, "beyond the names");

  std::vector<std::string> lines = linesOf(readFile(m_logFile));
  ASSERT_EQ(lines.size(), 6u) << readFile(m_logFile);
  EXPECT_EQ(afterStamp(lines[0], "Tag"), "ERROR: an error");
  EXPECT_EQ(afterStamp(lines[1], "Tag"), "INFO: a milestone");
  EXPECT_EQ(afterStamp(lines[2], "Tag"), "FINEST: ");
  EXPECT_EQ(afterStamp(lines[3], "Tag"), "TRACE: formatted 42");
  EXPECT_EQ(afterStamp(lines[4], "Tag").rfind("WARNING: open failed (errno 2: ", 0), 0u) << lines[4];
  EXPECT_EQ(afterStamp(lines[5], "Tag"), "LEVEL9: beyond the names");
}

TEST_F(LogDriver, BadLevelsAndUnusablePathsAreRefusedAndChangeNothing) {
  toFileOnly();
  EXPECT_EQ(setLevel(5), -1);
  EXPECT_EQ(setLevel(-1), -1);
  EXPECT_EQ(globalLevel(), 3);
  EXPECT_EQ(setFilePath(nullptr), -1);
  EXPECT_EQ(setFilePath(""), -1);
  EXPECT_EQ(setFilePath(m_folder.file("missing/dir.log").c_str()), -1);

  simplify("Tag", 3, "still here");
  EXPECT_EQ(linesOf(readFile(m_logFile)).size(), 1u);
}

TEST_F(LogDriver, FileOutputIsOffAndConsoleOutputOnByDefault) {
  ASSERT_EQ(setFilePath(m_logFile.c_str()), 0);
  ::testing::internal::CaptureStderr();
  simplify("Tag", 3, "to the console");
  consoleWriter(false);
  simplify("Tag", 3, "to nowhere");
  const std::string console = ::testing::internal::GetCapturedStderr();

  EXPECT_EQ(readFile(m_logFile), "");
  std::vector<std::string> lines = linesOf(console);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("ERROR: to the console"), std::string::npos);
}

TEST_F(LogDriver, AFullFileRollsOverToTheNumberedOne) {
  toFileOnly();
  setMaxSize(400);
  for (int i = 0; i < 20; ++i) simplify("Tag", 3, ("record " + std::to_string(i)).c_str());

  const std::string current = readFile(m_logFile);
  const std::string older = readFile(m_logFile + ".1");
  EXPECT_LE(current.size(), 400u);
  EXPECT_LE(older.size(), 400u);
  EXPECT_FALSE(older.empty());
  EXPECT_NE(current.find("record 19\n"), std::string::npos);
  std::vector<std::string> previous = linesOf(older);
  std::vector<std::string> last = linesOf(current);
  ASSERT_FALSE(previous.empty());
  ASSERT_FALSE(last.empty());
  // No line is lost between the two files.
  EXPECT_NE(previous.back().find("record " + std::to_string(20 - last.size() - 1)), std::string::npos);
}

TEST_F(LogDriver, RecordsFromManyThreadsNeverInterleave) {
  toFileOnly();
  constexpr int kThreads = 4;
  constexpr int kRecords = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      const std::string text = "thread " + std::to_string(t) + " " + std::string(100, static_cast<char>('a' + t));
      for (int i = 0; i < kRecords; ++i) simplify("Tag", 3, text.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::vector<std::string> lines = linesOf(readFile(m_logFile));
  ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kRecords));
  size_t perThread[kThreads] = {};
  for (const std::string& line : lines) {
    const std::string text = afterStamp(line, "Tag");
    ASSERT_EQ(text.rfind("ERROR: thread ", 0), 0u) << line;
    const int t = text[14] - '0';
    ASSERT_TRUE(t >= 0 && t < kThreads) << line;
    EXPECT_EQ(text.substr(15), " " + std::string(100, static_cast<char>('a' + t))) << line;
    ++perThread[t];
  }
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(perThread[t], static_cast<size_t>(kRecords));
}

}  // namespace
