#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/SecurityException.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceObjects.h>
#include <dlfcn.h>

#include <functional>
#include <memory>
#include <thread>

#include "ScriptedBundle.hpp"
#include "ZipArchive.hpp"
#include "spf/test/Gate.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::_;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ABundle : public ScriptedBundle {};

TEST_F(ABundle, ChangesItsStateWithEachOperation) {
  Journal journal;
  noteBundleEvents(journal);
  sut.Start();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
  sut.Stop();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
  sut.Start();
  sut.Uninstall();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_UNINSTALLED);
  EXPECT_THAT(journal.texts(),
              ElementsAre("RESOLVED scripted", "STARTING scripted", "STARTED scripted", "STOPPING scripted",
                          "STOPPED scripted", "STARTING scripted", "STARTED scripted", "STOPPING scripted",
                          "STOPPED scripted", "UNRESOLVED scripted", "UNINSTALLED scripted"));
}

TEST_F(ABundle, DoesNothingWhenItIsStartedOrStoppedTwice) {
  sut.Start();
  Journal journal;
  noteBundleEvents(journal);
  sut.Start();
  EXPECT_THAT(journal.texts(), IsEmpty());
  sut.Stop();
  journal.take();
  sut.Stop();
  EXPECT_THAT(journal.texts(), IsEmpty());
}

TEST_F(ABundle, RunsItsActivatorWithAValidContext) {
  Journal journal;
  script([&](const std::string& step, BundleContext given) {
    journal.note(step + (given && given.GetBundle() == sut ? " valid" : " invalid"));
  });
  sut.Start();
  sut.Stop();
  EXPECT_THAT(journal.texts(), ElementsAre("construct valid", "start valid", "stop valid", _));
  EXPECT_THAT(journal.texts().back(), HasSubstr("destroy"));
}

TEST_F(ABundle, FindsItsContextInItsCodeWhileItIsActive) {
  sut.Start();
  auto mine = context();
  const auto probe = mine.GetService(mine.GetServiceReference<ContextProbe>());
  EXPECT_EQ(probe->contextOfTheCode(), sut.GetBundleContext());
  sut.Stop();
  EXPECT_FALSE(probe->contextOfTheCode());
  EXPECT_FALSE(sut.GetBundleContext());
}

TEST_F(ABundle, FindsItsContextInItsCodeWhileItsActivatorIsStopped) {
  Journal journal;
  script([&](const std::string& step, BundleContext given) {
    if (step == "stop") {
      auto mine = context();
      const auto found = mine.GetService(mine.GetServiceReference<ContextProbe>())->contextOfTheCode();
      EXPECT_TRUE(found);
      EXPECT_EQ(found, given);
      EXPECT_EQ(found, sut.GetBundleContext());
      journal.note(step);
    }
  });
  sut.Start();
  sut.Stop();
  EXPECT_THAT(journal.texts(), ElementsAre("stop"));
}

TEST_F(ABundle, ReceivesServiceEventsUntilItsActivatorIsStopped) {
  Journal heard;
  const auto offer = [&](const std::string& when) {
    (void)context().RegisterService<std::string>(std::make_shared<std::string>(), {{"when", when}});
  };
  script([&](const std::string& step, BundleContext) {
    if (step == "stop") {
      offer("in the activator");
    }
  });
  sut.Start();
  sut.GetBundleContext().AddServiceListener([heard](const ServiceEvent& event) {
    heard.note(event.GetServiceReference().GetProperty("when").ToStringNoExcept());
  });
  Counter goingAway;
  context().AddServiceListener([&](const ServiceEvent& event) {
    if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING) {
      goingAway.add();
      offer("when its services go");
    }
  });
  sut.Stop();
  offer("after its stop");
  EXPECT_EQ(goingAway.count(), 1);
  EXPECT_THAT(heard.texts(), ElementsAre("in the activator"));
}

TEST_F(ABundle, LosesItsServicesAndListenersWhenItStops) {
  sut.Start();
  auto bundleContext = sut.GetBundleContext();
  Journal events;
  bundleContext.AddBundleListener([&](const BundleEvent&) { events.note("bundle"); });
  bundleContext.AddServiceListener([&](const ServiceEvent&) { events.note("service"); });
  const auto reference = context().GetServiceReference<ContextProbe>();
  ASSERT_TRUE(reference);
  Journal unregistered;
  context().AddServiceListener([&](const ServiceEvent& event) {
    unregistered.note(event.GetType() == ServiceEvent::SERVICE_UNREGISTERING && bundleContext ? "valid" : "invalid");
  });
  sut.Stop();
  EXPECT_FALSE(reference);
  EXPECT_FALSE(bundleContext);
  EXPECT_THAT(unregistered.texts(), ElementsAre("valid"));
  EXPECT_THAT(events.texts(), ElementsAre("bundle"));  // the event STOPPING
}

TEST_F(ABundle, LeavesHeldServicesUsableWhenItStops) {
  sut.Start();
  auto mine = context();
  const auto probe = mine.GetService(mine.GetServiceReference<ContextProbe>());
  sut.Stop();
  EXPECT_EQ(probe.use_count(), 1);
  EXPECT_NO_THROW(probe->contextOfTheCode());
}

TEST_F(ABundle, LeavesItsLibraryLoadedWhenItStops) {
  sut.Start();
  sut.Uninstall();
  void* const library = dlopen(SCRIPTED_BUNDLE, RTLD_LAZY | RTLD_NOLOAD);
  EXPECT_TRUE(library);
  dlclose(library);
}

TEST_F(ABundle, EqualsAHandleWithItsIdAndFramework) {
  const TemporaryFolder otherFolder;
  auto other = newFramework(otherFolder);
  other.Start();
  const auto foreign = other.GetBundleContext().InstallBundles(SCRIPTED_BUNDLE).at(0);
  EXPECT_EQ(foreign.GetBundleId(), sut.GetBundleId());
  EXPECT_NE(foreign, sut);
  EXPECT_TRUE(framework < sut && sut < other && other < foreign);
  EXPECT_EQ(std::hash<Bundle>()(foreign), std::hash<std::string>()("scripted"));
  stopAndWait(other);

  stopAndWait(framework);
  framework.Start();
  EXPECT_EQ(context().InstallBundles(SCRIPTED_BUNDLE).at(0), sut);
}

TEST_F(ABundle, IsNotStartedWhenItsActivatorThrows) {
  scriptThrowingIn("start");
  EXPECT_EQ(messageOf<std::runtime_error>([&] { sut.Start(); }),
            std::string("Bundle scripted (location= ") + SCRIPTED_BUNDLE + ") start failed: thrown in start");
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
  EXPECT_FALSE(context().GetServiceReference<ContextProbe>());
  EXPECT_FALSE(sut.GetBundleContext());
}

TEST_F(ABundle, ReportsExceptionsOfAnyType) {
  script([](const std::string& step, BundleContext) {
    if (step == "start") {
      throw 1;
    }
  });
  EXPECT_THAT(messageOf<std::runtime_error>([&] { sut.Start(); }), HasSubstr("start failed: unknown"));
}

TEST_F(ABundle, MayBeStartedAgainAfterAFailure) {
  bool fail = true;
  script([&](const std::string& step, BundleContext) {
    if (step == "start" && fail) {
      throw std::runtime_error("first time");
    }
  });
  EXPECT_THROW(sut.Start(), std::runtime_error);
  fail = false;
  EXPECT_NO_THROW(sut.Start());
  EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(ABundle, IsStoppedEvenIfItsActivatorThrows) {
  scriptThrowingIn("stop");
  sut.Start();
  EXPECT_EQ(messageOf<std::runtime_error>([&] { sut.Stop(); }),
            std::string("Bundle scripted (location=") + SCRIPTED_BUNDLE +
                "), BundleActivator::Stop() failed: thrown in stop");
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
  EXPECT_FALSE(context().GetServiceReference<ContextProbe>());
}

TEST_F(ABundle, RefusesEveryChangeOnceItIsUninstalled) {
  sut.Uninstall();
  EXPECT_THROW(sut.Start(), std::logic_error);
  EXPECT_THROW(sut.Stop(), std::logic_error);
  EXPECT_THROW(sut.Uninstall(), std::logic_error);
  EXPECT_THROW(sut.GetRegisteredServices(), std::logic_error);
  EXPECT_THROW(sut.GetServicesInUse(), std::logic_error);
  EXPECT_EQ(sut.GetSymbolicName(), "scripted");
  EXPECT_EQ(sut.GetHeaders().count("vendor"), 1u);
  EXPECT_FALSE(sut.GetBundleContext());
  EXPECT_EQ(context().GetBundles().size(), 1u);
}

TEST_F(ABundle, MayBeInstalledAgainAfterItWasUninstalled) {
  sut.Uninstall();
  const auto again = context().InstallBundles(SCRIPTED_BUNDLE).at(0);
  EXPECT_NE(again, sut);
  EXPECT_EQ(again.GetBundleId(), 2);
}

TEST_F(ABundle, HasAFolderForItsData) {
  sut.Start();
  const auto file = sut.GetBundleContext().GetDataFile("notes.txt");
  EXPECT_EQ(file, folder / "storage/data/1/notes.txt");
  EXPECT_TRUE(std::filesystem::is_directory(std::filesystem::path(file).parent_path()));
}

TEST_F(ABundle, LooksUpSymbolsOnlyWhileItIsActive) {
  void* const program = dlopen(SCRIPTED_BUNDLE, RTLD_LAZY);
  ASSERT_TRUE(program);
  EXPECT_THROW(sut.GetSymbol(program, "scripted_answer"), std::runtime_error);
  sut.Start();
  auto* const answer = reinterpret_cast<int (*)()>(sut.GetSymbol(program, "scripted_answer"));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer(), 42);
  EXPECT_EQ(sut.GetSymbol(program, "no_such_symbol"), nullptr);
  EXPECT_THROW(sut.GetSymbol(nullptr, "x"), std::invalid_argument);
  EXPECT_THROW(sut.GetSymbol(program, ""), std::invalid_argument);
  dlclose(program);
}

class ABundleOfText : public ABundle {
 protected:
  /// \param header  the header for the activator, with a comma in front
  Bundle install(const std::string& header) {
    const auto manifest = R"({"bundle.symbolic_name": "text")" + header + "}";
    return context()
        .InstallBundles(folder.write("text.zip", ZipArchive().add("text/manifest.json", manifest).bytes()))
        .at(0);
  }
};

TEST_F(ABundleOfText, IsStartedWithoutItsLibraryIfItHasNoActivator) {
  Journal journal;
  noteFrameworkEvents(journal);
  for (const auto* const header : {"", R"(, "bundle.activator": false)", R"(, "bundle.activator": null)"}) {
    auto bundle = install(header);
    EXPECT_NO_THROW(bundle.Start());
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    bundle.Uninstall();
  }
  EXPECT_THAT(journal.texts(), IsEmpty());
}

TEST_F(ABundleOfText, IsStartedWithAWarningIfItsHeaderIsNoBool) {
  Journal journal;
  noteFrameworkEvents(journal);
  auto bundle = install(R"(, "bundle.activator": "true")");
  EXPECT_NO_THROW(bundle.Start());
  EXPECT_THAT(journal.texts(), ElementsAre(HasSubstr("WARNING")));
}

TEST_F(ABundle, IsStoppedWithItsFrameworkAndCannotBeStartedAfterwards) {
  Journal journal;
  sut.Start();
  noteBundleEvents(journal);
  stopAndWait(framework);
  EXPECT_THAT(journal.texts(), ElementsAre("STOPPING system_bundle", "STOPPING scripted", "STOPPED scripted"));
  EXPECT_EQ(sut.GetState(), Bundle::STATE_INSTALLED);
  EXPECT_EQ(messageOf<std::runtime_error>([&] { sut.Start(); }),
            std::string("Bundle scripted (location=") + SCRIPTED_BUNDLE + ") belongs to a stopped framework");
}

TEST_F(ABundle, IsReportedWhenItFailsToStopWithItsFramework) {
  scriptThrowingIn("stop");
  sut.Start();
  Journal journal;
  noteFrameworkEvents(journal);
  EXPECT_EQ(stopAndWait(framework).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
  EXPECT_THAT(journal.texts(), ElementsAre(HasSubstr("ERROR")));
}

TEST_F(ABundle, IsStoppedInReverseOrderOfLocations) {
  const auto manifest = [](const std::string& name) { return R"({"bundle.symbolic_name": ")" + name + "\"}"; };
  for (const std::string name : {"b", "c", "a"}) {
    auto archive = ZipArchive().add(name + "/manifest.json", manifest(name));
    if (name == "b") {
      archive.add("b2/manifest.json", manifest("b2"));
    }
    for (auto& bundle : context().InstallBundles(folder.write(name + ".zip", archive.bytes()))) {
      bundle.Start();
    }
  }
  sut.Uninstall();
  Journal journal;
  noteBundleEvents(journal);
  stopAndWait(framework);
  EXPECT_THAT(journal.texts(), ElementsAre("STOPPING system_bundle", "STOPPING c", "STOPPED c", "STOPPING b2",
                                           "STOPPED b2", "STOPPING b", "STOPPED b", "STOPPING a", "STOPPED a"));
}

TEST_F(ABundle, IsRefusedByTheValidationFunction) {
  auto configuration = configurationWith(folder);
  configuration[Constants::FRAMEWORK_BUNDLE_VALIDATION_FUNC] =
      std::function<bool(const Bundle&)>([](const Bundle&) { return false; });
  auto strict = FrameworkFactory().NewFramework(configuration);
  strict.Start();
  auto bundle = strict.GetBundleContext().InstallBundles(SCRIPTED_BUNDLE).at(0);
  EXPECT_THROW(bundle.Start(), SecurityException);
  EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
  stopAndWait(strict);
}

TEST_F(ABundle, ListsTheServicesThatItRegisteredAndUses) {
  script([](const std::string&, BundleContext) {});
  sut.Start();
  ASSERT_EQ(sut.GetRegisteredServices().size(), 1u);
  EXPECT_EQ(sut.GetRegisteredServices()[0], context().GetServiceReference<ContextProbe>());
  ASSERT_EQ(sut.GetServicesInUse().size(), 1u);
  EXPECT_EQ(sut.GetServicesInUse()[0], context().GetServiceReference<Script>());
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

TEST_F(ABundle, HasPropertiesWhoseMapsAreOrdered) {
  const auto vendor = any_cast<std::map<std::string, Any>>(sut.GetProperties().at("vendor"));
  EXPECT_EQ(any_cast<std::string>(vendor.at("Name")), "tests");
  EXPECT_EQ((any_cast<std::map<std::string, Any>>(sut.GetProperty("vendor"))).size(), 2u);
  EXPECT_THAT(sut.GetPropertyKeys(),
              ElementsAre("bundle.activator", "bundle.symbolic_name", "bundle.version", "vendor"));
}

TEST_F(ABundle, HasThePropertiesOfItsFrameworkToo) {
  EXPECT_EQ(any_cast<std::string>(sut.GetProperty(Constants::FRAMEWORK_STORAGE)), folder / "storage");
  EXPECT_EQ(any_cast<std::string>(sut.GetProperty(Constants::BUNDLE_VERSION)), "1.2.3");
  EXPECT_TRUE(sut.GetProperty("Bundle.Version").Empty());
  EXPECT_TRUE(sut.GetProperty("no such property").Empty());
}

#pragma GCC diagnostic pop

TEST_F(ABundle, IsStartedOnceByThreadsThatStartItAtTheSameTime) {
  Counter starts;
  script([&](const std::string& step, BundleContext) {
    if (step == "start") {
      starts.add();
    }
  });
  std::vector<std::thread> threads;
  Gate go;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      EXPECT_TRUE(go.wait());
      sut.Start();
      EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
    });
  }
  go.open();
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(starts.count(), 1);
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations are known to hang or to crash.

TEST_F(ABundle, CannotBeUninstalledByItsOwnActivator) {
  Journal refusals;
  script([&](const std::string& step, BundleContext) {
    if (step == "start" || step == "stop") {
      refusals.note(messageOf<std::runtime_error>([&] { sut.Uninstall(); }));
    }
  });
  sut.Start();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
  sut.Stop();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
  EXPECT_THAT(refusals.texts(), ElementsAre(HasSubstr("cannot be uninstalled"), HasSubstr("cannot be uninstalled")));
}

TEST_F(ABundle, CannotBeStoppedByItsOwnStart) {
  Journal refusals;
  script([&](const std::string& step, BundleContext) {
    if (step == "start") {
      refusals.note(messageOf<std::runtime_error>([&] { sut.Stop(); }));
    }
  });
  sut.Start();
  EXPECT_THAT(refusals.texts(), ElementsAre(HasSubstr("cannot be stopped")));
}

TEST_F(ABundle, MayBeStoppedByAListenerDuringItsStart) {
  context().AddBundleListener([&](const BundleEvent& event) {
    if (event.GetType() == BundleEvent::BUNDLE_STARTED) {
      event.GetBundle().GetBundleContext().GetBundle().Stop();
    }
  });
  sut.Start();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(ABundle, LetsAStopWaitForARunningStart) {
  Gate starting;
  Gate mayStart;
  script([&](const std::string& step, BundleContext) {
    if (step == "start") {
      starting.open();
      EXPECT_TRUE(mayStart.wait());
    }
  });
  std::thread starter([&] { sut.Start(); });
  ASSERT_TRUE(starting.wait());
  std::thread stopper([&] { sut.Stop(); });
  mayStart.open();
  starter.join();
  stopper.join();
  EXPECT_THAT(sut.GetState(), testing::AnyOf(Bundle::STATE_RESOLVED, Bundle::STATE_ACTIVE));
}

TEST_F(ABundle, LetsItsFrameworkStopWaitForARunningStart) {
  Gate starting;
  Gate mayStart;
  script([&](const std::string& step, BundleContext) {
    if (step == "start") {
      starting.open();
      EXPECT_TRUE(mayStart.wait());
    }
  });
  std::thread starter([&] { sut.Start(); });
  ASSERT_TRUE(starting.wait());
  framework.Stop();
  mayStart.open();
  framework.WaitForStop(std::chrono::milliseconds::zero());
  starter.join();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_INSTALLED);
  EXPECT_FALSE(sut.GetBundleContext());
}

TEST_F(ABundle, LeavesNoRegistrationsOnceItIsStopped) {
  sut.Start();
  auto held = sut.GetBundleContext();
  sut.Stop();
  EXPECT_THROW((void)held.RegisterService<Script>(std::make_shared<FunctionScript>([](auto&, auto) {})),
               IllegalStateException);
  EXPECT_FALSE(context().GetServiceReference<Script>());
}

TEST_F(ABundle, InstalledBeforeARestartIsUnaffectedByIt) {
  stopAndWait(framework);
  framework.Start();
  auto successor = context().InstallBundles(SCRIPTED_BUNDLE).at(0);
  EXPECT_THROW(sut.Start(), std::runtime_error);
  sut.Uninstall();
  successor.Start();
  EXPECT_EQ(context().GetBundle(1).GetState(), Bundle::STATE_ACTIVE);
}

#endif

}  // namespace
