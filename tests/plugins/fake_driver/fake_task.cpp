#include "fake_task.h"

#include "fake_control.h"

namespace sarvik_test {

namespace {
unsigned long long wide(uint64_t value) { return static_cast<unsigned long long>(value); }
}  // namespace

FakeTask::FakeTask(const std::string& deviceId) : m_deviceId(deviceId) { FakeControl::instance().taskMade(); }

FakeTask::~FakeTask() {
  FakeControl::instance().log("~task(" + m_deviceId + ")");
  FakeControl::instance().taskDeleted();
}

int32_t FakeTask::start(uint64_t word1, uint64_t word2) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("task.start(%s,%llu,%llu)", m_deviceId.c_str(), wide(word1), wide(word2)));
  control.pausePoint(FakeOp::kTaskStart);
  m_starts.fetch_add(1);  // a task deleted meanwhile is caught here
  return control.result(FakeOp::kTaskStart);
}

int32_t FakeTask::notify(uint64_t c, uint32_t a, uint32_t b, uint32_t d) {
  FakeControl::instance().log(formatText("task.notify(%s,%llu,%u,%u,%u)", m_deviceId.c_str(), wide(c), a, b, d));
  return 0;
}

int32_t FakeTask::onDeviceState(const char* deviceAddr, const char* sn, const char* location,
                                uint32_t deviceState) {
  FakeControl::instance().log(formatText("task.onDeviceState(%s,%s,%s,%s,%u)", m_deviceId.c_str(),
                                         orNull(deviceAddr), orNull(sn), orNull(location), deviceState));
  return 0;
}

int32_t FakeTask::control(uint64_t word1, uint64_t word2, uint64_t word3, uint64_t word4) {
  FakeControl::instance().log(formatText("task.control(%s,%llu,%llu,%llu,%llu)", m_deviceId.c_str(), wide(word1),
                                         wide(word2), wide(word3), wide(word4)));
  return 0;
}

bool FakeTask::isHolding() {
  FakeControl::instance().log("task.isHolding(" + m_deviceId + ")");
  return FakeControl::instance().taskHolding(m_deviceId);
}

std::string FakeTask::getLocation() {
  FakeControl::instance().log("task.getLocation(" + m_deviceId + ")");
  return FakeControl::instance().taskLocation(m_deviceId);
}

}  // namespace sarvik_test
