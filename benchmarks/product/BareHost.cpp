#include "BareHost.hpp"

#include <stdlib.h>

#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "RunningHost.hpp"

namespace spf::benchmarks {

using agent::host::services::Host;
using agent::host::services::HostOptions;

namespace {

std::filesystem::path temporaryFolder() {
  std::string pattern = std::filesystem::temp_directory_path() / "spf-benchmark-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error(pattern + ": cannot be made");
  }
  return pattern;
}

}  // namespace

BareHost::BareHost() : root_(temporaryFolder()) {
  stopHost();
  for (const auto& name : bundleDirectoryNames()) {
    std::filesystem::create_directories(root_ / "bin/win64/spf" / name);
  }
  HostOptions options;
  options.installationRoot = root_;
  options.permissionCheck = false;  // the build tree may have any permissions
  host_ = std::make_unique<Host>(std::move(options));
}

BareHost::~BareHost() {
  host_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

}  // namespace spf::benchmarks
