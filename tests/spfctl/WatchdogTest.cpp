#include "supervision/Watchdog.hpp"

#include <gmock/gmock.h>

#include <optional>
#include <stdexcept>
#include <thread>

#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "spf/test/Gate.hpp"

namespace spf::test {

using namespace std::chrono_literals;
using agent::spf::frameworkinterfaces::HealthCheck;
using spfctl::Changes;
using spfctl::Watchdog;
using testing::ElementsAre;
using testing::IsEmpty;
using Done = std::function<void()>;

// A bundle whose thread answers when the test does.
class Component : public HealthCheck {
 public:
  void check(Done done) override {
    questions.push_back(std::move(done));
    onCheck();
  }

  void answer() {
    for (const auto& question : questions) {
      question();
    }
    questions.clear();
  }

  std::vector<Done> questions;
  Done onCheck = [] {};
};

class AWatchdog : public testing::Test {
 protected:
  using Registration = cppmicroservices::ServiceRegistration<HealthCheck>;

  AWatchdog() : framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
    framework_.Start();
    sut_.emplace(
        framework_.GetBundleContext(), 20s, [this] { ++confirmations_; }, changes_);
  }
  ~AWatchdog() override {
    sut_.reset();
    framework_.Stop();
    framework_.WaitForStop(0ms);
  }

  Registration offer(const std::shared_ptr<Component>& component, const std::string& name) {
    return framework_.GetBundleContext().RegisterService<HealthCheck>(
        component, {{HealthCheck::component, cppmicroservices::Any(name)}});
  }

  // Updates at a time after the first update.
  void updateAt(std::chrono::seconds time) { sut_->update(begin_ + time); }

  const Watchdog::Clock::time_point begin_{1000s};
  Changes changes_;
  cppmicroservices::Framework framework_;
  int confirmations_ = 0;
  std::optional<Watchdog> sut_;
  const std::shared_ptr<Component> transport_ = std::make_shared<Component>();
  const std::shared_ptr<Component> controller_ = std::make_shared<Component>();
};

TEST_F(AWatchdog, ConfirmsAtHalfOfTheIntervalWithoutAnyService) {
  EXPECT_LE(sut_->nextDeadline(), begin_);
  updateAt(0s);
  EXPECT_EQ(confirmations_, 1);
  EXPECT_EQ(sut_->nextDeadline(), begin_ + 10s);
  updateAt(9s);
  EXPECT_EQ(confirmations_, 1);
  updateAt(10s);
  EXPECT_EQ(confirmations_, 2);
  EXPECT_EQ(sut_->nextDeadline(), begin_ + 20s);
}

TEST_F(AWatchdog, ConfirmsAtOnceWhenEveryServiceAnswersAtOnce) {
  for (const auto& component : {transport_, controller_}) {
    component->onCheck = [component = component.get()] { component->answer(); };
    offer(component, "component");
  }
  updateAt(0s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, ConfirmsOnceWhenTheLastServiceHasAnswered) {
  offer(transport_, "transport");
  offer(controller_, "controller");
  updateAt(0s);
  EXPECT_EQ(confirmations_, 0);
  transport_->answer();
  updateAt(1s);
  EXPECT_EQ(confirmations_, 0);
  controller_->answer();
  updateAt(2s);
  updateAt(3s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, AsksAgainAtHalfOfTheIntervalOnly) {
  offer(transport_, "transport");
  updateAt(0s);
  transport_->answer();
  updateAt(9s);
  EXPECT_THAT(transport_->questions, IsEmpty());
  updateAt(10s);
  EXPECT_EQ(transport_->questions.size(), 1u);
  EXPECT_EQ(confirmations_, 1);
  transport_->answer();
  updateAt(11s);
  EXPECT_EQ(confirmations_, 2);
}

TEST_F(AWatchdog, NotesAnAnswerFromAnotherThreadAsAChange) {
  offer(transport_, "transport");
  updateAt(0s);
  const auto seen = changes_.count();
  std::thread thread([this] { transport_->answer(); });
  changes_.waitForMoreThan(seen, Watchdog::Clock::now() + patience);
  EXPECT_EQ(changes_.count(), seen + 1);
  updateAt(1s);
  EXPECT_EQ(confirmations_, 1);
  thread.join();
}

TEST_F(AWatchdog, NamesAServiceThatIsLateAndConfirmsWhenItAnswers) {
  offer(transport_, "transport");
  offer(controller_, "controller");
  updateAt(0s);
  controller_->answer();
  updateAt(9s);
  EXPECT_THAT(sut_->unanswered(), IsEmpty());
  updateAt(10s);
  EXPECT_THAT(sut_->unanswered(), ElementsAre("transport"));
  EXPECT_EQ(confirmations_, 0);
  transport_->answer();
  updateAt(11s);
  EXPECT_THAT(sut_->unanswered(), IsEmpty());
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, NeitherConfirmsNorAsksAgainWhileAServiceDoesNotAnswer) {
  offer(transport_, "transport");
  offer(controller_, "controller");
  controller_->onCheck = [this] { controller_->answer(); };
  for (const auto time : {0s, 10s, 20s, 30s}) {
    updateAt(time);
    EXPECT_EQ(sut_->nextDeadline(), begin_ + time + 10s);
  }
  EXPECT_EQ(confirmations_, 0);
  EXPECT_EQ(transport_->questions.size(), 1u);
  EXPECT_THAT(sut_->unanswered(), ElementsAre("transport"));
}

TEST_F(AWatchdog, CountsOneAnswerOfAServiceThatAnswersTwice) {
  offer(transport_, "transport");
  offer(controller_, "controller");
  updateAt(0s);
  const auto done = transport_->questions.front();
  done();
  done();
  updateAt(1s);
  EXPECT_EQ(confirmations_, 0);
}

TEST_F(AWatchdog, TakesAnAnswerToAnEarlierQuestionForNone) {
  offer(transport_, "transport");
  updateAt(0s);
  const auto earlier = transport_->questions.front();
  transport_->answer();
  updateAt(1s);
  updateAt(10s);
  earlier();
  updateAt(11s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, AsksAServiceThatThrowsAgainAndConfirmsWhenItAnswers) {
  offer(transport_, "transport");
  transport_->onCheck = [this] {
    transport_->answer();
    throw std::runtime_error("no memory");
  };
  updateAt(0s);
  EXPECT_EQ(confirmations_, 0);
  transport_->onCheck = [] { throw 7; };
  updateAt(10s);
  EXPECT_EQ(confirmations_, 0);
  EXPECT_THAT(sut_->unanswered(), ElementsAre("transport"));
  transport_->answer();
  updateAt(11s);
  EXPECT_EQ(confirmations_, 0) << "the answer to a question that was refused";
  transport_->onCheck = [this] { transport_->answer(); };
  updateAt(20s);
  EXPECT_EQ(confirmations_, 1);
  EXPECT_THAT(sut_->unanswered(), IsEmpty());
}

TEST_F(AWatchdog, AsksAServiceThatDropsTheQuestionAgain) {
  offer(transport_, "transport");
  updateAt(0s);
  const auto seen = changes_.count();
  transport_->questions.clear();
  EXPECT_EQ(changes_.count(), seen + 1);
  updateAt(1s);
  EXPECT_EQ(confirmations_, 0);
  updateAt(10s);
  EXPECT_EQ(confirmations_, 0);
  EXPECT_THAT(sut_->unanswered(), ElementsAre("transport"));
  transport_->answer();
  updateAt(11s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, WaitsForTheLastCopyOfAQuestion) {
  auto registration = offer(transport_, "transport");
  updateAt(0s);
  registration.Unregister();
  auto copy = transport_->questions.front();
  transport_->questions.clear();
  updateAt(1s);
  EXPECT_EQ(confirmations_, 0);
  copy = nullptr;
  updateAt(2s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, ConfirmsWhenAServiceHasDroppedTheQuestionAndIsUnregistered) {
  auto registration = offer(transport_, "transport");
  updateAt(0s);
  transport_->questions.clear();
  updateAt(1s);
  EXPECT_EQ(confirmations_, 0);
  registration.Unregister();
  updateAt(2s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, WaitsForAServiceThatIsUnregisteredButKeepsTheQuestion) {
  auto registration = offer(transport_, "transport");
  updateAt(0s);
  registration.Unregister();
  updateAt(10s);
  EXPECT_EQ(confirmations_, 0);
  EXPECT_THAT(sut_->unanswered(), ElementsAre("transport"));
  transport_->answer();
  updateAt(11s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, ConfirmsWhenAServiceIsUnregisteredWhileItIsAsked) {
  auto registration = offer(transport_, "transport");
  transport_->onCheck = [&] {
    registration.Unregister();
    transport_->questions.clear();
  };
  updateAt(0s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, ConfirmsWhenAServiceIsUnregisteredBeforeItsTurn) {
  auto first = offer(transport_, "transport");
  auto second = offer(controller_, "controller");
  transport_->onCheck = [&] {
    second.Unregister();
    transport_->answer();
  };
  updateAt(0s);
  EXPECT_EQ(confirmations_, 1);
  EXPECT_THAT(controller_->questions, IsEmpty());
}

TEST_F(AWatchdog, AsksAServiceThatIsRegisteredLaterFromTheNextTimeOn) {
  updateAt(0s);
  offer(transport_, "transport");
  updateAt(1s);
  EXPECT_THAT(transport_->questions, IsEmpty());
  updateAt(10s);
  EXPECT_EQ(confirmations_, 1);
  transport_->answer();
  updateAt(11s);
  EXPECT_EQ(confirmations_, 2);
}

TEST_F(AWatchdog, NamesAServiceWithoutANameToo) {
  const auto registration = framework_.GetBundleContext().RegisterService<HealthCheck>(transport_);
  updateAt(0s);
  updateAt(10s);
  EXPECT_THAT(sut_->unanswered(), ElementsAre("a bundle without a name"));
}

TEST_F(AWatchdog, ConfirmsWhereTheFrameworkHasStopped) {
  framework_.Stop();
  framework_.WaitForStop(0ms);
  updateAt(0s);
  EXPECT_EQ(confirmations_, 1);
}

TEST_F(AWatchdog, MayBeDestroyedBeforeAQuestionIsAnsweredOrDropped) {
  offer(transport_, "transport");
  offer(controller_, "controller");
  updateAt(0s);
  const auto seen = changes_.count();
  sut_.reset();
  std::thread thread([this] {
    transport_->answer();
    controller_->questions.clear();
  });
  thread.join();
  EXPECT_EQ(changes_.count(), seen);
  EXPECT_EQ(confirmations_, 0);
}

// The answers and the destruction meet at any point.
TEST_F(AWatchdog, MayBeDestroyedWhileAQuestionIsAnswered) {
  for (int repetition = 0; repetition < 200; ++repetition) {
    const auto component = std::make_shared<Component>();
    auto registration = offer(component, "component");
    std::optional<Changes> changes(std::in_place);
    std::optional<Watchdog> sut(
        std::in_place, framework_.GetBundleContext(), 20s, [] {}, *changes);
    sut->update(begin_);
    Gate gate;
    bool passed = false;
    std::thread thread([&] {
      passed = gate.wait();
      component->answer();
    });
    gate.open();
    sut.reset();
    changes.reset();
    thread.join();
    EXPECT_TRUE(passed);
    registration.Unregister();
  }
}

}  // namespace spf::test
