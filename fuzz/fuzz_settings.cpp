// A send with whatever stands in its profile, as another program or a damaged file may have left
// it. The input is a list of values: one byte for the name, one for the type, one for the length,
// the data. The centre answers as a good one does.
#include "fuzz/fuzz.h"
#include "tests/support/host.h"

namespace mvsms::fuzz {
namespace {

constexpr RegType kTypes[] = {RegType::kSz,     RegType::kDword,    RegType::kNone,
                              RegType::kBinary, RegType::kExpandSz, RegType::kMultiSz,
                              RegType::kQword};

void Write(Registry& registry, const std::string& path, const char* name, RegType type,
           const std::string& data) {
  RegKey key = 0;
  registry.CreateKey(kSettingsHive, path, key);
  registry.SetValue(key, name, type, data);
  registry.CloseKey(key);
}

void WriteValue(test::Host& host, Input& input) {
  const std::size_t which = input.Byte() % (kGlobalValues.size() + kServiceValues.size() + 2);
  const RegType type = kTypes[input.Byte() % std::size(kTypes)];
  const std::string data = input.Text(input.Byte());
  Registry& registry = host.platform.registry();
  const std::string& base = host.profile.base_key();
  if (which < kGlobalValues.size()) {
    Write(registry, base, kGlobalValues[which].name, type, data);
  } else if (which < kGlobalValues.size() + kServiceValues.size()) {
    Write(registry, ServiceKey(base, "Pager"), kServiceValues[which - kGlobalValues.size()].name,
          type, data);
  } else if (which == kGlobalValues.size() + kServiceValues.size()) {
    Write(registry, RouteKey(base, "0049"), setting::kUseService.name, type, data);
  } else {
    host.recipient = data;
  }
}

void Run(Input input) {
  test::Host host;
  const bool ucp = input.Byte() == 'U';
  ucp ? host.AddUcpService() : host.AddTapService();
  while (!input.empty()) WriteValue(host, input);
  const bool accepted = host.Send("Pump 3 has stopped");

  const std::size_t received = host.tap.blocks.size() + host.ucp.frames.size();
  Require(!accepted || received > 0, "accepted only what was sent");
  Require(accepted || !host.errors.empty() || received > 0 || host.HasLine(test::kFailedLine),
          "a failure is told");
  const bool ended =
      host.Lines().back() == test::kFailedLine || host.Lines().back() == test::kSuccessLine;
  Require(!ended || host.platform.active_calls() == 0, "hung up");
  Require(host.platform.open_keys() == 0, "no key of the store left open");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2048) mvsms::fuzz::Run({data, size});
  return 0;
}
