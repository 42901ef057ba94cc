#include <algorithm>
#include <chrono>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "spf/test/Gate.hpp"
#include "spf/test/localHostIsKnown.hpp"
#include "support/RunningFramework.hpp"
#include "support/StatusWatch.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/listeningAddresses.hpp"

namespace {

using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using agent::spf::frameworkwatch::PublisherWatch;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::freePort;
using frameworktest::legacy;
using frameworktest::listeningAddresses;
using frameworktest::rpc;
using frameworktest::RunningFramework;
using frameworktest::StatusWatch;
using frameworktest::TemporaryFolder;
using spf::test::patience;
using testing::IsEmpty;

/// Endpoints to bind, by the IDs of their publishers.
using Content = std::map<std::string, std::set<std::string>>;

/// Contents that use the same places again and again, under several spellings.
class Rounds : public testing::Test {
 protected:
  int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random); }

  /// Gives most of the places to publishers, each to one of them.
  Content randomContent(const std::vector<std::string>& publishers) {
    Content content;
    for (const auto& publisher : publishers) {
      content[publisher];
    }
    for (const auto& spellings : places) {
      const auto owner = static_cast<std::size_t>(below(static_cast<int>(publishers.size()) + 1));
      if (owner < publishers.size()) {
        content[publishers[owner]].insert(
            spellings[static_cast<std::size_t>(below(static_cast<int>(spellings.size())))]);
      }
    }
    return content;
  }

  /// Waits until the framework has this content, and no other endpoint.
  void expectState(const Content& content, unsigned int revision) {
    using Record = std::tuple<std::string, unsigned int, std::string>;
    std::set<Record> expected;
    std::set<std::string> listening;
    for (const auto& [publisher, endpoints] : content) {
      for (const auto& endpoint : endpoints) {
        expected.emplace(publisher, revision, endpoint);
        if (endpoint.rfind("tcp://" + host + ":", 0) == 0) {
          listening.insert(endpoint);
        }
      }
    }
    EXPECT_TRUE(status.waitForList([&](const std::vector<EndpointState>& states) {
      std::set<Record> actual;
      for (const EndpointState& state : states) {
        if (state.phase == EndpointState::Phase::up) {
          actual.emplace(state.servicePublisherID, state.modificationCount, state.endpoint);
        }
      }
      return actual == expected && states.size() == expected.size();
    })) << testing::PrintToString(framework.service<EndpointStatus>()->list());
    EXPECT_TRUE(listens(listening)) << testing::PrintToString(listeningAddresses("tcp://" + host + ":"));
  }

  /// Waits until the process listens at exactly these addresses. No event reports that a publisher that stays has
  /// closed an endpoint.
  bool listens(const std::set<std::string>& addresses) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (listeningAddresses("tcp://" + host + ":") != addresses) {
      if (std::chrono::steady_clock::now() > deadline) {
        return false;
      }
      std::this_thread::yield();
    }
    return true;
  }

  const std::string port = freePort();
  const TemporaryFolder folder;
  const std::string first = freeAddress();
  const std::string host = first.substr(6, first.rfind(':') - 6);
  const std::vector<std::vector<std::string>> places = {
      {first},
      {freeAddress()},
      {freeAddress()},
      {"tcp://127.0.0.1:" + port, "tcp://*:" + port,
       (spf::test::localHostIsKnown() ? "tcp://localhost:" : "tcp://lo:") + port},
      {"ipc://" + folder.path() + "/x", "ipc://" + folder.path() + "/./x"},
      {"inproc://rounds"}};
  std::mt19937 random{20261122};
  RunningFramework framework;
  StatusWatch status{framework.service<EndpointStatus>()};
};

TEST_F(Rounds, OfPublicationModificationsAndAnAwaitedWithdrawalEndInTheNewestContent) {
  const std::vector<std::string> publishers = {"a", "b", "c"};
  const auto write = [&](SPFConfigurationBuilder builder, const Content& content) {
    for (const auto& [publisher, endpoints] : content) {
      builder.addServicePublisher(publisher, rpc, {}, endpoints, "", "");
    }
    return builder.build();
  };
  for (int round = 0; round < 100; ++round) {
    SCOPED_TRACE(round);
    PublisherWatch watch(framework.context(), publishers);
    unsigned int revision = 1;
    Content content = randomContent(publishers);
    SPFConfiguration configuration = write(SPFConfigurationBuilder("rounds"), content);
    for (int modifications = below(4); modifications > 0; --modifications) {
      if (below(2) == 0) {
        ASSERT_TRUE(watch.waitUntilAllPublished(patience));
      }
      content = randomContent(publishers);
      configuration = write(configuration.modify(), content);
      watch.expectRevision(++revision);
    }
    if (below(10) != 0) {  // else it is withdrawn while it is being applied
      ASSERT_TRUE(watch.waitUntilAllPublished(patience));
      expectState(content, revision);
    }
    configuration.reset();
    ASSERT_TRUE(watch.waitUntilAllUnpublished(patience));
    EXPECT_THAT(framework.service<EndpointStatus>()->list(), IsEmpty());
    EXPECT_THAT(listeningAddresses("tcp://" + host + ":"), IsEmpty());
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(Rounds, OfTwoConfigurationsThatTakePlacesFromOneAnotherEndInTheNewestContent) {
  for (int count = 1; count <= 200; ++count) {
    SCOPED_TRACE(count);
    // Some of the publishers are left out, or change their kind.
    std::vector<std::string> publishers = {"x1", "x2", "y1", "y2"};
    publishers.erase(publishers.begin() + below(4));
    const Content content = randomContent(publishers);
    for (const std::string configuration : {"x", "y"}) {
      if (below(5) == 0) {
        framework.remove(configuration);  // not waited for
      }
      Configuration revision(count);
      for (const auto& [publisher, endpoints] : content) {
        if (publisher.rfind(configuration, 0) == 0) {
          revision.publisher(publisher, below(3) == 0 ? legacy : rpc);
          std::for_each(endpoints.begin(), endpoints.end(), [&](const auto& endpoint) { revision.bind(endpoint); });
        }
      }
      framework.update(configuration, revision);
    }
    if (count % 4 == 0) {
      expectState(content, static_cast<unsigned int>(count));
      ASSERT_FALSE(HasFailure());
    }
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

}  // namespace
