#include "judgeHandshake.hpp"

#include <algorithm>
#include <utility>

namespace spf::zeromq {

using agent::spf::security::KeyBytes;
using agent::spf::security::PublicKey;
using agent::spf::security::TrustedKeys;

namespace {

constexpr auto version = "1.0";
constexpr auto mechanism = "CURVE";

/// The positions of a request's frames.
enum Frame {
  versionFrame,
  requestIDFrame,
  domainFrame,
  addressFrame,
  identityFrame,
  mechanismFrame,
  keyFrame,
  frameCount
};

std::string frameOf(const std::vector<std::string>& request, Frame frame) {
  return frame < request.size() ? request[frame] : "";
}

}  // namespace

std::vector<std::string> Judgement::frames() const {
  return {version, requestID, std::to_string(status), text, user, ""};
}

Judgement refuse(Judgement judgement, int status, const std::string& text) {
  judgement.status = status;
  judgement.text = text;
  judgement.user.clear();
  judgement.key.reset();
  return judgement;
}

Judgement judgeHandshake(const std::vector<std::string>& request, const TrustedKeys& trusted) {
  Judgement judgement;
  judgement.requestID = frameOf(request, requestIDFrame);
  judgement.domain = frameOf(request, domainFrame);
  if (request.size() != frameCount || request[versionFrame] != version) {
    return refuse(std::move(judgement), requestRefused, "expected a request of version 1.0 with one key");
  }
  KeyBytes bytes{};
  if (request[mechanismFrame] != mechanism || request[keyFrame].size() != bytes.size()) {
    return refuse(std::move(judgement), keyUnknown, "expected a CURVE key");
  }
  std::copy(request[keyFrame].begin(), request[keyFrame].end(), bytes.begin());
  const PublicKey key(bytes);
  const std::string* name = trusted.nameOf(key);
  if (name == nullptr) {
    return refuse(std::move(judgement), keyUnknown, "key unknown");
  }
  judgement.status = peerAccepted;
  judgement.text = "key trusted";
  judgement.user = *name;
  judgement.key = key;
  return judgement;
}

}  // namespace spf::zeromq
