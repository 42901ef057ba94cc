#include <cppmicroservices/SecurityException.h>
#include <cppmicroservices/SharedLibraryException.h>

#include "TestFramework.hpp"
#include "ZipArchive.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

std::string bundleBytes() {
  return ZipArchive().add("b/manifest.json", R"({"bundle.symbolic_name": "b"})").bytes();
}

/// Throws at one event of a bundle.
class ABundleListener : public StartedFramework {
 protected:
  ABundleListener() { noteFrameworkEvents(journal); }
  ~ABundleListener() override { sut = nullptr; }

  template <class Throw>
  void throwAt(BundleEvent::Type type, Throw throwIt) {
    token = context().AddBundleListener([type, throwIt](const BundleEvent& event) {
      if (event.GetType() == type && event.GetBundle().GetBundleId() != 0) {
        throwIt(event.GetBundle());
      }
    });
  }

  void refuseAt(BundleEvent::Type type) {
    throwAt(type, [](const Bundle& bundle) { throw SecurityException("refused", bundle); });
  }

  void refuseNoMore() { context().RemoveListener(std::move(token)); }

  const std::string path = folder.write("b.zip", bundleBytes());
  Bundle sut = context().InstallBundles(path).at(0);
  Journal journal;
  ListenerToken token;
};

TEST_F(ABundleListener, IsReportedWhateverItThrowsAndChangesNothing) {
  throwAt(BundleEvent::BUNDLE_STARTING, [](const Bundle&) { throw std::runtime_error("thrown"); });
  sut.Start();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
  EXPECT_THAT(journal.texts(), ElementsAre(HasSubstr("Bundle listener threw an exception")));
}

TEST_F(ABundleListener, MayRefuseAStartForReasonsOfSecurity) {
  refuseAt(BundleEvent::BUNDLE_STARTED);
  EXPECT_EQ(messageOf<SecurityException>([&] { sut.Start(); }), "refused");
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
  EXPECT_THAT(journal.texts(), ElementsAre(HasSubstr("Bundle listener threw a security exception")));
}

TEST_F(ABundleListener, CannotKeepABundleFromBeingResolved) {
  refuseAt(BundleEvent::BUNDLE_RESOLVED);
  sut.Start();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(ABundleListener, CannotKeepABundleFromBeingStopped) {
  sut.Start();
  refuseAt(BundleEvent::BUNDLE_STOPPED);
  EXPECT_THROW(sut.Stop(), SecurityException);
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(ABundleListener, CannotKeepABundleFromBeingUninstalled) {
  refuseAt(BundleEvent::BUNDLE_UNINSTALLED);
  EXPECT_THROW(sut.Uninstall(), SecurityException);
  EXPECT_EQ(sut.GetState(), Bundle::STATE_UNINSTALLED);
  EXPECT_EQ(context().GetBundles().size(), 1u);
}

TEST(ABundleEventType, IsPrintedByItsName) {
  const auto text = [](BundleEvent::Type type) {
    std::ostringstream out;
    out << type;
    return out.str();
  };
  EXPECT_EQ(text(BundleEvent::BUNDLE_LAZY_ACTIVATION), "LAZY_ACTIVATION");
  EXPECT_EQ(text(BundleEvent::BUNDLE_UPDATED), "Unknown bundle event type (8)");
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations leave the bundle between two states.

TEST_F(ABundleListener, MayRefuseAStartBecauseOfALibrary) {
  throwAt(BundleEvent::BUNDLE_STARTED, [](const Bundle& bundle) {
    throw SharedLibraryException(std::make_error_code(std::errc::io_error), "lib", bundle);
  });
  EXPECT_THROW(sut.Start(), SharedLibraryException);
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(ABundleListener, LeavesABundleAsItWasIfItRefusesTheBeginningOfItsStart) {
  refuseAt(BundleEvent::BUNDLE_STARTING);
  EXPECT_THROW(sut.Start(), SecurityException);
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
  EXPECT_FALSE(sut.GetBundleContext());
  refuseNoMore();
  sut.Start();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(ABundleListener, LeavesABundleStoppedIfItRefusesTheBeginningOfItsStop) {
  sut.Start();
  refuseAt(BundleEvent::BUNDLE_STOPPING);
  EXPECT_THROW(sut.Stop(), SecurityException);
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(ABundleListener, LeavesABundleUninstalledIfItRefusesTheBeginningOfThat) {
  refuseAt(BundleEvent::BUNDLE_UNRESOLVED);
  EXPECT_THROW(sut.Uninstall(), SecurityException);
  EXPECT_EQ(sut.GetState(), Bundle::STATE_UNINSTALLED);
}

TEST_F(ABundleListener, LeavesNothingInstalledIfItRefusesAnInstallation) {
  sut.Uninstall();
  refuseAt(BundleEvent::BUNDLE_INSTALLED);
  EXPECT_EQ(messageOf<std::runtime_error>([&] { context().InstallBundles(path); }),
            "Failed to install bundle library at " + path + ": refused");
  EXPECT_EQ(context().GetBundles().size(), 1u);
  refuseNoMore();
  EXPECT_EQ(context().InstallBundles(path).size(), 1u);
}

TEST_F(ABundleListener, ThatThrowsDoesNotPreventTheCallOfOthers) {
  refuseAt(BundleEvent::BUNDLE_STARTED);
  Journal heard;
  noteBundleEvents(heard);
  EXPECT_THROW(sut.Start(), SecurityException);
  EXPECT_THAT(heard.texts(), Contains("STARTED b"));
}

TEST_F(ABundleListener, CannotKeepAFrameworkFromStopping) {
  sut.Start();
  context().AddBundleListener([](const BundleEvent& event) { throw SecurityException("refused", event.GetBundle()); });
  EXPECT_EQ(stopAndWait(framework).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
  EXPECT_EQ(framework.GetState(), Bundle::STATE_RESOLVED);
  EXPECT_EQ(sut.GetState(), Bundle::STATE_INSTALLED);
}

#endif

}  // namespace
