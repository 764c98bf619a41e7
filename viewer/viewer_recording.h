// A recording started from the page. It opens streams of its own on the
// sensors it records, so that the frames the page shows (read by the stream
// readers) never take a frame away from the recorder: a frame read from a
// stream before its "Stream Thread" reaches the recorder is not recorded.
#ifndef SARVIK_VIEWER_VIEWER_RECORDING_H
#define SARVIK_VIEWER_VIEWER_RECORDING_H

#include <cstdint>
#include <string>
#include <vector>

#include "api_result.h"
#include "sarvik/SarvikBaseContext.h"

namespace sarvik_viewer {

class ViewerRecording {
 public:
  explicit ViewerRecording(SarvikBaseContext* context) : m_context(context) {}
  ~ViewerRecording() { stop(); }
  ViewerRecording(const ViewerRecording&) = delete;
  ViewerRecording& operator=(const ViewerRecording&) = delete;

  // Records `sensors` of `device` to the absolute `path`. On failure nothing
  // stays open.
  ApiResult start(sarvik::Device* device, const std::vector<uint32_t>& sensors, const std::string& path);
  // Ends the recording; the file is complete when this returns. No-op when idle.
  void stop();
  bool active() const { return m_recorder != nullptr; }
  const std::string& path() const { return m_path; }
  const std::vector<uint32_t>& sensors() const { return m_sensors; }

 private:
  SarvikBaseContext* m_context;
  sarvik::StreamRecorder* m_recorder = nullptr;
  std::vector<sarvik::VideoStream*> m_streams;
  std::vector<uint32_t> m_sensors;
  std::string m_path;
};

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_VIEWER_RECORDING_H
