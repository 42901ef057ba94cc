#include "protection.hpp"

#include <array>
#include <cstdio>

#include <unistd.h>

namespace agent::spf::security {

std::string octal(mode_t mode) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode & 07777));
  return text.data();
}

// The owner of a file may change it whatever its mode is. In a sticky folder others can still add files.
std::optional<std::string> whyUnprotected(const struct stat& status, mode_t expectedMode, const std::string& what) {
  const auto user = geteuid();
  if (status.st_uid != user && status.st_uid != 0) {
    return "belongs to user " + std::to_string(status.st_uid) + "; expected user " + std::to_string(user) +
           (user == 0 ? "" : " or 0");
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return "has the permissions " + octal(status.st_mode) + "; expected " + octal(expectedMode) +
           ", since only its owner may write " + what;
  }
  return std::nullopt;
}

}  // namespace agent::spf::security
