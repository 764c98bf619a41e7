// The device and node tables, the three ways to an open Device, and the
// order in which closeDevice ends what hangs on a device.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

using DeviceTable = ContextTest;

TEST_F(DeviceTable, TheListIsTheTableItselfAndRefusesNullArguments) {
  start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB), deviceRecords("net://", 1, SARVIK_CONNECTION_NET));
  typedefSarvikDeviceInfo* list = nullptr;
  typedefSarvikDeviceInfo* again = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(0, ctx()->getDeviceList(&list, &count));
  ASSERT_EQ(3u, count);
  EXPECT_STREQ("usb://0", list[0].uri);
  EXPECT_STREQ("net://0", list[2].uri);
  EXPECT_EQ(SARVIK_CONNECTION_NET, uint32_t{list[2].ConnectionType});
  ASSERT_EQ(0, ctx()->getDeviceList(&again, &count));
  EXPECT_EQ(list, again) << "no copy is made";
  EXPECT_EQ(&list[1], ctx()->findDeviceByUri("usb://1"));

  clearLastError();
  EXPECT_EQ(-4, ctx()->getDeviceList(nullptr, &count));
  EXPECT_EQ(kErrBadArgument, lastError());
  clearLastError();
  EXPECT_EQ(-4, ctx()->getDeviceList(&list, nullptr));
  EXPECT_EQ(kErrBadArgument, lastError());
}

TEST_F(DeviceTable, VideoNodesComeFromTheUvcPluginAlone) {
  load();
  uvc().setVideoNodes({makeNodeRecord(0, "/dev/video0"), makeNodeRecord(1, "/dev/video2")});
  ASSERT_EQ(0, ctx()->initialize());
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(0, ctx()->getVideoNodeList(&nodes, &count));
  ASSERT_EQ(2u, count);
  EXPECT_STREQ("/dev/video2", nodes[1].path);
  EXPECT_EQ(1u, countOf(uvc().calls(), "getVideoNodeList"));
  EXPECT_FALSE(has(net().calls(), "getVideoNodeList"));
  clearLastError();
  EXPECT_EQ(-4, ctx()->getVideoNodeList(nullptr, &count));
  EXPECT_EQ(kErrBadArgument, lastError());
  EXPECT_EQ(-4, ctx()->getVideoNodeList(&nodes, nullptr));
}

TEST_F(DeviceTable, FindDeviceByUriTellsNullMissingAndFoundApart) {
  start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
  ctx()->setLastError(0x1234);
  EXPECT_EQ(nullptr, ctx()->findDeviceByUri(nullptr));
  EXPECT_TRUE(logged(3, "pDeviceUri is null"));
  EXPECT_EQ(0x1234u, lastError()) << "a null address sets no code";

  EXPECT_EQ(nullptr, ctx()->findDeviceByUri("usb://9"));
  EXPECT_EQ(kErrBadArgument, lastError());
  EXPECT_TRUE(logged(3, " not found usb://9 Device "));
  // Byte-for-byte equality: a prefix is not a match.
  EXPECT_EQ(nullptr, ctx()->findDeviceByUri("usb://"));

  typedefSarvikDeviceInfo* found = ctx()->findDeviceByUri("usb://1");
  ASSERT_NE(nullptr, found);
  EXPECT_STREQ("usb://1", found->uri);
}

TEST_F(DeviceTable, AnEmptyTableFindsAndOpensNothing) {
  start({});
  clearLastError();
  EXPECT_EQ(nullptr, ctx()->findDeviceByUri("usb://0"));
  EXPECT_EQ(kErrBadArgument, lastError());
  sarvik::Device* device = nullptr;
  EXPECT_EQ(-4, ctx()->openDevice("usb://0", &device));
  EXPECT_EQ(kErrBadAddress, lastError());
  EXPECT_TRUE(logged(4, "Start open device usb://0"));
  EXPECT_TRUE(logged(3, "invalid device addr !"));
  EXPECT_EQ(nullptr, device);
  EXPECT_FALSE(has(uvc().calls(), "openDevice(usb://0)"));
}

TEST_F(DeviceTable, TheConnectionTypeSelectsThePlugin) {
  start({makeDeviceRecord("usb://a", SARVIK_CONNECTION_USB), makeDeviceRecord("net://b", SARVIK_CONNECTION_NET),
         makeDeviceRecord("net://c", SARVIK_CONNECTION_NET2)});
  open("usb://a");
  open("net://b");
  open("net://c");  // reported by the UVC plug-in, served by the net one
  const auto uvcCalls = uvc().calls();
  const auto netCalls = net().calls();
  EXPECT_TRUE(has(uvcCalls, "openDevice(usb://a)"));
  EXPECT_TRUE(has(netCalls, "openDevice(net://b)"));
  EXPECT_TRUE(has(netCalls, "openDevice(net://c)"));
  EXPECT_FALSE(has(uvcCalls, "openDevice(net://c)"));
  EXPECT_LT(indexOf(netCalls, "openDevice(net://b)"), indexOf(netCalls, "getDeviceFlags"));
  EXPECT_TRUE(logged(4, "Open device succeed"));
}

TEST_F(DeviceTable, ConnectionTypesWithoutABoundPluginGiveMinus12) {
  start({makeDeviceRecord("other://4", SARVIK_CONNECTION_OTHER), makeDeviceRecord("none://0", 0),
         makeDeviceRecord("odd://9", 9)});
  for (const char* uri : {"other://4", "none://0", "odd://9"}) {
    sarvik::Device* device = nullptr;
    EXPECT_EQ(-12, ctx()->openDevice(uri, &device)) << uri;
    EXPECT_EQ(nullptr, device);
    EXPECT_TRUE(logged(3, std::string("cannot open Device[") + uri + "],  not find support driver")) << uri;
  }
  EXPECT_FALSE(has(uvc().calls(), "openDevice(other://4)"));
  EXPECT_EQ(0u, countStartingWith(net().calls(), "openDevice("));
}

TEST_F(DeviceTable, ARecordOfAnUnboundPluginGivesMinus12) {
  load({PluginKind::kFake, PluginKind::kNone});
  uvc().setDevices({makeDeviceRecord("net://0", SARVIK_CONNECTION_NET)});
  ASSERT_EQ(0, ctx()->initialize());
  sarvik::Device* device = nullptr;
  EXPECT_EQ(-12, ctx()->openDevice("net://0", &device));
  EXPECT_FALSE(has(uvc().calls(), "openDevice(net://0)"));
}

TEST_F(DeviceTable, NodeAddressesNeedAVideoNodeListAndAlwaysGoToUvc) {
  load();
  // "/dev/video" anywhere makes an address a node address, even one the device table holds.
  uvc().setDevices({makeDeviceRecord("usb:/dev/video7", SARVIK_CONNECTION_NET)});
  uvc().setVideoNodes({makeNodeRecord(0, "/dev/video0"), makeNodeRecord(7, "usb:/dev/video7")});
  ASSERT_EQ(0, ctx()->initialize());
  sarvik::Device* device = nullptr;
  clearLastError();
  EXPECT_EQ(-4, ctx()->openDevice("/dev/video0", &device));
  EXPECT_EQ(kErrBadAddress, lastError());
  EXPECT_EQ(-4, ctx()->openDevice("usb:/dev/video7", &device));
  EXPECT_EQ(nullptr, device);

  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(0, ctx()->getVideoNodeList(&nodes, &count));
  open("/dev/video0");
  open("usb:/dev/video7");
  EXPECT_TRUE(has(uvc().calls(), "openDevice(/dev/video0)"));
  EXPECT_TRUE(has(uvc().calls(), "openDevice(usb:/dev/video7)"));
  EXPECT_EQ(0u, countStartingWith(net().calls(), "openDevice("));
}

TEST_F(DeviceTable, OpenDeviceRefusesNullArguments) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  sarvik::Device* device = nullptr;
  clearLastError();
  EXPECT_EQ(-4, ctx()->openDevice(nullptr, &device));
  EXPECT_EQ(kErrBadAddress, lastError());
  EXPECT_TRUE(logged(3, "invalid device addr !"));
  EXPECT_EQ(0u, log().countContaining("Start open device"));
  clearLastError();
  EXPECT_EQ(-4, ctx()->openDevice("usb://0", nullptr));
  EXPECT_EQ(kErrBadArgument, lastError());
  EXPECT_EQ(0u, countStartingWith(uvc().calls(), "openDevice("));
}

TEST_F(DeviceTable, ASecondOpenOfAnOpenAddressLeavesTheHandleAlone) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  sarvik::Device* first = open("usb://0");
  sarvik::Device* second = reinterpret_cast<sarvik::Device*>(uintptr_t{0x77});
  EXPECT_EQ(0, ctx()->openDevice("usb://0", &second));
  EXPECT_EQ(reinterpret_cast<sarvik::Device*>(uintptr_t{0x77}), second);
  EXPECT_TRUE(logged(4, "Device[usb://0] is already opened!"));
  EXPECT_EQ(1u, countOf(uvc().calls(), "openDevice(usb://0)"));
  EXPECT_EQ(0, ctx()->closeDevice(first));
}

TEST_F(DeviceTable, ARefusedOpenLeavesNoDeviceBehind) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  uvc().setResult(FakeOp::kOpenDevice, -21);
  sarvik::Device* device = nullptr;
  EXPECT_EQ(-21, ctx()->openDevice("usb://0", &device));
  EXPECT_EQ(nullptr, device);
  EXPECT_TRUE(logged(3, "Open device failed ret = -21!"));

  uvc().setResult(FakeOp::kOpenDevice, 0);
  log().clear();
  open("usb://0");
  EXPECT_FALSE(logged(4, "Device[usb://0] is already opened!"));
  EXPECT_EQ(2u, countOf(uvc().calls(), "openDevice(usb://0)"));
}

TEST_F(DeviceTable, OpenByDescriptorWalksTheIdentityTable) {
  start({});
  sarvik::Device* device = nullptr;
  ASSERT_EQ(0, ctx()->openDeviceByFd(0x2E5A, 0x5001, 7, "/dev/bus/usb/001/002", &device));
  ASSERT_NE(nullptr, device);
  const auto uvcCalls = uvc().calls();
  const long opened = indexOf(uvcCalls, "openDeviceByFd(vid=2e5a,pid=5001,fd=7,path=/dev/bus/usb/001/002)");
  ASSERT_GE(opened, 0);
  EXPECT_LT(opened, indexOf(uvcCalls, "getDeviceId"));
  EXPECT_LT(indexOf(uvcCalls, "getDeviceId"), indexOf(uvcCalls, "getDeviceFlags"));

  sarvik::Device* onNet = nullptr;
  ASSERT_EQ(0, ctx()->openDeviceByFd(0x2E5A, 0x5002, 8, nullptr, &onNet));
  EXPECT_TRUE(has(net().calls(), "openDeviceByFd(vid=2e5a,pid=5002,fd=8,path=(null))"));

  // No check for a device that is open already: every call makes a new Device.
  sarvik::Device* again = nullptr;
  ASSERT_EQ(0, ctx()->openDeviceByFd(0x2E5A, 0x5001, 7, "/dev/bus/usb/001/002", &again));
  EXPECT_NE(device, again);
  EXPECT_EQ(0, ctx()->closeDevice(device));
  EXPECT_EQ(0, ctx()->closeDevice(again));
  EXPECT_EQ(0, ctx()->closeDevice(onNet));
}

TEST_F(DeviceTable, OpenByDescriptorRefusesIdentitiesWithoutAPlugin) {
  load({PluginKind::kFake, PluginKind::kNone});
  ASSERT_EQ(0, ctx()->initialize());
  struct Identity {
    uint32_t vendorId, productId;
  };
  // The type-3 row, a vendor id that only matches in its low 16 bits, an
  // unknown product, and a row of the net plug-in, which is not bound here.
  for (const Identity& id : {Identity{0x2E5E, 0x9001}, Identity{0x12E5A, 0x5001}, Identity{0x2E5A, 0x6FFF},
                             Identity{0x2E5A, 0x5002}}) {
    sarvik::Device* device = nullptr;
    ctx()->setLastError(0x1234);
    EXPECT_EQ(-1, ctx()->openDeviceByFd(id.vendorId, id.productId, 3, "/dev/x", &device))
        << std::hex << id.vendorId << ":" << id.productId;
    EXPECT_EQ(nullptr, device);
    EXPECT_EQ(0x1234u, lastError()) << "no code is set for an unsupported identity";
    char text[128];
    std::snprintf(text, sizeof(text), "cannot open Device[vid=%x  pid=%x], driver not support", id.vendorId,
                  id.productId);
    EXPECT_TRUE(logged(1, text)) << text;
  }
  EXPECT_EQ(0u, countStartingWith(uvc().calls(), "openDeviceByFd("));
  sarvik::Device* device = nullptr;
  clearLastError();
  EXPECT_EQ(-4, ctx()->openDeviceByFd(0x2E5A, 0x5001, 3, "/dev/x", nullptr));
  EXPECT_EQ(kErrBadArgument, lastError());
  EXPECT_EQ(nullptr, device);
}

TEST_F(DeviceTable, ARefusedOpenByDescriptorReturnsThePluginStatus) {
  start({});
  uvc().setResult(FakeOp::kOpenDeviceByFd, -31);
  sarvik::Device* device = nullptr;
  EXPECT_EQ(-31, ctx()->openDeviceByFd(0x2E5A, 0x5001, 4, "/dev/bus/usb/9", &device));
  EXPECT_EQ(nullptr, device);
  EXPECT_TRUE(logged(3, "Open Device(/dev/bus/usb/9) Failed!"));
}

TEST_F(DeviceTable, ADeviceOpenedByDescriptorGoesByThePluginsId) {
  start({makeDeviceRecord("cam-7", SARVIK_CONNECTION_USB)});
  uvc().setFdDeviceId(true, "cam-7");
  sarvik::Device* byFd = nullptr;
  ASSERT_EQ(0, ctx()->openDeviceByFd(0x2E5A, 0x5001, 5, "/dev/bus/usb/7", &byFd));
  sarvik::Device* byAddress = nullptr;
  EXPECT_EQ(0, ctx()->openDevice("cam-7", &byAddress));
  EXPECT_EQ(nullptr, byAddress);
  EXPECT_TRUE(logged(4, "Device[cam-7] is already opened!"));
  EXPECT_EQ(0, ctx()->closeDevice(byFd));
  EXPECT_TRUE(has(uvc().calls(), "closeDevice(cam-7)"));
}

TEST_F(DeviceTable, CloseDeviceEndsTheStreamsBeforeThePluginsClose) {
  start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
  sarvik::Device* device = open("usb://0");
  sarvik::Device* other = open("usb://1");
  sarvik::VideoStream* depth = nullptr;
  sarvik::VideoStream* colour = nullptr;
  sarvik::VideoStream* untouched = nullptr;
  ASSERT_EQ(0, ctx()->openStream(device, SARVIK_STREAM_DEPTH, &depth, nullptr, nullptr));
  ASSERT_EQ(0, ctx()->openStream(device, SARVIK_STREAM_COLOR, &colour, nullptr, nullptr));
  ASSERT_EQ(0, ctx()->openStream(other, SARVIK_STREAM_IR, &untouched, nullptr, nullptr));
  uvc().clearCalls();

  ASSERT_EQ(0, ctx()->closeDevice(device));
  const auto calls = uvc().calls();
  const long close = indexOf(calls, "closeDevice(usb://0)");
  ASSERT_GE(close, 0);
  EXPECT_LT(indexOf(calls, "stop(2)"), close);
  EXPECT_LT(indexOf(calls, "stop(1)"), close);
  EXPECT_LT(indexOf(calls, "stop(2)"), indexOf(calls, "stop(1)")) << "streams close in the order they were made";
  EXPECT_FALSE(has(calls, "stop(4)")) << "another device's stream must not be touched";
  EXPECT_TRUE(logged(4, "Finish close device"));
  EXPECT_EQ(-13, ctx()->closeStream(depth));
  EXPECT_EQ(0, ctx()->closeStream(untouched));
  EXPECT_EQ(1, uvc().openDevices());
}

TEST_F(DeviceTable, ASecondCloseOfOneDeviceIsRefused) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  sarvik::Device* device = open("usb://0");
  ASSERT_EQ(0, ctx()->closeDevice(device));
  clearLastError();
  EXPECT_EQ(-3, ctx()->closeDevice(device));
  EXPECT_EQ(kErrInvalidDevice, lastError());
  EXPECT_TRUE(logged(3, "Invalid Device!"));
  EXPECT_EQ(1u, countStartingWith(uvc().calls(), "closeDevice("));
}

// A device command holds the context lock across its plug-in call, so it can
// only finish while another device's open or close is inside the plug-in if
// that open or close holds no lock of the context.
TEST_F(DeviceTable, NoContextLockIsHeldAcrossThePluginsOpenOrClose) {
  start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
  sarvik::Device* other = open("usb://1");
  sarvik::Device* device = nullptr;
  for (FakeOp op : {FakeOp::kOpenDevice, FakeOp::kCloseDevice}) {
    uvc().pauseAt(op);
    std::thread slow([&] {
      if (op == FakeOp::kOpenDevice) {
        EXPECT_EQ(0, ctx()->openDevice("usb://0", &device));
      } else {
        EXPECT_EQ(0, ctx()->closeDevice(device));
      }
    });
    ASSERT_TRUE(waitUntil([&] { return uvc().paused(); }));
    std::atomic<bool> done{false};
    std::thread command([&] {
      int32_t value = 1;
      EXPECT_EQ(0, ctx()->setDeviceProperty(other, 1, &value, sizeof(value)));
      done = true;
    });
    const bool ranAlongside = waitUntil([&] { return done.load(); });
    uvc().resume();
    command.join();
    slow.join();
    EXPECT_TRUE(ranAlongside) << "a lock of the context was held across the plug-in's "
                              << (op == FakeOp::kOpenDevice ? "openDevice" : "closeDevice");
  }
}

TEST_F(DeviceTable, AHandleOutlivesItsRecordAfterAnUnplug) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  sarvik::Device* device = open("usb://0");
  uvc().setDevices({});
  ASSERT_EQ(0, uvc().raiseEvent("usb://0", "SN0", "1-1", 1));
  EXPECT_EQ(0u, deviceCount());
  uint8_t value[4] = {1, 0, 0, 0};
  EXPECT_EQ(0, ctx()->setDeviceProperty(device, 3, value, 4));
  EXPECT_EQ(0, ctx()->closeDevice(device));
  EXPECT_TRUE(has(uvc().calls(), "closeDevice(usb://0)"));
}

// A plug-in that raises a device-state event from inside its getDeviceList
// (which the contract forbids, but a plug-in may do) reaches a rebuild under
// the running one; the table must stay within its 60 records, and the next
// plug-in must be told the room really left, at start-up and later alike.
TEST_F(ContextTest, AnEventRaisedInsideGetDeviceListKeepsTheTableInBounds) {
  load();
  uvc().setDevices(deviceRecords("usb://", 60, SARVIK_CONNECTION_USB));
  net().setDevices(deviceRecords("net://", 5, SARVIK_CONNECTION_NET));
  uvc().setEventsInsideCalls(true);
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_EQ(60u, deviceCount());

  net().clearCalls();
  EXPECT_EQ(0, uvc().raiseEvent("usb://0", "SN0", "", 0));
  EXPECT_EQ(60u, deviceCount());
  for (const std::string& call : net().calls()) {
    if (call.rfind("getDeviceList(", 0) == 0) {
      EXPECT_EQ("getDeviceList(room=0)", call);
    }
  }
  EXPECT_NE(nullptr, ctx()->findDeviceByUri("usb://59"));
}

}  // namespace
}  // namespace sarvik_test
