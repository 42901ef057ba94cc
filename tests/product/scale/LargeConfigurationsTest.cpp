#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;

SPFConfigurationBuilder builderToAll(int interfaces, int publishers) {
  SPFConfigurationBuilder builder("large");
  for (int number = 0; number < interfaces; ++number) {
    builder.addServiceInterfaceToAllServicePublishers(serviceInterface("i" + std::to_string(number)));
  }
  for (int number = 0; number < publishers; ++number) {
    builder.addServicePublisher(publisher("p" + std::to_string(number)));
  }
  return builder;
}

TEST(ALargeConfiguration, MapsFiveThousandInterfacesToFiftyPublishers) {
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  auto sut = builderToAll(5000, 50).build();
  const auto properties = admin->properties("zk.spf.framework~large");
  const auto interfaceIDs = idsIn(*properties, "serviceConfigurations");
  const auto publisherIDs = idsIn(*properties, "servicePublisherConfigurations");
  ASSERT_EQ(interfaceIDs.size(), 5000u);
  ASSERT_EQ(publisherIDs.size(), 50u);
  Pairs expected;
  for (const auto& interfaceID : interfaceIDs) {
    for (const auto& publisherID : publisherIDs) {
      expected.emplace_back(interfaceID, publisherID);
    }
  }
  EXPECT_TRUE(mappingsIn(*properties) == expected);
  EXPECT_EQ(sut.getServiceInterfaceConfigurationsForServicePublisher("p49").size(), 5000u);

  sut.reset();
  EXPECT_TRUE(admin->pids().empty());
}

TEST(ALargePublisher, IsCompleteWhenManyThreadsReportedItsEndpointsAtRandom) {
  // Each is listed four times: the comparisons are quadratic in the number of different ones.
  constexpr int endpoints = 20000;
  constexpr int different = endpoints / 4;
  constexpr int threads = 8;
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  List toBind;
  List toConnect;
  std::vector<int> order;
  for (int number = 0; number < endpoints; ++number) {
    (number % 2 == 0 ? toBind : toConnect).emplace_back(number % different);
  }
  for (int number = 0; number < different; ++number) {
    order.push_back(number);
  }
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  auto sut = SPFConfigurationBuilder("large")
                 .addServicePublisher(publisher("p", std::move(toConnect), std::move(toBind)))
                 .build();
  auto context = framework.context();
  const auto listener = context.GetService(context.GetServiceReference<FrameworkListener>());
  framework.sendPublished("p", 1);

  std::vector<std::thread> senders;
  for (int first = 0; first < threads; ++first) {
    senders.emplace_back([&, first] {
      for (std::size_t index = first; index < order.size(); index += threads) {
        const auto change = order[index] % 2 == 0 ? EndpointEvent::bound : EndpointEvent::connected;
        listener->handleEvent(std::make_shared<EndpointEvent>(
            EndpointEvent{{FrameworkEvent::endpoint}, change, Any(order[index]), "p", 1}));
      }
    });
  }
  EXPECT_TRUE(sut.waitForAllEndpoints(std::chrono::minutes(3), "p"));
  for (auto& sender : senders) {
    sender.join();
  }
  EXPECT_EQ(framework.listeners(), 0u);
}

TEST(AConfigurationOfAThousandPublishers, LosesNothingOfManyThreadsThatReportToManyThatWait) {
  constexpr int publishers = 1000;
  constexpr int endpoints = 4;
  constexpr int threads = 64;
  const FrameworkWithConfigurationAdmin framework;
  SPFConfigurationBuilder builder("large");
  List toBind;
  for (int endpoint = 0; endpoint < endpoints; ++endpoint) {
    toBind.emplace_back(endpoint);
  }
  for (int number = 0; number < publishers; ++number) {
    builder.addServicePublisher(publisher("p" + std::to_string(number), {}, toBind));
  }
  auto sut = builder.build();
  auto context = framework.context();
  const auto listener = context.GetService(context.GetServiceReference<FrameworkListener>());

  std::atomic<int> awaited{0};
  std::vector<std::thread> all;
  for (int first = 0; first < threads; ++first) {
    // Each publisher is awaited by two threads, of which one wants its endpoints and one its services.
    all.emplace_back([&, first] {
      for (int number = first / 2; number < publishers; number += threads / 2) {
        const auto id = "p" + std::to_string(number);
        const bool done = first % 2 == 0 ? sut.waitForAllEndpoints(std::chrono::minutes(3), id)
                                         : sut.waitForAllServices(std::chrono::minutes(3), id);
        awaited += done ? 1 : 0;
      }
    });
    // Each event is sent by one thread, and the events of one publisher by several.
    all.emplace_back([&, first] {
      for (int event = first; event < publishers * (endpoints + 1); event += threads) {
        const auto id = "p" + std::to_string(event / (endpoints + 1));
        const int endpoint = event % (endpoints + 1);
        if (endpoint == endpoints) {
          listener->handleEvent(
              std::make_shared<ServicesEvent>(ServicesEvent{{0}, ServicesEvent::allPublished, id, 1}));
        } else {
          listener->handleEvent(std::make_shared<EndpointEvent>(
              EndpointEvent{{FrameworkEvent::endpoint}, EndpointEvent::bound, Any(endpoint), id, 1}));
        }
      }
    });
  }
  for (auto& thread : all) {
    thread.join();
  }
  EXPECT_EQ(awaited, 2 * publishers);
  EXPECT_EQ(framework.listeners(), 0u) << "the configuration is complete";
}

class ManyLiveConfigurations : public testing::Test {
 protected:
  static constexpr int number = 1000;

  ManyLiveConfigurations() {
    for (int i = 0; i < number; ++i) {
      const auto id = std::to_string(i);
      configurations_.push_back(SPFConfigurationBuilder(id).addServicePublisher(publisher("p" + id)).build());
    }
  }
  std::vector<std::shared_ptr<FrameworkListener>> registeredListeners() {
    auto context = framework_.context();
    std::vector<std::shared_ptr<FrameworkListener>> listeners;
    for (const auto& reference : context.GetServiceReferences<FrameworkListener>()) {
      listeners.push_back(context.GetService(reference));
    }
    return listeners;
  }

  FrameworkWithConfigurationAdmin framework_;
  std::vector<SPFConfiguration> configurations_;
};

TEST_F(ManyLiveConfigurations, EachHearTheirOwnAnswerOfAllThatAreSentToEveryone) {
  const auto listeners = registeredListeners();
  ASSERT_EQ(listeners.size(), static_cast<std::size_t>(number));
  for (int i = 0; i < number; i += 2) {
    const auto event =
        std::make_shared<ServicesEvent>(ServicesEvent{{0}, ServicesEvent::allPublished, "p" + std::to_string(i), 1});
    for (const auto& listener : listeners) {
      listener->handleEvent(event);
    }
  }
  for (int i = 0; i < number; ++i) {
    EXPECT_EQ(configurations_[i].waitForAllServices(noWait, "p" + std::to_string(i)), i % 2 == 0) << i;
  }
  EXPECT_EQ(framework_.listeners(), static_cast<std::size_t>(number) / 2);
}

TEST_F(ManyLiveConfigurations, AreEachWithdrawnAndLeaveNothing) {
  EXPECT_EQ(framework_.configurationIDs().size(), static_cast<std::size_t>(number));
  EXPECT_EQ(framework_.host().installations().size(), 7u * number);
  const RecordedLog log(4 | 512);
  std::vector<std::string> expected;
  for (int i = 0; i < number; ++i) {
    expected.push_back("About to remove spf configuration for " + std::to_string(i));
    if (i % 2 == 0) {
      configurations_[i].reset();
    } else {
      EXPECT_FALSE(configurations_[i].waitForAllServicesToBeUnpublished(noWait, "p" + std::to_string(i)));
    }
  }
  EXPECT_EQ(log.messages(), expected);
  EXPECT_TRUE(framework_.configurationIDs().empty());
  EXPECT_EQ(framework_.listeners(), 0u);
}

}  // namespace spf::test
