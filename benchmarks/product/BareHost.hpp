#pragma once

#include <filesystem>
#include <memory>

#include "agent/host/host.hpp"

namespace spf::benchmarks {

/// A host whose bundle directories are empty, so that nobody but Configuration Admin keeps a configuration.
class BareHost {
 public:
  /// Stops the host that other rows use, because a process has one at a time.
  BareHost();
  ~BareHost();

  BareHost(const BareHost&) = delete;
  BareHost& operator=(const BareHost&) = delete;

 private:
  std::filesystem::path root_;
  std::unique_ptr<agent::host::services::Host> host_;
};

}  // namespace spf::benchmarks
