#include "LocalAddress.hpp"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>

namespace spf::zeromq {

LocalAddress toLocalAddress(const std::string& path) {
  LocalAddress local;
  if (path.size() >= sizeof(local.address.sun_path)) {
    throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
  }
  local.address.sun_family = AF_UNIX;
  std::memcpy(local.address.sun_path, path.data(), path.size());
  if (isFile(path)) {
    local.size = sizeof(local.address);
  } else {
    local.address.sun_path[0] = '\0';
    local.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  }
  return local;
}

}  // namespace spf::zeromq
