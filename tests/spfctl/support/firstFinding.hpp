#pragma once

#include <string>

#include "file/Findings.hpp"

namespace spf::test {

/// Returns the first finding in the order of the text, as "line:column: message".
inline std::string firstOf(const spfctl::Findings& findings, const std::string& text) {
  const auto sorted = findings.sorted();
  if (sorted.empty()) {
    return "no complaint";
  }
  const auto place = spfctl::SourceText("f", text).placeOf(sorted.front().offset);
  return std::to_string(place.line) + ":" + std::to_string(place.column) + ": " + sorted.front().message;
}

}  // namespace spf::test
