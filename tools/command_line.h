// The program's arguments, parsed into one plain record that the
// subcommands read. Parsing prints nothing itself, so that tests can look at
// what the user would see.
#ifndef SARVIK_TOOLS_COMMAND_LINE_H
#define SARVIK_TOOLS_COMMAND_LINE_H

#include <cstdint>
#include <string>
#include <vector>

namespace sarvik {
namespace tools {

enum class Command { kDevices, kInfo, kStream, kWatch, kRecord, kInspect, kExport, kSnapshot, kCloud, kPlay };

// How a depth image becomes points. The defaults are the module's own
// fall-back intrinsics; any of scale, fx, fy, cx, cy at or below 0 makes the
// module use that whole set anyway. What a decoded depth unit is belongs to
// the camera: the simulated camera's millimetres become metres at scale 1000.
struct CloudOptions {
  float scale = 1000.0f;
  float fx = 425.0f;
  float fy = 425.0f;
  float cx = 200.0f;
  float cy = 320.0f;
  uint32_t encoding = 0;  // 0: two fractional bits, as the simulated camera delivers
  bool clip = false;
};

struct CommandLine {
  Command command = Command::kDevices;
  std::string modulePath;  // --module; empty: SARVIK_MODULE, then beside the program
  std::string address;
  std::string file;    // record FILE, inspect FILE, export FILE, snapshot [FILE]
  std::string output;  // export OUT, cloud OUT.ply
  std::vector<uint32_t> types;  // stream, record: each type once, in the order given
  double seconds = 0.0;         // stream, watch, record: 0 runs until interrupted
  bool callback = false;        // stream --callback
  bool colour = false;          // cloud --colour
  uint32_t index = 0;           // export --index: the frameIndex in the file
  uint32_t exportType = 0;      // export --type
  CloudOptions cloud;
  double speed = 1.0;  // play --speed: 0 flat out, else 0.25 to 8
  bool loop = false;   // play --loop
};

struct ParseOutcome {
  bool run = false;  // false: print `text` and exit with `exitCode`
  int exitCode = 0;
  std::string text;  // help or error message
};

ParseOutcome parseCommandLine(int argc, const char* const* argv, CommandLine* out);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_COMMAND_LINE_H
