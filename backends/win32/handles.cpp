// Text conversion at the COM edge, and loading from the system folder.
#include "backends/win32/handles.h"

namespace mvsms::win32 {

Bstr::Bstr(const std::string& ansi) {
  const int length = static_cast<int>(ansi.size());
  const int wide = ::MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, nullptr, 0);
  text_ = ::SysAllocStringLen(nullptr, static_cast<UINT>(wide));
  if (text_ && wide > 0) ::MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, text_, wide);
}

std::string Bstr::Ansi() const { return AnsiFromBstr(text_); }

std::string AnsiFromBstr(BSTR text) {
  const int length = static_cast<int>(::SysStringLen(text));
  if (length == 0) return {};
  // Without best fit: a letter that the code page lacks is shown as missing, not as another letter.
  constexpr DWORD kFlags = WC_NO_BEST_FIT_CHARS;
  const int size = ::WideCharToMultiByte(CP_ACP, kFlags, text, length, nullptr, 0, "?", nullptr);
  std::string ansi(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_ACP, kFlags, text, length, ansi.data(), size, "?", nullptr);
  return ansi;
}

FARPROC SystemFunction(const char* library, const char* function) {
  const HMODULE module = ::LoadLibraryExA(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  return module ? ::GetProcAddress(module, function) : nullptr;
}

}  // namespace mvsms::win32
