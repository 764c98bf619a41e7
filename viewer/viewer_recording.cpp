#include "viewer_recording.h"

#include "sarvik/SarvikStatus.h"
#include "sensor_names.h"

namespace sarvik_viewer {

ApiResult ViewerRecording::start(sarvik::Device* device, const std::vector<uint32_t>& sensors,
                                 const std::string& path) {
  if (m_recorder != nullptr) return ApiResult::fail(409, "a recording is running already: " + m_path);
  if (sensors.empty()) return ApiResult::fail(400, "nothing to record: start a stream or name the sensors");
  int32_t status = m_context->createRecorder(path.c_str(), &m_recorder);
  if (status != kStatusOk || m_recorder == nullptr) {
    m_recorder = nullptr;
    return ApiResult::module("creating the record file " + path, status);
  }
  m_path = path;
  for (uint32_t type : sensors) {
    sarvik::VideoStream* stream = nullptr;
    status = m_context->openStream(device, type, &stream, nullptr, nullptr);
    if (status == kStatusOk && stream != nullptr) {
      m_streams.push_back(stream);
      status = m_context->attachStreamToRecorder(m_recorder, stream);
    } else if (status == kStatusOk) {
      status = kStatusNoSource;
    }
    if (status != kStatusOk) {
      stop();
      return ApiResult::module(std::string("recording the ") + sensorName(type) + " stream", status);
    }
  }
  m_sensors = sensors;
  status = m_context->startRecorder(m_recorder);
  if (status != kStatusOk) {
    stop();
    return ApiResult::module("starting the recorder", status);
  }
  return ApiResult();
}

void ViewerRecording::stop() {
  if (m_recorder == nullptr) return;
  m_context->stopRecorder(m_recorder);
  // Closing a stream detaches it from the recorder first, so no write runs
  // on a stream that is going away.
  for (sarvik::VideoStream* stream : m_streams) m_context->closeStream(stream);
  m_streams.clear();
  m_context->destroyRecorder(m_recorder);
  m_recorder = nullptr;
  m_sensors.clear();
}

}  // namespace sarvik_viewer
