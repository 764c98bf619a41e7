#include <cstdio>

#include <nlohmann/json.hpp>

#include "tools/camera_facts.h"
#include "tools/commands.h"
#include "tools/device_table_printer.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

namespace {

int printJson(SarvikBaseContext* context) {
  typedefSarvikDeviceInfo* records = nullptr;
  uint32_t count = 0;
  int32_t status = context->getDeviceList(&records, &count);
  if (status != 0) return reportFailure("listing the cameras", status);
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t nodeCount = 0;
  status = context->getVideoNodeList(&nodes, &nodeCount);
  if (status != 0) return reportFailure("listing the video nodes", status);
  nlohmann::json document;
  document["cameras"] = nlohmann::json::array();
  for (uint32_t i = 0; records != nullptr && i < count; ++i) {
    const typedefSarvikDeviceInfo& r = records[i];
    document["cameras"].push_back({{"index", i},
                                   {"address", fieldText(r.uri, sizeof r.uri)},
                                   {"connection", connectionTypeName(r.ConnectionType)},
                                   {"vendor_id", static_cast<uint32_t>(r.vendorId)},
                                   {"product_id", static_cast<uint32_t>(r.productId)},
                                   {"serial", fieldText(r.serialNumber, sizeof r.serialNumber)},
                                   {"name", fieldText(r.name, sizeof r.name)}});
  }
  document["video_nodes"] = nlohmann::json::array();
  for (uint32_t i = 0; nodes != nullptr && i < nodeCount; ++i) {
    document["video_nodes"].push_back(
        {{"index", static_cast<uint32_t>(nodes[i].nodeIndex)}, {"path", fieldText(nodes[i].path, sizeof nodes[i].path)}});
  }
  // Plug-ins fill these texts; replacing bad UTF-8 keeps the document valid.
  std::printf("%s\n", document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
  return 0;
}

}  // namespace

int runDevices(const CommandLine& line) {
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  SarvikBaseContext* context = sdk.context();
  if (line.json) return finishSession(&sdk, printJson(context));
  if (printCurrentDevices(stdout, context) != 0) return finishSession(&sdk, 1);
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t count = 0;
  const int32_t status = context->getVideoNodeList(&nodes, &count);
  if (status != 0) return finishSession(&sdk, reportFailure("listing the video nodes", status));
  printVideoNodes(stdout, nodes, count);
  return finishSession(&sdk, 0);
}

}  // namespace tools
}  // namespace sarvik
