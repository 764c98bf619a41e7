// A Device opened on the fake camera, with streams the fixture deletes before
// the device and the device before the camera.
#ifndef SARVIK_TESTS_PIPELINE_CAMERA_FIXTURE_H
#define SARVIK_TESTS_PIPELINE_CAMERA_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "fake_camera.h"
#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "pipeline/sensor.h"
#include "pipeline/video_stream.h"
#include "support/memory_log.h"

namespace sarvik_test {

class CameraTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (bindLog()) {
      ASSERT_EQ(sarvik::bindLogDriverFrom(SARVIK_MEMORY_LOG_PATH), 0);
    } else {
      sarvik::unbindLogDriver();
    }
    m_log.clear();
    m_device.reset(new sarvik::Device(&m_driver));
    ASSERT_EQ(m_device->open("fake://1"), 0);
  }

  void TearDown() override {
    m_streams.clear();
    m_device->close();
    m_device.reset();
  }

  // The stress tests log nothing: the in-memory log would keep every record.
  virtual bool bindLog() const { return true; }

  sarvik::VideoStream* makeStream(uint32_t type) {
    sarvik::VideoStream* stream = m_device->createStream(type);
    if (stream != nullptr) m_streams.emplace_back(stream);
    return stream;
  }

  // Deletes one of the fixture's streams now.
  void destroy(sarvik::VideoStream* stream) {
    m_streams.erase(std::find_if(m_streams.begin(), m_streams.end(), [&](const auto& s) { return s.get() == stream; }));
  }

  FakeDevice& camera() { return m_driver.device(); }
  FakeStream& cameraStream(uint32_t type) { return *camera().stream(type); }
  CallLog& calls() { return m_driver.log; }
  sarvik::FrameAllocator& pool(sarvik::VideoStream* stream) { return stream->m_sensor->m_frameAllocator; }

  MemoryLog m_log;
  FakeDriver m_driver;
  std::unique_ptr<sarvik::Device> m_device;
  std::vector<std::unique_ptr<sarvik::VideoStream>> m_streams;
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_PIPELINE_CAMERA_FIXTURE_H
