#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace agent::spf::etcd {

/// Cuts a stream of JSON values, one a line, into these values, however it was cut into pieces on its way.
class StreamSplitter {
 public:
  /// \param limit  of bytes of one value
  explicit StreamSplitter(std::size_t limit) : limit_(limit) {}

  /// Adds a piece.
  /// \return the values that it completes, without empty lines
  /// \throws std::runtime_error  if a value is longer than the limit; the stream is useless then
  std::vector<std::string> push(std::string_view piece);

 private:
  void append(std::string_view part);

  std::size_t limit_;
  std::string rest_;  // the beginning of a value
};

}  // namespace agent::spf::etcd
