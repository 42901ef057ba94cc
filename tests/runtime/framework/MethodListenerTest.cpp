#include <cppmicroservices/ServiceEvent.h>

#include "TestFramework.hpp"
#include "ZipArchive.hpp"

// The functions that tokens superseded still have to work.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::ElementsAre;
using testing::IsEmpty;

struct Service {
  virtual ~Service() = default;
};

struct Receiver {
  void onService(const ServiceEvent& event) { note(event, ""); }
  void onServiceToo(const ServiceEvent& event) { note(event, " too"); }
  void onBundle(const BundleEvent& event) { note(event.GetType(), ""); }
  void onFramework(const FrameworkEvent& event) { note(event.GetType(), ""); }

  Journal journal;

 private:
  void note(const ServiceEvent& event, const std::string& what) { note(event.GetType(), what); }
  template <class Type>
  void note(Type type, const std::string& what) {
    std::ostringstream text;
    text << type << what;
    journal.note(text.str());
  }
};

int callsOfTheFunction = 0;
void countCalls(const ServiceEvent&) {
  ++callsOfTheFunction;
}

class AMethodListener : public StartedFramework {
 protected:
  ~AMethodListener() override { stopAndWait(framework); }  // before the receivers of its events are destroyed

  void offer(const ServiceProperties& properties = {}) {
    static_cast<void>(context().RegisterService<Service>(std::make_shared<Service>(), properties));
  }

  Bundle install() {
    const auto bytes = ZipArchive().add("b/manifest.json", R"({"bundle.symbolic_name": "b"})").bytes();
    return context().InstallBundles(folder.write("b.zip", bytes)).at(0);
  }

  /// Makes the framework report an error.
  void fail() {
    auto token = context().AddServiceListener([](const ServiceEvent&) { throw std::runtime_error("thrown"); });
    offer();
    context().RemoveListener(std::move(token));
  }

  Receiver receiver;
  Receiver other;
};

TEST_F(AMethodListener, ReceivesServiceEventsUntilItIsRemoved) {
  context().AddServiceListener(&receiver, &Receiver::onService);
  offer();
  EXPECT_THAT(receiver.journal.take(), ElementsAre("REGISTERED"));
  context().RemoveServiceListener(&receiver, &Receiver::onService);
  offer();
  EXPECT_THAT(receiver.journal.take(), IsEmpty());
}

TEST_F(AMethodListener, ReceivesOnlyEventsThatMatchItsFilter) {
  context().AddServiceListener(&receiver, &Receiver::onService, "(wanted=true)");
  offer();
  EXPECT_THAT(receiver.journal.texts(), IsEmpty());
  offer({{"wanted", true}});
  EXPECT_THAT(receiver.journal.texts(), ElementsAre("REGISTERED"));
}

TEST_F(AMethodListener, DiffersFromThatOfAnotherObject) {
  context().AddServiceListener(&receiver, &Receiver::onService);
  context().AddServiceListener(&other, &Receiver::onService);
  context().RemoveServiceListener(&receiver, &Receiver::onService);
  offer();
  EXPECT_THAT(receiver.journal.texts(), IsEmpty());
  EXPECT_THAT(other.journal.texts(), ElementsAre("REGISTERED"));
}

TEST_F(AMethodListener, MayBeRemovedByItsToken) {
  auto token = context().AddServiceListener(&receiver, &Receiver::onService);
  EXPECT_TRUE(token);
  context().RemoveListener(std::move(token));
  offer();
  EXPECT_THAT(receiver.journal.texts(), IsEmpty());
}

TEST_F(AMethodListener, ReceivesBundleEventsUntilItIsRemoved) {
  context().AddBundleListener(&receiver, &Receiver::onBundle);
  auto bundle = install();
  EXPECT_THAT(receiver.journal.take(), ElementsAre("INSTALLED"));
  context().RemoveBundleListener(&receiver, &Receiver::onBundle);
  bundle.Start();
  EXPECT_THAT(receiver.journal.take(), IsEmpty());
}

TEST_F(AMethodListener, ReceivesFrameworkEventsUntilItIsRemoved) {
  context().AddFrameworkListener(&receiver, &Receiver::onFramework);
  fail();
  EXPECT_THAT(receiver.journal.take(), ElementsAre("ERROR"));
  context().RemoveFrameworkListener(&receiver, &Receiver::onFramework);
  fail();
  EXPECT_THAT(receiver.journal.take(), IsEmpty());
}

TEST_F(AMethodListener, IsMadeByTheOldFunctors) {
  context().AddServiceListener(ServiceListenerMemberFunctor(&receiver, &Receiver::onService));
  context().AddBundleListener(BundleListenerMemberFunctor(&receiver, &Receiver::onBundle));
  context().AddFrameworkListener(BindFrameworkListenerToFunctor(&receiver, &Receiver::onFramework));
  offer();
  install();
  fail();
  EXPECT_THAT(receiver.journal.texts(),
              testing::UnorderedElementsAre("REGISTERED", "INSTALLED", "REGISTERED", "ERROR"));
}

TEST_F(AMethodListener, CannotBeRemovedThroughAStoppedFrameworksContext) {
  auto old = context();
  stopAndWait(framework);
  EXPECT_THROW(old.RemoveServiceListener(&receiver, &Receiver::onService), IllegalStateException);
  EXPECT_THROW(old.AddBundleListener(&receiver, &Receiver::onBundle), IllegalStateException);
}

TEST_F(AMethodListener, MayBeAFunction) {
  callsOfTheFunction = 0;
  context().AddServiceListener(countCalls);
  offer();
  context().RemoveServiceListener(countCalls);
  offer();
  EXPECT_EQ(callsOfTheFunction, 1);
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations mistake one listener for another.

TEST_F(AMethodListener, DiffersFromAnotherMethodOfTheSameObject) {
  context().AddServiceListener(&receiver, &Receiver::onService);
  context().AddServiceListener(&receiver, &Receiver::onServiceToo);
  offer();
  EXPECT_THAT(receiver.journal.take(), testing::UnorderedElementsAre("REGISTERED", "REGISTERED too"));
  context().RemoveServiceListener(&receiver, &Receiver::onService);
  offer();
  EXPECT_THAT(receiver.journal.take(), ElementsAre("REGISTERED too"));
}

TEST_F(AMethodListener, MayBeACallableObjectThatIsRemovedByItsType) {
  int first = 0;
  int second = 0;
  const BundleListener countFirst = [&](const BundleEvent&) { ++first; };
  const BundleListener countSecond = [&](const BundleEvent&) { ++second; };
  context().AddBundleListener(countFirst);
  context().AddBundleListener(countSecond);
  context().RemoveBundleListener(countFirst);
  install();
  context().RemoveBundleListener(countSecond);
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

#endif

}  // namespace
