#include <stdexcept>
#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices {

namespace {

using AnyVector = std::vector<Any>;

/// Splits a key into its parts.
class KeyParts {
 public:
  explicit KeyParts(const std::string& key) : key_(key) {}

  bool hasNext() const { return next_ != std::string::npos; }

  std::string take() {
    const auto dot = key_.find('.', next_);
    auto part = key_.substr(next_, dot == std::string::npos ? dot : dot - next_);
    next_ = dot == std::string::npos ? dot : dot + 1;
    return part;
  }

  /// Returns whether the rest of the key is empty or a single dot.
  bool isAtFinalDot() const { return next_ == key_.size(); }

 private:
  const std::string& key_;
  std::string::size_type next_ = 0;
};

const Any& elementAt(const AnyVector& vector, const std::string& index) {
  const int number = std::stoi(index);
  return vector.at(number < 0 ? vector.size() + static_cast<std::size_t>(number) : static_cast<std::size_t>(number));
}

const Any& select(const Any& from, const std::string& name, const std::string& part) {
  if (const auto* map = any_cast<AnyMap>(&from)) {
    return map->at(part);
  }
  if (const auto* vector = any_cast<AnyVector>(&from)) {
    return elementAt(*vector, part);
  }
  throw std::invalid_argument("Unsupported Any type at '" + name + "' for dotted get");
}

const Any* findIn(const AnyMap& map, const std::string& key) {
  const auto found = map.find(key);
  return found == map.end() ? nullptr : &found->second;
}

const Any* findElement(const AnyVector& vector, const std::string& index) try {
  // A negative index cannot select the first element.
  return std::stoi(index) == -static_cast<long long>(vector.size()) ? nullptr : &elementAt(vector, index);
} catch (const std::logic_error&) {
  return nullptr;
}

}  // namespace

const AnyMap::mapped_type& AnyMap::AtCompoundKey(const key_type& key) const {
  KeyParts parts(key);
  std::string name = parts.take();
  const Any* value = &at(name);
  while (parts.hasNext()) {
    std::string part = parts.take();
    value = &select(*value, name, part);
    name = std::move(part);
  }
  return *value;
}

AnyMap::mapped_type AnyMap::AtCompoundKey(const key_type& key, mapped_type defaultValue) const noexcept {
  KeyParts parts(key);
  const Any* value = findIn(*this, parts.take());
  while (value && parts.hasNext()) {
    const auto part = parts.take();
    if (const auto* map = any_cast<AnyMap>(value)) {
      value = findIn(*map, part);
    } else if (const auto* vector = any_cast<AnyVector>(value)) {
      value = findElement(*vector, part);
      if (parts.hasNext() && parts.isAtFinalDot()) {
        break;  // a dot after the last index is ignored
      }
    } else {
      value = nullptr;
    }
  }
  return value ? *value : std::move(defaultValue);
}

}  // namespace cppmicroservices
