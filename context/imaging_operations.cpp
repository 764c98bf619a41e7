// Depth conversions and the colour snapshot: pure arithmetic on the caller's
// buffers, and one bitmap of the first colour stream's frame.
#include "context/context.h"
#include "imaging/bmp_writer.h"
#include "imaging/colour_bar.h"
#include "imaging/coloured_cloud.h"
#include "imaging/point_cloud.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/sensor.h"
#include "pipeline/video_stream.h"
#include "platform/critical_section_wrapper.h"

namespace sarvik {

int32_t Context::depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx,
                                   float fy, float cx, float cy, typedefSarvikPoint3D* points, uint32_t encoding,
                                   bool clip) {
  return convertDepthToPointCloud(depth, width, height, scale, fx, fy, cx, cy, points, encoding, clip);
}

int32_t Context::depthToColouredCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                                      float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                                      typedefSarvikRGBA* colours, uint32_t encoding) {
  // The message belongs to each context's first call; the table itself is
  // built once per process, before any worker can read it.
  if (!m_colourBarReady.exchange(true)) logMessage(4, "creat color bar succed!");
  ensureColourBar();
  return convertDepthToColouredCloud(depth, width, height, scale, fx, fy, cx, cy, points, colours, encoding);
}

int32_t Context::saveBmpSnapshot(const char* fileName) {
  OperationScope scope(m_gate);
  if (int32_t status = guardInitialized()) return status;
  VideoStream* colour = nullptr;
  {
    ScopedLock listLock(m_streamListLock);
    for (VideoStream* stream : m_streams) {
      if (stream->m_sensor->m_sensorType == SARVIK_STREAM_COLOR) {
        colour = stream;
        break;
      }
    }
  }
  if (colour == nullptr) {
    setLastErrorCode(kErrInvalidStream);
    return -8;
  }
  FrameRefPtr frame;
  if (int32_t status = colour->getFrameWait(frame)) return status;
  if (!frame) return -1;
  return writeBmpSnapshot(fileName, *frame, frame->bufferCapacity());
}

}  // namespace sarvik
