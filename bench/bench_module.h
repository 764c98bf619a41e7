// Loads a private copy of the module with a chosen transport plug-in beside
// it, the way an application would: through the two exports only.
#ifndef SARVIK_BENCH_BENCH_MODULE_H
#define SARVIK_BENCH_BENCH_MODULE_H

#include <dlfcn.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "sarvik/SarvikBaseContext.h"

class BenchModule {
 public:
  // plugin: path of the transport plug-in to place as libSarvikUvcDriver.so.
  explicit BenchModule(const std::string& libDir, const std::string& plugin) {
    char folder[] = "/tmp/sarvik-bench-XXXXXX";
    if (mkdtemp(folder) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_folder = folder;
    namespace fs = std::filesystem;
    fs::copy_file(libDir + "/libSarvikCommonDriver.so", m_folder + "/libSarvikCommonDriver.so");
    fs::copy_file(plugin, m_folder + "/libSarvikUvcDriver.so");
    m_module = dlopen((m_folder + "/libSarvikCommonDriver.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    m_plugin = dlopen((m_folder + "/libSarvikUvcDriver.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_module == nullptr || m_plugin == nullptr) throw std::runtime_error(dlerror());
    auto factory = reinterpret_cast<ContextFactoryFn>(dlsym(m_module, "ContextFactory"));
    m_delete = reinterpret_cast<DeleteContextFn>(dlsym(m_module, "deleteContext"));
    m_context = factory();
    if (m_context->initialize() != 0) throw std::runtime_error("initialize failed");
  }
  ~BenchModule() {
    m_context->shutdown();
    m_delete(m_context);
    std::filesystem::remove_all(m_folder);
  }
  SarvikBaseContext* context() const { return m_context; }
  template <typename Fn>
  Fn pluginSymbol(const char* name) const {
    return reinterpret_cast<Fn>(dlsym(m_plugin, name));
  }

 private:
  std::string m_folder;
  void* m_module = nullptr;
  void* m_plugin = nullptr;
  DeleteContextFn m_delete = nullptr;
  SarvikBaseContext* m_context = nullptr;
};

#endif  // SARVIK_BENCH_BENCH_MODULE_H
