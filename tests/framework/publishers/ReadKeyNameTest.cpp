#include "readKeyName.hpp"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using cppmicroservices::Any;
using spf::publishers::readKeyName;

std::string problemOf(const Any& property) {
  try {
    return "none; it is read as '" + readKeyName(property) + "'";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

TEST(TheNameOfThisProcessesKey, IsTheTextOfTheProperty) {
  EXPECT_EQ(readKeyName(std::string("alice")), "alice");
}

TEST(TheNameOfThisProcessesKey, IsEmptyWithoutOne) {
  EXPECT_EQ(readKeyName(Any()), "");
  EXPECT_EQ(readKeyName(std::string()), "");
}

TEST(TheNameOfThisProcessesKey, IsAText) {
  for (const Any& value : {Any(1), Any(std::vector<Any>{std::string("alice")})}) {
    EXPECT_EQ(problemOf(value), "the framework property 'spf.curve.name' is no text; expected a name of a key");
  }
}

TEST(TheNameOfThisProcessesKey, IsANameOfAKey) {
  for (const std::string& name : {std::string("a b"), std::string(".alice"), std::string("../alice")}) {
    EXPECT_EQ(problemOf(name), "the framework property 'spf.curve.name' is '" + name +
                                   "', which is no name of a key; expected 1 to 64 letters, digits, '.', '_' and '-', "
                                   "and no '.' at the beginning");
  }
}

TEST(TheNameOfThisProcessesKey, IsNotShownIfItMayBeTheKeyItself) {
  EXPECT_EQ(
      problemOf(std::string("JTKVSB%%)wK0E.X)V>+}o?pNmC{O&4W4b!Ni{Lh6\n")),
      "the framework property 'spf.curve.name' is a text that may be a key, which is no name of a key; expected 1 to "
      "64 letters, digits, '.', '_' and '-', and no '.' at the beginning");
}

}  // namespace
