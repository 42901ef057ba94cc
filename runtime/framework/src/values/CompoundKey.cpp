#include <stdexcept>
#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices {

namespace {

using AnyVector = std::vector<Any>;

/// The parts of a key, one after the other.
class KeyParts {
 public:
  explicit KeyParts(std::string const& key) : key_(key) {}

  bool hasNext() const { return next_ != std::string::npos; }

  std::string take() {
    auto const dot = key_.find('.', next_);
    auto part = key_.substr(next_, dot == std::string::npos ? dot : dot - next_);
    next_ = dot == std::string::npos ? dot : dot + 1;
    return part;
  }

  /// Whether nothing but a dot at the end of the key is left.
  bool isAtFinalDot() const { return next_ == key_.size(); }

 private:
  std::string const& key_;
  std::string::size_type next_ = 0;
};

Any const& elementAt(AnyVector const& vector, std::string const& index) {
  int const number = std::stoi(index);
  return vector.at(number < 0 ? vector.size() + static_cast<std::size_t>(number) : static_cast<std::size_t>(number));
}

Any const& select(Any const& from, std::string const& name, std::string const& part) {
  if (auto const* map = any_cast<AnyMap>(&from)) {
    return map->at(part);
  }
  if (auto const* vector = any_cast<AnyVector>(&from)) {
    return elementAt(*vector, part);
  }
  throw std::invalid_argument("Unsupported Any type at '" + name + "' for dotted get");
}

Any const* findIn(AnyMap const& map, std::string const& key) {
  auto const found = map.find(key);
  return found == map.end() ? nullptr : &found->second;
}

Any const* findElement(AnyVector const& vector, std::string const& index) try {
  // The first element cannot be counted from the end here.
  return std::stoi(index) == -static_cast<long long>(vector.size()) ? nullptr : &elementAt(vector, index);
} catch (std::logic_error const&) {
  return nullptr;
}

}  // namespace

AnyMap::mapped_type const& AnyMap::AtCompoundKey(key_type const& key) const {
  KeyParts parts(key);
  std::string name = parts.take();
  Any const* value = &at(name);
  while (parts.hasNext()) {
    std::string part = parts.take();
    value = &select(*value, name, part);
    name = std::move(part);
  }
  return *value;
}

AnyMap::mapped_type AnyMap::AtCompoundKey(key_type const& key, mapped_type defaultValue) const noexcept {
  KeyParts parts(key);
  Any const* value = findIn(*this, parts.take());
  while (value && parts.hasNext()) {
    auto const part = parts.take();
    if (auto const* map = any_cast<AnyMap>(value)) {
      value = findIn(*map, part);
    } else if (auto const* vector = any_cast<AnyVector>(value)) {
      value = findElement(*vector, part);
      if (parts.hasNext() && parts.isAtFinalDot()) {
        break;  // a dot behind an index is passed over
      }
    } else {
      value = nullptr;
    }
  }
  return value ? *value : std::move(defaultValue);
}

}  // namespace cppmicroservices
