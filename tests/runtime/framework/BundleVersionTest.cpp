#include <cppmicroservices/BundleVersion.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using cppmicroservices::BundleVersion;

TEST(ABundleVersion, IsReadFromText) {
  const BundleVersion sut(std::string("1.22.3.rc-1"));
  EXPECT_EQ(sut.GetMajor(), 1u);
  EXPECT_EQ(sut.GetMinor(), 22u);
  EXPECT_EQ(sut.GetMicro(), 3u);
  EXPECT_EQ(sut.GetQualifier(), "rc-1");
  EXPECT_EQ(sut.ToString(), "1.22.3.rc-1");
}

TEST(ABundleVersion, MayLeaveOutItsLastNumbers) {
  EXPECT_EQ(BundleVersion(std::string("7")).ToString(), "7.0.0");
  EXPECT_EQ(BundleVersion(std::string("7.1")).ToString(), "7.1.0");
}

TEST(ABundleVersion, ReadsTheNumberAtTheBeginningOfEachPart) {
  const auto text = [](const char* version) { return BundleVersion(std::string(version)).ToString(); };
  EXPECT_EQ(text("0.0.1_qa0_"), "0.0.1");
  EXPECT_EQ(text("1.0.0-rc1"), "1.0.0");
  EXPECT_EQ(text("1.2beta"), "1.2.0");
  EXPECT_EQ(text("1.2beta.3"), "1.2.3");
  EXPECT_EQ(text(" 1.\t2. 3 "), "1.2.3");
  EXPECT_EQ(text("1.2."), "1.2.0");
  EXPECT_EQ(text("1.2.3.q."), "1.2.3.q");
}

TEST(ABundleVersion, IsUndefinedForAnEmptyText) {
  const BundleVersion sut{std::string()};
  EXPECT_TRUE(sut.IsUndefined());
  EXPECT_EQ(sut.ToString(), "undefined");
  EXPECT_THROW(sut.GetMajor(), std::logic_error);
}

TEST(ABundleVersion, RefusesAnythingElse) {
  for (const auto* text : {"x", ".", " ", "1.x", "1..", "1.2.99999999999", "1.2.3.q.5", "1.2.3.q u"}) {
    EXPECT_THROW(BundleVersion{std::string(text)}, std::invalid_argument) << text;
  }
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations read beyond the text.
TEST(ABundleVersion, RefusesAPartWithoutANumberAlsoBeforeOthers) {
  for (const auto* text : {"x.1", "1..2", "1.x.3", "-1", "1.-2"}) {
    EXPECT_THROW(BundleVersion{std::string(text)}, std::invalid_argument) << text;
  }
}
#endif

TEST(ABundleVersion, ParsesWithBlanksAroundIt) {
  EXPECT_EQ(BundleVersion::ParseVersion(" 1.2 ").ToString(), "1.2.0");
  EXPECT_EQ(BundleVersion::ParseVersion("  ").ToString(), "0.0.0");
}

TEST(ABundleVersion, ComparesByNumbersFirst) {
  EXPECT_LT(BundleVersion(std::string("1.9")).Compare(BundleVersion(std::string("1.10"))), 0);
  EXPECT_GT(BundleVersion(std::string("2")).Compare(BundleVersion(std::string("1.99.99"))), 0);
  EXPECT_LT(BundleVersion(std::string("1.0.0.a")).Compare(BundleVersion(std::string("1.0.0.b"))), 0);
  EXPECT_TRUE(BundleVersion(std::string("1.0")) == BundleVersion(1, 0, 0));
}

TEST(ABundleVersion, DoesNotCompareWithAnUndefinedOne) {
  EXPECT_THROW(BundleVersion(std::string("1")).Compare(BundleVersion::UndefinedVersion()), std::logic_error);
  EXPECT_TRUE(BundleVersion::UndefinedVersion() == BundleVersion::UndefinedVersion());
}

}  // namespace
