// The JSON the API answers with for the camera's records.
#ifndef SARVIK_VIEWER_API_JSON_H
#define SARVIK_VIEWER_API_JSON_H

#include <nlohmann/json.hpp>

#include "camera_session.h"

namespace sarvik_viewer {

// A fixed-size text field of a record, up to its first NUL or its end.
std::string recordText(const char* field, size_t size);
nlohmann::json deviceJson(const typedefSarvikDeviceInfo& info);
nlohmann::json modeJson(const SarvikModeRecord& mode, size_t index);
nlohmann::json propertyJson(const PropertyValue& property);
nlohmann::json streamJson(const StreamState& state);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_API_JSON_H
