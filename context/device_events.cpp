// Device-state events from the plug-ins: a device task may claim an event;
// otherwise the user gets the advice in the log, the device table is rebuilt
// from all plug-ins and the client's callbacks hear of it.
#include <cstring>
#include <string>
#include <vector>

#include "context/context.h"
#include "context/plugin_thread.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "platform/critical_section_wrapper.h"

namespace sarvik {

namespace {

// A null text counts as empty for every test, and prints as "(null)".
const char* orNull(const char* text) { return text != nullptr ? text : "(null)"; }
const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }
bool holds(const char* text, const char* part) { return std::strstr(orEmpty(text), part) != nullptr; }

bool taskMatches(const char* location, const std::string& taskLocation) {
  return holds(location, "NVTEVM") || taskLocation.find("NVTEVM") != std::string::npos ||
         taskLocation == orEmpty(location);
}

}  // namespace

void Context::driverStateCallback(const char* deviceAddr, const char* sn, const char* location,
                                  uint32_t deviceState, void* user) {
  PluginThreadMark mark;
  static_cast<Context*>(user)->onDeviceState(deviceAddr, sn, location, deviceState);
}

int32_t Context::registerDeviceStateCallback(DeviceStateCallback callback, void* user) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardInitialized()) return status;
  if (callback == nullptr) {
    setLastErrorCode(kErrBadArgument);
    return -4;
  }
  auto* record = new DeviceStateCallbackRecord{callback, user};
  ScopedLock callbackLock(m_callbackLock);
  for (const DeviceStateCallbackRecord* existing : m_callbacks) {
    if (existing->callback == callback) {
      logMessage(1, "already registed\n");
      delete record;
      return 0;  // the first user pointer stays in force
    }
  }
  m_callbacks.push_back(record);
  return 0;
}

void Context::onDeviceState(const char* deviceAddr, const char* sn, const char* location, uint32_t deviceState) {
  logMessage(1, "");
  // Counted in before the look at the flag, so that shutdown, which sets the
  // flag and then waits for everything in flight, can never miss this event.
  OperationScope scope(m_gate);
  if (m_shuttingDown.load()) return;
  // A plug-in that raises an event from inside its getDeviceList (which the
  // plug-in contract forbids) reaches here holding the table lock of the
  // rebuild in progress. Taking m_contextLock now would invert the order of
  // initialize (context lock, then table lock), so such an event only asks
  // for another pass; tasks and callbacks hear the event that started it.
  if (raisedInsideRebuild()) return;
  {
    ScopedLock lock(m_contextLock);
    if (m_shuttingDown.load()) return;
    for (const auto& entry : m_tasks) {
      DeviceTaskBase* task = entry.second;
      if (task == nullptr) continue;
      const std::string taskLocation = task->getLocation();
      if (!taskMatches(location, taskLocation)) continue;
      logMessage(4,
                 "onDeviceState Change deviceAddr = %s , SN = %s, location = %s, deviceLocation : %s, "
                 "deviceState = %d",
                 orNull(deviceAddr), orNull(sn), orNull(location), taskLocation.c_str(), deviceState);
      task->onDeviceState(deviceAddr, sn, location, deviceState);
      if (task->isHolding()) return;
    }
  }

  logMessage(4, "onDeviceState Change deviceAddr = %s , SN = %s, location = %s, deviceState = %d",
             orNull(deviceAddr), orNull(sn), orNull(location), deviceState);
  if (deviceState == 1) {
    if (holds(deviceAddr, "usb")) {
      logMessage(4,
                 "If the device is not actively unplugged, please check the power supply capability of the hub "
                 "or the connection of the USB data cable.");
      logMessage(4, "It is recommended to replace the hub with power supply and try again.");
    } else {
      logMessage(4, "If the device is not actively unplugged, please check the network connection.");
    }
  }
  rebuildDeviceTable();

  // Callbacks run with no lock held: they may call back into the context.
  std::vector<DeviceStateCallbackRecord> callbacks;
  {
    ScopedLock callbackLock(m_callbackLock);
    for (const DeviceStateCallbackRecord* record : m_callbacks) callbacks.push_back(*record);
  }
  logMessage(4, "register device state callback  size is %d", static_cast<int>(callbacks.size()));
  // An event raised inside a host call is no inner step of that call: what
  // the client's callback starts are new calls.
  InnerSteps newCalls(true);
  for (const DeviceStateCallbackRecord& record : callbacks) {
    record.callback(deviceAddr, sn, deviceState, record.user);
  }
}

}  // namespace sarvik
