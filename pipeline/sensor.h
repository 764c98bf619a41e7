// The frame source of one sensor type of one Device. It owns the plug-in's
// stream object and the frame pool, starts the stream object for the first
// started VideoStream and stops it after the last, and fans every frame out
// to the started streams through m_newFrameSignal, on the plug-in's own
// delivery thread.
//
// Locks: m_lock is held across the plug-in's start and stop calls and, inside
// it, the pool's lock briefly. The delivery thread never takes m_lock, only
// the signal's lock and inside it each stream's queue lock, so a plug-in may
// join its delivery thread in stop(). VideoStream connects and disconnects
// outside start() and stop().
#ifndef SARVIK_PIPELINE_SENSOR_H
#define SARVIK_PIPELINE_SENSOR_H

#include <atomic>
#include <cstdint>

#include "pipeline/data_pre_process.h"
#include "pipeline/frame_allocator.h"
#include "platform/sigslot.h"
#include "sarvik/SarvikDriver.h"
#include "sarvik/SarvikFrame.h"

namespace sarvik {

class CriticalSectionWrapper;
class Device;

class Sensor {
 public:
  // Touches nothing of the plug-in.
  Sensor(Device* device, uint32_t sensorType);
  ~Sensor();

  Sensor(const Sensor&) = delete;
  Sensor& operator=(const Sensor&) = delete;

  // Counts one more started stream; the first one starts the plug-in's stream
  // object (creating it once). 0, -8 when there is no stream object, or the
  // plug-in's start status. The count stays raised on failure: the caller's
  // stop() brings it back.
  int32_t start();
  // Counts one stream less; the last one stops the plug-in's stream object,
  // which, with the pool, stays for the next start.
  void stop();

  // The NewFrameCallback given to the plug-in, with the Sensor as user. Takes
  // no reference: the plug-in keeps its own until the call returns, and each
  // stream takes one inside the emission.
  static void onDriverFrame(SarvikFrameRef* frame, void* user);

  sigslot::signal1<SarvikFrameRef*, sigslot::multi_threaded_local> m_newFrameSignal;
  Device* m_device;              // not owned; the owner
  StreamInterfaceBase* m_stream;  // guarded by m_lock
  std::atomic<bool> b_Started;
  uint32_t m_startCount;  // guarded by m_lock
  CriticalSectionWrapper* m_lock;
  const uint32_t m_sensorType;
  FrameAllocator m_frameAllocator;
  bool b_PreProcess;  // never set: the stage below stays off
  DataPreProcess m_dataPreProcess;

 private:
  // REQUIRES: m_lock held. Steps of the first start.
  int32_t prepareStreamObject(DeviceInterfaceBase* device);
  int32_t startStreamObject();
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_SENSOR_H
