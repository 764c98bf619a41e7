// One value of a small INI-like text file, read or rewritten in place.
//
// This is no parser: the file is one string and section and key are found by
// plain, case-sensitive substring search.
//   - The section header is the first occurrence of "[section]" anywhere.
//   - The section body runs from behind the header up to and including the
//     first line feed that is directly followed by "[", else to the end.
//   - The key is the first occurrence of "key=" in the body, anywhere on a
//     line; there are no blanks around "=" and no comments.
//   - The value runs to the next line feed. One leading double quote, then
//     the first carriage return, then one trailing double quote are removed.
// Writing uses CR LF and bare values, and rewrites the whole file with no
// temporary copy.
//
// An object stands for one (file, section, key) and lives for one access;
// nothing is cached. It logs nothing and sets no last error. Not for two
// writers of one file at once: each rewrites all it has read.
#ifndef SARVIK_LOGGING_INI_STORE_H
#define SARVIK_LOGGING_INI_STORE_H

#include <cstdint>
#include <string>

namespace sarvik {

class CINIImpl {
 public:
  CINIImpl(const char* path, const char* section, const char* key);
  virtual ~CINIImpl();

  // Copies the value into `out`, a buffer of 256 bytes, cut to 254
  // characters. 0 found; -1 no file, section or key; -4 `out` is null.
  int32_t getValue(char* out);

  // Stores `value` under the section and key: an existing key's line is
  // replaced in place, a new key goes first in its section, a missing
  // section is appended at the end. 0 stored; -1 the file could not be
  // created or rewritten; -4 `value` is null.
  int32_t setValue(const char* value);

  // Reads the whole file into `text`; 0 or -1. With `readOnly` false the
  // file is opened for writing, so it is created or cut to length 0 and
  // `text` comes back empty. Bytes behind a NUL in a read chunk are lost.
  int32_t loadFile(std::string& text, bool readOnly);

  // Narrows `text` to the section body; -1 without the section.
  int32_t findSection(std::string& text);

  // Narrows a section body to the key's value; -1 without the key.
  int32_t findKey(std::string& text);

 private:
  // The body of a section, given all that follows its header.
  static std::string sectionBody(const std::string& rest);

  std::string m_path;
  std::string m_sectionToken;
  std::string m_keyToken;
};

}  // namespace sarvik

#endif  // SARVIK_LOGGING_INI_STORE_H
