#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "StreamSplitter.hpp"
#include "Target.hpp"
#include "agent/spf/etcd/NameRecord.hpp"
#include "agent/spf/etcd/RecordReader.hpp"
#include "base64.hpp"
#include "gatewayMessages.hpp"

// The input is what a member of etcd sends: a stream of a watch, and the body of each other answer. It is a key and a
// record, too: the first line and the rest.

namespace {

using namespace agent::spf::etcd;
using spf::fuzz::require;

constexpr std::size_t limit = 1000;
constexpr auto prefix = "/spf/";

struct Split {
  std::vector<std::string> values;
  bool isTooLong = false;
};

Split split(std::string_view stream, std::size_t size) {
  StreamSplitter splitter(limit);
  Split split;
  try {
    for (std::size_t at = 0; at < stream.size(); at += size) {
      const auto values = splitter.push(stream.substr(at, size));
      split.values.insert(split.values.end(), values.begin(), values.end());
    }
  } catch (const std::runtime_error&) {
    split.isTooLong = true;
  }
  return split;
}

/// Calls a function that decodes; what cannot be decoded is refused by an exception of one type with a message.
template <class Function>
void tryTo(const Function& decode) {
  try {
    decode();
  } catch (const std::runtime_error& error) {
    require(error.what() != nullptr, "a refusal has a message");
  }
}

void readStream(const std::string& input) {
  const auto whole = split(input, std::max<std::size_t>(input.size(), 1));
  for (const std::size_t size : {1, 3, 64}) {
    const auto pieces = split(input, size);
    require(pieces.isTooLong == whole.isTooLong, "a stream is too long however it is cut");
    require(whole.isTooLong || pieces.values == whole.values, "a stream has the same values however it is cut");
  }
  for (const auto& value : whole.values) {
    require(!value.empty() && value.size() <= limit, "a value is neither empty nor too long");
    tryTo([&] {
      const auto answer = decodeWatch(value, prefix);
      require(answer.changes.size() <= value.size(), "changes are not made up");
    });
  }
}

void readLease(const LeaseAnswer& lease) {
  require(lease.ttl <= std::chrono::hours(24 * 365), "a time to live can be reckoned with");
}

void readAnswers(const std::string& input) {
  tryTo([&] { require(decodeListing(input, prefix).revision > 0, "a listing has a revision"); });
  tryTo([&] { decodeRevision(input); });
  tryTo([&] { readLease(decodeGrant(input)); });
  tryTo([&] { readLease(decodeKeepAlive(input)); });
  tryTo([&] {
    const auto token = decodeToken(input);
    require(!token.empty() && token.find('\n') == std::string::npos, "a token is a line");
  });
  decodeRefusal(input, 500);
}

void readBase64(const std::string& input) {
  require(fromBase64(toBase64(input)) == input, "base64 gives the bytes back");
  tryTo([&] {
    const auto bytes = fromBase64(input);
    require(toBase64(bytes).size() == input.size(), "base64 of any spelling has one length");
  });
}

bool areEqual(const NameRecord& left, const NameRecord& right) {
  return encode(left) == encode(right) && left.since == right.since && left.process == right.process;
}

void readRecord(const std::string& input) {
  const auto line = std::min(input.find('\n'), input.size());
  const auto key = input.substr(0, line);
  const auto value = input.substr(std::min(line + 1, input.size()));
  int warnings = 0;
  RecordReader reader([&](const std::string& warning) {
    ++warnings;
    require(std::none_of(warning.begin(), warning.begin() + 16, [](unsigned char byte) { return byte < ' '; }),
            "a warning can be printed");
  });
  const auto records = reader.read({{key, value}});
  reader.read({{key, value}});
  require(records.size() + static_cast<std::size_t>(warnings) == 1, "a record is read, or warned of once");
  if (!records.empty()) {
    const auto again = encode(records.front());
    require(again.first == key, "a record keeps its key");
    require(areEqual(decode(again.first, again.second), records.front()), "a record can be read when it was written");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  readStream(input);
  readAnswers(input);
  readBase64(input);
  readRecord(input);
  return 0;
}
