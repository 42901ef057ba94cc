#include "cppmicroservices/ListenerToken.h"

#include <utility>

namespace cppmicroservices {

ListenerToken::ListenerToken() : id_(0) {}
ListenerToken::ListenerToken(ListenerTokenId id) : id_(id) {}
ListenerToken::ListenerToken(ListenerToken&& other) noexcept : id_(std::exchange(other.id_, 0)) {}

ListenerToken& ListenerToken::operator=(ListenerToken&& other) noexcept {
  id_ = std::exchange(other.id_, 0);
  return *this;
}

ListenerToken::operator bool() const {
  return id_ != 0;
}

}  // namespace cppmicroservices
