// What every example does first and last: load the module with SarvikLoader.h,
// start the one context, pick a camera; and on the way out shut down and
// delete the context. Copy it into your own program as it is.
#ifndef SARVIK_EXAMPLE_CONTEXT_H
#define SARVIK_EXAMPLE_CONTEXT_H

#include <cstdio>
#include <string>

#include "sarvik/SarvikDevicePick.h"
#include "sarvik/SarvikLoader.h"
#include "sarvik/SarvikStatus.h"

// Prints a failed call with the status's name; true when status is 0.
inline bool check(const char* what, int32_t status) {
  if (status == 0) return true;
  const char* name = sarvikStatusName(status);
  std::fprintf(stderr, "%s failed: %d (%s)\n", what, status, name != nullptr ? name : "unknown status");
  return false;
}

class ExampleContext {
 public:
  ExampleContext() = default;
  ExampleContext(const ExampleContext&) = delete;
  ExampleContext& operator=(const ExampleContext&) = delete;
  ~ExampleContext() {
    if (m_sdk == nullptr) return;
    if (m_device != nullptr) m_sdk->closeDevice(m_device);  // also closes its streams
    m_sdk->shutdown();
    m_loader.deleteContext()(m_sdk);
  }

  // Loads the module (SARVIK_MODULE overrides where from) and initialises the
  // context, which loads the transport plug-ins and fills the device table.
  bool start() {
    std::string error;
    if (!m_loader.load("", &error)) {
      std::fprintf(stderr, "%s\n", error.c_str());
      return false;
    }
    m_sdk = m_loader.contextFactory()();
    return check("initialize", m_sdk->initialize());
  }

  // Opens the camera `selector` names (address, serial or index; empty: the
  // first one listed). The device is closed by the destructor.
  bool openCamera(const std::string& selector) {
    typedefSarvikDeviceInfo* list = nullptr;
    uint32_t count = 0;
    if (!check("getDeviceList", m_sdk->getDeviceList(&list, &count))) return false;
    std::string error;
    const typedefSarvikDeviceInfo* info = sarvik::pickDevice(list, count, selector, &error);
    if (info == nullptr) {
      std::fprintf(stderr, "%s\n", error.c_str());
      return false;
    }
    // The table is rewritten by hot-plug events: keep a copy of the address.
    m_address = info->uri;
    return check(("openDevice " + m_address).c_str(), m_sdk->openDevice(m_address.c_str(), &m_device));
  }

  SarvikBaseContext* sdk() const { return m_sdk; }
  sarvik::Device* device() const { return m_device; }
  const std::string& address() const { return m_address; }

 private:
  sarvik::ModuleLoader m_loader;
  SarvikBaseContext* m_sdk = nullptr;
  sarvik::Device* m_device = nullptr;
  std::string m_address;
};

#endif  // SARVIK_EXAMPLE_CONTEXT_H
