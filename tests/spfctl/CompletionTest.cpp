#include <gmock/gmock.h>

#include <filesystem>

#include "support/Process.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using testing::HasSubstr;
using testing::Not;

bool isInstalled(const std::string& shell) {
  return std::filesystem::exists("/usr/bin/" + shell);
}

// The scripts that the tool prints, in the shells that they are for.
class Completion : public testing::Test {
 protected:
  std::string output(const std::vector<std::string>& command) {
    Process process(command);
    const int code = process.wait();
    EXPECT_EQ(code, 0) << process.err();
    EXPECT_EQ(process.err(), "");
    return process.out();
  }
  std::string script(const std::string& shell) {
    return workspace_.write("completion." + shell, output({SPFCTL, "completion", shell}));
  }

  // What bash would offer for the last of these words.
  std::string bash(const std::string& words) {
    return output({"/bin/bash", "--norc", "-c",
                   "cd " + workspace_.path().string() + " && source completion.bash && COMP_WORDS=(spfctl " + words +
                       ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && compopt() { :; } && _spfctl && "
                       "printf '%s\\n' \"${COMPREPLY[@]}\""});
  }
  std::string fish(const std::string& line) {
    return output({"/usr/bin/fish", "--no-config", "-c",
                   "cd " + workspace_.path().string() + "; source completion.fish; complete -C '" + line + "'"});
  }
  // What a terminal shows after the line and two tabulators have been typed into zsh.
  std::string zsh(const std::string& line) {
    return output({"/bin/zsh", "-f", "-c",
                   "cd " + workspace_.path().string() +
                       R"( || exit 1
zmodload zsh/zpty
zpty -b shell "HOME=$PWD TERM=dumb zsh -f -i"
zpty -w shell "PS1='<prompt>'; autoload -Uz compinit; compinit -u -D; source ./completion.zsh; setopt nolistbeep; zstyle ':completion:*' list-prompt ''; LISTMAX=0; print loa'ded'"
while ! zpty -t shell; do :; done
text=''
while [[ $text != *loaded* ]]; do zpty -r shell part && text+=$part; done
zpty -n -w shell ')" + line +
                       R"('$'\t\t'
text=''
deadline=$((SECONDS + 20))
while [[ $text != *')" +
                       expectation_ +
                       R"('* && $SECONDS -lt $deadline ]]; do zpty -r -t shell part && text+=$part; done
zpty -d shell
print -r -- $text)"});
  }

  Workspace workspace_;
  std::string expectation_;  // what zsh is waited for
};

TEST_F(Completion, InBashOffersCommandsOptionsValuesAndFiles) {
  script("bash");
  workspace_.write("weather.json", "{}");
  workspace_.write("bundles/b", "");
  EXPECT_EQ(bash("sh"), "show\n");
  EXPECT_THAT(bash("''"), HasSubstr("check\nshow\ndiff\n"));
  EXPECT_EQ(bash("--v"), "--version\n");
  EXPECT_EQ(bash("run --on"), "--once\n");
  EXPECT_EQ(bash("run wea"), "weather.json\n");
  EXPECT_EQ(bash("run --root bun"), "bundles\n");
  EXPECT_EQ(bash("run --timeout wea"), "\n");
  EXPECT_EQ(bash("show weather.json --as s"), "svg\n");
  EXPECT_EQ(bash("show --as = d"), "dot\n");
  EXPECT_EQ(bash("keygen --folder bun"), "bundles\n");
  EXPECT_EQ(bash("keygen wea"), "\n") << "a new name";
  EXPECT_EQ(bash("completion z"), "zsh\n");
  EXPECT_EQ(bash("manual ''"), "\n");
}

TEST_F(Completion, InFishOffersCommandsOptionsValuesAndFiles) {
  if (!isInstalled("fish")) {
    GTEST_SKIP() << "fish is not installed";
  }
  script("fish");
  workspace_.write("weather.json", "{}");
  EXPECT_THAT(fish("spfctl sh"), HasSubstr("show\tShow what would be published"));
  EXPECT_THAT(fish("spfctl run --on"), HasSubstr("--once\t"));
  EXPECT_THAT(fish("spfctl run --o"), Not(HasSubstr("--strict")));
  EXPECT_THAT(fish("spfctl run wea"), HasSubstr("weather.json"));
  EXPECT_THAT(fish("spfctl show --as "), HasSubstr("svg"));
  EXPECT_THAT(fish("spfctl completion "), HasSubstr("zsh"));
}

TEST_F(Completion, InZshOffersCommandsOptionsValuesAndFiles) {
  if (!isInstalled("zsh")) {
    GTEST_SKIP() << "zsh is not installed";
  }
  if (const auto reason = Process::whyNoTerminal(); !reason.empty()) {
    GTEST_SKIP() << "this machine opens no pseudo-terminal: " << reason;
  }
  script("zsh");
  workspace_.write("weather.json", "{}");
  expectation_ = "show";
  EXPECT_THAT(zsh("spfctl sh"), HasSubstr("show"));
  expectation_ = "--once";
  EXPECT_THAT(zsh("spfctl run --on"), HasSubstr("--once"));
  expectation_ = "weather.json";
  EXPECT_THAT(zsh("spfctl run wea"), HasSubstr("weather.json"));
  expectation_ = "svg";
  EXPECT_THAT(zsh("spfctl show --as=sv"), HasSubstr("svg"));
  expectation_ = "--property=a=b --property";
  EXPECT_THAT(zsh("spfctl run --property=a=b --prop"), HasSubstr(expectation_)) << "an option that may be repeated";
}

TEST_F(Completion, TheManualPageHasNoErrors) {
  if (!isInstalled("mandoc")) {
    GTEST_SKIP() << "mandoc is not installed";
  }
  const auto page = workspace_.write("spfctl.1", output({SPFCTL, "manual"}));
  Process lint({"/usr/bin/mandoc", "-T", "lint", "-W", "error", page});
  EXPECT_EQ(lint.wait(), 0) << lint.out();
  EXPECT_THAT(output({"/usr/bin/mandoc", "-T", "utf8", page}), HasSubstr("spfctl"));
}

}  // namespace spf::test
