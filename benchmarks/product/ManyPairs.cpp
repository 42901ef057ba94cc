#include <memory>
#include <stdexcept>
#include <vector>

#include "Measured.hpp"
#include "Pair.hpp"
#include "RunningHost.hpp"
#include "Stations.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;

namespace {

constexpr int growth = 10;

// Lives of a host's first configurations, which load and construct what later ones find.
constexpr int warmUp = 10;

// One host after the other, and that many configurations one after the other in each.
Side sideInTurn(int hosts, int configurations) {
  const auto lived = std::make_shared<int>(0);
  return {[](int) {},
          [=](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              *lived = 0;
              for (int host = 0; host < hosts; ++host) {
                stopHost();
                startHost();
                for (int number = 0; number < warmUp; ++number) {
                  live(Stations(-1 - number, 1));
                }
                measured([&] {
                  for (int number = 0; number < configurations; ++number) {
                    live(Stations(number, 1));
                    ++*lived;
                  }
                });
              }
            }
          },
          [lived] { return Any(*lived); }};
}

Side workInTurn(int size) {
  return sideInTurn(1, size);
}

Side floorInTurn(int size) {
  return sideInTurn(growth, size / growth);
}

template <class Live>
Side sideOfMany(int configurations, Live live) {
  startHost();
  const auto number = std::make_shared<int>(0);
  return {[](int) {},
          [=](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              std::vector<Stations> all;
              for (int configuration = 0; configuration < configurations; ++configuration) {
                all.emplace_back((*number)++, 1);
              }
              live(all);
            }
          },
          [=] { return Any(*number); }};
}

Side workAtOnce(int size) {
  return sideOfMany(size, &liveAtOnce);
}

Side floorAtOnce(int size) {
  return sideOfMany(size, [](const std::vector<Stations>& all) {
    for (const auto& stations : all) {
      live(stations);
    }
  });
}

}  // namespace

Pair manyInTurn() {
  return {"many-in-turn", {100, 1000}, [](int) { return 2; }, &workInTurn, &floorInTurn, Counting::parts};
}

Pair manyAtOnce() {
  return {"many-at-once",
          {10, 30, 100, 300, 1000},
          [](int size) { return size < 100 ? 300 / size : 2; },
          &workAtOnce,
          &floorAtOnce};
}

}  // namespace spf::benchmarks
