#include <chrono>
#include <map>
#include <set>

#include "PublisherModel.hpp"
#include "inRandomCases.hpp"
#include "support/configurations.hpp"
#include "tracking/FrameworkSetupListener.hpp"

namespace spf::test {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksetup::FrameworkSetupListener;

/// An event of any kind, or the moment at which a removal is prepared.
struct Happening {
  bool isRemoval = false;
  std::uint32_t kind = 0;
  std::uint32_t change = 0;
  std::string publisherID;
  std::uint32_t count = 0;
  int endpoint = 0;
  bool withException = false;

  std::shared_ptr<const FrameworkEvent> event() const {
    switch (kind) {
      case FrameworkEvent::services:
        return std::make_shared<ServicesEvent>(ServicesEvent{{kind}, change, publisherID, count});
      case FrameworkEvent::error:
        return std::make_shared<ErrorEvent>(
            ErrorEvent{{kind}, withException ? makeError<std::runtime_error>("broken") : nullptr, publisherID, count});
      case FrameworkEvent::endpoint:
        return std::make_shared<EndpointEvent>(
            EndpointEvent{{kind}, change, sampleEndpoints[endpoint].value, publisherID, count});
      default:
        // Nothing but the head may be read of a kind that is not known, so there is nothing else here.
        return std::make_shared<FrameworkEvent>(FrameworkEvent{kind});
    }
  }
};

std::ostream& operator<<(std::ostream& stream, const Happening& happening) {
  if (happening.isRemoval) {
    return stream << "removal";
  }
  return stream << "kind " << happening.kind << " change " << happening.change << " publisher '"
                << happening.publisherID << "' count " << happening.count << " endpoint " << happening.endpoint
                << (happening.withException ? "" : " without exception");
}

/// What the listener of a configuration must know, kept as plainly as can be.
struct ListenerModel {
  std::uint32_t count = 0;
  std::map<std::string, PublisherModel> publishers;
  std::set<std::string> completed;
  bool removalInProgress = false;
  int callbacks = 0;

  void hear(const Happening& happening) {
    if (happening.isRemoval) {
      removalInProgress = true;
      return;
    }
    const auto found = publishers.find(happening.publisherID);
    if (happening.kind > 2 || happening.count < count || found == publishers.end() ||
        !completes(found->second, happening)) {
      return;
    }
    completed.insert(happening.publisherID);
    callbacks += completed.size() == publishers.size() && !removalInProgress ? 1 : 0;
  }

  static bool completes(PublisherModel& publisher, const Happening& happening) {
    const auto kindAndChange = std::make_pair(happening.kind, happening.change);
    if (happening.kind == 1) {
      publisher.fail(happening.withException ? "broken" : "");
      return true;
    }
    if (kindAndChange == std::make_pair(0u, 0u)) {
      return publisher.publish();
    }
    if (kindAndChange == std::make_pair(0u, 1u)) {
      publisher.unpublish();
      return true;
    }
    if (happening.kind == 2 && happening.change < 2) {
      return publisher.bind(happening.endpoint);
    }
    return happening.kind == 2 && happening.change < 4 && publisher.connect(happening.endpoint);
  }
};

// A publisher's entry as it is published, and the same in the model, which tracks endpoints for one name only.
Any addPublisher(ListenerModel& model, const std::string& id, const std::string& name) {
  const auto anyEndpoints = rc::gen::resize(3, rc::gen::container<std::vector<int>>(rc::gen::inRange(0, samples)));
  const auto toBind = *anyEndpoints;
  const auto toConnect = *anyEndpoints;
  auto& publisher = model.publishers[id];
  if (name == "rpcservicepublisher") {
    publisher.toBind = toBind;
    publisher.toConnect = toConnect;
  }
  return AnyMap({{"uniqueID", Any(id)},
                 {"name", Any(name)},
                 {"config", AnyMap({{"endpointsToBindTo", Any(endpointsOf(toBind))},
                                    {"endpointsToConnectTo", Any(endpointsOf(toConnect))}})}});
}

void expectsTheModelsState(FrameworkSetupListener& sut, const ListenerModel& model) {
  for (const auto& [id, publisher] : model.publishers) {
    const auto& publisherID = id;
    RC_ASSERT(outcomeOf([&] { return sut.waitForAllEndpoints(noWait, publisherID); }) ==
              publisher.outcome(publisher.endpointsAreUp()));
    RC_ASSERT(outcomeOf([&] { return sut.waitForAllServices(noWait, publisherID); }) ==
              publisher.outcome(publisher.published));
    RC_ASSERT(outcomeOf([&] { return sut.waitForAllServicesToBeUnpublished(noWait, publisherID); }) ==
              publisher.outcome(publisher.unpublished));
    const auto [connect, bind] = sut.listOutstandingEndpoints(publisherID);
    RC_ASSERT(canonicalTexts(connect) == canonicalTexts(endpointsOf(publisher.toConnect)));
    RC_ASSERT(canonicalTexts(bind) == canonicalTexts(endpointsOf(publisher.toBind)));
  }
  RC_ASSERT_THROWS_AS(sut.listOutstandingEndpoints("stranger"), std::out_of_range);
}

rc::Gen<Happening> anyHappening(std::uint32_t ownCount) {
  using namespace rc;
  return gen::build<Happening>(
      gen::set(&Happening::isRemoval, gen::map(gen::inRange(0, 40), [](int number) { return number == 39; })),
      gen::set(&Happening::kind, gen::element(0u, 0u, 2u, 2u, 2u, 2u, 1u, 3u, 0xFFFFFFFFu)),
      gen::set(&Happening::change, gen::element(0u, 2u, 1u, 3u, 4u, 0xFFFFFFFFu)),
      gen::set(&Happening::publisherID, gen::element<std::string>("p", "q", "", "p", "q", "", "stranger", "P")),
      gen::set(&Happening::count, gen::element(ownCount, ownCount, ownCount, ownCount + 1, ownCount - 1, 0u)),
      gen::set(&Happening::endpoint, gen::inRange(0, samples)),
      gen::set(&Happening::withException, gen::map(gen::inRange(0, 3), [](int number) { return number == 2; })));
}

TEST(AFrameworkSetupListener, GivesWhatAPlainModelGivesAfterRandomEvents) {
  inRandomCases(10, [] {
    ListenerModel model;
    model.count = *rc::gen::element(0u, 1u, 5u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu);
    const List publishers = {addPublisher(model, "p", "rpcservicepublisher"),
                             addPublisher(model, "q", *rc::gen::element<std::string>("rpcservicepublisher", "other")),
                             addPublisher(model, "", "legacyservicepublisher")};
    int callbacks = 0;
    FrameworkSetupListener sut([&] { ++callbacks; }, AnyMap({{"modificationCount", Any(static_cast<int>(model.count))},
                                                             {"servicePublisherConfigurations", Any(publishers)}}));
    for (const auto& happening : *rc::gen::container<std::vector<Happening>>(anyHappening(model.count))) {
      model.hear(happening);
      if (happening.isRemoval) {
        sut.setRemovalInProgress();
      } else {
        sut.handleEvent(happening.event());
      }
      RC_ASSERT(callbacks == model.callbacks);
    }
    expectsTheModelsState(sut, model);
  });
}

}  // namespace spf::test
