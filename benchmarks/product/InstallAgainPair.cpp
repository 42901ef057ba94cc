#include <memory>
#include <string>

#include <cppmicroservices/Bundle.h>

#include "BundleTree.hpp"
#include "Pair.hpp"
#include "RunningHost.hpp"
#include "setup/installFrameworkBundles.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;

namespace {

int installedBundles() {
  const std::string directories = installationRoot() / "bin" / "win64" / "spf" / "";
  int installed = 0;
  for (const auto& bundle : hostContext().GetBundles()) {
    installed += bundle.GetLocation().compare(0, directories.size(), directories) == 0 ? 1 : 0;
  }
  return installed;
}

Side work(int /*size*/) {
  startHost();
  return {[](int) {},
          [](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              agent::spf::frameworksetup::installFrameworkBundles();
            }
          },
          [] { return Any(installedBundles()); }};
}

template <class Inspect>
Side inspectingSide(Inspect inspect) {
  startHost();
  const auto files = std::make_shared<int>(0);
  return {[](int) {},
          [files, inspect, tree = BundleTree()](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              *files = inspect(tree);
            }
          },
          [files] { return Any(*files); }};
}

// `stat` of the root's chain once and of the directories, one listing each, and one `stat` per file.
Side floor(int /*size*/) {
  return inspectingSide([](const BundleTree& tree) {
    tree.inspectChain();
    return tree.inspectDirectories();
  });
}

// What remains if no call knows of the others: the chain is inspected for each directory.
Side floorOfSeparateCalls(int /*size*/) {
  return inspectingSide([](const BundleTree& tree) { return tree.inspectDirectoriesWithChains(); });
}

int rounds(int /*size*/) {
  return 1000;
}

}  // namespace

Pair installAgain() {
  return {"install-again", {7}, &rounds, &work, &floor};
}

Pair installSeparately() {
  return {"install-separately", {7}, &rounds, &work, &floorOfSeparateCalls};
}

}  // namespace spf::benchmarks
