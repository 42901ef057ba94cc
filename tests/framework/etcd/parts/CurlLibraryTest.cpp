#include "CurlLibrary.hpp"

#include <stdexcept>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace etcdtest {

using agent::spf::etcd::CurlLibrary;

std::string failureOf(const char* file) {
  try {
    const CurlLibrary library(file);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no failure";
}

TEST(ALibraryOfTransfers, ThatIsMissingIsReportedWithItsName) {
  const auto failure = failureOf("libspf_missing.so");
  EXPECT_EQ(failure.find("cannot load libcurl: libspf_missing.so: "), 0U) << failure;
}

TEST(ALibraryOfTransfers, WithoutItsFunctionsIsReportedWithTheFirstMissingOne) {
  const auto failure = failureOf("libm.so.6");
  EXPECT_EQ(failure.find("cannot load libcurl: "), 0U) << failure;
  EXPECT_NE(failure.find("curl_global_init"), std::string::npos) << failure;
}

TEST(ALibraryOfTransfers, IsLoadedWhenItIsNeededFirst) {
  ASSERT_EQ(dlopen("libcurl.so.4", RTLD_LAZY | RTLD_NOLOAD), nullptr) << "something else has loaded it";
  const auto& library = CurlLibrary::instance();
  EXPECT_NE(dlopen("libcurl.so.4", RTLD_LAZY | RTLD_NOLOAD), nullptr);
  EXPECT_STREQ(library.easy_strerror(CURLE_OK), "No error");
}

}  // namespace etcdtest
