#include "logging/ini_store.h"

#include <gtest/gtest.h>

#include <string>

#include "logging/temp_folder.h"

namespace sarvik {
namespace {

using sarvik_test::fileExists;
using sarvik_test::readFile;
using sarvik_test::TempFolder;
using sarvik_test::writeFile;

class IniStore : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(m_folder.path().empty()); }

  // The value of `key` in section `section`, or "<-1>" and the like for a
  // failure result.
  std::string read(const std::string& key, const std::string& section = "Log") {
    char out[256] = {0};
    CINIImpl ini(m_file.c_str(), section.c_str(), key.c_str());
    int32_t result = ini.getValue(out);
    return result == 0 ? std::string(out) : "<" + std::to_string(result) + ">";
  }
  int32_t write(const std::string& key, const char* value, const std::string& section = "Log") {
    CINIImpl ini(m_file.c_str(), section.c_str(), key.c_str());
    return ini.setValue(value);
  }
  void given(const std::string& text) { writeFile(m_file, text); }
  std::string text() { return readFile(m_file); }

  TempFolder m_folder;
  std::string m_file = m_folder.file("settings.ini");
};

TEST_F(IniStore, ValuesAreReadUpToTheLineEndOr254CharactersWithQuotesAndOneCarriageReturnRemoved) {
  given("[Log]\r\nL=" + std::string(300, '7') + "\r\nA=\"2\"\r\nB=\r\nC=3 ; verbose\r\nD=\"open\nE=close\"\nF=x\ry\rz\nG= spaced \n;H=5\nXI=6");
  EXPECT_EQ(read("L"), std::string(254, '7'));
  EXPECT_EQ(read("A"), "2");
  EXPECT_EQ(read("B"), "");
  EXPECT_EQ(read("C"), "3 ; verbose");
  EXPECT_EQ(read("D"), "open");
  EXPECT_EQ(read("E"), "close");
  EXPECT_EQ(read("F"), "xy\rz");
  EXPECT_EQ(read("G"), " spaced ");
  EXPECT_EQ(read("H"), "5") << "there are no comments";
  EXPECT_EQ(read("I"), "6") << "a key need not start its line";
  EXPECT_EQ(read("J"), "<-1>");
}

TEST_F(IniStore, ASectionEndsWhereALineBeginsWithABracketAndOnlyTheFirstHeaderCounts) {
  given("[Log]\nA=1\n[Other]\nB=2\n[Log]\nC=3\n");
  EXPECT_EQ(read("A"), "1");
  EXPECT_EQ(read("B"), "<-1>");
  EXPECT_EQ(read("B", "Other"), "2");
  EXPECT_EQ(read("C"), "<-1>");
  EXPECT_EQ(read("A", "log"), "<-1>") << "names are case-sensitive";
}

TEST_F(IniStore, ReadingFailsWithoutFileOrBufferAndCreatesNothing) {
  EXPECT_EQ(read("A"), "<-1>");
  EXPECT_FALSE(fileExists(m_file));
  CINIImpl ini(m_file.c_str(), "Log", "A");
  EXPECT_EQ(ini.getValue(nullptr), -4);
  EXPECT_EQ(ini.setValue(nullptr), -4);
  EXPECT_FALSE(fileExists(m_file));
}

TEST_F(IniStore, WritingIntoNoFileGivesHeaderAndKeyWithoutAFinalLineEnd) {
  EXPECT_EQ(write("LogConsole", "1"), 0);
  EXPECT_EQ(text(), "[Log]\r\nLogConsole=1");
  EXPECT_EQ(write("LogLevel", "3"), 0);
  EXPECT_EQ(write("LogFile", "0"), 0);
  EXPECT_EQ(text(), "[Log]\r\nLogFile=0\r\nLogLevel=3\r\nLogConsole=1\r\n");
}

// Existing lines keep their own line ends; only the lines a write touches
// and the file's end are normalised to CR LF.
TEST_F(IniStore, WritesReplaceInPlaceOrInsertFirstInTheSection) {
  const struct {
    const char* before;
    const char* section;
    const char* key;
    const char* value;
    const char* after;
  } cases[] = {
      {"; head\r\n[Log]\r\nA=1\r\nLevel=\"old\" ; note\r\nZ=9\r\n[Next]\r\nLevel=5\r\n", "Log", "Level", "2",
       "; head\r\n[Log]\r\nA=1\r\nLevel=2\r\nZ=9\r\n[Next]\r\nLevel=5\r\n"},
      {"[Other]\r\nA=1\r\n[Log]\r\nB=2\r\n", "Log", "C", "3", "[Other]\r\nA=1\r\n[Log]\r\nC=3\r\nB=2\r\n"},
      {"[Other]\r\nA=1\r\n", "New", "D", "4", "[Other]\r\nA=1\r\n[New]\r\nD=4"},
      {"[Log]\nA=1\n[Other]\nB=2\n", "Log", "B", "7", "[Log]\r\nB=7\nA=1\n[Other]\nB=2\r\n"},
      {"[Log]\nA=1\nB=2\nC=3\n\n\n\n", "Log", "B", "5", "[Log]\nA=1\nB=5\r\nC=3\r\n"},
      {"[Log]\nA=1\nB=5\r\nC=3\r\n", "Log", "N", "0", "[Log]\r\nN=0\nA=1\nB=5\r\nC=3\r\n"},
      {"[Log]\r\nA=1\r\n\r\n\n\r\n", "Log", "A", "2", "[Log]\r\nA=2\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.before);
    given(c.before);
    EXPECT_EQ(write(c.key, c.value, c.section), 0);
    EXPECT_EQ(text(), c.after);
  }
}

TEST_F(IniStore, AnUnwritablePlaceGivesMinusOne) {
  // A path below a regular file can't be created, not even by root.
  given("plain file");
  CINIImpl ini((m_file + "/inner.ini").c_str(), "Log", "A");
  EXPECT_EQ(ini.setValue("1"), -1);
  char out[256] = {0};
  EXPECT_EQ(ini.getValue(out), -1);
  EXPECT_EQ(text(), "plain file");
}

}  // namespace
}  // namespace sarvik
