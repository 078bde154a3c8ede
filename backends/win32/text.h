// The one conversion between texts of the core, one byte a character, and those of the system.
#pragma once

#include <string>
#include <string_view>

#include "backends/win32/win.h"

namespace mvsms::win32 {

/// The code page of the texts inside: the process's ANSI code page where that has one byte for each
/// character, otherwise (UTF-8 by a host's manifest or the system's switch, the East Asian ones)
/// Windows-1252, because tables, lengths and pieces count characters.
UINT CodePage();

/// A text of the core as the system's functions take it. Windows-1252 has a character for every
/// byte; what another code page lacks becomes the one that the system puts in its place.
std::wstring WideFromAnsi(std::string_view ansi);

/// A text of the system's. A character without a code becomes "?", and not a letter that looks
/// like it.
std::string AnsiFromWide(std::wstring_view wide);

}  // namespace mvsms::win32
