#include "file/endpointTexts.hpp"

#include <stdexcept>

#include "agent/spf/frameworksupport/Address.hpp"

namespace spfctl {

using agent::spf::frameworksupport::isWildcard;
using agent::spf::frameworksupport::parseAddress;
using agent::spf::frameworksupport::Scheme;

bool isDiscoveryName(const std::string& text) {
  return !text.empty() && text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-") ==
                              std::string::npos;
}

std::string whyNoPeer(const std::string& text) {
  try {
    const auto address = parseAddress(text);
    const bool isOfPeer = !isWildcard(address) && (address.scheme != Scheme::tcp || address.where != "*");
    return isOfPeer ? "" : "the address '" + text + "' is none of a peer; expected a host and a port";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

}  // namespace spfctl
