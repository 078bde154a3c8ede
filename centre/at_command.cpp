// A cursor over the line; every line has a reading, so there is nothing to report.
#include "centre/at_command.h"

namespace mvsms::centre {
namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kBit = ".0123456789";  // S38.3: one bit of a register
constexpr std::string_view kPrefixes = "&\\%-*#$";

char UpperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string Compact(std::string_view line) {
  std::string out;
  for (const char c : line)
    if (c != ' ') out += UpperCase(c);
  return out;
}

class Cursor {
 public:
  explicit Cursor(std::string_view text) : text_(text) {}
  bool AtEnd() const { return text_.empty(); }
  std::string Take(std::size_t count) {
    std::string out(text_.substr(0, count));
    text_.remove_prefix(out.size());
    return out;
  }
  std::string TakeWhile(std::string_view allowed) { return Take(text_.find_first_not_of(allowed)); }
  std::string TakeUntil(std::string_view stops) { return Take(text_.find_first_of(stops)); }
  bool NextIs(std::string_view any_of) const {
    return !AtEnd() && any_of.find(text_.front()) != std::string_view::npos;
  }

 private:
  std::string_view text_;
};

AtCommand NextCommand(Cursor& cursor) {
  AtCommand command;
  if (cursor.NextIs("+")) {
    command.name = cursor.TakeUntil("=?;");
    // The semicolon is due, but fax programs leave it out.
    command.argument = cursor.TakeUntil(";+&");
    cursor.TakeWhile(";");
    return command;
  }
  command.name = cursor.Take(cursor.NextIs(kPrefixes) ? 2 : 1);
  if (command.name == "D")
    command.argument = cursor.TakeUntil("");
  else
    command.argument = cursor.TakeWhile(kDigits);
  if (command.name != "S") return command;
  command.argument += cursor.TakeWhile(kBit);
  command.argument += cursor.TakeWhile("=?");
  command.argument += cursor.TakeWhile(kDigits);
  return command;
}

}  // namespace

std::optional<std::vector<AtCommand>> ParseAtLine(std::string_view line) {
  const std::string compact = Compact(line);
  if (!compact.starts_with("AT")) return std::nullopt;
  Cursor cursor(std::string_view(compact).substr(2));
  std::vector<AtCommand> commands;
  while (!cursor.AtEnd()) commands.push_back(NextCommand(cursor));
  return commands;
}

}  // namespace mvsms::centre
