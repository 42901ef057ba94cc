#include "agent/spf/security/PublicKey.hpp"

#include "keyText.hpp"

namespace agent::spf::security {

std::string PublicKey::text() const {
  KeyText text{};
  encodeKey(bytes_, text);
  return text.data();
}

}  // namespace agent::spf::security
