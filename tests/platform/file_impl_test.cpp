#include "platform/file_impl.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <string>
#include <thread>

#include "logging/temp_folder.h"

namespace sarvik {
namespace {

using sarvik_test::readFile;
using sarvik_test::TempFolder;
using sarvik_test::writeFile;

const std::string kTenBytes = "0123456789";

class FileImplTest : public ::testing::Test {
 protected:
  std::string writeFixture(const std::string& name, const std::string& bytes) {
    const std::string path = m_folder.file(name);
    writeFile(path, bytes);
    return path;
  }
  std::unique_ptr<FileWrapper> openedForWriting(const std::string& name) {
    std::unique_ptr<FileWrapper> file(new FileImpl());
    EXPECT_EQ(0, file->open(m_folder.file(name).c_str(), false, false, false));
    return file;
  }

  TempFolder m_folder;
};

TEST_F(FileImplTest, ReadReturnsShortAtTheEndThenLoopsOrStops) {
  const std::string path = writeFixture("ten.bin", kTenBytes);
  for (bool loop : {true, false}) {
    SCOPED_TRACE(loop);
    FileImpl file;
    ASSERT_EQ(0, file.open(path.c_str(), true, loop, false));
    char buffer[6];
    EXPECT_EQ(6, file.read(buffer, 6));
    EXPECT_EQ(4, file.read(buffer, 6));
    EXPECT_EQ("6789", std::string(buffer, 4));
    if (!loop) {
      EXPECT_EQ(0, file.read(buffer, 6));
      EXPECT_EQ(0, file.read(buffer, 6));
      EXPECT_EQ(0, file.rewind());
    }
    EXPECT_EQ(6, file.read(buffer, 6));
    EXPECT_EQ("012345", std::string(buffer, 6));
  }
}

TEST_F(FileImplTest, ReadAndWritePositionsDoNotDisturbEachOther) {
  // Reading needs a stream that can read, so the data goes in through one
  // object and is checked through a reader beside the writer.
  auto writer = openedForWriting("both.bin");
  EXPECT_EQ(6, writer->write("abcdef", 6));
  writer->flush();
  FileImpl reader;
  ASSERT_EQ(0, reader.open(m_folder.file("both.bin").c_str(), true, false, false));
  char buffer[3];
  ASSERT_EQ(3, reader.read(buffer, 3));
  EXPECT_EQ("abc", std::string(buffer, 3));
  // getSize() leaves the stream at the end; neither position may follow it.
  EXPECT_EQ(6, writer->getSize());
  EXPECT_EQ(2, writer->write("gh", 2));
  writer->flush();
  ASSERT_EQ(3, reader.read(buffer, 3));
  EXPECT_EQ("def", std::string(buffer, 3));
  EXPECT_EQ("abcdefgh", readFile(m_folder.file("both.bin")));
}

TEST_F(FileImplTest, WriteLimitCutsTheLastWriteAndMayBeLoweredOrRemoved) {
  auto file = openedForWriting("limited.bin");
  EXPECT_EQ(6, file->write("AAAAAA", 6));  // no limit yet: not counted
  file->setMaxBytes(10);
  EXPECT_EQ(6, file->write("BBBBBB", 6));
  EXPECT_EQ(4, file->write("CCCCCC", 6));
  EXPECT_EQ(0, file->write("DDDDDD", 6));
  file->setMaxBytes(2);
  EXPECT_EQ(0, file->write("EEEEEE", 6));
  file->setMaxBytes(0);
  EXPECT_EQ(2, file->write("FF", 2));
  file->close();
  EXPECT_EQ("AAAAAABBBBBBCCCCFF", readFile(m_folder.file("limited.bin")));
}

TEST_F(FileImplTest, WritingGoesOnBehindTheDataOrTheRewrittenHeaderWhicheverIsLonger) {
  const std::pair<std::string, std::string> cases[] = {
      {std::string(100, 'd'), "HEAD" + std::string(96, 'd') + "tail"},
      {"dd", "HEADtail"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first.size());
    auto file = openedForWriting("header.bin");
    EXPECT_EQ(static_cast<int>(c.first.size()), file->write(c.first.data(), c.first.size()));
    EXPECT_EQ(4, file->writeAtStart("HEAD", 4));
    EXPECT_EQ(4, file->write("tail", 4));
    file->close();
    EXPECT_EQ(c.second, readFile(m_folder.file("header.bin")));
  }
}

TEST_F(FileImplTest, WriteTextFormatsAtTheWritePositionAndReturnsTheNewPosition) {
  auto file = openedForWriting("text.txt");
  EXPECT_EQ(3, file->write("abc", 3));
  EXPECT_EQ(9, file->writeText("%s=%d", "key", 42));
  // writeText is outside the limit.
  file->setMaxBytes(1);
  EXPECT_EQ(11, file->writeText("%c%c", '\r', '\n'));
  file->close();
  EXPECT_EQ("abckey=42\r\n", readFile(m_folder.file("text.txt")));
}

TEST_F(FileImplTest, GetPathCutsToTheBufferAndCountsTheTerminator) {
  // A relative path that can't be opened: only the stored text matters.
  FileImpl file;
  EXPECT_EQ(-1, file.open("nx/a.bin", true, false, false));
  char buffer[16];
  EXPECT_EQ(5u, file.getPath(buffer, 5));
  EXPECT_STREQ("nx/a", buffer);
  EXPECT_EQ(9u, file.getPath(buffer, 9));
  EXPECT_STREQ("nx/a.bin", buffer);
}

TEST_F(FileImplTest, ClosedObjectReportsEveryOperationAsFailed) {
  FileImpl file;
  char buffer[4] = {0};
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(-13, file.rewind());
  EXPECT_EQ(-5, file.flush());
  EXPECT_EQ(-1, file.read(buffer, 4));
  EXPECT_EQ(-1, file.write(buffer, 4));
  EXPECT_EQ(-1, file.writeAtStart(buffer, 4));
  EXPECT_EQ(-1, file.writeText("x"));
  EXPECT_EQ(-1, file.getSize());
  file.close();  // harmless

  EXPECT_EQ(-1, file.open(m_folder.path().c_str(), true, false, false)) << "a folder is no file";
  EXPECT_EQ(-1, file.open(m_folder.path().c_str(), false, false, false));
  EXPECT_FALSE(file.isOpen());
}

TEST_F(FileImplTest, OpeningForWritingCutsTheFileAndASecondOpenIsANoOp) {
  const std::string path = writeFixture("first.bin", kTenBytes);
  FileImpl file;
  ASSERT_EQ(0, file.open(path.c_str(), false, false, false));
  EXPECT_EQ(0, file.getSize());
  const std::string other = m_folder.file("second.bin");
  EXPECT_EQ(0, file.open(other.c_str(), false, false, false));
  EXPECT_EQ(path, file.path());
  EXPECT_EQ(1, file.write("x", 1));
  file.close();
  EXPECT_EQ("x", readFile(path));
  EXPECT_NE(0, access(other.c_str(), F_OK));
}

TEST_F(FileImplTest, SecondWriterIsRefusedAndTheFirstFileStaysWhole) {
  auto first = openedForWriting("shared.bin");
  EXPECT_EQ(5, first->write("hello", 5));
  first->flush();

  FileImpl second;
  EXPECT_EQ(-1, second.open(m_folder.file("shared.bin").c_str(), false, false, false));
  EXPECT_FALSE(second.isOpen());
  EXPECT_EQ("hello", readFile(m_folder.file("shared.bin")));

  // Reading beside the writer is allowed.
  FileImpl reader;
  ASSERT_EQ(0, reader.open(m_folder.file("shared.bin").c_str(), true, false, false));
  char buffer[5];
  EXPECT_EQ(5, reader.read(buffer, 5));

  EXPECT_EQ(6, first->write(" world", 6));
  first->close();
  reader.close();
  EXPECT_EQ("hello world", readFile(m_folder.file("shared.bin")));
  EXPECT_EQ(0, second.open(m_folder.file("shared.bin").c_str(), false, false, false));
}

TEST_F(FileImplTest, ReadersKeepWritersOut) {
  const std::string path = writeFixture("read.bin", kTenBytes);
  FileImpl reader;
  FileImpl secondReader;
  ASSERT_EQ(0, reader.open(path.c_str(), true, false, false));
  EXPECT_EQ(0, secondReader.open(path.c_str(), true, false, false));
  FileImpl writer;
  EXPECT_EQ(-1, writer.open(path.c_str(), false, false, false));
  EXPECT_EQ(kTenBytes, readFile(path));
}

TEST_F(FileImplTest, WritesFromTwoThreadsNeverInterleaveWithinARecord) {
  auto file = openedForWriting("threads.bin");
  const int kRecords = 2000;
  auto writeRecords = [&file](char fill) {
    const std::string record(8, fill);
    for (int i = 0; i < kRecords; ++i) file->write(record.data(), 8);
  };
  std::thread a(writeRecords, 'a');
  std::thread b(writeRecords, 'b');
  a.join();
  b.join();
  file->close();

  const std::string bytes = readFile(m_folder.file("threads.bin"));
  ASSERT_EQ(static_cast<size_t>(2 * kRecords * 8), bytes.size());
  for (size_t at = 0; at < bytes.size(); at += 8) {
    ASSERT_EQ(std::string(8, bytes[at]), bytes.substr(at, 8)) << "record at " << at;
  }
}

}  // namespace
}  // namespace sarvik
