// What the program makes of its arguments, and which module file it loads.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "sarvik/SarvikTypes.h"
#include "tools/command_line.h"
#include "tools/module_library.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {
namespace {

struct Parsed {
  ParseOutcome outcome;
  CommandLine line;
};

Parsed parse(std::initializer_list<const char*> args) {
  std::vector<const char*> argv{"sarvik"};
  argv.insert(argv.end(), args.begin(), args.end());
  Parsed p;
  p.outcome = parseCommandLine(static_cast<int>(argv.size()), argv.data(), &p.line);
  return p;
}

void expectRejected(std::initializer_list<const char*> args, const std::string& message) {
  const Parsed p = parse(args);
  EXPECT_FALSE(p.outcome.run);
  EXPECT_EQ(p.outcome.exitCode, 2);
  EXPECT_NE(p.outcome.text.find(message), std::string::npos) << p.outcome.text;
}

TEST(CommandLineTest, NoSubcommandListsDevicesAndSnapshotFileIsOptional) {
  const Parsed p = parse({});
  ASSERT_TRUE(p.outcome.run);
  EXPECT_EQ(p.line.command, Command::kDevices);
  EXPECT_TRUE(p.line.modulePath.empty());
  EXPECT_TRUE(parse({"snapshot", "usb://sim/0"}).line.file.empty());
  EXPECT_EQ(parse({"snapshot", "usb://sim/0", "s.bmp"}).line.file, "s.bmp");
}

TEST(CommandLineTest, ModuleOptionIsTakenBeforeOrAfterTheSubcommand) {
  EXPECT_EQ(parse({"--module", "/m.so"}).line.modulePath, "/m.so");
  const Parsed after = parse({"info", "usb://sim/0", "--module", "/n.so"});
  ASSERT_TRUE(after.outcome.run) << after.outcome.text;
  EXPECT_EQ(after.line.command, Command::kInfo);
  EXPECT_EQ(after.line.address, "usb://sim/0");
  EXPECT_EQ(after.line.modulePath, "/n.so");
}

TEST(CommandLineTest, StreamOpensDepthUnlessTypesAreGiven) {
  const Parsed plain = parse({"stream", "usb://sim/0"});
  ASSERT_TRUE(plain.outcome.run);
  EXPECT_EQ(plain.line.types, std::vector<uint32_t>({SARVIK_STREAM_DEPTH}));
  EXPECT_EQ(plain.line.seconds, 0.0);
  EXPECT_FALSE(plain.line.callback);

  // Repeated --type, in any spelling, each type once in the order first given;
  // the address may follow the options.
  const Parsed typed = parse({"stream", "--type", "lightir", "--type", "Colour", "--type", "depth", "--type",
                              "color", "--seconds", "2.5", "--callback", "usb://sim/1"});
  ASSERT_TRUE(typed.outcome.run) << typed.outcome.text;
  EXPECT_EQ(typed.line.address, "usb://sim/1");
  EXPECT_EQ(typed.line.types,
            std::vector<uint32_t>({SARVIK_STREAM_LIGHT_IR, SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH}));
  EXPECT_EQ(typed.line.seconds, 2.5);
  EXPECT_TRUE(typed.line.callback);
}

TEST(CommandLineTest, MisuseIsRefusedWithExitCodeTwoAndHelpPrintedWithZero) {
  expectRejected({"stream", "usb://sim/0", "--type", "sonar"}, "unknown stream type 'sonar'");
  expectRejected({"stream"}, "ADDRESS");
  expectRejected({"stream", "usb://sim/0", "--seconds", "-1"}, "--seconds");
  expectRejected({"stream", "usb://sim/0", "--type", "depth", "ir"}, "ir");
  expectRejected({"record", "usb://sim/0"}, "FILE");
  expectRejected({"export", "f.rec", "out", "--type", "depth"}, "--index");
  expectRejected({"export", "f.rec", "out", "--index", "-1", "--type", "depth"}, "--index");
  expectRejected({"teleport"}, "teleport");

  const Parsed help = parse({"stream", "--help"});
  EXPECT_FALSE(help.outcome.run);
  EXPECT_EQ(help.outcome.exitCode, 0);
  EXPECT_NE(help.outcome.text.find("--callback"), std::string::npos);
}

TEST(CommandLineTest, RecordAndExportTakeTheirFiles) {
  const Parsed record = parse({"record", "net://sim/0", "out.rec", "--type", "ir", "--seconds", "3"});
  ASSERT_TRUE(record.outcome.run);
  EXPECT_EQ(record.line.command, Command::kRecord);
  EXPECT_EQ(record.line.file, "out.rec");
  EXPECT_EQ(record.line.types, std::vector<uint32_t>({SARVIK_STREAM_IR}));

  const Parsed exported = parse({"export", "in.rec", "--index", "7", "--type", "32", "frame.raw"});
  ASSERT_TRUE(exported.outcome.run) << exported.outcome.text;
  EXPECT_EQ(exported.line.command, Command::kExport);
  EXPECT_EQ(exported.line.file, "in.rec");
  EXPECT_EQ(exported.line.output, "frame.raw");
  EXPECT_EQ(exported.line.index, 7u);
  EXPECT_EQ(exported.line.exportType, SARVIK_STREAM_LIGHT_IR);
}

TEST(CommandLineTest, CloudOptionsOverrideTheFallBackIntrinsics) {
  const Parsed plain = parse({"cloud", "usb://sim/0", "c.ply"});
  ASSERT_TRUE(plain.outcome.run);
  EXPECT_FALSE(plain.line.colour);
  EXPECT_EQ(plain.line.cloud.scale, 1000.0f);
  EXPECT_EQ(plain.line.cloud.cx, 200.0f);
  EXPECT_EQ(plain.line.cloud.cy, 320.0f);

  const Parsed tuned = parse({"cloud", "usb://sim/0", "c.ply", "--color", "--fx", "600", "--cy", "240.5",
                              "--encoding", "1", "--clip"});
  ASSERT_TRUE(tuned.outcome.run) << tuned.outcome.text;
  EXPECT_TRUE(tuned.line.colour);
  EXPECT_EQ(tuned.line.cloud.fx, 600.0f);
  EXPECT_EQ(tuned.line.cloud.fy, 425.0f);
  EXPECT_EQ(tuned.line.cloud.cy, 240.5f);
  EXPECT_EQ(tuned.line.cloud.encoding, 1u);
  EXPECT_TRUE(tuned.line.cloud.clip);
  EXPECT_TRUE(parse({"cloud", "a", "b", "--colour"}).line.colour);
}

TEST(StreamTypeNamesTest, NamesAndNumbersBothName) {
  uint32_t type = 0;
  EXPECT_TRUE(parseStreamType("light-ir", &type));
  EXPECT_EQ(type, SARVIK_STREAM_LIGHT_IR);
  EXPECT_TRUE(parseStreamType("IR", &type));
  EXPECT_EQ(type, SARVIK_STREAM_IR);
  EXPECT_TRUE(parseStreamType("8", &type));
  EXPECT_EQ(type, 8u);
  EXPECT_FALSE(parseStreamType("0", &type));
  EXPECT_FALSE(parseStreamType("4x", &type));
  EXPECT_FALSE(parseStreamType("", &type));
  EXPECT_EQ(streamTypeName(SARVIK_STREAM_LIGHT_IR), "lightir");
  EXPECT_EQ(streamTypeName(8), "type 8");
}

TEST(ModulePathTest, OptionBeatsEnvironmentWhichBeatsTheBuildLayout) {
  EXPECT_EQ(chooseModulePath("/opt/m.so", "/env/m.so", "/b/bin/sarvik"), "/opt/m.so");
  EXPECT_EQ(chooseModulePath("", "/env/m.so", "/b/bin/sarvik"), "/env/m.so");
  EXPECT_EQ(chooseModulePath("", "", "/b/bin/sarvik"), "/b/bin/../lib/libSarvikCommonDriver.so");
  EXPECT_EQ(chooseModulePath("", nullptr, "sarvik"), "./../lib/libSarvikCommonDriver.so");
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
