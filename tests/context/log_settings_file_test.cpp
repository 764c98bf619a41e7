// initLog with a settings file that is no regular file: it must come back.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "context/context_test_support.h"
#include "context/stream_test_support.h"

namespace sarvik_test {
namespace {

TEST_F(ContextTest, InitLogComesBackWhenTheSettingsFileHasNoEnd) {
  load();
  const std::string settings = folder() + "/sarvikLog.ini";
  const char* kinds[] = {"a link to /dev/zero", "a FIFO without a writer"};
  for (const char* kind : kinds) {
    SCOPED_TRACE(kind);
    unlink(settings.c_str());
    if (kind == kinds[0]) {
      ASSERT_EQ(0, symlink("/dev/zero", settings.c_str()));
    } else {
      ASSERT_EQ(0, mkfifo(settings.c_str(), 0600));
    }
    BackgroundCall setup([&] { return ctx()->initLog(nullptr); });
    if (!setup.finishesWithin(60.0)) {
      // The thread is stuck in the module for good; so would the application be.
      std::fprintf(stderr, "initLog never returned with %s\n", kind);
      std::abort();
    }
    EXPECT_EQ(0, setup.result());
  }
  unlink(settings.c_str());
}

}  // namespace
}  // namespace sarvik_test
