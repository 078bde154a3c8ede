// The number plan, see number_plan.h.
#include "tests/com/fake_tapi/number_plan.h"

#include "backends/win32/win.h"
//
#include <tapi3err.h>

namespace mvsms::fake_tapi {
namespace {

Outcome Failed(std::int32_t cause) {
  Outcome outcome;
  outcome.cause = cause;
  return outcome;
}

Outcome Ringing(bool talks) {
  Outcome outcome;
  outcome.decided = false;
  outcome.talks = outcome.on_service_thread = talks;
  return outcome;
}

Outcome Connected(char kind, const std::string& port) {
  Outcome outcome;
  outcome.port = "COM" + port;
  outcome.far_end_hangs_up = kind == '4';
  outcome.hands_over = kind != '5';
  outcome.with_header = kind == '8';
  if (kind == '6') outcome.ring_time = kLongRingTime;
  return outcome;
}

Outcome Refused(const std::string& operation) {
  Outcome outcome;
  (operation == "1" ? outcome.create_result : outcome.start_result) =
      operation == "1" ? E_OUTOFMEMORY : TAPI_E_TIMEOUT;
  return outcome;
}

}  // namespace

Outcome Dial(const std::string& dialable) {
  constexpr std::int32_t kUnknownNumber = 3;
  if (dialable.size() < 2 || dialable[0] != kDialPrefix) return Failed(kUnknownNumber);
  const char kind = dialable[1];
  const std::string rest = dialable.substr(2);
  switch (kind) {
    case '0':
    case '3':
      return Ringing(kind == '0');
    case '1':
      return Failed(rest.size() == 1 ? rest[0] - '0' : kUnknownNumber);
    case '7': {
      Outcome outcome = Dial(kDialPrefix + rest);
      outcome.on_service_thread = true;
      return outcome;
    }
    case '9':
      return Refused(rest);
    default:
      return Connected(kind, rest);
  }
}

}  // namespace mvsms::fake_tapi
