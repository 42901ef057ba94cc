#include <sstream>
#include <string>

#include "Target.hpp"
#include "file/differences.hpp"
#include "file/discoveryTable.hpp"
#include "file/encodedProperties.hpp"
#include "file/readConfiguration.hpp"

// The input is the text of a configuration file, and of a table of discovery names.

namespace {

using spf::fuzz::require;
using spfctl::CheckedConfiguration;
using spfctl::Findings;
using spfctl::SourceText;

void checkFindings(const SourceText& source, const Findings& findings) {
  std::size_t last = 0;
  for (const auto& finding : findings.sorted()) {
    const auto place = source.placeOf(finding.offset);
    require(
        place.line > 0 && place.column > 0 && place.lineBegin <= place.lineEnd && place.lineEnd <= source.text().size(),
        "what is found has a place in the text");
    require(finding.offset >= last, "findings are in the order of the text");
    require(!finding.message.empty(), "a finding says what is wrong");
    last = finding.offset;
  }
  std::ostringstream printed;
  print(printed, source, findings);
  for (const char byte : printed.str()) {
    require(byte == '\n' || (static_cast<unsigned char>(byte) >= 0x20 && byte != 0x7f),
            "nothing that is printed commands a terminal");
  }
}

/// What is free of errors can be published, and is equal to itself.
void useDescription(const CheckedConfiguration& checked) {
  const auto& description = checked.description;
  static_cast<void>(toBuilder(description));
  const auto properties = encodedProperties(description);
  require(properties.size() == 4, "a configuration has four properties");
  require(differencesOf(description, description).empty(), "a configuration does not differ from itself");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto checked = spfctl::checkConfiguration(SourceText("file.json", text));
  checkFindings(checked.source, checked.findings);
  if (checked.findings.errors() == 0) {
    useDescription(checked);
  }
  const auto table = spfctl::checkDiscoveryTable(SourceText("table.json", text));
  checkFindings(table.source, table.findings);
  require(table.findings.errors() != 0 || !table.property.Empty(), "a table without errors is a property");
  return 0;
}
