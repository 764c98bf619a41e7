// One started sensor of an open simulated camera: a thread that makes an
// image at every tick of the mode's frame rate into a frame of the host's
// sink.
#ifndef SIMCAM_SIM_SENSOR_H
#define SIMCAM_SIM_SENSOR_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "../host/host_backend.h"
#include "sim_frame_mode.h"

namespace simcam {

class SimSensor {
 public:
  // connected is the camera's flag; it outlives the sensor.
  SimSensor(uint32_t sensorType, const SimFrameMode& mode, sarvikhost::FrameSink* sink,
            const std::atomic<bool>* connected, bool flatOut, bool renderPixels);
  ~SimSensor();  // stops and joins
  SimSensor(const SimSensor&) = delete;
  SimSensor& operator=(const SimSensor&) = delete;

  bool start();  // false: no thread could be made
  // The camera lost its device: the thread stops making images for good.
  void wake();

 private:
  void run();
  bool stopRequestedOrGone() const { return m_stopRequested || !*m_connected; }

  const uint32_t m_sensorType;
  const SimFrameMode m_mode;
  sarvikhost::FrameSink* const m_sink;
  const std::atomic<bool>* const m_connected;
  const bool m_flatOut;
  const bool m_renderPixels;

  std::mutex m_waitLock;
  std::condition_variable m_wake;
  bool m_stopRequested = false;  // guarded by m_waitLock
  std::thread m_thread;
};

}  // namespace simcam

#endif  // SIMCAM_SIM_SENSOR_H
