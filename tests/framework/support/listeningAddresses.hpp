#pragma once

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include <arpa/inet.h>

namespace frameworktest {

/// Returns the TCP addresses of IPv4 that sockets of this machine listen at.
/// \param prefix  what the addresses begin with, `tcp://` and a host
inline std::set<std::string> listeningAddresses(const std::string& prefix) {
  constexpr unsigned int listening = 0x0a;
  std::set<std::string> found;
  std::ifstream table("/proc/self/net/tcp");
  for (std::string line; std::getline(table, line);) {
    unsigned int host = 0;
    unsigned int port = 0;
    unsigned int state = 0;
    if (std::sscanf(line.c_str(), " %*d: %8X:%4X %*8X:%*4X %2X", &host, &port, &state) != 3 || state != listening) {
      continue;
    }
    char text[INET_ADDRSTRLEN] = {};
    const in_addr address{static_cast<in_addr_t>(host)};  // in the order of the network, as the kernel keeps it
    inet_ntop(AF_INET, &address, text, sizeof(text));
    const auto whole = "tcp://" + std::string(text) + ":" + std::to_string(port);
    if (whole.rfind(prefix, 0) == 0) {
      found.insert(whole);
    }
  }
  return found;
}

}  // namespace frameworktest
