#include "stream_reader.h"

#include <chrono>
#include <cstring>

#include "frame_message.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik_viewer {
namespace {

constexpr uint32_t kReadTimeoutMs = 100;
// A cloud is heavy for the page to draw and of little use faster than this.
constexpr uint64_t kCloudIntervalUs = 100000;
// Every step-th pixel in both directions goes to the page's cloud.
constexpr uint32_t kCloudStep = 4;

}  // namespace

StreamReader::StreamReader(SarvikBaseContext* context, uint32_t streamType, FrameHub* hub,
                           const CloudGeometry& geometry, MessagePool* framePool, MessagePool* cloudPool)
    : m_context(context), m_type(streamType), m_hub(hub), m_geometry(geometry), m_pool(framePool),
      m_cloudPool(cloudPool) {}

StreamReader::~StreamReader() { stop(); }

int32_t StreamReader::start(sarvik::Device* device) {
  sarvik::VideoStream* stream = nullptr;
  const int32_t status = m_context->openStream(device, m_type, &stream, nullptr, nullptr);
  if (status != kStatusOk) return status;
  if (stream == nullptr) return kStatusNoSource;
  m_stream = stream;
  m_running = true;
  m_thread = std::thread([this] { run(); });
  return kStatusOk;
}

void StreamReader::stop() {
  m_running = false;
  if (m_thread.joinable()) m_thread.join();
  if (m_stream != nullptr) {
    m_context->closeStream(m_stream);
    m_stream = nullptr;
  }
  m_hub->clear(m_type);
  if (m_type == SARVIK_STREAM_DEPTH) m_hub->clear(kKindCloud);
}

StreamCounters StreamReader::counters() const {
  StreamCounters c;
  c.frames = m_frames.load();
  c.dropped = m_dropped.load();
  c.skipped = m_skipped.load();
  c.lastStamp = m_lastStamp.load();
  c.lastNumber = m_lastNumber.load();
  c.width = m_width.load();
  c.height = m_height.load();
  return c;
}

void StreamReader::run() {
  while (m_running.load()) {
    typedefSarvikFrame* frame = nullptr;
    const int32_t status = m_context->readFrame(m_stream, &frame, kReadTimeoutMs);
    if (status != kStatusOk || frame == nullptr) {
      // A camera that has gone may fail at once instead of waiting out the
      // timeout; don't spin on it.
      if (status != kStatusTimeout) std::this_thread::sleep_for(std::chrono::milliseconds(kReadTimeoutMs));
      continue;
    }
    if (m_haveNumber && frame->frameNumber > m_lastNumber.load() + 1) {
      m_dropped += frame->frameNumber - m_lastNumber.load() - 1;
    }
    m_haveNumber = true;
    m_lastNumber = frame->frameNumber;
    m_lastStamp = frame->frameStamp;
    m_width = frame->width;
    m_height = frame->height;
    ++m_frames;
    publishFrame(*frame);
    if (m_type == SARVIK_STREAM_DEPTH && m_hub->cloudWatched() &&
        frame->frameStamp - m_lastCloudStamp >= kCloudIntervalUs) {
      m_lastCloudStamp = frame->frameStamp;
      publishCloud(*frame);
    }
    m_context->releaseFrame(frame);
  }
}

void StreamReader::publishFrame(const typedefSarvikFrame& frame) {
  const uint32_t bytesPerPixel = sarvikPixelBytes(frame.pixelType);
  const uint64_t expected = uint64_t(frame.width) * frame.height * bytesPerPixel;
  // A frame that does not hold what its record claims is not shown: the page
  // would read past its end.
  if (bytesPerPixel == 0 || frame.data == nullptr || expected == 0 || frame.dataSize < expected) {
    ++m_skipped;
    return;
  }
  MessageRef message = m_pool->acquire(sizeof(FrameMessageHeader) + expected);
  if (!message) {
    ++m_skipped;
    return;
  }
  FrameMessageHeader header = makeHeader(m_type, static_cast<uint32_t>(expected));
  header.format = frame.pixelType;
  header.width = frame.width;
  header.height = frame.height;
  header.frameNumber = frame.frameNumber;
  header.frameStamp = frame.frameStamp;
  header.dropped = static_cast<uint32_t>(m_dropped.load());
  header.sequence = ++m_sequence;
  uint8_t* bytes = message.mutableBytes().data();
  std::memcpy(bytes, &header, sizeof header);
  std::memcpy(bytes + sizeof header, frame.data, expected);  // the one copy of the pixels
  m_hub->publish(m_type, std::move(message));
}

void StreamReader::publishCloud(const typedefSarvikFrame& frame) {
  if (frame.pixelType != SARVIK_PIXEL_DEPTH16 || frame.dataSize < uint64_t(frame.width) * frame.height * 2) return;
  const size_t pixels = size_t(frame.width) * frame.height;
  if (m_points.size() != pixels) m_points.assign(pixels, typedefSarvikPoint3D{0, 0, 0});
  m_context->depthToPointCloud(static_cast<const uint16_t*>(frame.data), frame.width, frame.height,
                               m_geometry.scale, m_geometry.fx, m_geometry.fy, m_geometry.cx, m_geometry.cy,
                               m_points.data(), m_geometry.encoding, true);
  const size_t most = size_t((frame.width + kCloudStep - 1) / kCloudStep) * ((frame.height + kCloudStep - 1) / kCloudStep);
  MessageRef message = m_cloudPool->acquire(sizeof(FrameMessageHeader) + most * sizeof(typedefSarvikPoint3D));
  if (!message) return;
  uint8_t* out = message.mutableBytes().data() + sizeof(FrameMessageHeader);
  uint32_t kept = 0;
  for (uint32_t row = 0; row < frame.height; row += kCloudStep) {
    for (uint32_t col = 0; col < frame.width; col += kCloudStep) {
      const typedefSarvikPoint3D& p = m_points[size_t(row) * frame.width + col];
      if (p.z == 0.0f) continue;  // no depth at this pixel
      std::memcpy(out + size_t(kept) * sizeof p, &p, sizeof p);
      ++kept;
    }
  }
  message.mutableBytes().resize(sizeof(FrameMessageHeader) + size_t(kept) * sizeof(typedefSarvikPoint3D));
  FrameMessageHeader header = makeHeader(kKindCloud, kept * sizeof(typedefSarvikPoint3D));
  header.format = kKindCloud;
  header.width = kept;
  header.height = 1;
  header.frameNumber = frame.frameNumber;
  header.frameStamp = frame.frameStamp;
  header.sequence = ++m_cloudSequence;
  std::memcpy(message.mutableBytes().data(), &header, sizeof header);
  m_hub->publish(kKindCloud, std::move(message));
}

}  // namespace sarvik_viewer
