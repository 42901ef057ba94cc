#include "agent/spf/security/SecretKey.hpp"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <zmq.h>
#include "Wiped.hpp"
#include "keyText.hpp"

namespace agent::spf::security {

namespace {

[[noreturn]] void refuse(const std::string& what) {
  throw std::runtime_error(what + ": " + zmq_strerror(errno) + "; expected a libzmq with CURVE");
}

PublicKey publicKeyOf(const KeyBytes& bytes) {
  Wiped<KeyText> secret;
  encodeKey(bytes, *secret);
  KeyText text{};
  if (zmq_curve_public(text.data(), secret->data()) != 0) {
    refuse("no public key can be derived");
  }
  KeyBytes key{};
  decodeKey(text, key);
  return PublicKey(key);
}

}  // namespace

void SecretKey::Wipe::operator()(KeyBytes* bytes) const noexcept {
  explicit_bzero(bytes->data(), bytes->size());
  delete bytes;
}

SecretKey::SecretKey(const KeyBytes& bytes) : bytes_(new KeyBytes(bytes)), publicKey_(publicKeyOf(bytes)) {}

SecretKey SecretKey::generate() {
  Wiped<KeyText> secret;
  KeyText text{};
  do {
    if (zmq_curve_keypair(text.data(), secret->data()) != 0) {
      refuse("no key can be made");
    }
  } while (isComment(text.front()) || isComment(secret->front()));
  Wiped<KeyBytes> bytes;
  decodeKey(*secret, *bytes);
  return SecretKey(*bytes);
}

}  // namespace agent::spf::security
