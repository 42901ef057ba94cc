#include <dirent.h>
#include <malloc.h>

#include <atomic>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

namespace {

/// Returns the number of entries in a folder.
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

/// Returns zero if a sanitizer manages the memory, which looks for leaks itself.
std::size_t bytesInUse() {
  return mallinfo2().uordblks;
}

}  // namespace

class ALongLivingProcess : public ConfigurationAdminFixture {
 protected:
  /// Restarts the framework that many times; each time a configuration is delivered to a factory.
  void restart(int times) {
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

TEST_F(ALongLivingProcess, LeaksNoMemoryInAThousandRestartsOfAFramework) {
  constexpr int lives = 1000;
  restart(50);  // everything that is kept permanently exists afterwards
  const auto threadsBefore = threads();
  const auto descriptorsBefore = descriptors();
  const auto bytesBefore = bytesInUse();

  restart(lives);
  EXPECT_EQ(deliveries, 50 + lives);
  EXPECT_EQ(threads(), threadsBefore);
  EXPECT_EQ(descriptors(), descriptorsBefore);
  // A leak of one allocation in each restart is at least 32 bytes.
  EXPECT_LT(bytesInUse(), bytesBefore + 16 * lives);
}

}  // namespace spf::test
