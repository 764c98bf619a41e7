#include "pipeline/sensor.h"

#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "platform/critical_section_impl.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {

Sensor::Sensor(Device* device, uint32_t sensorType)
    : m_device(device),
      m_stream(nullptr),
      b_Started(false),
      m_startCount(0),
      m_lock(new CriticalSectionImpl()),
      m_sensorType(sensorType),
      b_PreProcess(false) {}

// The plug-in's stream object is the Device's to give back before this runs.
// The remaining members then go in reverse order: stage, pool, signal.
Sensor::~Sensor() { delete m_lock; }

int32_t Sensor::start() {
  logMessage(kLogTrace, "");
  ScopedLock lock(m_lock);
  if (m_startCount++ != 0) return 0;
  DeviceInterfaceBase* device = m_device->m_device.load();
  if (int32_t status = prepareStreamObject(device)) return status;
  return startStreamObject();
}

int32_t Sensor::prepareStreamObject(DeviceInterfaceBase* device) {
  if (m_stream == nullptr) {
    StreamInterfaceBase* created = nullptr;
    if (device != nullptr) device->createStream(m_sensorType, &created);
    m_stream = created;
    if (m_stream == nullptr) {
      logMessage(kLogError, "Created driver stream failed!");
      return kStatusNoSource;
    }
    return 0;
  }
  // A restarted stream object runs in the mode it last had.
  if (device != nullptr) {
    const typedefSarvikFrameMode* mode = device->getCurrentFrameMode(m_sensorType);
    if (mode != nullptr) device->setFrameMode(m_sensorType, mode, true);
  }
  return 0;
}

// The order is binding: the callback is in place before the size is read, the
// pool has its size before the plug-in gets it, and the plug-in has both
// before it starts.
int32_t Sensor::startStreamObject() {
  m_stream->setNewFrameCallback(onDriverFrame, this);
  const uint32_t size = m_stream->getFrameBufferSize();
  logMessage(kLogTrace, "get frame buffer size=%d", size);
  m_frameAllocator.setBufferSize(size);
  m_stream->setFrameAllocator(&m_frameAllocator);
  const int32_t status = m_stream->start();
  if (status != 0) return status;
  b_Started.store(true);
  if (m_sensorType < sizeof(m_device->m_sensorStarted)) m_device->m_sensorStarted[m_sensorType] = 1;
  logMessage(kLogTrace, "%d Sensor started", m_sensorType);
  if (b_PreProcess) m_dataPreProcess.start(this);
  return 0;
}

void Sensor::stop() {
  logMessage(kLogTrace, "");
  ScopedLock lock(m_lock);
  if (m_startCount == 0) return;  // unbalanced stop: never wrap the count
  if (--m_startCount != 0) return;
  if (m_stream != nullptr) m_stream->stop();
  if (b_PreProcess) m_dataPreProcess.stop();
  b_Started.store(false);
  if (m_sensorType < sizeof(m_device->m_sensorStarted)) m_device->m_sensorStarted[m_sensorType] = 0;
}

// Rule: what reaches a queue, a reader or a callback is a frame whose bytes
// all lie in its own buffer. A plug-in that hands over no frame, or one that
// claims more bytes than its buffer holds, is not believed: the frame is not
// passed on, and the plug-in's own reference gives it back to the pool.
void Sensor::onDriverFrame(SarvikFrameRef* frame, void* user) {
  if (frame == nullptr || user == nullptr) return;
  if (frame->dataSize > frame->bufferCapacity() || (frame->data == nullptr && frame->dataSize != 0)) return;
  static_cast<Sensor*>(user)->m_newFrameSignal.emit(frame);
}

}  // namespace sarvik
