#include "Process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include "spf/test/Gate.hpp"

namespace spf::test {

namespace {

winsize sizeOf(Process::Size size) {
  return {static_cast<unsigned short>(size.rows), static_cast<unsigned short>(size.columns), 0, 0};
}

void makeChannel(Process::Stdout kind, int& ours, int& theirs, Process::Size size = {80, 24}) {
  int ends[2];
  if (kind != Process::Stdout::pipe) {
    const winsize window = sizeOf(size);
    if (openpty(&ours, &theirs, nullptr, nullptr, &window) != 0) {
      throw std::runtime_error("cannot open a terminal");
    }
  } else if (pipe2(ends, O_CLOEXEC) == 0) {
    ours = ends[0];
    theirs = ends[1];
  } else {
    throw std::runtime_error("cannot open a pipe");
  }
}

}  // namespace

std::string Process::whyNoTerminal() {
  int ends[2];
  if (openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0) {
    return std::system_category().message(errno);
  }
  close(ends[0]);
  close(ends[1]);
  return "";
}

Process::Process(const std::vector<std::string>& command, Stdout kind, Size size) {
  int theirOut = -1;
  int theirErr = -1;
  makeChannel(kind, outFd_, theirOut, size);
  makeChannel(Stdout::pipe, errFd_, theirErr);
  std::vector<char*> arguments;
  for (const auto& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  // A signal that is sent at once must not meet what the child has inherited.
  sigset_t every;
  sigset_t before;
  sigfillset(&every);
  pthread_sigmask(SIG_BLOCK, &every, &before);
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // What the tests' own parent ignores would be inherited: nohup SIGHUP, and a shell SIGINT in the background.
    std::signal(SIGHUP, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    setsid();  // the terminal of the tests is not that of the process
    if (kind == Stdout::controllingTerminal) {
      ioctl(theirOut, TIOCSCTTY, 0);
    }
    dup2(theirOut, STDOUT_FILENO);
    dup2(theirErr, STDERR_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  close(theirOut);
  close(theirErr);
}

Process::~Process() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close(outFd_);
  close(errFd_);
}

// Whether there may be more.
bool Process::readSome() {
  pollfd channels[] = {{outFd_, POLLIN, 0}, {errFd_, POLLIN, 0}};
  const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(patience).count();
  if (poll(channels, 2, static_cast<int>(limit)) <= 0) {
    return false;
  }
  bool open = false;
  for (int i = 0; i < 2; ++i) {
    char buffer[4096];
    if (channels[i].revents != 0) {
      const auto count = read(channels[i].fd, buffer, sizeof(buffer));
      if (count > 0) {
        (i == 0 ? out_ : err_).append(buffer, static_cast<std::size_t>(count));
        open = true;
      }
    }
  }
  return open;
}

bool Process::waitForOutput(const std::string& text) {
  while (out_.find(text) == std::string::npos) {
    if (!readSome()) {
      return false;
    }
  }
  return true;
}

bool Process::waitForNextOutput(const std::string& text) {
  std::size_t position = 0;
  while ((position = out_.find(text, found_)) == std::string::npos) {
    if (!readSome()) {
      return false;
    }
  }
  found_ = position + text.size();
  return true;
}

bool Process::waitForErrorOutput(const std::string& text) {
  while (err_.find(text) == std::string::npos) {
    if (!readSome()) {
      return false;
    }
  }
  return true;
}

void Process::signal(int number) {
  kill(pid_, number);
}

void Process::resize(Size size) {
  const winsize window = sizeOf(size);
  ioctl(outFd_, TIOCSWINSZ, &window);
  signal(SIGWINCH);
}

int Process::wait() {
  while (readSome()) {
  }
  // Its channels are closed now, so it is gone or about to be; or it hangs, and the watchdog ends this.
  int status = 0;
  if (waitpid(pid_, &status, 0) != pid_) {
    return -1;
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

}  // namespace spf::test
