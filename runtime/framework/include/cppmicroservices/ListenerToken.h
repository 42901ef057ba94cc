#pragma once

#include <cstdint>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

namespace detail {
struct HandleAccess;
}

using ListenerTokenId = std::uint64_t;

/// Names one added listener, so that it can be removed. Move-only; a default constructed or moved-from token names none
/// and converts to false. Destroying a token removes nothing.
class US_Framework_EXPORT ListenerToken {
 public:
  ListenerToken();
  ListenerToken(const ListenerToken&) = delete;
  ListenerToken& operator=(const ListenerToken&) = delete;
  ListenerToken(ListenerToken&& other) noexcept;
  ListenerToken& operator=(ListenerToken&& other) noexcept;

  explicit operator bool() const;

 private:
  friend struct detail::HandleAccess;

  explicit ListenerToken(ListenerTokenId id);

  ListenerTokenId id_;
};

}  // namespace cppmicroservices
