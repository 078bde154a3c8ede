// mvsms group: names that stand for several recipients.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "base/texts.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/mistyped.h"
#include "cli/posix/groups.h"
#include "cli/send_run.h"
#include "cli/system.h"
#include "dispatch/outcome.h"
#include "engine/routing.h"
#include "gateway/groups.h"

namespace mvsms::cli {
namespace {

using gateway::Groups;
using gateway::IsCommand;
using gateway::IsGroup;

struct GroupOptions {
  std::string name;
  std::vector<std::string> members;
  bool or_replace = false;
  bool numbers = false;
};

/// Why it can be no member, or "".
std::string Fault(Context& context, const std::string& member) {
  if (!HasAnsiForm(member)) return "it has characters outside Windows-1252";
  if (member.find_first_of("\r\n") != member.npos) return "it has more than one line";
  if (IsGroup(member)) return KeyName("group", member.substr(1)).empty() ? "it has no name" : "";
  if (IsCommand(member)) {
    return member.starts_with("!/") ? "" : "a command needs its whole path: !/usr/local/bin/NAME";
  }
  std::string profile = AnsiFromUtf8(context.profile);
  std::string address = AnsiFromUtf8(member);
  std::string fault = "it is no number, no @group and no !command";
  const auto ignore = [](std::int32_t, const std::string&, const std::string&) {};
  const bool is_number =
      !FixAddress(context.platform().registry(), profile, address, ignore).empty();
  return is_number ? "" : member.starts_with('+') ? kPlusHint : fault;
}

std::string ExistingGroup(ProfileStore& store, const std::string& utf8) {
  const std::string given = IsGroup(utf8) ? utf8.substr(1) : utf8;
  std::string name = KeyName("group", given);
  if (!store.Exists(store.Group(name))) {
    throw UsageError("there is no group \"" + given + "\"" + DidYouMean(name, store.Groups()));
  }
  return name;
}

Json ToJson(ProfileStore& store, const std::string& name) {
  Json members = Json::array();
  for (const std::string& member : MembersOf(store, name)) members.push_back(Utf8FromAnsi(member));
  return {{"name", Utf8FromAnsi(name)}, {"members", members}};
}

void List(Context& context, const GroupOptions&) {
  ProfileStore store = ExistingProfile(context);
  Json json = Json::array();
  std::vector<std::vector<std::string>> rows{{"NAME", "MEMBERS"}};
  for (const std::string& name : store.Groups()) {
    json.push_back(ToJson(store, name));
    std::string members;
    for (const Json& member : json.back()["members"]) {
      members += (members.empty() ? "" : ", ") + member.get<std::string>();
    }
    rows.push_back({Utf8FromAnsi(name), members});
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

void Show(Context& context, const GroupOptions& options) {
  ProfileStore store = ExistingProfile(context);
  const std::string name = ExistingGroup(store, options.name);
  Json json = ToJson(store, name);
  if (options.numbers) json["numbers"] = RecipientsOf(context, "@" + Utf8FromAnsi(name));
  if (context.json) return context.PrintJson(json);
  for (const Json& line : json[options.numbers ? "numbers" : "members"]) {
    context.out << Printable(line.get<std::string>()) << '\n';
  }
}

void WarnOfNoGroup(Context& context, ProfileStore& store, const std::string& member) {
  if (!IsGroup(member) || store.Exists(store.Group(AnsiFromUtf8(member.substr(1))))) return;
  context.Warn("there is no group \"" + Printable(member.substr(1)) + "\" yet");
}

void Add(Context& context, const GroupOptions& options) {
  ProfileStore store(context);
  const std::string name = KeyName("group", options.name);
  if (IsGroup(name)) throw UsageError("the name of a group is given without the @ here");
  if (!options.or_replace && store.Exists(store.Group(name))) {
    throw UsageError("there is a group \"" + options.name + "\" already; --or-replace changes it");
  }
  WarnOfNewProfile(context);
  store.Add(store.Group(name), GroupValues(context, options.members));
  for (const std::string& member : options.members) WarnOfNoGroup(context, store, member);
}

void Delete(Context& context, const GroupOptions& options) {
  ProfileStore store(context);
  const std::string name = ExistingGroup(store, options.name);
  for (const std::string& other : store.Groups()) {
    for (const std::string& member : MembersOf(store, other)) {
      if (FoldCase(member) != FoldCase("@" + name)) continue;
      throw UsageError("the group \"" + Utf8FromAnsi(other) + "\" has \"" + Utf8FromAnsi(member) +
                       "\" as a member");
    }
  }
  store.Delete(store.Group(name));
}

}  // namespace

std::vector<std::string> MembersOf(ProfileStore& store, const std::string& name) {
  return Split(store.Get(store.Group(name), setting::kMembers), '\n');
}

SettingValues GroupValues(Context& context, const std::vector<std::string>& members) {
  if (members.empty()) throw UsageError("a group needs a member");
  std::vector<std::string> stored;
  for (const std::string& utf8 : members) {
    const std::string member = Trim(utf8);
    const std::string fault = Fault(context, member);
    if (!fault.empty()) {
      throw UsageError("\"" + Printable(utf8) + "\" can be no member: " + fault);
    }
    stored.push_back(AnsiFromUtf8(member));
  }
  return {{setting::kMembers, TextValue(gateway::JoinedMembers(stored))}};
}

std::vector<std::string> RecipientsOf(Context& context, const std::string& to) {
  const auto [numbers, faults] =
      Groups(context.platform().registry(), AnsiFromUtf8(context.profile)).Find(AnsiFromUtf8(to));
  if (!IsGroup(to)) return {to};
  for (const std::string& fault : faults) {
    context.Warn(Printable("to " + to + ": " + Utf8FromAnsi(fault)));
    constexpr int kSettings = static_cast<int>(dispatch::Exit::kSettings);
    context.exit_code = std::max(context.exit_code, kSettings, ByWeight);
  }
  std::vector<std::string> utf8;
  for (const std::string& number : numbers) utf8.push_back(Utf8FromAnsi(number));
  return utf8;
}

void AddGroupCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "group", "Names that stand for several recipients");
  auto options = std::make_shared<GroupOptions>();
  const auto add = [&](const char* name, const char* what, const char* example,
                       void (*run)(Context&, const GroupOptions&)) {
    Command* const command = AddCommand(*group, context, name, what, example);
    command->Callback([&context, options, run] { run(context, *options); });
    return command;
  };
  const auto add_name = [&](Command& command) {
    command.AddOption("GROUP", options->name, "Name of the group")->Required();
  };

  add("list", "List the groups", "  mvsms group list", List);
  Command* const show = add("show", "Print the members of a group",
                            "  mvsms group show night\n"
                            "  mvsms group show night --numbers\n"
                            "Exit code with --numbers: 0; 78 when a part could not be found out.",
                            Show);
  add_name(*show);
  show->AddFlag("--numbers", options->numbers,
                "The numbers that it stands for just now; runs its commands");
  Command* const added = add(
      "add", "Add a group",
      "  mvsms group add ward7 01711234567 01721234567\n"
      "  mvsms group add night @ward7 '!/usr/local/bin/on-call --team net'\n"
      "  mvsms send --to @night --queue \"Pump 3 has stopped\"\n"
      "A member is a number, a group, or a command that prints numbers or @groups, a line\n"
      "each, and ends with exit code 0 within ten seconds. Its words are divided by blanks; no\n"
      "shell looks at them. It runs as whoever sends, or serves.",
      Add);
  add_name(*added);
  added->AddOption("MEMBER", options->members, "NUMBER, @GROUP or !/PATH/OF/COMMAND")->Required();
  added->AddFlag("--or-replace", options->or_replace, "A group of this name is replaced");
  add_name(*add("delete", "Delete a group", "  mvsms group delete night", Delete));
}

}  // namespace mvsms::cli
