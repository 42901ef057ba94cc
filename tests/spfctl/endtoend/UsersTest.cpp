#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>

#include <unistd.h>

#include "EndToEnd.hpp"

namespace spf::test {

using testing::HasSubstr;
namespace fs = std::filesystem;

// Two users: root, and one that has nothing but a folder of its own.
class AnotherUser : public EndToEnd {
 protected:
  static constexpr uid_t other = 65534;

  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "needs root, who may become another user";
    }
    give(theirs_.path());
  }
  void TearDown() override {
    EndToEnd::TearDown();
    EXPECT_TRUE(!fs::exists(theirFolder()) || fs::is_empty(theirFolder())) << "left in the other user's folder";
  }

  static void give(const fs::path& path) { ASSERT_EQ(chown(path.c_str(), other, other), 0); }

  fs::path theirFolder() const { return theirs_.path() / "control"; }

  // Returns a command line as the other user runs it.
  static Arguments asOther(const Arguments& command) {
    const auto id = std::to_string(other);
    Arguments all = {"/usr/bin/setpriv", "--reuid", id, "--regid", id, "--clear-groups", "--pdeathsig", "KILL"};
    all.insert(all.end(), command.begin(), command.end());
    return all;
  }
  static Result resultAsOther(const Arguments& command) {
    Process process(asOther(command));
    return resultOf(process);
  }

  // Calls a function in a process of the other user. \return what it returns
  static bool callAsOther(const std::function<bool()>& function) {
    const auto child = fork();
    if (child == 0) {
      const bool isOther = setresgid(other, other, other) == 0 && setresuid(other, other, other) == 0;
      _exit(isOther && function() ? 0 : 1);
    }
    int code = 0;
    return waitpid(child, &code, 0) == child && WIFEXITED(code) && WEXITSTATUS(code) == 0;
  }

  std::string theirFile() const {
    const auto file = theirs_.write("x.json", Configuration("x").publisher("p", {endpoint_}).text());
    give(file);
    return file;
  }
  Arguments theirHost() const { return {SPFCTL, "run", theirFile(), "--control-dir", theirFolder().string()}; }

  // Lets the other user reach the control folder of root's host.
  void openTheWay() const { fs::permissions(workspace_.path(), fs::perms(0755)); }

  const std::string endpoint_ = freeEndpoint();
  Workspace theirs_;
};

TEST_F(AnotherUser, CannotEnterTheFolderOfRootsHost) {
  Process process(host(write("x.json", Configuration("x").publisher("p", {endpoint_}))));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  auto result = resultAsOther(client({"status", "x"}));
  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.err, HasSubstr("cannot be entered: Permission denied"));
  openTheWay();
  for (const auto& command : {Arguments{"status", "x"}, Arguments{"status"}, Arguments{"withdraw", "x"},
                              Arguments{"watch", "x"}, Arguments{"log", "x", "all"}}) {
    result = resultAsOther(client(command));
    EXPECT_EQ(result.code, 1) << command[0];
    EXPECT_THAT(result.err, HasSubstr("belongs to user 0; expected user 65534")) << command[0];
  }
  EXPECT_TRUE(callAsOther([this] { return !RawClient(socketOf("x")).isConnected(); }));
  EXPECT_EQ(status("x")["configuration"]["state"], "ready");
  end(process);
}

TEST_F(AnotherUser, IsRefusedByTheHostEvenIfFolderAndSocketAreOpen) {
  Process process(host(write("x.json", Configuration("x").publisher("p", {endpoint_}))));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  openTheWay();
  fs::permissions(control(), fs::perms(0777));
  fs::permissions(socketOf("x"), fs::perms(0666));
  EXPECT_TRUE(callAsOther([this] {
    RawClient client(socketOf("x"));
    client.send("{\"version\": 1, \"request\": \"withdraw\"}\n");
    const auto answer = client.readLine();
    return answer && answer->find("the host belongs to another user") != std::string::npos && client.waitForEnd();
  }));
  EXPECT_EQ(codeOf({"status", "x"}), 1) << "a folder that others may enter is trusted by nobody";
  fs::permissions(control(), fs::perms(0700));
  EXPECT_EQ(status("x")["configuration"]["state"], "ready");
  EXPECT_EQ(codeOf({"status", "x"}), 0);
  end(process);
}

TEST_F(AnotherUser, LetsRootUseItsHost) {
  Process process(asOther(theirHost()));
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  const auto ask = [this](Arguments arguments) {
    arguments.insert(arguments.begin(), SPFCTL);
    arguments.insert(arguments.end(), {"--control-dir", theirFolder().string()});
    Process asking(arguments);
    return resultOf(asking);
  };
  EXPECT_THAT(ask({"status"}).out, HasSubstr("x     ready"));
  EXPECT_EQ(ask({"status", "x", "--wait", "ready"}).code, 0);
  const auto next = write("next.json", Configuration("x").publisher("p", {endpoint_}).publisher("q", {freeEndpoint()}));
  EXPECT_EQ(ask({"apply", "x", next}).out, "ready: x, revision 2\n");
  EXPECT_EQ(ask({"log", "x", "none"}).code, 0);
  EXPECT_EQ(ask({"withdraw", "x"}).code, 0);
  EXPECT_EQ(process.wait(), 0) << process.err();
}

TEST_F(AnotherUser, MayHaveAHostOfTheSameNameInItsRuntimeFolder) {
  fs::create_directory(workspace_.path() / "runtime");
  fs::create_directory(theirs_.path() / "runtime");
  give(theirs_.path() / "runtime");
  const Arguments ours = {"XDG_RUNTIME_DIR=" + (workspace_.path() / "runtime").string()};
  const Arguments others = {"XDG_RUNTIME_DIR=" + (theirs_.path() / "runtime").string()};
  const auto file = write("x.json", Configuration("x").publisher("p", {freeEndpoint()}));
  Process mine(withEnvironment(ours, {SPFCTL, "run", file}));
  Process theirs(asOther(withEnvironment(others, {SPFCTL, "run", theirFile()})));
  ASSERT_TRUE(mine.waitForOutput("ready: x")) << mine.err();
  ASSERT_TRUE(theirs.waitForOutput("ready: x")) << theirs.err();
  EXPECT_EQ(fs::status(theirs_.path() / "runtime" / "spfctl").permissions(), fs::perms(0700));
  EXPECT_EQ(fs::status(theirs_.path() / "runtime" / "spfctl" / "x.sock").permissions(), fs::perms(0600));
  EXPECT_EQ(resultAsOther(withEnvironment(others, {SPFCTL, "withdraw", "x"})).code, 0);
  EXPECT_EQ(theirs.wait(), 0) << theirs.err();
  Process status(withEnvironment(ours, {SPFCTL, "status", "x"}));
  EXPECT_EQ(status.wait(), 0) << status.err();
  end(mine);
  EXPECT_TRUE(fs::is_empty(workspace_.path() / "runtime" / "spfctl"));
  EXPECT_TRUE(fs::is_empty(theirs_.path() / "runtime" / "spfctl"));
}

TEST_F(AnotherUser, CannotLendItsFolderToRootsHost) {
  fs::create_directory(theirFolder());
  fs::permissions(theirFolder(), fs::perms(0700));
  give(theirFolder());
  Process process(
      {SPFCTL, "run", write("x.json", Configuration("x").publisher("p", {endpoint_})), "--control-dir", theirFolder()});
  EXPECT_EQ(process.wait(), 1);
  EXPECT_THAT(process.err(), HasSubstr("belongs to user 65534; expected user 0"));
  EXPECT_FALSE(isOpen(endpoint_));
}

class AControlFolder : public EndToEnd {
 protected:
  void expectRefusal(const std::string& reason) const {
    const auto endpoint = freeEndpoint();
    Process process(host(write("x.json", Configuration("x").publisher("p", {endpoint}))));
    EXPECT_EQ(process.wait(), 1);
    EXPECT_EQ(process.out(), "");
    EXPECT_THAT(process.err(), HasSubstr(reason));
    EXPECT_FALSE(isOpen(endpoint));
    const auto result = call({"status", "x"});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.err, HasSubstr(reason));
  }
};

TEST_F(AControlFolder, ThatOthersMayEnterIsRefusedByHostsAndClients) {
  fs::create_directory(control());
  for (const auto mode : {0755, 0770, 0701}) {
    fs::permissions(control(), fs::perms(mode));
    expectRefusal("may be entered by others; expected the permissions 0700");
  }
}

TEST_F(AControlFolder, ThatIsALinkIsRefusedByHostsAndClients) {
  fs::create_directory(workspace_.path() / "elsewhere");
  fs::permissions(workspace_.path() / "elsewhere", fs::perms(0700));
  fs::create_directory_symlink(workspace_.path() / "elsewhere", control());
  expectRefusal("is no folder");
}

TEST_F(AControlFolder, ThatIsAFileIsRefusedByHostsAndClients) {
  workspace_.write("control", "");
  expectRefusal("is no folder");
  fs::remove(control());
}

TEST_F(AControlFolder, IsMadeForItsOwnerOnly) {
  Process process(host(write("x.json", Configuration("x").publisher("p", {freeEndpoint()}))));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  EXPECT_EQ(fs::status(control()).permissions(), fs::perms(0700));
  EXPECT_EQ(fs::status(socketOf("x")).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(lockOf("x")).permissions(), fs::perms(0600));
  EXPECT_THAT(leftOver(), testing::UnorderedElementsAre("x.sock", "x.lock"));
  end(process);
}

TEST_F(AControlFolder, HoldsOneHostOfAName) {
  const auto file = write("x.json", Configuration("x").publisher("p", {freeEndpoint()}));
  Process process(host(file));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  const auto another = write("y.json", Configuration("x").publisher("p", {freeEndpoint()}));
  Process second(host(another));
  EXPECT_EQ(second.wait(), 1);
  EXPECT_THAT(second.err(),
              HasSubstr("a host named 'x' runs already: process " + std::to_string(process.id()) + "; expected"));
  Process third(host(another, {"--name", "y"}));
  ASSERT_TRUE(third.waitForOutput("ready: x")) << third.err();
  const auto list = call({"status"}).out;
  EXPECT_THAT(list, HasSubstr("\nx "));
  EXPECT_THAT(list, HasSubstr("\ny "));
  end(third);
  end(process);
}

}  // namespace spf::test
