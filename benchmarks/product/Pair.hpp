#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>

namespace spf::benchmarks {

/// One side of a pair, for one size, with everything that its rounds need.
struct Side {
  /// Makes what up to that many rounds use up. Is neither timed nor counted.
  std::function<void(int rounds)> prepare;
  std::function<void(int rounds)> run;
  /// Returns what the latest round made. Equal on both sides after equal numbers of rounds.
  std::function<cppmicroservices::Any()> result;
};

/// What of a pair is timed and counted.
enum class Counting {
  rounds,     ///< each round as a whole, on all threads
  parts,      ///< what `measured` runs
  processes,  ///< each round as a whole, with the processes that it starts
  bytes,      ///< the memory that one round leaves in use
};

/// A piece of work of the library, and the least that any program has to do for the same result: its floor.
struct Pair {
  std::string name;
  std::vector<int> sizes;
  /// How many rounds one preparation is for.
  int (*rounds)(int size);
  Side (*work)(int size);
  Side (*floor)(int size);
  Counting counting = Counting::rounds;
};

/// Returns the side of a pair that makes a value in every round from data that no round changes.
template <class Make>
Side makingSide(Make make) {
  using Made = decltype(make());
  auto last = std::make_shared<std::unique_ptr<Made>>();
  const auto shared = std::make_shared<Make>(std::move(make));
  return {[](int) {},
          [shared, last](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              last->reset();
              last->reset(new Made((*shared)()));
            }
          },
          [last] { return cppmicroservices::Any(**last); }};
}

Pair encoding();
Pair endpointEvent();
Pair silentMessage();
Pair silentMessageAtLeast();
Pair nestedTree();
Pair nestedTreeAtLeast();
Pair flatTree();
Pair builder();
Pair builderAtLeast();
Pair foreignEvent();
Pair foreignEventAtLeast();
Pair handOver();
Pair memory();
Pair memoryAtLeast();
Pair installAgain();
Pair installSeparately();
Pair build();
Pair life();
Pair lifeAtLeast();
Pair manyInTurn();
Pair manyAtOnce();
Pair runOnce();
Pair runOnceAtLeast();
Pair runOnceEmpty();

inline std::vector<Pair> allPairs() {
  std::vector<Pair> pairs{encoding(),
                          endpointEvent(),
                          silentMessage(),
                          silentMessageAtLeast(),
                          nestedTree(),
                          nestedTreeAtLeast(),
                          flatTree(),
                          builder(),
                          builderAtLeast(),
                          foreignEvent(),
                          foreignEventAtLeast(),
                          handOver(),
                          memory(),
                          memoryAtLeast(),
                          installAgain(),
                          installSeparately(),
                          build(),
                          life(),
                          lifeAtLeast(),
                          manyInTurn(),
                          manyAtOnce()};
#ifdef SPF_SPFCTL
  pairs.push_back(runOnce());
  pairs.push_back(runOnceAtLeast());
  pairs.push_back(runOnceEmpty());
#endif
  return pairs;
}

}  // namespace spf::benchmarks
