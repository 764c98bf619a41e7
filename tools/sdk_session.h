// One context of the module for the length of a subcommand: loads the
// module, makes the context, initialises it if asked, and at the end shuts it
// down and deletes it, whatever path the subcommand left by.
#ifndef SARVIK_TOOLS_SDK_SESSION_H
#define SARVIK_TOOLS_SDK_SESSION_H

#include <cstdint>
#include <string>

#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikLoader.h"
#include "tools/device_events.h"

namespace sarvik {
namespace tools {

// Prints one line on stderr, "sarvik: <what> failed: <status name> (<code>);
// <hint>", and returns the exit code 1. Without a hint, a general one for
// the status is given where there is one.
int reportFailure(const std::string& what, int32_t status, const std::string& hint = std::string());

// Prints "sarvik: <text>" on stderr and returns 1.
int reportError(const std::string& text);

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
  ModuleLoader m_loader;
  SarvikBaseContext* m_context = nullptr;
  bool m_initialised = false;
  DeviceEvents m_events;
};

// Ends the session and folds a failing shutdown into the exit code.
int finishSession(SdkSession* session, int exitCode);

// Opens the camera `selector` names (address, serial or index; empty: the
// only or first camera, named on stderr when there are several). Node
// addresses ("/dev/video...") are only known to the module after a node
// listing, so one is made first. Prints what failed; returns 0 or the
// failing status, and the address opened in *address.
int32_t openCamera(SarvikBaseContext* context, const std::string& selector, Device** device, std::string* address);

// Whether `address` stands in the device table now, or for a node address
// in a fresh node listing.
bool cameraListed(SarvikBaseContext* context, const std::string& address);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_SDK_SESSION_H
