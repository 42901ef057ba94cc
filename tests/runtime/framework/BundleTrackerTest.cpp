#include <cppmicroservices/BundleTracker.h>

#include <memory>
#include <sstream>
#include <string>

#include "TestFramework.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::ElementsAre;
using testing::IsEmpty;

/// Keeps the name of each bundle except the system bundle, and notes its changes.
struct NotingCustomizer : BundleTrackerCustomizer<std::string> {
  std::optional<std::string> AddingBundle(const Bundle& bundle, const BundleEvent& event) override {
    note("adding", bundle, event);
    return bundle.GetBundleId() == 0 ? std::nullopt : std::make_optional(bundle.GetSymbolicName());
  }
  void ModifiedBundle(const Bundle& bundle, const BundleEvent& event, const std::string&) override {
    note("modified", bundle, event);
  }
  void RemovedBundle(const Bundle& bundle, const BundleEvent& event, const std::string&) override {
    note("removed", bundle, event);
  }

  Journal journal;

 private:
  void note(const std::string& what, const Bundle& bundle, const BundleEvent& event) {
    std::ostringstream text;
    text << what << " " << bundle.GetSymbolicName();
    if (event) {
      text << " " << event.GetType();
    }
    journal.note(text.str());
  }
};

class ABundleTracker : public StartedFramework {
 protected:
  ~ABundleTracker() override { bundle = nullptr; }

  const std::uint32_t running = BundleTracker<>::CreateStateMask(Bundle::STATE_STARTING, Bundle::STATE_ACTIVE);
  Bundle bundle = context().InstallBundles(DATA_ONLY_BUNDLE).at(0);
};

TEST_F(ABundleTracker, TracksBundlesInItsStates) {
  BundleTracker<> sut(context(), BundleTracker<>::CreateStateMask(Bundle::STATE_ACTIVE));
  sut.Open();
  EXPECT_THAT(sut.GetBundles(), ElementsAre(framework));
  bundle.Start();
  EXPECT_EQ(sut.Size(), 2u);
  EXPECT_EQ(sut.GetObject(bundle), bundle);
  bundle.Stop();
  EXPECT_EQ(sut.Size(), 1u);
  EXPECT_EQ(sut.GetObject(bundle), std::nullopt);
}

TEST_F(ABundleTracker, CallsItsCustomizerForEachChange) {
  const auto customizer = std::make_shared<NotingCustomizer>();
  BundleTracker<std::string> sut(context(), running, customizer);
  sut.Open();
  bundle.Start();
  EXPECT_EQ(sut.GetObject(bundle), "data.only");
  EXPECT_EQ(sut.GetTracked().size(), 1u);
  bundle.Stop();
  bundle.Start();
  sut.Close();
  EXPECT_THAT(customizer->journal.texts(),
              ElementsAre("adding system_bundle", "adding data.only STARTING", "modified data.only STARTED",
                          "removed data.only STOPPING", "adding data.only STARTING", "modified data.only STARTED",
                          "removed data.only"));
}

TEST_F(ABundleTracker, RemovesAnUninstalledBundleOnce) {
  const auto customizer = std::make_shared<NotingCustomizer>();
  const auto there = BundleTracker<>::CreateStateMask(Bundle::STATE_INSTALLED, Bundle::STATE_RESOLVED);
  BundleTracker<std::string> sut(context(), there, customizer);
  sut.Open();
  bundle.Uninstall();
  EXPECT_THAT(customizer->journal.texts(), ElementsAre("adding data.only", "removed data.only UNINSTALLED"));
}

TEST_F(ABundleTracker, ForgetsABundleOnRequest) {
  bundle.Start();
  BundleTracker<> sut(context(), running);
  sut.Open();
  sut.Remove(bundle);
  EXPECT_THAT(sut.GetBundles(), ElementsAre(framework));
}

TEST_F(ABundleTracker, TracksNothingUnlessItIsOpen) {
  BundleTracker<> sut(context(), running);
  EXPECT_TRUE(sut.IsEmpty());
  EXPECT_EQ(sut.GetTrackingCount(), -1);
  sut.Open();
  EXPECT_EQ(sut.GetTrackingCount(), 1);
  sut.Close();
  EXPECT_TRUE(sut.IsEmpty());
  EXPECT_EQ(sut.GetTrackingCount(), -1);
}

TEST_F(ABundleTracker, IsHarmlessAfterTheFrameworkStopped) {
  BundleTracker<> sut(context(), running);
  sut.Open();
  stopAndWait(framework);
  EXPECT_NO_THROW(sut.Close());
}

}  // namespace
