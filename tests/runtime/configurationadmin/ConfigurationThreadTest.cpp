#include <stdexcept>
#include <thread>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

#ifdef SPF_RUNTIME_BUNDLED

/// Four threads that do the same at once.
class SeveralThreads : public ConfigurationAdminFixture {
 protected:
  static void run(std::function<void(int thread)> const& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back(work, i);
    }
    for (auto& thread : threads) {
      thread.join();
    }
  }

  static constexpr int rounds = 200;
};

TEST_F(SeveralThreads, MayListWhileOthersRemove) {
  run([&](int thread) {
    for (int i = 0; i < rounds; ++i) {
      if (thread < 2) {
        EXPECT_NO_THROW(admin->ListConfigurations("(value=*)"));
      } else {
        auto const sut = admin->GetConfiguration("a" + std::to_string(thread));
        sut->Update(valued(i));
        sut->Remove();
      }
    }
  });
}

TEST_F(SeveralThreads, MayUpdateOneConfiguration) {
  auto const sut = admin->GetConfiguration("f~i");
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
  auto const sut = admin->GetConfiguration("a");
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
  stopFramework();  // which is told to the last journal, too
}

TEST_F(SeveralThreads, MayStopTheBundleWhileOthersUpdate) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  auto const sut = admin->GetConfiguration("f~i");
  run([&](int thread) {
    if (thread == 0) {
      bundle.Stop();
      return;
    }
    for (int i = 0; i < rounds; ++i) {
      sut->Update(valued(i)).get();
    }
  });

  auto const entries = journal.entries();
  EXPECT_TRUE(entries.empty() || entries.back() == "factory f~i removed");
}

#endif

}  // namespace spf::test
