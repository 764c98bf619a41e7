#include "tools/sdk_session.h"

#include <cstdio>
#include <cstring>

#include "sarvik/SarvikDevicePick.h"
#include "sarvik/SarvikStatus.h"
#include "tools/command_line.h"

namespace sarvik {
namespace tools {

namespace {

const char* generalHint(int32_t status) {
  switch (status) {
    case kStatusInvalidDevice:
    case kStatusBadArgument:
    case kSarvikErrNotFound: return "`sarvik devices` lists the cameras";
    case kStatusNoSource:
    case kSarvikErrUnsupported: return "`sarvik info` shows what the camera has";
    case kStatusDisconnected:
    case kSarvikErrDisconnected: return "the camera has gone; plug it in again";
    case kStatusTimeout: return "the camera sends no frames; try another mode or camera";
    case kStatusNoDriver: return "no transport plug-in knows the camera; check the plug-ins beside the module";
    case kSarvikErrBusy: return "another program uses the camera";
    default: return nullptr;
  }
}

}  // namespace

int reportFailure(const std::string& what, int32_t status, const std::string& hint) {
  const char* name = sarvikStatusName(status);
  const char* general = generalHint(status);
  const std::string advice = !hint.empty() ? hint : (general != nullptr ? general : "");
  std::fprintf(stderr, "sarvik: %s failed: %s (%d)%s%s\n", what.c_str(), name != nullptr ? name : "status",
               status, advice.empty() ? "" : "; ", advice.c_str());
  return 1;
}

int reportError(const std::string& text) {
  std::fprintf(stderr, "sarvik: %s\n", text.c_str());
  return 1;
}

SdkSession::~SdkSession() { finish(); }

bool SdkSession::start(const std::string& modulePath, bool initialise) {
  std::string error;
  if (!m_loader.load(modulePath, &error)) {
    reportError(error + "\n  (--module or SARVIK_MODULE names the module)");
    return false;
  }
  m_context = m_loader.contextFactory()();
  if (m_context == nullptr) {
    reportError("the module " + m_loader.path() + " gave no context");
    return false;
  }
  // The settings beside the module (sarvikLog.ini, made with defaults on the
  // first run) configure the log; what reaches the console this run is set
  // by the environment main() prepared.
  m_context->initLog(nullptr);
  if (!initialise) return true;
  const int32_t status = m_context->initialize();
  if (status != 0) {
    reportFailure("starting the SDK (initialize)", status, "run with -v to see the module's log");
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
  m_loader.deleteContext()(m_context);
  m_context = nullptr;
  return status;
}

int finishSession(SdkSession* session, int exitCode) {
  const int32_t status = session->finish();
  if (status != 0) {
    reportFailure("shutting the SDK down", status);
    return exitCode != 0 ? exitCode : 1;
  }
  return exitCode;
}

int32_t openCamera(SarvikBaseContext* context, const std::string& selector, Device** device, std::string* address) {
  *device = nullptr;
  *address = selector;
  if (selector.rfind("/dev/video", 0) == 0) {
    typedefSarvikVideoNodeInfo* nodes = nullptr;
    uint32_t count = 0;
    const int32_t status = context->getVideoNodeList(&nodes, &count);
    if (status != 0) return reportFailure("listing the video nodes", status), status;
  } else {
    typedefSarvikDeviceInfo* list = nullptr;
    uint32_t count = 0;
    const int32_t status = context->getDeviceList(&list, &count);
    if (status != 0) return reportFailure("listing the cameras", status), status;
    std::string why;
    const typedefSarvikDeviceInfo* picked = pickDevice(list, count, selector, &why);
    if (picked == nullptr) {
      if (selector.rfind(SARVIK_FILE_SCHEME, 0) == 0) {
        reportError("no camera plays " + selector + "; is it a record file, and the USB plug-in installed?");
      } else if (looksLikeAddress(selector)) {
        reportError("no camera at " + selector + "; `sarvik devices` lists the cameras");
      } else {
        reportError(why + "; `sarvik devices` lists the cameras");
      }
      return kStatusBadArgument;
    }
    *address = std::string(picked->uri, strnlen(picked->uri, sizeof picked->uri));
    if (selector.empty() && count > 1) {
      std::fprintf(stderr, "sarvik: using %s, the first of %u cameras; -c chooses another\n", address->c_str(),
                   count);
    }
  }
  const int32_t status = context->openDevice(address->c_str(), device);
  if (status != 0) {
    reportFailure("opening " + *address, status);
    return status;
  }
  if (*device == nullptr) {
    reportError(*address + " is open already; the module gave no second handle");
    return kStatusFailed;
  }
  return 0;
}

bool cameraListed(SarvikBaseContext* context, const std::string& address) {
  if (address.rfind("/dev/video", 0) != 0) return context->findDeviceByUri(address.c_str()) != nullptr;
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t count = 0;
  if (context->getVideoNodeList(&nodes, &count) != 0 || nodes == nullptr) return false;
  for (uint32_t i = 0; i < count; ++i) {
    if (strncmp(nodes[i].path, address.c_str(), sizeof nodes[i].path) == 0) return true;
  }
  return false;
}

}  // namespace tools
}  // namespace sarvik
