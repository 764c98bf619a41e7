// Closing and shutting down while other calls are still inside: a device or a
// plug-in goes only after everything that runs in it has left.
//
// A deadlock cannot be undone from inside the process; where the faults these
// tests pin would hang, the test ends the program with a message instead.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "context/stream_test_support.h"

namespace sarvik_test {
namespace {

class TeardownRace : public StreamTest {};

void pause(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// The call must come back: if it does not, the process cannot go on.
void mustFinish(BackgroundCall& call, const char* what) {
  if (!call.finishesWithin(60.0)) {
    std::fprintf(stderr, "%s never returned: deadlock\n", what);
    std::abort();
  }
}

struct HeldCallback {
  SarvikBaseContext* context = nullptr;
  std::atomic<bool> entered{false};
  std::atomic<bool> release{false};
};

void holdUntilReleased(sarvik::VideoStream*, typedefSarvikFrame* frame, void* user) {
  auto* held = static_cast<HeldCallback*>(user);
  held->entered = true;
  waitUntil([&] { return held->release.load(); }, 60.0);
  held->context->releaseFrame(frame);
}

// A slow frame callback holds closeDevice inside its stream's stop while
// shutdown begins: the rest of the close (the stream's destruction) is part
// of the call shutdown waits for, not a new call to refuse.
TEST_F(TeardownRace, ShutdownDuringCloseDeviceLetsTheCloseFinishItsStreams) {
  startCameras();
  HeldCallback held;
  held.context = ctx();
  openStream(usbCamera(), SARVIK_STREAM_DEPTH, holdUntilReleased, &held);
  openStream(usbCamera(), SARVIK_STREAM_COLOR);
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(waitUntil([&] { return held.entered.load(); }));

  BackgroundCall close([&] { return ctx()->closeDevice(usbCamera()); });
  pause(100);  // the close now waits for the callback
  BackgroundCall down([&] { return ctx()->shutdown(); });
  pause(100);  // shutdown now waits for the close
  held.release = true;

  mustFinish(close, "closeDevice");
  mustFinish(down, "shutdown");
  EXPECT_EQ(0, close.result());
  EXPECT_EQ(0, down.result());
  EXPECT_EQ(0, uvc().openDevices());
}

struct DyingCallback {
  SarvikBaseContext* context = nullptr;
  sarvik::Device* device = nullptr;
  std::atomic<bool> armed{false};
  std::atomic<bool> entered{false};
  std::atomic<int32_t> shutdownResult{1};
  std::atomic<int32_t> closeResult{1};
};

// Waits until destroyStream has taken the stream out of the list, then calls
// what would wait for that very destroyStream.
void callBackIntoTeardown(sarvik::VideoStream* stream, typedefSarvikFrame* frame, void* user) {
  auto* state = static_cast<DyingCallback*>(user);
  state->context->releaseFrame(frame);
  if (!state->armed.load() || state->entered.exchange(true)) return;
  waitUntil([&] { return startStreamStep(state->context, stream) == -13; }, 60.0);
  state->shutdownResult = state->context->shutdown();
  state->closeResult = state->context->closeDevice(state->device);
}

TEST_F(TeardownRace, ACallbackOfAStreamBeingDestroyedIsRefusedShutdownAndCloseDevice) {
  startCameras();
  DyingCallback state;
  state.context = ctx();
  state.device = usbCamera();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH, callBackIntoTeardown, &state);
  state.armed = true;
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(waitUntil([&] { return state.entered.load(); }));

  BackgroundCall destroy([&] { return destroyStream(stream); });
  mustFinish(destroy, "destroyStream");
  EXPECT_EQ(0, destroy.result());
  EXPECT_EQ(-1, state.shutdownResult.load());
  EXPECT_EQ(-1, state.closeResult.load());
  EXPECT_GE(loggedCount(2, "refused: called on the stream's own thread"), 2u);
  // Nothing was changed by the refusals: the device still works and closes.
  EXPECT_EQ(0, ctx()->closeDevice(usbCamera()));
  EXPECT_EQ(0, ctx()->shutdown());
}

// A plug-in call made without the context lock, held inside the plug-in,
// while closeDevice runs on another thread: the close waits for it.
struct HeldDeviceCall {
  FakeOp op;
  const char* name;
};

TEST_F(TeardownRace, CloseDeviceWaitsForPluginCallsMadeWithoutTheLock) {
  const HeldDeviceCall calls[] = {{FakeOp::kTaskStart, "startDeviceTask"},
                                  {FakeOp::kDepthToPointCloud, "deviceDepthToPointCloud"}};
  start({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB)});
  for (const HeldDeviceCall& call : calls) {
    SCOPED_TRACE(call.name);
    sarvik::Device* device = open("usb://0");
    std::vector<uint16_t> depth(8, 1000);
    std::vector<typedefSarvikPoint3D> points(8);
    uvc().pauseAt(call.op);
    BackgroundCall held([&] {
      if (call.op == FakeOp::kTaskStart) return ctx()->startDeviceTask(device, 1, 2);
      return ctx()->deviceDepthToPointCloud(device, depth.data(), 4, 2, 1.0f, 500.0f, 500.0f, 2.0f, 1.0f,
                                            points.data(), 0, false);
    });
    ASSERT_TRUE(waitUntil([&] { return uvc().paused(); }));
    BackgroundCall close([&] { return ctx()->closeDevice(device); });
    pause(200);
    EXPECT_FALSE(close.done()) << "closeDevice returned while the plug-in call still ran";
    uvc().resume();
    mustFinish(held, call.name);
    mustFinish(close, "closeDevice");
    EXPECT_EQ(0, held.result());
    EXPECT_EQ(0, close.result());
    EXPECT_EQ(0, uvc().liveTasks());
    EXPECT_EQ(0, uvc().openDevices());
  }
}

// The application holds no handle on the plug-in: shutdown's unloading is
// the last one, and a setFlag still inside the plug-in must be waited for.
TEST_F(TeardownRace, ShutdownWaitsForASettingCallInsideThePlugin) {
  start({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB)});
  uvc().pauseAt(FakeOp::kSetFlag);
  BackgroundCall flag([&] { return ctx()->setUvcDriverFlag(7); });
  ASSERT_TRUE(waitUntil([&] { return uvc().paused(); }));
  FakeDriverControl* plugin = &uvc();
  releaseControl(PluginSlot::kUvc);

  BackgroundCall down([&] { return ctx()->shutdown(); });
  pause(200);
  if (down.done()) {
    // The plug-in is gone under the paused call: nothing sane can follow.
    std::fprintf(stderr, "shutdown unloaded the plug-in while setFlag ran in it\n");
    std::abort();
  }
  // resume() runs the plug-in's code on this thread, and the moment setFlag
  // returns the module may unload it: hold it for the call, now that the
  // check above has seen shutdown wait.
  Dl_info info{};
  ASSERT_NE(0, dladdr(*reinterpret_cast<void**>(plugin), &info));
  void* hold = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(nullptr, hold);
  plugin->resume();
  mustFinish(flag, "setUvcDriverFlag");
  mustFinish(down, "shutdown");
  dlclose(hold);
  EXPECT_EQ(0, flag.result());
  EXPECT_EQ(0, down.result());
  EXPECT_EQ(-1, ctx()->setUvcDriverFlag(7)) << "no plug-in after shutdown";
}

}  // namespace
}  // namespace sarvik_test
