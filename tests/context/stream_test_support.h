// What the stream tests share: the four single steps of a stream's life,
// reached through the context's slot table, and a fixture with one camera on
// each fake plug-in.
#ifndef SARVIK_TESTS_CONTEXT_STREAM_TEST_SUPPORT_H
#define SARVIK_TESTS_CONTEXT_STREAM_TEST_SUPPORT_H

#include <atomic>
#include <functional>
#include <thread>

#include "context/context_test_support.h"

namespace sarvik_test {

constexpr uint32_t kErrInvalidStream = 0x80300105;
constexpr uint32_t kErrTooManyStreams = 0x80300106;
constexpr uint32_t kErrNoFrame = 0x80300107;

constexpr const char* kOwnThreadRefusal = "refused: called on the stream's own thread";

// createStream, destroyStream, startStream and stopStream sit in slots 44 to
// 47, behind the 44 that SarvikBaseContext declares, and no public header
// names them. They are called here through the object's slot table, the way
// the module calls a plug-in. Slot N is entry N + 1 of the table: the virtual
// destructor in slot 0 takes two entries.
template <typename... Args>
int32_t callContextSlot(SarvikBaseContext* context, int slot, Args... args) {
  using Fn = int32_t (*)(SarvikBaseContext*, Args...);
  void* const* table = *reinterpret_cast<void* const* const*>(context);
  return reinterpret_cast<Fn>(table[slot + 1])(context, args...);
}

inline int32_t createStreamStep(SarvikBaseContext* context, sarvik::Device* device, uint32_t type,
                                sarvik::VideoStream** stream) {
  return callContextSlot(context, 44, device, type, stream);
}
inline int32_t destroyStreamStep(SarvikBaseContext* context, sarvik::VideoStream* stream) {
  return callContextSlot(context, 45, stream);
}
inline int32_t startStreamStep(SarvikBaseContext* context, sarvik::VideoStream* stream) {
  return callContextSlot(context, 46, stream);
}
inline int32_t stopStreamStep(SarvikBaseContext* context, sarvik::VideoStream* stream) {
  return callContextSlot(context, 47, stream);
}

// Runs one call on a thread of its own, so that the test can act while the
// call blocks. The destructor joins: unblock the call before the object goes.
class BackgroundCall {
 public:
  explicit BackgroundCall(std::function<int32_t()> call)
      : m_thread([this, call] {
          m_result = call();
          m_done = true;
        }) {}
  ~BackgroundCall() {
    if (m_thread.joinable()) m_thread.join();
  }
  BackgroundCall(const BackgroundCall&) = delete;
  BackgroundCall& operator=(const BackgroundCall&) = delete;

  bool done() const { return m_done.load(); }
  bool finishesWithin(double seconds) const {
    return waitUntil([this] { return m_done.load(); }, seconds);
  }
  int32_t result() {
    if (m_thread.joinable()) m_thread.join();
    return m_result;
  }

 private:
  // Declared before the thread, which writes them.
  std::atomic<bool> m_done{false};
  int32_t m_result = 0;
  std::thread m_thread;
};

class StreamTest : public ContextTest {
 protected:
  // One camera on the USB plug-in ("usb://0") and one on the net plug-in
  // ("net://0"), both opened: each plug-in's connection and readiness
  // answers then steer one device.
  void startCameras() {
    start({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB)},
          {makeDeviceRecord("net://0", SARVIK_CONNECTION_NET)});
    m_usb = open("usb://0");
    m_net = open("net://0");
  }

  sarvik::Device* usbCamera() const { return m_usb; }
  sarvik::Device* netCamera() const { return m_net; }

  // A started stream, or null with a failed expectation.
  sarvik::VideoStream* openStream(sarvik::Device* device, uint32_t type = SARVIK_STREAM_DEPTH,
                                  StreamFrameCallback callback = nullptr, void* user = nullptr) {
    sarvik::VideoStream* stream = nullptr;
    EXPECT_EQ(0, ctx()->openStream(device, type, &stream, callback, user)) << "type " << type;
    EXPECT_NE(nullptr, stream);
    return stream;
  }

  int32_t createStream(sarvik::Device* device, uint32_t type, sarvik::VideoStream** stream) {
    return createStreamStep(ctx(), device, type, stream);
  }
  int32_t destroyStream(sarvik::VideoStream* stream) { return destroyStreamStep(ctx(), stream); }
  int32_t startStream(sarvik::VideoStream* stream) { return startStreamStep(ctx(), stream); }
  int32_t stopStream(sarvik::VideoStream* stream) { return stopStreamStep(ctx(), stream); }

  // How often the plug-in was asked for a device's connection state; a wait
  // asks once at the start of every slice (with the first stream connected).
  static size_t connectionChecks(FakeDriverControl& plugin) { return countOf(plugin.calls(), "getConnectionState"); }

  // Waits until a wait on another thread has begun its next slice.
  static bool sliceBegins(FakeDriverControl& plugin, size_t checksBefore) {
    return waitUntil([&] { return connectionChecks(plugin) > checksBefore; });
  }

  size_t listenersMade() { return log().countContaining("StramListener ThradID = "); }

 private:
  sarvik::Device* m_usb = nullptr;
  sarvik::Device* m_net = nullptr;
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_CONTEXT_STREAM_TEST_SUPPORT_H
