// Text conversion at the COM edge, our own module, and loading from the system folder.
#include "backends/win32/handles.h"

#include "backends/win32/text.h"

namespace mvsms::win32 {

Bstr::Bstr(const std::string& ansi) {
  const std::wstring wide = WideFromAnsi(ansi);
  text_ = ::SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
}

std::string Bstr::Ansi() const { return AnsiFromBstr(text_); }

std::string AnsiFromBstr(BSTR text) { return AnsiFromWide({text, ::SysStringLen(text)}); }

HMODULE OwnModule() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&OwnModule), &module);
  return module;
}

FARPROC SystemFunction(const char* library, const char* function) {
  const HMODULE module = ::LoadLibraryExA(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  return module ? ::GetProcAddress(module, function) : nullptr;
}

}  // namespace mvsms::win32
