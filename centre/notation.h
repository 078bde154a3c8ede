// Control characters in readable form, as in "<ESC>PG1<CR>": the writing of dialogue files, of
// settings on the command line and of traces.
#pragma once

#include <string>
#include <string_view>

namespace mvsms::centre {

/// Control characters by their ASCII names, "<" and every code above 126 in hexadecimal ("<3C>").
/// FromNotation gives the same bytes back.
std::string ToNotation(std::string_view bytes);

/// The bytes that `text` stands for: "<CR>" and its like by name, "<8d>" or "<x8d>" by code,
/// everything else as it stands. Names take precedence over codes, so "<FF>" is the form feed and
/// 255 is "<xFF>". Throws std::invalid_argument for an unknown name or a "<" without its ">".
std::string FromNotation(std::string_view text);

}  // namespace mvsms::centre
