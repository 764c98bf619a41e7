// What the program makes of its arguments, and which module file it loads.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <string>
#include <vector>

#include "sarvik/SarvikTypes.h"
#include "tools/command_line.h"
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
  EXPECT_EQ(after.line.camera, "usb://sim/0");
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
  EXPECT_EQ(typed.line.camera, "usb://sim/1");
  EXPECT_EQ(typed.line.types,
            std::vector<uint32_t>({SARVIK_STREAM_LIGHT_IR, SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH}));
  EXPECT_EQ(typed.line.seconds, 2.5);
  EXPECT_TRUE(typed.line.callback);
}

TEST(CommandLineTest, MisuseIsRefusedWithExitCodeTwoAndHelpPrintedWithZero) {
  expectRejected({"stream", "usb://sim/0", "--type", "sonar"}, "unknown stream type 'sonar'");
  expectRejected({"stream", "usb://sim/0", "--seconds", "-1"}, "--seconds must be between 0 and 86400");
  expectRejected({"stream", "usb://sim/0", "--seconds", "nan"}, "--seconds must be between 0 and 86400");
  expectRejected({"watch", "--seconds", "1e400"}, "--seconds must be between 0 and 86400");
  expectRejected({"cloud", "c.ply", "--scale", "0"}, "--scale must be between");
  expectRejected({"cloud", "c.ply", "--fx", "nan"}, "--fx must be between");
  expectRejected({"cloud", "c.ply", "--fy", "-3"}, "--fy must be between");
  expectRejected({"cloud", "c.ply", "--encoding", "7"}, "--encoding");
  expectRejected({"record", "a.rec", "--max-size", "lots"}, "--max-size");
  expectRejected({"snapshot", "--format", "gif"}, "--format");
  expectRejected({"stream", "usb://sim/0", "--type", "depth", "ir"}, "ir");
  expectRejected({"record", "usb://sim/0"}, "FILE");
  expectRejected({"record", "a.rec", "b.rec"}, "too many arguments");
  expectRejected({"export", "f.rec", "out", "--type", "depth"}, "--index N, --range A:B or --all");
  expectRejected({"export", "f.rec", "out", "--index", "-1", "--type", "depth"}, "--index");
  expectRejected({"export", "f.rec", "out", "--index", "1", "--all", "--type", "depth"}, "excludes");
  expectRejected({"export", "f.rec", "out", "--range", "5:2", "--type", "depth"}, "--range must be A:B");
  expectRejected({"export", "f.rec", "out", "--range", "5", "--type", "depth"}, "--range must be A:B");
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
  EXPECT_EQ(exported.line.firstIndex, 7u);
  EXPECT_EQ(exported.line.lastIndex, 7u);
  EXPECT_FALSE(exported.line.allFrames);

  const Parsed ranged = parse({"export", "in.rec", "--range", "3:9", "--type", "depth", "d.png"});
  ASSERT_TRUE(ranged.outcome.run) << ranged.outcome.text;
  EXPECT_EQ(ranged.line.firstIndex, 3u);
  EXPECT_EQ(ranged.line.lastIndex, 9u);
  EXPECT_TRUE(parse({"export", "in.rec", "--all", "--type", "ir", "i.pgm"}).line.allFrames);
  EXPECT_EQ(exported.line.exportType, SARVIK_STREAM_LIGHT_IR);
}

TEST(CommandLineTest, CloudOptionsAreLeftToTheCameraUnlessGiven) {
  const Parsed plain = parse({"cloud", "usb://sim/0", "c.ply"});
  ASSERT_TRUE(plain.outcome.run);
  EXPECT_FALSE(plain.line.colour);
  EXPECT_TRUE(std::isnan(plain.line.cloud.scale));
  EXPECT_TRUE(std::isnan(plain.line.cloud.fx));
  EXPECT_EQ(plain.line.cloud.encoding, -1);

  const Parsed tuned = parse({"cloud", "usb://sim/0", "c.ply", "--color", "--fx", "600", "--cy", "240.5",
                              "--encoding", "1", "--clip"});
  ASSERT_TRUE(tuned.outcome.run) << tuned.outcome.text;
  EXPECT_TRUE(tuned.line.colour);
  EXPECT_EQ(tuned.line.cloud.fx, 600.0f);
  EXPECT_TRUE(std::isnan(tuned.line.cloud.fy));
  EXPECT_EQ(tuned.line.cloud.cy, 240.5f);
  EXPECT_EQ(tuned.line.cloud.encoding, 1);
  EXPECT_TRUE(tuned.line.cloud.clip);
  EXPECT_TRUE(parse({"cloud", "a", "b", "--colour"}).outcome.run == false);
}

// The camera may be named by -c or, as before, by an address in front of the
// files; a lone word is a file unless it has the form of an address.
TEST(CommandLineTest, CameraComesFromTheOptionOrAnAddressLikeWord) {
  const Parsed bare = parse({"record", "out.rec"});
  ASSERT_TRUE(bare.outcome.run) << bare.outcome.text;
  EXPECT_EQ(bare.line.camera, "");
  EXPECT_EQ(bare.line.file, "out.rec");

  const Parsed chosen = parse({"record", "-c", "SIM0U0000001", "out.rec"});
  EXPECT_EQ(chosen.line.camera, "SIM0U0000001");
  EXPECT_EQ(chosen.line.file, "out.rec");

  const Parsed node = parse({"snapshot", "/dev/video0"});
  EXPECT_EQ(node.line.camera, "/dev/video0");
  EXPECT_EQ(node.line.file, "");
  const Parsed file = parse({"snapshot", "s.bmp", "--force"});
  EXPECT_EQ(file.line.camera, "");
  EXPECT_EQ(file.line.file, "s.bmp");
  EXPECT_TRUE(file.line.force);
  EXPECT_EQ(parse({"info", "file:///x.rec"}).line.camera, "file:///x.rec");
  EXPECT_EQ(parse({"info", "2"}).outcome.run, false);
  EXPECT_EQ(parse({"info", "-c", "2"}).line.camera, "2");
}

TEST(CommandLineTest, ModesAreParsedPerStreamType) {
  const Parsed p = parse({"record", "o.rec", "-t", "depth", "-t", "color", "--mode", "color=1280x720@30:rgb24",
                          "--mode", "2"});
  ASSERT_TRUE(p.outcome.run) << p.outcome.text;
  ASSERT_EQ(p.line.modeRequests.size(), 2u);
  const ModeRequest& colour = p.line.modeRequests[0];
  EXPECT_EQ(colour.type, SARVIK_STREAM_COLOR);
  EXPECT_EQ(colour.width, 1280u);
  EXPECT_EQ(colour.height, 720u);
  EXPECT_EQ(colour.fps, 30);
  EXPECT_EQ(colour.format, SARVIK_PIXEL_RGB24);
  // Without a type, the command's first stream.
  EXPECT_EQ(p.line.modeRequests[1].type, SARVIK_STREAM_DEPTH);
  EXPECT_TRUE(p.line.modeRequests[1].byIndex);
  EXPECT_EQ(p.line.modeRequests[1].index, 2u);

  EXPECT_EQ(parse({"snapshot", "--mode", "320x240"}).line.modeRequests.at(0).type, SARVIK_STREAM_COLOR);
  expectRejected({"stream", "--mode", "ir=0"}, "add --type ir");
  expectRejected({"cloud", "c.ply", "--mode", "color=0"}, "does not stream");
  expectRejected({"stream", "--mode", "0", "--mode", "depth=1"}, "twice for depth");
  expectRejected({"stream", "--mode", "640x"}, "bad size");
  expectRejected({"stream", "--mode", "640x480@999"}, "0 to 127");
  expectRejected({"stream", "--mode", "640x480:yuv"}, "unknown format 'yuv'");
  expectRejected({"stream", "--mode", "sonar=1"}, "unknown stream type 'sonar'");
  expectRejected({"stream", "--mode", "640x480@30x"}, "unexpected 'x'");
  expectRejected({"stream", "--mode", "99999999999"}, "no size or index");
}

TEST(CommandLineTest, VerbosityVersionAndHelpListEverything) {
  EXPECT_EQ(parse({"-vv", "devices"}).line.verbosity, 2);
  EXPECT_EQ(parse({"info", "-v", "-c", "0"}).line.verbosity, 1);
  EXPECT_EQ(parse({"--log-file", "/tmp/l", "devices", "--json"}).line.logFile, "/tmp/l");
  EXPECT_TRUE(parse({"inspect", "x.rec", "--json"}).line.json);

  const Parsed version = parse({"--version"});
  EXPECT_FALSE(version.outcome.run);
  EXPECT_EQ(version.outcome.exitCode, 0);
  EXPECT_NE(version.outcome.text.find("sarvik "), std::string::npos);

  std::vector<const char*> argv{"sarvik", "--help"};
  CommandLine line;
  const ParseOutcome help = parseCommandLine(2, argv.data(), &line, {"view", "serve"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_NE(help.text.find("More commands found: view serve"), std::string::npos) << help.text;
  for (const char* name : {"devices", "info", "stream", "watch", "record", "inspect", "export", "snapshot", "cloud"}) {
    EXPECT_NE(help.text.find(name), std::string::npos) << name;
  }
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

}  // namespace
}  // namespace tools
}  // namespace sarvik
