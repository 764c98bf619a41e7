// Start-up and shut-down of the context: binding the transport plug-ins,
// filling the device table, and ending everything in the order in which the
// users of a thing end before the thing.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "context/context.h"
#include "context/driver_modules.h"
#include "context/plugin_thread.h"
#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "pipeline/multi_streams_listener.h"
#include "pipeline/video_stream.h"
#include "platform/critical_section_wrapper.h"
#include "platform/driver_probe.h"
#include "platform/dynamic_library.h"
#include "platform/module_path.h"
#include "recording/stream_recorder.h"

namespace sarvik {

void* g_uvcModule = nullptr;
void* g_netModule = nullptr;
void* g_thirdModule = nullptr;
DriverDestroyFn g_uvcDestroy = nullptr;
DriverDestroyFn g_netDestroy = nullptr;
DriverDestroyFn g_thirdDestroy = nullptr;

namespace {

DriverDestroyFn destroySlotFor(int32_t driverType) {
  switch (driverType) {
    case kDriverUvc:
      return g_uvcDestroy;
    case kDriverNet:
      return g_netDestroy;
    default:
      return g_thirdDestroy;
  }
}

}  // namespace

// No failure here ends initialize: each one only leaves this plug-in out.
void Context::bindDriver(const char* fileName, int32_t driverType, void** moduleSlot,
                         DriverDestroyFn* destroySlot, const char* successText) {
  char folder[256] = {0};
  if (getCurrentModulePath(folder) != 0) {
    logMessage(4, "Get Current module path failed!\n");
    return;
  }
  // A file beside the module wins, but only if it really is a plug-in; else
  // the loader's own search by bare name.
  std::string candidate = std::string(folder) + fileName;
  if (!probeDriverFile(candidate.c_str())) candidate = fileName;
  logMessage(4, "cur Driver Path = %s", candidate.c_str());

  void* module = loadLibrary(candidate.c_str());
  if (module == nullptr) {
    logMessage(4, "failed to load Driver(%s)\n", fileName);
    return;
  }
  auto instance = reinterpret_cast<DriverInstanceFn>(findSymbol(module, SARVIK_DRIVER_INSTANCE_EXPORT));
  if (instance == nullptr) {
    freeLibrary(module);
    return;
  }
  *destroySlot = reinterpret_cast<DriverDestroyFn>(findSymbol(module, SARVIK_DRIVER_DESTROY_EXPORT));
  *moduleSlot = module;
  DriverInterfaceBase* driver = instance();
  if (driver == nullptr) return;  // the module stays loaded until shutdown
  logMessage(4, "%s", successText);
  m_drivers[driverType] = driver;
}

int32_t Context::initialize() {
  logMessage(4, "Sarvik SDK  Initialize start");
  logMessage(1, "");
  int32_t failure = 0;
  {
    ScopedLock lock(m_contextLock);
    if (m_initialized.load()) {
      logMessage(4, "Sarvik SDK Already Initialize");
      return 0;
    }
    logMessage(1, "Sarvik SDK Version %d.%d.%d", 2, 0, 182);
    bindDriver(kUvcDriverFile, kDriverUvc, &g_uvcModule, &g_uvcDestroy, "Load uvc driver succeed!");
    bindDriver(kNetDriverFile, kDriverNet, &g_netModule, &g_netDestroy, "Load net driver succeed!");

    ScopedLock tableLock(m_tableLock);
    m_deviceCount = 0;
    // As in a rebuild: an event raised inside a plug-in's call only marks the
    // table stale, and the count stays local until every plug-in answered.
    m_tableFilling = true;
    m_tableStale = false;
    uint32_t written = 0;
    for (const auto& entry : m_drivers) {
      DriverInterfaceBase* driver = entry.second;
      driver->setDeviceStateCallback(&Context::driverStateCallback, this);
      int32_t status = driver->initialize();
      if (status != 0) {
        logMessage(3, "initialize %d driver  failed!", entry.first);
        failure = status;
        break;
      }
      // Each plug-in is told the room really left, and its answer is clamped
      // to it: the table can never be written past its end.
      const uint32_t room = kDeviceTableSize - written;
      uint32_t count = room;
      if (driver->getDeviceList(&m_deviceTable[written], &count) != 0) {
        logMessage(4, "get device list failed");
        failure = -1;
        break;
      }
      written += std::min(count, room);
    }
    if (failure == 0 && m_tableStale) written = fillDeviceTable();
    m_deviceCount = failure == 0 ? written : 0;
    m_tableFilling = false;
    m_tableStale = false;
    if (failure == 0) {
      m_initialized.store(true);
      m_shuttingDown.store(false);
      m_gate.clearShutdownThread();
      logMessage(4, "Sarvik SDK  Initialize End");
      return 0;
    }
    // Events from the plug-ins bound so far must not run into the unwinding.
    m_shuttingDown.store(true);
  }
  unbindFailedDrivers();
  return failure;
}

// A failed initialize unwinds what it bound, so that a later initialize starts
// clean. The plug-ins' event threads may be waiting for the context lock: they
// are let through first (they return at once now), so that a driverDestroy
// that joins them cannot deadlock.
void Context::unbindFailedDrivers() {
  m_gate.drainOthers();
  {
    ScopedLock lock(m_contextLock);
    for (const auto& entry : m_drivers) {
      DriverDestroyFn destroy = destroySlotFor(entry.first);
      if (destroy != nullptr) destroy(entry.second);
    }
    m_drivers.clear();
    freeDriverModules();
    ScopedLock tableLock(m_tableLock);
    m_deviceCount = 0;
  }
  m_shuttingDown.store(false);
  m_gate.clearShutdownThread();
}

void Context::freeDriverModules() {
  void** modules[] = {&g_uvcModule, &g_netModule, &g_thirdModule};
  // On a plug-in's own thread the unloading waits until that thread ends
  // (which of the plug-ins it belongs to is not known: all of them wait).
  const bool deferred = PluginThreadMark::onPluginThread();
  std::vector<void*> pending;
  for (void** module : modules) {
    if (*module != nullptr) {
      if (deferred) pending.push_back(*module);
      else freeLibrary(*module);
      *module = nullptr;
    }
  }
  unloadWhenThreadEnds(pending);
  g_uvcDestroy = nullptr;
  g_netDestroy = nullptr;
  g_thirdDestroy = nullptr;
}

int32_t Context::shutdown() {
  if (isAnyStreamThread()) {
    logMessage(2, "refused: called on the stream's own thread");
    return -1;
  }
  // Set before the lock: from here on device-state events return at once
  // instead of queueing behind a shutdown that waits for their plug-in.
  m_shuttingDown.store(true);
  logMessage(1, "");
  m_gate.drainOthers();
  ScopedLock lock(m_contextLock);
  m_shuttingDown.store(true);  // a racing initialize may have cleared it
  const int32_t status = releaseAll();
  if (status == 0) m_initialized.store(false);
  freeDriverModules();
  return status;
}

int32_t Context::releaseAll() {
  logMessage(1, "");
  if (!m_initialized.load()) return refuseNotInitialized();

  for (auto& entry : m_listeners) delete entry.second;
  m_listeners.clear();

  while (!m_recorders.empty()) {
    StreamRecorder* recorder = m_recorders.front();
    stopRecorder(recorder);
    destroyRecorder(recorder);
    if (!m_recorders.empty() && m_recorders.front() == recorder) {
      // destroyRecorder refused it; never loop on the same handle.
      m_recorders.pop_front();
      delete recorder;
    }
  }

  std::vector<VideoStream*> streams;
  {
    ScopedLock listLock(m_streamListLock);
    streams.assign(m_streams.begin(), m_streams.end());
  }
  for (VideoStream* stream : streams) {
    logMessage(0, "begin release:stop stream");
    stopStream(stream);
    delete stream;
  }
  {
    ScopedLock listLock(m_streamListLock);
    m_streams.clear();
  }

  {
    ScopedLock callbackLock(m_callbackLock);
    for (DeviceStateCallbackRecord* record : m_callbacks) delete record;
    m_callbacks.clear();
  }

  for (Device* device : m_devices) {
    logMessage(0, "begin release:close device");
    if (device->m_opened.load()) {
      DeviceInterfaceBase* object = device->m_device.exchange(nullptr);
      device->m_opened.store(false);
      device->m_driver->closeDevice(&object);
    } else {
      logMessage(1, "Device not open");
    }
    delete device;
  }
  m_devices.clear();
  m_closingDevices.clear();

  const int32_t types[] = {kDriverUvc, kDriverNet, kDriverThird};
  for (int32_t type : types) {
    DriverDestroyFn destroy = destroySlotFor(type);
    auto found = m_drivers.find(type);
    if (destroy != nullptr && found != m_drivers.end()) destroy(found->second);
  }
  // Nothing bound is left behind, so that the context can be initialised again.
  m_drivers.clear();

  for (auto& entry : m_tasks) delete entry.second;
  m_tasks.clear();
  m_activeTask.store(nullptr);
  return 0;
}

}  // namespace sarvik
