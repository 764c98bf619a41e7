#include "tools/command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "sarvik/SarvikTypes.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

const char* const kTypeHelp = "depth, color, ir or lightir";

CLI::Validator streamTypeValidator() {
  return CLI::Validator(
      [](std::string& text) {
        uint32_t type = 0;
        return parseStreamType(text, &type) ? std::string() : "unknown stream type '" + text + "'";
      },
      "TYPE");
}

// --type may be given several times, one type each: `--type depth --type color`.
void addTypeOption(CLI::App* sub, std::vector<std::string>* names) {
  sub->add_option("--type", *names, std::string("stream to open: ") + kTypeHelp + "; repeat for more")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(streamTypeValidator());
}

void addSecondsOption(CLI::App* sub, double* seconds) {
  sub->add_option("--seconds", *seconds, "how long to run; 0 (the default) runs until Ctrl-C")
      ->check(CLI::NonNegativeNumber);
}

void addCloudOptions(CLI::App* sub, CloudOptions* cloud) {
  sub->add_option("--scale", cloud->scale, "divisor from decoded depth to the output unit")->capture_default_str();
  sub->add_option("--fx", cloud->fx, "focal length along columns, pixels")->capture_default_str();
  sub->add_option("--fy", cloud->fy, "focal length along rows, pixels")->capture_default_str();
  sub->add_option("--cx", cloud->cx, "principal point column")->capture_default_str();
  sub->add_option("--cy", cloud->cy, "principal point row")->capture_default_str();
  sub->add_option("--encoding", cloud->encoding, "depth format: 1 and 2 are 4 and 3 fractional bits, others 2")
      ->capture_default_str();
  sub->add_flag("--clip", cloud->clip, "drop samples at the format's cut-off");
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

}  // namespace

ParseOutcome parseCommandLine(int argc, const char* const* argv, CommandLine* out) {
  CLI::App app("Lists, streams, records and converts with the depth-camera SDK.", "sarvik");
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.add_option("--module", out->modulePath,
                 "SDK module to load; default $SARVIK_MODULE, else ../lib/libSarvikCommonDriver.so beside "
                 "the program");

  CLI::App* devices = app.add_subcommand("devices", "list cameras and video nodes (the default)");

  CLI::App* info = app.add_subcommand("info", "frame modes and properties of one camera");
  info->add_option("ADDRESS", out->address, "camera address, e.g. usb://sim/0")->required();

  std::vector<std::string> streamTypes;
  CLI::App* stream = app.add_subcommand("stream", "show frame rates, drops and latency of live streams");
  stream->add_option("ADDRESS", out->address, "camera address")->required();
  addTypeOption(stream, &streamTypes);
  addSecondsOption(stream, &out->seconds);
  stream->add_flag("--callback", out->callback, "take frames by callback instead of a reader thread");

  CLI::App* watch = app.add_subcommand("watch", "print device-state events as they come");
  addSecondsOption(watch, &out->seconds);

  std::vector<std::string> recordTypes;
  CLI::App* record = app.add_subcommand("record", "record streams into a file");
  record->add_option("ADDRESS", out->address, "camera address")->required();
  record->add_option("FILE", out->file, "record file to write")->required();
  addTypeOption(record, &recordTypes);
  addSecondsOption(record, &out->seconds);

  CLI::App* inspect = app.add_subcommand("inspect", "what a record file holds; exit 1 if it is damaged");
  inspect->add_option("FILE", out->file, "record file")->required();

  std::string exportType;
  CLI::App* exportCmd = app.add_subcommand("export", "write one recorded frame: color as BMP, depth as PLY, "
                                                     "others raw");
  exportCmd->add_option("FILE", out->file, "record file")->required();
  exportCmd->add_option("OUT", out->output, "file to write")->required();
  exportCmd->add_option("--index", out->index, "frameIndex of the frame in the file")->required();
  exportCmd->add_option("--type", exportType, std::string("stream type: ") + kTypeHelp + " or a number")
      ->required()
      ->check(streamTypeValidator());
  addCloudOptions(exportCmd, &out->cloud);

  CLI::App* snapshot = app.add_subcommand("snapshot", "save a color frame as a BMP through the module");
  snapshot->add_option("ADDRESS", out->address, "camera address")->required();
  snapshot->add_option("FILE", out->file, "BMP file; default a name from the local time");

  CLI::App* cloud = app.add_subcommand("cloud", "grab one depth frame and write it as a PLY point cloud");
  cloud->add_option("ADDRESS", out->address, "camera address")->required();
  cloud->add_option("OUT", out->output, "PLY file to write")->required();
  cloud->add_flag("--colour,--color", out->colour, "coloured cloud (the module's own intrinsics)");
  addCloudOptions(cloud, &out->cloud);

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
  addSecondsOption(play, &out->seconds);

  ParseOutcome outcome;
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
  if (out->command == Command::kStream) out->types = typesOf(streamTypes);
  if (out->command == Command::kRecord) out->types = typesOf(recordTypes);
  if (out->command == Command::kPlay) out->types = typesOf(playTypes);
  if ((out->command == Command::kStream || out->command == Command::kRecord || out->command == Command::kPlay) &&
      out->types.empty()) {
    out->types.push_back(SARVIK_STREAM_DEPTH);
  }
  if (out->command == Command::kExport) parseStreamType(exportType, &out->exportType);
  outcome.run = true;
  return outcome;
}

}  // namespace tools
}  // namespace sarvik
