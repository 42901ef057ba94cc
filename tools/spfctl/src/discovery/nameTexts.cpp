#include "discovery/nameTexts.hpp"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "display/Table.hpp"
#include "display/terminalText.hpp"
#include "display/utcTime.hpp"

namespace spfctl {

namespace {

using agent::spf::etcd::NameRecord;
using nlohmann::ordered_json;
using std::chrono::system_clock;
using Kind = NameChange::Kind;

constexpr int formatVersion = 1;

// The clock of another machine may be ahead.
std::string age(system_clock::duration time) {
  struct Unit {
    const char* name;
    long long seconds;
  };
  static constexpr Unit units[] = {{" d", 86400}, {" h", 3600}, {" min", 60}};
  const auto seconds = std::max<long long>(0, std::chrono::duration_cast<std::chrono::seconds>(time).count());
  for (const auto& unit : units) {
    if (seconds >= 2 * unit.seconds) {
      return std::to_string(seconds / unit.seconds) + unit.name;
    }
  }
  return std::to_string(seconds) + " s";
}

// The address as a configuration names it: with the key's name, if it has one.
std::string addressOf(const NameRecord& record) {
  return escaped(record.key.empty() ? record.address : record.address + "#" + record.key);
}

std::string cell(const std::string& text) {
  return text.empty() ? "-" : escaped(text);
}

const char* nameOf(Kind kind) {
  switch (kind) {
    case Kind::present:
      return "present";
    case Kind::added:
      return "added";
    case Kind::removed:
      return "removed";
    case Kind::moved:
      return "moved";
    default:
      return "changed";
  }
}

ordered_json toJson(const NameRecord& record) {
  if (record.id.empty()) {
    return {{"name", record.name}, {"source", "table"}, {"address", record.address}, {"key", record.key}};
  }
  return {{"name", record.name},
          {"source", "etcd"},
          {"address", record.address},
          {"key", record.key},
          {"host", record.host},
          {"process", record.process},
          {"configuration", record.configuration},
          {"since", utcTime(record.since)},
          {"announcement", record.id}};
}

}  // namespace

void printNames(std::ostream& stream, const std::vector<NameRecord>& records, system_clock::time_point now) {
  Table table;
  table.add({"NAME", "ADDRESS", "HOST", "CONFIGURATION", "AGE"});
  for (const auto& record : records) {
    table.add({escaped(record.name), addressOf(record), cell(record.host), cell(record.configuration),
               record.id.empty() ? "-" : age(now - record.since)});
  }
  table.print(stream, "");
}

std::string namesAsJson(const std::vector<NameRecord>& records) {
  auto names = ordered_json::array();
  for (const auto& record : records) {
    names.push_back(toJson(record));
  }
  return ordered_json{{"format_version", formatVersion}, {"names", std::move(names)}}.dump(
             2, ' ', false, ordered_json::error_handler_t::replace) +
         '\n';
}

std::string changeLine(const NameChange& change, system_clock::time_point now) {
  const auto& record = change.record;
  return utcTime(now) + "  " + escaped(record.name) + "  " + nameOf(change.kind) +
         (change.kind == Kind::moved ? " from " + escaped(change.before) + " to " : " ") + addressOf(record) +
         " (host " + cell(record.host) + ", process " + std::to_string(record.process) + ", configuration " +
         cell(record.configuration) + ")";
}

std::string changeAsJson(const NameChange& change, system_clock::time_point now) {
  ordered_json line{{"time", utcTime(now)}, {"change", nameOf(change.kind)}};
  if (change.kind == Kind::moved) {
    line["before"] = change.before;
  }
  line.update(toJson(change.record));
  return line.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace spfctl
