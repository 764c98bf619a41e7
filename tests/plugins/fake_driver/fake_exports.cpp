// The exports of the fake plug-in. The same sources are built four times; the
// macros below take away exactly one thing each.
#include "fake_control.h"
#include "fake_driver.h"

#define FAKE_DRIVER_EXPORT extern "C" __attribute__((visibility("default")))

#if !defined(FAKE_DRIVER_NO_INSTANCE)
FAKE_DRIVER_EXPORT sarvik::DriverInterfaceBase* driverInstance() {
#if defined(FAKE_DRIVER_NULL_INSTANCE)
  sarvik_test::FakeControl::instance().log("driverInstance");
  return nullptr;
#else
  return sarvik_test::FakeControl::instance().makeDriver();
#endif
}
#endif

#if !defined(FAKE_DRIVER_NO_DESTROY)
FAKE_DRIVER_EXPORT int32_t driverDestroy(sarvik::DriverInterfaceBase* driver) {
  sarvik_test::FakeControl::instance().destroyDriver(static_cast<sarvik_test::FakeDriver*>(driver));
  return 0;
}
#endif

FAKE_DRIVER_EXPORT sarvik_test::FakeDriverControl* fakeDriverControl() {
  return &sarvik_test::FakeControl::instance();
}
