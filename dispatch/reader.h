// What the person at the other end reads: the codes of a message turned back into letters.
#pragma once

#include <string>
#include <string_view>

#include "protocols/service_record.h"

namespace mvsms::dispatch {

/// Stands for a letter that differs from pager to pager, or that none shows.
inline constexpr char kUncertain[] = "\xEF\xBF\xBD";

/// The text, in UTF-8, that these codes are in the alphabet of mobile phones. A pair of the escape
/// code that means nothing is its second letter.
std::string PhoneText(std::string_view codes);

/// The text, in UTF-8, that these codes are on a pager: ASCII, with the German letters in place of
/// brackets, braces, bar, backslash and tilde.
std::string PagerText(std::string_view codes);

/// What the reader sees of `text` (ANSI) sent through this service: on a pager after TAP, on a
/// mobile phone after UCP, the digits alone through a numeric service. In UTF-8; empty for an
/// unknown protocol or message type.
std::string AsRead(std::string_view text, const ServiceRecord& service);

}  // namespace mvsms::dispatch
