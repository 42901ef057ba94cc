#include "agent/spf/etcd/readSettings.hpp"

#include <charconv>
#include <stdexcept>

namespace agent::spf::etcd {

namespace {

constexpr auto members = "spf.discovery.etcd";
constexpr int longestTtl = 3600;

[[noreturn]] void refuse(const std::string& name, const std::string& value, const std::string& expected) {
  throw std::invalid_argument("framework property '" + name + "': '" + value + "'; expected " + expected);
}

std::chrono::seconds readTtl(const std::string& name, const std::string& text) {
  int seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size() || seconds < 1 || seconds > longestTtl) {
    refuse(name, text, "whole seconds from 1 to " + std::to_string(longestTtl));
  }
  return std::chrono::seconds(seconds);
}

std::string readPrefix(const std::string& name, const std::string& text) {
  if (text.empty() || text.front() != '/' || text.back() != '/') {
    refuse(name, text, "a text that begins and ends with '/'");
  }
  return text;
}

}  // namespace

std::optional<Settings> readSettings(const PropertyReader& property) {
  const auto list = property(members);
  if (!list) {
    return std::nullopt;
  }
  const auto name = [](const char* suffix) { return std::string(members) + suffix; };
  Settings settings;
  try {
    settings.members = parseMembers(*list);
  } catch (const std::invalid_argument& error) {
    throw std::invalid_argument("framework property '" + std::string(members) + "': " + error.what());
  }
  if (const auto ttl = property(name(".ttl"))) {
    settings.ttl = readTtl(name(".ttl"), *ttl);
  }
  if (const auto prefix = property(name(".prefix"))) {
    settings.prefix = readPrefix(name(".prefix"), *prefix);
  }
  settings.caFile = property(name(".ca")).value_or("");
  settings.certificateFile = property(name(".cert")).value_or("");
  settings.keyFile = property(name(".key")).value_or("");
  settings.user = property(name(".user")).value_or("");
  settings.passwordFile = property(name(".password_file")).value_or("");
  if (settings.certificateFile.empty() != settings.keyFile.empty()) {
    const bool isKeyMissing = settings.keyFile.empty();
    refuse(name(isKeyMissing ? ".key" : ".cert"), "",
           std::string("a file, since '") + name(isKeyMissing ? ".cert" : ".key") + "' is set");
  }
  if (settings.user.empty() != settings.passwordFile.empty()) {
    const bool isFileMissing = settings.passwordFile.empty();
    refuse(name(isFileMissing ? ".password_file" : ".user"), "",
           std::string("a value, since '") + name(isFileMissing ? ".user" : ".password_file") + "' is set");
  }
  return settings;
}

}  // namespace agent::spf::etcd
