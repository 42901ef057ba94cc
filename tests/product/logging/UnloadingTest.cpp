#include <dlfcn.h>

#include <string>

#include <boost/config.hpp>
#include <boost/log/attributes/attribute_set.hpp>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"

namespace {

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

}  // namespace spf::test
