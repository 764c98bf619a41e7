// One context of the module for the length of a subcommand: loads the
// module, makes the context, initialises it if asked, and at the end shuts it
// down and deletes it, whatever path the subcommand left by.
#ifndef SARVIK_TOOLS_SDK_SESSION_H
#define SARVIK_TOOLS_SDK_SESSION_H

#include <cstdint>
#include <string>

#include "sarvik/SarvikBaseContext.h"
#include "tools/device_events.h"
#include "tools/module_library.h"

namespace sarvik {
namespace tools {

// Prints "<call> failed: <status>" on stderr and returns the exit code 1.
int reportFailure(const std::string& call, int32_t status);

class SdkSession {
 public:
  SdkSession() = default;
  ~SdkSession();
  SdkSession(const SdkSession&) = delete;
  SdkSession& operator=(const SdkSession&) = delete;

  // Loads the module at `modulePath` and makes the context; with
  // `initialise` also binds the transports. Prints what failed.
  bool start(const std::string& modulePath, bool initialise);

  SarvikBaseContext* context() const { return m_context; }

  // Registers `events()` for device-state events. There is no way to take
  // a registration back: it lasts until shutdown, which is why the sink is
  // part of the session.
  int32_t watchDevices();
  DeviceEvents& events() { return m_events; }

  // Shuts down (when initialised) and deletes the context; the status of
  // shutdown, 0 if there was none to make. Runs once; the destructor calls it.
  int32_t finish();

 private:
  ModuleLibrary m_library;
  SarvikBaseContext* m_context = nullptr;
  bool m_initialised = false;
  DeviceEvents m_events;
};

// Ends the session and folds a failing shutdown into the exit code.
int finishSession(SdkSession* session, int exitCode);

// Opens the camera at `address`. Node addresses ("/dev/video...") are only
// known to the module after a node listing, so one is made first. Prints the
// failing call; returns its status, or -1 if the module gave no handle (the
// address is open already).
int32_t openCamera(SarvikBaseContext* context, const std::string& address, Device** device);

// Whether `address` stands in the device table now, or for a node address
// in a fresh node listing.
bool cameraListed(SarvikBaseContext* context, const std::string& address);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_SDK_SESSION_H
