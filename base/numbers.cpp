// Numbers, by std::from_chars: the standard library's one number parser that ignores the locale.
#include "base/numbers.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "base/raised_error.h"
#include "base/texts.h"

namespace mvsms {
namespace {

constexpr char kSource[] = "mvSMS";
// An unsigned number at the start of a text. `length` is 0 when there is none.
struct Magnitude {
  double value = 0;
  std::size_t length = 0;
};

// from_chars gives no value for a number outside the range of a double. The sign of the exponent
// says which side it is on: nobody writes out three hundred digits.
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
  if (!starts_number) return number;  // rules out the "inf" and "nan" that from_chars accepts
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

std::string NumberText(const std::string& stored) {
  const double number = Val(stored) + 0.0;  // a negative zero is shown as zero
  if (!std::isfinite(number)) RaiseOverflow();
  constexpr int kDigits = 15;  // as many as a double preserves of any decimal number
  std::array<char, 40> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number,
                                 std::chars_format::general, kDigits);
  return {text.data(), end.ptr};
}

}  // namespace mvsms
