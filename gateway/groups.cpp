// See groups.h.
#include "gateway/groups.h"

#include <chrono>
#include <utility>

#include "backends/posix/system/program.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "engine/profile.h"

namespace mvsms::gateway {
namespace {

constexpr std::chrono::seconds kLongestCommand{10};
constexpr std::size_t kMostNumbers = 1000;  // more is a mistake, and would block the lines for days
constexpr std::int32_t kCommandFailed = 51;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::string line : Split(text, '\n')) {
    if (line.ends_with('\r')) line.pop_back();
    line = Trim(line);
    if (!line.empty() && !line.starts_with('#')) lines.push_back(line);
  }
  return lines;
}

[[noreturn]] void Fail(const std::string& why) { throw RaisedError(kCommandFailed, "Groups", why); }

}  // namespace

/// What was found and asked so far.
struct Groups::Search {
  Recipients found;
  std::set<std::string> asked;    // groups
  std::set<std::string> numbers;  // without what is written between digits

  void Take(const std::string& number) {
    if (!numbers.insert((number.starts_with('+') ? "+" : "") + KeepDigits(number)).second) return;
    if (found.numbers.size() < kMostNumbers) found.numbers.push_back(number);
    if (numbers.size() == kMostNumbers + 1) {
      found.faults.push_back("only the first " + std::to_string(kMostNumbers) +
                             " numbers are meant");
    }
  }
};

std::vector<std::string> CommandWords(std::string_view command) {
  std::vector<std::string> words;
  for (const std::string& word : Split(std::string(command), ' ')) {
    if (!word.empty()) words.push_back(word);
  }
  return words;
}

std::string JoinedMembers(const std::vector<std::string>& members) {
  std::string text;
  for (const std::string& member : members) text += (text.empty() ? "" : "\n") + member;
  return text;
}

Groups::Groups(Registry& registry, std::string profile, Printed printed)
    : registry_(registry), base_key_(BaseKey(profile)), printed_(std::move(printed)) {}

std::optional<std::vector<std::string>> Groups::Members(const std::string& name) const {
  if (name.empty() || name.find('\\') != name.npos) return std::nullopt;
  const Variant stored = SettingsKey(registry_, GroupKey(base_key_, name)).Get(setting::kMembers);
  if (std::holds_alternative<std::monostate>(stored)) return std::nullopt;
  return Lines(ToText(stored));
}

Recipients Groups::Find(const std::string& to) const {
  if (!IsGroup(to)) return {.numbers = {to}, .faults = {}};
  Search search;
  AddGroup(search, to.substr(1));
  return search.found;
}

void Groups::Add(Search& search, const std::string& member) const {
  if (IsGroup(member)) {
    AddGroup(search, member.substr(1));
  } else if (IsCommand(member)) {
    AddPrinted(search, member.substr(1));
  } else {
    search.Take(member);
  }
}

void Groups::AddGroup(Search& search, const std::string& name) const {
  if (!search.asked.insert(FoldCase(name)).second) return;
  const std::vector<std::string> members = Members(name).value_or(std::vector<std::string>{});
  if (members.empty()) {
    search.found.faults.push_back("there is no group \"" + name + "\", or nobody is in it");
  }
  for (const std::string& member : members) Add(search, member);
}

/// What a command prints is no command: it may come from somewhere else.
void Groups::AddPrinted(Search& search, const std::string& command) const try {
  const std::vector<std::string> lines = Lines(printed_(CommandWords(command)));
  if (lines.empty()) Fail("it printed nothing");
  for (const std::string& line : lines) {
    if (IsCommand(line)) Fail("it printed \"" + line + "\", which is no recipient");
    Add(search, line);
  }
} catch (const RaisedError& error) {
  search.found.faults.push_back("the command " + command + ": " + error.description());
}

std::string Groups::RunCommand(const std::vector<std::string>& words) {
  std::vector<std::string> utf8;
  for (const std::string& word : words) utf8.push_back(Utf8FromAnsi(word));
  if (utf8.empty()) Fail("it has no name");
  const posix::ProgramEnd end = posix::RunProgram(utf8, "", kLongestCommand);
  if (!end.exit_code) Fail("it took longer than " + std::to_string(kLongestCommand.count()) + " s");
  if (*end.exit_code != 0) Fail("it ended with exit code " + std::to_string(*end.exit_code));
  return AnsiFromUtf8(end.output);
}

}  // namespace mvsms::gateway
