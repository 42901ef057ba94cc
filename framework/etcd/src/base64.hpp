#pragma once

#include <string>

namespace agent::spf::etcd {

/// Returns the base64 text of bytes, padded.
std::string toBase64(const std::string& bytes);

/// Returns the bytes of a base64 text.
/// \throws std::runtime_error  if the text is not padded base64
std::string fromBase64(const std::string& text);

}  // namespace agent::spf::etcd
