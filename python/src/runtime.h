// The loaded module and the one context of the process. The module makes at
// most one context object at a time (ContextFactory gives the same pointer
// until deleteContext), so this state is per process too.
#ifndef SARVIK_PYTHON_RUNTIME_H
#define SARVIK_PYTHON_RUNTIME_H

#include <cstdint>
#include <shared_mutex>
#include <string>

#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikLoader.h"

namespace sarvik_py {

// Status returned by Runtime calls when no usable context exists (closed or
// being closed); never a status of the module.
constexpr int32_t kContextClosed = INT32_MIN;

class Runtime {
 public:
  static Runtime& instance();

  // Loads the module once: SARVIK_MODULE if set, else `bakedPath` (the
  // folder this copy of the package was built or installed for), else the
  // loader's usual search. Needs the GIL; raises sarvik.Error on failure.
  void load(const std::string& bakedPath);
  bool loaded() const { return m_loader.loaded(); }
  const std::string& modulePath() const { return m_loader.path(); }

  // Every call into the context object holds `life` shared; deleting the
  // object holds it exclusively. REQUIRES: the GIL is not held while waiting
  // on it (a callback thread may need the GIL to finish).
  std::shared_mutex& life() { return m_life; }

  // The context object, or null before the first use and after deletion.
  // GUARDED_BY(life)
  SarvikBaseContext* current() const { return m_current; }
  // Makes the context object if there is none. REQUIRES: life held exclusively.
  SarvikBaseContext* ensureCurrent();
  // Deletes the context object. REQUIRES: life held exclusively.
  void deleteCurrent();

  // True while a sarvik.Context is open. REQUIRES: life held exclusively to change.
  bool claimed() const { return m_claimed; }
  void setClaimed(bool claimed) { m_claimed = claimed; }

 private:
  Runtime() = default;
  sarvik::ModuleLoader m_loader;
  std::shared_mutex m_life;
  SarvikBaseContext* m_current = nullptr;
  bool m_claimed = false;
};

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_RUNTIME_H
