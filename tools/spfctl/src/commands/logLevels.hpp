#pragma once

#include <cstdint>

/// The levels of log records that have names.
namespace spfctl::loglevels {

constexpr std::uint32_t progress = 4;
constexpr std::uint32_t warnings = 64;
constexpr std::uint32_t exceptions = 512;

}  // namespace spfctl::loglevels
