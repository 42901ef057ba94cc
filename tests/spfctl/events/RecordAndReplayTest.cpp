#include <gmock/gmock.h>

#include <optional>
#include <sstream>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/host.hpp"
#include "agent/host/services.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "commands/Replay.hpp"
#include "events/EventRecorder.hpp"
#include "events/RecordingFile.hpp"
#include "file/readConfiguration.hpp"
#include "spf/test/Gate.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using namespace spfctl;
using agent::spf::frameworkwatch::PublisherWatch;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string publisher(const std::string& id, const std::string& bind, const std::string& connect) {
  return R"({"uniqueID": ")" + id + R"(", "name": "rpcservicepublisher", "endpointsToBindTo": [)" + bind +
         R"(], "endpointsToConnectTo": [)" + connect + "]}";
}

// A host with the reference framework, whose events are recorded.
class ARecordedHost : public testing::Test {
 protected:
  // Publishes revisions with these publishers, until each of them is ready, and withdraws the last one.
  void record(const std::vector<std::string>& publishers) {
    const agent::host::services::Host host;
    const auto context = agent::host::services::getFramework()->GetBundleContext();
    EventRecorder recorder(context);
    const RecordingFile file(recorder, recording_, messages_);
    agent::spf::frameworksetup::SPFConfiguration configuration;
    PublisherWatch watch(context, {"station"});
    for (std::uint32_t revision = 1; revision <= publishers.size(); ++revision) {
      const auto text = R"({"configurationID": "c", "servicePublishers": [)" + publishers[revision - 1] + "]}";
      const auto description = checkConfiguration({"f.json", text}).description;
      recorder.notePublication("c", revision, "f.json", text);
      configuration = (revision == 1 ? toBuilder(description) : modifiedTo(configuration, description)).build();
      watch.expectRevision(revision);
      EXPECT_TRUE(watch.waitUntilAllPublished(patience));
      EXPECT_TRUE(configuration.waitForAllEndpoints(patience, "station"));
    }
    configuration.reset();
    EXPECT_TRUE(watch.waitUntilAllUnpublished(patience));
  }

  std::string replayed() {
    std::ostringstream out;
    EXPECT_EQ(replay({recording_, "", false}, Output{out, messages_}), ExitCode::done);
    return out.str();
  }

  const Workspace workspace_;
  const std::string recording_ = (workspace_.path() / "recording.jsonl").string();
  std::ostringstream messages_;
};

}  // namespace

TEST_F(ARecordedHost, EndsInTheReplayWhereItEndedItself) {
  const auto endpoint = '"' + freeEndpoint() + '"';
  record({publisher("station", endpoint, endpoint)});
  const auto result = replayed();
  EXPECT_THAT(result, StartsWith("c, revision 1: 4 events, 1 without effect, 0 dropped\n"
                                 "publishers:\n"
                                 "  station: ready\n"));
  EXPECT_THAT(result, HasSubstr("line 5: station, revision 1: services unpublished (too late: "));
  EXPECT_EQ(messages_.str(), "");
}

TEST_F(ARecordedHost, EndsInTheReplayWithItsLastRevision) {
  const auto first = '"' + freeEndpoint() + '"';
  const auto second = '"' + freeEndpoint() + '"';
  record({publisher("station", first, ""), publisher("station", first + ", " + second, first + ", " + second)});
  EXPECT_THAT(replayed(), StartsWith("c, revision 2: 8 events, 1 without effect, 0 dropped\n"
                                     "publishers:\n"
                                     "  station: ready\n"));
}

}  // namespace spf::test
