// mvsms service: the message centres of a profile.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/defaults.h"
#include "cli/json.h"
#include "cli/mistyped.h"
#include "cli/setting_rules.h"
#include "cli/store.h"
#include "engine/catalogue.h"
#include "engine/component_file.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

struct ServiceOptions {
  std::string name;
  std::string key;
  std::vector<std::string> assignments;  // "KEY=VALUE", by --set
  std::vector<std::string> more;         // the same, as they stand
  std::string catalogue_id;              // of the entry that a new service is made from
  std::string group;                     // of the entries that are listed
  std::string new_name;
  bool or_replace = false;
  bool show_passwords = false;
};

std::string Shown(const ServiceOptions& options, const ValueInfo& info, const std::string& text) {
  const bool hide = info.secret && !options.show_passwords;
  return hide && !text.empty() ? kHiddenPassword : Utf8FromAnsi(text);
}

Json ToJson(ProfileStore& store, const ServiceOptions& options, const std::string& service) {
  Json json{{"name", Utf8FromAnsi(service)}};
  for (const ValueInfo& info : kServiceValues) {
    json[info.name] = Shown(options, info, store.Get(store.Service(service), info));
  }
  return json;
}

// All assignments are checked before the first is written.
SettingValues ParseAssignments(Context& context, ProfileStore& store,
                               const ServiceOptions& options) {
  std::vector<std::string> assignments = options.assignments;
  assignments.insert(assignments.end(), options.more.begin(), options.more.end());
  SettingValues values;
  for (const std::string& assignment : assignments) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos) {
      throw UsageError("\"" + assignment + "\" is not of the form KEY=VALUE");
    }
    const std::string name = assignment.substr(0, equals);
    const ValueInfo& info = FindValue(kServiceValues, name);
    values.emplace_back(info, CheckedValue(context, store, info, assignment.substr(equals + 1)));
  }
  return values;
}

std::string TextOf(const SettingValues& values, const ValueInfo& info) {
  const auto found = std::find_if(values.begin(), values.end(),
                                  [&](const auto& value) { return value.first == info; });
  return found == values.end() ? "" : found->second.data;
}

// A service that cannot send yet, and would say so only when it has dialled.
void WarnOfGaps(Context& context, const SettingValues& values) {
  if (TextOf(values, setting::kPhoneNumber).empty()) {
    context.Warn("a service needs a PhoneNumber to dial; it has none yet");
  }
  if (TextOf(values, setting::kProtocol) == "UCP" && TextOf(values, setting::kUCPCommand).empty()) {
    context.Warn("a service for UCP needs UCPCommand=51, or 01 for older centres");
  }
}

void List(Context& context, const ServiceOptions& options) {
  ProfileStore store = ExistingProfile(context);
  Json json = Json::array();
  std::vector<std::vector<std::string>> rows{{"NAME", "PROTOCOL", "NUMBER", "MODEM", "PASSWORD"}};
  for (const std::string& service : store.Services()) {
    const Json values = ToJson(store, options, service);
    const auto text = [&values](const ValueInfo& info) {
      return values[info.name].get<std::string>();
    };
    const std::string modem = text(setting::kModemName);
    rows.push_back({Utf8FromAnsi(service), text(setting::kProtocol), text(setting::kPhoneNumber),
                    modem.empty() ? "(default)" : modem, text(setting::kPassword)});
    json.push_back(values);
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

void Show(Context& context, const ServiceOptions& options) {
  ProfileStore store = ExistingProfile(context);
  const Json json = ToJson(store, options, ExistingService(store, options.name));
  if (context.json) return context.PrintJson(json);
  for (const auto& [key, value] : json.items()) {
    context.out << key << " = " << Printable(value.get<std::string>()) << '\n';
  }
}

void Get(Context& context, const ServiceOptions& options) {
  ProfileStore store = ExistingProfile(context);
  const std::string service = ExistingService(store, options.name);
  const ValueInfo& info = FindValue(kServiceValues, options.key);
  const std::string text = Shown(options, info, store.Get(store.Service(service), info));
  if (context.json) return context.PrintJson({{info.name, text}});
  context.out << text << '\n';
}

Catalogue LoadCatalogue(Context& context) {
  Catalogue catalogue;
  if (!catalogue.Load(context.platform())) {
    throw UsageError("there is no catalogue: " +
                     Utf8FromAnsi(ComponentFile(context.platform().locale(), kCatalogueFile)));
  }
  return catalogue;
}

void ListCatalogue(Context& context, const ServiceOptions& options) {
  const Catalogue catalogue = LoadCatalogue(context);
  Json json = Json::array();
  std::vector<std::vector<std::string>> rows{{"ID", "NAME", "GROUP", "PROTOCOL", "NUMBER"}};
  for (const CatalogueRecord& record : catalogue.Records()) {
    const auto text = [&record](catalogue::Field field) {
      return Utf8FromAnsi(FieldOf(record, field));
    };
    if (!options.group.empty() && text(catalogue::kGroup) != options.group) continue;
    rows.push_back({text(catalogue::kId), text(catalogue::kName), text(catalogue::kGroup),
                    text(catalogue::kProtocol), text(catalogue::kPhoneNumber)});
    json.push_back({{"id", rows.back()[0]},
                    {"name", rows.back()[1]},
                    {"group", rows.back()[2]},
                    {"protocol", rows.back()[3]},
                    {"number", rows.back()[4]},
                    {"prefixes", text(catalogue::kPrefixes)}});
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

// What a new service is made from: an entry of the catalogue, or nothing.
CatalogueRecord Origin(Context& context, const ServiceOptions& options) {
  if (options.catalogue_id.empty()) return {};
  const Catalogue catalogue = LoadCatalogue(context);
  const CatalogueRecord* const record = catalogue.Find(AnsiFromUtf8(options.catalogue_id));
  if (record == nullptr) {
    throw UsageError("the catalogue has no entry \"" + options.catalogue_id + "\"");
  }
  return *record;
}

SettingValues InitialValues(Context& context, ProfileStore& store, const CatalogueRecord& origin) {
  if (origin.empty()) return BlankService();
  SettingValues values;
  for (const ServiceValue& value : ServiceValues(origin)) {
    values.emplace_back(value.info, value.text.empty() ? TextValue("")
                                                       : CheckedValue(context, store, value.info,
                                                                      Utf8FromAnsi(value.text)));
  }
  return values;
}

void Add(Context& context, const ServiceOptions& options) {
  ProfileStore store(context);
  const CatalogueRecord origin = Origin(context, options);
  const std::string name = options.name.empty() && !origin.empty()
                               ? Utf8FromAnsi(FieldOf(origin, catalogue::kName))
                               : options.name;
  if (name.empty()) {
    throw UsageError("name the service, or an entry of the catalogue with --from-catalogue");
  }
  const std::string service = KeyName("service", name);
  if (!options.or_replace && store.Exists(store.Service(service))) {
    throw UsageError("there is a service \"" + name + "\" already; --or-replace replaces it");
  }
  SettingValues values = InitialValues(context, store, origin);
  for (auto& [key, value] : ParseAssignments(context, store, options)) {
    for (auto& blank : values) {
      if (blank.first == key) blank.second = value;
    }
  }
  WarnOfGaps(context, values);
  WarnOfNewProfile(context);
  store.Add(store.Service(service), values, [&] {
    for (const std::string& prefix : RoutePrefixes(origin)) {
      store.Set(store.Route(prefix), {{setting::kUseService, TextValue(service)}});
    }
    FillDefaults(context, store);
  });
}

// The routes that lead to one service lead to another one from now on, or to none.
void LeadRoutes(ProfileStore& store, const std::string& from, const std::string& to) {
  for (const std::string& prefix : store.Routes()) {
    for (const ValueInfo& info : {setting::kUseService, setting::kFallbackService}) {
      if (FoldCase(store.Get(store.Route(prefix), info)) == FoldCase(from)) {
        store.Set(store.Route(prefix), {{info, TextValue(to)}});
      }
    }
  }
}

// Everything that names the service.
void Readdress(ProfileStore& store, const std::string& from, const std::string& to) {
  LeadRoutes(store, from, to);
  if (FoldCase(store.Get(setting::kDefaultService)) == FoldCase(from)) {
    store.Set(setting::kDefaultService, TextValue(to));
  }
}

void Rename(Context& context, const ServiceOptions& options) {
  ProfileStore store = ExistingProfile(context);
  const std::string from = ExistingService(store, options.name);
  const std::string to = KeyName("service", options.new_name);
  if (FoldCase(from) != FoldCase(to) && store.Exists(store.Service(to))) {
    throw UsageError("there is a service \"" + options.new_name + "\" already");
  }
  store.Move(store.Service(from), store.Service(to), [&] { Readdress(store, from, to); });
}

void Set(Context& context, const ServiceOptions& options) {
  ProfileStore store(context);
  const std::string service = ExistingService(store, options.name);
  const SettingValues values = ParseAssignments(context, store, options);
  if (values.empty()) throw UsageError("nothing to set; name at least one KEY=VALUE");
  store.Set(store.Service(service), values);
}

// The routes of a deleted service stay, and point to no service. The service goes last, so that a
// command which could not do it all can be given again.
void Delete(Context& context, const ServiceOptions& options) {
  ProfileStore store(context);
  const std::string service = ExistingService(store, options.name);
  if (FoldCase(store.Get(setting::kDefaultService)) == FoldCase(service)) {
    context.Warn("\"" + options.name +
                 "\" is the default service; 'mvsms config set DefaultService' names another");
  }
  store.Together([&] {
    LeadRoutes(store, service, "");
    store.Delete(store.Service(service));
  });
}

std::string Meanings() {
  std::string text = "\nKEY is one of (what a new service starts with in brackets):\n";
  for (const ValueInfo& info : kServiceValues) {
    text += "  " + std::string(info.name) + std::string(14 - std::string(info.name).size(), ' ') +
            info.meaning + (*info.initial != '\0' ? " [" + std::string(info.initial) + "]" : "") +
            "\n";
  }
  return text;
}

using Run = void (*)(Context&, const ServiceOptions&);

// A command about one service; further options are the caller's.
Command* AddServiceCommandNamed(Command& group, Context& context,
                                const std::shared_ptr<ServiceOptions>& options,
                                const std::string& name, const std::string& what,
                                const std::string& examples, Run run) {
  Command* const command = AddCommand(group, context, name, what, examples);
  command->AddOption("NAME", options->name, "Name of the service")->Required();
  command->Callback([&context, options, run] { run(context, *options); });
  return command;
}

void AddAssignments(Command& command, ServiceOptions& options) {
  command.AddOption("--set", options.assignments, "KEY=VALUE, as often as needed")->OneValueEach();
  command.AddOption("SETTING", options.more, "The same without --set")->OptionText("KEY=VALUE ...");
}

void AddShowPasswords(Command& command, ServiceOptions& options) {
  command.AddFlag("--show-passwords", options.show_passwords,
                  "Show passwords; otherwise one that is set shows as \"(set)\"");
}

}  // namespace

void AddServiceCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "service", "The message centres of a profile");
  const auto options = std::make_shared<ServiceOptions>();

  Command* const list =
      AddCommand(*group, context, "list", "List the services", "  mvsms service list --json");
  AddShowPasswords(*list, *options);
  list->Callback([&context, options] { List(context, *options); });

  Command* const show =
      AddServiceCommandNamed(*group, context, options, "show", "Show all values of a service",
                             "  mvsms service show Pager", Show);
  AddShowPasswords(*show, *options);

  Command* const get =
      AddServiceCommandNamed(*group, context, options, "get", "Print one value of a service",
                             "  mvsms service get Pager PhoneNumber\n" + Meanings(), Get);
  get->AddOption("KEY", options->key, "Name of the value")->Required();
  AddShowPasswords(*get, *options);

  Command* const add = AddServiceCommandNamed(
      *group, context, options, "add", "Add a service",
      "  mvsms service add Pager --set PhoneNumber=0123456789 --set Password=PG1\n"
      "  mvsms service add City Protocol=UCP UCPCommand=51 PhoneNumber=0123456780\n"
      "  mvsms service add --from-catalogue 7 --set ModemName=Modem\n"
      "  mvsms service add --or-replace Pager PhoneNumber=0123456789\n"
      "The first service of a profile becomes its default.\n" +
          Meanings(),
      Add);
  add->Find("NAME")->Required(false)->Description(
      "Name of the service; that of the catalogue's entry unless given");
  add->AddOption("--from-catalogue", options->catalogue_id,
                 "ID of the catalogue's entry to start from; its prefixes are routed too")
      ->TypeName("ID");
  add->AddFlag("--or-replace", options->or_replace,
               "A service of this name becomes what a new one would be");
  AddAssignments(*add, *options);

  Command* const set = AddServiceCommandNamed(
      *group, context, options, "set", "Change values of a service",
      "  mvsms service set Pager MaxMessages=2 TimeOut=3000\n" + Meanings(), Set);
  AddAssignments(*set, *options);

  Command* const catalogue = AddCommand(
      *group, context, "catalogue", "List the predefined services of smstransports.inf",
      "  mvsms service catalogue --group Germany\n\n"
      "The file lies in the folder of all state (see MVSMS_HOME): one service a line, with the\n"
      "fields ID, name, group, protocol, password, UCP operation, number, maximum length,\n"
      "messages per call, country code, speed, data bits, parity, stop bits, time-out, message\n"
      "type and prefixes (separated by \";\"), separated by commas.\n");
  catalogue->AddOption("--group", options->group, "Only the services of this group");
  catalogue->Callback([&context, options] { ListCatalogue(context, *options); });

  AddServiceCommandNamed(*group, context, options, "rename",
                         "Give a service another name; routes and default follow",
                         "  mvsms service rename Pager \"Night pager\"", Rename)
      ->AddOption("NEW", options->new_name, "Its new name")
      ->Required();

  AddServiceCommandNamed(*group, context, options, "delete",
                         "Delete a service; its routes stay and point to no service",
                         "  mvsms service delete Pager", Delete);
}

}  // namespace mvsms::cli
