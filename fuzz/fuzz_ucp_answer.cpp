// The check of a UCP answer, on one byte that chooses the service's operation and the answer
// itself.
#include "fuzz/fuzz.h"
#include "protocols/basucp.h"

namespace mvsms::fuzz {
namespace {

constexpr const char* kOperations[] = {"01", "51", "30", "", "1e0", " 51 "};

/// Worked out independently: the two characters before the last one are the sum of everything from
/// the second character to the one before them, in hexadecimal without leading zero.
bool HasChecksum(const std::string& answer) {
  unsigned sum = 0;
  for (std::size_t i = 1; i + 3 < answer.size(); ++i) sum += static_cast<unsigned char>(answer[i]);
  char digits[8];
  std::snprintf(digits, sizeof(digits), "%X", sum & 255U);
  return answer.substr(answer.size() - 3, 2) == digits;
}

void Run(Input input) {
  const std::uint8_t choice = input.Byte();
  ServiceRecord service;
  service.UCPCommand = kOperations[choice % std::size(kOperations)];
  const std::string answer = input.Rest();
  const bool retry_before = (choice & 0x80) != 0;
  bool retry = retry_before;
  std::string reason = "as it was";
  const bool accepted = basUCP::CheckUCPResponse(answer, retry, reason, service);

  const bool sound = answer.size() >= 5 && HasChecksum(answer);
  if (accepted) {
    Require(sound && answer.size() > 15 && answer[15] == 'A', "accepted only on a sound A");
    Require(reason.empty() && retry == retry_before, "acceptance clears the reason only");
  }
  if (!sound) Require(!accepted && retry, "a spoilt answer suggests a retry");
  Require(retry || !retry_before, "the retry flag is never cleared");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  mvsms::fuzz::Run({data, size});
  return 0;
}
