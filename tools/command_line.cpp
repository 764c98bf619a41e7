#include "tools/command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <sstream>

#include "sarvik/SarvikTypes.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

CloudOptions::CloudOptions()
    : scale(std::numeric_limits<float>::quiet_NaN()),
      fx(std::numeric_limits<float>::quiet_NaN()),
      fy(std::numeric_limits<float>::quiet_NaN()),
      cx(std::numeric_limits<float>::quiet_NaN()),
      cy(std::numeric_limits<float>::quiet_NaN()) {}

namespace {

const char* const kTypeHelp = "depth, color, ir or lightir";

CLI::Validator streamTypeValidator() {
  return CLI::Validator(
      [](std::string& text) {
        uint32_t type = 0;
        return parseStreamType(text, &type) ? std::string() : "unknown stream type '" + text + "'; " + kTypeHelp;
      },
      "TYPE");
}

// "--seconds must be between 0 and 86400": one message for every bad number,
// NaN and infinities included, which strtod would otherwise let through.
CLI::Validator numberBetween(const std::string& name, double low, double high) {
  std::ostringstream limits;
  limits << name << " must be between " << low << " and " << high;
  const std::string message = limits.str();
  return CLI::Validator(
      [=](std::string& text) {
        errno = 0;
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        if (text.empty() || end == nullptr || *end != '\0' || errno == ERANGE || !std::isfinite(value) ||
            value < low || value > high) {
          return message + " (not '" + text + "')";
        }
        return std::string();
      },
      "NUMBER");
}

void addTypeOption(CLI::App* sub, std::vector<std::string>* names) {
  sub->add_option("--type,-t", *names, std::string("stream to open: ") + kTypeHelp + "; repeat for more")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(streamTypeValidator());
}

void addSecondsOption(CLI::App* sub, double* seconds, const std::string& names) {
  sub->add_option(names, *seconds, "how long to run, 0 to 86400 seconds; 0 (the default) runs until Ctrl-C")
      ->check(numberBetween("--seconds", 0, 86400));
}

void addCameraOptions(CLI::App* sub, CommandLine* out, bool modes) {
  sub->add_option("-c,--camera", out->camera,
                  "camera: an address (usb://sim/0, file:///abs/x.rec, /dev/video0), a serial number or an index "
                  "in `sarvik devices`; default the only camera, or the first listed");
  if (!modes) return;
  sub->add_option("--mode,-m", out->modes,
                  "frame mode, once per stream type: [TYPE=]WxH[@FPS][:FORMAT] or [TYPE=]INDEX from `sarvik "
                  "info`, e.g. color=1280x720@30:rgb24 or depth=2; without TYPE it is the command's first stream")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void addCloudOptions(CLI::App* sub, CloudOptions* cloud) {
  sub->add_option("--scale", cloud->scale,
                  "decoded depth units per output unit; default the camera's depth unit in metres (1000 for "
                  "millimetres)")
      ->check(numberBetween("--scale", 1e-6, 1e9));
  sub->add_option("--fx", cloud->fx, "focal length along columns, pixels; default the camera's")
      ->check(numberBetween("--fx", 1e-3, 1e7));
  sub->add_option("--fy", cloud->fy, "focal length along rows, pixels; default the camera's")
      ->check(numberBetween("--fy", 1e-3, 1e7));
  sub->add_option("--cx", cloud->cx, "principal point column; default the camera's")
      ->check(numberBetween("--cx", -1e6, 1e6));
  sub->add_option("--cy", cloud->cy, "principal point row; default the camera's")->check(numberBetween("--cy", -1e6, 1e6));
  sub->add_option("--encoding", cloud->encoding,
                  "depth sample format: 0 two, 1 four, 2 three fractional bits; default the camera's")
      ->check(CLI::Range(0, 2));
  sub->add_flag("--clip", cloud->clip, "drop samples at the format's cut-off");
}

void addForce(CLI::App* sub, CommandLine* out) {
  sub->add_flag("--force,-f", out->force, "overwrite an existing file");
}

std::vector<uint32_t> typesOf(const std::vector<std::string>& names) {
  std::vector<uint32_t> types;
  for (const std::string& name : names) {
    uint32_t type = 0;
    parseStreamType(name, &type);
    if (std::find(types.begin(), types.end(), type) == types.end()) types.push_back(type);
  }
  return types;
}

// Positional words of a command that takes [ADDRESS] and files: an address
// is recognised by its form, so `record out.rec` and `record usb://sim/1
// out.rec` both work. Returns an error text, empty when fine.
std::string splitPositionals(const std::vector<std::string>& words, size_t maxFiles, CommandLine* out,
                             std::vector<std::string>* files) {
  for (const std::string& word : words) {
    if (looksLikeAddress(word) && files->empty() && out->camera.empty()) {
      out->camera = word;
    } else {
      files->push_back(word);
    }
  }
  if (files->size() > maxFiles) return "too many arguments: '" + files->back() + "'";
  return std::string();
}

std::string parseRange(const std::string& text, CommandLine* out) {
  const size_t colon = text.find(':');
  auto number = [](const std::string& part, uint32_t* value) {
    if (part.empty() || part.size() > 10 || part.find_first_not_of("0123456789") != std::string::npos) return false;
    const unsigned long long v = std::stoull(part);
    if (v > 0xffffffffull) return false;
    *value = static_cast<uint32_t>(v);
    return true;
  };
  if (colon == std::string::npos || !number(text.substr(0, colon), &out->firstIndex) ||
      !number(text.substr(colon + 1), &out->lastIndex) || out->firstIndex > out->lastIndex) {
    return "--range must be A:B with frame indices A <= B (not '" + text + "')";
  }
  return std::string();
}

}  // namespace

bool looksLikeAddress(const std::string& text) {
  return text.find("://") != std::string::npos || text.rfind("/dev/video", 0) == 0;
}

const char* programVersion() {
#ifdef SARVIK_VERSION
  return SARVIK_VERSION;
#else
  return "0.1.0";
#endif
}

ParseOutcome parseCommandLine(int argc, const char* const* argv, CommandLine* out,
                              const std::vector<std::string>& externals) {
  CLI::App app("Lists, streams, records and converts with the depth-camera SDK.", "sarvik");
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.set_version_flag("--version", std::string("sarvik ") + programVersion());
  app.add_option("--module", out->modulePath,
                 "SDK module to load; default $SARVIK_MODULE, else libSarvikCommonDriver.so in ../lib or "
                 "../lib/sarvik beside the program");
  app.add_flag("-v,--verbose", out->verbosity,
               "show the module's milestones too (-v), and its tracing (-vv); by default only its warnings "
               "and errors, on standard error");
  app.add_option("--log-file", out->logFile, "write the module's log to this file instead of standard error");
  std::string footer =
      "Exit status: 0 success, 1 failure (one line on standard error says why), 2 bad usage.\n"
      "A command NAME that is not built in runs the program sarvik-NAME from the folder of sarvik, "
      "else from PATH.";
  if (!externals.empty()) {
    footer += "\nMore commands found:";
    for (const std::string& name : externals) footer += " " + name;
  }
  app.footer(footer);

  CLI::App* devices = app.add_subcommand("devices", "list cameras and video nodes (the default)");
  devices->add_flag("--json", out->json, "one JSON document instead of the table");

  std::vector<std::string> infoWords;
  CLI::App* info = app.add_subcommand("info", "frame modes, intrinsics and properties of one camera");
  info->add_option("ADDRESS", infoWords, "camera address (as -c)");
  addCameraOptions(info, out, false);
  info->add_flag("--json", out->json, "one JSON document instead of text");

  std::vector<std::string> streamTypes, streamWords;
  CLI::App* stream = app.add_subcommand("stream", "show frame rates, drops and latency of live streams");
  stream->add_option("ADDRESS", streamWords, "camera address (as -c)");
  addCameraOptions(stream, out, true);
  addTypeOption(stream, &streamTypes);
  addSecondsOption(stream, &out->seconds, "--seconds,-s");
  stream->add_flag("--callback", out->callback, "take frames by callback instead of a reader thread");

  CLI::App* watch = app.add_subcommand("watch", "print device-state events as they come");
  addSecondsOption(watch, &out->seconds, "--seconds,-s");

  std::vector<std::string> recordTypes, recordWords;
  CLI::App* record = app.add_subcommand("record", "record streams into a file: record [ADDRESS] FILE");
  record->add_option("ADDRESS FILE", recordWords, "camera address (as -c), then the record file to write")
      ->required();
  addCameraOptions(record, out, true);
  addTypeOption(record, &recordTypes);
  addSecondsOption(record, &out->seconds, "--seconds,--max-seconds,-s");
  record->add_option("--max-size", out->maxBytes,
                     "stop before the file grows past this size: bytes, or with a unit (500MB, 2GiB)")
      ->transform(CLI::AsSizeValue(false));
  addForce(record, out);

  CLI::App* inspect = app.add_subcommand("inspect", "what a record file holds; exit 1 if it is damaged or not one");
  inspect->add_option("FILE", out->file, "record file")->required();
  inspect->add_flag("--json", out->json, "one JSON document instead of text");

  std::string exportType, exportRange;
  int64_t exportIndex = -1;
  CLI::App* exportCmd = app.add_subcommand(
      "export", "write recorded frames by OUT's extension: colour png/bmp, depth png (16-bit) or ply (cloud), "
                "infrared png/pgm, any raw");
  exportCmd->add_option("FILE", out->file, "record file")->required();
  exportCmd->add_option("OUT", out->output,
                        "file to write; with several frames each gets -INDEX before the extension")
      ->required();
  exportCmd->add_option("--type,-t", exportType, std::string("stream type: ") + kTypeHelp)
      ->required()
      ->check(streamTypeValidator());
  CLI::Option* indexOption =
      exportCmd->add_option("--index,-i", exportIndex, "frameIndex of the one frame to write")
          ->check(CLI::Range(static_cast<int64_t>(0), static_cast<int64_t>(0xffffffffll)));
  CLI::Option* rangeOption = exportCmd->add_option("--range", exportRange, "frames A to B by frameIndex, both included");
  CLI::Option* allOption = exportCmd->add_flag("--all", out->allFrames, "every frame of the type");
  indexOption->excludes(rangeOption)->excludes(allOption);
  rangeOption->excludes(allOption);
  addCloudOptions(exportCmd, &out->cloud);
  addForce(exportCmd, out);

  std::vector<std::string> snapshotWords;
  CLI::App* snapshot = app.add_subcommand(
      "snapshot", "save one colour frame: snapshot [ADDRESS] [FILE]; PNG, or BMP for a .bmp name");
  snapshot->add_option("ADDRESS FILE", snapshotWords,
                       "camera address (as -c); file to write, default snapshot-DATE-TIME-MS.png here");
  addCameraOptions(snapshot, out, true);
  snapshot->add_option("--format", out->imageFormat, "format when no FILE is named")
      ->check(CLI::IsMember({"png", "bmp"}));
  addForce(snapshot, out);

  std::vector<std::string> cloudWords;
  CLI::App* cloud =
      app.add_subcommand("cloud", "grab one depth frame and write it as a PLY point cloud: cloud [ADDRESS] OUT");
  cloud->add_option("ADDRESS OUT", cloudWords, "camera address (as -c), then the PLY file to write")->required();
  addCameraOptions(cloud, out, true);
  cloud->add_flag("--colour,--color", out->colour,
                  "colour each point by its depth through the module's colour bar (not by the colour camera)");
  addCloudOptions(cloud, &out->cloud);
  addForce(cloud, out);

  std::vector<std::string> playTypes;
  CLI::App* play = app.add_subcommand("play", "play a record file as a camera and show it as stream does");
  play->add_option("FILE", out->file, "record file to play")->required();
  play->add_option("--speed", out->speed, "0 as fast as possible, else 0.25 to 8 times real time")
      ->capture_default_str()
      ->check(CLI::Validator(
          [](std::string& text) {
            double v = std::strtod(text.c_str(), nullptr);
            return v == 0.0 || (v >= 0.25 && v <= 8.0) ? std::string() : "speed must be 0 or 0.25 to 8";
          },
          "0|0.25..8"));
  play->add_flag("--loop", out->loop, "start again at the end of the file");
  addTypeOption(play, &playTypes);
  addSecondsOption(play, &out->seconds, "--seconds,-s");

  ParseOutcome outcome;
  auto usage = [&](const std::string& text) {
    outcome.run = false;
    outcome.exitCode = 2;
    outcome.text = "sarvik: " + text + "\nRun with --help for more information.\n";
    return outcome;
  };
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    std::ostringstream text, errors;
    outcome.exitCode = app.exit(e, text, errors);
    outcome.text = text.str() + errors.str();
    // CLI11's codes run past 100; keep to the convention of 2 for misuse.
    if (outcome.exitCode != 0) outcome.exitCode = 2;
    return outcome;
  }

  const std::pair<CLI::App*, Command> table[] = {
      {devices, Command::kDevices}, {info, Command::kInfo},         {stream, Command::kStream},
      {watch, Command::kWatch},     {record, Command::kRecord},     {inspect, Command::kInspect},
      {exportCmd, Command::kExport}, {snapshot, Command::kSnapshot}, {cloud, Command::kCloud},
      {play, Command::kPlay}};
  out->command = Command::kDevices;
  for (const auto& entry : table) {
    if (entry.first->parsed()) out->command = entry.second;
  }

  std::vector<std::string> files;
  std::string problem;
  switch (out->command) {
    case Command::kInfo: problem = splitPositionals(infoWords, 0, out, &files); break;
    case Command::kStream: problem = splitPositionals(streamWords, 0, out, &files); break;
    case Command::kRecord:
      problem = splitPositionals(recordWords, 1, out, &files);
      if (problem.empty() && files.empty()) problem = "record needs a FILE to write";
      if (problem.empty()) out->file = files[0];
      break;
    case Command::kSnapshot:
      problem = splitPositionals(snapshotWords, 1, out, &files);
      if (problem.empty() && !files.empty()) out->file = files[0];
      break;
    case Command::kCloud:
      problem = splitPositionals(cloudWords, 1, out, &files);
      if (problem.empty() && files.empty()) problem = "cloud needs an OUT file to write";
      if (problem.empty()) out->output = files[0];
      break;
    case Command::kExport:
      parseStreamType(exportType, &out->exportType);
      if (!exportRange.empty()) {
        problem = parseRange(exportRange, out);
      } else if (exportIndex >= 0) {
        out->firstIndex = out->lastIndex = static_cast<uint32_t>(exportIndex);
      } else if (!out->allFrames) {
        problem = "export needs --index N, --range A:B or --all";
      }
      break;
    default: break;
  }
  if (!problem.empty()) return usage(problem);

  if (out->command == Command::kStream) out->types = typesOf(streamTypes);
  if (out->command == Command::kRecord) out->types = typesOf(recordTypes);
  if (out->command == Command::kPlay) out->types = typesOf(playTypes);
  if ((out->command == Command::kStream || out->command == Command::kRecord || out->command == Command::kPlay) &&
      out->types.empty()) {
    out->types.push_back(SARVIK_STREAM_DEPTH);
  }
  if (out->command == Command::kSnapshot) out->types = {SARVIK_STREAM_COLOR};
  if (out->command == Command::kCloud) out->types = {SARVIK_STREAM_DEPTH};
  for (const std::string& text : out->modes) {
    ModeRequest request;
    std::string error;
    if (!parseModeRequest(text, &request, &error)) return usage(error);
    if (request.type == 0) request.type = out->types.front();
    const std::string name = streamTypeName(request.type);
    if (std::find(out->types.begin(), out->types.end(), request.type) == out->types.end()) {
      return usage("--mode " + text + " is for " + name + ", which this command does not stream" +
                   (out->command == Command::kStream || out->command == Command::kRecord ? "; add --type " + name
                                                                                          : std::string()));
    }
    for (const ModeRequest& earlier : out->modeRequests) {
      if (earlier.type == request.type) return usage("--mode given twice for " + name);
    }
    out->modeRequests.push_back(request);
  }
  outcome.run = true;
  return outcome;
}

}  // namespace tools
}  // namespace sarvik
