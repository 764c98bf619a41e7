#include <cstdio>
#include <string>

#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/monotonic_clock.h"
#include "tools/sdk_session.h"
#include "tools/stream_monitor.h"
#include "tools/stream_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

constexpr uint32_t kTickMs = 100;
constexpr uint64_t kSecondUs = 1000000;

std::string typeList(const std::vector<uint32_t>& types) {
  std::string text;
  for (uint32_t type : types) text += (text.empty() ? "" : ", ") + streamTypeName(type);
  return text;
}

std::string goneReason(int32_t status) {
  return status == kCameraUnplugged ? std::string("unplugged") : std::to_string(status);
}

// The main thread's side of a run: prints once a second, notices that the
// camera went and brings the streams back when it returns.
class StreamRun {
 public:
  StreamRun(SdkSession* sdk, const CommandLine& line)
      : m_sdk(sdk),
        m_line(line),
        m_clock(line.seconds),
        m_monitor(line.types, monotonicMicros()),
        m_session(sdk->context(), line.camera, line.types, line.modeRequests, line.callback, &m_monitor) {}

  int run() {
    if (m_session.open() != 0) return 1;
    std::printf("streaming %s from %s with %s; %s\n", typeList(m_line.types).c_str(), m_session.address().c_str(),
                m_line.callback ? "frame callbacks" : "a reader thread",
                m_line.seconds > 0 ? "stops by itself" : "Ctrl-C stops");
    m_nextLineUs = monotonicMicros() + kSecondUs;
    int exitCode = 0;
    while (!m_clock.over() && exitCode == 0) {
      DeviceEvent event;
      const bool gotEvent = m_sdk->events().waitEvent(m_clock.remainingMs(kTickMs), &event);
      const uint64_t now = monotonicMicros();
      exitCode = m_waiting ? lookForCamera(gotEvent, now) : watchStreams(gotEvent, event, now);
      if (!m_waiting && now >= m_nextLineUs) {
        m_nextLineUs += kSecondUs;
        for (const std::string& text : m_monitor.takeLiveLines(now)) say(text);
      }
    }
    if (m_session.close() != 0 && exitCode == 0) exitCode = 1;
    const std::string gone = m_goneCount == 0 ? "" : ", camera gone " + std::to_string(m_goneCount) + " time(s)";
    std::printf("summary over %.1f s%s:\n", m_clock.elapsedSeconds(), gone.c_str());
    for (const std::string& text : m_monitor.summaryLines(monotonicMicros())) std::printf("  %s\n", text.c_str());
    return exitCode;
  }

 private:
  void say(const std::string& text) { std::printf("[%6.1fs] %s\n", m_clock.elapsedSeconds(), text.c_str()); }

  int watchStreams(bool gotEvent, const DeviceEvent& event, uint64_t now) {
    if (gotEvent && event.state == 1 && event.address == m_session.address() && m_line.callback) m_session.markGone();
    if (now >= m_nextLookUs) {
      m_nextLookUs = now + kSecondUs;
      // A reader learns of an unplug from its wait; give that a second
      // before the table decides. Callbacks have no such messenger.
      m_absentLooks = cameraListed(m_sdk->context(), m_session.address()) ? 0 : m_absentLooks + 1;
      if (m_absentLooks >= (m_line.callback ? 1 : 2)) m_session.markGone();
    }
    const int32_t status = m_session.endStatus();
    if (status == 0) return 0;
    if (!isCameraGone(status)) return reportFailure(m_session.failedCall(), status);
    say("camera gone (" + goneReason(status) + "), waiting for it to come back");
    ++m_goneCount;
    m_monitor.pauseAll(now);
    m_waiting = true;
    m_nextLookUs = 0;
    // Closing a camera that has gone still has to end our streams and handle.
    m_session.close();
    return 0;
  }

  int lookForCamera(bool gotEvent, uint64_t now) {
    if (!gotEvent && now < m_nextLookUs) return 0;
    m_nextLookUs = now + kSecondUs;
    if (!cameraListed(m_sdk->context(), m_session.address())) return 0;
    // A failed open is reported and tried again on the next look: the camera
    // may still be coming up.
    if (m_session.open() != 0) return 0;
    m_monitor.resumeAll(now);
    m_nextLineUs = now + kSecondUs;
    m_waiting = false;
    m_absentLooks = 0;
    say("camera back, streaming again");
    return 0;
  }

  SdkSession* m_sdk;
  const CommandLine& m_line;
  RunClock m_clock;
  StreamMonitor m_monitor;
  StreamSession m_session;
  bool m_waiting = false;
  int m_goneCount = 0;
  int m_absentLooks = 0;
  uint64_t m_nextLookUs = 0;
  uint64_t m_nextLineUs = 0;
};

}  // namespace

int runStream(const CommandLine& line) {
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  installInterruptHandler();
  const int32_t status = sdk.watchDevices();
  if (status != 0) return finishSession(&sdk, reportFailure("watching for cameras", status));
  int exitCode;
  {
    StreamRun run(&sdk, line);
    exitCode = run.run();
  }
  return finishSession(&sdk, exitCode);
}

}  // namespace tools
}  // namespace sarvik
