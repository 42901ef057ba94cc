#include <chrono>

#include "PublisherModel.hpp"
#include "inRandomCases.hpp"
#include "support/Notifications.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"
#include "tracking/ConfigTracker.hpp"

namespace spf::test {

using agent::spf::frameworksetup::ConfigTracker;

struct ReportKind {
  const char* name;
  // What the tracker answers; true where it answers nothing.
  bool (*toTracker)(ConfigTracker&, int);
  bool (*toModel)(PublisherModel&, int);
};

const ReportKind reportKinds[] = {
    {"bound",
     [](ConfigTracker& sut, int endpoint) { return sut.completeEndpointBind(sampleEndpoints[endpoint].value); },
     [](PublisherModel& model, int endpoint) { return model.bind(endpoint); }},
    {"connected",
     [](ConfigTracker& sut, int endpoint) { return sut.completeEndpointConnect(sampleEndpoints[endpoint].value); },
     [](PublisherModel& model, int endpoint) { return model.connect(endpoint); }},
    {"published", [](ConfigTracker& sut, int) { return sut.completeAllServicesPublished(); },
     [](PublisherModel& model, int) { return model.publish(); }},
    {"unpublished",
     [](ConfigTracker& sut, int) {
       sut.completeAllServicesUnpublished();
       return true;
     },
     [](PublisherModel& model, int) {
       model.unpublish();
       return true;
     }},
    {"error",
     [](ConfigTracker& sut, int number) {
       sut.setError(makeError<std::runtime_error>(std::to_string(number).c_str()));
       return true;
     },
     [](PublisherModel& model, int number) {
       model.fail(std::to_string(number));
       return true;
     }},
    {"error without exception",
     [](ConfigTracker& sut, int) {
       sut.setError(nullptr);
       return true;
     },
     [](PublisherModel& model, int) {
       model.fail("");
       return true;
     }}};

struct Report {
  const ReportKind* kind = nullptr;
  int endpoint = 0;
};

std::ostream& operator<<(std::ostream& stream, const Report& report) {
  return stream << report.kind->name << " " << report.endpoint;
}

rc::Gen<Report> anyReport() {
  // Endpoints more often than the rest, which ends a publisher's story.
  return rc::gen::build<Report>(
      rc::gen::set(&Report::kind, rc::gen::weightedOneOf<const ReportKind*>(
                                      {{6, rc::gen::element(&reportKinds[0], &reportKinds[1])},
                                       {3, rc::gen::element(&reportKinds[2], &reportKinds[3])},
                                       {1, rc::gen::element(&reportKinds[4], &reportKinds[5])}})),
      rc::gen::set(&Report::endpoint, rc::gen::inRange(0, samples)));
}

void expectsTheModelsState(ConfigTracker& sut, const PublisherModel& model) {
  RC_ASSERT(outcomeOf([&] { return sut.waitForAllEndpoints(noWait); }) == model.outcome(model.endpointsAreUp()));
  RC_ASSERT(outcomeOf([&] { return sut.waitForAllServices(noWait); }) == model.outcome(model.published));
  RC_ASSERT(outcomeOf([&] { return sut.waitForAllServicesToBeUnpublished(noWait); }) ==
            model.outcome(model.unpublished));
  const auto [connect, bind] = sut.listOutstandingEndpoints();
  RC_ASSERT(canonicalTexts(connect) == canonicalTexts(endpointsOf(model.toConnect)));
  RC_ASSERT(canonicalTexts(bind) == canonicalTexts(endpointsOf(model.toBind)));
}

TEST(APublisherTracker, GivesWhatAPlainModelGivesAfterRandomReports) {
  inRandomCases(10, [] {
    const RecordedLog log(4 | 512);
    PublisherModel model;
    model.toBind = *rc::gen::resize(6, rc::gen::container<std::vector<int>>(rc::gen::inRange(0, samples)));
    model.toConnect = *rc::gen::resize(6, rc::gen::container<std::vector<int>>(rc::gen::inRange(0, samples)));
    ConfigTracker sut(endpointsOf(model.toBind), endpointsOf(model.toConnect), true);
    expectsTheModelsState(sut, model);
    const int before = notificationsFromThisThread();
    for (const auto& report : *rc::gen::container<std::vector<Report>>(anyReport())) {
      RC_ASSERT(report.kind->toTracker(sut, report.endpoint) == report.kind->toModel(model, report.endpoint));
      RC_ASSERT(notificationsFromThisThread() - before == model.notifications);
      expectsTheModelsState(sut, model);
    }
    RC_ASSERT(log.messages() == model.log);
  });
}

}  // namespace spf::test
