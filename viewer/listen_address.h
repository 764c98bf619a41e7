// The --listen option: "HOST:PORT", ":PORT" or "PORT" (loopback), with
// "[v6]:PORT" for an IPv6 address.
#ifndef SARVIK_VIEWER_LISTEN_ADDRESS_H
#define SARVIK_VIEWER_LISTEN_ADDRESS_H

#include <string>

namespace sarvik_viewer {

// False with *error for text that is not an address and port 0 to 65535.
bool parseListenAddress(const std::string& text, std::string* host, int* port, std::string* error);
// Whether the host is one only this machine can reach.
bool isLoopbackHost(const std::string& host);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_LISTEN_ADDRESS_H
