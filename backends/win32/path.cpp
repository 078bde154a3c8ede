// See path.h.
#include "backends/win32/path.h"

#include <cstdio>
#include <optional>

#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

constexpr std::size_t kCodeLength = 6;  // "<041F>"
constexpr char kHexDigits[] = "0123456789ABCDEF";

std::string InPath(wchar_t character) {
  std::string ansi = AnsiFromWide({&character, 1});
  if (ansi != "?" || character == L'?') return ansi;
  char code[kCodeLength + 1] = "";
  std::snprintf(code, sizeof code, "<%04X>", static_cast<unsigned>(character));
  return code;
}

/// The character whose code the text begins with.
std::optional<wchar_t> LeadingCode(std::string_view text) {
  if (text.size() < kCodeLength || text[0] != '<' || text[5] != '>') return {};
  const std::string_view digits = text.substr(1, 4);
  if (digits.find_first_not_of(kHexDigits) != digits.npos) return {};
  return static_cast<wchar_t>(std::stoul(std::string(digits), nullptr, 16));
}

}  // namespace

std::string PathFromWide(std::wstring_view wide) {
  std::string path;
  for (const wchar_t character : wide) path += InPath(character);
  return path;
}

std::wstring WideFromPath(std::string_view path) {
  std::wstring wide;
  while (!path.empty()) {
    const auto code = LeadingCode(path);
    wide += code ? std::wstring(1, *code) : WideFromAnsi(path.substr(0, 1));
    path.remove_prefix(code ? kCodeLength : 1);
  }
  return wide;
}

std::string Utf8FromPath(std::string_view path) {
  const std::wstring wide = WideFromPath(path);
  const int length = static_cast<int>(wide.size());
  const int size =
      ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

std::string PathFromUtf8(std::string_view utf8) {
  const int length = static_cast<int>(utf8.size());
  std::wstring wide(utf8.size(), L'\0');
  const int size = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), length);
  return PathFromWide({wide.data(), static_cast<std::size_t>(size)});
}

}  // namespace mvsms::win32
