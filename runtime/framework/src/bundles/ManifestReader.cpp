#include "bundles/ManifestReader.h"

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

namespace cppmicroservices {

namespace {

constexpr std::size_t deepestNesting = 200;

using Array = std::vector<Any>;

AnyMap emptyMap() {
  return AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

/// Builds the manifest from the events of the parser, which are its methods.
class ManifestBuilder {
 public:
  AnyMap takeResult() {
    if (!rootIsObject_) {
      throw std::runtime_error("The Json root element must be an object.");
    }
    return std::move(root_);
  }

  bool null() { return true; }
  bool boolean(bool value) { return add(value); }
  bool number_integer(std::int64_t value) {
    const bool fits = value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
    return !fits || add(static_cast<int>(value));
  }
  bool number_unsigned(std::uint64_t value) {
    return value > std::uint64_t{std::numeric_limits<int>::max()} || add(static_cast<int>(value));
  }
  bool number_float(double value, const std::string&) { return add(value); }
  bool string(const std::string& value) { return add(value.substr(value.compare(0, 1, "%") == 0 ? 1 : 0)); }
  bool binary(const std::vector<std::uint8_t>&) { return true; }

  bool start_object(std::size_t) { return open(emptyMap()); }
  bool key(const std::string& name) {
    open_.back().key = name;
    return true;
  }
  bool end_object() { return close(); }
  bool start_array(std::size_t) { return open(Array()); }
  bool end_array() { return close(); }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) {
    throw std::runtime_error(error.what());
  }

 private:
  struct Level {
    std::variant<AnyMap, Array> container;
    std::string key;  // of the next entry, in a map
  };

  bool open(std::variant<AnyMap, Array> container) {
    if (open_.size() == deepestNesting) {
      throw std::runtime_error("nested deeper than " + std::to_string(deepestNesting) + " levels");
    }
    open_.push_back({std::move(container), std::string()});
    return true;
  }

  bool close() {
    auto container = std::move(open_.back().container);
    open_.pop_back();
    if (!open_.empty()) {
      return std::visit([this](auto& closed) { return add(std::move(closed)); }, container);
    }
    if (auto* const map = std::get_if<AnyMap>(&container)) {
      root_ = std::move(*map);
      rootIsObject_ = true;
    }
    return true;
  }

  bool add(Any value) {
    if (open_.empty()) {
      return true;  // a root that is no container; takeResult() refuses it
    }
    auto& level = open_.back();
    if (auto* const map = std::get_if<AnyMap>(&level.container)) {
      map->emplace(level.key, std::move(value));
    } else {
      std::get<Array>(level.container).push_back(std::move(value));
    }
    return true;
  }

  AnyMap root_ = emptyMap();
  bool rootIsObject_ = false;
  std::vector<Level> open_;
};

}  // namespace

AnyMap readManifest(const std::string& text) {
  ManifestBuilder builder;
  nlohmann::json::sax_parse(text, &builder);
  return builder.takeResult();
}

}  // namespace cppmicroservices
