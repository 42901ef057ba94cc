#include "file/configurationSchema.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <nlohmann/json.hpp>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

#include "file/readConfiguration.hpp"

namespace spf::test {

using namespace spfctl;
using valijson::adapters::NlohmannJsonAdapter;

class TheSchema : public testing::Test {
 protected:
  TheSchema() {
    const auto document = nlohmann::json::parse(configurationSchema());
    valijson::SchemaParser(valijson::SchemaParser::kDraft7).populateSchema(NlohmannJsonAdapter(document), schema_);
  }

  bool accepts(const nlohmann::json& document) {
    return valijson::Validator().validate(schema_, NlohmannJsonAdapter(document), nullptr);
  }

  static std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

 private:
  valijson::Schema schema_;
};

TEST_F(TheSchema, IsTheOneThatIsInstalled) {
  EXPECT_EQ(contentOf(SPFCTL_SCHEMA), configurationSchema())
      << "write it anew: spfctl schema > tools/spfctl/share/configuration.schema.json";
}

// The schema cannot say all that the reader checks: see the list. What it can say, both say alike.
TEST_F(TheSchema, AgreesWithTheReaderOnEveryGoldenFile) {
  const std::set<std::string> beyondTheSchema = {"deep.json",         // nesting
                                                 "filters.json",      // LDAP filters
                                                 "given-twice.json",  // keys, IDs, keys equal but for case
                                                 "mappings-to-nothing.json"};
  int compared = 0;
  for (const auto& entry : std::filesystem::directory_iterator(SPFCTL_GOLDEN_FILES)) {
    if (entry.path().extension() != ".json") {
      continue;  // a recording
    }
    const auto text = contentOf(entry.path());
    const auto name = entry.path().filename().string();
    const bool ignoreComments = true;
    const auto document = nlohmann::json::parse(text, nullptr, false, ignoreComments);
    if (document.is_discarded()) {
      continue;  // no JSON: an editor complains before it looks at a schema
    }
    const bool isAccepted = checkConfiguration({name, text}).findings.errors() == 0;
    EXPECT_EQ(accepts(document), isAccepted || beyondTheSchema.count(name) != 0) << name;
    EXPECT_FALSE(isAccepted && beyondTheSchema.count(name) != 0) << name << " need not be listed";
    ++compared;
  }
  EXPECT_GE(compared, 15);
}

TEST_F(TheSchema, RefusesWhatTheReaderRefuses) {
  EXPECT_TRUE(accepts(nlohmann::json::parse(R"({"$schema": "x", "servicePublishers": []})")));
  for (const char* const text :
       {"[]", "7", R"({"a": 1})", R"({"configurationID": 1})", R"({"servicePublishers": [{"uniqueID": "p"}]})",
        R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "requiredRuntimeServiceProperties": {"a": 1}}]})",
        R"({"serviceMappings": [{"serviceInterfaceID": "i"}]})"}) {
    EXPECT_FALSE(accepts(nlohmann::json::parse(text))) << text;
    EXPECT_NE(checkConfiguration({"f", text}).findings.errors(), 0u) << text;
  }
}

}  // namespace spf::test
