#include <cstdio>

#include "tools/commands.h"
#include "tools/device_table_printer.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

int runDevices(const CommandLine& line) {
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  SarvikBaseContext* context = sdk.context();
  if (printCurrentDevices(stdout, context) != 0) return finishSession(&sdk, 1);
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t count = 0;
  const int32_t status = context->getVideoNodeList(&nodes, &count);
  if (status != 0) return finishSession(&sdk, reportFailure("getVideoNodeList()", status));
  printVideoNodes(stdout, nodes, count);
  return finishSession(&sdk, 0);
}

}  // namespace tools
}  // namespace sarvik
