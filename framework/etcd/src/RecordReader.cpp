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

// It quotes values of others, which may be as long as etcd takes. A character is not cut in two.
std::string shortened(const std::string& problem) {
  if (problem.size() <= longestProblem) {
    return problem;
  }
  constexpr auto mask = 0xc0U;
  constexpr auto continuation = 0x80U;  // of UTF-8
  auto end = longestProblem;
  while (end > 0 && (static_cast<unsigned char>(problem[end]) & mask) == continuation) {
    --end;
  }
  return problem.substr(0, end) + "...";
}

}  // namespace

RecordReader::RecordReader(std::function<void(const std::string&)> warning) : warning_(std::move(warning)) {}

std::vector<NameRecord> RecordReader::read(const Registry::Entries& entries) {
  std::vector<NameRecord> records;
  std::map<std::string, Reading> readings;
  for (const auto& [key, value] : entries) {
    auto known = last_.extract(key);
    if (known.empty() || known.mapped().value != value) {
      const bool hasWarned = !known.empty() && !known.mapped().record;
      readings.emplace_hint(readings.end(), key, readAnew(key, value, !hasWarned));
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

RecordReader::Reading RecordReader::readAnew(const std::string& key, const std::string& value, bool isToWarn) const {
  try {
    return {value, decode(key, value)};
  } catch (const std::runtime_error& error) {
    if (isToWarn && warning_) {
      warning_("cannot read key '" + printable(key) + "': " + shortened(error.what()));
    }
    return {value, std::nullopt};
  }
}

}  // namespace agent::spf::etcd
