#include <cppmicroservices/ServiceEvent.h>

#include <map>
#include <stdexcept>
#include <thread>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

#ifdef SPF_RUNTIME_BUNDLED

/// Runs the same function on four threads at once.
class SeveralThreads : public ConfigurationAdminFixture {
 protected:
  static void run(const std::function<void(int thread)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back(work, i);
    }
    for (auto& thread : threads) {
      thread.join();
    }
  }

  static constexpr int threadCount = 4;
  static constexpr int rounds = 200;
};

TEST_F(SeveralThreads, MayListWhileOthersRemove) {
  run([&](int thread) {
    for (int i = 0; i < rounds; ++i) {
      if (thread < 2) {
        EXPECT_NO_THROW(admin->ListConfigurations("(value=*)"));
      } else {
        const auto sut = admin->GetConfiguration("a" + std::to_string(thread));
        sut->Update(valued(i));
        sut->Remove();
      }
    }
  });
}

TEST_F(SeveralThreads, MayUpdateOneConfiguration) {
  const auto sut = admin->GetConfiguration("f~i");
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  run([&](int thread) {
    for (int i = 0; i < rounds; ++i) {
      sut->Update(valued(thread));
    }
  });
  sut->Update(valued(5)).get();

  EXPECT_EQ(sut->GetChangeCount(), 4u * rounds + 1u);
  EXPECT_EQ(journal.entries().back(), "factory f~i=5");
}

TEST_F(SeveralThreads, UpdateOnceIfTheyUpdateToTheSame) {
  const auto sut = admin->GetConfiguration("a");
  for (int i = 1; i <= rounds; ++i) {
    run([&](int) { sut->UpdateIfDifferent(valued(i)); });
    ASSERT_EQ(sut->GetChangeCount(), static_cast<unsigned long>(i));
  }
}

TEST_F(SeveralThreads, MayRegisterFactoriesWhileOthersUpdate) {
  run([&](int thread) {
    for (int i = 0; i < rounds; ++i) {
      if (thread < 2) {
        registerWithPid(std::make_shared<RecordingFactory>(journal), "f").Unregister();
      } else {
        admin->GetConfiguration("f~" + std::to_string(thread))->Update(valued(i));
      }
    }
  });
  Journal last;
  registerWithPid(std::make_shared<RecordingFactory>(last), "f");

  EXPECT_THAT(last.waitFor(2), testing::ElementsAre("factory f~2=" + std::to_string(rounds - 1),
                                                    "factory f~3=" + std::to_string(rounds - 1)));
  stopFramework();  // the last journal records that, too
}

/// Holds the last value that was delivered for each PID.
class LatestValues : public ManagedServiceFactory {
 public:
  void Updated(const std::string& pid, const AnyMap& properties) override { note(pid, textOf(properties)); }
  void Removed(const std::string& pid) override { note(pid, "removed"); }

  bool waitFor(const std::string& pid, const std::string& text) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return latest_[pid] == text; });
  }

 private:
  void note(const std::string& pid, const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    latest_[pid] = text;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, std::string> latest_;
};

TEST_F(SeveralThreads, SeeTheLastStateOfAnIdThatTheyRecreate) {
  const auto factory = std::make_shared<LatestValues>();
  registerWithPid(factory, "f");
  constexpr int bursts = 100;
  constexpr int cyclesPerBurst = 25;  // on each of four threads: 10,000 in all
  for (int burst = 0; burst < bursts; ++burst) {
    run([&](int thread) {
      for (int cycle = 0; cycle < cyclesPerBurst; ++cycle) {
        try {
          admin->GetConfiguration("f~i")->Remove();
          admin->GetConfiguration("f~i")->Update(valued(thread * cyclesPerBurst + cycle));
        } catch (const std::runtime_error&) {
          // Another thread has removed the object meanwhile.
        }
      }
    });
    // The last thread's update stands, unless another thread has removed the object meanwhile.
    admin->GetConfiguration("f~i")->Update(valued(1000 + burst));
    ASSERT_TRUE(factory->waitFor("f~i", "=" + std::to_string(1000 + burst))) << "in burst " << burst;
  }
}

TEST_F(SeveralThreads, MayRemoveAndRecreateTheirOwnIdsAtOnce) {
  const auto factory = std::make_shared<LatestValues>();
  registerWithPid(factory, "f");
  constexpr int cycles = 2500;  // on each of four threads: 10,000 in all
  run([&](int thread) {
    const auto pid = "f~" + std::to_string(thread);
    for (int cycle = 0; cycle < cycles; ++cycle) {
      admin->GetConfiguration(pid)->Update(valued(cycle));
      admin->GetConfiguration(pid)->Remove();
      admin->GetConfiguration(pid)->Update(valued(-cycle));
      if (cycle % 10 == 0) {
        ASSERT_TRUE(factory->waitFor(pid, "=" + std::to_string(-cycle))) << pid << " in cycle " << cycle;
      }
    }
    EXPECT_TRUE(factory->waitFor(pid, "=" + std::to_string(1 - cycles)));
  });
}

TEST_F(SeveralThreads, MayStopTheBundleWhileOthersUpdate) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  const auto sut = admin->GetConfiguration("f~i");
  run([&](int thread) {
    if (thread == 0) {
      admin.reset();
      bundle.Stop();
      return;
    }
    for (int i = 0; i < rounds; ++i) {
      sut->Update(valued(i)).get();
    }
  });

  const auto entries = journal.entries();
  EXPECT_TRUE(entries.empty() || entries.back() == "factory f~i removed");
}

TEST_F(SeveralThreads, MayStopTheBundleWhileOthersUpdateAndReleaseIt) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  const auto sut = admin->GetConfiguration("f~i");
  std::vector<std::shared_ptr<ConfigurationAdmin>> held(threadCount, admin);
  admin.reset();
  run([&](int thread) {
    if (thread == 0) {
      held[0].reset();
      bundle.Stop();
      return;
    }
    for (int i = 0; i < rounds; ++i) {
      const auto future = sut->Update(valued(i));
      if (future.valid()) {
        future.get();
      }
    }
    held[static_cast<std::size_t>(thread)].reset();
  });

  const auto entries = journal.entries();
  EXPECT_TRUE(entries.empty() || entries.back() == "factory f~i removed");
}

TEST_F(SeveralThreads, MayStopTheBundleWhileADeliveryReleasesItsService) {
  const auto factory = std::make_shared<RecordingFactory>(journal);
  auto held = admin;
  Gate stopping;
  factory->onUpdated = [&](const std::string&) {
    EXPECT_TRUE(stopping.wait());
    held.reset();
  };
  registerWithPid(factory, "f");
  context().AddServiceListener(
      [&](const cppmicroservices::ServiceEvent& event) {
        if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_UNREGISTERING) {
          stopping.open();
        }
      },
      "(objectclass=" + us_service_interface_iid<ConfigurationAdmin>() + ")");
  const auto delivered = admin->GetConfiguration("f~i")->Update(valued(1));
  admin.reset();
  bundle.Stop();

  EXPECT_TRUE(becomesReady(delivered));
  EXPECT_THAT(journal.entries(), testing::ElementsAre("factory f~i=1", "factory f~i removed"));
}

#endif

}  // namespace spf::test
