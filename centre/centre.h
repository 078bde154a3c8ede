// The message centre as one object: it answers calls, directly (a socket, a test) or from behind
// an emulated modem (a serial port), each over the same bad line if the settings ask for one.
#pragma once

#include <functional>
#include <memory>

#include "centre/desk.h"
#include "centre/line.h"

namespace mvsms::centre {

/// Makes what speaks on an established call: a TAP or UCP centre, a scripted dialogue.
using Speaker = std::function<std::unique_ptr<Answerer>(Desk&)>;

Speaker SpeakTap();
Speaker SpeakUcp();

class Centre {
 public:
  Centre(Speaker speaker, Settings settings, Recorder recorder = {}, Tracer tracer = {});
  Centre(const Centre&) = delete;
  Centre& operator=(const Centre&) = delete;

  /// The far end of one call. The settings may make it fail: then it is hung up after ring-time.
  /// The centre outlives it.
  std::unique_ptr<Answerer> AnswerCall();
  /// A modem that reaches this centre whatever number is dialled. The centre outlives it.
  std::unique_ptr<Answerer> AnswerModem(CarrierWatch carrier = {});
  /// Such a modem behind a serial server that speaks RFC 2217. The centre outlives it.
  std::unique_ptr<Answerer> AnswerSerialServer();

 private:
  std::unique_ptr<Answerer> Established();

  Desk desk_;
  const Speaker speaker_;
};

}  // namespace mvsms::centre
