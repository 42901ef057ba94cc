#include "file/endpointTexts.hpp"

#include <stdexcept>

#include "agent/spf/frameworksupport/Address.hpp"
#include "agent/spf/frameworksupport/keyNames.hpp"

namespace spfctl {

using agent::spf::frameworksupport::isWildcard;
using agent::spf::frameworksupport::parseAddress;
using agent::spf::frameworksupport::Scheme;
using agent::spf::frameworksupport::splitKey;

bool isDiscoveryName(const std::string& text) {
  return !text.empty() && text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-") ==
                              std::string::npos;
}

std::string whyNoPeer(const std::string& text) {
  try {
    const auto address = parseAddress(splitKey(text).address);
    const bool isOfPeer = !isWildcard(address) && (address.scheme != Scheme::tcp || address.where != "*");
    return isOfPeer ? "" : "the address '" + text + "' is none of a peer; expected a host and a port";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

}  // namespace spfctl
