#include <gtest/gtest.h>
#include <signal.h>

#include "viewer_fixture.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  signal(SIGPIPE, SIG_IGN);  // a closed client is a failed write in these tests
  ::testing::AddGlobalTestEnvironment(new viewer_test::ModuleEnvironment);
  return RUN_ALL_TESTS();
}
