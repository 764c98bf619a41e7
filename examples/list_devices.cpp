// list_devices: every camera the transport plug-ins report, and the video
// nodes of the USB transport.
//
//   list_devices
#include <cstdio>

#include "example_context.h"

int main() {
  ExampleContext context;
  if (!context.start()) return 1;
  SarvikBaseContext* sdk = context.sdk();

  typedefSarvikDeviceInfo* devices = nullptr;
  uint32_t count = 0;
  if (!check("getDeviceList", sdk->getDeviceList(&devices, &count))) return 1;
  std::printf("%u camera(s)\n", count);
  for (uint32_t i = 0; i < count; ++i) {
    const typedefSarvikDeviceInfo& d = devices[i];
    std::printf("  %u  %-24s %-28s serial %-14s %04x:%04x\n", i, d.uri, d.name, d.serialNumber, d.vendorId,
                d.productId);
  }

  typedefSarvikVideoNodeInfo* nodes = nullptr;
  if (!check("getVideoNodeList", sdk->getVideoNodeList(&nodes, &count))) return 1;
  std::printf("%u video node(s)\n", count);
  for (uint32_t i = 0; i < count; ++i) std::printf("  %u  %s\n", nodes[i].nodeIndex, nodes[i].path);
  return 0;
}
