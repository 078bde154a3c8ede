// What a send costs besides its waits, and how that grows in a Sender that is used for hours.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "backends/memory/memory_platform.h"
#include "centre/centre.h"
#include "engine/sender.h"
#include "engine/settings.h"
#include "tests/support/centre_far_end.h"

namespace mvsms {
namespace {

/// A machine in memory with a modem, a profile and a message centre.
class Desk {
 public:
  explicit Desk(const std::string& protocol)
      : centre_(protocol == "TAP" ? centre::SpeakTap() : centre::SpeakUcp(), Answers()) {
    memory::Line line;
    line.name = "Modem";
    line.far_end = [this](const std::string&) {
      return test::CentreFarEnd::Answering(centre_.AnswerCall());
    };
    platform.lines.push_back(line);
    std::string profile = "Standard";
    const std::string key = BaseKey(profile);
    const std::string service = ServiceKey(key, "Pager");
    Write(key, "DefaultModem", "Modem");
    Write(key, "DefaultService", "Pager");
    for (const ValueInfo& info : kServiceValues) Write(service, info.name, info.initial);
    Write(service, "Protocol", protocol);
    Write(service, "UCPCommand", "51");
    Write(service, "PhoneNumber", "0123456");
  }
  bool Send(Sender& sender) {
    std::string recipient = "01712345678", originator = "0301", service;
    std::string message = "Pump 3 of tank 12 has stopped at noon, please come to gate 4";
    const bool sent = sender.SendMessage(recipient, originator, message, service);
    platform.calls.clear();
    platform.sent.clear();
    platform.ports.clear();
    return sent;
  }

  memory::MemoryPlatform platform;
  Apartment apartment{platform};

 private:
  static centre::Settings Answers() {
    centre::Settings settings;
    centre::Set(settings, "system-message=pager");
    return settings;
  }
  void Write(const std::string& key, const char* value, const std::string& text) {
    basRegistry::SetValue(platform.registry(), kSettingsHive, key, value, text, RegType::kSz);
  }

  centre::Centre centre_;
};

void WholeSend(benchmark::State& state, const char* protocol) {
  Desk desk(protocol);
  for (auto _ : state) {
    state.PauseTiming();
    auto apartment = std::make_unique<Apartment>(desk.platform);
    state.ResumeTiming();
    Sender sender(*apartment);
    if (!desk.Send(sender)) state.SkipWithError("the send failed");
  }
}
BENCHMARK_CAPTURE(WholeSend, Tap, "TAP")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(WholeSend, Ucp, "UCP")->Unit(benchmark::kMicrosecond);

/// One more failing send (five status lines) of a Sender whose Status has grown to so many bytes.
void StatusLinesOfALongLife(benchmark::State& state) {
  Desk desk("TAP");
  Sender sender(desk.apartment);
  const std::string grown(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    state.PauseTiming();
    sender.Status = grown;
    state.ResumeTiming();
    std::string recipient = "1", originator, message, service;
    sender.SendMessage(recipient, originator, message, service);
  }
}
BENCHMARK(StatusLinesOfALongLife)
    ->Arg(0)
    ->Arg(100'000)
    ->Arg(10'000'000)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace mvsms
