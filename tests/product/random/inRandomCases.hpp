#pragma once

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <sstream>
#include <string>
#include <vector>

namespace spf::test {

/// Checks a property in many random cases. A failure shows the smallest case that still fails, and the
/// seed: the environment variable RC_PARAMS, as in RC_PARAMS="seed=42 max_success=1000", fixes the one
/// and multiplies the cases.
/// \param factor    cases for each one of `max_success`, which is 100 by default
/// \param property  draws what it needs with `*generator`, and says what has to hold with RC_ASSERT
template <class Property>
void inRandomCases(int factor, Property property) {
  const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
  rc::detail::TestMetadata metadata;
  metadata.id = std::string(test->test_suite_name()) + "/" + test->name();
  metadata.description = metadata.id;
  auto parameters = rc::detail::configuration().testParams;
  parameters.maxSuccess *= factor;

  const auto result = rc::detail::checkTestable(property, metadata, parameters);
  testing::Test::RecordProperty("randomCases", parameters.maxSuccess);
  std::ostringstream explanation;
  rc::detail::printResultMessage(result, explanation);
  EXPECT_TRUE(result.template is<rc::detail::SuccessResult>())
      << explanation.str() << "\nRC_PARAMS=\"seed=" << parameters.seed << "\"";
}

/// Any of the rows of a table.
template <class Row, std::size_t size>
rc::Gen<const Row*> anyRowOf(const Row (&table)[size]) {
  return rc::gen::map(rc::gen::inRange<std::size_t>(0, size), [&table](std::size_t row) { return &table[row]; });
}

}  // namespace spf::test
