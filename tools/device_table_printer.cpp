#include "tools/device_table_printer.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

namespace {

std::string fieldText(const char* field, size_t size) { return std::string(field, strnlen(field, size)); }

struct Row {
  std::string cells[5];
};

}  // namespace

std::string connectionTypeName(uint32_t connectionType) {
  const char* name = "?";
  switch (connectionType) {
    case SARVIK_CONNECTION_USB: name = "usb"; break;
    case SARVIK_CONNECTION_NET: name = "net"; break;
    case SARVIK_CONNECTION_NET2: name = "net2"; break;
    case SARVIK_CONNECTION_OTHER: name = "other"; break;
    default: break;
  }
  return std::string(name) + "(" + std::to_string(connectionType) + ")";
}

void printDeviceTable(std::FILE* out, const typedefSarvikDeviceInfo* records, uint32_t count) {
  std::fprintf(out, "devices: %u\n", count);
  if (count == 0) return;
  std::vector<Row> rows;
  rows.push_back(Row{{"URI", "CONNECTION", "VID:PID", "SERIAL", "NAME"}});
  for (uint32_t i = 0; i < count; ++i) {
    const typedefSarvikDeviceInfo& d = records[i];
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04x:%04x", d.vendorId, d.productId);
    rows.push_back(Row{{fieldText(d.uri, sizeof d.uri), connectionTypeName(d.ConnectionType), ids,
                        fieldText(d.serialNumber, sizeof d.serialNumber), fieldText(d.name, sizeof d.name)}});
  }
  size_t widths[5] = {0, 0, 0, 0, 0};
  for (const Row& row : rows) {
    for (int c = 0; c < 5; ++c) widths[c] = std::max(widths[c], row.cells[c].size());
  }
  for (const Row& row : rows) {
    std::fprintf(out, "  %-*s  %-*s  %-*s  %-*s  %s\n", static_cast<int>(widths[0]), row.cells[0].c_str(),
                 static_cast<int>(widths[1]), row.cells[1].c_str(), static_cast<int>(widths[2]),
                 row.cells[2].c_str(), static_cast<int>(widths[3]), row.cells[3].c_str(), row.cells[4].c_str());
  }
}

void printVideoNodes(std::FILE* out, const typedefSarvikVideoNodeInfo* nodes, uint32_t count) {
  if (nodes == nullptr) {
    std::fprintf(out, "video nodes: none (no USB transport bound)\n");
    return;
  }
  std::fprintf(out, "video nodes: %u\n", count);
  for (uint32_t i = 0; i < count; ++i) {
    std::fprintf(out, "  %-4u %s\n", nodes[i].nodeIndex, fieldText(nodes[i].path, sizeof nodes[i].path).c_str());
  }
}

int32_t printCurrentDevices(std::FILE* out, SarvikBaseContext* context) {
  typedefSarvikDeviceInfo* records = nullptr;
  uint32_t count = 0;
  const int32_t status = context->getDeviceList(&records, &count);
  if (status != 0) {
    reportFailure("listing the cameras", status);
    return status;
  }
  printDeviceTable(out, records, count);
  return 0;
}

}  // namespace tools
}  // namespace sarvik
