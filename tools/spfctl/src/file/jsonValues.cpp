#include "file/jsonValues.hpp"

#include <charconv>
#include <cstdlib>
#include <vector>

#include <cppmicroservices/AnyMap.h>

namespace spfctl {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

Any toNumber(const std::string& text) {
  int whole = 0;
  const auto* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, whole);
  if (result.ec == std::errc() && result.ptr == end) {
    return Any(whole);
  }
  return Any(std::strtod(text.c_str(), nullptr));
}

Any toList(const JsonValue& value, Findings& findings) {
  std::vector<Any> list;
  list.reserve(value.elements.size());
  for (const auto& element : value.elements) {
    list.push_back(toAny(element, findings));
  }
  return Any(std::move(list));
}

Any toMap(const JsonValue& value, Findings& findings) {
  AnyMap map;
  for (const auto& member : value.members) {
    const auto [added, isNew] = map.emplace(member.key, toAny(member.value, findings));
    if (!isNew && added->first != member.key) {  // equal keys are the document's to refuse
      findings.error(member.offset, "the key '" + member.key + "' is given twice, as '" + added->first +
                                        "' before; expected keys that differ in more than case");
    }
  }
  return Any(std::move(map));
}

}  // namespace

Any toAny(const JsonValue& value, Findings& findings) {
  switch (value.kind) {
    case JsonValue::Kind::null:
      return Any();
    case JsonValue::Kind::boolean:
      return Any(value.text == "true");
    case JsonValue::Kind::number:
      return toNumber(value.text);
    case JsonValue::Kind::string:
      return Any(value.text);
    case JsonValue::Kind::array:
      return toList(value, findings);
    default:
      return toMap(value, findings);
  }
}

boost::property_tree::ptree toTree(const JsonValue& value) {
  boost::property_tree::ptree tree(value.text);
  // The tree has no move: each child is put in place empty, then swapped in.
  const auto append = [&tree](const std::string& key, const JsonValue& child) {
    auto converted = toTree(child);
    tree.push_back({key, {}})->second.swap(converted);
  };
  for (const auto& element : value.elements) {
    append("", element);
  }
  for (const auto& member : value.members) {
    append(member.key, member.value);
  }
  return tree;
}

}  // namespace spfctl
