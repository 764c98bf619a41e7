#include "sim_device_task.h"

#include <cstdio>
#include <cstring>

namespace simcam {

namespace {

void copyText(char* out, size_t room, const char* text) {
  std::snprintf(out, room, "%s", text != nullptr ? text : "");
}

}  // namespace

SimDeviceTask::SimDeviceTask(const std::string& location) : m_location(location), m_record() {}

SimDeviceTask::~SimDeviceTask() = default;

int32_t SimDeviceTask::start(uint64_t word1, uint64_t word2) {
  std::lock_guard<std::mutex> lock(m_lock);
  ++m_record.starts;
  m_record.startWords[0] = word1;
  m_record.startWords[1] = word2;
  return kSimOk;
}

int32_t SimDeviceTask::notify(uint64_t c, uint32_t a, uint32_t b, uint32_t d) {
  std::lock_guard<std::mutex> lock(m_lock);
  ++m_record.notifies;
  m_record.notifyC = c;
  m_record.notifyA = a;
  m_record.notifyB = b;
  m_record.notifyD = d;
  return kSimOk;
}

int32_t SimDeviceTask::onDeviceState(const char* deviceAddr, const char* sn, const char* location,
                                     uint32_t deviceState) {
  std::lock_guard<std::mutex> lock(m_lock);
  ++m_record.events;
  m_record.lastEventState = deviceState;
  copyText(m_record.lastEventAddr, sizeof m_record.lastEventAddr, deviceAddr);
  copyText(m_record.lastEventSerial, sizeof m_record.lastEventSerial, sn);
  copyText(m_record.lastEventLocation, sizeof m_record.lastEventLocation, location);
  return kSimOk;
}

int32_t SimDeviceTask::control(uint64_t word1, uint64_t word2, uint64_t word3, uint64_t word4) {
  void* pointer = reinterpret_cast<void*>(static_cast<uintptr_t>(word2));
  std::lock_guard<std::mutex> lock(m_lock);
  ++m_record.controls;
  m_record.controlWords[0] = word1;
  m_record.controlWords[1] = word2;
  m_record.controlWords[2] = word3;
  m_record.controlWords[3] = word4;
  switch (word1) {
    case kSimTaskSetHolding:
      m_holding = word2 != 0;
      return kSimOk;
    case kSimTaskSetLocation:
      if (pointer == nullptr) return kSimErrArgument;
      m_location = static_cast<const char*>(pointer);
      return kSimOk;
    case kSimTaskReadRecord:
      if (pointer == nullptr) return kSimErrArgument;
      std::memcpy(pointer, &m_record, sizeof m_record);
      return kSimOk;
    default:
      return kSimOk;
  }
}

std::string SimDeviceTask::getLocation() {
  std::lock_guard<std::mutex> lock(m_lock);
  return m_location;
}

}  // namespace simcam
