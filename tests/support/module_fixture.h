// A GoogleTest fixture that runs a fresh, private copy of the module.
//
// load() makes a temporary folder, COPIES the built module into it together
// with the chosen transport plug-ins under the names the module looks for
// (libSarvikUvcDriver.so, libSarvikNetDriver.so) and the in-memory log plug-in
// as libSarvikLogDriver.so, then dlopens the copy and makes the context. Every
// test thus gets a module instance of its own: its own context, plug-in
// instances, log records and module-level state. (A symbolic link would not
// do: the loader would hand back the instance that another test left loaded.)
//
// The test reaches the fake plug-ins' control objects and the log by opening
// the very files the module opens, which gives the same instances. Only
// include/ and tests/support are used: the test sees the module as an
// application does.
//
// TearDown shuts the context down, deletes it, unloads the module and its
// plug-ins and removes the folder. With SARVIK_TEST_KEEP_MODULES set in the
// environment, copies stay loaded and on disk, so that a leak report at exit
// can name the functions of the module.
#ifndef SARVIK_TESTS_SUPPORT_MODULE_FIXTURE_H
#define SARVIK_TESTS_SUPPORT_MODULE_FIXTURE_H

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "sarvik/SarvikBaseContext.h"
#include "support/fake_driver_control.h"
#include "support/memory_log.h"

namespace sarvik_test {

// What stands beside the module under a transport plug-in's name.
enum class PluginKind {
  kNone,          // nothing
  kFake,          // the full fake plug-in
  kNoInstance,    // a shared object without driverInstance
  kNullInstance,  // driverInstance gives null
  kNoDestroy,     // no driverDestroy export
};

struct ModuleSetup {
  PluginKind uvc = PluginKind::kFake;
  PluginKind net = PluginKind::kFake;
  bool memoryLog = true;
};

enum class PluginSlot { kUvc, kNet };

constexpr const char* kModuleFileName = "libSarvikCommonDriver.so";
constexpr const char* kUvcFileName = "libSarvikUvcDriver.so";
constexpr const char* kNetFileName = "libSarvikNetDriver.so";
constexpr const char* kLogFileName = "libSarvikLogDriver.so";

inline std::string builtModulePath() { return std::string(SARVIK_BUILD_LIB_DIR) + "/" + kModuleFileName; }
inline std::string testPluginPath(const char* file) {
  return std::string(SARVIK_BUILD_LIB_DIR) + "/testplugins/" + file;
}

inline const char* pluginSource(PluginKind kind) {
  switch (kind) {
    case PluginKind::kFake:
      return "libSarvikTestFakeDriver.so";
    case PluginKind::kNoInstance:
      return "libSarvikTestNoInstance.so";
    case PluginKind::kNullInstance:
      return "libSarvikTestNullInstance.so";
    case PluginKind::kNoDestroy:
      return "libSarvikTestNoDestroy.so";
    case PluginKind::kNone:
      break;
  }
  return nullptr;
}

// True while the loader holds the file, without loading it.
inline bool isLoaded(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

// Polls `condition` until it holds or `seconds` have passed.
inline bool waitUntil(const std::function<bool()>& condition, double seconds = 10.0) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return condition();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// The address of a function of a loaded copy that the copy does not export,
// found in the file's own symbol table (the build keeps one). Null when the
// file has no such symbol.
inline void* findLocalFunction(void* handle, const std::string& path, const char* mangledName) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (bytes.size() < sizeof(Elf64_Ehdr)) return nullptr;
  const auto* header = reinterpret_cast<const Elf64_Ehdr*>(bytes.data());
  if (header->e_shoff == 0 || header->e_shoff + header->e_shnum * sizeof(Elf64_Shdr) > bytes.size()) {
    return nullptr;
  }
  const auto* sections = reinterpret_cast<const Elf64_Shdr*>(bytes.data() + header->e_shoff);
  for (int i = 0; i < header->e_shnum; ++i) {
    if (sections[i].sh_type != SHT_SYMTAB || sections[i].sh_link >= header->e_shnum) continue;
    const Elf64_Shdr& names = sections[sections[i].sh_link];
    if (sections[i].sh_offset + sections[i].sh_size > bytes.size() ||
        names.sh_offset + names.sh_size > bytes.size()) {
      return nullptr;
    }
    const auto* symbols = reinterpret_cast<const Elf64_Sym*>(bytes.data() + sections[i].sh_offset);
    const size_t count = sections[i].sh_size / sizeof(Elf64_Sym);
    for (size_t s = 0; s < count; ++s) {
      if (symbols[s].st_name >= names.sh_size || symbols[s].st_shndx == SHN_UNDEF) continue;
      if (std::string(bytes.data() + names.sh_offset + symbols[s].st_name) != mangledName) continue;
      struct link_map* map = nullptr;
      if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) return nullptr;
      return reinterpret_cast<void*>(map->l_addr + symbols[s].st_value);
    }
  }
  return nullptr;
}

class ModuleFixture : public ::testing::Test {
 protected:
  ~ModuleFixture() override { unloadAll(); }

  void TearDown() override { unloadAll(); }

  // Sets up the folder and loads the module; makes the context unless told not to.
  void load(const ModuleSetup& setup = ModuleSetup(), bool makeContext = true) {
    m_setup = setup;
    char folderTemplate[] = "/tmp/sarvik-module-XXXXXX";
    const char* made = mkdtemp(folderTemplate);
    if (made == nullptr) throw std::runtime_error("mkdtemp failed");
    m_folder = made;
    copyFile(builtModulePath(), modulePath());
    placePlugin(setup.uvc, kUvcFileName);
    placePlugin(setup.net, kNetFileName);
    if (setup.memoryLog) {
      copyFile(testPluginPath("libSarvikTestMemoryLog.so"), m_folder + "/" + kLogFileName);
      // Opened before the module binds it, so that both share one instance.
      m_log = std::make_unique<MemoryLog>((m_folder + "/" + kLogFileName).c_str());
    }
    // Control objects of full plug-ins are taken first: the test configures
    // them before the module's initialize.
    if (setup.uvc == PluginKind::kFake || setup.uvc == PluginKind::kNoDestroy) control(PluginSlot::kUvc);
    if (setup.net == PluginKind::kFake || setup.net == PluginKind::kNoDestroy) control(PluginSlot::kNet);

    m_module = dlopen(modulePath().c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_module == nullptr) throw std::runtime_error(std::string("cannot load the module: ") + dlerror());
    m_factory = reinterpret_cast<ContextFactoryFn>(dlsym(m_module, "ContextFactory"));
    m_delete = reinterpret_cast<DeleteContextFn>(dlsym(m_module, "deleteContext"));
    if (m_factory == nullptr || m_delete == nullptr) throw std::runtime_error("module exports missing");
    if (makeContext) m_context = m_factory();
  }

  SarvikBaseContext* ctx() { return m_context; }
  ContextFactoryFn factory() { return m_factory; }
  DeleteContextFn deleter() { return m_delete; }
  // For tests that end the context themselves: TearDown leaves it alone.
  void forgetContext() { m_context = nullptr; }
  void adoptContext(SarvikBaseContext* context) { m_context = context; }

  // The control object of the plug-in copy in `slot`; opening it keeps that
  // copy loaded until releaseControl or TearDown.
  FakeDriverControl& control(PluginSlot slot) {
    Plugin& plugin = m_plugins[static_cast<int>(slot)];
    if (plugin.control == nullptr) {
      const std::string path = pluginPath(slot);
      plugin.handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
      if (plugin.handle == nullptr) throw std::runtime_error("cannot load " + path);
      auto get = reinterpret_cast<FakeDriverControlFn>(dlsym(plugin.handle, SARVIK_FAKE_DRIVER_CONTROL_EXPORT));
      if (get == nullptr) throw std::runtime_error("no control export in " + path);
      plugin.control = get();
    }
    return *plugin.control;
  }
  FakeDriverControl& uvc() { return control(PluginSlot::kUvc); }
  FakeDriverControl& net() { return control(PluginSlot::kNet); }
  // Lets go of the test's own hold on a plug-in copy, so that whether the
  // module keeps it loaded can be seen. The control object is gone after it.
  void releaseControl(PluginSlot slot) {
    Plugin& plugin = m_plugins[static_cast<int>(slot)];
    if (plugin.handle != nullptr) dlclose(plugin.handle);
    plugin = Plugin();
  }

  MemoryLog& log() {
    if (!m_log) throw std::runtime_error("no memory log in this setup");
    return *m_log;
  }

  const std::string& folder() const { return m_folder; }
  std::string modulePath() const { return m_folder + "/" + kModuleFileName; }
  std::string pluginPath(PluginSlot slot) const {
    return m_folder + "/" + (slot == PluginSlot::kUvc ? kUvcFileName : kNetFileName);
  }
  void* moduleHandle() const { return m_module; }

  // The calling thread's last-error code in this copy of the module. The
  // application interface can set the code but has no way to read it, and
  // adding one is not the tests' business: the module's own lastErrorCell is
  // called instead, found by name in the copy's symbol table.
  uint32_t lastError() {
    if (m_lastErrorCell == nullptr) {
      m_lastErrorCell = reinterpret_cast<uint32_t* (*)()>(
          findLocalFunction(m_module, modulePath(), "_ZN6sarvik13lastErrorCellEv"));
      if (m_lastErrorCell == nullptr) throw std::runtime_error("the module's symbol table has no lastErrorCell");
    }
    return *m_lastErrorCell();
  }
  void clearLastError() { m_context->setLastError(0); }

 private:
  struct Plugin {
    void* handle = nullptr;
    FakeDriverControl* control = nullptr;
  };

  static void copyFile(const std::string& from, const std::string& to) {
    std::error_code error;
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error);
    if (error) throw std::runtime_error("cannot copy " + from + ": " + error.message());
  }

  void placePlugin(PluginKind kind, const char* name) {
    if (const char* source = pluginSource(kind)) copyFile(testPluginPath(source), m_folder + "/" + name);
  }

  void unloadAll() {
    if (m_context != nullptr) {
      m_context->shutdown();  // -2 when it is not running; harmless
      m_delete(m_context);
      m_context = nullptr;
    }
    const bool keep = std::getenv("SARVIK_TEST_KEEP_MODULES") != nullptr;
    if (m_module != nullptr) {
      if (!keep) dlclose(m_module);
      m_module = nullptr;
    }
    m_lastErrorCell = nullptr;
    if (!keep) {
      releaseControl(PluginSlot::kUvc);
      releaseControl(PluginSlot::kNet);
    }
    m_plugins[0] = m_plugins[1] = Plugin();
    m_log.reset();
    if (!m_folder.empty() && !keep) {
      std::error_code error;
      std::filesystem::remove_all(m_folder, error);
      m_folder.clear();
    }
  }

  ModuleSetup m_setup;
  std::string m_folder;
  void* m_module = nullptr;
  ContextFactoryFn m_factory = nullptr;
  DeleteContextFn m_delete = nullptr;
  SarvikBaseContext* m_context = nullptr;
  Plugin m_plugins[2];
  std::unique_ptr<MemoryLog> m_log;
  uint32_t* (*m_lastErrorCell)() = nullptr;
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_SUPPORT_MODULE_FIXTURE_H
