#include <algorithm>
#include <cctype>
#include <iomanip>
#include <map>
#include <sstream>

#include "EndToEnd.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace spf::test {

using nlohmann::json;
using testing::HasSubstr;
namespace fs = std::filesystem;
namespace security = agent::spf::security;

// Hosts with keys, of which that of the stranger is trusted by nobody. Whatever is shown and written is searched for
// parts of their secret keys.
class ASecretKey : public EndToEnd {
 protected:
  void SetUp() override {
    fs::create_directory(trusted());
    fs::permissions(trusted(), static_cast<fs::perms>(0755));
    for (const std::string name : {"station", "pier", "stranger"}) {
      Process keygen({SPFCTL, "keygen", name, "--folder", workspace_.path()});
      ASSERT_EQ(keygen.wait(), 0) << keygen.err();
      secrets_.push_back(textOf(path(name + ".key")));
      addForms(path(name + ".key"));
      showAll("keygen", keygen);
    }
    for (const auto* name : {"station.pub", "pier.pub"}) {
      fs::copy_file(path(name), trusted() / name);
    }
  }

  fs::path path(const std::string& name) const { return workspace_.path() / name; }
  fs::path trusted() const { return workspace_.path() / "trusted"; }

  // Returns the key in a key file.
  static std::string textOf(const fs::path& file) {
    std::istringstream lines(contentOf(file));
    std::string line;
    while (std::getline(lines, line) && line.front() == '#') {
    }
    return line;
  }

  // Notes what must not be found: parts of the key as text, as bytes, and in hexadecimal digits.
  void addForms(const fs::path& file) {
    const auto key = security::readSecretKey(file);
    const std::string bytes(key.bytes().begin(), key.bytes().end());
    std::ostringstream small;
    for (const unsigned char byte : bytes) {
      small << std::hex << std::setw(2) << std::setfill('0') << static_cast<int>(byte);
    }
    auto capital = small.str();
    std::transform(capital.begin(), capital.end(), capital.begin(), [](unsigned char digit) { return toupper(digit); });
    addParts(textOf(file), 10);
    addParts(bytes, 8);
    addParts(small.str(), 16);
    addParts(capital, 16);
  }
  void addParts(const std::string& form, std::size_t size) {
    for (std::size_t begin = 0; begin + size <= form.size(); begin += size) {
      forbidden_.push_back(form.substr(begin, size));
    }
  }

  bool isSecret(const std::string& text) const {
    return std::any_of(forbidden_.begin(), forbidden_.end(),
                       [&](const std::string& part) { return text.find(part) != std::string::npos; });
  }
  // Expects that a text holds no part of a secret key.
  void show(const std::string& what, const std::string& text) const {
    EXPECT_FALSE(text.empty()) << what << " shows nothing";
    EXPECT_FALSE(isSecret(text)) << what << ":\n" << text;
  }
  void showAll(const std::string& what, Process& process) const { show(what, process.out() + process.err()); }

  // Returns the names of the files below the workspace that hold a part of a secret key.
  std::vector<std::string> filesWithSecrets() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(workspace_.path())) {
      if (entry.is_regular_file() && isSecret(contentOf(entry.path()))) {
        names.push_back(fs::relative(entry.path(), workspace_.path()));
      }
    }
    return names;
  }

  Arguments withKey(const std::string& id, const Configuration& configuration, const fs::path& key,
                    const Arguments& more = {}) const {
    Arguments all = {"--key", key, "--trust", trusted(), "--log", "all", "--record", path(id + ".jsonl")};
    all.insert(all.end(), more.begin(), more.end());
    return host(write(id + ".json", configuration), all);
  }

  // Runs a host that cannot begin, and returns what it says.
  std::string refusalOf(const fs::path& key) const {
    Process process(withKey("x", Configuration("x").publisher("p", {"tcp://127.0.0.1:*"}), key));
    EXPECT_EQ(process.wait(), 3);
    EXPECT_EQ(process.out(), "");
    showAll("the refusal", process);
    return process.err();
  }
  // Runs a host that cannot begin with these arguments, and returns what it says.
  std::string refusalOf(const Arguments& arguments, int code) const {
    Process process(host(write("x.json", Configuration("x").publisher("p", {"tcp://127.0.0.1:*"})), arguments));
    EXPECT_EQ(process.wait(), code);
    showAll("the refusal", process);
    return process.err();
  }
  // Returns what may be given in place of a file: all that is in it, its key, and that with a blank or a folder.
  static std::vector<std::string> formsOf(const fs::path& file) {
    const auto key = textOf(file);
    return {contentOf(file), key, key + " ", " " + key, "./" + key, (file.parent_path() / "x").native() + key};
  }
  // Returns whether a text has the form NAME=VALUE. One key in thirty has it by chance, and is a property like others.
  static bool isProperty(const std::string& text) {
    const auto end = std::find_if(text.begin(), text.end(), [](unsigned char character) {
      return std::isalnum(character) == 0 && character != '.' && character != '_' && character != '-';
    });
    return end != text.begin() && end != text.end() && *end == '=';
  }
  fs::path writeKey(const std::string& content, fs::perms permissions = fs::perms(0600)) const {
    const fs::path file = workspace_.write("bad.key", content);
    fs::permissions(file, permissions);
    return file;
  }

  std::vector<std::string> secrets_;

 private:
  std::vector<std::string> forbidden_;
};

TEST_F(ASecretKey, IsFoundByTheSearchOfTheseTests) {
  for (const auto& secret : secrets_) {
    EXPECT_TRUE(isSecret("before" + secret.substr(3, 30) + "behind"));
  }
  EXPECT_THAT(filesWithSecrets(), testing::UnorderedElementsAre("station.key", "pier.key", "stranger.key"));
  EXPECT_FALSE(isSecret(contentOf(path("station.pub"))));
}

TEST_F(ASecretKey, IsInNothingThatRunningHostsShowAndWrite) {
  const auto address = freeEndpoint();
  Process weather(
      withKey("weather", Configuration("weather").interface("i", "weather.Temperature").publisher("station", {address}),
              path("station.key")));
  ASSERT_TRUE(weather.waitForOutput("ready: weather")) << weather.err();
  Process harbour(
      withKey("harbour", Configuration("harbour").publisher("pier", {}, {address + "#station"}), path("pier.key")));
  ASSERT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.out() << harbour.err();
  Process stranger(withKey("stranger", Configuration("stranger").publisher("curious", {}, {address + "#station"}),
                           path("stranger.key"), {"--timeout", "1h"}));
  ASSERT_TRUE(waitForStatus("stranger", [&](const json& status) {
    const auto record = recordOf(status, address + "#station");
    return record.is_object() && record["reason"] == "refused";
  })) << stranger.err();
  for (const auto& arguments :
       std::vector<Arguments>{{"status"}, {"status", "--json"}, {"ask", "harbour", address + "#station"}}) {
    const auto result = call(arguments);
    show(arguments[0], result.out + result.err);
  }
  for (const auto* const name : {"weather", "harbour", "stranger"}) {
    show("status", call({"status", name}).out);
    show("status --json", call({"status", name, "--json"}).out);
    show("the control socket", status(name).dump());
  }
  for (auto* const process : {&weather, &harbour, &stranger}) {
    const auto folder = fs::path("/proc") / std::to_string(process->id());
    show("the command line", contentOf(folder / "cmdline"));
    show("the environment", contentOf(folder / "environ"));
  }
  EXPECT_THAT(filesWithSecrets(), testing::UnorderedElementsAre("station.key", "pier.key", "stranger.key"));
  EXPECT_EQ(codeOf({"withdraw", "stranger"}), 0);
  EXPECT_EQ(stranger.wait(), 0);
  end(harbour);
  end(weather);
  for (auto* const process : {&weather, &harbour, &stranger}) {
    showAll("a host", *process);
  }
  for (const auto* name : {"weather.jsonl", "harbour.jsonl", "stranger.jsonl"}) {
    show(name, contentOf(path(name)));
    Process replay({SPFCTL, "replay", path(name), "--json"});
    EXPECT_EQ(replay.wait(), 0) << replay.err();
    showAll("replay", replay);
  }
  EXPECT_THAT(filesWithSecrets(), testing::UnorderedElementsAre("station.key", "pier.key", "stranger.key"));
}

TEST_F(ASecretKey, IsInNoMessageAboutItsFile) {
  const auto key = secrets_[0];
  EXPECT_THAT(refusalOf(writeKey(key + "\n", fs::perms(0644))), HasSubstr("has the permissions 0644"));
  EXPECT_THAT(refusalOf(writeKey(key + "\n" + key + "\n")), HasSubstr(":2: something after the key"));
  for (const auto& content : {key + key, key + " x", "key = " + key, key.substr(1), key.substr(0, 39) + "~",
                              key.substr(0, 20) + "\n" + key.substr(20), '"' + key + '"'}) {
    EXPECT_THAT(refusalOf(writeKey(content + "\n")), HasSubstr("bad.key:"));
  }
  EXPECT_THAT(refusalOf(writeKey("# " + key + "\n")), HasSubstr("no key"));
  EXPECT_THAT(refusalOf(writeKey(key + "\n" + std::string(5000, '\n'))), HasSubstr("more than 4096 bytes"));
}

TEST_F(ASecretKey, IsInNoMessageWhenItIsGivenInPlaceOfItsFile) {
  const auto file = path("station.key");
  for (const auto& text : formsOf(file)) {
    std::vector<Arguments> all = {{"--key=" + text, "--trust", trusted()},
                                  {"--key", file, "--trust=" + text},
                                  {"--key", file, "--trust", trusted(), "--property", "spf.curve.name=" + text}};
    if (!isProperty(text)) {
      all.push_back({"--key", file, "--trust", trusted(), "--property=" + text});
    }
    for (const auto& arguments : all) {
      const auto result = refusalOf(arguments, 2);
      EXPECT_THAT(result, HasSubstr("a text that may be a key")) << arguments[0];
    }
  }
}

TEST_F(ASecretKey, IsInNoMessageWhenItIsAPropertyInPlaceOfItsFile) {
  const std::map<std::string, std::string> good = {
      {"spf.curve.name", "station"}, {"spf.curve.secret_key", path("station.key")}, {"spf.curve.trust", trusted()}};
  for (const auto& text : formsOf(path("station.key"))) {
    for (const auto& [wrong, unused] : good) {
      Arguments arguments = {"--log", "all"};
      for (const auto& [name, value] : good) {
        arguments.insert(arguments.end(), {"--property", name + "=" + (name == wrong ? text : value)});
      }
      const bool looksLikeJson = text.front() == '{' || text.front() == '[';
      EXPECT_THAT(refusalOf(arguments, looksLikeJson ? 2 : 1), HasSubstr("a text that may be a key")) << wrong;
    }
  }
}

TEST_F(ASecretKey, IsInNoWarningWhenItIsInTheFolderOfTrust) {
  workspace_.write("trusted/broken.pub", secrets_[0] + " " + secrets_[0] + "\n");
  workspace_.write("trusted/secret.pub", secrets_[1] + "\n");  // nothing shows that it is no public one
  fs::copy_file(path("station.key"), trusted() / "station.key");
  const auto address = freeEndpoint();
  Process weather(withKey("weather", Configuration("weather").publisher("station", {address}), path("station.key")));
  ASSERT_TRUE(weather.waitForOutput("ready: weather")) << weather.err();
  EXPECT_THAT(weather.err(), HasSubstr("broken.pub:1: "));
  const auto result = call({"status", "weather", "--json"});
  show("status", result.out + result.err);
  end(weather);
  showAll("weather", weather);
  show("the recording", contentOf(path("weather.jsonl")));
}

}  // namespace spf::test
