#pragma once

#include <chrono>
#include <string>

#include "agent/spf/etcd/NameRecord.hpp"

namespace spf::test {

/// A moment that is no whole second.
inline const std::chrono::system_clock::time_point someTime{std::chrono::milliseconds(1795334400250)};

/// Returns an announcement that was made a second before `someTime`, rounded down.
inline agent::spf::etcd::NameRecord record(const std::string& name, const std::string& id, const std::string& address) {
  return {name,    id,   address,   "",
          "alpha", 4711, "weather", std::chrono::system_clock::time_point(std::chrono::seconds(1795334399))};
}

}  // namespace spf::test
