#include "explore.hpp"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <new>
#include <sstream>
#include <stdexcept>
#include <unordered_set>

#include "Scheduler.hpp"

namespace spf::test::schedules {

namespace {

// Threads that block where the scheduler does not see it are a fault of the scheduler; they are not to hang the tests.
constexpr unsigned int secondsForAProcess = 200;

// Memory that this process shares with its children.
template <class Value>
class Shared {
 public:
  explicit Shared(std::size_t count = 1) : size_(count * sizeof(Value)) {
    memory_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory_ == MAP_FAILED) {
      throw std::bad_alloc();
    }
    for (std::size_t i = 0; i < count; ++i) {
      new (&get()[i]) Value();
    }
  }
  ~Shared() { munmap(memory_, size_); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  Value* get() { return static_cast<Value*>(memory_); }

 private:
  const std::size_t size_;
  void* memory_;
};

// Children that fail leave their files behind.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = (std::filesystem::temp_directory_path() / "spf-schedules-XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::runtime_error("cannot make a temporary folder");
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

struct Progress {
  Trace trace;
  std::uint64_t schedules = 0;
  std::uint64_t decisions = 0;
};

[[noreturn]] void reportException() {
  auto* const scheduler = Scheduler::ofThisThread();
  const auto error = std::current_exception();
  std::string text = "std::terminate without an exception";
  try {
    if (error) {
      std::rethrow_exception(error);
    }
  } catch (const std::exception& exception) {
    text = std::string("exception: ") + exception.what();
  } catch (...) {
    text = "an exception of an unknown type";
  }
  if (scheduler != nullptr) {
    scheduler->fail(text.c_str());
  }
  std::abort();
}

void runOne(const std::function<void()>& body, std::uint64_t seed, Trace& trace) {
  trace.begin(seed);
  Scheduler scheduler(seed, trace);
  scheduler.run(body);
}

// The first schedule of a process takes other ways than those that follow, for example where something is made once.
[[noreturn]] void runInChild(const Scenario& scenario, Seeds seeds, const std::string& folder, Progress& progress,
                             std::uint64_t* hashes) {
  std::signal(SIGALRM, SIG_DFL);
  alarm(secondsForAProcess);
  setenv("TMPDIR", folder.c_str(), 1);
  std::set_terminate(reportException);
  {
    const auto body = scenario.prepare();
    if (!scenario.once) {
      runOne(body, 0, progress.trace);
    }
    for (std::uint64_t i = 0; i < seeds.count; ++i) {
      runOne(body, seeds.first + i, progress.trace);
      hashes[i] = progress.trace.hash;
      progress.decisions += progress.trace.decisions;
      ++progress.schedules;
    }
  }
  _exit(0);
}

std::string endOf(int status) {
  if (WIFSIGNALED(status)) {
    return std::string("ended by signal ") + std::to_string(WTERMSIG(status)) + ", " + strsignal(WTERMSIG(status));
  }
  return "ended with exit code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

Seeds Seeds::orFromEnvironment() const {
  auto result = *this;
  const char* const parameters = std::getenv("SCHEDULE_PARAMS");
  std::istringstream words(parameters != nullptr ? parameters : "");
  for (std::string word; words >> word;) {
    const auto value = word.find('=');
    const auto name = word.substr(0, value);
    if (value == std::string::npos || (name != "seed" && name != "schedules")) {
      throw std::invalid_argument("SCHEDULE_PARAMS has \"" + word + "\"; expected seed=NUMBER or schedules=NUMBER");
    }
    (name == "seed" ? result.first : result.count) = std::stoull(word.substr(value + 1));
  }
  return result;
}

Exploration explore(const Scenario& scenario, Seeds seeds) {
  const TemporaryFolder folder;
  Shared<Progress> progress;
  Shared<std::uint64_t> hashes(seeds.count + 1);
  Exploration result;
  std::unordered_set<std::uint64_t> distinct;
  while (result.schedules < seeds.count && !result.failure) {
    const Seeds batch{seeds.first + result.schedules, scenario.once ? 1 : seeds.count - result.schedules};
    new (progress.get()) Progress();
    const auto child = fork();
    if (child == -1) {
      throw std::runtime_error("cannot start a process");
    }
    if (child == 0) {
      runInChild(scenario, batch, folder.path(), *progress.get(), hashes.get());
    }
    int status = 0;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    const auto& done = *progress.get();
    result.schedules += done.schedules;
    result.decisions += done.decisions;
    distinct.insert(hashes.get(), hashes.get() + done.schedules);
    result.lastTrace = done.trace.text;
    if (status != 0) {
      const auto ending = done.trace.hasFailed ? std::string() : endOf(status) + "\n";
      result.failure = Exploration::Failure{done.trace.seed, result.lastTrace + ending};
    }
  }
  result.distinct = distinct.size();
  return result;
}

}  // namespace spf::test::schedules
