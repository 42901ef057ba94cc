#include "Soak.hpp"

#include <chrono>
#include <exception>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iterator>
#include <list>
#include <optional>
#include <ostream>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "FailingAllocations.hpp"
#include "Violation.hpp"
#include "agent/host/services.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "framework/memory/LiveAllocations.hpp"
#include "framework/support/Resources.hpp"
#include "spf/test/Gate.hpp"

namespace spf::soak {

using agent::host::services::getFramework;
using agent::host::services::Host;
using agent::spf::frameworklistener::FrameworkListener;
using cppmicroservices::service::cm::ConfigurationAdmin;

namespace {

constexpr int mostLives = 3;

bool becomesTrue(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + test::patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

long threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

Holdings holdings() {
  return {frameworktest::openDescriptors(), threads(), frameworktest::liveAllocations(),
          static_cast<long>(frameworktest::residentMemory())};
}

cppmicroservices::BundleContext context() {
  return getFramework()->GetBundleContext();
}

}  // namespace

// Lives that run at the same time, each on a thread of its own.
class Soak::Lives {
 public:
  Lives(int firstNumber, int count, Random& random, Fault* fault, Life::Expected expected) {
    for (int index = 0; index < count; ++index) {
      violations_.emplace_back();
      auto& violation = violations_.back();
      threads_.emplace_back([number = firstNumber + index, seed = random.seed(), fault, expected, &violation] {
        Random own(seed);
        try {
          if (fault != nullptr) {
            fault->enter(own);
          }
          Life(number, own).run(expected);
        } catch (const Violation& caught) {
          violation = caught;
        } catch (const std::exception& exception) {
          violation = Violation{std::string("a life ends with an exception: ") + exception.what()};
        }
        if (fault != nullptr) {
          fault->leave();
        }
      });
    }
  }

  ~Lives() { join(); }
  Lives(const Lives&) = delete;
  Lives& operator=(const Lives&) = delete;

  void join() {
    for (auto& thread : threads_) {
      thread.join();
    }
    threads_.clear();
  }

  void throwViolation() const {
    for (const auto& violation : violations_) {
      if (violation) {
        throw *violation;
      }
    }
  }

 private:
  std::list<std::optional<Violation>> violations_;
  std::vector<std::thread> threads_;
};

Soak::Soak(std::uint32_t seed) : random_(seed) {
  start();
}

Soak::~Soak() = default;

void Soak::start() {
  agent::host::services::HostOptions options;
  options.permissionCheck = false;  // the build tree may have any permissions
  host_ = std::make_unique<Host>(std::move(options));
  ++hosts_;
  // Installs the bundles, so that each of them can be stopped, and shows that a new framework works.
  Life(firstNumber_++, Random(random_.seed())).run(Life::Expected::success);
}

void Soak::stop() {
  host_.reset();
}

void Soak::warmUp() {
  for (const auto& kind : kindsOfFaults()) {
    cycle(&kind);
  }
  cycle(nullptr);
  stop();
  before_ = holdings();
  start();
}

void Soak::cycle() {
  const auto& kinds = kindsOfFaults();
  const auto* const kind =
      random_.oneIn(2) ? nullptr : &kinds[static_cast<std::size_t>(random_.below(static_cast<int>(kinds.size())))];
  cycle(kind);
}

void Soak::cycle(const KindOfFault* kind) {
  fault_ = kind == nullptr ? "none" : kind->name;
  const auto damage = kind == nullptr ? Damage::none : kind->damage;
  const int count = 1 + random_.below(mostLives);
  {
    const auto fault = kind == nullptr ? nullptr : kind->make(random_);
    Lives lives(firstNumber_, count, random_, fault.get(),
                damage == Damage::none ? Life::Expected::success : Life::Expected::anything);
    if (fault) {
      fault->strike();
    }
    lives.join();
    lives.throwViolation();
  }
  repair(damage);
  requireNoListeners();
  ++cycles_;
  lives_ += count;
  ++faults_[fault_];
}

void Soak::repair(Damage damage) {
  if (damage == Damage::none) {
    return;
  }
  if (damage == Damage::framework) {
    stop();
    start();
  } else {
    removeConfigurations();
  }
  // Late events of publishers that were left are about IDs that are not used again.
  firstNumber_ += mostLives;
}

void Soak::removeConfigurations() const {
  const auto configurationAdmin = context().GetService(context().GetServiceReference<ConfigurationAdmin>());
  require(becomesTrue([&] {
            const auto left = configurationAdmin->ListConfigurations("(service.factoryPid=zk.spf.framework)");
            for (const auto& configuration : left) {
              configuration->Remove();
            }
            return left.empty();
          }),
          "configurations cannot be removed");
  require(becomesTrue([&] { return configurationAdmin->ListConfigurations("(service.factoryPid=zk.spf.*)").empty(); }),
          "the framework keeps configurations of publishers");
}

// Nobody listens any more: not even a configuration whose withdrawal has failed.
void Soak::requireNoListeners() const {
  require(context().GetServiceReferences<FrameworkListener>().empty(), "a listener is left");
}

void Soak::finish() {
  stop();
  // Threads of the transport's library end by themselves.
  const auto isNoMore = [this] {
    after_ = holdings();
    return after_.descriptors <= before_.descriptors && after_.threads <= before_.threads &&
           after_.allocations <= before_.allocations;
  };
  const bool isFlat = becomesTrue(isNoMore);
  require(isFlat, "something is left: " + std::to_string(after_.descriptors) + " descriptors, " +
                      std::to_string(after_.threads) + " threads, " + std::to_string(after_.allocations) +
                      " allocations; expected at most " + std::to_string(before_.descriptors) + ", " +
                      std::to_string(before_.threads) + ", " + std::to_string(before_.allocations));
}

void Soak::printTo(std::ostream& out) const {
  out << cycles_ << " cycles, " << lives_ << " lives, " << hosts_ << " hosts, " << Life::failedSteps()
      << " failed steps, " << FailingAllocations::count() << " failed allocations\n";
  for (const auto& [name, count] : faults_) {
    out << "  " << std::left << std::setw(32) << name << count << '\n';
  }
  const auto line = [&](const char* name, long before, long after) {
    out << "  " << std::left << std::setw(32) << name << before << " -> " << after << '\n';
  };
  line("descriptors", before_.descriptors, after_.descriptors);
  line("threads", before_.threads, after_.threads);
  line("allocations", before_.allocations, after_.allocations);
  line("resident MiB", before_.residentMiB, after_.residentMiB);
}

}  // namespace spf::soak
