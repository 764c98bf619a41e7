#include "listen_address.h"

namespace sarvik_viewer {

bool parseListenAddress(const std::string& text, std::string* host, int* port, std::string* error) {
  std::string hostPart = "127.0.0.1";
  std::string portPart = text;
  const size_t colon = text.rfind(':');
  if (colon != std::string::npos) {
    hostPart = text.substr(0, colon);
    portPart = text.substr(colon + 1);
    if (hostPart.size() >= 2 && hostPart.front() == '[' && hostPart.back() == ']') {
      hostPart = hostPart.substr(1, hostPart.size() - 2);
    } else if (hostPart.find(':') != std::string::npos) {
      *error = "write an IPv6 address in brackets: [::1]:8080";
      return false;
    }
    if (hostPart.empty()) hostPart = "127.0.0.1";
  }
  if (portPart.empty() || portPart.size() > 5 || portPart.find_first_not_of("0123456789") != std::string::npos ||
      std::stoi(portPart) > 65535) {
    *error = "\"" + text + "\" has no port from 0 to 65535 (HOST:PORT)";
    return false;
  }
  *host = hostPart;
  *port = std::stoi(portPart);
  return true;
}

bool isLoopbackHost(const std::string& host) {
  return host == "localhost" || host == "::1" || host.rfind("127.", 0) == 0;
}

}  // namespace sarvik_viewer
