// See since.h.
#include "cli/posix/since.h"

#include <array>
#include <ctime>
#include <optional>
#include <string_view>

#include "base/texts.h"
#include "cli/context.h"

namespace mvsms::cli {
namespace {

struct Unit {
  char letter;
  std::int64_t seconds;
};
constexpr Unit kUnits[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};

constexpr std::size_t kMostDigits = 6;

std::optional<std::int64_t> LengthOf(std::string_view text) {
  if (text.size() < 2 || text.size() > kMostDigits + 1) return std::nullopt;
  const std::string_view digits = text.substr(0, text.size() - 1);
  if (!AllDigits(digits)) return std::nullopt;
  for (const Unit& unit : kUnits) {
    if (unit.letter == text.back()) return std::stoll(std::string(digits)) * unit.seconds;
  }
  return std::nullopt;
}

struct Form {
  const char* pattern;
  bool has_offset = false;  // from UTC; else it is local time
};
constexpr Form kForms[] = {{"%Y-%m-%d"},
                           {"%Y-%m-%d %H:%M"},
                           {"%Y-%m-%d %H:%M:%S"},
                           {"%Y-%m-%dT%H:%M"},
                           {"%Y-%m-%dT%H:%M:%S"},
                           {"%Y-%m-%dT%H:%M%z", true},
                           {"%Y-%m-%dT%H:%M:%S%z", true}};

bool SameDay(const std::tm& a, const std::tm& b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday;
}

std::optional<std::int64_t> MomentOf(const std::string& text, const Form& form) {
  std::tm given{};
  const char* const end = strptime(text.c_str(), form.pattern, &given);
  if (end == nullptr || *end != '\0') return std::nullopt;
  given.tm_isdst = -1;  // as it was at that moment
  const std::tm read = given;
  const std::time_t moment =
      form.has_offset ? timegm(&given) - read.tm_gmtoff : std::mktime(&given);
  if (!SameDay(read, given)) return std::nullopt;  // a day that its month does not have
  return moment;
}

std::int64_t ParseDate(const std::string& option, const std::string& text) {
  for (const Form& form : kForms) {
    if (const auto moment = MomentOf(text, form)) return *moment;
  }
  throw UsageError(option +
                   " must be a time such as 90s, 15m, 2h, 7d or 4w, or a date such as "
                   "2026-11-22 or \"2026-11-22 03:12\", not \"" +
                   Printable(text) + "\"");
}

}  // namespace

std::int64_t ParseSince(const std::string& option, const std::string& text, std::int64_t now) {
  const auto length = LengthOf(text);
  return length ? now - *length : ParseDate(option, text);
}

std::int64_t ParseAhead(const std::string& option, const std::string& text, std::int64_t now) {
  const auto length = LengthOf(text);
  return length ? now + *length : ParseDate(option, text);
}

std::int64_t SecondsOf(dispatch::Moment moment) {
  return std::chrono::floor<std::chrono::seconds>(moment).time_since_epoch().count();
}

std::string LocalMoment(std::int64_t seconds) {
  const std::time_t moment = seconds;
  std::tm local{};
  localtime_r(&moment, &local);
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local);
  std::string result = text.data();
  return result.insert(result.size() - 2, ":");
}

}  // namespace mvsms::cli
