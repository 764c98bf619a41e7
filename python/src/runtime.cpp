#include "runtime.h"

#include <cstdlib>

#include "errors.h"

namespace sarvik_py {

Runtime& Runtime::instance() {
  // Never destroyed: module threads may still be winding down at exit.
  static Runtime* runtime = new Runtime();
  return *runtime;
}

void Runtime::load(const std::string& bakedPath) {
  if (m_loader.loaded()) return;
  std::string error;
  const char* environment = std::getenv(SARVIK_ENV_MODULE);
  const bool overridden = environment != nullptr && environment[0] != '\0';
  if (!overridden && !bakedPath.empty() && m_loader.load(bakedPath, nullptr)) return;
  if (m_loader.load("", &error)) return;
  throwError(error);
}

SarvikBaseContext* Runtime::ensureCurrent() {
  if (m_current == nullptr) m_current = m_loader.contextFactory()();
  return m_current;
}

void Runtime::deleteCurrent() {
  if (m_current == nullptr) return;
  m_loader.deleteContext()(m_current);
  m_current = nullptr;
}

}  // namespace sarvik_py
