#include "file/configurationSchema.hpp"

#include <nlohmann/json.hpp>

#include "file/configurationKeys.hpp"

namespace spfctl {

namespace {

using nlohmann::ordered_json;

ordered_json listOf(const char* definition) {
  return {{"type", "array"}, {"items", {{"$ref", std::string("#/definitions/") + definition}}}};
}

ordered_json schemaOf(ValueShape shape) {
  switch (shape) {
    case ValueShape::text:
      return {{"type", "string"}};
    case ValueShape::boolean:
      return {{"type", "boolean"}};
    case ValueShape::filter:
      return {{"type", "string"}};
    case ValueShape::tree:
      return {{"type", "object"}};
    case ValueShape::texts:
      return {{"type", "object"}, {"additionalProperties", {{"type", "string"}}}};
    case ValueShape::endpoints:
      return {{"type", "array"}, {"items", ordered_json::object()}};
    case ValueShape::serviceInterfaces:
      return listOf(serviceInterfaceObject.definition);
    case ValueShape::servicePublishers:
      return listOf(servicePublisherObject.definition);
    default:
      return listOf(serviceMappingObject.definition);
  }
}

ordered_json schemaOf(const ConfigurationObject& object) {
  ordered_json properties;
  ordered_json required = ordered_json::array();
  for (const auto& key : object.keys) {
    auto& schema = properties[key.name] = schemaOf(key.shape);
    schema["description"] = key.description;
    if (key.isRequired) {
      required.push_back(key.name);
    }
  }
  ordered_json schema{{"type", "object"}, {"additionalProperties", false}};
  if (!required.empty()) {
    schema["required"] = std::move(required);
  }
  schema["properties"] = std::move(properties);
  return schema;
}

}  // namespace

std::string configurationSchema() {
  ordered_json schema{{"$schema", "http://json-schema.org/draft-07/schema#"},
                      {"title", "Configuration of the SPF service framework"}};
  schema.update(schemaOf(configurationObject));
  for (const auto* const object : {&serviceInterfaceObject, &servicePublisherObject, &serviceMappingObject}) {
    schema["definitions"][object->definition] = schemaOf(*object);
  }
  return schema.dump(2) + '\n';
}

}  // namespace spfctl
