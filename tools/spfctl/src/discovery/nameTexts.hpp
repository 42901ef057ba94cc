#pragma once

#include <chrono>
#include <iosfwd>
#include <string>
#include <vector>

#include "agent/spf/etcd/NameRecord.hpp"
#include "discovery/FollowedNames.hpp"

// What is shown of names. An announcement without an ID is an entry of a table, which has a name and an address only.
namespace spfctl {

/// Writes a table with a row for each announcement. What hosts have written is escaped for the terminal.
void printNames(std::ostream& stream, const std::vector<agent::spf::etcd::NameRecord>& records,
                std::chrono::system_clock::time_point now);

/// Returns the announcements as a JSON document of several lines.
std::string namesAsJson(const std::vector<agent::spf::etcd::NameRecord>& records);

/// Returns a change in one line, without its end.
std::string changeLine(const NameChange& change, std::chrono::system_clock::time_point now);

/// Returns a change as JSON in one line, without its end.
std::string changeAsJson(const NameChange& change, std::chrono::system_clock::time_point now);

}  // namespace spfctl
