#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace spf::test {

/// A child process whose output is read. It is killed if it is still there at the end.
class Process {
 public:
  enum class Stdout {
    pipe,
    terminal,
    controllingTerminal  ///< of a session of the process's own
  };

  /// \return why this machine opens no pseudo-terminal, as some containers do; empty if it does
  static std::string whyNoTerminal();

  struct Size {
    int columns;
    int rows;
  };

  /// \param size  that of the terminal
  explicit Process(const std::vector<std::string>& command, Stdout kind = Stdout::pipe, Size size = {80, 24});
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Reads until standard output holds the text. \return false if it ends, or nothing comes for as
  /// long as the tests' patience lasts
  [[nodiscard]] bool waitForOutput(const std::string& text);

  /// As `waitForOutput`, but looks only at what follows the last text that this function has found.
  [[nodiscard]] bool waitForNextOutput(const std::string& text);

  /// As `waitForOutput`, for standard error.
  [[nodiscard]] bool waitForErrorOutput(const std::string& text);

  pid_t id() const { return pid_; }
  void signal(int number);

  /// Changes the size of the terminal and sends SIGWINCH.
  void resize(Size size);

  /// Reads the rest and waits for the end.
  /// \return the exit code; 1000 and the number of the signal that killed it; -1 if it cannot be waited for
  int wait();

  const std::string& out() const { return out_; }
  const std::string& err() const { return err_; }

 private:
  bool readSome();

  pid_t pid_ = -1;
  int outFd_ = -1;
  int errFd_ = -1;
  std::string out_;
  std::string err_;
  std::size_t found_ = 0;  // the end of what `waitForNextOutput` has found
};

}  // namespace spf::test
