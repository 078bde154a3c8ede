// Texts and numbers, over std::from_chars: the one number parser of the library that no locale
// changes.
#include "protocols/convert.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>

#include "platform/raised_error.h"

namespace mvsms {
namespace {

constexpr char kSource[] = "mvSMS";
constexpr std::string_view kBlank = " ";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view WithoutLeadingBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlank), text.size()));
  return text;
}

std::string_view WithoutOuterBlanks(std::string_view text) {
  text = WithoutLeadingBlanks(text);
  text.remove_suffix(text.size() - (text.find_last_not_of(kBlank) + 1));
  return text;
}

// An unsigned number at the start of a text. `length` is 0 when there is none.
struct Magnitude {
  double value = 0;
  std::size_t length = 0;
};

// from_chars gives no value for a number outside the range of a double. The sign of the exponent
// tells on which side it lies: nobody spells out three hundred digits.
double NearestOutOfRange(std::string_view number) {
  return number.find("e-") == number.npos && number.find("E-") == number.npos
             ? std::numeric_limits<double>::infinity()
             : 0;
}

Magnitude ReadMagnitude(std::string_view text) {
  Magnitude number;
  const bool starts_number =
      !text.empty() &&
      (IsDigit(text[0]) || (text[0] == '.' && text.size() > 1 && IsDigit(text[1])));
  if (!starts_number) return number;  // keeps out the "inf" and "nan" that from_chars knows
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number.value);
  number.length = static_cast<std::size_t>(end - text.data());
  if (error == std::errc::result_out_of_range)
    number.value = NearestOutOfRange(text.substr(0, number.length));
  return number;
}

Magnitude ReadNumber(std::string_view text) {
  if (text.empty() || (text[0] != '-' && text[0] != '+')) return ReadMagnitude(text);
  Magnitude number = ReadMagnitude(text.substr(1));
  if (number.length > 0) ++number.length;
  if (text[0] == '-') number.value = -number.value;
  return number;
}

}  // namespace

void RaiseOverflow() { throw RaisedError(kErrOverflow, kSource, "Overflow"); }

void RaiseTypeMismatch() { throw RaisedError(kErrTypeMismatch, kSource, "Type mismatch"); }

double Val(std::string_view text) { return ReadNumber(WithoutLeadingBlanks(text)).value; }

double ToNumber(std::string_view text) {
  if (text.empty()) return 0;
  const std::string_view trimmed = WithoutOuterBlanks(text);
  const Magnitude number = ReadNumber(trimmed);
  if (number.length == 0 || number.length != trimmed.size()) RaiseTypeMismatch();
  return number.value;
}

std::int32_t ToLong(double value) {
  using Limits = std::numeric_limits<std::int32_t>;
  const double rounded = std::nearbyint(value);  // ties to even: the default rounding mode
  if (!(rounded >= Limits::min() && rounded <= Limits::max())) RaiseOverflow();
  return static_cast<std::int32_t>(rounded);
}

std::int32_t ToLong(std::string_view text) { return ToLong(ToNumber(text)); }

std::string Trim(std::string_view text) { return std::string(WithoutOuterBlanks(text)); }

std::string KeepDigits(std::string_view text) {
  std::string digits;
  digits.reserve(text.size());
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits), IsDigit);
  return digits;
}

}  // namespace mvsms
