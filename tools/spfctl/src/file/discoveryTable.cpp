#include "file/discoveryTable.hpp"

#include <utility>

#include "file/JsonDocument.hpp"
#include "file/endpointTexts.hpp"
#include "file/jsonValues.hpp"

namespace spfctl {

namespace {

using Kind = JsonValue::Kind;

// Goes on after every error.
class TableReader {
 public:
  explicit TableReader(CheckedTable& table) : table_(table) {}

  void read(const JsonValue& value) {
    if (value.kind != Kind::object) {
      table_.findings.error(value.offset, std::string("found ") + nameOf(value.kind) + "; expected an object");
      return;
    }
    for (const auto& member : value.members) {
      readName(member);
    }
    table_.property = toAny(value, table_.findings);
  }

 private:
  void readName(const JsonValue::Member& member) {
    if (!isDiscoveryName(member.key)) {
      table_.findings.error(member.offset,
                            "'" + member.key + "' is no discovery name; expected letters, digits, '.', '_' and '-'");
    }
    auto& addresses = table_.addresses[member.key];
    if (member.value.kind != Kind::array) {
      readAddress(member.value, "a string or an array", addresses);
      return;
    }
    for (const auto& element : member.value.elements) {
      readAddress(element, "a string", addresses);
    }
    if (member.value.elements.empty()) {
      table_.findings.error(member.value.offset, "the name '" + member.key + "' has no address; expected at least one");
    }
  }

  void readAddress(const JsonValue& value, const char* expected, std::vector<std::string>& addresses) {
    if (value.kind != Kind::string) {
      table_.findings.error(value.offset, std::string("found ") + nameOf(value.kind) + "; expected " + expected);
      return;
    }
    const auto reason = whyNoPeer(value.text);
    if (!reason.empty()) {
      table_.findings.error(value.offset, reason);
    }
    addresses.push_back(value.text);
  }

  CheckedTable& table_;
};

}  // namespace

CheckedTable checkDiscoveryTable(SourceText source) {
  CheckedTable table{std::move(source), {}, {}, {}};
  const JsonDocument document(table.source.text(), table.findings);
  if (document.isComplete()) {
    TableReader(table).read(document.root());
  }
  return table;
}

}  // namespace spfctl
