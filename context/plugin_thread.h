// Plug-in threads that run into the module, and unloading behind them.
//
// A client callback may shut the context down from a device-state event,
// that is on a thread of the plug-in that raised it. Unloading that plug-in
// there would unmap the code the thread returns into. So a shutdown started
// on a plug-in's own thread finishes its unloading only after that thread has
// left the plug-in: when the thread ends.
#ifndef SARVIK_CONTEXT_PLUGIN_THREAD_H
#define SARVIK_CONTEXT_PLUGIN_THREAD_H

#include <vector>

namespace sarvik {

// Marks the calling thread, for its scope, as a plug-in's thread running a
// callback of the module.
class PluginThreadMark {
 public:
  PluginThreadMark();
  ~PluginThreadMark();
  PluginThreadMark(const PluginThreadMark&) = delete;
  PluginThreadMark& operator=(const PluginThreadMark&) = delete;

  static bool onPluginThread();
};

// Frees the given library handles when the calling thread ends. The module
// itself then stays mapped for the life of the process, so that the code
// that frees them is still there when the thread ends.
void unloadWhenThreadEnds(const std::vector<void*>& modules);

}  // namespace sarvik

#endif  // SARVIK_CONTEXT_PLUGIN_THREAD_H
