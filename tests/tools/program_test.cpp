// The built program run as a user runs it, against the simulated cameras of
// a private copy of the module and its plug-ins: what it prints, where, with
// which exit status, and what it leaves on disk.
#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/png_reader.h"
#include "tools/program_runner.h"
#include "tools/record_file.h"
#include "tools/scratch_folder.h"

namespace sarvik {
namespace tools {
namespace {

const char* const kPlugins[] = {"libSarvikCommonDriver.so", "libSarvikUvcDriver.so", "libSarvikNetDriver.so",
                                "libSarvikLogDriver.so"};

// Colour 322 pixels wide: three bytes a pixel make rows that are not a
// multiple of four bytes, which a BMP must pad.
const char* const kTwoCameras =
    "usb.cameras = 2\nnet.cameras = 0\nusb.0.serial = SIMTEST0001\nusb.1.serial = SIMTEST0002\n"
    "modes.color = 322x241@30, 640x480@30\ncontrol = none\n";

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return names;
  while (dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

// Whole entries and no damage, as inspect would judge it.
uint64_t cleanEntries(const std::string& path) {
  RecordFileReader reader;
  std::string error;
  if (!reader.open(path, 0, &error)) return 0;
  RecordEntry entry;
  uint64_t count = 0;
  while (reader.next(&entry)) ++count;
  return reader.problem().kind == RecordDamage::kNone ? count : 0;
}

class ProgramTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mkdir(m_folder.file("lib").c_str(), 0755);
    mkdir(m_folder.file("work").c_str(), 0755);
    for (const char* name : kPlugins) {
      const std::string bytes = readFile(std::string(SARVIK_BUILD_LIB_DIR) + "/" + name);
      ASSERT_FALSE(bytes.empty()) << name;
      sarvik_test::writeFile(m_folder.file("lib/") + name, bytes);
    }
    configure(kTwoCameras);
  }

  void configure(const std::string& text) { sarvik_test::writeFile(m_folder.file("lib/simcam.conf"), text); }

  std::string work(const std::string& name = "") const { return m_folder.file("work/") + name; }

  ProgramResult run(const std::vector<std::string>& args, ProgramOptions options = ProgramOptions()) {
    options.environment.push_back({"SARVIK_MODULE", m_folder.file("lib/libSarvikCommonDriver.so")});
    options.environment.push_back({"SARVIK_LOG_LEVELS", ""});
    if (options.folder.empty()) options.folder = work();
    return runProgram(SARVIK_PROGRAM, args, options);
  }

  ScratchFolder m_folder;
};

TEST_F(ProgramTest, QuietByDefaultWithMilestonesOnRequestAndALogFile) {
  ProgramResult r = run({"info", "-c", "usb://sim/0"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.err, "");
  // The intrinsics fit the scene: 0.66 image heights of focal length,
  // principal point at the centre of the pixel grid.
  EXPECT_NE(r.out.find("intrinsics at 322x241: fx 159.060 fy 159.060 cx 160.500 cy 120.000"), std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("depth unit: 2 fractional bits, 0.001 m per unit"), std::string::npos) << r.out;

  r = run({"-v", "info", "-c", "usb://sim/0"});
  ASSERT_EQ(r.exitCode, 0);
  EXPECT_NE(r.err.find("INFO:"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("TRACE:"), std::string::npos) << r.err;
  EXPECT_EQ(r.out.find("INFO:"), std::string::npos);

  const std::string log = m_folder.file("module.log");
  r = run({"-vv", "--log-file", log, "info", "-c", "usb://sim/0"});
  ASSERT_EQ(r.exitCode, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_NE(readFile(log).find("INFO:"), std::string::npos);
}

TEST_F(ProgramTest, ErrorsAreOneLineNamingWhatToDo) {
  ProgramResult r = run({"info", "-c", "usb://sim/5"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err, "sarvik: no camera at usb://sim/5; `sarvik devices` lists the cameras\n");
  r = run({"info", "-c", "7"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err, "sarvik: no camera with index 7 (2 listed); `sarvik devices` lists the cameras\n");
  r = run({"info", "file:///no/such.rec"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("no camera plays file:///no/such.rec"), std::string::npos) << r.err;

  r = run({"stream", "--seconds", "-1"});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_NE(r.err.find("--seconds must be between 0 and 86400"), std::string::npos) << r.err;

  configure(std::string(kTwoCameras) + "usb.modes.color =\n");
  r = run({"snapshot", "-c", "0", "s.png"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("the camera has no color sensor"), std::string::npos) << r.err;
  // The module's own errors come before ours, each once; ours is one line.
  EXPECT_EQ(r.err.find("sarvik:"), r.err.rfind("sarvik:")) << r.err;
  EXPECT_EQ(r.err.find("Open color stream failed"), r.err.rfind("Open color stream failed")) << r.err;
  EXPECT_TRUE(namesIn(work()).empty());
}

TEST_F(ProgramTest, CamerasAreChosenByAddressSerialOrIndexAndTheDefaultIsNamed) {
  ProgramResult r = run({"info"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.out.rfind("usb://sim/0\n", 0), 0u) << r.out;
  EXPECT_NE(r.err.find("using usb://sim/0, the first of 2 cameras"), std::string::npos) << r.err;
  r = run({"info", "-c", "SIMTEST0002"});
  EXPECT_EQ(r.out.rfind("usb://sim/1\n", 0), 0u) << r.out;
  r = run({"info", "-c", "1"});
  EXPECT_EQ(r.out.rfind("usb://sim/1\n", 0), 0u) << r.out;

  configure("usb.cameras = 1\nnet.cameras = 0\ncontrol = none\n");
  r = run({"info"});
  EXPECT_EQ(r.exitCode, 0);
  EXPECT_EQ(r.err, "");
}

TEST_F(ProgramTest, JsonOutputsParse) {
  ProgramResult r = run({"devices", "--json"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const nlohmann::json devices = nlohmann::json::parse(r.out);
  ASSERT_EQ(devices["cameras"].size(), 2u);
  EXPECT_EQ(devices["cameras"][1]["serial"], "SIMTEST0002");

  r = run({"info", "-c", "0", "--json"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const nlohmann::json info = nlohmann::json::parse(r.out);
  EXPECT_EQ(info["sensors"][0]["type"], "color");
  EXPECT_EQ(info["sensors"][0]["modes"][1]["width"], 640);
  EXPECT_FLOAT_EQ(info["depth_unit"]["metres_per_unit"].get<float>(), 0.001f);
}

TEST_F(ProgramTest, SnapshotsAreCorrectAtEveryWidthAndNeverOverwrite) {
  ProgramResult r = run({"snapshot", "-c", "0", "odd.png"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("saved odd.png (322x241 png)"), std::string::npos) << r.out;
  const DecodedPng png = readPngFile(work("odd.png"));
  ASSERT_TRUE(png.ok);
  EXPECT_EQ(png.width, 322u);
  EXPECT_EQ(png.height, 241u);

  r = run({"snapshot", "-c", "0", "odd.bmp"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  // Rows of 966 bytes padded to 968.
  EXPECT_EQ(readFile(work("odd.bmp")).size(), 54u + 968u * 241u);

  r = run({"snapshot", "-c", "0", "odd.png"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("exists; --force overwrites it"), std::string::npos);
  EXPECT_EQ(run({"snapshot", "-c", "0", "--mode", "640x480", "--force", "odd.png"}).exitCode, 0);
  EXPECT_EQ(readPngFile(work("odd.png")).width, 640u);

  r = run({"snapshot", "-c", "0", "--mode", "999x1"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("--mode 999x1: the camera has no such color mode; it has 0: 322x241@30 rgb24, 1: 640x480@30 rgb24"),
            std::string::npos)
      << r.err;

  // Named by the time; two in a row get two names.
  const std::vector<std::string> before = namesIn(work());
  ASSERT_EQ(run({"snapshot", "-c", "0"}).exitCode, 0);
  ASSERT_EQ(run({"snapshot", "-c", "0"}).exitCode, 0);
  EXPECT_EQ(namesIn(work()).size(), before.size() + 2);
}

TEST_F(ProgramTest, FullDevicesAndMissingFoldersFailAtOnceAndLeaveNothing) {
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"snapshot", "-c", "0", "/dev/full"},
        std::vector<std::string>{"record", "-c", "0", "/dev/full", "-s", "5"},
        std::vector<std::string>{"cloud", "-c", "0", "/dev/full"}}) {
    const ProgramResult r = run(args);
    EXPECT_EQ(r.exitCode, 1) << args[0];
    EXPECT_NE(r.err.find("No space left on device"), std::string::npos) << r.err;
  }
  const ProgramResult r = run({"record", "-c", "0", "missing/x.rec", "-s", "1"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("the folder missing does not exist"), std::string::npos) << r.err;
  EXPECT_TRUE(namesIn(work()).empty());
  // Written in place, and no --force needed.
  EXPECT_EQ(run({"snapshot", "-c", "0", "/dev/null"}).exitCode, 0);
}

TEST_F(ProgramTest, RecordingRefusesToOverwriteAndStopsAtItsLimits) {
  sarvik_test::writeFile(work("old.rec"), "keep");
  ProgramResult r = run({"record", "-c", "0", "old.rec", "-s", "1"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(readFile(work("old.rec")), "keep");

  r = run({"record", "-c", "0", "--mode", "320x240@60", "-t", "depth", "-t", "color", "s.rec", "--max-size",
           "1MiB"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("size limit reached"), std::string::npos) << r.out;
  struct stat st;
  ASSERT_EQ(stat(work("s.rec").c_str(), &st), 0);
  EXPECT_LE(st.st_size, 1024 * 1024);
  EXPECT_GT(cleanEntries(work("s.rec")), 0u);
  EXPECT_EQ(namesIn(work()), std::vector<std::string>({"old.rec", "s.rec", "s.rec.json"}));
}

TEST_F(ProgramTest, RecordedFramesExportThroughTheModuleAndStreamTakesItsMode) {
  ProgramResult r = run({"record", "-c", "0", "-t", "depth", "-t", "ir", "--mode", "ir=1", "r.rec", "-s", "1"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("saved r.rec"), std::string::npos) << r.out;
  r = run({"inspect", "r.rec", "--json"});
  ASSERT_EQ(r.exitCode, 0) << r.out;
  EXPECT_EQ(nlohmann::json::parse(r.out)["verdict"], "clean");
  r = run({"export", "r.rec", "--type", "depth", "--index", "0", "d.ply"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("wrote d.ply"), std::string::npos) << r.out;
  r = run({"export", "r.rec", "--type", "ir", "--index", "0", "i.png"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  // Mode 1 of the infrared sensor is 16-bit.
  EXPECT_EQ(readPngFile(work("i.png")).bitDepth, 16);

  r = run({"stream", "-c", "0", "--mode", "depth=320x240@60", "-s", "1"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("summary over"), std::string::npos) << r.out;
  r = run({"stream", "-c", "0", "--mode", "depth=1x1", "-s", "1"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("--mode depth=1x1: the camera has no such depth mode; it has 0: 640x480@30 depth16"), std::string::npos) << r.err;
}

// The file size limit stands in for a full disk: reported as it happens, the
// run stops, and the file keeps the whole frames written before.
TEST_F(ProgramTest, RecordingThatRunsOutOfRoomKeepsAWholeFile) {
  ProgramOptions options;
  options.fileSizeLimit = 3 * 1024 * 1024;
  const ProgramResult r = run({"record", "-c", "0", "x.rec"}, options);
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("file size limit (ulimit -f) reached"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("x.rec keeps the"), std::string::npos) << r.err;
  EXPECT_GT(cleanEntries(work("x.rec")), 0u);
  EXPECT_EQ(namesIn(work()), std::vector<std::string>({"x.rec", "x.rec.json"}));
}

TEST_F(ProgramTest, RecordingOntoASmallFileSystemSaysTheDiskIsFull) {
  if (geteuid() != 0 || access("/usr/bin/unshare", X_OK) != 0) GTEST_SKIP() << "needs root and unshare";
  const std::string mount = work();
  const std::string script = "mount -t tmpfs -o size=2m tmpfs " + mount + " || exit 99; cd " + mount + "; " +
                             SARVIK_PROGRAM + " record -c 0 x.rec; echo record=$?; " + SARVIK_PROGRAM +
                             " inspect x.rec >/dev/null; echo inspect=$?; ls -a";
  ProgramOptions options;
  options.environment.push_back({"SARVIK_MODULE", m_folder.file("lib/libSarvikCommonDriver.so")});
  const ProgramResult r = runProgram("/usr/bin/unshare", {"-m", "sh", "-c", script}, options);
  if (r.exitCode == 99) GTEST_SKIP() << "no tmpfs mount here: " << r.err;
  EXPECT_NE(r.err.find("no space left on device"), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("record=1"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("inspect=0"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find(".part"), std::string::npos) << r.out;
}

TEST_F(ProgramTest, TwoInterruptsToTheGroupStillEndWithTheSummary) {
  ProgramOptions options;
  options.ownGroup = true;
  bool sent = false;
  // Only once frames are being written, so that there is something to keep.
  options.onOutput = [&](pid_t child, const std::string& out) {
    if (sent || out.find("s] depth") == std::string::npos) return;
    sent = true;
    kill(-child, SIGINT);
    kill(-child, SIGINT);
  };
  const ProgramResult r = run({"record", "-c", "0", "i.rec"}, options);
  ASSERT_TRUE(sent) << r.out << r.err;
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("recorded: depth"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("stopped: interrupted"), std::string::npos) << r.out;
  EXPECT_GT(cleanEntries(work("i.rec")), 0u);
}

TEST_F(ProgramTest, UnplugDuringRecordingIsReportedAndTheFileKept) {
  configure(std::string(kTwoCameras) + "hotplug = unplug usb://sim/0 at 1.5s\n");
  const ProgramResult r = run({"record", "-c", "0", "u.rec"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("the camera was unplugged"), std::string::npos) << r.err;
  EXPECT_GT(cleanEntries(work("u.rec")), 0u);
}

TEST_F(ProgramTest, CloudUsesTheCameraIntrinsicsAndReadsBackInOpen3d) {
  ProgramResult r = run({"cloud", "-c", "0", "c.ply"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("fx 316.800 fy 316.800 cx 319.500 cy 239.500, 1000 units a metre"), std::string::npos)
      << r.out;
  r = run({"cloud", "-c", "0", "--fx", "500", "--colour", "k.ply"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("fx 500.000 fy 316.800"), std::string::npos) << r.out;

  ProgramOptions quiet;
  const ProgramResult probe = runProgram("/usr/bin/python3", {"-c", "import open3d"}, quiet);
  if (probe.exitCode != 0) GTEST_SKIP() << "Open3D is not installed for /usr/bin/python3";
  // Every pixel of the scene has depth; the plane behind the ball lies 1.7
  // to 2.3 m away, and with the principal point at the centre the cloud
  // straddles the optical axis.
  const std::string check =
      "import open3d as o3d, numpy as np, sys\n"
      "p = np.asarray(o3d.io.read_point_cloud(sys.argv[1]).points)\n"
      "k = o3d.io.read_point_cloud(sys.argv[2])\n"
      "assert len(p) == 640 * 480, len(p)\n"
      "assert k.has_colors() and len(k.points) == len(p)\n"
      "assert 0.7 < p[:, 2].min() and p[:, 2].max() < 2.4, (p[:, 2].min(), p[:, 2].max())\n"
      "assert abs(p[:, 0].max() + p[:, 0].min()) < 0.2 * (p[:, 0].max() - p[:, 0].min())\n"
      "print('ok')\n";
  quiet.limitSeconds = 300;
  const ProgramResult o3d = runProgram("/usr/bin/python3", {"-c", check, work("c.ply"), work("k.ply")}, quiet);
  EXPECT_EQ(o3d.exitCode, 0) << o3d.out << o3d.err;
}

TEST_F(ProgramTest, UnknownCommandsRunSarvikNameProgramsFromBesideItOrFromPath) {
  const std::string bin = m_folder.file("bin/");
  const std::string path = m_folder.file("path/");
  mkdir(bin.c_str(), 0755);
  mkdir(path.c_str(), 0755);
  sarvik_test::writeFile(bin + "sarvik", readFile(SARVIK_PROGRAM));
  sarvik_test::writeFile(bin + "sarvik-hello", "#!/bin/sh\necho \"hello $0 [$1] [$2]\"\nexit 3\n");
  sarvik_test::writeFile(path + "sarvik-other", "#!/bin/sh\necho other\n");
  for (const std::string& file : {bin + "sarvik", bin + "sarvik-hello", path + "sarvik-other"}) {
    chmod(file.c_str(), 0755);
  }
  ProgramOptions options;
  options.environment.push_back({"PATH", path + ":/usr/bin:/bin"});
  ProgramResult r = runProgram(bin + "sarvik", {"hello", "a", "b c"}, options);
  EXPECT_EQ(r.exitCode, 3);
  EXPECT_EQ(r.out, "hello " + bin + "sarvik-hello [a] [b c]\n");
  r = runProgram(bin + "sarvik", {"other"}, options);
  EXPECT_EQ(r.out, "other\n");
  r = runProgram(bin + "sarvik", {"--help"}, options);
  EXPECT_NE(r.out.find("More commands found: hello other"), std::string::npos) << r.out;
  r = runProgram(bin + "sarvik", {"nosuch"}, options);
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_NE(r.err.find("'nosuch' is not a sarvik command"), std::string::npos) << r.err;
  r = runProgram(bin + "sarvik", {"../bin/sarvik-hello"}, options);
  EXPECT_EQ(r.exitCode, 2);
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
