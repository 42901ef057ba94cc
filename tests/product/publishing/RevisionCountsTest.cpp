#include <chrono>

#include "publish/SPFConfigurationImpl.hpp"
#include "publish/encodeConfiguration.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::encodeConfiguration;
using agent::spf::frameworksetup::ServicePublishers;
using agent::spf::frameworksetup::SPFConfigurationImpl;
using std::chrono::milliseconds;

struct Revision {
  std::uint32_t count;
  int encoded;
  std::uint32_t next;
};

const Revision revisions[] = {{0, 0, 1},
                              {1, 1, 2},
                              {0x7FFFFFFE, 2147483646, 0x7FFFFFFF},
                              {0x7FFFFFFF, 2147483647, 0x80000000},
                              {0x80000000, -2147483647 - 1, 0x80000001},
                              {0xFFFFFFFE, -2, 0xFFFFFFFF},
                              {0xFFFFFFFF, -1, 0}};

std::ostream& operator<<(std::ostream& stream, const Revision& revision) {
  return stream << revision.count;
}

// Counts have 32 bits and no sign here; the properties hold the same bits as an `int`.
class ARevisionCount : public testing::TestWithParam<Revision> {
 protected:
  std::unique_ptr<SPFConfigurationImpl> publishedAfter(std::uint32_t count) {
    ServicePublishers publishers;
    publishers.insert(publisher("p"));
    return std::make_unique<SPFConfigurationImpl>("x", count, agent::spf::frameworksetup::ServiceInterfaces(),
                                                  std::move(publishers), agent::spf::frameworksetup::ServiceMappings());
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

INSTANTIATE_TEST_SUITE_P(Of, ARevisionCount, testing::ValuesIn(revisions),
                         [](const auto& row) { return std::to_string(row.param.count); });

TEST_P(ARevisionCount, IsEncodedAsTheIntOfTheSameBits) {
  EXPECT_EQ(asInt(encodeConfiguration(GetParam().count, {}, {}, {}).at("modificationCount")), GetParam().encoded);
}

TEST_P(ARevisionCount, IsPublishedAsTheNextOneAndStartsAgainFromZeroBehindTheLast) {
  const auto sut = publishedAfter(GetParam().count);
  EXPECT_EQ(sut->modificationCount, GetParam().next);
  EXPECT_EQ(asInt(admin_->properties("zk.spf.framework~x")->at("modificationCount")),
            static_cast<int>(GetParam().next));
}

TEST_P(ARevisionCount, IsAnsweredByItselfAndByAnyLaterOneButByNoEarlierOne) {
  const auto own = GetParam().next;
  for (const auto& answered : revisions) {
    const auto sut = publishedAfter(GetParam().count);
    framework_.sendPublished("p", answered.count);
    EXPECT_EQ(sut->waitForAllServices(milliseconds(0), "p"), answered.count >= own) << answered;
  }
  const auto sut = publishedAfter(GetParam().count);
  framework_.sendPublished("p", own);
  EXPECT_TRUE(sut->waitForAllServices(milliseconds(0), "p"));
}

}  // namespace spf::test
