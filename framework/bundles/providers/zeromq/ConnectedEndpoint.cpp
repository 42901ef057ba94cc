#include "ConnectedEndpoint.hpp"

#include <cstring>
#include <utility>

#include "messages.hpp"

namespace spf::zeromq {

ConnectedEndpoint::~ConnectedEndpoint() {
  for (auto& [number, answer] : awaited_) {
    answer->fail("the connection was closed");
  }
}

void ConnectedEndpoint::onMessages() {
  while (auto frames = receiveMessage(socket())) {
    std::uint64_t number = 0;
    if (frames->size() != 3 || (*frames)[0].size() != sizeof(number)) {
      continue;
    }
    std::memcpy(&number, (*frames)[0].data(), sizeof(number));
    const auto awaited = awaited_.find(number);
    if (awaited == awaited_.end()) {
      continue;  // its time was over
    }
    const auto answer = std::move(awaited->second);
    awaited_.erase(awaited);
    if ((*frames)[1].to_string_view() == goodOutcome) {
      answer->succeed((*frames)[2].to_string());
    } else {
      answer->fail("the peer refuses: " + (*frames)[2].to_string());
    }
  }
}

void ConnectedEndpoint::ask(const std::string& request, std::shared_ptr<Answer> answer) {
  const std::uint64_t number = ++lastNumber_;
  awaited_.emplace(number, answer);
  std::vector<zmq::message_t> frames;
  frames.emplace_back(&number, sizeof(number));
  frames.emplace_back(request);
  if (!sendMessage(socket(), std::move(frames))) {
    awaited_.erase(number);
    answer->fail("the connection takes no more requests now");
  }
}

void ConnectedEndpoint::forget(const std::shared_ptr<Answer>& answer) {
  for (auto awaited = awaited_.begin(); awaited != awaited_.end();) {
    awaited = awaited->second == answer ? awaited_.erase(awaited) : std::next(awaited);
  }
}

}  // namespace spf::zeromq
