#include "JsonValue.hpp"

#include <cstddef>
#include <limits>
#include <utility>

#include <nlohmann/json.hpp>

namespace agent::spf::etcd {

using Json = nlohmann::json;

/// Makes a value of what the JSON library's parser reports. A function that returns false ends the parser.
class JsonValue::Builder : public nlohmann::json_sax<Json> {
 public:
  JsonValue take() { return std::move(root_); }

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(Json::number_integer_t value) override { return add(std::int64_t{value}); }
  bool number_unsigned(Json::number_unsigned_t value) override {
    const bool isSigned = value <= static_cast<Json::number_unsigned_t>(std::numeric_limits<std::int64_t>::max());
    return isSigned ? add(static_cast<std::int64_t>(value)) : add(static_cast<double>(value));
  }
  bool number_float(Json::number_float_t value, const std::string& /*text*/) override { return add(value); }
  bool string(std::string& value) override { return add(std::move(value)); }
  bool binary(Json::binary_t& /*value*/) override { return false; }
  bool start_object(std::size_t /*size*/) override { return open(Object()); }
  bool key(std::string& name) override {
    name_ = std::move(name);
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t /*size*/) override { return open(Array()); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t /*at*/, const std::string& /*token*/, const Json::exception& /*error*/) override {
    return false;
  }

 private:
  static constexpr std::size_t deepest = 64;

  bool add(Content content) {
    append(std::move(content));
    return true;
  }

  bool open(Content content) {
    if (open_.size() == deepest) {
      return false;
    }
    open_.push_back(append(std::move(content)));
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  // The open values do not move: nothing is added beside them before they are closed.
  JsonValue* append(Content content) {
    if (open_.empty()) {
      root_ = JsonValue(std::move(content));
      return &root_;
    }
    auto& parent = open_.back()->content_;
    if (auto* const array = std::get_if<Array>(&parent)) {
      array->emplace_back(std::move(content));
      return &array->back();
    }
    auto& object = std::get<Object>(parent);
    object.push_back({std::move(name_), JsonValue(std::move(content))});
    return &object.back().value;
  }

  JsonValue root_;
  std::vector<JsonValue*> open_;
  std::string name_;
};

JsonValue JsonValue::parse(const std::string& text) {
  Builder builder;
  return Json::sax_parse(text, &builder) ? builder.take() : JsonValue();
}

const JsonValue* JsonValue::find(const char* name) const noexcept {
  if (const auto* const object = get<Object>()) {
    for (const auto& member : *object) {
      if (member.name == name) {
        return member.value.get<std::nullptr_t>() == nullptr ? &member.value : nullptr;
      }
    }
  }
  return nullptr;
}

std::string quoteJson(const std::string& text) {
  return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace agent::spf::etcd
