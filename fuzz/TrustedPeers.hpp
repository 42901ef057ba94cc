#pragma once

#include <string>
#include <utility>
#include <vector>

#include "agent/spf/security/PublicKey.hpp"
#include "agent/spf/security/TrustedKeys.hpp"

namespace spf::fuzz {

inline agent::spf::security::KeyBytes keyOf(char letter) {
  agent::spf::security::KeyBytes key{};
  key.fill(static_cast<unsigned char>(letter));
  return key;
}

/// Two keys that are trusted. A fuzzer finds their letters in the corpus.
inline agent::spf::security::TrustedKeys trustedKeys() {
  return {
      {{"alice", agent::spf::security::PublicKey(keyOf('a'))}, {"bob", agent::spf::security::PublicKey(keyOf('b'))}},
      {},
      {}};
}

/// Returns whose name the peer is to get; empty if it is to be refused. Compares with complete requests, so that it has
/// nothing in common with what is tested.
inline std::string expectedUser(const std::vector<std::string>& request) {
  if (request.size() != 7) {
    return "";
  }
  for (const auto& [name, letter] : {std::make_pair("alice", 'a'), std::make_pair("bob", 'b')}) {
    const std::vector<std::string> good = {
        "1.0", request[1], request[2], request[3], request[4], "CURVE", std::string(32, letter)};
    if (request == good) {
      return name;
    }
  }
  return "";
}

}  // namespace spf::fuzz
