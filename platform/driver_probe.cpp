#include "platform/driver_probe.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

namespace sarvik {

namespace {

constexpr char kInstanceExport[] = "driverInstance";

// Only files this module could load are plug-ins: its own class, byte order
// and machine.
static_assert(sizeof(void*) == 8, "the probe reads 64-bit ELF files only");
#if defined(__x86_64__)
constexpr uint16_t kOwnMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr uint16_t kOwnMachine = EM_AARCH64;
#else
#error "no ELF machine number for this architecture"
#endif
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
constexpr unsigned char kOwnByteOrder = ELFDATA2LSB;
#else
constexpr unsigned char kOwnByteOrder = ELFDATA2MSB;
#endif

// A read-only view of the candidate with every range checked against its
// length before it is read, so that no offset in the file is trusted.
class ElfFile {
 public:
  explicit ElfFile(const char* path);
  ~ElfFile();
  ElfFile(const ElfFile&) = delete;
  ElfFile& operator=(const ElfFile&) = delete;

  bool usable() const { return m_fd >= 0; }
  bool read(uint64_t offset, uint64_t length, void* out) const;
  template <typename T>
  bool readTable(uint64_t offset, uint64_t count, std::vector<T>* out) const;

 private:
  bool fits(uint64_t offset, uint64_t length) const { return offset <= m_size && length <= m_size - offset; }

  int m_fd;
  uint64_t m_size;
};

ElfFile::ElfFile(const char* path) : m_fd(-1), m_size(0) {
  // O_NONBLOCK: a FIFO under the plug-in's name must not hang the caller.
  m_fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (m_fd < 0) return;
  struct stat info;
  if (fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(m_fd);
    m_fd = -1;
    return;
  }
  m_size = static_cast<uint64_t>(info.st_size);
}

ElfFile::~ElfFile() {
  if (m_fd >= 0) ::close(m_fd);
}

bool ElfFile::read(uint64_t offset, uint64_t length, void* out) const {
  if (!fits(offset, length)) return false;
  char* to = static_cast<char*>(out);
  while (length > 0) {
    const ssize_t got = pread(m_fd, to, length, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    // 0 means the file shrank under us: as good as truncated.
    if (got <= 0) return false;
    to += got;
    offset += static_cast<uint64_t>(got);
    length -= static_cast<uint64_t>(got);
  }
  return true;
}

template <typename T>
bool ElfFile::readTable(uint64_t offset, uint64_t count, std::vector<T>* out) const {
  // Checked before the allocation, so a forged count cannot ask for more
  // memory than the file has bytes.
  if (count > m_size / sizeof(T) || !fits(offset, count * sizeof(T))) return false;
  out->resize(count);
  return read(offset, count * sizeof(T), out->data());
}

bool isOwnSharedObject(const Elf64_Ehdr& header) {
  return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ELFCLASS64 &&
         header.e_ident[EI_DATA] == kOwnByteOrder && header.e_ident[EI_VERSION] == EV_CURRENT &&
         header.e_type == ET_DYN && header.e_machine == kOwnMachine;
}

bool readSectionHeaders(const ElfFile& file, const Elf64_Ehdr& header, std::vector<Elf64_Shdr>* sections) {
  if (header.e_shoff == 0 || header.e_shentsize != sizeof(Elf64_Shdr)) return false;
  uint64_t count = header.e_shnum;
  if (count == 0) {
    // Extended numbering: the real count sits in the first header's sh_size.
    Elf64_Shdr first;
    if (!file.read(header.e_shoff, sizeof(first), &first)) return false;
    count = first.sh_size;
  }
  return file.readTable(header.e_shoff, count, sections);
}

bool isExportedDefinition(const Elf64_Sym& symbol) {
  const unsigned bind = ELF64_ST_BIND(symbol.st_info);
  const unsigned visibility = ELF64_ST_VISIBILITY(symbol.st_other);
  return (bind == STB_GLOBAL || bind == STB_WEAK) && symbol.st_shndx != SHN_UNDEF &&
         (visibility == STV_DEFAULT || visibility == STV_PROTECTED);
}

bool definesInstance(const ElfFile& file, const std::vector<Elf64_Shdr>& sections, const Elf64_Shdr& dynsym) {
  if (dynsym.sh_entsize != sizeof(Elf64_Sym) || dynsym.sh_link >= sections.size()) return false;
  const Elf64_Shdr& strtab = sections[dynsym.sh_link];
  if (strtab.sh_type != SHT_STRTAB) return false;

  std::vector<char> names;
  std::vector<Elf64_Sym> symbols;
  if (!file.readTable(strtab.sh_offset, strtab.sh_size, &names) ||
      !file.readTable(dynsym.sh_offset, dynsym.sh_size / sizeof(Elf64_Sym), &symbols)) {
    return false;
  }
  for (const Elf64_Sym& symbol : symbols) {
    if (!isExportedDefinition(symbol) || symbol.st_name >= names.size()) continue;
    // The name, terminator included, must lie wholly inside the table.
    if (names.size() - symbol.st_name < sizeof(kInstanceExport)) continue;
    if (std::memcmp(&names[symbol.st_name], kInstanceExport, sizeof(kInstanceExport)) == 0) return true;
  }
  return false;
}

}  // namespace

bool probeDriverFile(const char* path) {
  if (path == nullptr) return false;
  ElfFile file(path);
  if (!file.usable()) return false;

  Elf64_Ehdr header;
  if (!file.read(0, sizeof(header), &header) || !isOwnSharedObject(header)) return false;
  std::vector<Elf64_Shdr> sections;
  if (!readSectionHeaders(file, header, &sections)) return false;
  for (const Elf64_Shdr& section : sections) {
    if (section.sh_type == SHT_DYNSYM && definesInstance(file, sections, section)) return true;
  }
  return false;
}

}  // namespace sarvik
