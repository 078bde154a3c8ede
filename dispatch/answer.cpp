// Reading answers: marks in a TAP answer, result frames in a UCP one.
#include "dispatch/answer.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

#include "base/texts.h"
#include "protocols/basucp.h"
#include "protocols/char_tables.h"
#include "protocols/control_codes.h"

namespace mvsms::dispatch {
namespace {

// --- TAP

constexpr std::string_view kForcedEnd = "\x1B\x04";  // ESC EOT

bool Has(std::string_view text, char mark) { return text.find(mark) != text.npos; }

// The first of these that an answer without ACK contains. A centre that refuses a page for good and
// hangs up says both; one that wants it again may have had enough of it.
constexpr struct {
  std::string_view mark;
  AnswerKind kind;
} kTapRefusals[] = {
    {std::string_view(&kRS, 1), AnswerKind::kRefused},
    {std::string_view(&kNAK, 1), AnswerKind::kRefusedForNow},
    {kForcedEnd, AnswerKind::kRefusedForNow},
};

AnswerKind ReadTap(std::string_view answer) {
  if (Has(answer, kACK)) {
    const bool contradicted = Has(answer, kNAK) || Has(answer, kRS) || Has(answer, kEOT);
    return contradicted ? AnswerKind::kUnclear : AnswerKind::kAcknowledged;
  }
  for (const auto& [mark, kind] : kTapRefusals) {
    if (answer.find(mark) != answer.npos) return kind;
  }
  return AnswerKind::kUnclear;
}

// --- UCP

enum Field : std::size_t { kTrn, kLength, kType, kOperation, kVerdict, kCode };

std::optional<int> Number(std::string_view text, int base) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, base);
  const bool whole = error == std::errc() && stop == end;
  return whole ? std::optional(number) : std::nullopt;
}

/// The two digits are compared as a number, so that a zero in front and small letters do no harm.
bool HasRightChecksum(std::string_view body) {
  const std::size_t digits = body.rfind('/') + 1;
  unsigned sum = 0;
  for (const char c : body.substr(0, digits)) sum += static_cast<unsigned>(CodeOf(c));
  return body.size() == digits + 2 &&
         Number(body.substr(digits), 16) == static_cast<int>(sum % 256);
}

/// The fields of a frame, given without its STX and ETX; none of a damaged one.
std::vector<std::string> Fields(std::string_view body) {
  if (!Has(body, '/') || !HasRightChecksum(body)) return {};
  std::vector<std::string> fields = Split(std::string(body), '/');
  return fields.size() > kVerdict ? fields : std::vector<std::string>();
}

/// What lies between the next STX of `text` and its ETX; `text` goes on behind it. A second STX
/// starts afresh. Nothing when there is no whole frame left.
std::optional<std::string_view> NextFrame(std::string_view& text) {
  const std::size_t end = text.find(kETX, text.find(kSTX));
  if (text.find(kSTX) == text.npos || end == text.npos) return std::nullopt;
  const std::size_t start = text.rfind(kSTX, end) + 1;
  const std::string_view body = text.substr(start, end - start);
  text.remove_prefix(end + 1);
  return body;
}

bool Answers(const std::vector<std::string>& result, const std::vector<std::string>& operation) {
  return result[kType] == "R" && result[kTrn] == operation[kTrn] &&
         result[kOperation] == operation[kOperation];
}

AnswerKind ReadVerdict(const std::vector<std::string>& result) {
  if (result[kVerdict] == "A") return AnswerKind::kAcknowledged;
  if (result[kVerdict] != "N") return AnswerKind::kUnclear;
  const bool has_code = result.size() > kCode + 1;  // the checksum is the last
  const int code = has_code ? Number(result[kCode], 10).value_or(0) : 0;
  return basUCP::IsWorthRetry(code) ? AnswerKind::kRefusedForNow : AnswerKind::kRefused;
}

AnswerKind ReadUcp(std::string_view block, std::string_view answer) {
  const std::vector<std::string> operation = Fields(NextFrame(block).value_or(""));
  if (operation.empty()) return AnswerKind::kUnclear;
  AnswerKind kind = AnswerKind::kUnclear;
  while (const auto body = NextFrame(answer)) {
    const std::vector<std::string> result = Fields(*body);
    if (result.empty()) continue;
    if (Answers(result, operation)) return ReadVerdict(result);
    kind = AnswerKind::kForeign;
  }
  return kind;
}

}  // namespace

AnswerKind ReadAnswer(std::string_view protocol, const SentPiece& piece) {
  const std::string_view answer =
      std::string_view(piece.answer).substr(std::min(piece.early, piece.answer.size()));
  if (answer.empty()) return AnswerKind::kNone;
  return protocol == "UCP" ? ReadUcp(piece.block, answer) : ReadTap(answer);
}

}  // namespace mvsms::dispatch
