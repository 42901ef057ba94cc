#include "LifeCycleModel.hpp"
#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "inRandomCases.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"

namespace spf::test {

const std::string factoryPrefix = "zk.spf.framework~";

struct Step;

/// Handles and builders, and a model of them.
struct World {
  explicit World(TestFramework& testFramework)
      : framework(testFramework), admin(ConfigurationAdminDouble::registerWith(testFramework)) {}
  ~World() { admin->unregister(); }

  void build(const Step& step);
  void reset(int slot);
  void waitForUnpublishing(const Step& step);
  void expectsTheModelsState() const;

  TestFramework& framework;
  const std::shared_ptr<ConfigurationAdminDouble> admin;
  SPFConfigurationBuilder builders[LifeCycleModel::slots];
  SPFConfiguration handles[LifeCycleModel::slots];
  LifeCycleModel model;
  int builds = 0;
};

struct StepKind {
  const char* name;
  void (*take)(World&, const Step&);
};

/// What is done, and which slots and names it is done with.
struct Step {
  const StepKind* kind = nullptr;
  int slot = 0;
  int other = 0;
  std::string id;
  std::string publisherID;
  std::uint32_t count = 0;
};

std::ostream& operator<<(std::ostream& stream, const Step& step) {
  return stream << step.kind->name << " " << step.slot << " " << step.other << " '" << step.id << "' '"
                << step.publisherID << "' " << step.count;
}

const StepKind stepKinds[] = {
    {"build", [](World& world, const Step& step) { world.build(step); }},
    {"new builder",
     [](World& world, const Step& step) {
       world.builders[step.slot] = SPFConfigurationBuilder(step.id);
       LifeCycleModel::Builder fresh;
       fresh.id = step.id;
       world.model.replace(step.slot, fresh);
     }},
    {"add publisher",
     [](World& world, const Step& step) {
       world.builders[step.slot].addServicePublisher(publisher(step.publisherID));
       world.model.builders[step.slot].publishers.insert(step.publisherID);
     }},
    {"modify",
     [](World& world, const Step& step) {
       world.builders[step.other] = world.handles[step.slot].modify();
       world.model.modify(step.slot, step.other);
     }},
    {"reset", [](World& world, const Step& step) { world.reset(step.slot); }},
    {"construct handle from handle and drop it",
     [](World& world, const Step& step) {
       const SPFConfiguration dropped(std::move(world.handles[step.slot]));
       world.model.replace(step.slot, LifeCycleModel::Handle());
     }},
    {"construct builder from builder and drop it",
     [](World& world, const Step& step) {
       const SPFConfigurationBuilder dropped(std::move(world.builders[step.slot]));
       world.model.replace(step.slot, LifeCycleModel::Builder());
     }},
    {"assign handle",
     [](World& world, const Step& step) {
       world.handles[step.other] = std::move(world.handles[step.slot]);
       world.model.moveHandle(step.slot, step.other);
     }},
    {"assign builder",
     [](World& world, const Step& step) {
       world.builders[step.other] = std::move(world.builders[step.slot]);
       world.model.moveBuilder(step.slot, step.other);
     }},
    {"published",
     [](World& world, const Step& step) {
       world.framework.sendPublished(step.publisherID, step.count);
       world.model.servicesChange(step.publisherID, step.count, false);
     }},
    {"unpublished",
     [](World& world, const Step& step) {
       world.framework.sendUnpublished(step.publisherID, step.count);
       world.model.servicesChange(step.publisherID, step.count, true);
     }},
    {"wait for the unpublishing", [](World& world, const Step& step) { world.waitForUnpublishing(step); }},
    {"setupFramework", [](World& world, const Step&) {
       agent::spf::frameworksetup::setupFramework();
       world.model.stored["LegacySetupFramework"] = 2;
     }}};

void World::build(const Step& step) {
  const auto generatedID = "generated " + std::to_string(++builds);
  admin->setNextPid(factoryPrefix + generatedID);
  handles[step.other] = builders[step.slot].build();
  model.build(step.slot, step.other, generatedID);
}

void World::reset(int slot) {
  handles[slot].reset();
  model.replace(slot, LifeCycleModel::Handle());
}

void World::waitForUnpublishing(const Step& step) {
  std::string outcome = "unknown";
  try {
    outcome = handles[step.slot].waitForAllServicesToBeUnpublished({}, step.publisherID) ? "true" : "false";
  } catch (const std::out_of_range&) {
  }
  RC_ASSERT(outcome == model.waitForUnpublishing(step.slot, step.publisherID));
}

void World::expectsTheModelsState() const {
  std::map<std::string, int> stored;
  for (const auto& pid : admin->pids()) {
    stored[pid.substr(factoryPrefix.size())] = asInt(admin->properties(pid)->at("modificationCount"));
  }
  RC_ASSERT(stored == model.stored);
  RC_ASSERT(framework.listeners() == model.listeners());
  for (int slot = 0; slot < LifeCycleModel::slots; ++slot) {
    RC_ASSERT(handles[slot].empty() == model.handles[slot].empty);
    if (!handles[slot].empty()) {
      RC_ASSERT(handles[slot].getConfigurationID() == model.handles[slot].id);
    }
  }
  std::vector<std::string> removed;
  for (const auto& call : admin->calls()) {
    if (call.rfind("Remove ", 0) == 0) {
      removed.push_back(call.substr(("Remove " + factoryPrefix).size()));
    }
  }
  RC_ASSERT(removed == model.removed);
}

rc::Gen<Step> anyStep() {
  using namespace rc;
  // The first kind more often: without configurations nothing happens.
  return gen::build<Step>(
      gen::set(&Step::kind, gen::oneOf(anyRowOf(stepKinds), anyRowOf(stepKinds), gen::just(&stepKinds[0]))),
      gen::set(&Step::slot, gen::inRange(0, LifeCycleModel::slots)),
      gen::set(&Step::other, gen::inRange(0, LifeCycleModel::slots)),
      gen::set(&Step::id, gen::element<std::string>("", "a", "b", "LegacySetupFramework")),
      gen::set(&Step::publisherID, gen::element<std::string>("p", "q")),
      gen::set(&Step::count, gen::inRange<std::uint32_t>(0, 4)));
}

TEST(HandlesAndBuilders, LeaveWhatAPlainModelLeavesAfterRandomLifeCycles) {
  TestFramework framework;
  inRandomCases(5, [&] {
    World world(framework);
    for (const auto& step : *rc::gen::container<std::vector<Step>>(anyStep())) {
      step.kind->take(world, step);
      world.expectsTheModelsState();
    }
    for (int slot = 0; slot < LifeCycleModel::slots; ++slot) {
      world.reset(slot);
    }
    world.expectsTheModelsState();
    RC_ASSERT(framework.listeners() == 0u);
  });
}

}  // namespace spf::test
