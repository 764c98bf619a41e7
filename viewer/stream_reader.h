// One live stream of the page: a VideoStream of the viewer's own and a
// thread that reads its frames like any application (readFrame with a
// timeout), copies each into a pooled message once, gives the frame back at
// once and publishes the message. Depth readers also make the point cloud.
#ifndef SARVIK_VIEWER_STREAM_READER_H
#define SARVIK_VIEWER_STREAM_READER_H

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "frame_hub.h"
#include "message_pool.h"
#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikCamera.h"

namespace sarvik_viewer {

// How depth samples turn into metres, and the camera's intrinsics.
struct CloudGeometry {
  uint32_t encoding = SARVIK_DEPTH_FRACTION_2;
  float scale = 1000.0f;  // decoded units per metre
  float fx = 0, fy = 0, cx = 0, cy = 0;
};

struct StreamCounters {
  uint64_t frames = 0;
  uint64_t dropped = 0;  // gaps in the camera's frame numbers
  uint64_t skipped = 0;  // frames read while every message buffer was still held
  uint64_t lastStamp = 0;
  uint32_t lastNumber = 0;
  uint32_t width = 0, height = 0;
};

class StreamReader {
 public:
  // The pools outlive the reader: a page may still be sending a message of
  // this stream after it stopped (see CameraSession::poolFor).
  StreamReader(SarvikBaseContext* context, uint32_t streamType, FrameHub* hub, const CloudGeometry& geometry,
               MessagePool* framePool, MessagePool* cloudPool);
  ~StreamReader();
  StreamReader(const StreamReader&) = delete;
  StreamReader& operator=(const StreamReader&) = delete;

  // Opens the stream on `device` and starts reading; the module's status.
  int32_t start(sarvik::Device* device);
  // Ends the thread (within one read timeout) and closes the stream.
  void stop();
  StreamCounters counters() const;
  uint32_t streamType() const { return m_type; }

 private:
  void run();
  void publishFrame(const typedefSarvikFrame& frame);
  void publishCloud(const typedefSarvikFrame& frame);

  SarvikBaseContext* m_context;
  uint32_t m_type;
  FrameHub* m_hub;
  CloudGeometry m_geometry;
  sarvik::VideoStream* m_stream = nullptr;
  std::thread m_thread;
  std::atomic<bool> m_running{false};
  MessagePool* m_pool;
  MessagePool* m_cloudPool;
  std::vector<typedefSarvikPoint3D> m_points;  // reader thread only
  uint64_t m_lastCloudStamp = 0;               // reader thread only
  uint32_t m_sequence = 0;                     // reader thread only
  uint32_t m_cloudSequence = 0;                // reader thread only
  bool m_haveNumber = false;                   // reader thread only
  std::atomic<uint64_t> m_frames{0}, m_dropped{0}, m_skipped{0}, m_lastStamp{0};
  std::atomic<uint32_t> m_lastNumber{0}, m_width{0}, m_height{0};
};

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_STREAM_READER_H
