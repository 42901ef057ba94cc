#include <gmock/gmock.h>

#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace spf::test {

using testing::ElementsAre;

/// Runs spfctl. \return what it has written to standard error, by write
std::vector<std::string> writesOf(const std::vector<std::string>& arguments) {
  std::vector<std::string> writes;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_DIRECT) != 0) {  // every write is read by itself
    return {"cannot open a pipe"};
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  std::vector<char*> command{const_cast<char*>(SPFCTL)};
  for (const auto& argument : arguments) {
    command.push_back(const_cast<char*>(argument.c_str()));
  }
  command.push_back(nullptr);
  pid_t process = -1;
  EXPECT_EQ(posix_spawn(&process, SPFCTL, &actions, nullptr, command.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  char buffer[4096];
  for (ssize_t size = 0; (size = read(ends[0], buffer, sizeof(buffer))) > 0;) {
    writes.emplace_back(buffer, static_cast<std::size_t>(size));
  }
  close(ends[0]);
  EXPECT_EQ(waitpid(process, nullptr, 0), process);
  return writes;
}

TEST(ALineOfSpfctl, IsWrittenInOnePiece) {
  EXPECT_THAT(writesOf({"run"}), ElementsAre("spfctl run: FILE is required\n", "Try 'spfctl --help'.\n"));
}

}  // namespace spf::test
