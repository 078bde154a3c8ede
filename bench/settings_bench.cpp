// The routing table on both stores, small and large.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>

#include "backends/memory/memory_platform.h"
#include "backends/posix/posix_platform.h"
#include "bench/allocations.h"
#include "engine/routing.h"
#include "tests/support/temp_folder.h"

namespace mvsms {
namespace {

struct InMemory {
  std::unique_ptr<Platform> platform = std::make_unique<memory::MemoryPlatform>();
};
struct InTheSettingsFile {
  TempFolder folder;
  std::unique_ptr<Platform> platform = posix::MakePosixPlatform(folder.path());
};

void AddRoutes(Registry& registry, int routes) {
  std::string profile = "Bench";
  const std::string key = BaseKey(profile);
  for (int i = 0; i < routes; ++i) {
    RegKey open = 0;
    registry.CreateKey(kSettingsHive, RouteKey(key, "01" + std::to_string(700'000 + i)), open);
    // The value of one route is enough; the keys make the table large.
    if (i == routes / 2) registry.SetValue(open, setting::kUseService.name, RegType::kSz, "Pager");
    registry.CloseKey(open);
  }
}

template <class Store>
void FindServiceIn(benchmark::State& state) {
  static std::map<int, Store> stores;  // kept for all runs: filling one is not part of the figure
  const int routes = static_cast<int>(state.range(0));
  const auto [store, fresh] = stores.try_emplace(routes);
  Registry& registry = store->second.platform->registry();
  if (fresh) AddRoutes(registry, routes);

  std::string profile = "Bench";
  const std::string number = "01" + std::to_string(700'000 + routes / 2) + "55";
  const std::size_t before = bench::AllocatedBytes();
  for (auto _ : state) {
    benchmark::DoNotOptimize(FindService(registry, profile, number));
  }
  state.counters["bytes"] = benchmark::Counter(
      static_cast<double>(bench::AllocatedBytes() - before), benchmark::Counter::kAvgIterations);
}
BENCHMARK(FindServiceIn<InMemory>)->Arg(10)->Arg(1000)->Arg(100'000);
BENCHMARK(FindServiceIn<InTheSettingsFile>)->Arg(10)->Arg(1000)->Arg(100'000);

}  // namespace
}  // namespace mvsms
