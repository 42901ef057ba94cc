#include "publish/ptreeToAnyMap.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <utility>

#include <boost/property_tree/ptree.hpp>

#include "publish/propertyMap.hpp"

namespace agent::spf::frameworksetup {

namespace {

// The letter after the backslash for the bytes that have a short escape, or 0.
char shortEscape(char byte) {
  switch (byte) {
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    case '/':
    case '"':
    case '\\':
      return byte;
    default:
      return 0;
  }
}

constexpr auto escapedBytes() {
  std::array<bool, 256> escaped{};
  for (std::size_t code = 0; code < 0x20; ++code) {
    escaped[code] = true;
  }
  for (const char byte : {'/', '"', '\\'}) {
    escaped[static_cast<unsigned char>(byte)] = true;
  }
  return escaped;
}

// A look-up in a table costs the same for every byte, and less than comparisons.
bool needsEscape(char byte) {
  static constexpr auto escaped = escapedBytes();
  return escaped[static_cast<unsigned char>(byte)];
}

std::string escapeKey(const std::string& key) {
  static constexpr char digits[] = "0123456789ABCDEF";
  const auto firstEscape = std::find_if(key.begin(), key.end(), needsEscape);
  if (firstEscape == key.end()) {
    return key;
  }
  std::string escaped(key.begin(), firstEscape);
  std::for_each(firstEscape, key.end(), [&](char byte) {
    const auto code = static_cast<unsigned char>(byte);
    if (const char letter = shortEscape(byte)) {
      escaped += '\\';
      escaped += letter;
    } else if (code < 0x20) {
      escaped += "\\u00";
      escaped += digits[code >> 4];
      escaped += digits[code & 0xF];
    } else {
      escaped += byte;
    }
  });
  return escaped;
}

cppmicroservices::Any toAny(const boost::property_tree::ptree& tree) {
  if (tree.data().empty() && !tree.empty()) {
    return cppmicroservices::Any(ptreeToAnyMap(tree));
  }
  return cppmicroservices::Any(tree.data());
}

}  // namespace

// Has its memory at once: growing would cost as much as all the rest.
cppmicroservices::AnyMap ptreeToAnyMap(const boost::property_tree::ptree& tree) {
  cppmicroservices::AnyMap::unordered_any_cimap map(tree.size());
  for (const auto& child : tree) {
    setProperty(map, escapeKey(child.first), toAny(child.second));
  }
  return cppmicroservices::AnyMap(std::move(map));
}

}  // namespace agent::spf::frameworksetup
