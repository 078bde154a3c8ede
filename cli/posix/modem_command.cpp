// mvsms modem: the lines of this machine, which services name as their modem.
#include <algorithm>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "backends/posix/line/line_check.h"
#include "backends/posix/store/line_store.h"
#include "base/ansi.h"
#include "base/texts.h"
#include "cli/commands.h"
#include "cli/defaults.h"
#include "cli/json.h"
#include "cli/mistyped.h"
#include "cli/posix/modem_options.h"
#include "cli/posix/modem_test.h"
#include "cli/posix/state.h"
#include "cli/store.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

using posix::LineConfig;
using posix::LineKind;

constexpr long long kLongestRest = 86400;

std::string KindName(LineKind kind) {
  return std::string(posix::kLineKindNames[static_cast<std::size_t>(kind)]);
}

LineKind ParseKind(const std::string& kind) {
  for (const LineKind known : {LineKind::kHayes, LineKind::kTcp, LineKind::kPool}) {
    if (kind == KindName(known)) return known;
  }
  throw UsageError("\"" + kind + "\" is not a kind of modem; use hayes, tcp or pool");
}

bool HasHayesOptions(const LineOptions& options) {
  return options.device || options.init || options.dial || options.speed || options.framing ||
         options.flow;
}

// The options that a document and `show` have under their own names.
struct AccessOption {
  const char* name;
  std::optional<std::string> LineOptions::* option;
  std::string posix::LineAccess::* field;
  bool path;
};
constexpr AccessOption kAccessOptions[] = {
    {"ca", &LineOptions::ca, &posix::LineAccess::ca, true},
    {"certificate", &LineOptions::certificate, &posix::LineAccess::certificate, true},
    {"key", &LineOptions::key, &posix::LineAccess::key, true},
    {"login", &LineOptions::login, &posix::LineAccess::login, false},
    {"password_file", &LineOptions::password_file, &posix::LineAccess::password_file, true},
};

bool HasAccessOptions(const LineOptions& options) {
  return std::any_of(
      std::begin(kAccessOptions), std::end(kAccessOptions),
      [&](const AccessOption& access) { return (options.*access.option).has_value(); });
}

bool HasPoolOptions(const LineOptions& options) { return options.members || options.rest; }

void Require(const std::string& problem) {
  if (!problem.empty()) throw UsageError(Printable(problem));
}

// For programs that start in another folder. A link stays: it may be what names the device for
// good.
std::string WholePath(const std::string& path) {
  const bool whole = path.empty() || path.find("://") != std::string::npos;
  return whole ? path : std::filesystem::absolute(path).string();
}

void TakeAccessOptions(const LineOptions& options, LineConfig& line) {
  for (const AccessOption& access : kAccessOptions) {
    const auto& given = options.*access.option;
    if (given) line.access.*access.field = access.path ? WholePath(*given) : *given;
  }
  if (HasAccessOptions(options) || options.device) Require(posix::CheckAccess(line));
}

void CheckDevice(const std::string& device, bool force) {
  const std::string problem = posix::CheckDevice(device);
  if (problem.empty() || !posix::MayAppear(device)) return Require(problem);
  if (!force) Require(problem + "; --force takes it all the same");
}

void TakeHayesOptions(const LineOptions& options, LineConfig& line) {
  if (options.device) line.device = WholePath(*options.device);
  if (options.init) line.init = AnsiFromUtf8(*options.init);
  if (options.dial) line.dial = AnsiFromUtf8(*options.dial);
  line.framing = options.framing.value_or(line.framing);
  line.flow = options.flow.value_or(line.flow);
  if (options.speed) {
    line.speed = static_cast<std::uint32_t>(
        ParseNumber("--speed", *options.speed, posix::kSlowestLine, posix::kFastestLine));
  }
  if (line.device.empty()) throw UsageError("a hayes modem needs --device");
  if (options.device) CheckDevice(line.device, options.force);
  Require(posix::CheckSettings(line));
}

std::vector<std::string> Members(Context& context, const std::string& list) {
  std::vector<std::string> members;
  std::istringstream stream(list);
  for (std::string name; std::getline(stream, name, ',');) {
    const std::string member = Trim(AnsiFromUtf8(name));
    const auto line = Lines(context).Find(member);
    if (!line) throw UsageError("--members: there is no modem \"" + Printable(name) + "\"");
    if (line->kind != LineKind::kHayes) {
      throw UsageError("--members: \"" + name + "\" is no hayes modem, and a pool has no others");
    }
    if (std::find(members.begin(), members.end(), member) != members.end()) {
      throw UsageError("--members: \"" + name + "\" is named twice");
    }
    members.push_back(member);
  }
  return members;
}

void TakePoolOptions(Context& context, const LineOptions& options, LineConfig& line) {
  if (options.members) line.members = Members(context, *options.members);
  if (line.members.empty()) throw UsageError("a pool needs --members, such as Modem1,Modem2");
  if (options.rest) {
    line.rest = static_cast<std::uint32_t>(ParseNumber("--rest", *options.rest, 0, kLongestRest));
  }
}

/// A member that is no modem any more would leave its pool one short.
void RequireNoPoolOf(Context& context, const std::string& modem) {
  for (const LineConfig& line : Lines(context).List()) {
    const auto& members = line.members;
    if (std::find(members.begin(), members.end(), modem) == members.end()) continue;
    const std::string pool = Utf8FromAnsi(line.name);
    throw UsageError("\"" + Utf8FromAnsi(modem) + "\" is a member of the pool \"" + pool +
                     "\"; 'mvsms modem set \"" + pool + "\" --members' names others");
  }
}

std::vector<std::string> MemberNames(const LineConfig& pool) {
  std::vector<std::string> names;
  for (const std::string& member : pool.members) names.push_back(Utf8FromAnsi(member));
  return names;
}

}  // namespace

// A modem's name goes into lists joined by TABs, and some names stand for the default modem.
void CheckModemName(const std::string& name) {
  const bool control = std::any_of(name.begin(), name.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < ' '; });
  if (name.empty() || control || !HasAnsiForm(name)) {
    throw UsageError("\"" + Printable(name) + "\" cannot be the name of a modem");
  }
  if (NamesDefaultModem(name)) {
    throw UsageError("\"" + name + "\" means the default modem; choose another name");
  }
}

LineConfig WithOptions(Context& context, LineConfig line, const LineOptions& options) {
  if (options.kind) line.kind = ParseKind(*options.kind);
  if (line.kind == LineKind::kPool && HasAccessOptions(options)) {
    throw UsageError("a pool takes --members and --rest; its members have the other options");
  }
  if (line.kind == LineKind::kTcp && HasHayesOptions(options)) {
    throw UsageError(
        "a tcp modem has no device and no AT commands: the number to dial is host:port");
  }
  if (line.kind == LineKind::kPool && HasHayesOptions(options)) {
    throw UsageError("a pool takes --members and --rest; its members have the other options");
  }
  if (line.kind != LineKind::kPool && HasPoolOptions(options)) {
    throw UsageError("--members and --rest are for the kind pool");
  }
  if (line.kind == LineKind::kHayes) TakeHayesOptions(options, line);
  if (line.kind == LineKind::kPool) TakePoolOptions(context, options, line);
  if (line.kind == LineKind::kPool) line.access = {};
  TakeAccessOptions(options, line);
  return line;
}

LineConfig PutModem(Context& context, const LineOptions& options, const LineConfig& before) {
  LineConfig line = WithOptions(context, before, options);
  if (line.kind != LineKind::kHayes) RequireNoPoolOf(context, line.name);
  Lines(context).Put(line);
  return line;
}

void DeleteModem(Context& context, const std::string& name) {
  RequireNoPoolOf(context, name);
  Lines(context).Delete(name);
}

Json ToJson(const LineConfig& line) {
  Json json{{"name", Utf8FromAnsi(line.name)}, {"kind", KindName(line.kind)}};
  if (line.kind == LineKind::kPool) {
    json["members"] = MemberNames(line);
    json["rest"] = line.rest;
  }
  for (const AccessOption& access : kAccessOptions) {
    const std::string& value = line.access.*access.field;
    if (!value.empty()) json[access.name] = value;
  }
  if (line.kind != LineKind::kHayes) return json;
  json["device"] = line.device;
  json["init"] = Utf8FromAnsi(line.init);
  json["dial"] = Utf8FromAnsi(line.dial);
  json["speed"] = line.speed;
  json["framing"] = line.framing;
  json["flow"] = line.flow;
  return json;
}

namespace {

std::vector<std::string> ModemNames(Context& context) {
  std::vector<std::string> names;
  for (const LineConfig& line : Lines(context).List()) names.push_back(line.name);
  return names;
}

LineConfig Existing(Context& context, const std::string& name) {
  const auto line = Lines(context).Find(AnsiFromUtf8(name));
  if (!line) {
    throw UsageError("there is no modem \"" + name + "\"" +
                     DidYouMean(AnsiFromUtf8(name), ModemNames(context)));
  }
  return *line;
}

// What a modem follows is one of these; what is between them is a slip of the finger.
void WarnOfSpeed(Context& context, const LineOptions& options, const LineConfig& line) {
  constexpr std::uint32_t kUsual[] = {50,    75,    110,   134,   150,   200,    300,    600,
                                      1200,  1800,  2400,  4800,  7200,  9600,   14400,  19200,
                                      28800, 33600, 38400, 56000, 57600, 115200, 128000, 230400};
  if (!options.speed || line.speed > 230400) return;
  if (std::find(std::begin(kUsual), std::end(kUsual), line.speed) != std::end(kUsual)) return;
  context.Warn(*options.speed + " bit/s is no usual speed: the modem may not follow it");
}

void Put(Context& context, const LineOptions& options, const LineConfig& before) {
  WarnOfSpeed(context, options, PutModem(context, options, before));
}

void Add(Context& context, const LineOptions& options) {
  LineConfig line;
  line.name = AnsiFromUtf8(options.name);
  CheckModemName(options.name);
  if (!options.or_replace && Lines(context).Find(line.name)) {
    throw UsageError("there is a modem \"" + options.name + "\" already; --or-replace replaces it");
  }
  ProfileStore store(context);
  store.Together([&] {
    Put(context, options, line);
    FillDefaults(context, store);
  });
}

void Set(Context& context, const LineOptions& options) {
  Put(context, options, Existing(context, options.name));
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::vector<std::string> RowOf(const LineConfig& line) {
  const std::string name = Utf8FromAnsi(line.name), kind = KindName(line.kind);
  if (line.kind == LineKind::kTcp) return {name, kind, "-", "-", "-"};
  if (line.kind == LineKind::kPool) return {name, kind, Joined(MemberNames(line)), "-", "-"};
  return {name, kind, line.device, std::to_string(line.speed), line.framing};
}

void List(Context& context) {
  Json json = Json::array();
  std::vector<std::vector<std::string>> rows{{"NAME", "KIND", "DEVICE", "SPEED", "FRAMING"}};
  for (const LineConfig& line : Lines(context).List()) {
    json.push_back(ToJson(line));
    rows.push_back(RowOf(line));
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

std::string AsText(const Json& value) {
  if (value.is_array()) return Joined(value.get<std::vector<std::string>>());
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::vector<std::string> RestingMembers(Context& context, const LineConfig& pool) {
  posix::LineStore store = Lines(context);
  std::vector<std::string> names;
  for (const std::string& member : pool.members) {
    if (store.RestsUntil(member) > std::time(nullptr)) names.push_back(Utf8FromAnsi(member));
  }
  return names;
}

void Show(Context& context, const std::string& name) {
  const LineConfig line = Existing(context, name);
  Json json = ToJson(line);
  if (line.kind == LineKind::kPool) json["resting"] = RestingMembers(context, line);
  if (context.json) return context.PrintJson(json);
  for (const auto& [key, value] : json.items()) {
    context.out << key << " = " << Printable(AsText(value)) << '\n';
  }
}

void WarnOfUsesIn(Context& context, const std::string& profile, const std::string& modem) {
  ProfileStore store(context, Utf8FromAnsi(profile));
  const bool current = FoldCase(profile) == FoldCase(AnsiFromUtf8(context.profile));
  const std::string name = "\"" + Utf8FromAnsi(modem) + "\"";
  const std::string other = current ? "" : " \"" + Utf8FromAnsi(profile) + "\"";
  const std::string where = current ? "" : " in the profile" + other;
  if (store.Get(setting::kDefaultModem) == modem) {
    context.Warn(name + " is the default modem" + where + "; 'mvsms config set DefaultModem" +
                 (current ? "" : " --profile" + other) + "' names another");
  }
  for (const std::string& service : store.Services()) {
    if (store.Get(store.Service(service), setting::kModemName) != modem) continue;
    context.Warn(name + " is the modem of the service \"" + Utf8FromAnsi(service) + "\"" + where);
  }
}

void WarnOfUses(Context& context, const std::string& modem) {
  for (const std::string& profile : ProfileNames(context)) WarnOfUsesIn(context, profile, modem);
}

void Delete(Context& context, const std::string& name) {
  const std::string modem = Existing(context, name).name;
  DeleteModem(context, modem);
  WarnOfUses(context, modem);
}

// What names the modem in the profile follows.
void Readdress(ProfileStore& store, const std::string& from, const std::string& to) {
  if (store.Get(setting::kDefaultModem) == from) store.Set(setting::kDefaultModem, TextValue(to));
  for (const std::string& service : store.Services()) {
    if (store.Get(store.Service(service), setting::kModemName) != from) continue;
    store.Set(store.Service(service), {{setting::kModemName, TextValue(to)}});
  }
}

void Rename(Context& context, const std::string& name, const std::string& new_name) {
  const std::string from = Existing(context, name).name;
  CheckModemName(new_name);
  const std::string to = AnsiFromUtf8(new_name);
  if (Lines(context).Find(to)) throw UsageError("there is a modem \"" + new_name + "\" already");
  std::vector<ProfileStore> stores;
  for (const std::string& profile : ProfileNames(context)) {
    stores.emplace_back(context, Utf8FromAnsi(profile));
  }
  ProfileStore(context).Together([&] {
    Lines(context).Rename(from, to);
    for (ProfileStore& store : stores) Readdress(store, from, to);
  });
}

void AddLineOptions(Command& command, LineOptions& options) {
  command.AddOption("NAME", options.name, "Name of the modem, as services refer to it")->Required();
  command.AddOption("--kind", options.kind,
                    "hayes: an AT-command modem on a serial device; "
                    "tcp: a connection, the number to dial being host:port; "
                    "pool: several hayes modems, of which the first free one takes a call");
  command
      .AddOption("--device", options.device,
                 "hayes: the serial device, such as /dev/ttyUSB0, or a serial server: "
                 "rfc2217://HOST:PORT, tcp://HOST:PORT or tls://HOST:PORT")
      ->Path();
  command.AddFlag("--force", options.force,
                  "hayes: take a device that is not there now, as of an unplugged modem, or a host "
                  "whose name is not known now");
  command.AddOption("--init", options.init, "hayes: AT command before dialling (default: ATZ)");
  command.AddOption("--dial", options.dial, "hayes: what the number is put behind (ATD)");
  command.AddOption("--speed", options.speed, "hayes: bit/s between computer and modem (9600)");
  command.AddOption("--framing", options.framing,
                    "hayes: data bits, parity, stop bits; \"-soft\" makes 7E1 on an 8N1 device "
                    "(8N1)");
  command.AddOption("--flow", options.flow, "hayes: rtscts, xonxoff or none (rtscts)");
  command.AddOption("--ca", options.ca, "TLS: file of the authorities to trust (the system's)")
      ->Path();
  command
      .AddOption("--certificate", options.certificate,
                 "TLS: file of a certificate of ours, for who asks for one")
      ->Path();
  command.AddOption("--key", options.key, "TLS: file of its key (the same file)")->Path();
  command.AddOption("--login", options.login,
                    "tcp: log in under this name before the first message (UCP operation 60)");
  command
      .AddOption("--password-file", options.password_file,
                 "tcp: file whose first line is the password of --login")
      ->Path();
  command.AddOption("--members", options.members,
                    "pool: its modems, first choice first, with commas between them");
  command.AddOption("--rest", options.rest,
                    "pool: seconds that a member is spared after it did not answer (600)");
}

void AddAddCommand(Command& group, Context& context) {
  auto options = std::make_shared<LineOptions>();
  Command* const command = AddCommand(
      group, context, "add", "Add a modem",
      "  mvsms modem add Modem1 --kind hayes --device /dev/ttyUSB0 --init \"ATZ\" --speed 9600\n"
      "  mvsms modem add Internet --kind tcp\n"
      "  mvsms modem add Both --kind pool --members Modem1,Modem2");
  AddLineOptions(*command, *options);
  command->Find("--kind")->Required();
  command->AddFlag("--or-replace", options->or_replace,
                   "A modem of this name becomes what a new one would be");
  command->Callback([&context, options] { Add(context, *options); });
}

void AddSetCommand(Command& group, Context& context) {
  auto options = std::make_shared<LineOptions>();
  Command* const command =
      AddCommand(group, context, "set", "Change a modem; what is not named stays as it is",
                 "  mvsms modem set Modem1 --dial ATDT0, --speed 2400");
  AddLineOptions(*command, *options);
  command->Callback([&context, options] { Set(context, *options); });
}

// A command whose only argument is a modem's name.
void AddNameCommand(Command& group, Context& context, const std::string& name,
                    const std::string& what, void (*run)(Context&, const std::string&)) {
  auto modem = std::make_shared<std::string>();
  Command* const command =
      AddCommand(group, context, name, what, "  mvsms modem " + name + " Modem1");
  command->AddOption("NAME", *modem, "Name of the modem")->Required();
  command->Callback([&context, modem, run] { run(context, *modem); });
}

void AddRenameCommand(Command& group, Context& context) {
  auto modem = std::make_shared<std::string>();
  auto new_name = std::make_shared<std::string>();
  Command* const command = AddCommand(group, context, "rename",
                                      "Give a modem another name; services of all profiles follow",
                                      "  mvsms modem rename Modem1 \"Modem in the rack\"");
  command->AddOption("NAME", *modem, "Name of the modem")->Required();
  command->AddOption("NEW", *new_name, "Its new name")->Required();
  command->Callback([&context, modem, new_name] { Rename(context, *modem, *new_name); });
}

void AddTestCommand(Command& group, Context& context) {
  auto modem = std::make_shared<std::string>();
  auto order = std::make_shared<TestOrder>();
  Command* const command =
      AddCommand(group, context, "test",
                 "Find out why a modem, its line or the centre does not answer; sends nothing",
                 "  mvsms modem test Modem1\n"
                 "  mvsms modem test Modem1 --dial 0123456789\n"
                 "  mvsms modem test Modem1 --service Pager --fix");
  command->AddOption("NAME", *modem, "Name of the modem")->Required();
  command->AddOption(
      "--dial", order->number,
      "Dial this number, look at who answers, and hang up; for a tcp modem host:port");
  command->AddOption("--service", order->service,
                     "Dial the number of this service, and look for the protocol that it has");
  command->AddFlag("--fix", order->fix, "Set what was proved to cure it, and nothing else");
  command->Callback(
      [&context, modem, order] { TestModem(context, Existing(context, *modem), *order); });
}

}  // namespace

void AddModemCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "modem", "The modems of this machine");
  AddAddCommand(*group, context);
  AddSetCommand(*group, context);
  AddNameCommand(*group, context, "show", "Show one modem", Show);
  AddNameCommand(*group, context, "delete", "Delete a modem", Delete);
  AddRenameCommand(*group, context);
  AddTestCommand(*group, context);
  Command* const list =
      AddCommand(*group, context, "list", "List the modems", "  mvsms modem list --json");
  list->Callback([&context] { List(context); });
}

}  // namespace mvsms::cli
