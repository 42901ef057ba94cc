#include <dlfcn.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>

#include <boost/config.hpp>
#include <boost/log/attributes/attribute_set.hpp>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"

namespace {

// The prefix of required properties has this many characters, and one more that ends it.
constexpr std::size_t prefixLength = 30;
std::atomic<int> prefixesHeld = 0;

int attributeSetsDestroyed = 0;

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

__attribute__((visibility("default"))) attribute_set::~attribute_set() {
  static const auto original = reinterpret_cast<void (*)(attribute_set*)>(dlsym(RTLD_NEXT, mangledName().c_str()));
  ++attributeSetsDestroyed;
  original(this);
}

BOOST_LOG_CLOSE_NAMESPACE
}  // namespace boost

// Counts the blocks of the prefix's size. Each notes its own size in front of it.
void* operator new(std::size_t size) {
  constexpr std::size_t note = alignof(std::max_align_t);
  auto* const block = static_cast<char*>(std::malloc(size + note));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  *reinterpret_cast<std::size_t*>(block) = size;
  prefixesHeld += size == prefixLength + 1 ? 1 : 0;
  return block + note;
}

void operator delete(void* pointer) noexcept {
  if (pointer != nullptr) {
    auto* const block = static_cast<char*>(pointer) - alignof(std::max_align_t);
    prefixesHeld -= *reinterpret_cast<std::size_t*>(block) == prefixLength + 1 ? 1 : 0;
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

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(UnloadingTheLibrary, DestroysItsLogger) {
  ASSERT_FALSE(isLoaded());
  void* const plugin = dlopen(SPF_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(plugin, nullptr) << dlerror();
  ASSERT_TRUE(isLoaded());
  {
    RecordedLog log(4);
    reinterpret_cast<void (*)()>(dlsym(plugin, "publishAndWithdraw"))();
    EXPECT_EQ(log.messages(), std::vector<std::string>{"About to remove spf configuration for x"});
  }
  const int before = attributeSetsDestroyed;
  dlclose(plugin);
  EXPECT_FALSE(isLoaded());
  EXPECT_EQ(attributeSetsDestroyed, before + 1);
}

TEST_F(UnloadingTheLibrary, DestroysThePrefixOfRequiredProperties) {
  void* const plugin = dlopen(SPF_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(plugin, nullptr) << dlerror();
  const int before = prefixesHeld.load();
  reinterpret_cast<void (*)()>(dlsym(plugin, "writeARequiredProperty"))();
  EXPECT_EQ(prefixesHeld.load(), before + 1);
  dlclose(plugin);
  EXPECT_FALSE(isLoaded());
  EXPECT_EQ(prefixesHeld.load(), before);
}

}  // namespace spf::test
