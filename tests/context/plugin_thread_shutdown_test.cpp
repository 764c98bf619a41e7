// Shutting down from a device-state callback, that is on the plug-in's own
// event thread, as an application that holds no handle on the plug-in does.
#include <gtest/gtest.h>

#include <atomic>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

struct ShutdownInEvent {
  SarvikBaseContext* context = nullptr;
  std::atomic<bool> go{false};
  std::atomic<bool> done{false};
  std::atomic<int32_t> result{1};
};

void shutdownFromEvent(const char*, const char*, uint32_t, void* user) {
  auto* state = static_cast<ShutdownInEvent*>(user);
  if (state->done.load()) return;
  waitUntil([&] { return state->go.load(); }, 60.0);
  state->result = state->context->shutdown();
  state->done = true;
}

TEST_F(ContextTest, ShutdownOnThePluginsEventThreadUnloadsItOnlyAfterTheThreadLeft) {
  start({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB)});
  ShutdownInEvent state;
  state.context = ctx();
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(shutdownFromEvent, &state));
  ASSERT_EQ(0, uvc().raiseEventAsync("usb://0", "SN0", "", 1));
  // From here on only the module keeps the plug-in loaded.
  releaseControl(PluginSlot::kUvc);
  state.go = true;

  ASSERT_TRUE(waitUntil([&] { return state.done.load(); }, 60.0));
  EXPECT_EQ(0, state.result.load());
  // The event thread ends once shutdown has let its plug-in go; only then
  // may the plug-in leave memory.
  EXPECT_TRUE(waitUntil([&] { return !isLoaded(pluginPath(PluginSlot::kUvc)); }, 60.0));
  EXPECT_EQ(-2, ctx()->shutdown());
}

}  // namespace
}  // namespace sarvik_test
