#include "control/FailingInstallations.hpp"

#include <dlfcn.h>

#include <atomic>
#include <stdexcept>
#include <utility>

#include "agent/host/services.hpp"

namespace spf::test {

namespace {

std::atomic<int> failing{0};

}  // namespace

void failInstallations(int number) {
  failing = number;
}

}  // namespace spf::test

namespace agent::host::services {

std::vector<cppmicroservices::Bundle> installAndStart(filesystem::path directory) {
  if (spf::test::failing > 0) {
    --spf::test::failing;
    throw std::runtime_error("the bundles cannot be installed");
  }
  using Function = std::vector<cppmicroservices::Bundle>(filesystem::path);
  auto* const original = reinterpret_cast<Function*>(
      dlsym(RTLD_NEXT, "_ZN5agent4host8services15installAndStartENS0_10filesystem10basic_pathIwEE"));
  if (original == nullptr) {
    throw std::logic_error("the host library's function is not found");
  }
  return original(std::move(directory));
}

}  // namespace agent::host::services
