// A second delivery stage with a thread and a queue of its own. The Sensor
// that embeds it keeps it switched off (b_PreProcess is never set), so its
// thread never exists and nothing fills its queue; start and stop keep their
// full shape so that the stage can be switched on without touching the rest.
#ifndef SARVIK_PIPELINE_DATA_PRE_PROCESS_H
#define SARVIK_PIPELINE_DATA_PRE_PROCESS_H

#include <atomic>
#include <cstdint>
#include <deque>

#include "sarvik/SarvikFrame.h"

namespace sarvik {

class CriticalSectionWrapper;
class EventWrapper;
class Sensor;
class ThreadWrapper;

class DataPreProcess {
 public:
  DataPreProcess();
  // Stops the stage if it runs.
  virtual ~DataPreProcess();

  DataPreProcess(const DataPreProcess&) = delete;
  DataPreProcess& operator=(const DataPreProcess&) = delete;

  // Starts "Data PreProcess Thread" unless it runs already; always 0.
  int32_t start(Sensor* sensor);
  // Ends the thread and releases the queue's references.
  void stop();

  Sensor* m_sensor;  // not owned
  EventWrapper* m_event;
  CriticalSectionWrapper* m_queueLock;
  std::deque<SarvikFrameRef*> m_frameQueue;  // guarded by m_queueLock; one reference per entry
  std::atomic<bool> b_Running;
  ThreadWrapper* m_thread;

 private:
  static bool preProcessThreadFunc(void* context);
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_DATA_PRE_PROCESS_H
