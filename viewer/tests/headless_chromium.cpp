#include "headless_chromium.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

namespace viewer_test {

std::string HeadlessChromium::browserPath() {
  const char* chosen = std::getenv("SARVIK_CHROMIUM");
  const std::string path = chosen != nullptr && chosen[0] != '\0' ? chosen : "/usr/bin/chromium";
  return access(path.c_str(), X_OK) == 0 ? path : std::string();
}

HeadlessChromium::~HeadlessChromium() {
  if (m_pid > 0) {
    // The browser and its helpers share the process group made at launch.
    kill(-m_pid, SIGTERM);
    for (int i = 0; i < 100; ++i) {
      if (waitpid(m_pid, nullptr, WNOHANG) == m_pid) {
        m_pid = -1;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (m_pid > 0) {
      kill(-m_pid, SIGKILL);
      waitpid(m_pid, nullptr, 0);
    }
  }
  if (m_toBrowser >= 0) close(m_toBrowser);
  if (m_fromBrowser >= 0) close(m_fromBrowser);
  if (!m_profile.empty()) std::system(("rm -rf '" + m_profile + "'").c_str());
}

bool HeadlessChromium::launch(int width, int height, std::string* error) {
  const std::string browser = browserPath();
  if (browser.empty()) {
    *error = "no chromium";
    return false;
  }
  char profile[] = "/tmp/sarvik-viewer-chromium-XXXXXX";
  if (mkdtemp(profile) == nullptr) {
    *error = "no profile folder";
    return false;
  }
  m_profile = profile;
  int commands[2], replies[2];
  if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(replies, O_CLOEXEC) != 0) {
    *error = "no pipes";
    return false;
  }
  const std::string size = "--window-size=" + std::to_string(width) + "," + std::to_string(height);
  const std::string profileArg = "--user-data-dir=" + m_profile;
  std::vector<std::string> args = {browser, "--headless", "--no-sandbox", "--disable-gpu",
                                   "--enable-unsafe-swiftshader", "--disable-quic",
                                   "--no-first-run", "--disable-background-networking", "--disable-component-update",
                                   "--disable-sync", "--disable-extensions", "--mute-audio",
                                   "--remote-debugging-pipe", size, profileArg, "about:blank"};
  m_pid = fork();
  if (m_pid == 0) {
    setpgid(0, 0);
    // fd 3 and 4 are the protocol's; dup2 clears close-on-exec on them.
    dup2(commands[0], 3);
    dup2(replies[1], 4);
    const int devnull = open("/dev/null", O_WRONLY);
    if (devnull >= 0 && std::getenv("SARVIK_CHROMIUM_LOG") == nullptr) {
      dup2(devnull, 1);
      dup2(devnull, 2);
    }
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    execv(browser.c_str(), argv.data());
    _exit(127);
  }
  close(commands[0]);
  close(replies[1]);
  m_toBrowser = commands[1];
  m_fromBrowser = replies[0];
  if (m_pid < 0) {
    *error = "fork failed";
    return false;
  }
  setpgid(m_pid, m_pid);  // also here, so the group exists whichever runs first
  nlohmann::json target = call("Target.createTarget", {{"url", "about:blank"}}, error, true, std::chrono::seconds(60));
  if (target.is_null()) return false;
  nlohmann::json attached = call("Target.attachToTarget", {{"targetId", target["targetId"]}, {"flatten", true}}, error, true);
  if (attached.is_null()) return false;
  m_session = attached["sessionId"].get<std::string>();
  return true;
}

bool HeadlessChromium::send(const nlohmann::json& message) {
  std::string text = message.dump();
  text.push_back('\0');
  size_t at = 0;
  while (at < text.size()) {
    const ssize_t wrote = write(m_toBrowser, text.data() + at, text.size() - at);
    if (wrote <= 0) return false;
    at += static_cast<size_t>(wrote);
  }
  return true;
}

bool HeadlessChromium::receive(nlohmann::json* message, std::chrono::steady_clock::time_point deadline) {
  for (;;) {
    const size_t end = m_pending.find('\0');
    if (end != std::string::npos) {
      *message = nlohmann::json::parse(m_pending.substr(0, end), nullptr, false);
      m_pending.erase(0, end + 1);
      return !message->is_discarded();
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd fd{m_fromBrowser, POLLIN, 0};
    if (poll(&fd, 1, static_cast<int>(std::min<long long>(left.count(), 1000))) < 0) return false;
    if ((fd.revents & (POLLIN | POLLHUP)) == 0) continue;
    char buffer[65536];
    const ssize_t got = read(m_fromBrowser, buffer, sizeof buffer);
    if (got <= 0) return false;
    m_pending.append(buffer, static_cast<size_t>(got));
  }
}

nlohmann::json HeadlessChromium::call(const std::string& method, const nlohmann::json& params, std::string* error,
                                      bool browser, std::chrono::milliseconds limit) {
  const int id = m_nextId++;
  nlohmann::json message = {{"id", id}, {"method", method}, {"params", params}};
  if (!browser) message["sessionId"] = m_session;
  if (!send(message)) {
    *error = "the browser is gone";
    return nullptr;
  }
  const auto deadline = std::chrono::steady_clock::now() + limit;
  nlohmann::json reply;
  while (receive(&reply, deadline)) {
    if (!reply.contains("id") || reply["id"] != id) continue;  // an event, or another reply
    if (reply.contains("error")) {
      *error = method + ": " + reply["error"].dump();
      return nullptr;
    }
    return reply.value("result", nlohmann::json::object());
  }
  *error = method + ": no reply";
  return nullptr;
}

nlohmann::json HeadlessChromium::evaluate(const std::string& expression, std::string* error) {
  nlohmann::json result =
      call("Runtime.evaluate", {{"expression", expression}, {"returnByValue", true}, {"awaitPromise", true}}, error);
  if (result.is_null()) return nullptr;
  if (result.contains("exceptionDetails")) {
    *error = result["exceptionDetails"].dump();
    return nullptr;
  }
  return result["result"].value("value", nlohmann::json());
}

bool HeadlessChromium::screenshot(std::vector<uint8_t>* png, std::string* error) {
  nlohmann::json result = call("Page.captureScreenshot", {{"format", "png"}}, error);
  if (result.is_null() || !result.contains("data")) return false;
  *png = decodeBase64(result["data"].get<std::string>());
  return !png->empty();
}

std::vector<uint8_t> decodeBase64(const std::string& text) {
  std::vector<uint8_t> out;
  out.reserve(text.size() * 3 / 4);
  uint32_t bits = 0;
  int count = 0;
  for (char c : text) {
    int value;
    if (c >= 'A' && c <= 'Z') value = c - 'A';
    else if (c >= 'a' && c <= 'z') value = c - 'a' + 26;
    else if (c >= '0' && c <= '9') value = c - '0' + 52;
    else if (c == '+') value = 62;
    else if (c == '/') value = 63;
    else continue;  // padding and line breaks
    bits = (bits << 6) | static_cast<uint32_t>(value);
    count += 6;
    if (count >= 8) {
      count -= 8;
      out.push_back(static_cast<uint8_t>((bits >> count) & 0xff));
    }
  }
  return out;
}

}  // namespace viewer_test
