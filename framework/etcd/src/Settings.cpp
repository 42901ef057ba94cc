#include "agent/spf/etcd/Settings.hpp"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "validate.hpp"

namespace agent::spf::etcd {

namespace {

constexpr auto whiteSpace = " \t\r\n";
constexpr auto hostCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
constexpr auto addressCharacters = "0123456789abcdefABCDEF:.";
constexpr std::chrono::seconds longestTtl = std::chrono::hours(24);
constexpr int highestPort = 65535;

std::string trim(const std::string& text) {
  const auto begin = text.find_first_not_of(whiteSpace);
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(whiteSpace) - begin + 1);
}

bool isMadeOf(const std::string& text, const char* characters) {
  return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}

bool isPort(const std::string& text) {
  return isMadeOf(text, "0123456789") && text.size() <= 5 && std::stoi(text) > 0 && std::stoi(text) <= highestPort;
}

bool isHost(const std::string& text) {
  const bool isBracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
  return isBracketed ? isMadeOf(text.substr(1, text.size() - 2), addressCharacters) : isMadeOf(text, hostCharacters);
}

bool isUrl(const std::string& text) {
  for (const std::string scheme : {"http://", "https://"}) {
    if (text.compare(0, scheme.size(), scheme) == 0) {
      const auto authority = text.substr(scheme.size());
      const auto colon = authority.rfind(':');
      return colon != std::string::npos && isHost(authority.substr(0, colon)) && isPort(authority.substr(colon + 1));
    }
  }
  return false;
}

void validateUrl(const std::string& url) {
  if (!isUrl(url)) {
    throw std::invalid_argument("'" + url + "' is no URL of a member; expected http[s]://HOST:PORT");
  }
}

std::string readFile(const std::string& setting, const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  if (!file.is_open() || !(content << file.rdbuf())) {
    throw std::invalid_argument(setting + ": cannot read '" + path + "'");
  }
  return content.str();
}

void validateFile(const std::string& setting, const std::string& path) {
  if (!path.empty()) {
    static_cast<void>(readFile(setting, path));
  }
}

}  // namespace

std::vector<std::string> parseMembers(const std::string& list) {
  std::vector<std::string> members;
  for (std::size_t begin = 0; begin <= list.size();) {
    const auto comma = std::min(list.find(',', begin), list.size());
    members.push_back(trim(list.substr(begin, comma - begin)));
    validateUrl(members.back());
    begin = comma + 1;
  }
  return members;
}

void validate(const Settings& settings) {
  if (settings.members.empty()) {
    throw std::invalid_argument("members: expected at least one URL");
  }
  for (const auto& member : settings.members) {
    validateUrl(member);
  }
  if (settings.prefix.empty()) {
    throw std::invalid_argument("prefix: expected a text that is not empty");
  }
  if (settings.ttl.count() < 1 || settings.ttl > longestTtl) {
    throw std::invalid_argument("ttl: " + std::to_string(settings.ttl.count()) + " s; expected 1 s to " +
                                std::to_string(longestTtl.count()) + " s");
  }
  validateFile("caFile", settings.caFile);
  validateFile("certificateFile", settings.certificateFile);
  validateFile("keyFile", settings.keyFile);
  if (settings.certificateFile.empty() && !settings.keyFile.empty()) {
    throw std::invalid_argument("keyFile: expected a certificateFile, too");
  }
  if (settings.user.empty() != settings.passwordFile.empty()) {
    throw std::invalid_argument("user and passwordFile: expected both or neither");
  }
}

std::string readPassword(const Settings& settings) {
  if (settings.passwordFile.empty()) {
    return {};
  }
  auto password = readFile("passwordFile", settings.passwordFile);
  for (const char end : {'\n', '\r'}) {
    if (!password.empty() && password.back() == end) {
      password.pop_back();
    }
  }
  return password;
}

}  // namespace agent::spf::etcd
