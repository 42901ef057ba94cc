#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleInitialization.h>
#include <cppmicroservices/GetBundleContext.h>

#include <memory>
#include <string>

#include "TestFramework.hpp"

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::ElementsAre;

struct ProgramActivator : BundleActivator {
  void Start(BundleContext context) override {
    static_cast<void>(context.RegisterService<std::string>(std::make_shared<std::string>("from the program")));
  }
  void Stop(BundleContext) override {}
};

// This program's file has an archive appended that holds the bundle "program".
class AProgramThatIsABundle : public testing::Test {
 protected:
  ~AProgramThatIsABundle() override { stopAndWait(framework); }

  Bundle installed() { return framework.GetBundleContext().GetBundle(1); }

  const TemporaryFolder folder;
  Framework framework = newFramework(folder);
};

TEST_F(AProgramThatIsABundle, IsInstalledWhenAFrameworkIsInitialised) {
  framework.Init();
  ASSERT_EQ(framework.GetBundleContext().GetBundles().size(), 2u);
  EXPECT_EQ(installed().GetSymbolicName(), "program");
  EXPECT_EQ(installed().GetVersion().ToString(), "4.5.6");
  EXPECT_EQ(installed().GetLocation(), std::filesystem::read_symlink("/proc/self/exe").string());
  EXPECT_EQ(installed().GetState(), Bundle::STATE_INSTALLED);
}

TEST_F(AProgramThatIsABundle, IsNotInstalledTwice) {
  framework.Init();
  framework.Start();
  const auto program = installed();
  EXPECT_THAT(framework.GetBundleContext().InstallBundles(program.GetLocation()), ElementsAre(program));
  EXPECT_EQ(framework.GetBundleContext().GetBundles().size(), 2u);
}

TEST_F(AProgramThatIsABundle, MayBeStarted) {
  framework.Start();
  installed().Start();
  auto context = framework.GetBundleContext();
  EXPECT_EQ(*context.GetService(context.GetServiceReference<std::string>()), "from the program");
  EXPECT_EQ(GetBundleContext().GetBundle(), installed());
}

TEST_F(AProgramThatIsABundle, IsInstalledAnewWhenTheFrameworkIsStartedAgain) {
  framework.Start();
  stopAndWait(framework);
  framework.Start();
  EXPECT_EQ(installed().GetSymbolicName(), "program");
}

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(ProgramActivator)
