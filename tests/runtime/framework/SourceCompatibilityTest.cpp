#include <cppmicroservices/GlobalConfig.h>
#include <gtest/gtest.h>

#include <string>

// Each function is in a file of its own, which includes only the header of its name.
std::string textThroughAny();
bool opensFileThroughBundleResourceStream(const char* name);
int countThroughServiceReferenceBase();

namespace {

TEST(AHeader, IncludesTheStandardHeadersThatProgramsRelyOn) {
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
