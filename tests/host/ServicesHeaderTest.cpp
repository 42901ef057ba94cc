// The only header of the host and of the runtime in this file, which has to be sufficient.
#include "agent/host/services.hpp"

namespace {

using agent::host::services::getFramework;
using agent::host::services::installAndStart;

TEST(TheServicesHeader, IsAllThatACallerIncludes) {
  agent::host::filesystem::path directory;
  directory.append(L"bin");
  const auto framework = getFramework();
  EXPECT_FALSE(framework && framework->GetState() == cppmicroservices::Bundle::STATE_ACTIVE);
  EXPECT_TRUE(installAndStart(directory).empty());
  EXPECT_TRUE(installAndStart(directory, cppmicroservices::LDAPFilter("(a=b)")).second.empty());
}

}  // namespace
