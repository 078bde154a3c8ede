// Paths as the core carries them. Folders may have names that no code page has, and a path must
// still lead to its file.
#pragma once

#include <string>
#include <string_view>

namespace mvsms::win32 {

/// A path of the system's as a text of the core; a character that the code page lacks is written
/// as "<041F>", its UTF-16 code. No name of a Windows file has a "<".
std::string PathFromWide(std::wstring_view wide);

/// The reverse. Any other text is taken as it stands, a web address too.
std::wstring WideFromPath(std::string_view path);

/// The same in UTF-8, and back.
std::string Utf8FromPath(std::string_view path);
std::string PathFromUtf8(std::string_view utf8);

}  // namespace mvsms::win32
