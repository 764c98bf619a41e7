#include "tools/sdk_session.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sarvik {
namespace tools {

int reportFailure(const std::string& call, int32_t status) {
  std::fprintf(stderr, "%s failed: %d\n", call.c_str(), status);
  return 1;
}

SdkSession::~SdkSession() { finish(); }

bool SdkSession::start(const std::string& modulePath, bool initialise) {
  const std::string path = chooseModulePath(modulePath, std::getenv("SARVIK_MODULE"), executablePath());
  std::string error;
  if (!m_library.load(path, &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return false;
  }
  m_context = m_library.contextFactory()();
  if (m_context == nullptr) {
    std::fprintf(stderr, "ContextFactory() gave no context\n");
    return false;
  }
  // The settings beside the module (sarvikLog.ini, made with defaults on the
  // first run) decide what the log shows, also of the start-up itself.
  m_context->initLog(nullptr);
  if (!initialise) return true;
  const int32_t status = m_context->initialize();
  if (status != 0) {
    reportFailure("initialize()", status);
    return false;
  }
  m_initialised = true;
  return true;
}

int32_t SdkSession::watchDevices() {
  return m_context->registerDeviceStateCallback(&DeviceEvents::callback, &m_events);
}

int32_t SdkSession::finish() {
  if (m_context == nullptr) return 0;
  int32_t status = 0;
  if (m_initialised) status = m_context->shutdown();
  m_initialised = false;
  m_library.deleteContext()(m_context);
  m_context = nullptr;
  return status;
}

int finishSession(SdkSession* session, int exitCode) {
  const int32_t status = session->finish();
  if (status != 0) {
    reportFailure("shutdown()", status);
    return exitCode != 0 ? exitCode : 1;
  }
  return exitCode;
}

bool cameraListed(SarvikBaseContext* context, const std::string& address) {
  if (address.find("/dev/video") == std::string::npos) return context->findDeviceByUri(address.c_str()) != nullptr;
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t count = 0;
  if (context->getVideoNodeList(&nodes, &count) != 0 || nodes == nullptr) return false;
  for (uint32_t i = 0; i < count; ++i) {
    if (strncmp(nodes[i].path, address.c_str(), sizeof nodes[i].path) == 0) return true;
  }
  return false;
}

int32_t openCamera(SarvikBaseContext* context, const std::string& address, Device** device) {
  *device = nullptr;
  if (address.find("/dev/video") != std::string::npos) {
    typedefSarvikVideoNodeInfo* nodes = nullptr;
    uint32_t count = 0;
    const int32_t status = context->getVideoNodeList(&nodes, &count);
    if (status != 0) {
      reportFailure("getVideoNodeList()", status);
      return status;
    }
  }
  const std::string call = "openDevice(" + address + ")";
  const int32_t status = context->openDevice(address.c_str(), device);
  if (status != 0) {
    reportFailure(call, status);
    return status;
  }
  if (*device == nullptr) {
    std::fprintf(stderr, "%s gave no handle: the camera is open already\n", call.c_str());
    return -1;
  }
  return 0;
}

}  // namespace tools
}  // namespace sarvik
