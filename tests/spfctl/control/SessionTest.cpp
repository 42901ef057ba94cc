#include "commands/Session.hpp"

#include <gmock/gmock.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "agent/host/host.hpp"
#include "control/FailingInstallations.hpp"
#include "control/ReplyDouble.hpp"
#include "file/readConfiguration.hpp"
#include "support/NotificationSocket.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using namespace spfctl;
using cppmicroservices::service::cm::ConfigurationAdmin;
using nlohmann::ordered_json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using State = HostStatus::State;

namespace {

constexpr auto everyInstallation = 1000;

std::string content(const std::string& endpoints, const std::string& interfaceName = "weather.Temperature") {
  return R"({"configurationID": "c", "serviceInterfaces": [{"uniqueID": "i", "name": ")" + interfaceName +
         R"("}], "servicePublishers": [{"uniqueID": "p", "name": "rpcservicepublisher", )" + endpoints +
         R"(}], "serviceMappings": [{"serviceInterfaceID": "i", "servicePublisherID": "p"}]})";
}

std::string binding(const std::string& endpoint) {
  return R"("endpointsToBindTo": [")" + endpoint + "\"]";
}

SharedSource sourceOf(const std::string& text) {
  auto checked = checkConfiguration({"/f.json", text});
  EXPECT_EQ(checked.findings.errors(), 0u) << text;
  return std::make_shared<const ConfigurationSource>(
      ConfigurationSource{"/f.json", text, std::move(checked.description)});
}

/// A session on a thread of its own, with the reference framework.
class ASession : public testing::Test {
 protected:
  ASession() {
    options_.quiet = true;
    sut_.publish();
    code_ = std::async(std::launch::async, [this] { return sut_.run(); });
    EXPECT_TRUE(waitForState(State::ready));
  }

  ~ASession() override {
    failInstallations(0);
    if (code_.valid()) {
      withdraw();
    }
  }

  // Ends the session. \return the exit code
  int withdraw() {
    requests_.addWithdrawal(makeReply());
    return code_.get();
  }

  // Sends a request, and returns its answer. Before that, the board is forgotten.
  ordered_json apply(const std::string& text, bool rollback = false, std::chrono::milliseconds timeout = patience) {
    const auto reply = makeReply();
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      states_.clear();
    }
    requests_.add({"/f.json", text, timeout, rollback, reply});
    return reply->answer();
  }

  void onStatus() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      states_.push_back(board_.get()->state);
    }
    changed_.notify_all();
  }

  bool hasBeen(State state) const { return std::find(states_.begin(), states_.end(), state) != states_.end(); }

  // Waits until the state was posted since the last request.
  bool waitForState(State state) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return hasBeen(state); });
  }

  // How many configurations of the session's ID Configuration Admin has.
  static std::size_t publications() {
    auto context = agent::host::services::getFramework()->GetBundleContext();
    const auto admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
    return admin->ListConfigurations("(pid=*~c)").size();
  }

  static agent::host::services::HostOptions hostOptions() {
    agent::host::services::HostOptions options;
    options.installationRoot = SPF_TREE;
    return options;
  }

  const EnvironmentVariable noManager_{"NOTIFY_SOCKET"};
  Changes changes_;
  const Signals signals_{changes_};
  const agent::host::services::Host host_{hostOptions()};
  EventRecorder recorder_{agent::host::services::getFramework()->GetBundleContext()};
  ChangeRequests requests_{changes_};
  StatusBoard board_;
  ServiceManager manager_;
  RunOptions options_;
  std::ostringstream out_;
  std::ostringstream err_;
  const Output output_{out_, err_};
  const std::string first_ = freeEndpoint();
  const std::string second_ = freeEndpoint();
  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::vector<State> states_;

  Session sut_{sourceOf(content(binding(first_))),
               options_,
               {signals_, changes_, recorder_, requests_, board_, manager_, [this] { onStatus(); }},
               output_};
  std::future<int> code_;
};

}  // namespace

TEST_F(ASession, ReplacesItsContent) {
  const auto answer = apply(content(binding(second_)));
  EXPECT_EQ(answer["ok"], true) << answer;
  EXPECT_EQ(answer["id"], "c");
  EXPECT_EQ(answer["revision"], 2);
  EXPECT_TRUE(isOpen(second_));
  EXPECT_EQ(board_.get()->state, State::ready);
  EXPECT_EQ(withdraw(), 0);
  EXPECT_FALSE(isOpen(second_));
  EXPECT_EQ(publications(), 0u);
}

TEST_F(ASession, PublishesTheOldContentAgainWhenThePublicationOfANewOneThrows) {
  failInstallations(1);
  const auto answer = apply(content(binding(second_)));
  EXPECT_EQ(codeIn(answer), 1);
  EXPECT_EQ(errorIn(answer), "the configuration cannot be published: the bundles cannot be installed");
  EXPECT_EQ(answer["recovery"],
            "published the old content again, as revision 2, ready; connections may have been closed");
  EXPECT_EQ(answer["revision"], 2);
  EXPECT_EQ(board_.get()->state, State::ready);
  EXPECT_EQ(board_.get()->lastError, errorIn(answer));
  EXPECT_TRUE(isOpen(first_));
  EXPECT_FALSE(isOpen(second_));
  EXPECT_EQ(publications(), 1u);
  EXPECT_EQ(apply(content(binding(second_)))["revision"], 3);
  EXPECT_TRUE(isOpen(second_));
  EXPECT_EQ(withdraw(), 0);
  EXPECT_EQ(publications(), 0u);
}

TEST_F(ASession, IsLostWhenTheOldContentCannotBePublishedEitherUntilANewOneCan) {
  failInstallations(everyInstallation);
  const auto answer = apply(content(binding(second_)));
  EXPECT_EQ(codeIn(answer), 1);
  EXPECT_EQ(answer["recovery"], "the old content cannot be published either: the bundles cannot be installed");
  EXPECT_EQ(board_.get()->state, State::lost);
  EXPECT_EQ(codeIn(apply(content(binding(second_)))), 1);
  EXPECT_EQ(board_.get()->state, State::lost);
  failInstallations(0);
  const auto next = apply(content(binding(second_)));
  EXPECT_EQ(next["ok"], true) << next;
  EXPECT_EQ(next["revision"], 3);
  EXPECT_EQ(board_.get()->state, State::ready);
  EXPECT_TRUE(isOpen(second_));
  EXPECT_EQ(withdraw(), 0);
  EXPECT_EQ(publications(), 0u);
}

TEST_F(ASession, WithdrawsALostConfiguration) {
  failInstallations(everyInstallation);
  apply(content(binding(second_)));
  EXPECT_EQ(publications(), 1u);
  failInstallations(0);
  EXPECT_EQ(withdraw(), 0);
  EXPECT_EQ(publications(), 0u);
  EXPECT_FALSE(isOpen(first_));
  EXPECT_THAT(out_.str(), HasSubstr("withdrawn\n"));
}

TEST_F(ASession, RollsBackWhatTheFrameworkRefuses) {
  const auto answer = apply(content(binding(second_), "weather.Gravity"), true);
  EXPECT_EQ(codeIn(answer), 5);
  EXPECT_EQ(errorIn(answer), "revision 2 was refused by the framework");
  EXPECT_EQ(answer["recovery"], "rolled back: revision 3 has the old content, ready");
  EXPECT_EQ(answer["revision"], 3);
  EXPECT_EQ(board_.get()->state, State::ready);
  EXPECT_TRUE(isOpen(first_));
}

TEST_F(ASession, KeepsWhatTheFrameworkRefusesWithoutARollback) {
  const auto answer = apply(content(binding(second_), "weather.Gravity"));
  EXPECT_EQ(codeIn(answer), 5);
  EXPECT_EQ(answer["recovery"], "");
  EXPECT_EQ(answer["revision"], 2);
  EXPECT_EQ(board_.get()->state, State::failed);
}

TEST_F(ASession, RollsBackWhatIsNotReadyInTime) {
  const auto endpoints = binding(first_) + R"(, "endpointsToConnectTo": [")" + second_ + "\"]";
  const auto answer = apply(content(endpoints), true, std::chrono::milliseconds::zero());
  EXPECT_EQ(codeIn(answer), 4);
  EXPECT_EQ(errorIn(answer), "revision 2 is not ready in time");
  EXPECT_THAT(answer["recovery"].get<std::string>(), StartsWith("rolled back: revision 3 has the old content, "));
  EXPECT_TRUE(waitForState(State::ready));
  EXPECT_TRUE(isOpen(first_));
}

TEST_F(ASession, RefusesInvalidContentAndAnotherIDAndKeepsItsOwn) {
  const auto invalid = apply("{");
  EXPECT_EQ(codeIn(invalid), 3);
  EXPECT_EQ(errorIn(invalid), "'/f.json' has errors");
  EXPECT_FALSE(invalid["messages"].empty());
  const auto other = apply(R"({"configurationID": "d"})");
  EXPECT_EQ(codeIn(other), 3);
  EXPECT_EQ(errorIn(other), "'/f.json' has the configurationID 'd'; expected 'c' or none");
  EXPECT_EQ(other["revision"], 1);
  EXPECT_TRUE(isOpen(first_));
}

}  // namespace spf::test
