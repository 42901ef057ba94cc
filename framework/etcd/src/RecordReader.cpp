#include "agent/spf/etcd/RecordReader.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace agent::spf::etcd {

namespace {

constexpr std::size_t longestQuote = 100;
constexpr std::size_t longestProblem = 300;

// Keys of others may be any bytes.
std::string printable(const std::string& key) {
  auto shown = key.substr(0, longestQuote);
  std::replace_if(
      shown.begin(), shown.end(), [](unsigned char byte) { return byte < ' ' || byte >= 0x7f; }, '?');
  return key.size() > longestQuote ? shown + "..." : shown;
}

}  // namespace

RecordReader::RecordReader(std::function<void(const std::string&)> warning) : warning_(std::move(warning)) {}

std::vector<NameRecord> RecordReader::read(const Registry::Entries& entries) {
  std::vector<NameRecord> records;
  std::map<std::string, Reading> readings;
  for (const auto& [key, value] : entries) {
    auto known = last_.extract(key);
    if (known.empty() || known.mapped().value != value) {
      readings.emplace_hint(readings.end(), key, readAnew(key, value));
    } else {
      readings.insert(readings.end(), std::move(known));
    }
    if (const auto& record = readings.rbegin()->second.record) {
      records.push_back(*record);
    }
  }
  last_.swap(readings);
  return records;
}

RecordReader::Reading RecordReader::readAnew(const std::string& key, const std::string& value) const {
  try {
    return {value, decode(key, value)};
  } catch (const std::runtime_error& error) {
    if (warning_) {
      warning_("cannot read key '" + printable(key) + "': " + error.what());
    }
    return {value, std::nullopt};
  }
}

}  // namespace agent::spf::etcd
