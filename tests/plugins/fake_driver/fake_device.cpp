#include "fake_device.h"

#include <algorithm>
#include <cstring>

#include "fake_control.h"
#include "fake_stream.h"
#include "fake_task.h"

namespace sarvik_test {

namespace {
unsigned long long wide(uint64_t value) { return static_cast<unsigned long long>(value); }
}  // namespace

FakeDevice::FakeDevice(const std::string& id, bool hasId) : m_id(id), m_hasId(hasId) {
  std::memset(m_modes, 0, sizeof(m_modes));
  for (uint32_t type = 0; type < kModeSlots; ++type) {
    m_modes[type].modeValue1 = 640;
    m_modes[type].modeValue3 = 480;
    m_modes[type].modeValue4 = 30;
    m_modes[type].modeValue2 = static_cast<int8_t>(type);
  }
  FakeControl::instance().deviceOpened();
}

FakeDevice::~FakeDevice() {
  std::vector<FakeStream*> streams;
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    streams.swap(m_streams);
  }
  for (FakeStream* stream : streams) delete stream;
  FakeControl::instance().deviceClosed();
}

int32_t FakeDevice::createStream(uint32_t sensorType, sarvik::StreamInterfaceBase** stream) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("createStream(%u)", sensorType));
  if (stream == nullptr || control.createStreamNull()) return 0;
  auto* created = new FakeStream(sensorType);
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_streams.push_back(created);
  }
  *stream = created;
  return 0;
}

int32_t FakeDevice::destroyStream(sarvik::StreamInterfaceBase** stream) {
  FakeControl::instance().log("destroyStream");
  if (stream == nullptr || *stream == nullptr) return 0;
  FakeStream* doomed = static_cast<FakeStream*>(*stream);
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    auto found = std::find(m_streams.begin(), m_streams.end(), doomed);
    if (found == m_streams.end()) return 0;
    m_streams.erase(found);
  }
  delete doomed;
  *stream = nullptr;
  return 0;
}

int32_t FakeDevice::setProperty(uint32_t id, void* data, uint32_t length) {
  FakeControl& control = FakeControl::instance();
  if (data != nullptr && length >= 4) {
    int32_t value = 0;
    std::memcpy(&value, data, sizeof(value));
    control.log(formatText("setProperty(%u,len=%u,value=%d)", id, length, value));
  } else {
    control.log(formatText("setProperty(%u,len=%u)", id, length));
  }
  control.pausePoint(FakeOp::kSetProperty);
  return control.result(FakeOp::kSetProperty);
}

int32_t FakeDevice::getProperty(uint32_t id, void* data, uint32_t* length) {
  FakeControl& control = FakeControl::instance();
  if (length == nullptr) {
    control.log(formatText("getProperty(%u,len=null)", id));
    return control.result(FakeOp::kGetProperty);
  }
  control.log(formatText("getProperty(%u,len=%u)", id, *length));
  const int32_t status = control.result(FakeOp::kGetProperty);
  if (status == 0 && data != nullptr) {
    // A recognisable answer: byte i holds id + i.
    auto* bytes = static_cast<uint8_t*>(data);
    for (uint32_t i = 0; i < *length; ++i) bytes[i] = static_cast<uint8_t>(id + i);
  }
  return status;
}

int32_t FakeDevice::sendCommand(void*, uint32_t requestLength, uint64_t word1, uint64_t word2) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("sendCommand(len=%u,%llu,%llu)", requestLength, wide(word1), wide(word2)));
  return control.result(FakeOp::kSendCommand);
}

uint32_t FakeDevice::getConnectionState() {
  FakeControl::instance().log("getConnectionState");
  return FakeControl::instance().connectionState();
}

bool FakeDevice::isStreamReady() {
  FakeControl::instance().log("isStreamReady");
  return FakeControl::instance().streamReady();
}

int32_t FakeDevice::depthToPointCloud(const uint16_t*, uint32_t width, uint32_t height, float, float, float,
                                      float, float, typedefSarvikPoint3D*, uint32_t, bool) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("depthToPointCloud(w=%u,h=%u)", width, height));
  control.pausePoint(FakeOp::kDepthToPointCloud);
  m_clouds.fetch_add(1);  // a device closed meanwhile is caught here
  return control.result(FakeOp::kDepthToPointCloud);
}

int32_t FakeDevice::getFrameModeList(uint32_t sensorType, uint64_t word1, uint64_t word2) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("getFrameModeList(%u,%llu,%llu)", sensorType, wide(word1), wide(word2)));
  return control.result(FakeOp::kGetFrameModeList);
}

int32_t FakeDevice::setFrameMode(uint32_t sensorType, const typedefSarvikFrameMode* mode, bool restart) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("setFrameMode(%u,restart=%d)", sensorType, restart ? 1 : 0));
  const int32_t status = control.result(FakeOp::kSetFrameMode);
  if (status == 0 && mode != nullptr && sensorType < kModeSlots) {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_modes[sensorType] = *mode;
  }
  return status;
}

const typedefSarvikFrameMode* FakeDevice::getCurrentFrameMode(uint32_t sensorType) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("getCurrentFrameMode(%u)", sensorType));
  if (control.frameModeNull() || sensorType >= kModeSlots) return nullptr;
  return &m_modes[sensorType];
}

const char* FakeDevice::getDeviceId() {
  FakeControl::instance().log("getDeviceId");
  return m_hasId ? m_id.c_str() : nullptr;
}

uint32_t FakeDevice::getDeviceFlags() {
  FakeControl::instance().log("getDeviceFlags");
  return 0x12;
}

int32_t FakeDevice::queryData(void*) {
  FakeControl::instance().log("queryData");
  return FakeControl::instance().result(FakeOp::kQueryData);
}

sarvik::DeviceTaskBase* FakeDevice::createTask() {
  FakeControl::instance().log("createTask");
  if (FakeControl::instance().createTaskNull()) return nullptr;
  return new FakeTask(m_id);
}

}  // namespace sarvik_test
