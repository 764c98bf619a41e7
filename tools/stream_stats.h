// Counters of one stream as the program receives it: frames, frames lost on
// the way (gaps in the plug-in's frame numbers) and the latency from the
// plug-in's stamp to arrival. Not thread-safe: StreamMonitor locks around it.
#ifndef SARVIK_TOOLS_STREAM_STATS_H
#define SARVIK_TOOLS_STREAM_STATS_H

#include <cstdint>
#include <vector>

namespace sarvik {
namespace tools {

struct StreamFigures {
  uint64_t frames = 0;
  uint64_t dropped = 0;
  double seconds = 0.0;
  // Latency in microseconds; both 0 without frames. Negative values mean that
  // the stamps are not of this machine's monotonic clock.
  int64_t medianLatencyUs = 0;
  int64_t maxLatencyUs = 0;

  double fps() const { return seconds > 0.0 ? static_cast<double>(frames) / seconds : 0.0; }
};

class StreamStats {
 public:
  explicit StreamStats(uint64_t startUs);

  // frameNumber is the plug-in's counter at offset 8 of the frame record.
  // The module leaves those bytes to plug-in and application; we take them
  // as a count of every image the camera made, lost ones included, so a gap
  // is a loss. frameStamp is the plug-in's CLOCK_MONOTONIC stamp in
  // microseconds, arrivalUs when the program got the frame.
  void onFrame(uint32_t frameNumber, uint64_t frameStamp, uint64_t arrivalUs);

  // The camera went away; time from here to resume() does not count
  // towards the run's rate.
  void pause(uint64_t nowUs);
  // The camera was opened again. Its counter may start anywhere, so the next
  // frame sets a new base instead of counting a gap; the window starts anew.
  void resume(uint64_t nowUs);

  // Figures since the last call (or since construction), then starts a new window.
  StreamFigures takeWindow(uint64_t nowUs);
  // Figures since construction, paused time left out.
  StreamFigures total(uint64_t nowUs) const;

 private:
  struct Counters {
    uint64_t frames = 0;
    uint64_t dropped = 0;
    int64_t maxLatencyUs = 0;
    std::vector<int64_t> latencies;
  };

  static StreamFigures figures(const Counters& counters, uint64_t activeUs);

  uint64_t m_startUs;
  uint64_t m_windowStartUs;
  uint64_t m_pausedUs = 0;       // whole pauses so far
  uint64_t m_pauseStartUs = 0;   // 0: not paused
  bool m_haveLast = false;
  uint32_t m_lastNumber = 0;
  Counters m_window;
  Counters m_total;
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_STREAM_STATS_H
