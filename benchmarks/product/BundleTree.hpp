#pragma once

#include <string>
#include <vector>

namespace spf::benchmarks {

/// The bundle directories of the running host, as paths that the system understands.
class BundleTree {
 public:
  BundleTree();

  /// Calls `stat` for each folder from `/` to the one of the directories.
  void inspectChain() const;

  /// Calls `stat` for each directory, lists it, and calls `stat` for each bundle file in it.
  /// \return the number of these files
  int inspectDirectories() const;

  /// The same, with the chain before each directory.
  int inspectDirectoriesWithChains() const;

 private:
  std::vector<std::string> chain_;
  std::vector<std::string> directories_;
};

}  // namespace spf::benchmarks
