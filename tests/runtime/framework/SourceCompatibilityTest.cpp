#include <cppmicroservices/GlobalConfig.h>
#include <gtest/gtest.h>

#include <string>

// Each is in a file of its own, which includes the header of its name only.
std::string textThroughAny();
bool opensFileThroughBundleResourceStream(const char* name);
int countThroughServiceReferenceBase();

namespace {

TEST(AHeader, BringsTheStandardHeadersThatProgramsRelyOn) {
  EXPECT_EQ(textThroughAny(), "  7100");
  EXPECT_TRUE(opensFileThroughBundleResourceStream("/dev/null"));
  EXPECT_EQ(countThroughServiceReferenceBase(), 1);
}

TEST(AHeader, NamesTheLibrariesOfTheBuildsConfiguration) {
#ifdef NDEBUG
  EXPECT_STREQ(US_LIB_POSTFIX, "");
#else
  EXPECT_STREQ(US_LIB_POSTFIX, "d");
#endif
}

}  // namespace
