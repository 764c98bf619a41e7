#include "platform/driver_probe.h"

#include <elf.h>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <thread>

#include "logging/temp_folder.h"

namespace sarvik {
namespace {

using sarvik_test::readFile;
using sarvik_test::TempFolder;
using sarvik_test::writeFile;

class DriverProbeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_plugin = readFile(FIXTURE_DEFINES_INSTANCE_PATH);
    ASSERT_GT(m_plugin.size(), sizeof(Elf64_Ehdr));
  }
  // The real plug-in with some bytes changed, as a file of its own.
  bool probeVariant(const std::string& bytes) {
    const std::string path = m_folder.file("variant.so");
    writeFile(path, bytes);
    return probeDriverFile(path.c_str());
  }
  Elf64_Ehdr header() const {
    Elf64_Ehdr h;
    std::memcpy(&h, m_plugin.data(), sizeof(h));
    return h;
  }
  std::string withHeader(const Elf64_Ehdr& h) const {
    std::string bytes = m_plugin;
    std::memcpy(&bytes[0], &h, sizeof(h));
    return bytes;
  }

  TempFolder m_folder;
  std::string m_plugin;
};

TEST_F(DriverProbeTest, OnlyASharedObjectDefiningTheExactExportIsAPlugin) {
  EXPECT_TRUE(probeDriverFile(FIXTURE_DEFINES_INSTANCE_PATH));
  EXPECT_TRUE(probeDriverFile(FIXTURE_WEAK_INSTANCE_PATH));
  EXPECT_TRUE(probeVariant(m_plugin));
  EXPECT_FALSE(probeDriverFile(FIXTURE_NEAR_MISSES_PATH));
  EXPECT_FALSE(probeDriverFile(FIXTURE_IMPORTS_INSTANCE_PATH));
}

TEST_F(DriverProbeTest, FileOfAnotherClassByteOrderMachineOrTypeIsNoPlugin) {
  const std::function<void(Elf64_Ehdr&)> changes[] = {
      [](Elf64_Ehdr& h) { h.e_ident[EI_CLASS] = ELFCLASS32; },
      [](Elf64_Ehdr& h) { h.e_ident[EI_DATA] = ELFDATA2MSB; },
      [](Elf64_Ehdr& h) { h.e_machine = EM_AARCH64; },
      [](Elf64_Ehdr& h) { h.e_type = ET_EXEC; },
  };
  for (size_t i = 0; i < sizeof(changes) / sizeof(changes[0]); ++i) {
    SCOPED_TRACE(i);
    Elf64_Ehdr h = header();
    changes[i](h);
    EXPECT_FALSE(probeVariant(withHeader(h)));
  }
}

TEST_F(DriverProbeTest, ExtendedSectionCountIsFollowed) {
  Elf64_Ehdr h = header();
  Elf64_Shdr first;
  std::memcpy(&first, m_plugin.data() + h.e_shoff, sizeof(first));
  first.sh_size = h.e_shnum;
  h.e_shnum = 0;
  std::string bytes = withHeader(h);
  std::memcpy(&bytes[h.e_shoff], &first, sizeof(first));
  EXPECT_TRUE(probeVariant(bytes));
}

TEST_F(DriverProbeTest, NonFilesAndNonElfFilesAreNoPlugin) {
  EXPECT_FALSE(probeDriverFile(nullptr));
  EXPECT_FALSE(probeDriverFile(""));
  EXPECT_FALSE(probeDriverFile(m_folder.file("missing.so").c_str()));
  EXPECT_FALSE(probeDriverFile(m_folder.path().c_str()));
  EXPECT_FALSE(probeVariant(""));
  EXPECT_FALSE(probeVariant("\x7f" "ELF"));
  EXPECT_FALSE(probeVariant(std::string("\x7f" "ELF\x02\x01\x01", 7) + std::string(200, '\xff')));
  EXPECT_FALSE(probeVariant("driverInstance\n"));
}

TEST_F(DriverProbeTest, FifoIsRefusedWithoutBlocking) {
  // Opening a FIFO for reading would wait for a writer forever.
  const std::string fifo = m_folder.file("fifo.so");
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  EXPECT_FALSE(probeDriverFile(fifo.c_str()));
}

TEST_F(DriverProbeTest, EveryTruncationOfAPluginIsRefused) {
  // Section headers sit at the end of the file, so no proper prefix holds a
  // complete dynamic symbol table description. Cut one copy ever shorter
  // rather than write a file per length.
  const std::string path = m_folder.file("truncated.so");
  writeFile(path, m_plugin);
  const size_t size = m_plugin.size();
  for (size_t length = size; length-- > 0;) {
    if (length > 512 && length < size - 512 && length % 61 != 0) continue;
    ASSERT_EQ(0, truncate(path.c_str(), static_cast<off_t>(length)));
    ASSERT_FALSE(probeDriverFile(path.c_str())) << "length " << length;
  }
}

TEST_F(DriverProbeTest, CorruptedPluginsNeverCrashTheProbe) {
  // Whatever the answer, every corruption must be read safely; the sanitizer
  // builds turn a stray read into a failure. One copy is patched in place and
  // restored after each probe.
  const std::string path = m_folder.file("corrupted.so");
  writeFile(path, m_plugin);
  const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  auto put = [fd](size_t at, char byte) { ASSERT_EQ(1, pwrite(fd, &byte, 1, static_cast<off_t>(at))); };

  const Elf64_Ehdr h = header();
  const size_t tableEnd = h.e_shoff + static_cast<size_t>(h.e_shnum) * sizeof(Elf64_Shdr);
  ASSERT_LE(tableEnd, m_plugin.size());
  auto flipAt = [&](size_t at, char mask) {
    put(at, static_cast<char>(m_plugin[at] ^ mask));
    probeDriverFile(path.c_str());
    put(at, m_plugin[at]);
  };
  for (size_t at = 0; at < sizeof(Elf64_Ehdr); ++at) flipAt(at, '\xff');
  for (size_t at = h.e_shoff; at < tableEnd; ++at) {
    flipAt(at, '\xff');
    flipAt(at, '\x80');
  }
  // The symbols themselves: names and section indexes out of range.
  for (uint16_t i = 0; i < h.e_shnum; ++i) {
    Elf64_Shdr section;
    std::memcpy(&section, m_plugin.data() + h.e_shoff + i * sizeof(Elf64_Shdr), sizeof(section));
    if (section.sh_type != SHT_DYNSYM) continue;
    ASSERT_LE(section.sh_offset + section.sh_size, m_plugin.size());
    for (size_t at = section.sh_offset; at < section.sh_offset + section.sh_size; ++at) flipAt(at, '\xff');
  }

  std::mt19937 random(1234);
  std::uniform_int_distribution<size_t> position(0, m_plugin.size() - 1);
  std::uniform_int_distribution<int> value(1, 255);
  for (int round = 0; round < 500; ++round) {
    size_t changed[8];
    for (size_t& at : changed) {
      at = position(random);
      put(at, static_cast<char>(value(random)));
    }
    probeDriverFile(path.c_str());
    for (size_t at : changed) put(at, m_plugin[at]);
  }
  close(fd);
  // The restored copy still passes: every patch above was undone.
  EXPECT_TRUE(probeDriverFile(path.c_str()));
}

}  // namespace
}  // namespace sarvik
