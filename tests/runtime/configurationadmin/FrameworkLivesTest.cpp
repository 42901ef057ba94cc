#include <dirent.h>
#include <malloc.h>

#include <atomic>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

namespace {

/// How many entries a folder has.
int entriesIn(const char* folder) {
  int count = 0;
  auto* const directory = opendir(folder);
  while (directory != nullptr && readdir(directory) != nullptr) {
    ++count;
  }
  closedir(directory);
  return count;
}

int threads() {
  return entriesIn("/proc/self/task");
}

int descriptors() {
  return entriesIn("/proc/self/fd");
}

/// Nothing where a sanitizer manages the memory: that looks for leaks itself.
std::size_t bytesInUse() {
  return mallinfo2().uordblks;
}

}  // namespace

class ALongLivingProcess : public ConfigurationAdminFixture {
 protected:
  /// Stops the framework and starts it again so many times; in each life a configuration reaches a factory.
  void live(int times) {
    for (int life = 0; life < times; ++life) {
      stopFramework();
      framework.Start();
      startConfigurationAdmin();
      registerWithPid(std::make_shared<CountingFactory>(deliveries), "f");
      admin->GetFactoryConfiguration("f", "i")->Update(valued(life)).get();
    }
  }

  class CountingFactory : public ManagedServiceFactory {
   public:
    explicit CountingFactory(std::atomic<int>& deliveries) : deliveries_(deliveries) {}
    void Updated(const std::string&, const AnyMap&) override { ++deliveries_; }
    void Removed(const std::string&) override {}

   private:
    std::atomic<int>& deliveries_;
  };

  std::atomic<int> deliveries{0};
};

TEST_F(ALongLivingProcess, LosesNothingToAThousandLivesOfAFramework) {
  constexpr int lives = 1000;
  live(50);  // what is kept for good is there by now
  const auto threadsBefore = threads();
  const auto descriptorsBefore = descriptors();
  const auto bytesBefore = bytesInUse();

  live(lives);
  EXPECT_EQ(deliveries, 50 + lives);
  EXPECT_EQ(threads(), threadsBefore);
  EXPECT_EQ(descriptors(), descriptorsBefore);
  // A leak of one allocation in each life is at least 32 bytes each.
  EXPECT_LT(bytesInUse(), bytesBefore + 16 * lives);
}

}  // namespace spf::test
