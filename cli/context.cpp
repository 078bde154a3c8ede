// The shared printing and failing of the sub-commands.
#include "cli/context.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ostream>
#include <string_view>
#include <utility>

#include "base/ansi.h"
#include "cli/json.h"
#include "cli/system.h"
#include "dispatch/notation.h"

namespace mvsms::cli {
namespace {

// The control character from 80 to 9F that the text begins with, as UTF-8 writes it; else 0.
unsigned SecondControlSet(std::string_view utf8) {
  const bool one = utf8.size() >= 2 && utf8[0] == '\xC2' && (utf8[1] & 0xE0) == 0x80;
  return one ? static_cast<unsigned char>(utf8[1]) : 0;
}

std::string Shown(char c) {
  if (c == 0x7F) return "<DEL>";
  const std::string_view name = dispatch::NameOfControl(c);
  return name.empty() ? std::string(1, c) : "<" + std::string(name) + ">";
}

// Characters of a UTF-8 text: its bytes that do not continue another one.
std::size_t Width(const std::string& utf8) {
  return static_cast<std::size_t>(
      std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::vector<std::size_t> ColumnWidths(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  return widths;
}

std::string PaddedLine(const std::vector<std::string>& row,
                       const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    line += row[i] + std::string(widths[i] - Width(row[i]) + 2, ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace

bool IsUtf8(const std::string& text) {
  const auto characters = Utf8Characters(text);
  return std::none_of(characters.begin(), characters.end(), [](const Utf8Character& character) {
    return character.point == kMalformed && character.bytes != "\xEF\xBF\xBD";
  });
}

std::string TakenAsUtf8(Context& context, const std::string& what, const std::string& text) {
  if (IsUtf8(text)) return text;
  context.Warn(what + " is not UTF-8; it is taken as Windows-1252");
  return Utf8FromAnsi(text);
}

std::filesystem::path FilePath(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

Context::Context(std::string home_folder, std::istream& input, std::ostream& output,
                 std::ostream& errors, std::shared_ptr<Platform> platform)
    : home(std::move(home_folder)),
      in(input),
      out(output),
      err(errors),
      platform_(std::move(platform)) {}

Platform& Context::platform() {
  if (!platform_) platform_ = MakePlatform(home);
  return *platform_;
}

void Context::PrintJson(const Json& document) {
  out << JsonText(document, json_lines ? -1 : 2) << '\n';
}

void Context::PrintTable(const std::vector<std::vector<std::string>>& cells) {
  auto rows = cells;
  for (auto& row : rows) std::transform(row.begin(), row.end(), row.begin(), Printable);
  const std::vector<std::size_t> widths = ColumnWidths(rows);
  for (const auto& row : rows) out << PaddedLine(row, widths) << '\n';
}

void Context::Warn(const std::string& sentence) {
  err << "mvsms: " << PrintableLines(sentence) << '\n';
}

std::string Printable(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (const unsigned code = SecondControlSet(std::string_view(text).substr(i))) {
      result += std::string("<") + "89"[code >> 4 & 1] + "0123456789ABCDEF"[code & 0xF] + ">";
      ++i;
    } else {
      result += Shown(text[i]);
    }
  }
  return result;
}

std::string PrintableLines(const std::string& text) {
  const std::size_t end = text.find('\n');
  if (end == std::string::npos) return Printable(text);
  return Printable(text.substr(0, end)) + '\n' + PrintableLines(text.substr(end + 1));
}

bool IsWholeNumber(const std::string& text) {
  long long number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && stop == end;
}

long long ParseNumber(const std::string& what, const std::string& text, long long low,
                      long long high) {
  long long number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end || number < low || number > high) {
    throw UsageError(what + " must be a number from " + std::to_string(low) + " to " +
                     std::to_string(high) + ", not \"" + text + "\"");
  }
  return number;
}

}  // namespace mvsms::cli
