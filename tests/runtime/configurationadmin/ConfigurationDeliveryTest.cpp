#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;

class ADelivery : public ConfigurationAdminFixture {
 protected:
  std::shared_ptr<RecordingFactory> addFactory(const std::string& pid = "f", const std::string& name = "factory") {
    const auto factory = std::make_shared<RecordingFactory>(journal, name);
    registerWithPid(factory, pid);
    return factory;
  }

  /// Blocks until all earlier work is delivered, if the runtime keeps an order between configurations.
  void waitForWhatIsQueued() { admin->GetConfiguration("of nobody")->Update().get(); }
};

TEST_F(ADelivery, IsMadeToTheFactoryOfTheConfiguration) {
  addFactory("f");
  addFactory("g", "other");
  admin->GetFactoryConfiguration("f", "i")->Update(valued(1)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~i=1"));
}

TEST_F(ADelivery, IsMadeToTheServiceWithExactlyThatPid) {
  registerWithPid(std::make_shared<RecordingService>(journal, "plain"), "plain");
  registerWithPid(std::make_shared<RecordingService>(journal, "instance"), "f~i");
  registerWithPid(std::make_shared<RecordingService>(journal, "factory"), "f");
  admin->GetConfiguration("plain")->Update(valued(1)).get();
  admin->GetConfiguration("f~i")->Update(valued(2)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("plain=1", "instance=2"));
}

TEST_F(ADelivery, IsMadeToTheFactoryBeforeTheFirstTilde) {
  addFactory("x");
  addFactory("x~y", "never");
  admin->GetFactoryConfiguration("x~y", "z")->Update(valued(1)).get();
  EXPECT_THAT(journal.entries(), ElementsAre("factory x~y~z=1"));

  const auto created = admin->CreateFactoryConfiguration("x~y");
  created->Update(valued(2)).get();
  EXPECT_EQ(journal.entries().back(), "factory " + created->GetPid() + "=2");
}

TEST_F(ADelivery, IsNotMadeToAFactoryWithoutAName) {
  addFactory("");
  admin->GetConfiguration("plain")->Update(valued(1)).get();
  EXPECT_EQ(admin->GetFactoryConfiguration("", "i")->GetPid(), "~i");
  admin->GetConfiguration("~i")->Update(valued(1)).get();
  addFactory("", "late");
  waitForWhatIsQueued();

  EXPECT_THAT(journal.entries(), ElementsAre());
}

TEST_F(ADelivery, RunsOnOneThreadThatIsNotTheCallers) {
  const auto factory = addFactory();
  std::vector<std::thread::id> threads;
  factory->onUpdated = [&](const std::string&) { threads.push_back(std::this_thread::get_id()); };
  admin->GetConfiguration("f~1")->Update().get();
  admin->GetConfiguration("f~2")->Update().get();

  ASSERT_EQ(threads.size(), 2u);
  EXPECT_EQ(threads[0], threads[1]);
  EXPECT_NE(threads[0], std::this_thread::get_id());
}

TEST_F(ADelivery, IsMadeToListenersThenServicesThenFactories) {
  addFactory("f", "factory1");
  addFactory("f", "factory2");
  registerWithPid(std::make_shared<RecordingService>(journal, "service1"), "f~i");
  registerWithPid(std::make_shared<RecordingService>(journal, "service2"), "f~i");
  registerListener(std::make_shared<RecordingListener>(journal));
  admin->GetConfiguration("f~i")->Update(valued(1)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("event updated pid: factory:f~i", "service1=1", "service2=1",
                                             "factory1 f~i=1", "factory2 f~i=1"));
}

TEST_F(ADelivery, HasEndedWhenItsFutureIsReady) {
  blockDeliveries();
  const auto future = admin->GetConfiguration("f~i")->Update();
  const auto safe = admin->GetConfiguration("f~j")->SafeUpdate();
  EXPECT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  unblockDeliveries();

  EXPECT_TRUE(becomesReady(future));
  safe->wait();
  EXPECT_EQ(safe->wait_for(0), std::future_status::ready);
}

TEST_F(ADelivery, IsNeverMadeWhileAnotherOneRuns) {
  addFactory();
  blockDeliveries();
  const auto future = admin->GetConfiguration("f~i")->Update(valued(1));
  EXPECT_THAT(journal.entries(), ElementsAre("blocker blocker~it=0"));
  unblockDeliveries();
  future.get();

  EXPECT_THAT(journal.entries(), ElementsAre("blocker blocker~it=0", "factory f~i=1"));
}

TEST_F(ADelivery, IsNeverMadeWhileAnotherThreadsOneRuns) {
  const auto factory = addFactory();
  std::atomic<int> running{0};
  std::atomic<int> most{0};
  factory->onUpdated = [&](const std::string&) {
    most = std::max(most.load(), ++running);
    std::this_thread::yield();
    --running;
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([sut = admin->GetConfiguration("f~" + std::to_string(i))] {
      for (int round = 0; round < 100; ++round) {
        sut->Update(valued(round));
      }
      sut->Update(valued(100)).get();
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(most, 1);
}

TEST_F(ADelivery, HasThePropertiesOfTheMomentWhenItIsMade) {
  addFactory();
  blockDeliveries();
  const auto sut = admin->GetConfiguration("f~i");
  sut->Update(valued(1));
  sut->Update(valued(2));
  const auto last = sut->Update(valued(3));
  unblockDeliveries();
  last.get();

  EXPECT_THAT(journal.entries(),
              ElementsAre("blocker blocker~it=0", "factory f~i=3", "factory f~i=3", "factory f~i=3"));
}

TEST_F(ADelivery, ToALateFactoryIsOrderedByPid) {
  for (const auto* const pid : {"f~c", "f~a", "f~b", "g~a", "f"}) {
    admin->GetConfiguration(pid)->Update(valued(1)).get();
  }
  admin->GetConfiguration("f~aa");
  addFactory();
  journal.waitFor(3);
  waitForWhatIsQueued();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "factory f~b=1", "factory f~c=1"));
}

TEST_F(ADelivery, IsNotMadeToALateServiceBeforeTheFirstUpdate) {
  const auto sut = admin->GetConfiguration("a");
  registerWithPid(std::make_shared<RecordingService>(journal), "a");
  waitForWhatIsQueued();

  EXPECT_THAT(journal.entries(), ElementsAre());
}

TEST_F(ADelivery, ToLateReceiversIsNotMadeByTheThreadThatRegistersThem) {
  admin->GetConfiguration("f~i")->Update(valued(1)).get();
  blockDeliveries();
  addFactory();
  registerWithPid(std::make_shared<RecordingService>(journal), "f~i");
  EXPECT_THAT(journal.entries(), ElementsAre("blocker blocker~it=0"));
  unblockDeliveries();

  EXPECT_THAT(journal.waitFor(3), testing::UnorderedElementsAre("blocker blocker~it=0", "factory f~i=1", "service=1"));
}

TEST_F(ADelivery, IsRepeatedToAFactoryThatIsRegisteredAgain) {
  admin->GetConfiguration("f~a")->Update(valued(1)).get();
  const auto factory = std::make_shared<RecordingFactory>(journal);
  auto registration = registerWithPid(factory, "f");
  ASSERT_EQ(journal.waitFor(1).size(), 1u);
  registration.Unregister();
  registerWithPid(factory, "f");

  EXPECT_THAT(journal.waitFor(2), ElementsAre("factory f~a=1", "factory f~a=1"));
}

TEST_F(ADelivery, ToALateFactoryHasThePropertiesOfItsRegistration) {
  const auto sut = admin->GetConfiguration("f~i");
  sut->Update(valued(1)).get();
  blockDeliveries();
  addFactory();
  const auto last = sut->Update(valued(2));
  unblockDeliveries();
  last.get();

  EXPECT_THAT(journal.waitFor(3),
              testing::UnorderedElementsAre("blocker blocker~it=0", "factory f~i=1", "factory f~i=2"));
}

TEST_F(ADelivery, DoesNotBlockTheUnregistrationOfItsReceiver) {
  const auto factory = std::make_shared<RecordingFactory>(journal);
  factory->onUpdated = [&](const std::string&) {
    blocked.open();
    EXPECT_TRUE(unblocked.wait());
  };
  auto registration = registerWithPid(factory, "f");
  const auto running = admin->GetConfiguration("f~i")->Update(valued(1));
  ASSERT_TRUE(blocked.wait());
  registration.Unregister();
  EXPECT_EQ(running.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  unblockDeliveries();
  running.get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~i=1"));
}

TEST_F(ADelivery, IsMadeToALateService) {
  admin->GetConfiguration("f~one")->Update(valued(1)).get();
  registerWithPid(std::make_shared<RecordingService>(journal), "f~one");

  EXPECT_THAT(journal.waitFor(1), ElementsAre("service=1"));
}

TEST_F(ADelivery, IsNotMadeToAServiceWithoutConfiguration) {
  registerWithPid(std::make_shared<RecordingService>(journal), "a");
  admin->GetConfiguration("b")->Update(valued(1)).get();

  EXPECT_THAT(journal.entries(), ElementsAre());
}

TEST_F(ADelivery, IsNotMadeToAnUnregisteredFactory) {
  auto registration = registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  admin->GetConfiguration("f~told")->Update(valued(1)).get();
  blockDeliveries();
  const auto queued = admin->GetConfiguration("f~i")->Update(valued(1));
  registration.Unregister();
  unblockDeliveries();
  queued.get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~told=1", "blocker blocker~it=0"));
}

TEST_F(ADelivery, IsMadeToALateFactoryEvenIfThatIsUnregisteredMeanwhile) {
  admin->GetConfiguration("f~i")->Update(valued(1)).get();
  blockDeliveries();
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f").Unregister();
  unblockDeliveries();

  EXPECT_THAT(journal.waitFor(2), ElementsAre("blocker blocker~it=0", "factory f~i=1"));
}

TEST_F(ADelivery, IsDoneWhateverItsReceiversThrow) {
  const auto first = addFactory("f", "first");
  first->onUpdated = [](const std::string&) { throw std::runtime_error("not wanted"); };
  first->onRemoved = [](const std::string&) { throw 5; };
  addFactory("f", "second");
  const auto service = std::make_shared<RecordingService>(journal);
  service->onUpdated = [] { throw 5; };
  registerWithPid(service, "f~i");
  const auto sut = admin->GetConfiguration("f~i");

  EXPECT_NO_THROW(sut->Update(valued(1)).get());
  EXPECT_EQ(sut->GetProperties(), valued(1));
  EXPECT_NO_THROW(sut->Remove().get());
  EXPECT_THAT(journal.entries(), ElementsAre("service=1", "first f~i=1", "second f~i=1",
                                             "service=", "first f~i removed", "second f~i removed"));
}

TEST_F(ADelivery, MayUseTheConfigurationAdminAndTheFramework) {
  const auto factory = addFactory();
  factory->onUpdated = [&](const std::string& pid) {
    if (pid == "f~outer") {
      admin->GetFactoryConfiguration("f", "inner")->Update(valued(2));
      addFactory("g", "other");
      admin->GetConfiguration("g~new")->Update(valued(3));
    }
  };
  admin->GetConfiguration("f~outer")->Update(valued(1)).get();

  EXPECT_THAT(journal.waitFor(3),
              testing::UnorderedElementsAre("factory f~outer=1", "factory f~inner=2", "other g~new=3"));
}

TEST_F(ADelivery, MayWaitForTheSafeFutureOfAnotherOne) {
  const auto factory = addFactory();
  factory->onUpdated = [&](const std::string& pid) {
    if (pid == "f~outer") {
      admin->GetConfiguration("f~inner")->SafeUpdate(valued(2))->wait();
      journal.write("waited");
    }
  };
  admin->GetConfiguration("f~outer")->Update(valued(1)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~outer=1", "factory f~inner=2", "waited"));
}

#ifdef SPF_RUNTIME_BUNDLED
TEST_F(ADelivery, MayWaitForThePlainFutureOfAnotherOne) {
  const auto factory = addFactory();
  std::shared_future<void> inner;
  factory->onUpdated = [&](const std::string& pid) {
    if (pid == "f~outer") {
      inner = admin->GetConfiguration("f~inner")->Update(valued(2));
      inner.get();
      journal.write("waited");
    }
  };
  admin->GetConfiguration("f~outer")->Update(valued(1)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~outer=1", "factory f~inner=2", "waited"));
  EXPECT_EQ(inner.wait_for(std::chrono::seconds(0)), std::future_status::ready);
}

TEST_F(ADelivery, CompletesThePlainFutureOfAnotherOneWithoutAWait) {
  const auto factory = addFactory();
  std::promise<std::shared_future<void>> inner;
  factory->onUpdated = [&](const std::string& pid) {
    if (pid == "f~outer") {
      inner.set_value(admin->GetConfiguration("f~inner")->Update(valued(2)));
    }
  };
  admin->GetConfiguration("f~outer")->Update(valued(1)).get();
  const auto future = inner.get_future().get();
  admin->GetConfiguration("f~last")->Update(valued(3)).get();

  EXPECT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
}

TEST_F(ADelivery, HasAPlainFutureThatAnotherThreadMayWaitFor) {
  const auto factory = addFactory();
  std::promise<std::shared_future<void>> inner;
  factory->onUpdated = [&](const std::string& pid) {
    if (pid == "f~outer") {
      inner.set_value(admin->GetConfiguration("f~inner")->Update(valued(2)));
      EXPECT_TRUE(unblocked.wait());
    }
  };
  admin->GetConfiguration("f~outer")->Update(valued(1));
  const auto future = inner.get_future().get();
  std::thread waiting([&] { future.get(); });
  unblockDeliveries();
  waiting.join();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~outer=1", "factory f~inner=2"));
}

TEST_F(ADelivery, RefusesToWaitForItself) {
  const auto factory = addFactory();
  std::promise<std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture>> own;
  auto known = own.get_future().share();
  factory->onUpdated = [&](const std::string&) {
    EXPECT_THROW(known.get()->wait(), std::logic_error);
    EXPECT_THROW(known.get()->get(), std::logic_error);
    EXPECT_EQ(known.get()->wait_for(1), std::future_status::timeout);
    journal.write("refused");
  };
  own.set_value(admin->GetConfiguration("f~i")->SafeUpdate(valued(1)));
  known.get()->wait();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~i=1", "refused"));
}

TEST_F(ADelivery, OfAnOldUpdateIsNotMadeToALateFactory) {
  blockDeliveries();
  admin->GetConfiguration("f~i")->Update(valued(1));
  addFactory();
  const auto last = admin->GetConfiguration("f~j")->Update(valued(2));
  unblockDeliveries();
  last.get();

  EXPECT_THAT(journal.entries(), ElementsAre("blocker blocker~it=0", "factory f~i=1", "factory f~j=2"));
}
#endif

}  // namespace spf::test
