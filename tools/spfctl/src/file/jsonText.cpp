#include "file/jsonText.hpp"

#include <nlohmann/json.hpp>

namespace spfctl {

namespace {

template <class Elements, class Append>
std::string joined(const Elements& elements, Append append) {
  std::string text;
  for (const auto& element : elements) {
    text += text.empty() ? "" : ",";
    append(text, element);
  }
  return text;
}

}  // namespace

std::string jsonText(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string jsonText(const JsonValue& value) {
  switch (value.kind) {
    case JsonValue::Kind::string:
      return jsonText(value.text);
    case JsonValue::Kind::array:
      return "[" +
             joined(value.elements, [](std::string& text, const JsonValue& element) { text += jsonText(element); }) +
             "]";
    case JsonValue::Kind::object:
      return "{" +
             joined(value.members,
                    [](std::string& text, const JsonValue::Member& member) {
                      text += jsonText(member.key) + ":" + jsonText(member.value);
                    }) +
             "}";
    default:
      return value.text;
  }
}

}  // namespace spfctl
