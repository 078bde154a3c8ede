// What a message centre's answer to one piece says. The sessions ask whether an answer looks as it
// always did, and some are refused that say yes; here the answer is read for what it means, by the
// rules of its protocol alone.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "engine/send_report.h"

namespace mvsms::dispatch {

enum class AnswerKind {
  kNone,           // nothing came
  kAcknowledged,   // the centre has the piece
  kRefusedForNow,  // it does not take it, and may take it later
  kRefused,        // it does not take it
  kForeign,        // sound, but no answer to this piece
  kUnclear,        // damaged, cut off or contradictory
};

inline constexpr std::array<std::string_view, 6> kAnswerKindNames = {
    "none", "acknowledged", "refused for now", "refused", "foreign", "unclear"};

constexpr std::string_view NameOf(AnswerKind kind) {
  return kAnswerKindNames[static_cast<std::size_t>(kind)];
}

/// What the answer to `piece` says in "UCP" or "TAP". Only what came after the piece was handed
/// over counts.
AnswerKind ReadAnswer(std::string_view protocol, const SentPiece& piece);

}  // namespace mvsms::dispatch
