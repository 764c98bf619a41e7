// Device tasks, and the two settings that go to the UVC plug-in as a whole.
// Nothing here reads what is passed: it is between client and plug-in.
#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "context/context.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "platform/critical_section_wrapper.h"

namespace sarvik {

int32_t Context::startDeviceTask(Device* device, uint64_t word1, uint64_t word2) {
  OperationScope scope(m_gate);
  if (m_shuttingDown.load() && !m_gate.onShutdownThread()) return refuseNotInitialized();
  DeviceTaskBase* task = nullptr;
  DriverInterfaceBase* uvc = nullptr;
  std::optional<DeviceCallScope> counted;
  {
    ScopedLock lock(m_contextLock);
    const bool closing =
        std::find(m_closingDevices.begin(), m_closingDevices.end(), device) != m_closingDevices.end();
    if (!isValidDevice(device) || closing || device->m_device.load() == nullptr) {
      setLastErrorCode(kErrInvalidDevice);
      logMessage(3, "Invalid Device!");
      return -3;
    }
    auto found = m_tasks.find(device);
    if (found != m_tasks.end()) {
      task = found->second;
    } else {
      task = device->m_device.load()->createTask();
      // A plug-in without a task leaves no trace: nothing entered, the active task unchanged.
      if (task == nullptr) return -1;
      m_tasks[device] = task;
    }
    m_activeTask.store(task);
    uvc = driverFor(kDriverUvc);
    // closeDevice waits for this before it deletes the task and closes the
    // object; shutdown waits through the operation gate.
    m_deviceCalls.enter(device);
    counted.emplace(m_deviceCalls, device);
  }
  // Always the UVC plug-in, whichever plug-in serves the device; skipped when none is bound.
  if (uvc != nullptr) uvc->setTaskMode(true);
  return task->start(word1, word2);
}

int32_t Context::deviceTaskControl(uint64_t word1, uint64_t word2, uint64_t word3, uint64_t word4) {
  DeviceTaskBase* task = m_activeTask.load();
  if (task != nullptr) task->control(word1, word2, word3, word4);
  return 0;
}

int32_t Context::deviceTaskNotify(uint32_t a, uint32_t b, uint64_t c, uint32_t d) {
  DeviceTaskBase* task = m_activeTask.load();
  if (task != nullptr) task->notify(c, a, b, d);
  return 0;
}

// Rule: every plug-in call made outside the context lock is counted by the
// operation gate, so that shutdown never unloads a plug-in a call still runs
// in. Once shutdown has begun, another thread's call finds no plug-in (-1,
// as when none is bound): the gate's count and the flag are read in that
// order, so either shutdown waits for this call or this call sees the flag.
int32_t Context::setUvcDriverFlag(uint8_t value) {
  OperationScope scope(m_gate);
  if (m_shuttingDown.load() && !m_gate.onShutdownThread()) return -1;
  DriverInterfaceBase* uvc = nullptr;
  {
    ScopedLock lock(m_contextLock);
    uvc = driverFor(kDriverUvc);
  }
  if (uvc == nullptr) return -1;
  uvc->setFlag(value);
  return 0;
}

int32_t Context::setUvcDriverText(std::string text) {
  OperationScope scope(m_gate);
  if (m_shuttingDown.load() && !m_gate.onShutdownThread()) return -1;
  DriverInterfaceBase* uvc = nullptr;
  {
    ScopedLock lock(m_contextLock);
    uvc = driverFor(kDriverUvc);
  }
  if (uvc == nullptr) return -1;
  uvc->setText(std::string(text));  // the plug-in owns and destroys the copy
  return 0;
}

}  // namespace sarvik
