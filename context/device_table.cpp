// The tables of present devices and video nodes, and the operations that turn
// an address or a USB identity into an open Device and end one again.
#include <algorithm>
#include <cstring>
#include <string>

#include "context/context.h"
#include "context/supported_devices.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "pipeline/video_stream.h"
#include "platform/critical_section_wrapper.h"
#include "platform/thread_id.h"

namespace sarvik {

namespace {

const char* orNull(const char* text) { return text != nullptr ? text : "(null)"; }

// Plain equality up to the terminating NUL, read only within the bytes that
// the record has, so that a record without a NUL is never read past its end.
bool textEquals(const char* field, size_t room, const char* text) {
  const size_t length = strnlen(field, room);
  return std::strlen(text) == length && std::memcmp(field, text, length) == 0;
}

int32_t driverTypeOfConnection(uint32_t connectionType) {
  switch (connectionType) {
    case SARVIK_CONNECTION_USB:
      return kDriverUvc;
    case SARVIK_CONNECTION_NET:
    case SARVIK_CONNECTION_NET2:
      return kDriverNet;
    case SARVIK_CONNECTION_OTHER:
      return kDriverThird;
    default:
      return 0;
  }
}

int32_t badArgument() {
  setLastErrorCode(kErrBadArgument);
  return -4;
}

}  // namespace

int32_t Context::getDeviceList(typedefSarvikDeviceInfo** list, uint32_t* count) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardInitialized()) return status;
  if (list == nullptr || count == nullptr) return badArgument();
  ScopedLock tableLock(m_tableLock);
  *list = m_deviceTable;
  *count = m_deviceCount;
  return 0;
}

int32_t Context::getVideoNodeList(typedefSarvikVideoNodeInfo** list, uint32_t* count) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardInitialized()) return status;
  if (list == nullptr || count == nullptr) return badArgument();
  DriverInterfaceBase* uvc = driverFor(kDriverUvc);
  if (uvc == nullptr) {
    *list = nullptr;
    *count = 0;
    return 0;
  }
  ScopedLock tableLock(m_tableLock);
  uint32_t nodes = kDeviceTableSize;
  uvc->getVideoNodeList(m_nodeTable, &nodes);
  m_nodeCount = std::min(nodes, kDeviceTableSize);
  *list = m_nodeTable;
  *count = m_nodeCount;
  return 0;
}

typedefSarvikDeviceInfo* Context::findDeviceByUri(const char* uri) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (guardInitialized() != 0) return nullptr;
  if (uri == nullptr) {
    logMessage(3, "pDeviceUri is null");
    return nullptr;
  }
  {
    ScopedLock tableLock(m_tableLock);
    for (uint32_t i = 0; i < m_deviceCount; ++i) {
      if (textEquals(m_deviceTable[i].uri, sizeof(m_deviceTable[i].uri), uri)) return &m_deviceTable[i];
    }
  }
  setLastErrorCode(kErrBadArgument);
  logMessage(3, " not found %s Device ", uri);
  return nullptr;
}

DriverInterfaceBase* Context::driverFor(int32_t driverType) {
  // Never creates an entry: every entry of the map must hold a plug-in.
  auto found = m_drivers.find(driverType);
  return found != m_drivers.end() ? found->second : nullptr;
}

// Node form: the address of a video node that the UVC plug-in reported.
const char* Context::findNodePath(const char* uri) {
  for (uint32_t i = 0; i < m_nodeCount; ++i) {
    if (textEquals(m_nodeTable[i].path, sizeof(m_nodeTable[i].path), uri)) return m_nodeTable[i].path;
  }
  return nullptr;
}

// Table form: the record of this address, and the plug-in its connection selects.
const char* Context::findTableUri(const char* uri, int32_t* driverType) {
  for (uint32_t i = 0; i < m_deviceCount; ++i) {
    if (textEquals(m_deviceTable[i].uri, sizeof(m_deviceTable[i].uri), uri)) {
      *driverType = driverTypeOfConnection(m_deviceTable[i].ConnectionType);
      return m_deviceTable[i].uri;
    }
  }
  return nullptr;
}

int32_t Context::openDevice(const char* uri, Device** device) {
  OperationScope scope(m_gate);
  if (int32_t status = guardInitialized()) return status;
  if (device == nullptr) return badArgument();
  if (uri == nullptr) {
    setLastErrorCode(kErrBadAddress);
    logMessage(3, "invalid device addr !");
    return -4;
  }
  logMessage(4, "Start open device %s", uri);

  // The address handed on is the table's own text, copied while an event
  // cannot rewrite the table; an address no table holds never reaches a plug-in.
  std::string address;
  int32_t driverType = 0;
  {
    ScopedLock tableLock(m_tableLock);
    const char* found = nullptr;
    if (std::strstr(uri, "/dev/video") != nullptr) {
      found = findNodePath(uri);
      driverType = kDriverUvc;
    } else {
      found = findTableUri(uri, &driverType);
    }
    if (found != nullptr) address.assign(found, strnlen(found, sizeof(m_deviceTable[0].uri)));
    else driverType = -1;
  }
  if (driverType < 0) {
    setLastErrorCode(kErrBadAddress);
    logMessage(3, "invalid device addr !");
    return -4;
  }

  DriverInterfaceBase* driver = nullptr;
  {
    ScopedLock lock(m_contextLock);
    for (Device* open : m_devices) {
      if (open->m_deviceId == address) {
        logMessage(4, "Device[%s] is already opened!", open->m_deviceId.c_str());
        return 0;
      }
    }
    driver = driverFor(driverType);
  }
  if (driver == nullptr) {
    logMessage(3, "cannot open Device[%s],  not find support driver", address.c_str());
    return -12;
  }

  // The plug-in's open may be slow: no lock of the context is held across it.
  Device* opened = new Device(driver);
  const int32_t status = opened->open(address.c_str());
  if (status != 0) {
    delete opened;
    logMessage(3, "Open device failed ret = %d!", status);
    return status;
  }
  {
    ScopedLock lock(m_contextLock);
    m_devices.push_back(opened);
  }
  *device = opened;
  logMessage(4, "Open device succeed");
  return 0;
}

int32_t Context::openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                                Device** device) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardInitialized()) return status;
  if (device == nullptr) return badArgument();

  DriverInterfaceBase* driver = nullptr;
  for (const SupportedDevice& row : g_supportedDevices) {
    if (row.productId == productId && row.vendorId == vendorId && m_drivers.count(row.driverType) != 0) {
      driver = m_drivers[row.driverType];
      break;
    }
  }
  if (driver == nullptr) {
    logMessage(1, "cannot open Device[vid=%0x  pid=%0x], driver not support", vendorId, productId);
    return -1;
  }
  // A second open of the same identity is not refused here: whether a camera
  // can be opened twice is the plug-in's affair.
  Device* opened = new Device(driver);
  const int32_t status = opened->open2(vendorId, productId, fd, path);
  if (status != 0) {
    logMessage(3, "Open Device(%s) Failed!", orNull(path));
    delete opened;
    return status;
  }
  m_devices.push_back(opened);
  logMessage(1, "Add device=0x%p to device list", static_cast<void*>(opened));
  *device = opened;
  return 0;
}

VideoStream* Context::firstStreamOf(Device* device) {
  ScopedLock listLock(m_streamListLock);
  for (VideoStream* stream : m_streams) {
    if (stream->m_device == device) return stream;
  }
  return nullptr;
}

bool Context::hasDyingStreamOf(Device* device) {
  ScopedLock listLock(m_streamListLock);
  for (const DyingStream& dying : m_dyingStreams) {
    if (dying.device == device) return true;
  }
  return false;
}

void Context::forceEndStream(VideoStream* stream) {
  {
    ScopedLock listLock(m_streamListLock);
    if (std::find(m_streams.begin(), m_streams.end(), stream) == m_streams.end()) return;
    m_streams.remove(stream);
  }
  detachFromRecorders(stream);
  forgetStreamInRecorders(stream);
  stream->stop();
  ScopedLock streamLock(m_streamLock);
  delete stream;
}

// Rule: a Device, its Sensors and its task are deleted only after every
// stream of it has been deleted and every plug-in call on its device object
// has returned. The streams are closed as inner steps of this call, so a
// shutdown that begins meanwhile waits for them instead of refusing them.
int32_t Context::closeDevice(Device* device) {
  OperationScope scope(m_gate);
  if (int32_t status = guardDeviceShort(device)) return status;
  {
    ScopedLock listLock(m_streamListLock);
    for (VideoStream* stream : m_streams) {
      if (stream->m_device != device) continue;
      if (int32_t status = refuseOwnStreamThread(stream)) return status;
    }
    for (const DyingStream& dying : m_dyingStreams) {
      if (dying.device != device || dying.deleting) continue;
      if (int32_t status = refuseOwnStreamThread(dying.stream)) return status;
    }
  }
  {
    // From here on a second close of this device and new tasks on it are refused.
    ScopedLock lock(m_contextLock);
    if (std::find(m_closingDevices.begin(), m_closingDevices.end(), device) != m_closingDevices.end()) {
      setLastErrorCode(kErrInvalidDevice);
      logMessage(3, "Invalid Device!");
      return -3;
    }
    m_closingDevices.push_back(device);
  }

  {
    InnerSteps steps;
    // The device's streams go first, one at a time: each close changes the list.
    while (VideoStream* stream = firstStreamOf(device)) {
      if (closeStream(stream) != 0) forceEndStream(stream);
    }
    // A destroyStream of another thread may still be stopping one of them.
    while (hasDyingStreamOf(device)) sleepMs(1);
  }

  // No device command may start on an object being closed: the fields are
  // cleared under the lock, the plug-in's close runs without it.
  DeviceInterfaceBase* object = nullptr;
  {
    ScopedLock lock(m_contextLock);
    if (device->m_opened.load()) {
      object = device->m_device.exchange(nullptr);
      device->m_opened.store(false);
    } else {
      logMessage(1, "Device not open");
    }
  }
  // Calls counted in before the object was cleared still run in it.
  m_deviceCalls.waitIdle(device);
  if (object != nullptr) device->m_driver->closeDevice(&object);

  {
    ScopedLock lock(m_contextLock);
    auto task = m_tasks.find(device);
    if (task != m_tasks.end()) {
      if (m_activeTask.load() == task->second) m_activeTask.store(nullptr);
      delete task->second;
      m_tasks.erase(task);
    }
    m_devices.remove(device);
    m_closingDevices.remove(device);
    delete device;
  }
  logMessage(4, "Finish close device");
  return 0;
}

// One pass over the plug-ins into the table; the count of records written.
// REQUIRES: m_tableLock held. The count is kept in a local until the pass is
// done, so that nothing a plug-in does during its getDeviceList can change the
// room the next plug-in is told or push the count past the table.
uint32_t Context::fillDeviceTable() {
  uint32_t written = 0;
  for (const auto& entry : m_drivers) {
    logMessage(1, "get device list");
    const uint32_t room = kDeviceTableSize - written;
    uint32_t count = room;
    if (entry.second->getDeviceList(&m_deviceTable[written], &count) == 0) written += std::min(count, room);
  }
  return written;
}

namespace {
// Set on the thread that runs a rebuild's passes, while they run.
thread_local bool t_fillingTable = false;
}  // namespace

bool Context::raisedInsideRebuild() {
  if (!t_fillingTable) return false;
  // This thread holds m_tableLock: the running rebuild makes one more pass.
  m_tableStale = true;
  return true;
}

void Context::rebuildDeviceTable() {
  // Serialises overlapping rebuilds of two plug-ins' events, and keeps
  // searches from reading a half-written table.
  ScopedLock tableLock(m_tableLock);
  // An event raised inside a plug-in's getDeviceList reaches here on the
  // rebuilding thread itself (the lock is recursive): it only asks the
  // running rebuild for another pass.
  if (m_tableFilling) {
    m_tableStale = true;
    return;
  }
  m_tableFilling = true;
  // Bounded: a plug-in that raises an event in every getDeviceList gets one
  // extra pass, not an endless loop.
  t_fillingTable = true;
  for (int pass = 0; pass < 2; ++pass) {
    m_tableStale = false;
    m_deviceCount = fillDeviceTable();
    if (!m_tableStale) break;
  }
  t_fillingTable = false;
  m_tableStale = false;
  m_tableFilling = false;
}

}  // namespace sarvik
