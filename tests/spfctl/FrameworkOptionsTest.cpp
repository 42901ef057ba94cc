#include "commands/frameworkOptions.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>
#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "agent/spf/security/keyFiles.hpp"
#include "commands/CommandLine.hpp"
#include "commands/keyOptions.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using namespace spfctl;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

class APropertyOfTheFramework : public testing::Test {
 protected:
  static std::map<std::string, Any> given(const std::vector<std::string>& properties) {
    std::vector<std::string> arguments = {"run"};
    for (const auto& property : properties) {
      arguments.insert(arguments.end(), {"--property", property});
    }
    arguments.emplace_back("file.json");
    const auto options = std::get<RunOptions>(parseCommandLine(arguments));
    EXPECT_EQ(options.file, "file.json");
    return options.framework.properties;
  }
  static Any valueOf(const std::string& value) { return given({"p=" + value}).at("p"); }
  static std::string textOf(const std::string& value) { return any_cast<std::string>(valueOf(value)); }
  static std::string complaint(const std::vector<std::string>& properties) {
    try {
      given(properties);
    } catch (const UsageError& error) {
      return error.what();
    }
    return "no complaint";
  }
};

TEST_F(APropertyOfTheFramework, IsATextUnlessItLooksLikeAnObjectOrAList) {
  for (const auto* value : {"", "10", "true", "null", "\"quoted\"", " {}", "a=b", "x,y", "%%", "/path/to file", "-"}) {
    EXPECT_EQ(textOf(value), value);
  }
}

TEST_F(APropertyOfTheFramework, IsAMapForAnObject) {
  const auto map = any_cast<AnyMap>(valueOf(R"({"station": "tcp://h:1", "many": ["a", 2, true], "deep": {"x": 1.5}})"));
  EXPECT_EQ(map.size(), 3u);
  EXPECT_EQ(any_cast<std::string>(map.at("station")), "tcp://h:1");
  const auto list = any_cast<std::vector<Any>>(map.at("many"));
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(any_cast<std::string>(list[0]), "a");
  EXPECT_EQ(any_cast<int>(list[1]), 2);
  EXPECT_TRUE(any_cast<bool>(list[2]));
  EXPECT_EQ(any_cast<double>(any_cast<AnyMap>(map.at("deep")).at("x")), 1.5);
}

TEST_F(APropertyOfTheFramework, IsAListForAList) {
  const auto list = any_cast<std::vector<Any>>(valueOf(R"(["a,b", []])"));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(any_cast<std::string>(list[0]), "a,b");
  EXPECT_TRUE(any_cast<std::vector<Any>>(list[1]).empty());
  EXPECT_TRUE(any_cast<AnyMap>(valueOf("{}")).empty());
}

TEST_F(APropertyOfTheFramework, StandsBesideOthers) {
  const auto properties = given({"spf.advertise=10.0.0.1", "spf.discovery.etcd.ttl=5", "a=[1]"});
  EXPECT_EQ(properties.size(), 3u);
  EXPECT_EQ(any_cast<std::string>(properties.at("spf.advertise")), "10.0.0.1");
  EXPECT_EQ(any_cast<std::string>(properties.at("spf.discovery.etcd.ttl")), "5");
}

TEST_F(APropertyOfTheFramework, IsThereOnlyIfItIsGiven) {
  EXPECT_TRUE(given({}).empty());
}

TEST_F(APropertyOfTheFramework, NeedsANameAndASignOfEquality) {
  EXPECT_EQ(complaint({"spf.advertise"}), "--property is 'spf.advertise'; expected NAME=VALUE");
  EXPECT_EQ(complaint({""}), "--property is ''; expected NAME=VALUE");
  EXPECT_EQ(complaint({"{}"}), "--property is '{}'; expected NAME=VALUE");
  EXPECT_EQ(complaint({"=x"}), "--property has the name ''; expected letters, digits, '.', '_' and '-'");
  EXPECT_EQ(complaint({"a b=x"}), "--property has the name 'a b'; expected letters, digits, '.', '_' and '-'");
  EXPECT_EQ(complaint({"[a]=[b]"}).find("--property has the name "), 0u);
}

TEST_F(APropertyOfTheFramework, IsGivenOnce) {
  EXPECT_EQ(complaint({"a=1", "b=2", "a=1"}), "--property a is given twice; expected it once");
}

TEST_F(APropertyOfTheFramework, IsNoneOfTheRuntime) {
  EXPECT_EQ(complaint({"org.cppmicroservices.framework.storage=/tmp"}),
            "--property org.cppmicroservices.framework.storage is for the host to set; expected a property that "
            "bundles read");
}

TEST_F(APropertyOfTheFramework, HasThePlaceOfBrokenJsonInItsMessage) {
  EXPECT_EQ(complaint({"p={\"a\": 1,}"}).find("--property p:1:9: syntax error"), 0u) << complaint({"p={\"a\": 1,}"});
  EXPECT_EQ(complaint({"p=[1,\n 2"}).find("--property p:2:3: "), 0u) << complaint({"p=[1,\n 2"});
  EXPECT_EQ(complaint({"p=[1] x"}).find("--property p:1:5: "), 0u) << complaint({"p=[1] x"});
  EXPECT_EQ(complaint({R"(p={"a": 1, "a": 2})"}), "--property p:1:10: the key 'a' is given twice; expected it once");
  EXPECT_EQ(complaint({R"(p={"a": 1, "A": 2})"}),
            "--property p:1:10: the key 'A' is given twice, as 'a' before; expected keys that differ in more than "
            "case");
}

class ASourceOfNames : public testing::Test {
 protected:
  static FrameworkOptions given(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"run", "file.json"});
    return std::get<RunOptions>(parseCommandLine(arguments)).framework;
  }
  static std::string complaint(const std::vector<std::string>& arguments) {
    try {
      given(arguments);
    } catch (const UsageError& error) {
      return error.what();
    }
    return "no complaint";
  }

  const Workspace workspace_;
};

TEST_F(ASourceOfNames, MayBeATable) {
  const auto file = workspace_.write("table.json", R"({"station": "tcp://127.0.0.1:5555"})");
  const auto options = given({"--discovery", "table:" + file, "--property", "a=b"});
  std::ostringstream messages;
  const auto properties = frameworkProperties(options, messages);
  ASSERT_TRUE(properties) << messages.str();
  EXPECT_EQ(messages.str(), "");
  EXPECT_EQ(properties->size(), 2u);
  EXPECT_EQ(any_cast<std::string>(any_cast<AnyMap>(properties->at("spf.discovery")).at("station")),
            "tcp://127.0.0.1:5555");
  EXPECT_EQ(any_cast<std::string>(properties->at("a")), "b");
}

TEST_F(ASourceOfNames, NamesFileAndPlaceOfWhatIsWrongInATable) {
  const auto file = workspace_.write("table.json", "{\n  \"station\": 7\n}\n");
  std::ostringstream messages;
  EXPECT_FALSE(frameworkProperties(given({"--discovery", "table:" + file}), messages));
  EXPECT_EQ(messages.str(), file + ":2:14: found a number; expected a string or an array\n" +
                                "  2 |   \"station\": 7\n    |              ^\n");
}

TEST_F(ASourceOfNames, SaysWhyATableCannotBeRead) {
  std::ostringstream messages;
  EXPECT_FALSE(frameworkProperties(given({"--discovery", "table:/does/not/exist"}), messages));
  EXPECT_EQ(messages.str(), "spfctl: /does/not/exist: cannot be read: No such file or directory\n");
}

TEST_F(ASourceOfNames, IsOfAKnownKind) {
  for (const auto* text : {"", "table", "table:", "table:-", "file:x", "/etc/names.json"}) {
    EXPECT_EQ(complaint({"--discovery", text}),
              std::string("--discovery is '") + text + "'; expected etcd:URL[,URL...] or table:FILE");
  }
}

TEST_F(ASourceOfNames, IsGivenOnce) {
  EXPECT_EQ(complaint({"--discovery", "table:a", "--discovery", "table:b"}),
            "--discovery table: is given twice; expected one file");
  EXPECT_EQ(complaint({"--discovery", "table:a", "--property", "spf.discovery={}"}),
            "--property spf.discovery is given beside --discovery table:, which sets it; expected one of them");
}

TEST_F(ASourceOfNames, MayBeEtcd) {
  const auto options = given(
      {"--discovery", "etcd:http://10.0.0.1:2379, http://10.0.0.2:2379", "--property", "spf.discovery.etcd.ttl=5"});
  std::ostringstream messages;
  const auto properties = frameworkProperties(options, messages);
  ASSERT_TRUE(properties);
  EXPECT_EQ(properties->size(), 2u);
  EXPECT_EQ(any_cast<std::string>(properties->at("spf.discovery.etcd")), "http://10.0.0.1:2379,http://10.0.0.2:2379");
  const auto settings = etcdSettings(options);
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->members, (std::vector<std::string>{"http://10.0.0.1:2379", "http://10.0.0.2:2379"}));
  EXPECT_EQ(settings->ttl, std::chrono::seconds(5));
  EXPECT_EQ(settings->prefix, "/spf/");
  EXPECT_FALSE(etcdSettings(given({"--discovery", "table:f"})));
}

TEST_F(ASourceOfNames, MayBeEtcdBesideATable) {
  const auto options = given({"--discovery", "table:f", "--discovery", "etcd:http://10.0.0.1:2379"});
  EXPECT_EQ(options.table, "f");
  EXPECT_EQ(options.etcd, std::vector<std::string>{"http://10.0.0.1:2379"});
}

TEST_F(ASourceOfNames, NamesWhatIsNoUrlOfEtcd) {
  for (const auto* text : {"", "10.0.0.1", "http://10.0.0.1:2379,", "ftp://10.0.0.1:2379"}) {
    const auto said = complaint({"--discovery", std::string("etcd:") + text});
    EXPECT_EQ(said.find("--discovery etcd: "), 0u) << said;
  }
  EXPECT_NE(complaint({"--discovery", "etcd:ftp://10.0.0.1:2379"}).find("ftp://10.0.0.1:2379"), std::string::npos);
}

TEST_F(ASourceOfNames, IsEtcdOnce) {
  EXPECT_EQ(complaint({"--discovery", "etcd:http://a:1", "--discovery", "etcd:http://b:1"}),
            "--discovery etcd: is given twice; expected one list of members");
  EXPECT_EQ(complaint({"--discovery", "etcd:http://a:1", "--property", "spf.discovery.etcd=http://b:1"}),
            "--property spf.discovery.etcd is given beside --discovery etcd:, which sets it; expected one of them");
}

TEST_F(ASourceOfNames, HasSettingsThatEtcdCanBeUsedWith) {
  const auto said = [](const std::string& property) {
    return complaint({"--discovery", "etcd:http://a:1", "--property", property});
  };
  EXPECT_EQ(said("spf.discovery.etcd.ttl=soon"),
            "framework property 'spf.discovery.etcd.ttl': 'soon'; expected whole seconds from 1 to 3600");
  EXPECT_EQ(said("spf.discovery.etcd.ttl=[5]"), "framework property 'spf.discovery.etcd.ttl' is JSON; expected a text");
  EXPECT_NE(said("spf.discovery.etcd.cert=a.pem").find("'spf.discovery.etcd.key'"), std::string::npos);
}

class TheKeyOfAHost : public testing::Test {
 protected:
  static FrameworkOptions given(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"run", "file.json"});
    return std::get<RunOptions>(parseCommandLine(arguments)).framework;
  }
  static std::string complaint(const std::vector<std::string>& arguments) {
    try {
      given(arguments);
    } catch (const UsageError& error) {
      return error.what();
    }
    return "no complaint";
  }

  static void makeKeys(const std::string& name, const std::filesystem::path& folder) {
    const auto files = agent::spf::security::writeKeyPair(agent::spf::security::KeyName(name),
                                                          agent::spf::security::SecretKey::generate(), folder);
    EXPECT_TRUE(std::filesystem::exists(files.secretKey));
  }

  // Returns what may be given in place of a key's file: a key, with and without what surrounds it there.
  static std::vector<std::string> contentsOfKeyFile() {
    const std::string key = "JTKVSB%%)wK0E.X)V>+}o?pNmC{O&4W4b!Ni{Lh6";
    return {key, key + " ", " " + key, key + "\n", "# secret key of station\n" + key + "\n", "./" + key};
  }

  std::string path(const std::string& name) const { return (workspace_.path() / name).native(); }

  std::optional<std::map<std::string, Any>> propertiesOf(const std::vector<std::string>& arguments) {
    messages_.str("");
    return frameworkProperties(given(arguments), messages_);
  }

  // Returns what is written if the properties cannot be made.
  std::string refusal(const std::string& key, const std::string& trust) {
    EXPECT_FALSE(propertiesOf({"--key", key, "--trust", trust}));
    return messages_.str();
  }

  const Workspace workspace_;
  std::ostringstream messages_;
};

TEST_F(TheKeyOfAHost, BecomesTheThreePropertiesThatTheTransportReads) {
  makeKeys("station", workspace_.path());
  const auto properties = propertiesOf({"--key", path("station.key"), "--trust", workspace_.path()});
  ASSERT_TRUE(properties) << messages_.str();
  EXPECT_EQ(messages_.str(), "");
  EXPECT_EQ(properties->size(), 3u);
  EXPECT_EQ(any_cast<std::string>(properties->at("spf.curve.name")), "station");
  EXPECT_EQ(any_cast<std::string>(properties->at("spf.curve.secret_key")), path("station.key"));
  EXPECT_EQ(any_cast<std::string>(properties->at("spf.curve.trust")), workspace_.path().native());
}

TEST_F(TheKeyOfAHost, IsHandedOnUnderFullNames) {
  makeKeys("station", workspace_.path());
  const auto relative = std::filesystem::relative(workspace_.path());
  const auto properties = propertiesOf({"--key", relative / "station.key", "--trust", relative});
  ASSERT_TRUE(properties) << messages_.str();
  for (const auto* name : {"spf.curve.secret_key", "spf.curve.trust"}) {
    const std::filesystem::path file = any_cast<std::string>(properties->at(name));
    EXPECT_TRUE(file.is_absolute()) << file;
    EXPECT_TRUE(std::filesystem::exists(file)) << file;
  }
}

TEST_F(TheKeyOfAHost, MayHaveAnotherNameThanItsFile) {
  makeKeys("station", workspace_.path());
  std::filesystem::rename(path("station.key"), path("my key"));
  const auto properties = propertiesOf(
      {"--key", path("my key"), "--trust", workspace_.path(), "--property", "spf.curve.name=north.station"});
  ASSERT_TRUE(properties) << messages_.str();
  EXPECT_EQ(any_cast<std::string>(properties->at("spf.curve.name")), "north.station");
}

TEST_F(TheKeyOfAHost, IsNotThereUnlessItIsGiven) {
  const auto properties = propertiesOf({"--property", "spf.curve.name=station"});
  ASSERT_TRUE(properties);
  EXPECT_EQ(properties->size(), 1u);
}

TEST_F(TheKeyOfAHost, NeedsAFolderOfTrustedKeys) {
  EXPECT_EQ(complaint({"--key", "station.key"}),
            "--key without --trust; expected the folder of the public keys that are trusted, too");
  EXPECT_EQ(complaint({"--trust", "trusted"}),
            "--trust without --key; expected the file of the host's secret key, too");
  EXPECT_EQ(complaint({"--key", "", "--trust", "trusted"}), "--key is ''; expected the name of a file");
  EXPECT_EQ(complaint({"--key", "station.key", "--trust", ""}), "--trust is ''; expected the name of a folder");
}

TEST_F(TheKeyOfAHost, IsNotTheValueOfTheOption) {
  const std::string said =
      "--key is a text that may be a key, and no file; expected the name of the file that holds the key";
  for (const auto& text : contentsOfKeyFile()) {
    EXPECT_EQ(complaint({"--key=" + text, "--trust", "trusted"}), said);
    EXPECT_EQ(complaint({"--key=" + text, "--trust", "trusted", "--property", "spf.curve.name=station"}), said);
  }
  const auto name = std::string(36, 'x') + ".key";
  EXPECT_EQ(complaint({"--key", name, "--trust", "trusted"}), said) << "a name of that length needs a file";
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(workspace_.path());
  workspace_.write(name, "");
  EXPECT_EQ(complaint({"--key", name, "--trust", "trusted"}), "no complaint");
  std::filesystem::current_path(before);
}

TEST_F(TheKeyOfAHost, IsNoValueOfOtherOptions) {
  for (const auto& text : contentsOfKeyFile()) {
    EXPECT_EQ(
        complaint({"--key", "station.key", "--trust=" + text}),
        "--trust is a text that may be a key, and no folder; expected the name of the folder of the keys that are "
        "trusted");
    EXPECT_EQ(
        complaint({"--key", "station.key", "--trust", "trusted", "--property", "spf.curve.name=" + text}),
        "--property spf.curve.name is a text that may be a key; expected a name of a key: 1 to 64 letters, digits, "
        "'.', '_' and '-', and no '.' at the beginning");
    EXPECT_EQ(complaint({"--property", text}), "--property is a text that may be a key; expected NAME=VALUE");
    EXPECT_EQ(complaint({"--property", text + "=1"}),
              "--property has the name a text that may be a key; expected letters, digits, '.', '_' and '-'");
    EXPECT_THAT(complaint({"--property", "p={" + text}), testing::EndsWith(": a text that may be a key, and no JSON"));
    EXPECT_EQ(complaint({text}), "spfctl run: unexpected argument a text that may be a key");
    EXPECT_THAT(complaint({"-" + text}), testing::StartsWith("spfctl run: unknown option a text that may be a key; "));
  }
}

TEST_F(TheKeyOfAHost, NeedsAName) {
  for (const std::string name : {"a b", ".key", ".hidden", "st\u00e4tion", ".."}) {
    EXPECT_EQ(complaint({"--key", "/keys/" + name, "--trust", "trusted"}),
              "--key is '/keys/" + name + "', and '" + name +
                  "' is no name of a key; expected 1 to 64 letters, digits, '.', '_' and '-', and no '.' at the "
                  "beginning, or --property spf.curve.name=NAME");
  }
  EXPECT_EQ(given({"--key", "/keys/north.station.key", "--trust", "trusted"}).key, "/keys/north.station.key");
}

TEST_F(TheKeyOfAHost, NeedsANameThatPeersCanKnowItBy) {
  const auto said = [](const std::string& value) {
    return complaint({"--key", "a b", "--trust", "trusted", "--property", "spf.curve.name=" + value});
  };
  const std::string expected =
      "; expected a name of a key: 1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning";
  EXPECT_EQ(said(""), "--property spf.curve.name is ''" + expected);
  EXPECT_EQ(said("a/b"), "--property spf.curve.name is 'a/b'" + expected);
  EXPECT_EQ(said("[\"a\"]"), "--property spf.curve.name is JSON" + expected);
  EXPECT_EQ(said("a"), "no complaint");
}

TEST_F(TheKeyOfAHost, IsGivenInOneWay) {
  EXPECT_EQ(complaint({"--key", "a.key", "--trust", "t", "--property", "spf.curve.secret_key=b.key"}),
            "--property spf.curve.secret_key is given beside --key, which sets it; expected one of them");
  EXPECT_EQ(complaint({"--key", "a.key", "--trust", "t", "--property", "spf.curve.trust=t"}),
            "--property spf.curve.trust is given beside --trust, which sets it; expected one of them");
  EXPECT_EQ(complaint({"--key", "a.key", "--trust", "t", "--property", "spf.curve.allow={\"p\": \"b\"}"}),
            "no complaint");
}

TEST_F(TheKeyOfAHost, IsWarnedOfAskersOfUnknownPublishers) {
  const auto warnings = [](const std::string& allow) {
    ConfigurationDescription description;
    description.servicePublishers.resize(2);
    description.servicePublishers[0].uniqueID = "station";
    description.servicePublishers[1].uniqueID = "pier";
    std::ostringstream messages;
    warnOfUnknownPublishers(
        given(allow.empty() ? std::vector<std::string>() : std::vector<std::string>{"--property", allow}), description,
        messages);
    return messages.str();
  };
  EXPECT_EQ(warnings(""), "");
  EXPECT_EQ(warnings("spf.curve.allow=text"), "") << "the publishers do not start with it";
  EXPECT_EQ(warnings(R"(spf.curve.allow={"station": ["a"], "pier": "b"})"), "");
  const std::string begin = "spfctl: warning: spf.curve.allow: no publisher of the configuration has the ID ";
  EXPECT_EQ(warnings(R"(spf.curve.allow={"station": "a", "Pier": "b"})"),
            begin + "'Pier', so its entry protects none; did you mean 'pier'?\n");
  EXPECT_EQ(warnings(R"(spf.curve.allow={"statoin": "a", "else\u001b": "b"})"),
            begin + "'else\\x1b', so its entry protects none\n" + begin +
                "'statoin', so its entry protects none; did you mean 'station'?\n");
}

TEST_F(TheKeyOfAHost, IsNamedIfItCannotBeRead) {
  EXPECT_EQ(refusal(path("none.key"), workspace_.path()),
            "spfctl: " + path("none.key") + ": cannot be read: No such file or directory; expected a key file\n");
  EXPECT_EQ(refusal(workspace_.path(), workspace_.path()),
            "spfctl: " + workspace_.path().native() + ": is a folder; expected a key file\n");
  makeKeys("station", workspace_.path());
  EXPECT_EQ(refusal(path("station.pub"), workspace_.path()),
            "spfctl: " + path("station.pub") +
                ": has the permissions 0644; expected 0600, since only its owner may have a secret key\n");
}

TEST_F(TheKeyOfAHost, NeedsAFolderThatCanBeRead) {
  makeKeys("station", workspace_.path());
  EXPECT_EQ(
      refusal(path("station.key"), path("none")),
      "spfctl: " + path("none") + ": cannot be read: No such file or directory; expected a folder of public keys\n");
  EXPECT_EQ(refusal(path("station.key"), path("station.pub")),
            "spfctl: " + path("station.pub") + ": cannot be read: Not a directory; expected a folder of public keys\n");
  std::filesystem::permissions(workspace_.path(), std::filesystem::perms(0777));
  EXPECT_EQ(
      refusal(path("station.key"), workspace_.path()),
      "spfctl: " + workspace_.path().native() +
          ": has the permissions 0777; expected 0755, since only its owner may write in a folder of public keys\n");
}

TEST_F(TheKeyOfAHost, IsWarnedOfATrustThatIsEmpty) {
  makeKeys("station", workspace_.path());
  std::filesystem::create_directory(path("trusted"));
  std::filesystem::permissions(path("trusted"), static_cast<std::filesystem::perms>(0755));
  EXPECT_TRUE(propertiesOf({"--key", path("station.key"), "--trust", path("trusted")}));
  EXPECT_EQ(messages_.str(),
            "spfctl: warning: " + path("trusted") + ": nobody is trusted; expected a file NAME.pub for each peer\n");
}

TEST_F(TheKeyOfAHost, IsWarnedOfFilesThatHoldNoTrustedKey) {
  makeKeys("station", workspace_.path());
  const auto file = workspace_.write("broken.pub", "no key\n");
  EXPECT_TRUE(propertiesOf({"--key", path("station.key"), "--trust", workspace_.path()}));
  EXPECT_EQ(messages_.str().find("spfctl: warning: " + file + ":1: "), 0u) << messages_.str();
}

}  // namespace spf::test
