// The logic of the dialogs with very many services, routes and catalogue entries.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "backends/memory/memory_platform.h"
#include "engine/settings.h"
#include "ui/config.h"

namespace mvsms {
namespace {

void Write(Registry& registry, const std::string& key, const char* value, const std::string& text) {
  basRegistry::SetValue(registry, kSettingsHive, key, value, text, RegType::kSz);
}

void Fill(Registry& registry) {
  std::string profile = "Bench";
  const std::string key = BaseKey(profile);
  for (int i = 0; i < 5000; ++i) {
    Write(registry, ServiceKey(key, "Service " + std::to_string(i)), "Protocol", "TAP");
  }
  for (int i = 0; i < 50'000; ++i) {
    Write(registry, RouteKey(key, "01" + std::to_string(700'000 + i)), setting::kUseService.name,
          "Service 7");
  }
}

void OpenConfigurationWith5000ServicesAnd50000Routes(benchmark::State& state) {
  memory::MemoryPlatform platform;
  Fill(platform.registry());
  Apartment apartment(platform);
  for (auto _ : state) {
    Config config(apartment);
    config.ShowConfigDialog("Bench");
    state.PauseTiming();
    platform.calls.clear();
    platform.shown.clear();
    platform.stored.clear();
    state.ResumeTiming();
  }
}
BENCHMARK(OpenConfigurationWith5000ServicesAnd50000Routes)->Unit(benchmark::kMillisecond);

class LargeCatalogue {
 public:
  LargeCatalogue() {
    std::string text;
    for (int i = 0; i < 100'000; ++i) {
      const std::string number = std::to_string(i);
      text += number + ",Service " + number + ",Country " + std::to_string(i % 200) +
              ",TAP,,,0171" + number + ",160,1,49,Auto,7,E,1,2000,3,0171" + number + ",2026\r\n";
    }
    platform.files["C:\\Programs\\mvSMS\\smstransports.inf"] = text;
  }
  memory::MemoryPlatform platform;
};

void ReadACatalogueOf100000Lines(benchmark::State& state) {
  LargeCatalogue catalogue;
  for (auto _ : state) {
    frmNewService form(catalogue.platform);
    form.Prepare();
    benchmark::DoNotOptimize(form.lsServices.Rows().size());
  }
}
BENCHMARK(ReadACatalogueOf100000Lines)->Unit(benchmark::kMillisecond);

void FilterACatalogueOf100000Lines(benchmark::State& state) {
  LargeCatalogue catalogue;
  frmNewService form(catalogue.platform);
  form.Prepare();
  int group = 0;
  for (auto _ : state) {
    form.cmbLanguage.SetListIndex(1 + (++group % 200));
    benchmark::DoNotOptimize(form.lsServices.Rows().size());
  }
}
BENCHMARK(FilterACatalogueOf100000Lines)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mvsms
