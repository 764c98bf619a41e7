// What `sarvik record` writes into a sidecar, playback reads back unchanged,
// also names no JSON writer would like.
#include <gtest/gtest.h>

#include "plugins/playback/playback_sidecar.h"
#include "tools/record_sidecar.h"

namespace {

TEST(SidecarWriterTest, TextsWithQuotesBackslashesAndControlsComeBackAsWritten) {
  const std::string names[] = {"plain", "quote\"d", "back\\slash", "line\nbreak\ttab", "", "caf\xc3\xa9"};
  for (const std::string& name : names) {
    std::string warning;
    playback::Sidecar sidecar = playback::parseSidecar(
        "{\"camera\":{\"name\":" + sarvik::tools::jsonString(name) + "}}", &warning);
    EXPECT_TRUE(warning.empty()) << name;
    EXPECT_EQ(sidecar.name, name);
  }
}

}  // namespace
