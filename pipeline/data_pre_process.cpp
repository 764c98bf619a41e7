#include "pipeline/data_pre_process.h"

#include "logging/log_bridge.h"
#include "logging/module_reporter.h"
#include "platform/critical_section_impl.h"
#include "platform/event_impl.h"
#include "platform/thread_impl.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {

DataPreProcess::DataPreProcess()
    : m_sensor(nullptr),
      m_event(new EventImpl()),
      m_queueLock(new CriticalSectionImpl()),
      b_Running(false),
      m_thread(nullptr) {}

DataPreProcess::~DataPreProcess() {
  stop();
  delete m_thread;
  delete m_event;
  delete m_queueLock;
}

int32_t DataPreProcess::start(Sensor* sensor) {
  logMessage(kLogTrace, "");
  if (b_Running.load()) return 0;
  m_sensor = sensor;
  m_thread = new ThreadImpl(preProcessThreadFunc, this, "Data PreProcess Thread", moduleReporter());
  b_Running.store(true);
  m_thread->start();
  return 0;
}

void DataPreProcess::stop() {
  logMessage(kLogTrace, "");
  if (b_Running.load()) {
    b_Running.store(false);
    m_event->set();
    m_thread->stop();
    delete m_thread;
    m_thread = nullptr;
  }
  ScopedLock lock(m_queueLock);
  for (SarvikFrameRef* frame : m_frameQueue) frame->release();
  m_frameQueue.clear();
}

// What the stage would do with a frame is undecided; with nothing to do, the
// thread ends after its first call.
bool DataPreProcess::preProcessThreadFunc(void*) { return false; }

}  // namespace sarvik
