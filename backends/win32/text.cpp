// Texts of the core and of the system, see text.h.
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

constexpr UINT kWindows1252 = 1252;

UINT FindCodePage() {
  CPINFO info = {};
  const UINT own = ::GetACP();
  return ::GetCPInfo(own, &info) && info.MaxCharSize == 1 ? own : kWindows1252;
}

}  // namespace

UINT CodePage() {
  static const UINT page = FindCodePage();
  return page;
}

std::wstring WideFromAnsi(std::string_view ansi) {
  // Of a code page with one byte for each character, so the lengths are the same.
  std::wstring wide(ansi.size(), L'\0');
  const int length = static_cast<int>(ansi.size());
  ::MultiByteToWideChar(CodePage(), 0, ansi.data(), length, wide.data(), length);
  return wide;
}

std::string AnsiFromWide(std::wstring_view wide) {
  if (wide.empty()) return {};
  constexpr DWORD kFlags = WC_NO_BEST_FIT_CHARS;
  const int length = static_cast<int>(wide.size());
  const int size =
      ::WideCharToMultiByte(CodePage(), kFlags, wide.data(), length, nullptr, 0, "?", nullptr);
  std::string ansi(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CodePage(), kFlags, wide.data(), length, ansi.data(), size, "?", nullptr);
  return ansi;
}

}  // namespace mvsms::win32
