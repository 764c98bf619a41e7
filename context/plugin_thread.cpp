#include "context/plugin_thread.h"

#include <dlfcn.h>
#include <pthread.h>

#include "platform/dynamic_library.h"

namespace sarvik {

namespace {

thread_local int t_pluginCallbacks = 0;

pthread_once_t g_keyOnce = PTHREAD_ONCE_INIT;
pthread_key_t g_unloadKey;

// Runs when a marked thread ends, after its start function has returned:
// no frame of the plug-in is left on its stack.
void unloadAtThreadEnd(void* value) {
  auto* modules = static_cast<std::vector<void*>*>(value);
  for (void* module : *modules) freeLibrary(module);
  delete modules;
}

void makeKey() { pthread_key_create(&g_unloadKey, unloadAtThreadEnd); }

// The thread-end hook lives in this module: it must outlive the application's
// unloading of it.
void pinThisModule() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&unloadAtThreadEnd), &info) == 0 || info.dli_fname == nullptr) return;
  // Deliberately never closed: RTLD_NODELETE keeps the module mapped.
  dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace

PluginThreadMark::PluginThreadMark() { ++t_pluginCallbacks; }
PluginThreadMark::~PluginThreadMark() { --t_pluginCallbacks; }
bool PluginThreadMark::onPluginThread() { return t_pluginCallbacks > 0; }

void unloadWhenThreadEnds(const std::vector<void*>& modules) {
  if (modules.empty()) return;
  pinThisModule();
  pthread_once(&g_keyOnce, makeKey);
  auto* pending = static_cast<std::vector<void*>*>(pthread_getspecific(g_unloadKey));
  if (pending == nullptr) pending = new std::vector<void*>();
  pending->insert(pending->end(), modules.begin(), modules.end());
  pthread_setspecific(g_unloadKey, pending);
}

}  // namespace sarvik
