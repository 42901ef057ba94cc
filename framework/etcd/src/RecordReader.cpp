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
  Registry::Entries refused;
  for (const auto& [key, value] : entries) {
    try {
      records.push_back(decode(key, value));
    } catch (const std::runtime_error& error) {
      const auto known = refused_.find(key);
      if ((known == refused_.end() || known->second != value) && warning_) {
        warning_("cannot read key '" + printable(key) + "': " + std::string(error.what()).substr(0, longestProblem));
      }
      refused.emplace(key, value);
    }
  }
  refused_.swap(refused);
  return records;
}

}  // namespace agent::spf::etcd
