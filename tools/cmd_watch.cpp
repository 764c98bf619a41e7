#include <cstdio>
#include <mutex>

#include "tools/commands.h"
#include "tools/device_table_printer.h"
#include "tools/interrupt.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

int runWatch(const CommandLine& line) {
  // Declared before the session: the listener uses it until shutdown.
  std::mutex printLock;
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  installInterruptHandler();
  SarvikBaseContext* context = sdk.context();
  // Printed on the plug-in's thread, inside the event: the module has rebuilt
  // the table just before, so this is the table that the event produced.
  sdk.events().setListener([context, &printLock](const DeviceEvent& event) {
    std::lock_guard<std::mutex> lock(printLock);
    // Only state 1 has a meaning the module shares; others are shown as numbers.
    std::printf("event: %s  serial %s  state %u%s\n", event.address.c_str(), event.serial.c_str(), event.state,
                event.state == 1 ? " (gone)" : "");
    printCurrentDevices(stdout, context);
  });
  int32_t status;
  {
    std::lock_guard<std::mutex> lock(printLock);
    status = sdk.watchDevices();
    if (status == 0) {
      std::printf("watching device-state events; %s\n", line.seconds > 0 ? "stops by itself" : "Ctrl-C stops");
      printCurrentDevices(stdout, context);
    }
  }
  // Never shut down holding printLock: shutdown waits for the plug-in's
  // event thread, which may be waiting for the lock in the listener.
  if (status != 0) return finishSession(&sdk, reportFailure("watching for cameras", status));
  RunClock clock(line.seconds);
  DeviceEvent ignored;
  // The listener has printed each event already; the queue is only drained.
  while (!clock.over()) sdk.events().waitEvent(clock.remainingMs(100), &ignored);
  return finishSession(&sdk, 0);
}

}  // namespace tools
}  // namespace sarvik
