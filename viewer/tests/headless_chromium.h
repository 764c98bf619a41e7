// Headless Chromium driven by its DevTools protocol over a pipe
// (--remote-debugging-pipe: commands on the browser's fd 3, replies on fd 4,
// each a JSON text ended by a NUL), so no debugging port is opened at all.
#ifndef SARVIK_VIEWER_TESTS_HEADLESS_CHROMIUM_H
#define SARVIK_VIEWER_TESTS_HEADLESS_CHROMIUM_H

#include <sys/types.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace viewer_test {

class HeadlessChromium {
 public:
  HeadlessChromium() = default;
  ~HeadlessChromium();
  HeadlessChromium(const HeadlessChromium&) = delete;
  HeadlessChromium& operator=(const HeadlessChromium&) = delete;

  // The browser to run: $SARVIK_CHROMIUM, else /usr/bin/chromium; empty if
  // none is there.
  static std::string browserPath();

  // Starts the browser with a fresh profile and opens one page; false with
  // *error when it does not come up.
  bool launch(int width, int height, std::string* error);
  // One command to the open page (or to the browser with `browser` set);
  // the reply's "result", or null with *error on an error reply, a dead
  // browser or no reply within `limit`.
  nlohmann::json call(const std::string& method, const nlohmann::json& params, std::string* error,
                      bool browser = false, std::chrono::milliseconds limit = std::chrono::seconds(30));
  // A script's value in the page (returnByValue); null on failure.
  nlohmann::json evaluate(const std::string& expression, std::string* error);
  // A PNG of the page.
  bool screenshot(std::vector<uint8_t>* png, std::string* error);

 private:
  bool send(const nlohmann::json& message);
  bool receive(nlohmann::json* message, std::chrono::steady_clock::time_point deadline);

  pid_t m_pid = -1;
  int m_toBrowser = -1;
  int m_fromBrowser = -1;
  int m_nextId = 1;
  std::string m_pending;
  std::string m_session;
  std::string m_profile;
};

std::vector<uint8_t> decodeBase64(const std::string& text);

}  // namespace viewer_test

#endif  // SARVIK_VIEWER_TESTS_HEADLESS_CHROMIUM_H
