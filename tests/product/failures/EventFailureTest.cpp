#include "support/FailingCollaborators.hpp"
#include "support/configurations.hpp"
#include "support/endpoints.hpp"

namespace spf::test {

namespace {

// A configuration whose publisher binds to one endpoint and connects to another, both of which tell of
// being compared and turned into text.
struct Reports {
  explicit Reports(FailingCollaborators& collaborators) : with(collaborators) {}

  Any endpoint(const char* name) const {
    return Any(ObservedEndpoint{name, [this] { with.called("=="); }, [this] { with.called("ToString"); }});
  }
  void bound() { with.framework.sendBound("p", 1, endpoint("b")); }
  void connected() { with.framework.sendConnected("p", 1, endpoint("c")); }
  void published() { with.framework.sendPublished("p", 1); }
  void unpublished() { with.framework.sendUnpublished("p", 1); }
  void failed() { with.framework.sendError("p", 1, makeError<std::runtime_error>("broken")); }

  bool endpointsAreUp() { return sut.waitForAllEndpoints(noWait, "p"); }
  bool servicesArePublished() { return sut.waitForAllServices(noWait, "p"); }
  bool hasFailed() {
    return messageOf([&] { endpointsAreUp(); }) == "broken";
  }

  FailingCollaborators& with;
  SPFConfiguration sut =
      SPFConfigurationBuilder("x").addServicePublisher(publisher("p", {endpoint("c")}, {endpoint("b")})).build();
};

// The report that completes the publisher, and how to see that it was taken in.
struct LastReport {
  const char* name;
  std::vector<void (Reports::*)()> earlier;
  void (Reports::*last)();
  bool (Reports::*takenIn)();
};

const LastReport bound{
    "ABoundEndpoint", {&Reports::published, &Reports::connected}, &Reports::bound, &Reports::endpointsAreUp};
const LastReport connected{
    "AConnectedEndpoint", {&Reports::published, &Reports::bound}, &Reports::connected, &Reports::endpointsAreUp};
const LastReport published{
    "PublishedServices", {&Reports::bound, &Reports::connected}, &Reports::published, &Reports::servicesArePublished};
const LastReport failed{"AnError", {}, &Reports::failed, &Reports::hasFailed};

// Nothing but the registration shows from outside that this was taken in; that the unpublish wait finds
// it is shown elsewhere.
const LastReport unpublished{"UnpublishedServices", {}, &Reports::unpublished, nullptr};

// What is called in answer to a report, and whether the report counts although that throws.
struct FailingReport {
  LastReport report;
  const char* call;
  bool counts;
};

void PrintTo(const FailingReport& failing, std::ostream* stream) {
  *stream << failing.call << " for " << failing.report.name;
}

const FailingReport failingReports[] = {{bound, "==", false},         {bound, "ToString", true},
                                        {bound, "log 4", true},       {bound, "Unregister", true},
                                        {connected, "==", false},     {connected, "ToString", true},
                                        {connected, "log 4", true},   {connected, "Unregister", true},
                                        {published, "log 4", false},  {published, "Unregister", true},
                                        {failed, "Unregister", true}, {unpublished, "Unregister", true}};

std::string nameOf(const FailingReport& failing) {
  const std::string call = failing.call;
  return std::string(failing.report.name) + (call == "==" ? "Comparing" : nameOf(Call{failing.call}));
}

class AReportThatFails : public testing::TestWithParam<FailingReport> {};

INSTANTIATE_TEST_SUITE_P(Of, AReportThatFails, testing::ValuesIn(failingReports),
                         [](const auto& failing) { return nameOf(failing.param); });

TEST_P(AReportThatFails, GoesBackToItsSenderAndCompletesWhenItComesAgain) {
  const auto& report = GetParam().report;
  const char* const call = GetParam().call;
  forEveryKindOfException([&](FailingCollaborators& with, Thrown thrown) {
    Reports reports(with);
    for (const auto earlier : report.earlier) {
      (reports.*earlier)();
    }
    const auto logged = with.log.records().size();

    EXPECT_EQ(with.outcomeOf({{call}}, thrown, [&] { (reports.*report.last)(); }), textOf(thrown));
    EXPECT_EQ(with.framework.listeners(), 1u);
    if (report.takenIn != nullptr) {
      EXPECT_EQ((reports.*report.takenIn)(), GetParam().counts);
    }
    // The sink notes a record before it throws; when there is no text, there is no record.
    const bool pushed = call == std::string("log 4") || (call == std::string("Unregister") && !report.earlier.empty());
    EXPECT_EQ(with.log.records().size() - logged, pushed ? 1u : 0u);

    EXPECT_NO_THROW((reports.*report.last)());
    EXPECT_EQ(with.framework.listeners(), 0u);
    if (report.takenIn != nullptr) {
      EXPECT_TRUE((reports.*report.takenIn)());
    }
  });
}

TEST_P(AReportThatFails, ChangesNothingInConfigurationAdmin) {
  const auto& report = GetParam().report;
  FailingCollaborators with;
  {
    Reports reports(with);
    for (const auto earlier : report.earlier) {
      (reports.*earlier)();
    }
    with.admin->clearCalls();
    with.outcomeOf({{GetParam().call}}, Thrown::standardException, [&] { (reports.*report.last)(); });
    EXPECT_TRUE(with.admin->calls().empty());
    EXPECT_EQ(reports.sut.getConfigurationID(), "x");
  }
  EXPECT_FALSE(with.admin->properties("zk.spf.framework~x"));
  EXPECT_EQ(with.framework.listeners(), 0u);
}

}  // namespace

}  // namespace spf::test
