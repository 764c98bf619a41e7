// The back-end interface of the SDK's transport plug-ins.
//
// A transport plug-in (libSarvikUvcDriver.so, libSarvikNetDriver.so) is a
// host of back ends: the host (HostDriver and the objects it makes) answers
// the module through the plug-in interfaces of sarvik/SarvikDriver.h once for
// all back ends, and a back end only knows its own kind of camera: simulated
// cameras, record files, V4L2 nodes, cameras of a network server. This header
// is all a back end needs; read it top to bottom.
//
// What a back end writes:
//
//   class MyBackend : public sarvikhost::Backend     one per plug-in object
//   class MyCamera  : public sarvikhost::Camera      one per open device
//
// a static library in plugins/<name>/ linked with SarvikPluginHost, and one
// line in the plug-in's exports file that adds the back end to the host
// (plugins/uvc/uvc_exports.cpp; the library goes into BACKENDS of
// sarvik_transport_plugin in plugins/uvc/CMakeLists.txt). plugins/simcam/
// is a complete example: sim_backend.* (listing, hot-plug, open),
// sim_camera.* (modes, start/stop, info) and sim_sensor.* (a delivery
// thread filling FrameSink frames).
//
// Life of a back end: constructed when the module makes the plug-in object
// (driverInstance), start() at the plug-in's initialize, poll() about every
// 100 ms from then on, list()/open()/text() at any time after construction
// (text() may come before start(): keep what it asks for and post the events
// once you have HostEvents), stop(), then deletion after every Camera is gone.
//
// What the host does for every back end, so that a back end never does:
//   - device list, video-node list, openDevice / openDeviceByFd routing,
//     closeDevice, setTaskMode, setFlag;
//   - the event thread: device-state events reach the module from that one
//     thread with no lock held, in the order they were posted (post them
//     with HostEvents::post from any thread, also under your own locks);
//   - modes: getFrameModeList, setFrameMode, getCurrentFrameMode from the
//     lists Camera::modes gives (SarvikModeRecord, sarvik/SarvikCamera.h);
//   - streams: createStream / destroyStream / start / stop, the pool and the
//     callback, frame counters, queryData (SarvikDeviceStatus), and the rule
//     that no frame reaches the module after stop has returned;
//   - properties: ids the SDK does not reserve (0x100..0x2ff and the V4L2
//     range are reserved) round-trip in a store of the host unless the
//     camera answers them; kSarvikPropertyConnection; intrinsics, depth unit
//     and the property list by asking the camera (default: unsupported);
//   - text commands "ping", "serial", "uri", "location" (and "version" when the
//     camera does not answer it);
//   - depthToPointCloud (a plain pinhole conversion).
//
// Threads. Every Backend and Camera function may be called from any thread,
// and several at once: guard your state. The host never holds a lock of its
// own while it calls you, so you may call back into HostEvents (and
// FrameSink) from inside any of your functions.
//
// Statuses: 0 or one of kSarvikErr... of sarvik/SarvikCamera.h; they reach the
// application unchanged.
#ifndef SARVIK_HOST_BACKEND_H
#define SARVIK_HOST_BACKEND_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sarvik/SarvikCamera.h"
#include "sarvik/SarvikDriver.h"
#include "sarvik/SarvikFrame.h"

namespace sarvikhost {

// One camera as the device table lists it.
struct CameraInfo {
  std::string uri;       // the key of the device table: "usb://sim/0", "file:///a/b.rec", ...
  std::string serial;    // at most 31 characters are listed
  std::string name;      // at most 35
  std::string location;  // passed with device-state events
  std::string nodePath;  // "/dev/videoN" when the camera is a video node, else empty
  uint16_t vendorId = 0;
  uint16_t productId = 0;
  uint32_t index = 0;        // the back end's own number; reported in queryData and video-node lists
  uint32_t deviceFlags = 0;  // getDeviceFlags
};

// Where a started sensor puts its frames; given by the host to
// Camera::startSensor and good until the matching stopSensor returns.
//
// The one-copy rule: take the frame first, then write the image straight
// into frame->data (read(2) from a file or socket, a decoder's output, a
// V4L2 USERPTR buffer). Never build the image elsewhere to copy it in.
class FrameSink {
 public:
  // A frame of the module's pool with room for `bytes`, its record's
  // streamType and frameNumber already set, or null: the pool has none free
  // or too small a one. A null answer is counted as a lost image; skip the
  // image (a camera would lose it too) and carry on. Never blocks.
  virtual sarvik::FrameRefPtr acquire(uint32_t bytes) = 0;
  // Hands a filled frame to the module. Set pixelType, width, height,
  // dataSize and frameStamp (CLOCK_MONOTONIC microseconds for live cameras)
  // before. The module takes its own references; drop yours afterwards.
  virtual void deliver(sarvik::FrameRefPtr frame) = 0;
  // An image lost before acquire (a short buffer, a corrupt entry): counted,
  // and it takes a frame number so that gaps show the loss.
  virtual void lost() = 0;

 protected:
  ~FrameSink() = default;
};

// One open device. The host deletes it on closeDevice, after stopSensor for
// every sensor it started.
class Camera {
 public:
  virtual ~Camera() = default;

  // The modes of a sensor type (SARVIK_STREAM_...), in the order listed; the
  // first is the one a device opens with. Empty: no such sensor. The list
  // must not change while the camera is open (the host hands out pointers
  // into it). modeIndex and sensorType of each record are set by you.
  virtual const std::vector<SarvikModeRecord>& modes(uint32_t sensorType) = 0;

  // Starts delivering frames of one sensor in `mode` (one of modes(sensor))
  // into `sink`, from a thread of your own. Called only when stopped.
  virtual int32_t startSensor(uint32_t sensorType, const SarvikModeRecord& mode, FrameSink* sink) = 0;
  // After this returns, no call on that sensor's sink may start. The host
  // never calls it from inside a FrameSink call, so you may join threads here.
  virtual void stopSensor(uint32_t sensorType) = 0;

  // 0 connected, 1 gone (unplugged, file ended, server gone). A gone camera
  // stays gone; the application opens the camera again when it returns.
  virtual uint32_t connectionState() = 0;

  // Properties the camera answers itself. kSarvikErrUnsupported means "not a
  // property of mine": the host then uses its round-trip store for ids the
  // SDK does not reserve and answers kSarvikErrNotFound for the others.
  // getProperty follows the module's rule: copy at most *length bytes, write
  // the real length. data is never null when *length or length is above 0.
  virtual int32_t getProperty(uint32_t /*id*/, void* /*data*/, uint32_t* /*length*/) {
    return kSarvikErrUnsupported;
  }
  virtual int32_t setProperty(uint32_t /*id*/, const void* /*data*/, uint32_t /*length*/) {
    return kSarvikErrUnsupported;
  }
  // kSarvikPropertyIntrinsicsBase + sensorType, in the sensor's current mode.
  virtual int32_t intrinsics(uint32_t /*sensorType*/, const SarvikModeRecord& /*mode*/, SarvikIntrinsics* /*out*/) {
    return kSarvikErrUnsupported;
  }
  virtual int32_t depthUnit(SarvikDepthUnit* /*out*/) { return kSarvikErrUnsupported; }
  // kSarvikPropertyList: what the camera offers beyond the common ids.
  virtual int32_t propertyList(std::vector<SarvikPropertyInfo>* /*out*/) { return kSarvikErrUnsupported; }
  // Seeds property 72 (kSarvikPropertyDeviceInfo) of the host's store at open.
  virtual bool deviceInfo(SarvikDeviceInfoBlock* /*out*/) { return false; }

  // A text command (no NUL). kSarvikErrNotFound: not one of yours; the host
  // then answers the common ones.
  virtual int32_t command(const std::string& /*text*/, std::string* /*reply*/) { return kSarvikErrNotFound; }
  // A device task (sarvik/SarvikDriver.h), owned by the module; null: none.
  virtual sarvik::DeviceTaskBase* createTask() { return nullptr; }
};

// Given to a back end at start; how it speaks to the module between calls.
class HostEvents {
 public:
  // Queues a device-state event (state 0 came, 1 went) for the host's event
  // thread. Never calls back; fine under your own locks.
  virtual void post(const std::string& uri, const std::string& serial, const std::string& location,
                    uint32_t state) = 0;
  // One line to the user (stderr, "sarvik: <back end>: <text>").
  virtual void log(const std::string& text) = 0;

 protected:
  ~HostEvents() = default;
};

// What kind of cameras a back end brings. Simulated cameras are listed in
// "auto" mode only when the real back ends found no camera at initialize.
enum class BackendKind { Real, File, Simulated };

class Backend {
 public:
  virtual ~Backend() = default;  // called after stop and after every Camera is deleted

  virtual const char* name() const = 0;  // "sim", "playback", "v4l2", "net"
  virtual BackendKind kind() const = 0;

  // Once, from the plug-in's initialize. `events` outlives the back end.
  // Settings files: read them with host_settings.h, which knows where they lie.
  virtual void start(HostEvents* /*events*/) {}
  // Called about every 100 ms on the event thread, for polling work (a
  // control file, a hot-plug schedule, a file that shrank). Keep it short.
  virtual void poll() {}
  // Before the back end is deleted; after it, post nothing more.
  virtual void stop() {}

  // Appends the cameras present now. Called often, also from inside the
  // module's device-state callback: never block on anything slow.
  virtual void list(std::vector<CameraInfo>* out) = 0;
  // Opens a camera by address (a uri, or a node path for video nodes) and
  // fills *info as list() shows it. Every open is a new Camera, also of a
  // camera already open. kSarvikErrNotFound: not an address of yours; the
  // host asks the next back end.
  virtual int32_t open(const std::string& address, std::unique_ptr<Camera>* out, CameraInfo* info) = 0;
  // openDeviceByFd of the module: the application opened the node itself.
  virtual int32_t openByFd(uint32_t /*vendorId*/, uint32_t /*productId*/, uint32_t /*fd*/,
                           const std::string& /*path*/, std::unique_ptr<Camera>* /*out*/,
                           CameraInfo* /*info*/) {
    return kSarvikErrNotFound;
  }
  // A text from setUvcDriverText / setNetDriverText. kSarvikErrNotFound: not
  // for you. Anything you accept is acted upon now; events follow by post.
  virtual int32_t text(const std::string& /*text*/) { return kSarvikErrNotFound; }
};

}  // namespace sarvikhost

#endif  // SARVIK_HOST_BACKEND_H
