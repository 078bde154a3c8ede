// What one send did, as plain facts: how far it came, what went over the line, what came back and
// how the call ended. The Sender and its session write it down while they work and never read it;
// who wants to know what became of the message judges it (dispatch/outcome.h).
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/telephony.h"
#include "protocols/send_step.h"

namespace mvsms {

/// How a call ended, as far as the line tells.
enum class LineEnd {
  kNeverUp,   // there was no call
  kByUs,      // we hung up
  kLost,      // it was over before we hung up: the centre, the carrier or the device was gone
  kLeftOpen,  // an unforeseen error left it open
  kKept,      // it stands, for the next message
};

inline constexpr std::array<std::string_view, 5> kLineEndNames = {"never up", "by us", "lost",
                                                                  "left open", "kept"};

constexpr std::string_view NameOf(LineEnd end) {
  return kLineEndNames[static_cast<std::size_t>(end)];
}

/// One error as it was reported.
struct SendError {
  std::int32_t number = 0;
  std::string description;
  std::string source;  // object, full stop, procedure
};

/// One piece of the message that was handed to the line.
struct SentPiece {
  std::string block;      // the TAP block or UCP frame, byte by byte
  bool out = false;       // the call still stood when it was handed over
  std::string answer;     // all that the session took for the answer; empty: none came
  std::size_t early = 0;  // of these bytes, how many had come before the block was handed over
};

/// Texts are in the ANSI code page.
struct SendReport {
  SendStep step = SendStep::kNone;  // the last one begun
  bool unforeseen = false;          // an error that no step foresees broke the send off there
  bool aborted = false;             // AbortAction was called
  bool result = false;              // what SendMessage gave

  std::int32_t pieces_in_all = 0;    // 0: it never came to cutting the message
  std::int32_t pieces_accepted = 0;  // by the session's own rules
  std::vector<SentPiece> pieces;     // those handed over, in order
  std::string login_answer;          // the last that the centre said to the login

  LineEnd line_end = LineEnd::kNeverUp;
  CallCause call_cause = CallCause::kNone;  // why the call did not come up
  std::string call_refusal;  // the centre's words, when it refused a login of the line itself

  std::string service;   // its name
  std::string protocol;  // "TAP" or "UCP", or whatever the service has instead
  std::string modem;
  std::string dialled;  // the number in the form that was dialled
  std::string secret;   // the service's password: to be hidden wherever a text is shown

  std::vector<SendError> errors;  // in order
  CalendarTime started;
  CalendarTime ended;
  std::chrono::milliseconds duration{0};
};

}  // namespace mvsms
