// mvsms config: the options of a profile.
#include <memory>
#include <string>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/mistyped.h"
#include "cli/setting_rules.h"
#include "cli/store.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

// Numbers as numbers, texts as texts (also where a number should be), and null for what nobody has
// set.
Json ToJson(const ValueInfo& info, const std::string& text) {
  if (info.type != RegType::kDword) return Utf8FromAnsi(text);
  if (text.empty()) return nullptr;
  if (IsWholeNumber(text)) return std::stoll(text);
  return Utf8FromAnsi(text);
}

// Only something else than this command writes such a value, and no send gets past it.
void WarnOfText(Context& context, const ValueInfo& info, const std::string& text) {
  if (info.type != RegType::kDword || text.empty() || IsWholeNumber(text)) return;
  context.Warn(std::string(info.name) + " holds the text \"" + Printable(Utf8FromAnsi(text)) +
               "\" where a number belongs; 'mvsms config set " + info.name + " " + info.initial +
               "' mends it");
}

void List(Context& context) {
  ProfileStore store = ExistingProfile(context);
  Json json = Json::object();
  std::vector<std::vector<std::string>> rows{{"NAME", "VALUE", "MEANING"}};
  for (const ValueInfo& info : kProfileValues) {
    const std::string text = store.Get(info);
    WarnOfText(context, info, text);
    json[info.name] = ToJson(info, text);
    rows.push_back({info.name, text.empty() ? "-" : Utf8FromAnsi(text), info.meaning});
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

void Get(Context& context, const std::string& name) {
  const ValueInfo& info = FindValue(kProfileValues, name);
  const std::string text = ExistingProfile(context).Get(info);
  WarnOfText(context, info, text);
  if (context.json) return context.PrintJson({{info.name, ToJson(info, text)}});
  context.out << Printable(Utf8FromAnsi(text)) << '\n';
}

// `info` is about to have the value.
void WarnOfLostZero(Context& context, ProfileStore& store, const ValueInfo& info,
                    const std::string& value) {
  const auto after = [&](const ValueInfo& other) {
    return info == other ? value : store.Get(other);
  };
  const bool concerned = info == setting::kAddCountry || info == setting::kCountry;
  if (concerned && after(setting::kAddCountry) == "1" && after(setting::kCountry).empty()) {
    context.Warn("with AddCountry on and Country empty, numbers lose their leading 0");
  }
}

void Set(Context& context, const std::string& name, const std::string& value) {
  const ValueInfo& info = FindValue(kProfileValues, name);
  ProfileStore store(context);
  const RegistryValue checked = CheckedValue(context, store, info, value);
  WarnOfLostZero(context, store, info, value);
  WarnOfNewProfile(context);
  store.Set(info, checked);
}

void Unset(Context& context, const std::string& name) {
  const ValueInfo& info = FindValue(kProfileValues, name);
  ProfileStore store = ExistingProfile(context);
  WarnOfLostZero(context, store, info, "");
  store.Unset(info);
}

std::string Meanings() {
  std::string text = "\nNames:\n";
  for (const ValueInfo& info : kProfileValues) {
    text += "  " + std::string(info.name) + std::string(16 - std::string(info.name).size(), ' ') +
            info.meaning + "\n";
  }
  return text;
}

}  // namespace

void AddConfigCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "config", "The options of a profile");
  Command* const list =
      AddCommand(*group, context, "list", "List all options; \"-\" is one that nobody has set",
                 "  mvsms config list\n"
                 "  mvsms config list --profile Alarms --json");
  list->Callback([&context] { List(context); });

  auto name = std::make_shared<std::string>();
  Command* const get = AddCommand(*group, context, "get", "Print one option",
                                  "  mvsms config get DefaultModem\n" + Meanings());
  get->AddOption("NAME", *name, "Name of the option")->Required();
  get->Callback([&context, name] { Get(context, *name); });

  auto value = std::make_shared<std::string>();
  Command* const set = AddCommand(*group, context, "set", "Change one option",
                                  "  mvsms config set DefaultModem Modem1\n"
                                  "  mvsms config set WriteLogfile 1\n" +
                                      Meanings());
  set->AddOption("NAME", *name, "Name of the option")->Required();
  set->AddOption("VALUE", *value, "Its new value; \"\" empties a text")->Required();
  set->Callback([&context, name, value] { Set(context, *name, *value); });

  Command* const unset =
      AddCommand(*group, context, "unset", "Make an option what it was before anybody set it",
                 "  mvsms config unset Country\n" + Meanings());
  unset->AddOption("NAME", *name, "Name of the option")->Required();
  unset->Callback([&context, name] { Unset(context, *name); });
}

}  // namespace mvsms::cli
