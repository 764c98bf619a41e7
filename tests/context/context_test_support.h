// What the context tests share: a fixture with the usual set-up steps, and
// searches over a fake plug-in's call log and the memory log.
#ifndef SARVIK_TESTS_CONTEXT_CONTEXT_TEST_SUPPORT_H
#define SARVIK_TESTS_CONTEXT_CONTEXT_TEST_SUPPORT_H

#include <algorithm>
#include <string>
#include <vector>

#include "support/module_fixture.h"

namespace sarvik_test {

constexpr uint32_t kErrNotInitialized = 0x80300101;
constexpr uint32_t kErrInvalidDevice = 0x80300102;
constexpr uint32_t kErrBadArgument = 0x80300206;
constexpr uint32_t kErrBadAddress = 0x80300208;

inline size_t countOf(const std::vector<std::string>& calls, const std::string& text) {
  return static_cast<size_t>(std::count(calls.begin(), calls.end(), text));
}

inline bool has(const std::vector<std::string>& calls, const std::string& text) {
  return countOf(calls, text) > 0;
}

// Position of the first `text` at or after `from`; -1 when there is none.
inline long indexOf(const std::vector<std::string>& calls, const std::string& text, size_t from = 0) {
  for (size_t i = from; i < calls.size(); ++i) {
    if (calls[i] == text) return static_cast<long>(i);
  }
  return -1;
}

inline size_t countStartingWith(const std::vector<std::string>& calls, const std::string& prefix) {
  return static_cast<size_t>(std::count_if(calls.begin(), calls.end(), [&](const std::string& call) {
    return call.compare(0, prefix.size(), prefix) == 0;
  }));
}

// `count` records named prefix0, prefix1, ... with one connection type.
inline std::vector<typedefSarvikDeviceInfo> deviceRecords(const std::string& prefix, uint32_t count,
                                                          uint32_t connectionType) {
  std::vector<typedefSarvikDeviceInfo> records;
  for (uint32_t i = 0; i < count; ++i) {
    records.push_back(makeDeviceRecord((prefix + std::to_string(i)).c_str(), connectionType));
  }
  return records;
}

class ContextTest : public ModuleFixture {
 protected:
  // Loads the module with both fake plug-ins, gives the UVC one `uvcDevices`
  // and the net one `netDevices`, and initialises.
  void start(const std::vector<typedefSarvikDeviceInfo>& uvcDevices,
             const std::vector<typedefSarvikDeviceInfo>& netDevices = {}) {
    load();
    uvc().setDevices(uvcDevices);
    net().setDevices(netDevices);
    ASSERT_EQ(0, ctx()->initialize());
  }

  sarvik::Device* open(const char* uri) {
    sarvik::Device* device = nullptr;
    EXPECT_EQ(0, ctx()->openDevice(uri, &device)) << uri;
    EXPECT_NE(nullptr, device) << uri;
    return device;
  }

  uint32_t deviceCount() {
    typedefSarvikDeviceInfo* list = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(0, ctx()->getDeviceList(&list, &count));
    return count;
  }

  bool logged(int32_t level, const std::string& text) { return log().contains(level, text); }
  size_t loggedCount(int32_t level, const std::string& text) { return log().count(level, text); }
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_CONTEXT_CONTEXT_TEST_SUPPORT_H
