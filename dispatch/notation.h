// Bytes in readable form, as logs and traces write them: "<STX>00/00068/O/01/…".
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mvsms::dispatch {

/// The name of a control character below 32 ("STX"); "" for every other code.
std::string_view NameOfControl(char c);

/// Control characters by their names, codes above 126 in hexadecimal ("<E4>"), so that the result
/// is plain ASCII whatever the bytes are.
std::string NotationOf(std::string_view bytes);

/// The bytes of a text that holds "<CR>" and its like by name or "<1B>", "<x1B>" by code. Whatever
/// else stands between angle brackets is text: logs do not mark a "<" that a message holds.
std::string BytesOfNotation(std::string_view text);

/// The bytes that pairs of hexadecimal digits stand for; nothing if they are not such pairs.
std::optional<std::string> BytesOfHex(std::string_view digits);

}  // namespace mvsms::dispatch
