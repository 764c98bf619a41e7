// The one control object of a loaded fake plug-in: the settings the test
// chose, the call log, the event thread and the registry of started stream
// objects that frame delivery reads.
//
// Lock order: m_mutex is a leaf for everything but the waits below; it is
// never held across a call into the host.
#ifndef SARVIK_TESTS_FAKE_DRIVER_FAKE_CONTROL_H
#define SARVIK_TESTS_FAKE_DRIVER_FAKE_CONTROL_H

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sarvik/SarvikDriver.h"
#include "support/fake_driver_control.h"

namespace sarvik_test {

class FakeDriver;
class FakeStream;

// printf into a std::string, for the call log.
std::string formatText(const char* format, ...) __attribute__((format(printf, 1, 2)));
const char* orNull(const char* text);

class FakeControl : public FakeDriverControl {
 public:
  static FakeControl& instance();
  ~FakeControl();

  // FakeDriverControl
  void setDevices(const std::vector<typedefSarvikDeviceInfo>& devices) override;
  void setReportedCount(int64_t count) override;
  void setVideoNodes(const std::vector<typedefSarvikVideoNodeInfo>& nodes) override;
  void setResult(FakeOp op, int32_t status) override;
  void setCreateStreamNull(bool null) override { m_createStreamNull = null; }
  void setCreateTaskNull(bool null) override { m_createTaskNull = null; }
  void setConnectionState(uint32_t state) override { m_connectionState = state; }
  void setStreamReady(bool ready) override { m_streamReady = ready; }
  void setFdDeviceId(bool hasId, const std::string& id) override;
  void setCurrentFrameModeNull(bool null) override { m_frameModeNull = null; }
  void setFrameGeometry(uint32_t width, uint32_t height, uint32_t bytesPerPixel) override;
  void setTaskLocation(const std::string& deviceId, const std::string& location) override;
  void setTaskHolding(const std::string& deviceId, bool holding) override;
  void setDefaultTaskLocation(const std::string& location) override;
  void setDefaultTaskHolding(bool holding) override;
  int32_t liveTasks() override { return m_liveTasks.load(); }
  int32_t raiseEvent(const char* deviceAddr, const char* sn, const char* location, uint32_t deviceState) override;
  int32_t raiseEventAsync(const char* deviceAddr, const char* sn, const char* location,
                          uint32_t deviceState) override;
  int32_t startEventStorm(const char* deviceAddr, const char* sn, const char* location,
                          uint32_t deviceState) override;
  void stopEventStorm() override;
  uint64_t eventsRaised() override;
  int32_t deliverFrame(uint32_t sensorType) override;
  void setFlatOutDelivery(bool on) override { m_flatOut = on; }
  void setFrameFault(FrameFault fault) override { m_frameFault = static_cast<int32_t>(fault); }
  void setEventsInsideCalls(bool on) override { m_eventsInside = on; }
  FrameFault frameFault() const { return static_cast<FrameFault>(m_frameFault.load()); }
  // Raises the inline event of setEventsInsideCalls on the calling thread.
  void eventInsideCall();
  uint64_t framesDelivered() override { return m_framesDelivered.load(); }
  void pauseAt(FakeOp op) override;
  bool paused() override;
  void resume() override;
  std::vector<std::string> calls() override;
  void clearCalls() override;
  void setCallLogEnabled(bool enabled) override { m_logEnabled = enabled; }
  int32_t openDevices() override { return m_openDevices.load(); }
  int32_t instancesMade() override { return m_instancesMade.load(); }
  bool driverDestroyed() override { return m_driverDestroyed.load(); }

  // For the plug-in's own objects.
  void log(const std::string& text);
  // Waits here if the test paused `op`.
  void pausePoint(FakeOp op);
  int32_t result(FakeOp op) const { return m_results[static_cast<int>(op)].load(); }
  bool createStreamNull() const { return m_createStreamNull.load(); }
  bool createTaskNull() const { return m_createTaskNull.load(); }
  uint32_t connectionState() const { return m_connectionState.load(); }
  bool streamReady() const { return m_streamReady.load(); }
  bool frameModeNull() const { return m_frameModeNull.load(); }
  bool flatOut() const { return m_flatOut.load(); }
  uint32_t frameBufferSize();
  void frameGeometry(uint32_t* width, uint32_t* height);
  // The id of a device opened by descriptor; false when getDeviceId is to answer null.
  bool fdDeviceId(const char* path, std::string* id);
  std::string taskLocation(const std::string& deviceId);
  bool taskHolding(const std::string& deviceId);
  void taskMade() { ++m_liveTasks; }
  void taskDeleted() { --m_liveTasks; }
  void deviceOpened() { ++m_openDevices; }
  void deviceClosed() { --m_openDevices; }
  void countFrame() { ++m_framesDelivered; }

  // Writes up to *count records; *count becomes the number to report.
  int32_t fillDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count);
  void fillVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count);

  FakeDriver* makeDriver();
  // Joins the event thread before the driver object goes.
  void destroyDriver(FakeDriver* driver);
  void setStateCallback(DriverStateCallback callback, void* user);

  // Started stream objects, which deliverFrame may pick.
  void streamStarted(FakeStream* stream);
  // Removes the stream object and waits for a deliverFrame that is using it.
  void streamStopped(FakeStream* stream);

 private:
  struct Event {
    std::string deviceAddr, sn, location;
    bool addrNull = false, snNull = false, locationNull = false;
    uint32_t deviceState = 0;
  };
  static Event makeEvent(const char* deviceAddr, const char* sn, const char* location, uint32_t deviceState);

  FakeControl();
  int32_t postEvent(const Event& event, bool wait);
  void ensureEventThread();  // REQUIRES: m_mutex held
  void stopEventThread();
  void eventLoop();

  mutable std::mutex m_mutex;
  std::condition_variable m_changed;  // events posted or done, deliveries ended

  std::vector<std::string> m_calls;
  std::atomic<bool> m_logEnabled{true};

  std::vector<typedefSarvikDeviceInfo> m_devices;
  int64_t m_reportedCount = -1;
  std::vector<typedefSarvikVideoNodeInfo> m_nodes;
  std::atomic<int32_t> m_results[static_cast<int>(FakeOp::kCount)];
  std::atomic<bool> m_createStreamNull{false};
  std::atomic<bool> m_createTaskNull{false};
  std::atomic<uint32_t> m_connectionState{0};
  std::atomic<bool> m_streamReady{true};
  std::atomic<bool> m_frameModeNull{false};
  std::atomic<bool> m_flatOut{false};
  std::atomic<int32_t> m_frameFault{0};
  std::atomic<bool> m_eventsInside{false};
  bool m_fdHasId = true;
  std::string m_fdId;  // empty: "fd:<path>"
  uint32_t m_width = 16, m_height = 8, m_bytesPerPixel = 2;
  std::map<std::string, std::string> m_taskLocations;
  std::map<std::string, bool> m_taskHolding;
  std::string m_defaultTaskLocation;
  bool m_defaultTaskHolding = false;

  std::atomic<int32_t> m_liveTasks{0};
  std::atomic<int32_t> m_openDevices{0};
  std::atomic<int32_t> m_instancesMade{0};
  std::atomic<bool> m_driverDestroyed{false};
  std::atomic<uint64_t> m_framesDelivered{0};

  FakeDriver* m_driver = nullptr;
  DriverStateCallback m_callback = nullptr;
  void* m_callbackUser = nullptr;

  std::thread m_eventThread;
  bool m_stopEvents = false;
  std::deque<Event> m_events;
  bool m_storm = false;
  Event m_stormEvent;
  uint64_t m_posted = 0;      // queued events ever posted
  uint64_t m_queuedDone = 0;  // queued events done or dropped
  uint64_t m_eventsRaised = 0;

  int m_pauseOp = -1;  // the FakeOp to stop at, -1 for none
  bool m_parked = false;
  bool m_resumed = false;

  std::vector<FakeStream*> m_startedStreams;
  std::map<FakeStream*, int> m_inDelivery;
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_FAKE_DRIVER_FAKE_CONTROL_H
