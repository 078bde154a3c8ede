// Fitting a text to the service that it goes out through: nothing is refused for one character, or
// for one too many. What the service cannot carry is spelt with letters that it can, and a text
// that is too long is numbered or cut. Pure functions over tables.
#pragma once

#include <string>
#include <string_view>

#include "protocols/service_record.h"

namespace mvsms::dispatch {

/// What stands at the end of a text that was cut.
inline constexpr std::string_view kCutMark = "...";

struct Fitted {
  /// In the ANSI code page, ready to be sent: without blanks at its ends, within `MaxLength` times
  /// `MaxMessages` characters, and so laid out that each piece begins with its number.
  std::string text;
  /// What was changed, as one line in UTF-8; empty when nothing was.
  std::string change;
};

/// Fits `utf8` to the service. A letter is kept where the reader sees the letter itself: on any
/// pager or on a German one (TAP), on a mobile phone (UCP). A numeric service keeps the digits. Of
/// a service without room (a limit below 1) or with an unknown protocol only the blanks around the
/// text are taken. Fitting a fitted text changes nothing.
Fitted Fit(std::string_view utf8, const ServiceRecord& service);

}  // namespace mvsms::dispatch
