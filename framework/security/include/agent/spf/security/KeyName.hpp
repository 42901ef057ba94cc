#pragma once

#include <string>

#include "agent/spf/frameworksupport/keyNames.hpp"

namespace agent::spf::security {

using frameworksupport::expectedKeyName;
using frameworksupport::isKeyName;

/// The name that the owner of a key goes by. Only of such a name the path of a file is made.
class KeyName {
 public:
  /// \throws std::invalid_argument  if the text is no name of a key
  explicit KeyName(std::string text);

  const std::string& text() const noexcept { return text_; }

 private:
  std::string text_;
};

}  // namespace agent::spf::security
