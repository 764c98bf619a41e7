// The program's arguments, parsed into one plain record that the
// subcommands read. Parsing prints nothing itself, so that tests can look at
// what the user would see.
#ifndef SARVIK_TOOLS_COMMAND_LINE_H
#define SARVIK_TOOLS_COMMAND_LINE_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/mode_choice.h"

namespace sarvik {
namespace tools {

enum class Command { kDevices, kInfo, kStream, kWatch, kRecord, kInspect, kExport, kSnapshot, kCloud, kPlay };

// How a depth image becomes points. A value left NaN is taken from the
// camera (intrinsics and depth unit properties) and, failing that, from the
// fall-backs in depth_cloud.cpp.
struct CloudOptions {
  float scale;
  float fx;
  float fy;
  float cx;
  float cy;
  int64_t encoding = -1;  // -1: the camera's, else depthToPointCloud's encoding
  bool clip = false;
  CloudOptions();
};

struct CommandLine {
  Command command = Command::kDevices;
  std::string modulePath;  // --module; empty: SARVIK_MODULE, then beside the program
  int verbosity = 0;       // -v: milestones too, -vv: tracing too
  std::string logFile;     // --log-file: the module's log goes there
  bool json = false;       // devices, info, inspect
  bool force = false;      // overwrite an existing regular file
  std::string camera;      // -c or a positional address: address, serial or index; empty: default
  std::vector<std::string> modes;  // --mode texts as given
  std::vector<ModeRequest> modeRequests;  // the same, parsed, each with its stream type
  std::string file;    // record FILE, inspect FILE, export FILE, snapshot [FILE]
  std::string output;  // export OUT, cloud OUT.ply
  std::string imageFormat = "png";  // snapshot without FILE
  std::vector<uint32_t> types;  // stream, record: each type once, in the order given
  double seconds = 0.0;         // stream, watch, record: 0 runs until interrupted
  uint64_t maxBytes = 0;        // record --max-size; 0: no limit
  bool callback = false;        // stream --callback
  bool colour = false;          // cloud --colour
  // export: which frames of `exportType`, by frameIndex, inclusive.
  uint32_t firstIndex = 0;
  uint32_t lastIndex = 0;
  bool allFrames = false;
  uint32_t exportType = 0;
  CloudOptions cloud;
  double speed = 1.0;  // play --speed: 0 flat out, else 0.25 to 8
  bool loop = false;   // play --loop
};

struct ParseOutcome {
  bool run = false;  // false: print `text` and exit with `exitCode`
  int exitCode = 0;
  std::string text;  // help or error message
};

// `externals` are the names of sarvik-NAME programs found, for the help text.
ParseOutcome parseCommandLine(int argc, const char* const* argv, CommandLine* out,
                              const std::vector<std::string>& externals = {});

// Whether `text` is a camera address rather than a file name: it has a
// scheme ("usb://", "file://", "net://") or names a video node.
bool looksLikeAddress(const std::string& text);

// The program's version, as --version prints it.
const char* programVersion();

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_COMMAND_LINE_H
