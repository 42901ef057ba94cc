#include "StreamSplitter.hpp"

#include <stdexcept>
#include <utility>

namespace agent::spf::etcd {

std::vector<std::string> StreamSplitter::push(std::string_view piece) {
  std::vector<std::string> values;
  for (auto end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
    append(piece.substr(0, end));
    piece.remove_prefix(end + 1);
    if (!rest_.empty()) {
      values.push_back(std::exchange(rest_, {}));
    }
  }
  append(piece);
  return values;
}

void StreamSplitter::append(std::string_view part) {
  if (part.size() > limit_ - rest_.size()) {
    throw std::runtime_error("a message of more than " + std::to_string(limit_) + " bytes");
  }
  rest_ += part;
}

}  // namespace agent::spf::etcd
