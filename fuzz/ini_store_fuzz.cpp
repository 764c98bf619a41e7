// Arbitrary bytes as a settings file: every key of it, and the log keys, are
// read, rewritten and read back. A stored value must read back unchanged
// whenever section, key and value are free of the characters that the format
// gives a meaning to, and the section header ends its line: a new key is put
// directly behind the header, so text that follows the header on its line
// becomes part of the new value.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "logging/ini_store.h"
#include "logging/log_settings.h"

namespace {

// One file per process, removed after each input: libFuzzer ends without
// running exit hooks, so nothing may be left for later clean-up.
const std::string& scratchFile() {
  static const std::string path = "/tmp/sarvik-ini-fuzz-" + std::to_string(getpid()) + ".ini";
  return path;
}

bool plain(const std::string& text) {
  return text.find_first_of(std::string("[]\r\n\"=\0", 7)) == std::string::npos;
}

std::string scratchText() {
  std::string text;
  FILE* file = fopen(scratchFile().c_str(), "rb");
  if (file == nullptr) return text;
  char buffer[512];
  for (size_t n; (n = fread(buffer, 1, sizeof(buffer), file)) > 0;) text.append(buffer, n);
  fclose(file);
  return text;
}

bool headerEndsItsLine(const std::string& section) {
  const std::string token = "[" + section + "]";
  const std::string text = scratchText();
  size_t pos = text.find(token);
  if (pos == std::string::npos) return true;
  const std::string after = text.substr(pos + token.size());
  return after.empty() || after[0] == '\n' || after.compare(0, 2, "\r\n") == 0;
}

void check(bool condition) {
  if (!condition) __builtin_trap();
}

// The names in front of "=" and inside "[...]", as a reader of the file would
// see them, at most a few of each.
void harvest(const std::string& text, std::vector<std::string>* keys, std::vector<std::string>* sections) {
  for (size_t eq = text.find('='); eq != std::string::npos && keys->size() < 6; eq = text.find('=', eq + 1)) {
    size_t start = text.find_last_of('\n', eq);
    start = start == std::string::npos ? 0 : start + 1;
    if (eq - start <= 32) keys->push_back(text.substr(start, eq - start));
  }
  for (size_t open = text.find('['); open != std::string::npos && sections->size() < 3;
       open = text.find('[', open + 1)) {
    size_t close = text.find(']', open);
    if (close != std::string::npos && close - open <= 32) sections->push_back(text.substr(open + 1, close - open - 1));
  }
}

void writeScratch(const uint8_t* data, size_t size) {
  FILE* file = fopen(scratchFile().c_str(), "wb");
  if (file == nullptr) abort();
  if (size > 0) fwrite(data, 1, size, file);
  fclose(file);
}

void roundTrip(const std::string& section, const std::string& key, const std::string& value) {
  sarvik::CINIImpl ini(scratchFile().c_str(), section.c_str(), key.c_str());
  char out[256] = {0};
  int32_t read = ini.getValue(out);
  check(read == 0 || read == -1);
  check(std::strlen(out) <= 254);

  const bool readsBack = plain(section) && plain(key) && plain(value) && headerEndsItsLine(section);
  check(ini.setValue(value.c_str()) == 0);
  if (!readsBack) return;
  std::memset(out, 0, sizeof(out));
  check(ini.getValue(out) == 0);
  check(value == out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> keys = {"LogLevel", "LogConsole", "LogFile"};
  std::vector<std::string> sections = {"Log"};
  harvest(text, &keys, &sections);
  static const char* const kValues[] = {"3", "", "-1", "\"2\"", "x y", "1 ; note", "\r", "[Log]"};
  const uint8_t pick = size > 0 ? data[size - 1] : 0;

  writeScratch(data, size);
  std::snprintf(sarvik::logSettingsPath(), sarvik::kLogSettingsPathSize, "%s", scratchFile().c_str());
  for (size_t i = 0; i < keys.size(); ++i) {
    const std::string& section = sections[(pick + i) % sections.size()];
    roundTrip(section, keys[i], kValues[(pick + i) % (sizeof(kValues) / sizeof(kValues[0]))]);

    int32_t number = static_cast<int32_t>(pick) * 7919 - 1000 + static_cast<int32_t>(i);
    const bool readsBack = plain(keys[i]) && headerEndsItsLine("Log");
    check(sarvik::writeLogSetting(keys[i].c_str(), number) == 0);
    int32_t back = 0;
    int32_t read = sarvik::readLogSetting(keys[i].c_str(), &back);
    if (readsBack) check(read == 0 && back == number);
  }
  unlink(scratchFile().c_str());
  return 0;
}
