// See decision.h.
#include "dispatch/decision.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>

#include "engine/settings.h"

namespace mvsms::dispatch {
namespace {

enum class Rule {
  kDone,
  kPark,
  kRepeat,
  kRepeatIfWanted,
};

struct Row {
  Outcome outcome;
  std::optional<Exit> exit;  // any without one
  Rule rule;
  const char* why;  // it is parked without another try
};

/// The first row that fits.
constexpr Row kRows[] = {
    {Outcome::kAccepted, std::nullopt, Rule::kDone, ""},
    {Outcome::kRefused, Exit::kRetry, Rule::kRepeat, ""},
    {Outcome::kRefused, std::nullopt, Rule::kPark, "it was refused for good"},
    {Outcome::kUnreachable, std::nullopt, Rule::kRepeat, ""},
    {Outcome::kUnknown, std::nullopt, Rule::kRepeatIfWanted, "it is not to go out twice"},
    {Outcome::kUnusable, Exit::kRetry, Rule::kRepeat, ""},
    {Outcome::kUnusable, std::nullopt, Rule::kPark, "it cannot be sent as it is"},
};

const Row& RowOf(Outcome outcome, int exit_code) {
  for (const Row& row : kRows) {
    if (row.outcome == outcome && (!row.exit || static_cast<int>(*row.exit) == exit_code)) {
      return row;
    }
  }
  return kRows[std::size(kRows) - 1];
}

Decision Repeat(std::int32_t attempts, const RetryRules& rules) {
  const auto quick = static_cast<std::int32_t>(rules.quick.size());
  attempts = std::max(attempts, 1);  // whatever a store says: there was one
  if (attempts <= quick) {
    return {Verdict::kAgain, rules.quick[static_cast<std::size_t>(attempts - 1)], ""};
  }
  if (attempts <= quick + rules.retries) return {Verdict::kAgain, rules.delay, ""};
  return {Verdict::kPark, {}, "it was tried " + std::to_string(attempts) + " times"};
}

}  // namespace

std::optional<std::vector<std::chrono::seconds>> ReadPauses(std::string_view text) {
  constexpr std::int32_t kDay = 86400;
  std::vector<std::chrono::seconds> pauses;
  const char* next = text.data();
  const char* const end = next + text.size();
  while ((next = std::find_if(next, end, [](char c) { return c != ' '; })) != end) {
    std::int32_t seconds = 0;
    const auto [behind, error] = std::from_chars(next, end, seconds);
    const bool whole = behind == end || *behind == ' ';
    if (error != std::errc{} || !whole || seconds < 0 || seconds > kDay) return std::nullopt;
    pauses.emplace_back(seconds);
    next = behind;
  }
  return pauses;
}

RetryRules ReadRetryRules(const Profile& profile) {
  const auto initial =
      ReadPauses(setting::kQuickRetries.initial).value_or(std::vector<std::chrono::seconds>{});
  const auto quick = ReadPauses(ToText(profile.GetOrInitial(setting::kQuickRetries)));
  return {.quick = quick.value_or(initial),
          .retries = std::max(profile.NumberOrInitial(setting::kRetries), 0),
          .delay = std::chrono::minutes(std::max(profile.NumberOrInitial(setting::kRetryDelay), 0)),
          .repeat_unknown =
              ToText(profile.GetOrInitial(setting::kOnUnknown)) != setting::kOnUnknown.choices[1]};
}

Decision Decide(Outcome outcome, int exit_code, std::int32_t attempts, const RetryRules& rules) {
  const Row& row = RowOf(outcome, exit_code);
  switch (row.rule) {
    case Rule::kDone:
      return {Verdict::kDone, {}, ""};
    case Rule::kPark:
      return {Verdict::kPark, {}, row.why};
    case Rule::kRepeatIfWanted:
      if (!rules.repeat_unknown) return {Verdict::kPark, {}, row.why};
      break;
    case Rule::kRepeat:
      break;
  }
  return Repeat(attempts, rules);
}

}  // namespace mvsms::dispatch
