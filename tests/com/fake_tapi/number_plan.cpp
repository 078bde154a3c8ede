// The number plan, see number_plan.h.
#include "tests/com/fake_tapi/number_plan.h"

namespace mvsms::fake_tapi {

Outcome Dial(const std::string& dialable) {
  Outcome outcome;
  if (dialable.size() < 2 || dialable[0] != kDialPrefix) {
    outcome.cause = 3;
    return outcome;
  }
  const char kind = dialable[1];
  const std::string rest = dialable.substr(2);
  if (kind == '1' && rest.size() == 1) {
    outcome.cause = rest[0] - '0';
  } else if (kind == '3') {
    outcome.decided = false;
  } else if (kind == '2' || (kind >= '4' && kind <= '6')) {
    outcome.port = "COM" + rest;
    outcome.far_end_hangs_up = kind == '4';
    outcome.hands_over = kind != '5';
    if (kind == '6') outcome.ring_time = kLongRingTime;
  } else {
    outcome.cause = 3;
  }
  return outcome;
}

}  // namespace mvsms::fake_tapi
