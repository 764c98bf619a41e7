// Loads a private copy of the module with a chosen transport plug-in beside
// it, the way an application would: through the two exports only.
#ifndef SARVIK_BENCH_BENCH_MODULE_H
#define SARVIK_BENCH_BENCH_MODULE_H

#include <dlfcn.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "sarvik/SarvikLoader.h"

class BenchModule {
 public:
  // plugin: path of the transport plug-in to place as libSarvikUvcDriver.so.
  explicit BenchModule(const std::string& libDir, const std::string& plugin) {
    char folder[] = "/tmp/sarvik-bench-XXXXXX";
    if (mkdtemp(folder) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_folder = folder;
    namespace fs = std::filesystem;
    fs::copy_file(libDir + "/" SARVIK_MODULE_FILE, m_folder + "/" SARVIK_MODULE_FILE);
    fs::copy_file(plugin, m_folder + "/libSarvikUvcDriver.so");
    std::string error;
    if (!m_loader.load(m_folder + "/" SARVIK_MODULE_FILE, &error)) throw std::runtime_error(error);
    // The module binds the plug-in itself; this handle only reaches the
    // plug-in's test controls.
    m_plugin = dlopen((m_folder + "/libSarvikUvcDriver.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_plugin == nullptr) throw std::runtime_error(dlerror());
    m_context = m_loader.contextFactory()();
    if (m_context->initialize() != 0) throw std::runtime_error("initialize failed");
  }
  ~BenchModule() {
    m_context->shutdown();
    m_loader.deleteContext()(m_context);
    std::filesystem::remove_all(m_folder);
  }
  SarvikBaseContext* context() const { return m_context; }
  template <typename Fn>
  Fn pluginSymbol(const char* name) const {
    return reinterpret_cast<Fn>(dlsym(m_plugin, name));
  }

 private:
  std::string m_folder;
  sarvik::ModuleLoader m_loader;
  void* m_plugin = nullptr;
  SarvikBaseContext* m_context = nullptr;
};

#endif  // SARVIK_BENCH_BENCH_MODULE_H
