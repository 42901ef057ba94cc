#include "CurveSettings.hpp"

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include "agent/spf/security/keyFiles.hpp"
#include "support/TemporaryFolder.hpp"

namespace {

using agent::spf::security::KeyName;
using agent::spf::security::SecretKey;
using agent::spf::security::writeKeyPair;
using cppmicroservices::Any;
using spf::zeromq::makeIdentity;
using spf::zeromq::readCurveSettings;
using testing::HasSubstr;

class CurveSettings : public testing::Test {
 protected:
  CurveSettings() { writeKeyPair(KeyName("alice"), key, folder.path()); }

  auto read() const {
    return readCurveSettings([this](const std::string& name) {
      const auto found = properties.find(name);
      return found != properties.end() ? found->second : Any();
    });
  }

  /// Returns the message of the error.
  std::string refusal() const {
    try {
      const auto settings = read();
      makeIdentity(settings.value(), nullptr);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "accepted";
  }

  const frameworktest::TemporaryFolder folder;
  const SecretKey key = SecretKey::generate();
  const std::string file = folder.path() + "/alice.key";
  std::map<std::string, Any> properties{{"spf.curve.name", Any(std::string("alice"))},
                                        {"spf.curve.secret_key", Any(file)},
                                        {"spf.curve.trust", Any(folder.path())}};
};

TEST_F(CurveSettings, AreNoneWithoutProperties) {
  properties.clear();
  EXPECT_EQ(read(), std::nullopt);
}

TEST_F(CurveSettings, MakeAnIdentityOfTheKeyAndTheTrustedKeys) {
  const auto sut = makeIdentity(read().value(), nullptr);
  EXPECT_EQ(read()->name, "alice");
  EXPECT_EQ(sut->key.publicKey(), key.publicKey());
  EXPECT_NE(sut->trust->keys()->find("alice"), nullptr);
}

TEST_F(CurveSettings, PassOnTheWarningsOfTheFolder) {
  std::ofstream(folder.path() + "/bob.pub") << "no key";
  std::string warning;
  makeIdentity(read().value(), [&](const std::string& text) { warning = text; });
  EXPECT_THAT(warning, HasSubstr("bob.pub"));
}

TEST_F(CurveSettings, AreRefusedIfOneIsMissing) {
  for (const auto& [name, value] : std::map(properties)) {
    properties.erase(name);
    EXPECT_THAT(refusal(), HasSubstr("framework property '" + name + "' is missing; expected the ")) << name;
    properties[name] = value;
  }
  properties.erase("spf.curve.trust");
  EXPECT_EQ(refusal(),
            "framework property 'spf.curve.trust' is missing; expected the folder of the keys that are trusted, since "
            "'spf.curve.name' is set");
}

TEST_F(CurveSettings, AreRefusedIfOneIsNoText) {
  for (const auto& [name, value] : std::map(properties)) {
    for (const auto& wrong : {Any(7), Any(std::string())}) {
      properties[name] = wrong;
      EXPECT_THAT(refusal(), testing::StartsWith("framework property '" + name + "': ")) << name;
      EXPECT_THAT(refusal(), HasSubstr("; expected the ")) << name;
    }
    properties[name] = value;
  }
}

TEST_F(CurveSettings, AreRefusedIfTheNameIsNone) {
  properties["spf.curve.name"] = std::string("../alice");
  EXPECT_THAT(refusal(), testing::AllOf(HasSubstr("'spf.curve.name': '../alice'; expected 1 to 64 letters")));
}

TEST_F(CurveSettings, AreRefusedIfTheSecretKeyIsNotReadable) {
  properties["spf.curve.secret_key"] = file + "x";
  EXPECT_THAT(refusal(), testing::AllOf(HasSubstr("'spf.curve.secret_key': "), HasSubstr(file + "x")));
}

TEST_F(CurveSettings, AreRefusedIfOthersMayReadTheSecretKey) {
  std::filesystem::permissions(file, std::filesystem::perms::group_read, std::filesystem::perm_options::add);
  EXPECT_THAT(refusal(), testing::AllOf(HasSubstr("'spf.curve.secret_key': "), HasSubstr(file)));
}

TEST_F(CurveSettings, AreRefusedWithoutAKeyThatIsGivenInPlaceOfAName) {
  const std::string secret = "JTKVSB%%)wK0E.X)V>+}o?pNmC{O&4W4b!Ni{Lh6";
  for (const auto& text :
       {secret, secret + " ", "# secret key of alice\n" + secret + "\n", folder.path() + "/" + secret}) {
    for (const auto& [name, value] : std::map(properties)) {
      properties[name] = text;
      EXPECT_THAT(refusal(),
                  testing::StartsWith("framework property '" + name + "': a text that may be a key; expected "));
      EXPECT_THAT(refusal(), testing::Not(HasSubstr(secret.substr(0, 8))));
      properties[name] = value;
    }
  }
}

TEST_F(CurveSettings, AreRefusedIfTheFolderIsNotThere) {
  properties["spf.curve.trust"] = folder.path() + "/none";
  EXPECT_THAT(refusal(), testing::AllOf(HasSubstr("'spf.curve.trust': "), HasSubstr(folder.path() + "/none")));
}

}  // namespace
