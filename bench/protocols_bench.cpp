// Framing and checksums, each beside memcpy of the same bytes in the same run.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "protocols/bastap.h"
#include "protocols/basucp.h"

namespace mvsms {
namespace {

std::string Text(std::size_t length) {
  std::string text;
  while (text.size() < length) text += "Pump 3 of tank 12 has stopped. ";
  return text.substr(0, length);
}

void UcpFrameOf160Characters(benchmark::State& state) {
  ServiceRecord service;
  service.UCPCommand = "51";
  service.MessageType = kMessageTypeAlphanumeric;
  const std::string text = Text(160);
  for (auto _ : state) {
    std::string error;
    benchmark::DoNotOptimize(
        basUCP::BuildUCPMessage("01712345678", "0301", text, 0, service, error));
  }
}
BENCHMARK(UcpFrameOf160Characters);

void TapBlockOf160Characters(benchmark::State& state) {
  const std::string text = Text(160);
  for (auto _ : state) {
    std::string error;
    const std::string block =
        "\x02"
        "01712345678\r" +
        basTAP::CheckTAPMessageText(text, error, kMessageTypeAlphanumeric) + "\r\x03";
    benchmark::DoNotOptimize(block + basTAP::CalcTAPCheckSum(block, error) + "\r");
  }
}
BENCHMARK(TapBlockOf160Characters);

constexpr std::size_t kLong = 1 << 20;

template <class Work>
void OverLongText(benchmark::State& state, Work work) {
  const std::string text = Text(kLong);
  for (auto _ : state) work(text);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kLong));
}

void TapChecksum(benchmark::State& state) {
  OverLongText(state, [](const std::string& text) {
    std::string error;
    benchmark::DoNotOptimize(basTAP::CalcTAPCheckSum(text, error));
  });
}
BENCHMARK(TapChecksum);

void UcpChecksum(benchmark::State& state) {
  OverLongText(state, [](const std::string& text) {
    benchmark::DoNotOptimize(basUCP::CalcUCPCheckSum(text));
  });
}
BENCHMARK(UcpChecksum);

void UcpHexEncoding(benchmark::State& state) {
  OverLongText(state, [](const std::string& text) {
    benchmark::DoNotOptimize(basUCP::EncodeUCPText(text, kMessageTypeAlphanumeric));
  });
}
BENCHMARK(UcpHexEncoding);

void Memcpy(benchmark::State& state) {
  std::string target(kLong, '\0');
  OverLongText(state, [&](const std::string& text) {
    std::memcpy(target.data(), text.data(), text.size());
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  });
}
BENCHMARK(Memcpy);

}  // namespace
}  // namespace mvsms
