// The routing table on both stores, small and large.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "engine/routing.h"
#include "platform/memory/memory_platform.h"
#include "platform/posix/posix_platform.h"

namespace mvsms {
namespace {

/// A profile with this many routes, kept for all runs: making one is no part of the figure.
class RoutedStore {
 public:
  RoutedStore(std::unique_ptr<Platform> platform, int routes) : platform_(std::move(platform)) {
    std::string profile = "Bench";
    const std::string key = BaseKey(profile);
    for (int i = 0; i < routes; ++i) {
      RegKey open = 0;
      registry().CreateKey(kSettingsHive, RouteKey(key, "01" + std::to_string(700'000 + i)), open);
      // The value of one route is enough; the keys make the table large.
      if (i == routes / 2) registry().SetValue(open, kUseService, RegType::kSz, "Pager");
      registry().CloseKey(open);
    }
  }
  Registry& registry() { return platform_->registry(); }

 private:
  std::unique_ptr<Platform> platform_;
};

std::unique_ptr<Platform> OnDisk(int routes) {
  const auto home = std::filesystem::temp_directory_path() /
                    ("mvsms-bench-" + std::to_string(routes) + "-" + std::to_string(std::rand()));
  std::filesystem::remove_all(home);
  std::filesystem::create_directories(home);
  return posix::MakePosixPlatform(home.string());
}

void Find(benchmark::State& state, RoutedStore& store, int routes) {
  std::string profile = "Bench";
  const std::string number = "01" + std::to_string(700'000 + routes / 2) + "55";
  for (auto _ : state) {
    benchmark::DoNotOptimize(FindService(store.registry(), profile, number));
  }
}

void FindServiceInMemory(benchmark::State& state) {
  const int routes = static_cast<int>(state.range(0));
  static std::map<int, std::unique_ptr<RoutedStore>> stores;
  auto& store = stores[routes];
  if (!store)
    store = std::make_unique<RoutedStore>(std::make_unique<memory::MemoryPlatform>(), routes);
  Find(state, *store, routes);
}
BENCHMARK(FindServiceInMemory)->Arg(10)->Arg(1000)->Arg(100'000);

void FindServiceInTheSettingsFile(benchmark::State& state) {
  const int routes = static_cast<int>(state.range(0));
  static std::map<int, std::unique_ptr<RoutedStore>> stores;
  auto& store = stores[routes];
  if (!store) store = std::make_unique<RoutedStore>(OnDisk(routes), routes);
  Find(state, *store, routes);
}
BENCHMARK(FindServiceInTheSettingsFile)->Arg(10)->Arg(1000);

}  // namespace
}  // namespace mvsms
