// The device and video-node tables as the user sees them.
#ifndef SARVIK_TOOLS_DEVICE_TABLE_PRINTER_H
#define SARVIK_TOOLS_DEVICE_TABLE_PRINTER_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "sarvik/SarvikBaseContext.h"

namespace sarvik {
namespace tools {

// "usb", "net", "net2", "other" or "?", then the number: "usb(1)".
std::string connectionTypeName(uint32_t connectionType);

// A table with a header line and one line per record: uri, connection type,
// vendor:product in hex, serial, name. The module reads only the first two;
// the others are the plug-in's word to the application. Texts are cut at their field's end
// even if a plug-in left no NUL there.
void printDeviceTable(std::FILE* out, const typedefSarvikDeviceInfo* records, uint32_t count);
void printVideoNodes(std::FILE* out, const typedefSarvikVideoNodeInfo* nodes, uint32_t count);

// getDeviceList and the table; prints the failure instead. Returns the status.
int32_t printCurrentDevices(std::FILE* out, SarvikBaseContext* context);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_DEVICE_TABLE_PRINTER_H
