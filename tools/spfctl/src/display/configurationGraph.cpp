#include "display/configurationGraph.hpp"

#include <set>
#include <utility>

#include "display/terminalText.hpp"
#include "file/anyJson.hpp"

namespace spfctl {

namespace {

using Endpoints = std::vector<cppmicroservices::Any>;

constexpr std::size_t mostEdges = 300;
constexpr std::size_t longestLabel = 48;

// Legible on light and on dark ground: nothing is drawn in black or white but what stands on a colour of its own.
constexpr const char* head = R"(digraph configuration {
  graph [rankdir=LR, bgcolor=transparent, nodesep=0.25, ranksep=1.1, fontname="Helvetica"];
  node [fontname="Helvetica", fontsize=12, fontcolor="#ffffff", style="filled,rounded", shape=box, penwidth=0, margin="0.16,0.08"];
  edge [color="#8891a0", fontcolor="#8891a0", fontname="Helvetica", fontsize=10, arrowsize=0.7];
)";
constexpr const char* interfaceColour = "#2f6db5";
constexpr const char* publisherColour = "#3a7d44";
constexpr const char* endpointColour = "#6b5b95";

// Graphviz decodes entities in labels, by which a text could smuggle in any character.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') {
      result += '\\';
    }
    result += character == '&' ? std::string("&amp;") : std::string(1, character);
  }
  return result + '"';
}

std::string label(const std::string& text) {
  return cutTo(escaped(text), longestLabel);
}

// Two lines of text; Graphviz's own escape for the end of a line stays unquoted.
std::string label(const std::string& first, const std::string& second) {
  auto text = quoted(label(first));
  text.pop_back();
  return text + "\\n" + quoted(label(second)).substr(1);
}

class Graph {
 public:
  explicit Graph(const ConfigurationDescription& description)
      : description_(description), mapped_(description.serviceMappings.begin(), description.serviceMappings.end()) {}

  std::string text() {
    const bool counted = edges() > mostEdges;
    for (std::size_t index = 0; index < description_.serviceInterfaces.size(); ++index) {
      const auto& record = description_.serviceInterfaces[index].record;
      node("interface" + std::to_string(index), label(record.uniqueID, record.name), interfaceColour);
    }
    for (std::size_t index = 0; index < description_.servicePublishers.size(); ++index) {
      publisher(index, counted);
    }
    return text_ + "}\n";
  }

 private:
  std::size_t edges() const {
    std::size_t count = mapped_.size();
    for (const auto& publisher : description_.servicePublishers) {
      count += publisher.endpointsToBindTo.size() + publisher.endpointsToConnectTo.size();
    }
    for (const auto& serviceInterface : description_.serviceInterfaces) {
      count += serviceInterface.toAllServicePublishers ? description_.servicePublishers.size() : 0;
    }
    return count;
  }

  void publisher(std::size_t index, bool counted) {
    const auto& record = description_.servicePublishers[index];
    const auto name = "publisher" + std::to_string(index);
    node(name, label(record.uniqueID, record.name), publisherColour);
    for (std::size_t other = 0; other < description_.serviceInterfaces.size(); ++other) {
      const auto& serviceInterface = description_.serviceInterfaces[other];
      if (mapped_.count({serviceInterface.record.uniqueID, record.uniqueID}) != 0) {
        edge("interface" + std::to_string(other), name, "");
      } else if (serviceInterface.toAllServicePublishers) {
        edge("interface" + std::to_string(other), name, "style=dashed");
      }
    }
    endpoints(name, "bind", record.endpointsToBindTo, counted);
    endpoints(name, "connect", record.endpointsToConnectTo, counted);
  }

  void endpoints(const std::string& publisher, const std::string& what, const Endpoints& endpoints, bool counted) {
    const auto edgeLabel = "label=" + what;
    if (counted && !endpoints.empty()) {
      const auto name = publisher + what;
      node(name, quoted(std::to_string(endpoints.size()) + (endpoints.size() == 1 ? " endpoint" : " endpoints")),
           endpointColour);
      edge(publisher, name, edgeLabel);
      return;
    }
    for (std::size_t index = 0; index < endpoints.size(); ++index) {
      const auto name = publisher + what + std::to_string(index);
      node(name, quoted(label(endpointText(endpoints[index]))), endpointColour);
      edge(publisher, name, edgeLabel);
    }
  }

  void node(const std::string& name, const std::string& label, const char* colour) {
    text_ += "  " + name + " [label=" + label + ", fillcolor=\"" + colour + "\"];\n";
  }

  void edge(const std::string& from, const std::string& to, const std::string& attributes) {
    text_ += "  " + from + " -> " + to + (attributes.empty() ? "" : " [" + attributes + "]") + ";\n";
  }

  const ConfigurationDescription& description_;
  std::set<std::pair<std::string, std::string>> mapped_;  // interface, publisher
  std::string text_ = head;
};

}  // namespace

std::string configurationGraph(const ConfigurationDescription& description) {
  return Graph(description).text();
}

}  // namespace spfctl
