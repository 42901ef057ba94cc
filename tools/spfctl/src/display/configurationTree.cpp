#include "display/configurationTree.hpp"

#include <set>
#include <utility>
#include <vector>

#include "display/terminalText.hpp"
#include "file/anyJson.hpp"

namespace spfctl {

namespace {

// A line with the lines below it.
struct Node {
  std::string text;
  std::vector<Node> children;
};

void draw(const Node& node, const std::string& indent, std::string& drawing) {
  for (const auto& child : node.children) {
    const bool isLast = &child == &node.children.back();
    drawing += indent + (isLast ? "\u2514\u2500 " : "\u251c\u2500 ") + escaped(child.text) + '\n';
    draw(child, indent + (isLast ? "   " : "\u2502  "), drawing);
  }
}

Node propertyNode(const std::string& key, const boost::property_tree::ptree& tree) {
  const auto name = key.empty() ? std::string("-") : key;
  Node node{tree.empty() ? name + " = " + tree.data() : name, {}};
  for (const auto& [childKey, child] : tree) {
    node.children.push_back(propertyNode(childKey, child));
  }
  return node;
}

Node interfaceNode(const ConfigurationDescription::ServiceInterface& serviceInterface) {
  const auto& record = serviceInterface.record;
  Node node{
      record.uniqueID + ": " + record.name + (serviceInterface.toAllServicePublishers ? ", to all publishers" : ""),
      {}};
  for (const auto& [key, property] : record.requestedProperties) {
    node.children.push_back(propertyNode(key, property));
  }
  return node;
}

void addEndpoints(Node& node, const char* title, const std::vector<cppmicroservices::Any>& endpoints) {
  for (const auto& endpoint : endpoints) {
    node.children.push_back({title + endpointText(endpoint), {}});
  }
}

void addFilter(Node& node, const char* title, const std::string& filter) {
  if (!filter.empty()) {
    node.children.push_back({title + filter, {}});
  }
}

Node publisherNode(const agent::spf::frameworksetup::SPFServicePublisherConfiguration& publisher,
                   const ConfigurationDescription& description,
                   const std::set<std::pair<std::string, std::string>>& mappings) {
  Node node{publisher.uniqueID + ": " + publisher.name, {}};
  addEndpoints(node, "binds ", publisher.endpointsToBindTo);
  addEndpoints(node, "connects ", publisher.endpointsToConnectTo);
  addFilter(node, "imports ", publisher.importFilter);
  addFilter(node, "exports ", publisher.exportFilter);
  for (const auto& serviceInterface : description.serviceInterfaces) {
    const auto& id = serviceInterface.record.uniqueID;
    if (serviceInterface.toAllServicePublishers || mappings.count({publisher.uniqueID, id}) != 0) {
      node.children.push_back({"publishes " + id, {}});
    }
  }
  return node;
}

}  // namespace

std::string configurationTree(const ConfigurationDescription& description) {
  std::set<std::pair<std::string, std::string>> mappings;  // publisher, interface
  for (const auto& [serviceInterfaceID, servicePublisherID] : description.serviceMappings) {
    mappings.emplace(servicePublisherID, serviceInterfaceID);
  }
  Node interfaces{"interfaces", {}};
  for (const auto& serviceInterface : description.serviceInterfaces) {
    interfaces.children.push_back(interfaceNode(serviceInterface));
  }
  Node publishers{"publishers", {}};
  for (const auto& publisher : description.servicePublishers) {
    publishers.children.push_back(publisherNode(publisher, description, mappings));
  }
  const Node root{"", {std::move(interfaces), std::move(publishers)}};
  auto drawing =
      (description.configurationID.empty() ? "(no configuration ID)" : escaped(description.configurationID)) + '\n';
  draw(root, "", drawing);
  return drawing;
}

}  // namespace spfctl
