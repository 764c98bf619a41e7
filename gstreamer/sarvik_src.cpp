#include "sarvik_src.h"

#include <gst/video/video.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "camera_modes.h"
#include "frame_handoff.h"
#include "frame_ledger.h"
#include "sarvik/SarvikCamera.h"
#include "sarvik/SarvikStatus.h"
#include "sarvik_session.h"

GST_DEBUG_CATEGORY_STATIC(sarvik_src_debug);
#define GST_CAT_DEFAULT sarvik_src_debug

using sarvik_gst::FrameHandoff;

namespace {

enum {
  PROP_0,
  PROP_DEVICE,
  PROP_STREAM,
  PROP_MODE,
  PROP_EOS_ON_UNPLUG,
  PROP_MAX_WRAPPED,
  PROP_WRAPPED,
  PROP_COPIES,
};

// How long create() sleeps between looks at flushing and unplugging.
constexpr std::chrono::milliseconds kWaitSlice(100);

const char* streamName(guint type) {
  switch (type) {
    case SARVIK_STREAM_COLOR: return "color";
    case SARVIK_STREAM_DEPTH: return "depth";
    case SARVIK_STREAM_IR: return "ir";
    case SARVIK_STREAM_LIGHT_IR: return "lightir";
    default: return "unknown";
  }
}

GType streamEnumType() {
  static GType type = 0;
  static const GEnumValue values[] = {
      {SARVIK_STREAM_COLOR, "Colour (RGB)", "color"},
      {SARVIK_STREAM_DEPTH, "Depth (GRAY16_LE)", "depth"},
      {SARVIK_STREAM_IR, "Infrared (GRAY8 or GRAY16_LE)", "ir"},
      {SARVIK_STREAM_LIGHT_IR, "Infrared with the projector's pattern", "lightir"},
      {0, nullptr, nullptr},
  };
  if (g_once_init_enter(&type)) g_once_init_leave(&type, g_enum_register_static("GstSarvikStream", values));
  return type;
}

// Everything the element owns while it runs; made in init, gone in finalize.
struct SrcState {
  // Set in start(), cleared in stop(); the streaming thread uses them between.
  // Caps and latency queries may come from any thread at any time: they copy
  // `camera` and `modes` under `lock`, which start() and stop() take to change them.
  std::mutex lock;
  std::shared_ptr<sarvik_gst::Session> session;
  std::shared_ptr<sarvik_gst::SharedCamera> camera;
  std::shared_ptr<sarvik_gst::FrameLedger> ledger;
  std::unique_ptr<FrameHandoff> handoff;
  sarvik::VideoStream* stream = nullptr;
  uint32_t sensorType = SARVIK_STREAM_COLOR;
  std::vector<SarvikModeRecord> modes;
  sarvik_gst::ModeSelector selector;
  int watchId = 0;
  bool endsWithEos = false;

  // Negotiated.
  int modeIndex = -1;
  std::atomic<int> fps{-1};  // of the negotiated mode, for latency queries
  GstVideoInfo info;
  bool downstreamVideoMeta = false;

  // Time stamps: stamps are microseconds, counted from the first frame.
  bool haveFirst = false;
  uint64_t firstStamp = 0;
  uint64_t lastStamp = 0;
  GstClockTime anchor = 0;
  GstClockTime lastPts = GST_CLOCK_TIME_NONE;

  std::atomic<guint64> wrapped{0};
  std::atomic<guint64> copies{0};
};

}  // namespace

struct _GstSarvikSrc {
  GstPushSrc parent;
  // Properties, guarded by the object lock.
  gchar* device;
  guint streamType;
  gchar* mode;
  gboolean eosOnUnplug;
  gint maxWrapped;
  SrcState* state;
};

G_DEFINE_TYPE(GstSarvikSrc, gst_sarvik_src, GST_TYPE_PUSH_SRC)

static GstStaticPadTemplate srcTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS,
                            GST_STATIC_CAPS("video/x-raw, format = (string) { RGB, GRAY16_LE, GRAY8 }, "
                                            "width = (int) [ 1, 65535 ], height = (int) [ 1, 65535 ], "
                                            "framerate = (fraction) [ 0/1, 127/1 ]"));

namespace {

std::string statusText(int32_t status) {
  const char* name = sarvikStatusName(status);
  return std::to_string(status) + (name != nullptr ? std::string(" (") + name + ")" : std::string());
}

// ---------------------------------------------------------------------------
// Start and stop

bool openCamera(GstSarvikSrc* self, SrcState* s) {
  GST_OBJECT_LOCK(self);
  const std::string selector = self->device != nullptr ? self->device : "";
  const std::string modeText = self->mode != nullptr ? self->mode : "";
  s->sensorType = self->streamType;
  GST_OBJECT_UNLOCK(self);

  if (!sarvik_gst::parseModeSelector(modeText, &s->selector)) {
    GST_ELEMENT_ERROR(self, RESOURCE, SETTINGS, ("mode \"%s\" is not an index, WxH or WxH@fps", modeText.c_str()),
                      (nullptr));
    return false;
  }
  std::string error;
  s->session = sarvik_gst::Session::acquire(&error);
  if (!s->session) {
    GST_ELEMENT_ERROR(self, LIBRARY, INIT, ("%s", error.c_str()), (nullptr));
    return false;
  }
  std::shared_ptr<sarvik_gst::SharedCamera> camera = s->session->openCamera(selector, &error);
  {
    std::lock_guard<std::mutex> guard(s->lock);
    s->camera = camera;
  }
  if (!s->camera) {
    GST_ELEMENT_ERROR(self, RESOURCE, NOT_FOUND, ("%s", error.c_str()), ("device=\"%s\"", selector.c_str()));
    return false;
  }
  int32_t status = 0;
  std::vector<SarvikModeRecord> modes =
      sarvik_gst::readModes(s->camera->context(), s->camera->device(), s->sensorType, &status);
  {
    std::lock_guard<std::mutex> guard(s->lock);
    s->modes = std::move(modes);
  }
  if (s->modes.empty()) {
    GST_ELEMENT_ERROR(self, RESOURCE, NOT_FOUND,
                      ("camera %s has no %s stream", s->camera->address().c_str(), streamName(s->sensorType)),
                      ("mode list: status %s", statusText(status).c_str()));
    return false;
  }
  const bool known = std::any_of(s->modes.begin(), s->modes.end(), [&](const SarvikModeRecord& m) {
    return sarvik_gst::selectorMatches(s->selector, m) && sarvik_gst::videoFormatName(sarvikModeFormat(m.mode));
  });
  if (!known) {
    GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                      ("camera %s has no %s mode \"%s\"", s->camera->address().c_str(), streamName(s->sensorType),
                       modeText.c_str()),
                      ("it offers: %s", sarvik_gst::describeModes(s->modes).c_str()));
    return false;
  }
  return true;
}

void releaseAll(SrcState* s) {
  if (s->stream != nullptr) {
    // Joins the module's callback thread: no frame reaches the hand-off after this.
    const int32_t status = s->camera->context()->closeStream(s->stream);
    if (status != 0) GST_WARNING("closing the stream gave %s", statusText(status).c_str());
    s->stream = nullptr;
  }
  if (s->camera && s->watchId != 0) s->camera->unwatch(s->watchId);
  s->watchId = 0;
  s->handoff.reset();  // gives a waiting frame back
  if (s->camera && s->ledger) s->camera->removeStreamer(s->sensorType);
  // Frames still lent to the pipeline keep the ledger, and through it the
  // camera and the context, until GStreamer frees them.
  s->ledger.reset();
  std::shared_ptr<sarvik_gst::SharedCamera> camera;
  {
    std::lock_guard<std::mutex> guard(s->lock);
    camera = std::move(s->camera);
    s->modes.clear();
  }
  camera.reset();  // may close the device: not under the lock
  s->session.reset();
  s->modeIndex = -1;
  s->fps = -1;
}

gboolean srcStart(GstBaseSrc* base) {
  GstSarvikSrc* self = GST_SARVIK_SRC(base);
  SrcState* s = self->state;
  if (!openCamera(self, s)) {
    releaseAll(s);
    return FALSE;
  }
  s->handoff.reset(new FrameHandoff(s->camera->context()));
  FrameHandoff* handoff = s->handoff.get();
  s->watchId = s->camera->watch([handoff] { handoff->setGone(); });
  if (s->camera->gone()) handoff->setGone();
  s->ledger = std::make_shared<sarvik_gst::FrameLedger>(s->camera);
  s->camera->addStreamer(s->sensorType);
  GST_OBJECT_LOCK(self);
  // A file that ends is not a failure: its stream ends like any file's.
  s->endsWithEos = self->eosOnUnplug || s->camera->address().rfind(SARVIK_FILE_SCHEME, 0) == 0;
  GST_OBJECT_UNLOCK(self);
  s->haveFirst = false;
  s->lastPts = GST_CLOCK_TIME_NONE;
  s->wrapped = 0;
  s->copies = 0;
  GST_INFO_OBJECT(self, "streaming %s of %s", streamName(s->sensorType), s->camera->address().c_str());
  return TRUE;
}

gboolean srcStop(GstBaseSrc* base) {
  releaseAll(GST_SARVIK_SRC(base)->state);
  return TRUE;
}

// ---------------------------------------------------------------------------
// Negotiation

// The camera's current mode, or null.
const typedefSarvikFrameMode* currentMode(const sarvik_gst::SharedCamera& camera, uint32_t sensorType) {
  return camera.context()->getCurrentFrameMode(camera.device(), sensorType);
}
const typedefSarvikFrameMode* currentMode(SrcState* s) { return currentMode(*s->camera, s->sensorType); }

// Another element already streaming the sensor fixes its mode for everyone:
// a camera runs one mode per sensor.
GstCaps* srcGetCaps(GstBaseSrc* base, GstCaps* filter) {
  GstSarvikSrc* self = GST_SARVIK_SRC(base);
  SrcState* s = self->state;
  std::shared_ptr<sarvik_gst::SharedCamera> camera;
  std::vector<SarvikModeRecord> modes;
  {
    std::lock_guard<std::mutex> guard(s->lock);
    camera = s->camera;
    modes = s->modes;
  }
  GstCaps* caps = nullptr;
  if (!camera || modes.empty()) {
    caps = gst_pad_get_pad_template_caps(GST_BASE_SRC_PAD(base));
  } else {
    const typedefSarvikFrameMode* current = currentMode(*camera, s->sensorType);
    const bool othersStream = camera->streamers(s->sensorType) > 1 && s->fps < 0;
    if (othersStream && current != nullptr) {
      modes.erase(std::remove_if(modes.begin(), modes.end(),
                                 [&](const SarvikModeRecord& m) { return !sarvikModeEquals(m.mode, *current); }),
                  modes.end());
    }
    caps = sarvik_gst::modesToCaps(modes, s->selector, current);
  }
  if (filter != nullptr) {
    GstCaps* narrowed = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(caps);
    caps = narrowed;
  }
  return caps;
}

gboolean srcNegotiate(GstBaseSrc* base) {
  if (GST_BASE_SRC_CLASS(gst_sarvik_src_parent_class)->negotiate(base)) return TRUE;
  // The base class only says "not-negotiated"; say which modes there were.
  GstSarvikSrc* self = GST_SARVIK_SRC(base);
  SrcState* s = self->state;
  GstCaps* peer = gst_pad_peer_query_caps(GST_BASE_SRC_PAD(base), nullptr);
  gchar* wanted = peer != nullptr ? gst_caps_to_string(peer) : g_strdup("nothing");
  GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                    ("no %s mode of camera %s suits the pipeline", streamName(s->sensorType),
                     s->camera ? s->camera->address().c_str() : "?"),
                    ("camera offers: %s; downstream accepts: %s", sarvik_gst::describeModes(s->modes).c_str(),
                     wanted));
  g_free(wanted);
  if (peer != nullptr) gst_caps_unref(peer);
  return FALSE;
}

bool openStream(GstSarvikSrc* self, SrcState* s, int index) {
  SarvikBaseContext* context = s->camera->context();
  const typedefSarvikFrameMode* current = currentMode(s);
  const SarvikModeRecord& wanted = s->modes[index];
  if (current == nullptr || !sarvikModeEquals(*current, wanted.mode)) {
    // The record is the camera's own, read back from its list.
    SarvikModeRecord record = wanted;
    const int32_t status = context->setFrameMode(s->camera->device(), s->sensorType, &record.mode);
    if (status != 0) {
      GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                        ("camera %s refused %s mode %s", s->camera->address().c_str(), streamName(s->sensorType),
                         sarvik_gst::describeMode(wanted).c_str()),
                        ("setFrameMode: status %s", statusText(status).c_str()));
      return false;
    }
  }
  const int32_t status =
      context->openStream(s->camera->device(), s->sensorType, &s->stream, &FrameHandoff::onFrame, s->handoff.get());
  if (status != 0 || s->stream == nullptr) {
    s->stream = nullptr;
    GST_ELEMENT_ERROR(self, RESOURCE, OPEN_READ,
                      ("cannot start the %s stream of camera %s", streamName(s->sensorType),
                       s->camera->address().c_str()),
                      ("openStream: status %s", statusText(status).c_str()));
    return false;
  }
  return true;
}

gboolean srcSetCaps(GstBaseSrc* base, GstCaps* caps) {
  GstSarvikSrc* self = GST_SARVIK_SRC(base);
  SrcState* s = self->state;
  if (!s->camera) return FALSE;
  const int index = sarvik_gst::modeForCaps(s->modes, caps);
  GstVideoInfo info;
  if (index < 0 || !gst_video_info_from_caps(&info, caps)) {
    GST_ELEMENT_ERROR(self, CORE, NEGOTIATION, ("caps %" GST_PTR_FORMAT " are no mode of camera %s", caps,
                                                s->camera->address().c_str()),
                      ("camera offers: %s", sarvik_gst::describeModes(s->modes).c_str()));
    return FALSE;
  }
  if (s->stream != nullptr && index == s->modeIndex) return TRUE;
  if (s->stream != nullptr) {
    s->camera->context()->closeStream(s->stream);
    s->stream = nullptr;
    s->handoff->clear();
  }
  s->info = info;
  if (!openStream(self, s, index)) return FALSE;
  s->modeIndex = index;
  s->fps = sarvikModeFps(s->modes[index].mode);
  GST_INFO_OBJECT(self, "mode %s", sarvik_gst::describeMode(s->modes[index]).c_str());
  return TRUE;
}

gboolean srcDecideAllocation(GstBaseSrc* base, GstQuery* query) {
  if (!GST_BASE_SRC_CLASS(gst_sarvik_src_parent_class)->decide_allocation(base, query)) return FALSE;
  SrcState* s = GST_SARVIK_SRC(base)->state;
  s->downstreamVideoMeta = gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
  GST_DEBUG_OBJECT(base, "downstream %s GstVideoMeta", s->downstreamVideoMeta ? "reads" : "does not read");
  return TRUE;
}

gboolean srcQuery(GstBaseSrc* base, GstQuery* query) {
  SrcState* s = GST_SARVIK_SRC(base)->state;
  const int fps = s->fps;
  if (GST_QUERY_TYPE(query) == GST_QUERY_LATENCY && fps >= 0) {
    // One frame: the camera delivers an image a frame time after exposure starts.
    const GstClockTime frame = fps > 0 ? gst_util_uint64_scale_int(GST_SECOND, 1, fps) : 0;
    gst_query_set_latency(query, TRUE, frame, fps > 0 ? 2 * frame : GST_CLOCK_TIME_NONE);
    return TRUE;
  }
  return GST_BASE_SRC_CLASS(gst_sarvik_src_parent_class)->query(base, query);
}

// ---------------------------------------------------------------------------
// Frames

GstClockTime frameDuration(SrcState* s) {
  const int fps = sarvikModeFps(s->modes[s->modeIndex].mode);
  return fps > 0 ? gst_util_uint64_scale_int(GST_SECOND, 1, fps) : GST_CLOCK_TIME_NONE;
}

// Stamps are the camera's microseconds; the first frame's lands on the running
// time at which it arrived, later ones keep their distance to it. A stamp that
// goes back (a file that loops, a camera that restarts) starts a new count.
void stampBuffer(GstSarvikSrc* self, SrcState* s, GstBuffer* buffer, const typedefSarvikFrame* frame) {
  const GstClockTime duration = frameDuration(s);
  if (!s->haveFirst || frame->frameStamp < s->lastStamp) {
    GstClockTime running = 0;
    if (GstClock* clock = gst_element_get_clock(GST_ELEMENT(self))) {
      const GstClockTime now = gst_clock_get_time(clock);
      const GstClockTime base = gst_element_get_base_time(GST_ELEMENT(self));
      running = now > base ? now - base : 0;
      gst_object_unref(clock);
    }
    if (GST_CLOCK_TIME_IS_VALID(s->lastPts)) {
      running = std::max(running, s->lastPts + (GST_CLOCK_TIME_IS_VALID(duration) ? duration : 1));
    }
    s->anchor = running;
    s->firstStamp = frame->frameStamp;
    s->haveFirst = true;
  }
  s->lastStamp = frame->frameStamp;
  const GstClockTime pts = s->anchor + (frame->frameStamp - s->firstStamp) * GST_USECOND;
  GST_BUFFER_PTS(buffer) = pts;
  GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
  GST_BUFFER_DURATION(buffer) = duration;
  GST_BUFFER_OFFSET(buffer) = frame->frameNumber;
  GST_BUFFER_OFFSET_END(buffer) = static_cast<guint64>(frame->frameNumber) + 1;
  s->lastPts = pts;
}

// True for a frame of the negotiated mode with all its bytes.
bool frameFits(const SrcState* s, const typedefSarvikFrame* frame) {
  const SarvikModeRecord& mode = s->modes[s->modeIndex];
  const uint64_t packed = uint64_t{frame->width} * frame->height * sarvikPixelBytes(frame->pixelType);
  return frame->data != nullptr && frame->width == sarvikModeWidth(mode.mode) &&
         frame->height == sarvikModeHeight(mode.mode) && frame->pixelType == sarvikModeFormat(mode.mode) &&
         packed > 0 && frame->dataSize >= packed;
}

int lendLimit(GstSarvikSrc* self, SrcState* s) {
  GST_OBJECT_LOCK(self);
  const int asked = self->maxWrapped;
  GST_OBJECT_UNLOCK(self);
  const int budget = sarvik_gst::wrapBudget(s->camera->streamers(s->sensorType));
  return asked < 0 ? budget : std::min(asked, budget);
}

// The frame's memory itself, while the budget allows and GStreamer can read
// its rows as they are (default stride, or downstream reads GstVideoMeta).
GstBuffer* wrapFrame(GstSarvikSrc* self, SrcState* s, typedefSarvikFrame* frame, gsize packed, int rowBytes) {
  const bool defaultStride = GST_VIDEO_INFO_PLANE_STRIDE(&s->info, 0) == rowBytes;
  if (!defaultStride && !s->downstreamVideoMeta) return nullptr;
  GstMemory* memory = s->ledger->lend(frame, packed, lendLimit(self, s));
  if (memory == nullptr) {
    GST_LOG_OBJECT(self, "%d frames lent: frame %u is copied", s->ledger->lent(), frame->frameNumber);
    return nullptr;
  }
  GstBuffer* buffer = gst_buffer_new();
  gst_buffer_append_memory(buffer, memory);
  if (!defaultStride) {
    gsize offset[GST_VIDEO_MAX_PLANES] = {0};
    gint stride[GST_VIDEO_MAX_PLANES] = {rowBytes};
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(&s->info),
                                   GST_VIDEO_INFO_WIDTH(&s->info), GST_VIDEO_INFO_HEIGHT(&s->info), 1, offset,
                                   stride);
  }
  ++s->wrapped;
  return buffer;
}

// A buffer of the negotiated pool with the frame's rows; the frame goes back.
GstFlowReturn copyFrame(GstBaseSrc* base, SrcState* s, typedefSarvikFrame* frame, int rowBytes, GstBuffer** out) {
  GstBuffer* buffer = nullptr;
  GstBufferPool* pool = gst_base_src_get_buffer_pool(base);
  GstFlowReturn flow = GST_FLOW_OK;
  if (pool != nullptr) {
    flow = gst_buffer_pool_acquire_buffer(pool, &buffer, nullptr);
    gst_object_unref(pool);
  } else {
    buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&s->info), nullptr);
  }
  if (flow != GST_FLOW_OK || buffer == nullptr) {
    s->ledger->giveBack(frame);
    return flow != GST_FLOW_OK ? flow : GST_FLOW_ERROR;
  }
  GstVideoFrame video;
  if (!gst_video_frame_map(&video, &s->info, buffer, GST_MAP_WRITE)) {
    s->ledger->giveBack(frame);
    gst_buffer_unref(buffer);
    return GST_FLOW_ERROR;
  }
  const auto* source = static_cast<const guint8*>(frame->data);
  auto* target = static_cast<guint8*>(GST_VIDEO_FRAME_PLANE_DATA(&video, 0));
  const int stride = GST_VIDEO_FRAME_PLANE_STRIDE(&video, 0);
  for (guint row = 0; row < frame->height; ++row) {
    memcpy(target + static_cast<size_t>(row) * stride, source + static_cast<size_t>(row) * rowBytes, rowBytes);
  }
  gst_video_frame_unmap(&video);
  s->ledger->giveBack(frame);
  ++s->copies;
  *out = buffer;
  return GST_FLOW_OK;
}

GstFlowReturn cameraGone(GstSarvikSrc* self, SrcState* s) {
  if (s->endsWithEos) {
    GST_INFO_OBJECT(self, "camera %s is gone: end of stream", s->camera->address().c_str());
    return GST_FLOW_EOS;
  }
  GST_ELEMENT_ERROR(self, RESOURCE, READ, ("camera %s was unplugged", s->camera->address().c_str()),
                    ("the %s stream ended; set eos-on-unplug to end with EOS instead", streamName(s->sensorType)));
  return GST_FLOW_ERROR;
}

GstFlowReturn srcCreate(GstPushSrc* push, GstBuffer** out) {
  GstSarvikSrc* self = GST_SARVIK_SRC(push);
  SrcState* s = self->state;
  if (s->stream == nullptr || s->modeIndex < 0) return GST_FLOW_NOT_NEGOTIATED;
  for (;;) {
    typedefSarvikFrame* frame = nullptr;
    switch (s->handoff->take(&frame, kWaitSlice)) {
      case FrameHandoff::Wait::kFlushing: return GST_FLOW_FLUSHING;
      case FrameHandoff::Wait::kGone: return cameraGone(self, s);
      case FrameHandoff::Wait::kTimeout:
        if (s->camera->gone()) s->handoff->setGone();
        continue;
      case FrameHandoff::Wait::kFrame: break;
    }
    if (!frameFits(s, frame)) {
      GST_WARNING_OBJECT(self, "dropped frame %u: %ux%u pixel code %u, %u bytes, not the negotiated mode",
                         frame->frameNumber, frame->width, frame->height, frame->pixelType, frame->dataSize);
      s->ledger->giveBack(frame);
      continue;
    }
    const int rowBytes = static_cast<int>(frame->width * sarvikPixelBytes(frame->pixelType));
    const gsize packed = static_cast<gsize>(rowBytes) * frame->height;
    GstBuffer* buffer = wrapFrame(self, s, frame, packed, rowBytes);
    if (buffer == nullptr) {
      const GstFlowReturn flow = copyFrame(GST_BASE_SRC(push), s, frame, rowBytes, &buffer);
      if (flow != GST_FLOW_OK) return flow;
    }
    stampBuffer(self, s, buffer, frame);
    *out = buffer;
    return GST_FLOW_OK;
  }
}

gboolean srcUnlock(GstBaseSrc* base) {
  SrcState* s = GST_SARVIK_SRC(base)->state;
  if (s->handoff) s->handoff->setFlushing(true);
  return TRUE;
}

gboolean srcUnlockStop(GstBaseSrc* base) {
  SrcState* s = GST_SARVIK_SRC(base)->state;
  if (s->handoff) s->handoff->setFlushing(false);
  return TRUE;
}

// ---------------------------------------------------------------------------
// GObject

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
  GstSarvikSrc* self = GST_SARVIK_SRC(object);
  GST_OBJECT_LOCK(self);
  switch (id) {
    case PROP_DEVICE:
      g_free(self->device);
      self->device = g_value_dup_string(value);
      break;
    case PROP_STREAM: self->streamType = static_cast<guint>(g_value_get_enum(value)); break;
    case PROP_MODE:
      g_free(self->mode);
      self->mode = g_value_dup_string(value);
      break;
    case PROP_EOS_ON_UNPLUG: self->eosOnUnplug = g_value_get_boolean(value); break;
    case PROP_MAX_WRAPPED: self->maxWrapped = g_value_get_int(value); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec); break;
  }
  GST_OBJECT_UNLOCK(self);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
  GstSarvikSrc* self = GST_SARVIK_SRC(object);
  GST_OBJECT_LOCK(self);
  switch (id) {
    case PROP_DEVICE: g_value_set_string(value, self->device); break;
    case PROP_STREAM: g_value_set_enum(value, static_cast<gint>(self->streamType)); break;
    case PROP_MODE: g_value_set_string(value, self->mode); break;
    case PROP_EOS_ON_UNPLUG: g_value_set_boolean(value, self->eosOnUnplug); break;
    case PROP_MAX_WRAPPED: g_value_set_int(value, self->maxWrapped); break;
    case PROP_WRAPPED: g_value_set_uint64(value, self->state->wrapped.load()); break;
    case PROP_COPIES: g_value_set_uint64(value, self->state->copies.load()); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec); break;
  }
  GST_OBJECT_UNLOCK(self);
}

void finalize(GObject* object) {
  GstSarvikSrc* self = GST_SARVIK_SRC(object);
  releaseAll(self->state);
  delete self->state;
  g_free(self->device);
  g_free(self->mode);
  G_OBJECT_CLASS(gst_sarvik_src_parent_class)->finalize(object);
}

}  // namespace

static void gst_sarvik_src_class_init(GstSarvikSrcClass* klass) {
  GObjectClass* object = G_OBJECT_CLASS(klass);
  GstElementClass* element = GST_ELEMENT_CLASS(klass);
  GstBaseSrcClass* base = GST_BASE_SRC_CLASS(klass);
  GstPushSrcClass* push = GST_PUSH_SRC_CLASS(klass);
  GST_DEBUG_CATEGORY_INIT(sarvik_src_debug, "sarviksrc", 0, "Sarvik camera source");

  object->set_property = setProperty;
  object->get_property = getProperty;
  object->finalize = finalize;
  const auto ready = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY);
  const auto readOnly = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
  g_object_class_install_property(
      object, PROP_DEVICE,
      g_param_spec_string("device", "Device",
                          "Camera address (usb://sim/0, file:///x.rec, net://host:port/0), serial number or index "
                          "in the device list; empty: the only camera, or the first listed",
                          nullptr, ready));
  g_object_class_install_property(object, PROP_STREAM,
                                  g_param_spec_enum("stream", "Stream", "Which sensor of the camera to stream",
                                                    streamEnumType(), SARVIK_STREAM_COLOR, ready));
  g_object_class_install_property(
      object, PROP_MODE,
      g_param_spec_string("mode", "Mode",
                          "Mode by index in the sensor's list, or WxH or WxH@fps; empty: whatever downstream "
                          "accepts, the camera's current mode first",
                          nullptr, ready));
  g_object_class_install_property(
      object, PROP_EOS_ON_UNPLUG,
      g_param_spec_boolean("eos-on-unplug", "EOS on unplug",
                           "End with EOS instead of an error when the camera goes away (a file camera always "
                           "ends with EOS)",
                           FALSE, ready));
  g_object_class_install_property(
      object, PROP_MAX_WRAPPED,
      g_param_spec_int("max-wrapped", "Most frames lent",
                       "Most camera frames lent to the pipeline at once without copying; -1: as many as the "
                       "camera's frame pool can spare, 0: always copy. Never more than the pool can spare",
                       -1, sarvik_gst::FrameLedger::kMaxLent, -1, ready));
  g_object_class_install_property(
      object, PROP_WRAPPED,
      g_param_spec_uint64("wrapped", "Buffers wrapped", "Buffers since start that carry the frame's own memory", 0,
                          G_MAXUINT64, 0, readOnly));
  g_object_class_install_property(
      object, PROP_COPIES,
      g_param_spec_uint64("copies", "Buffers copied",
                          "Buffers since start whose pixels were copied, because the frame pool ran low or "
                          "downstream cannot read the camera's row layout",
                          0, G_MAXUINT64, 0, readOnly));

  gst_element_class_set_static_metadata(element, "Sarvik camera source", "Source/Video",
                                        "Colour, depth or infrared frames of a Sarvik depth camera",
                                        "Sarvik SDK developers");
  gst_element_class_add_static_pad_template(element, &srcTemplate);

  base->start = srcStart;
  base->stop = srcStop;
  base->get_caps = srcGetCaps;
  base->set_caps = srcSetCaps;
  base->negotiate = srcNegotiate;
  base->decide_allocation = srcDecideAllocation;
  base->query = srcQuery;
  base->unlock = srcUnlock;
  base->unlock_stop = srcUnlockStop;
  push->create = srcCreate;
  gst_type_mark_as_plugin_api(streamEnumType(), static_cast<GstPluginAPIFlags>(0));
}

static void gst_sarvik_src_init(GstSarvikSrc* self) {
  self->device = nullptr;
  self->streamType = SARVIK_STREAM_COLOR;
  self->mode = nullptr;
  self->eosOnUnplug = FALSE;
  self->maxWrapped = -1;
  self->state = new SrcState();
  gst_base_src_set_live(GST_BASE_SRC(self), TRUE);
  gst_base_src_set_format(GST_BASE_SRC(self), GST_FORMAT_TIME);
}
