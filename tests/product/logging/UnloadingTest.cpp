#include <dlfcn.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <boost/config.hpp>
#include <boost/log/attributes/attribute_set.hpp>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"

namespace {

// The prefix of required properties has this many characters, and one more that ends it.
constexpr std::size_t prefixLength = 30;
// Counted without an order: one would hide races between threads from ThreadSanitizer.
std::atomic<int> prefixesHeld = 0;
std::atomic<std::size_t> blocksHeld = 0;

std::atomic<int> attributeSetsDestroyed = 0;

// The namespace depends on how the log library is configured.
std::string mangledName() {
  const std::string version = BOOST_STRINGIZE(BOOST_LOG_VERSION_NAMESPACE);
  return "_ZN5boost3log" + std::to_string(version.size()) + version + "13attribute_setD1Ev";
}

}  // namespace

// The attributes of a logger. Comes before the log library's own when the program is linked; what the set
// holds, the library's own destroys.
namespace boost {
BOOST_LOG_OPEN_NAMESPACE

__attribute__((visibility("default"))) attribute_set::~attribute_set() noexcept {
  static const auto original = reinterpret_cast<void (*)(attribute_set*)>(dlsym(RTLD_NEXT, mangledName().c_str()));
  ++attributeSetsDestroyed;
  original(this);
}

BOOST_LOG_CLOSE_NAMESPACE
}  // namespace boost

// Counts all blocks, and those of the prefix's size. Each notes its own size in front of it.
void* operator new(std::size_t size) {
  constexpr std::size_t note = alignof(std::max_align_t);
  auto* const block = static_cast<char*>(std::malloc(size + note));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  *reinterpret_cast<std::size_t*>(block) = size;
  blocksHeld.fetch_add(1, std::memory_order_relaxed);
  prefixesHeld.fetch_add(size == prefixLength + 1 ? 1 : 0, std::memory_order_relaxed);
  return block + note;
}

void operator delete(void* pointer) noexcept {
  if (pointer != nullptr) {
    auto* const block = static_cast<char*>(pointer) - alignof(std::max_align_t);
    const bool isPrefix = *reinterpret_cast<std::size_t*>(block) == prefixLength + 1;
    blocksHeld.fetch_sub(1, std::memory_order_relaxed);
    prefixesHeld.fetch_sub(isPrefix ? 1 : 0, std::memory_order_relaxed);
    std::free(block);
  }
}

void operator delete(void* pointer, std::size_t) noexcept {
  operator delete(pointer);
}

namespace spf::test {

class UnloadingTheLibrary : public testing::Test {
 protected:
  static bool isLoaded() {
    void* const library = dlopen(SPF_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) {
      dlclose(library);
    }
    return library != nullptr;
  }

  static void* load() {
    void* const plugin = dlopen(SPF_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(plugin, nullptr) << dlerror();
    return plugin;
  }

  template <class Function>
  static Function functionOf(void* plugin, const char* name) {
    return reinterpret_cast<Function>(dlsym(plugin, name));
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(UnloadingTheLibrary, DestroysItsLogger) {
  ASSERT_FALSE(isLoaded());
  void* const plugin = load();
  ASSERT_TRUE(isLoaded());
  {
    RecordedLog log(4);
    functionOf<void (*)(const char*)>(plugin, "publishAndWithdraw")("x");
    EXPECT_EQ(log.messages(), std::vector<std::string>{"About to remove spf configuration for x"});
  }
  const int before = attributeSetsDestroyed.load();
  dlclose(plugin);
  EXPECT_FALSE(isLoaded());
  EXPECT_EQ(attributeSetsDestroyed.load(), before + 1);
}

TEST_F(UnloadingTheLibrary, DestroysThePrefixOfRequiredProperties) {
  void* const plugin = load();
  const int before = prefixesHeld.load();
  functionOf<void (*)()>(plugin, "writeARequiredProperty")();
  EXPECT_EQ(prefixesHeld.load(), before + 1);
  dlclose(plugin);
  EXPECT_FALSE(isLoaded());
  EXPECT_EQ(prefixesHeld.load(), before);
}

struct Resources {
  std::size_t blocks = blocksHeld.load();
  std::ptrdiff_t descriptors = entriesIn("/proc/self/fd");
  std::ptrdiff_t threads = entriesIn("/proc/self/task");

  static std::ptrdiff_t entriesIn(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
  }
};

// Several threads make the logger's first record at once.
TEST_F(UnloadingTheLibrary, AThousandTimesAfterThreadsUsedItLeavesNothingBehind) {
  const auto loadUseAndUnload = [&] {
    void* const plugin = load();
    const auto publishAndWithdraw = functionOf<void (*)(const char*)>(plugin, "publishAndWithdraw");
    {
      const RecordedLog log(4);
      std::vector<std::thread> threads;
      for (const char* const id : {"a", "b", "c"}) {
        threads.emplace_back(publishAndWithdraw, id);
      }
      for (auto& thread : threads) {
        thread.join();
      }
      ASSERT_EQ(log.records().size(), 3);
      ASSERT_EQ(log.loggers(), 1);
    }
    ASSERT_EQ(dlclose(plugin), 0);
    ASSERT_FALSE(isLoaded());
    admin_->clearCalls();
    framework_.host().forgetInstallations();
  };
  for (int round = 0; round < 10; ++round) {
    loadUseAndUnload();
  }
  const Resources before;
  for (int round = 0; round < 1000; ++round) {
    loadUseAndUnload();
  }
  const Resources after;
  EXPECT_EQ(after.blocks, before.blocks);
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(after.threads, before.threads);
}

}  // namespace spf::test
