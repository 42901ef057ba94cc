#pragma once

#include "Workspace.hpp"
#include "agent/host/host.hpp"

namespace spf::test {

/// A host that has no bundles of the framework.
class EmptyHost {
 public:
  EmptyHost() : host_(options(root_)) {}

 private:
  static agent::host::services::HostOptions options(const Workspace& root) {
    agent::host::services::HostOptions options;
    options.installationRoot = root.path();
    return options;
  }

  const Workspace root_;
  const agent::host::services::Host host_;
};

}  // namespace spf::test
