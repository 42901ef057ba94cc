#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include <zmq.hpp>
#include "Bytes.hpp"
#include "Target.hpp"
#include "TrustedPeers.hpp"
#include "ZapHandler.hpp"

// The input is what reaches the handler of handshakes: messages of any frames, and refreshes of the trusted keys. Each
// is a byte; one of a message has the number of frames, and behind it stands each of them as a byte with its length and
// so many bytes.

namespace {

using spf::fuzz::Bytes;
using spf::fuzz::expectedUser;
using spf::fuzz::require;
using spf::fuzz::trustedKeys;
using spf::zeromq::Judgement;
using spf::zeromq::ZapHandler;
using Frames = std::vector<std::string>;

// Bits of the first byte.
constexpr std::uint8_t refreshes = 0x80;
constexpr std::uint8_t closed = 0x40;  ///< the endpoint is closed before the request is answered
constexpr std::uint8_t number = 0x1f;

/// The most frames that the handler reads of one message, besides the name of the connection.
constexpr std::size_t maxFrames = 15;

/// How many requests may wait.
constexpr std::size_t maxWaiting = 1000;

/// A handler, the socket through which ZeroMQ asks it, and the requests that wait for a reply.
class Handshakes {
 public:
  Handshakes() {
    asking_.set(zmq::sockopt::linger, 0);
    asking_.set(zmq::sockopt::sndhwm, 0);
    asking_.set(zmq::sockopt::rcvhwm, 0);
    asking_.connect("inproc://zeromq.zap.01");
  }

  void ask(Bytes& input, std::size_t frameCount) {
    Frames frames;
    for (std::size_t i = 0; i < frameCount; ++i) {
      frames.push_back(input.text(input.next()));
      asking_.send(zmq::buffer(frames.back()), i + 1 < frameCount ? zmq::send_flags::sndmore : zmq::send_flags::none);
    }
    const auto before = requested_;
    handler_.receive();
    const auto answers = replies();
    const bool answerable = frames.front().empty();
    if (answerable && waiting_.size() == maxWaiting) {
      require(answers.size() == 1 && answers[0].size() == 7 && answers[0][3] == "300", "who is too many comes later");
      return;
    }
    require(answers.empty(), "nothing is answered before a refresh");
    require(requested_ == before + (answerable ? 1 : 0), "a request asks for one refresh, and nothing else for any");
    if (answerable) {
      frames.resize(std::min(frames.size(), maxFrames));
      waiting_.push_back({requested_, Frames(frames.begin() + 1, frames.end())});
    }
  }

  void refresh(std::uint64_t until, bool admits) {
    Frames admitted;
    handler_.answer(until, trusted_, [&](const Judgement& judgement) {
      admitted.push_back(judgement.user);
      return admits;
    });
    const auto answers = replies();
    auto user = admitted.begin();
    for (const auto& answer : answers) {
      require(!waiting_.empty() && waiting_.front().refresh <= until, "only what waited for the refresh is answered");
      const Frames request = waiting_.front().frames;
      waiting_.pop_front();
      const auto expected = expectedUser(request);
      if (!expected.empty()) {
        require(user != admitted.end() && *user++ == expected, "a peer is admitted by the name of its key");
      }
      require(answer.size() == 7 && answer[0].empty() && answer[1] == "1.0", "a reply has an envelope and six frames");
      require(answer[2] == (request.size() > 1 ? request[1] : ""), "a reply repeats the request's ID");
      require((answer[3] == "200") == (admits && !expected.empty()), "only an admitted peer is let in");
      require(answer[5] == (admits ? expected : ""), "a reply names nobody else");
    }
    require(user == admitted.end(), "nobody else is admitted");
    require(waiting_.empty() || waiting_.front().refresh > until, "all that waited for the refresh is answered");
  }

  std::uint64_t requested() const { return requested_; }

 private:
  struct Waiting {
    std::uint64_t refresh;
    Frames frames;
  };

  std::vector<Frames> replies() {
    std::vector<Frames> found;
    zmq::message_t frame;
    while (asking_.recv(frame, zmq::recv_flags::dontwait)) {
      found.push_back({frame.to_string()});
      while (frame.more() && asking_.recv(frame)) {
        found.back().push_back(frame.to_string());
      }
    }
    return found;
  }

  zmq::context_t context_{0};
  std::uint64_t requested_ = 0;
  ZapHandler handler_{context_, [this] { return ++requested_; }};
  zmq::socket_t asking_{context_, zmq::socket_type::dealer};
  const agent::spf::security::TrustedKeys trusted_ = trustedKeys();
  std::deque<Waiting> waiting_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Handshakes handshakes;
  Bytes input(data, size);
  while (!input.empty()) {
    const auto first = input.next();
    if ((first & refreshes) == 0) {
      handshakes.ask(input, (first & number) + std::size_t{1});
    } else {
      const auto behind = std::min<std::uint64_t>(first & number, handshakes.requested());
      handshakes.refresh(handshakes.requested() - behind, (first & closed) == 0);
    }
  }
  handshakes.refresh(handshakes.requested(), true);
  return 0;
}
