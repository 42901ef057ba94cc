#include <algorithm>
#include <string>
#include <vector>

#include "Target.hpp"
#include "TrustedPeers.hpp"
#include "judgeHandshake.hpp"

// The input is a request to judge a handshake: frames, each of them a byte with its length and so many bytes.

namespace {

using agent::spf::security::TrustedKeys;
using spf::fuzz::expectedUser;
using spf::fuzz::require;
using spf::fuzz::trustedKeys;
using spf::zeromq::judgeHandshake;
using spf::zeromq::Judgement;

std::vector<std::string> framesIn(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> frames;
  while (size > 0) {
    const std::size_t length = std::min<std::size_t>(*data, size - 1);
    frames.emplace_back(reinterpret_cast<const char*>(data) + 1, length);
    data += 1 + length;
    size -= 1 + length;
  }
  return frames;
}

void checkReply(const Judgement& judgement, const std::vector<std::string>& request) {
  const std::string user = expectedUser(request);
  require((judgement.status == spf::zeromq::peerAccepted) == !user.empty(), "only who proves a trusted key is let in");
  require(judgement.user == user, "a peer gets the name of its key");
  require(judgement.key.has_value() == !user.empty(), "a refused peer leaves no key behind");
  const auto frames = judgement.frames();
  require(frames.size() == 6 && frames[0] == "1.0", "a reply has six frames");
  require(frames[1] == (request.size() > 1 ? request[1] : ""), "a reply repeats the request's ID");
  require(frames[2].size() == 3 && frames[2].find_first_not_of("0123456789") == std::string::npos,
          "a status has three digits");
  require(frames[4] == user && frames[5].empty(), "a reply names nobody else");
}

void checkRefusal(const Judgement& judgement) {
  const Judgement refused = refuse(judgement, spf::zeromq::tryAgainLater, "later");
  require(refused.requestID == judgement.requestID && refused.domain == judgement.domain,
          "a refusal answers the same request");
  require(refused.user.empty() && !refused.key, "a refusal lets nobody in");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TrustedKeys trusted = trustedKeys();
  const auto request = framesIn(data, size);
  const Judgement judgement = judgeHandshake(request, trusted);
  checkReply(judgement, request);
  checkRefusal(judgement);
  require(judgeHandshake(request, {}).user.empty(), "where no key is trusted, nobody is let in");
  return 0;
}
