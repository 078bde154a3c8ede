// What became of a message, as a person or a script needs it in order to act. The Boolean of a send
// says whether every step went as expected; the outcome says whether the message centre has the
// message, whether it cannot have it, or that nobody can tell. It is stricter than the Boolean (an
// answer to something else is no acknowledgement) and kinder (one that only looks odd is).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/send_report.h"

namespace mvsms::dispatch {

enum class Outcome {
  kAccepted,     // the centre acknowledged every piece
  kRefused,      // the centre said no, to the login or to the message
  kUnreachable,  // no piece of it went over the line
  kUnknown,      // a piece went out, and whether the centre took it is not known
  kUnusable,     // the message, or the settings, cannot be used to send anything
};

inline constexpr std::array<std::string_view, 5> kOutcomeNames = {
    "accepted", "refused", "unreachable", "unknown", "unusable"};

constexpr std::string_view NameOf(Outcome outcome) {
  return kOutcomeNames[static_cast<std::size_t>(outcome)];
}

/// Exit codes, in the language of sysexits.h where that has a word.
enum class Exit : int {
  kAccepted = 0,
  kRefused = 1,    // for good: the same message will be refused again
  kMessage = 65,   // the text or the recipient
  kRetry = 75,     // for now: another attempt may succeed, and repeats only what was acknowledged
  kUnknown = 76,   // another attempt may deliver the message twice
  kSettings = 78,  // not configured, or wrongly
};

struct Judgement {
  Outcome outcome = Outcome::kUnusable;
  std::string reason;                // what happened: a sentence without capital and full stop
  std::string advice;                // what to do, likewise; empty when there is nothing to do
  int exit_code = 0;                 // one of Exit
  std::int32_t pieces_accepted = 0;  // acknowledged beyond doubt, from the first on
};

/// Texts are in the ANSI code page, and neither holds the password.
Judgement Judge(const SendReport& report);

/// `text` with the password of the service, wherever it stands in it, replaced by "(hidden)".
std::string WithoutPassword(const SendReport& report, const std::string& text);

/// The answer that decided: to the last piece handed over, else to the login; as it came, without
/// the password.
std::string DecidingAnswer(const SendReport& report);

}  // namespace mvsms::dispatch
