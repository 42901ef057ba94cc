#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include <cppmicroservices/ServiceEvent.h>
#include "SendingFramework.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "matchers.hpp"
#include "spf/test/Gate.hpp"

namespace {

using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworkwatch::PublisherWatch;
using cppmicroservices::ServiceEvent;
using spf::test::Gate;
using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using watchtest::Names;
using watchtest::SendingFramework;

static_assert(!std::is_copy_constructible_v<PublisherWatch> && !std::is_move_constructible_v<PublisherWatch>);

const Names publishers = {"a", "b"};

std::string messageOf(cppmicroservices::BundleContext context) {
  try {
    const PublisherWatch sut(std::move(context), publishers);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

std::shared_ptr<const ServicesEvent> published(const std::string& publisher) {
  return std::make_shared<const ServicesEvent>(
      ServicesEvent{{FrameworkEvent::services}, ServicesEvent::allPublished, publisher, 1});
}

TEST(AWatch, ListensAsLongAsItLives) {
  SendingFramework framework;
  {
    const PublisherWatch sut(framework.context(), publishers);
    EXPECT_THAT(framework.listeners(), SizeIs(1));
  }
  EXPECT_THAT(framework.listeners(), IsEmpty());
}

TEST(AWatch, OfAnEmptyContextThrowsARuntimeErrorThatSaysSo) {
  EXPECT_EQ(messageOf({}), "Cannot listen for the publishers' events: the bundle context is not valid");
}

TEST(AWatch, OfAFrameworkThatHasStoppedThrowsARuntimeErrorThatSaysSo) {
  SendingFramework framework;
  const auto context = framework.context();
  framework.stop();
  EXPECT_THAT(messageOf(context), HasSubstr("valid"));
}

TEST(AWatch, CanBeUsedAndDestroyedAfterTheFrameworkHasStopped) {
  SendingFramework framework;
  auto sut = std::make_unique<PublisherWatch>(framework.context(), publishers);
  framework.sendPublished("a", 1);
  framework.stop();
  EXPECT_THAT(sut->waitUntilAllUnpublished(milliseconds::zero(), milliseconds::zero()).outstanding, Names{"a"});
  sut.reset();
}

TEST(AWatch, CanBeDestroyedAfterItsListenerWasUnregisteredByTheFrameworksStop) {
  auto framework = std::make_unique<SendingFramework>();
  auto sut = std::make_unique<PublisherWatch>(framework->context(), publishers);
  framework.reset();
  sut.reset();
}

TEST(AWatch, CallsBackForEachEventOfItsPublishersOnTheSendersThread) {
  SendingFramework framework;
  std::vector<std::thread::id> threads;
  const PublisherWatch sut(framework.context(), publishers, 2, [&] { threads.push_back(std::this_thread::get_id()); });
  framework.sendBound("a", 2);
  framework.sendPublished("a", 2);
  framework.sendError("b", 2, "refused");
  framework.sendUnpublished("b", 1);
  framework.sendPublished("other", 2);
  EXPECT_EQ(threads, std::vector<std::thread::id>(4, std::this_thread::get_id()));
}

TEST(AWatch, MayBeExaminedInItsCallback) {
  SendingFramework framework;
  std::unique_ptr<PublisherWatch> sut;
  std::vector<bool> done;
  sut = std::make_unique<PublisherWatch>(framework.context(), publishers, 1, [&] {
    sut->expectRevision(1);
    done.push_back(sut->waitUntilAllPublished(milliseconds::zero()).done);
  });
  framework.sendPublished("a", 1);
  framework.sendPublished("b", 1);
  EXPECT_EQ(done, (std::vector<bool>{false, true}));
}

TEST(AWatch, PropagatesWhatItsCallbackThrowsAndCanBeDestroyed) {
  SendingFramework framework;
  PublisherWatch sut(framework.context(), publishers, 1, [] { throw std::runtime_error("thrown"); });
  EXPECT_THROW(framework.sendPublished("a", 1), std::runtime_error);
  EXPECT_EQ(sut.waitUntilAllPublished(milliseconds::zero()).silent, Names{"b"});
}

TEST(AWatch, IgnoresEventsThatArriveAfterItsDestruction) {
  SendingFramework framework;
  int calls = 0;
  auto sut = std::make_unique<PublisherWatch>(framework.context(), publishers, 1, [&] { ++calls; });
  const auto listener = framework.listeners().front();
  sut.reset();
  listener->handleEvent(published("a"));
  EXPECT_EQ(calls, 0);
}

TEST(AWatch, MayBeDestroyedInItsCallback) {
  SendingFramework framework;
  std::unique_ptr<PublisherWatch> sut;
  sut = std::make_unique<PublisherWatch>(framework.context(), publishers, 1, [&] { sut.reset(); });
  framework.sendPublished("a", 1);
  EXPECT_EQ(sut, nullptr);
  EXPECT_THAT(framework.listeners(), IsEmpty());
}

TEST(AWatch, IsDestroyedAfterCallbacksOnOtherThreadsHaveReturned) {
  SendingFramework framework;
  Gate inside;
  Gate unregistering;
  std::atomic<bool> returned{false};
  auto sut = std::make_unique<PublisherWatch>(framework.context(), publishers, 1, [&] {
    inside.open();
    EXPECT_TRUE(unregistering.wait());
    returned = true;
  });
  auto context = framework.context();
  auto token = context.AddServiceListener([&](const ServiceEvent& event) {
    if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING) {
      unregistering.open();
    }
  });
  std::thread sender([&] { framework.sendPublished("a", 1); });
  EXPECT_TRUE(inside.wait());
  sut.reset();
  EXPECT_TRUE(returned);
  sender.join();
  context.RemoveListener(std::move(token));
}

}  // namespace
