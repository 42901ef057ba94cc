#pragma once

#include <string>

namespace spf::zeromq {

enum class Scheme { tcp, ipc, inproc };

/// Which of the schemes that are supported an address has.
/// \throws std::runtime_error naming the address and what was expected
Scheme schemeOf(const std::string& address);

/// Whether a process listens at an `ipc` address now: binding would take it over without an error.
bool isServed(const std::string& ipcAddress);

}  // namespace spf::zeromq
