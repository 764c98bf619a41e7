// Pipelines on one camera started and stopped from several threads at once:
// the shared context and the shared device must neither race nor deadlock,
// also when the last element of a session goes while another one comes.
#include <atomic>
#include <thread>

#include "gst_test_support.h"

namespace sarvik_gst_test {
namespace {

using std::chrono::seconds;

// Plays `description` until `frames` buffers passed the sink named "sink",
// then stops it (EOS or not). False if they did not come in time.
bool playFor(const std::string& description, size_t frames) {
  Pipeline pipeline(description);
  BufferLog log(pipeline.element("sink"));
  if (pipeline.play() == GST_STATE_CHANGE_FAILURE) return false;
  const bool came = waitUntil([&] { return log.count() >= frames; }, seconds(30));
  return came && pipeline.stop() == GST_STATE_CHANGE_SUCCESS;
}

TEST(SourceStress, ElementsOfOneCameraComeAndGoOnThreeThreads) {
  const char* pipelines[] = {
      "sarviksrc stream=depth num-buffers=3 ! fakesink name=sink",
      "sarviksrc stream=color ! fakesink name=sink",  // stopped mid-stream
      "sarviksrc stream=ir device=SIM0U0000001 ! queue ! fakesink name=sink",
  };
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (const char* description : pipelines) {
    threads.emplace_back([&failures, description] {
      for (int round = 0; round < 12; ++round) {
        if (!playFor(description, 2)) ++failures;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(failures.load(), 0);
}

TEST(SourceStress, TheLastElementLeavingWhileTheNextArrivesGetsAWorkingCamera) {
  // One thread at a time, back to back: each session ends as the next begins.
  for (int round = 0; round < 20; ++round) {
    std::thread leaving([] { EXPECT_TRUE(playFor("sarviksrc stream=depth ! fakesink name=sink", 1)); });
    std::this_thread::sleep_for(std::chrono::milliseconds(round % 4 * 10));
    EXPECT_TRUE(playFor("sarviksrc stream=color num-buffers=2 ! fakesink name=sink", 2)) << round;
    leaving.join();
  }
}

}  // namespace
}  // namespace sarvik_gst_test
