// Shared set-up of the GStreamer tests: a private camera folder for this
// process and small helpers that run a pipeline to its end with a limit.
//
// The folder holds a copy of the built module and of the simulated USB
// plug-in, with a simcam.conf of our own whose control file lies in that
// folder: an "unplug" written there reaches this process's cameras only, not
// those of another test running beside it. SARVIK_MODULE points the element
// at the copy. The sarvik plug-in is loaded from the build tree by file.
#ifndef SARVIK_TESTS_GSTREAMER_GST_TEST_SUPPORT_H
#define SARVIK_TESTS_GSTREAMER_GST_TEST_SUPPORT_H

#include <gst/gst.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sarvik/SarvikTypes.h"

namespace sarvik_gst_test {

namespace fs = std::filesystem;

// Modes every test can count on; the first of each sensor is current at open.
constexpr const char* kCameraConfig =
    "usb.cameras = 1\n"
    "net.cameras = 0\n"
    "modes.color = 640x480@30, 320x240@30\n"
    "modes.depth = 640x480@30, 320x240@30, 320x240@60\n"
    "modes.ir = 640x480@30:y8, 640x480@30:y16\n"
    "modes.lightir = 318x240@30:y8\n"
    "control = simcam.ctl\n";

constexpr const char* kCamera = "usb://sim/0";

class CameraFolder : public ::testing::Environment {
 public:
  static const std::string& path() { return s_path; }

  void SetUp() override {
    char pattern[] = "/tmp/sarvik-gst-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    s_path = pattern;
    const std::string lib = SARVIK_BUILD_LIB_DIR;
    for (const char* file : {"libSarvikCommonDriver.so", "libSarvikUvcDriver.so"}) {
      fs::copy_file(lib + "/" + file, s_path + "/" + file, fs::copy_options::overwrite_existing);
    }
    std::ofstream(s_path + "/simcam.conf") << kCameraConfig;
    std::ofstream(s_path + "/simcam.ctl").flush();
    setenv("SARVIK_MODULE", (s_path + "/libSarvikCommonDriver.so").c_str(), 1);
    gst_init(nullptr, nullptr);
    GstPlugin* plugin = gst_plugin_load_file(SARVIK_GST_PLUGIN_FILE, nullptr);
    ASSERT_NE(plugin, nullptr) << "cannot load " << SARVIK_GST_PLUGIN_FILE;
    gst_object_unref(plugin);
  }

  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(s_path, ignored);
  }

 private:
  static inline std::string s_path;
};

// Appends a line to the simulated cameras' control file (polled every 100 ms).
inline void controlCamera(const std::string& line) {
  std::ofstream(CameraFolder::path() + "/simcam.ctl", std::ios::app) << line << "\n";
}

// A scratch folder of its own for one test.
inline std::string scratchFolder(const std::string& name) {
  const std::string folder = CameraFolder::path() + "/" + name;
  fs::remove_all(folder);
  fs::create_directories(folder);
  return folder;
}

struct Outcome {
  bool eos = false;
  bool error = false;
  bool timedOut = false;
  GQuark domain = 0;
  int code = 0;
  std::string message;
  std::string debug;
  std::string source;
};

inline std::ostream& operator<<(std::ostream& out, const Outcome& o) {
  return out << (o.eos ? "EOS" : o.error ? "error" : "time-out") << " " << o.source << ": " << o.message << " ("
             << o.debug << ")";
}

class Pipeline {
 public:
  explicit Pipeline(const std::string& description) {
    GError* error = nullptr;
    m_pipeline = gst_parse_launch(description.c_str(), &error);
    if (error != nullptr) {
      ADD_FAILURE() << "parse " << description << ": " << error->message;
      g_error_free(error);
    }
  }
  ~Pipeline() {
    if (m_pipeline != nullptr) {
      gst_element_set_state(m_pipeline, GST_STATE_NULL);
      gst_object_unref(m_pipeline);
    }
  }
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  GstElement* get() const { return m_pipeline; }
  // The named element; the pipeline keeps its reference.
  GstElement* element(const char* name) const {
    GstElement* e = gst_bin_get_by_name(GST_BIN(m_pipeline), name);
    if (e != nullptr) gst_object_unref(e);
    return e;
  }
  GstStateChangeReturn play() { return gst_element_set_state(m_pipeline, GST_STATE_PLAYING); }
  GstStateChangeReturn stop() { return gst_element_set_state(m_pipeline, GST_STATE_NULL); }

  // The first EOS or error within `limit`.
  Outcome wait(std::chrono::seconds limit) {
    Outcome outcome;
    GstBus* bus = gst_element_get_bus(m_pipeline);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, static_cast<GstClockTime>(limit.count()) * GST_SECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    gst_object_unref(bus);
    if (message == nullptr) {
      outcome.timedOut = true;
      return outcome;
    }
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS) {
      outcome.eos = true;
    } else {
      GError* error = nullptr;
      gchar* debug = nullptr;
      gst_message_parse_error(message, &error, &debug);
      outcome.error = true;
      outcome.domain = error->domain;
      outcome.code = error->code;
      outcome.message = error->message;
      outcome.debug = debug != nullptr ? debug : "";
      outcome.source = GST_MESSAGE_SRC_NAME(message);
      g_error_free(error);
      g_free(debug);
    }
    gst_message_unref(message);
    return outcome;
  }

  // Plays to the end: EOS or error, within `limit`.
  Outcome run(std::chrono::seconds limit = std::chrono::seconds(30)) {
    if (play() == GST_STATE_CHANGE_FAILURE) {
      Outcome failed = wait(std::chrono::seconds(1));
      if (!failed.error) failed.message = "state change failed";
      failed.error = true;
      return failed;
    }
    return wait(limit);
  }

 private:
  GstElement* m_pipeline = nullptr;
};

inline guint64 uint64Property(GstElement* element, const char* name) {
  guint64 value = 0;
  g_object_get(element, name, &value, nullptr);
  return value;
}

// Waits until `ready` holds, looking every 10 ms, for at most `limit`.
inline bool waitUntil(const std::function<bool()>& ready, std::chrono::seconds limit = std::chrono::seconds(20)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < end) {
    if (ready()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return ready();
}

// What passed a pad: one record per buffer, taken in a probe.
struct SeenBuffer {
  gsize size = 0;
  GstClockTime pts = GST_CLOCK_TIME_NONE;
  guint64 offset = 0;
  bool frameMemory = false;  // one memory, and it is the frame's own buffer
  uint64_t frameStamp = 0;   // of that frame, when frameMemory
};

class BufferLog {
 public:
  // Watches the sink pad of `element`.
  explicit BufferLog(GstElement* element) {
    GstPad* pad = gst_element_get_static_pad(element, "sink");
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, &BufferLog::onBuffer, this, nullptr);
    gst_object_unref(pad);
  }
  std::vector<SeenBuffer> buffers() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_buffers;
  }
  size_t count() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_buffers.size();
  }

 private:
  static GstPadProbeReturn onBuffer(GstPad*, GstPadProbeInfo* info, gpointer user) {
    auto* self = static_cast<BufferLog*>(user);
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    SeenBuffer seen;
    seen.size = gst_buffer_get_size(buffer);
    seen.pts = GST_BUFFER_PTS(buffer);
    seen.offset = GST_BUFFER_OFFSET(buffer);
    if (gst_buffer_n_memory(buffer) == 1) {
      GstMemory* memory = gst_buffer_peek_memory(buffer, 0);
      auto* frame = static_cast<const typedefSarvikFrame*>(
          gst_mini_object_get_qdata(GST_MINI_OBJECT_CAST(memory), g_quark_from_static_string("sarvik-frame")));
      GstMapInfo map;
      if (frame != nullptr && gst_memory_map(memory, &map, GST_MAP_READ)) {
        seen.frameMemory = frame->data == map.data && frame->dataSize >= map.size;
        seen.frameStamp = frame->frameStamp;
        gst_memory_unmap(memory, &map);
      }
    }
    std::lock_guard<std::mutex> guard(self->m_lock);
    self->m_buffers.push_back(seen);
    return GST_PAD_PROBE_OK;
  }

  mutable std::mutex m_lock;
  std::vector<SeenBuffer> m_buffers;
};

// The caps on `element`'s sink pad, as text; empty before negotiation.
inline std::string sinkCaps(GstElement* element) {
  GstPad* pad = gst_element_get_static_pad(element, "sink");
  GstCaps* caps = gst_pad_get_current_caps(pad);
  gst_object_unref(pad);
  if (caps == nullptr) return {};
  gchar* text = gst_caps_to_string(caps);
  std::string result = text;
  g_free(text);
  gst_caps_unref(caps);
  return result;
}

}  // namespace sarvik_gst_test

#endif  // SARVIK_TESTS_GSTREAMER_GST_TEST_SUPPORT_H
