// The command line comes in UTF-16; everything else of a console is code pages.
#include "backends/win32/console.h"

#include "backends/win32/win.h"

namespace mvsms::win32 {
namespace {

std::string Utf8(const wchar_t* text) {
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
  utf8.pop_back();
  return utf8;
}

}  // namespace

Console::Console() : code_page_before_(::GetConsoleOutputCP()) {
  ::SetConsoleOutputCP(CP_UTF8);
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
}

Console::~Console() {
  ::CoUninitialize();
  ::SetConsoleOutputCP(code_page_before_);
}

std::vector<std::string> Console::Arguments() const {
  int count = 0;
  wchar_t** const texts = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; texts && i < count; ++i) arguments.push_back(Utf8(texts[i]));
  ::LocalFree(static_cast<void*>(texts));
  return arguments;
}

}  // namespace mvsms::win32
