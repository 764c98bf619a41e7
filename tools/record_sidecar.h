// The sidecar FILE.json written beside a recording (layout in
// sarvik/SarvikRecordFile.h): what the camera was, so that playing the file
// answers like it. Everything comes from the module's public calls; what a
// camera does not answer is left out.
#ifndef SARVIK_TOOLS_RECORD_SIDECAR_H
#define SARVIK_TOOLS_RECORD_SIDECAR_H

#include <cstdint>
#include <string>
#include <vector>

#include "sarvik/SarvikBaseContext.h"

namespace sarvik {
namespace tools {

// The sidecar's text for an open camera and the stream types recorded.
std::string describeRecordedCamera(SarvikBaseContext* context, Device* device, const std::string& address,
                                   const std::vector<uint32_t>& types);

// Writes recordFile + ".json"; a failure is one line on stderr and false,
// never a reason to stop recording.
bool writeRecordSidecar(SarvikBaseContext* context, Device* device, const std::string& address,
                        const std::string& recordFile, const std::vector<uint32_t>& types);

// "a\"b" -> "\"a\\\"b\"": a JSON string literal.
std::string jsonString(const std::string& text);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_RECORD_SIDECAR_H
