#include "logging/log_bridge.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/dynamic_library.h"
#include "platform/module_path.h"
#include "sarvik/SarvikLogDriver.h"

namespace sarvik {
namespace {

constexpr char kLogDriverFile[] = "libSarvikLogDriver.so";
constexpr char kModuleTag[] = "SarvikCommonDriver";
constexpr size_t kMessageBufferSize = 2048;
// One byte short of the buffer, so at most 2046 characters reach the plug-in.
constexpr size_t kMessageFormatLimit = kMessageBufferSize - 1;

struct LogDriverEntries {
  SarvikLogWriteFn write;
  SarvikLogSimplifyFn simplify;
  SarvikLogErrnoFn errnoWrite;
  SarvikLogConfigFileWriterFn configFileWriter;
  SarvikLogConfigConsoleWriterFn configConsoleWriter;
  SarvikLogSetFilePathEntryFn setFilePath;
  SarvikLogSetlogLevelFn setLevel;
  SarvikLogSetMaxSizeFn setMaxSize;
  SarvikLogGetGlobalLevelFn getGlobalLevel;
};

bool g_bound = false;
void* g_library = nullptr;
char g_moduleTag[64];
LogDriverEntries g_entries;
// The one entry point every record passes; atomic so that a record on a
// worker thread sees a complete binding or none.
std::atomic<SarvikLogSimplifyFn> g_simplify{nullptr};

// Resolves one export into `slot`; false when it is missing.
template <typename Fn>
bool resolve(void* library, const char* name, Fn* slot) {
  *slot = reinterpret_cast<Fn>(findSymbol(library, name));
  return *slot != nullptr;
}

// In the order of the plug-in contract; the first missing export stops it.
bool resolveAll(void* library, LogDriverEntries* e) {
  return resolve(library, "sarvikLogWrite", &e->write) &&
         resolve(library, "sarvikLogSimplify", &e->simplify) &&
         resolve(library, "sarvikLogErrno", &e->errnoWrite) &&
         resolve(library, "sarvikLogConfigFileWriter", &e->configFileWriter) &&
         resolve(library, "sarvikLogConfigConsoleWriter", &e->configConsoleWriter) &&
         resolve(library, "sarvikLogSetFilePathEntry", &e->setFilePath) &&
         resolve(library, "sarvikLogSetlogLevel", &e->setLevel) &&
         resolve(library, "sarvikLogSetMaxSize", &e->setMaxSize) &&
         resolve(library, "sarvikLogGetGlobalLevel", &e->getGlobalLevel);
}

void clearEntries() {
  g_simplify.store(nullptr, std::memory_order_release);
  std::memset(&g_entries, 0, sizeof(g_entries));
}

}  // namespace

int32_t bindLogDriverFrom(const char* path) {
  if (g_bound) return 0;
  std::snprintf(g_moduleTag, sizeof(g_moduleTag), "%s", kModuleTag);

  g_library = loadLibrary(path);
  if (g_library != nullptr) {
    LogDriverEntries entries;
    std::memset(&entries, 0, sizeof(entries));
    if (resolveAll(g_library, &entries)) {
      g_entries = entries;
      g_simplify.store(entries.simplify, std::memory_order_release);
      g_bound = true;
      return 0;
    }
  }
  // Nothing can be logged about this: there is no sink.
  clearEntries();
  if (g_library != nullptr) {
    freeLibrary(g_library);
    g_library = nullptr;
  }
  return -1;
}

int32_t bindLogDriver() {
  if (g_bound) return 0;
  char folder[kModulePathBytes];
  std::memset(folder, 0, sizeof(folder));
  // On failure the folder stays empty and the loader's own search runs on
  // the bare file name.
  getCurrentModulePath(folder);
  char path[kModulePathBytes + sizeof(kLogDriverFile)];
  std::snprintf(path, sizeof(path), "%s%s", folder, kLogDriverFile);
  return bindLogDriverFrom(path);
}

int32_t unbindLogDriver() {
  if (!g_bound) return 0;
  clearEntries();
  if (g_library != nullptr) freeLibrary(g_library);
  g_library = nullptr;
  g_bound = false;
  return 0;
}

bool logDriverBound() { return g_bound; }

int32_t logMessage(uint32_t level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t result = logMessageV(level, format, args);
  va_end(args);
  return result;
}

int32_t logMessageV(uint32_t level, const char* format, va_list args) {
  SarvikLogSimplifyFn simplify = g_simplify.load(std::memory_order_acquire);
  if (simplify == nullptr) return 0;

  char buffer[kMessageBufferSize];
  std::memset(buffer, 0, sizeof(buffer));
  // A negative result is no error: whatever stands in the buffer, usually the
  // empty text, still goes out.
  std::vsnprintf(buffer, kMessageFormatLimit, format, args);
  return simplify(g_moduleTag, static_cast<int32_t>(level), buffer);
}

int32_t logDriverSetLevel(int32_t level) {
  return g_bound ? g_entries.setLevel(level) : 0;
}

int32_t logDriverSetFilePath(const char* path) {
  return g_bound ? g_entries.setFilePath(path) : 0;
}

int32_t logDriverConfigFileWriter(bool enable) {
  return g_bound ? g_entries.configFileWriter(enable) : 0;
}

int32_t logDriverConfigConsoleWriter(bool enable) {
  return g_bound ? g_entries.configConsoleWriter(enable) : 0;
}

}  // namespace sarvik
