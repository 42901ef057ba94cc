#include <cppmicroservices/BundleImport.h>

#include "TestFramework.hpp"

CPPMICROSERVICES_IMPORT_BUNDLE(linked_in)

namespace {

using namespace cppmicroservices;
using namespace spf::test;

class AStaticBundle : public StartedFramework {
 protected:
  AStaticBundle() {
    AnyMap headers(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    headers["bundle.symbolic_name"] = std::string("linked_in");
    headers["bundle.activator"] = true;
    AnyMap manifests(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    manifests["linked_in"] = headers;
    const auto program = std::filesystem::read_symlink("/proc/self/exe").string();
    sut = context().InstallBundles(program, manifests).at(0);
  }
  ~AStaticBundle() override { sut = nullptr; }

  Bundle sut;
};

TEST_F(AStaticBundle, RunsTheActivatorThatIsLinkedIntoTheProgram) {
  sut.Start();
  const auto reference = context().GetServiceReference<std::string>();
  ASSERT_TRUE(reference);
  EXPECT_EQ(*context().GetService(reference), "linked_in");
  EXPECT_EQ(reference.GetBundle(), sut);
}

TEST_F(AStaticBundle, MayBeStoppedAndStartedAgain) {
  sut.Start();
  sut.Stop();
  EXPECT_FALSE(context().GetServiceReference<std::string>());
  sut.Start();
  EXPECT_TRUE(context().GetServiceReference<std::string>());
}

}  // namespace
